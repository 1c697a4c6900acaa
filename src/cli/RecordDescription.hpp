#pragma once

#include <cstdint>
#include <string>

#include "platform/DiagnosticImage.hpp"

namespace varnolex {

/// A kind of record in words, or its number when this program knows none.
std::string nameOfRecord(DiagnosticKind kind);

/// What a record's payload says, in words; the bytes of a kind that this program doesn't know.
std::string descriptionOfRecord(const DiagnosticImage::Record& record);

/// What an application start tells: the seconds since the epoch of its file.
std::uint32_t secondsOfStart(const DiagnosticImage::Record& start);

}  // namespace varnolex
