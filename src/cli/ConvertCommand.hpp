#pragma once

#include <string>

namespace varnolex {

/// Reads a document or patch of any age and writes it in the current form. What is dropped on the way is listed on
/// standard error. Throws the error of a file or document.
void runConvert(const std::string& input, const std::string& output);

}  // namespace varnolex
