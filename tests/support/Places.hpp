#pragma once

#include <filesystem>

namespace varnolex {

/// The root of the checkout that the tests were built from.
std::filesystem::path sourceFolder();

/// The program `varnolex` of the same build.
std::filesystem::path builtProgram();

}  // namespace varnolex
