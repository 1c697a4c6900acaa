#include "tools/devices/KeyNames.hpp"

#include <algorithm>
#include <array>
#include <span>

namespace varnolex {
namespace {

struct Row {
    KeyCode code;
    std::string_view name;
};

/// The same in every layout.
constexpr std::array special{Row{36, "↩"},     Row{48, "⇥"},    Row{49, "Space"}, Row{51, "⌫"},    Row{53, "⎋"},
                             Row{71, "Clear"}, Row{115, "↖"},   Row{116, "⇞"},    Row{117, "⌦"},   Row{119, "↘"},
                             Row{121, "⇟"},    Row{123, "←"},   Row{124, "→"},    Row{125, "↓"},   Row{126, "↑"},
                             Row{122, "F1"},   Row{120, "F2"},  Row{99, "F3"},    Row{118, "F4"},  Row{96, "F5"},
                             Row{97, "F6"},    Row{98, "F7"},   Row{100, "F8"},   Row{101, "F9"},  Row{109, "F10"},
                             Row{103, "F11"},  Row{111, "F12"}, Row{105, "F13"},  Row{107, "F14"}, Row{113, "F15"}};

constexpr std::array qwerty{
    Row{0, "A"},   Row{1, "S"},  Row{2, "D"},  Row{3, "F"},  Row{4, "H"},  Row{5, "G"},  Row{6, "Z"},  Row{7, "X"},
    Row{8, "C"},   Row{9, "V"},  Row{11, "B"}, Row{12, "Q"}, Row{13, "W"}, Row{14, "E"}, Row{15, "R"}, Row{16, "Y"},
    Row{17, "T"},  Row{18, "1"}, Row{19, "2"}, Row{20, "3"}, Row{21, "4"}, Row{22, "6"}, Row{23, "5"}, Row{24, "="},
    Row{25, "9"},  Row{26, "7"}, Row{27, "-"}, Row{28, "8"}, Row{29, "0"}, Row{30, "]"}, Row{31, "O"}, Row{32, "U"},
    Row{33, "["},  Row{34, "I"}, Row{35, "P"}, Row{37, "L"}, Row{38, "J"}, Row{39, "'"}, Row{40, "K"}, Row{41, ";"},
    Row{42, "\\"}, Row{43, ","}, Row{44, "/"}, Row{45, "N"}, Row{46, "M"}, Row{47, "."}, Row{50, "`"}};

constexpr std::array azerty{
    Row{0, "Q"},  Row{1, "S"},  Row{2, "D"},  Row{3, "F"},  Row{4, "H"},  Row{5, "G"},  Row{6, "W"},  Row{7, "X"},
    Row{8, "C"},  Row{9, "V"},  Row{11, "B"}, Row{12, "A"}, Row{13, "Z"}, Row{14, "E"}, Row{15, "R"}, Row{16, "Y"},
    Row{17, "T"}, Row{18, "1"}, Row{19, "2"}, Row{20, "3"}, Row{21, "4"}, Row{22, "6"}, Row{23, "5"}, Row{25, "9"},
    Row{26, "7"}, Row{28, "8"}, Row{29, "0"}, Row{31, "O"}, Row{32, "U"}, Row{34, "I"}, Row{35, "P"}, Row{37, "L"},
    Row{38, "J"}, Row{40, "K"}, Row{41, "M"}, Row{43, ";"}, Row{44, "="}, Row{45, "N"}, Row{46, ","}, Row{47, ":"}};

static_assert(qwerty.size() == 47 && azerty.size() == 40);

std::string_view nameIn(std::span<const Row> rows, KeyCode code) {
    const auto row = std::ranges::find(rows, code, &Row::code);
    return row == rows.end() ? std::string_view() : row->name;
}

}  // namespace

std::string_view displayNameOfKey(KeyCode keyCode, std::int64_t keyboardLayout) {
    const std::string_view name = nameIn(special, keyCode);
    if (!name.empty()) return name;
    return keyboardLayout == layoutAZERTY ? nameIn(azerty, keyCode) : nameIn(qwerty, keyCode);
}

}  // namespace varnolex
