#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace varnolex {

/// The code of a key: its place on the keyboard, whatever the layout writes on it. Documents keep these codes, so they
/// are the same on every system.
using KeyCode = std::uint16_t;

/// Modifiers that are held while a key goes down, as documents keep them.
inline constexpr std::uint64_t keyFlagShift = 0x2'0000;
inline constexpr std::uint64_t keyFlagControl = 0x4'0000;
inline constexpr std::uint64_t keyFlagAlternate = 0x8'0000;
inline constexpr std::uint64_t keyFlagCommand = 0x10'0000;

/// A modifier with its keys on both sides.
struct KeyModifier {
    std::uint64_t flag;
    KeyCode left;
    KeyCode right;
};
std::span<const KeyModifier> keyModifiers();

/// The code of the key that the X keyboard extension calls so ("AB01" is the Z of an English keyboard); nothing for a
/// key that has none. These names stand for places too, and hold for every kind of keyboard, which the numbers of keys
/// don't.
std::optional<KeyCode> keyCodeOfXName(std::string_view name);

}  // namespace varnolex
