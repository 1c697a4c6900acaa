#include "platform/keys/KeyCodes.hpp"

#include <algorithm>
#include <array>

namespace varnolex {
namespace {

struct Row {
    KeyCode code;
    std::string_view xName;
};

// Some keys have had two names in the course of time.
constexpr std::array rows{
    // Letters and digits, from the upper left to the lower right.
    Row{50, "TLDE"}, Row{18, "AE01"}, Row{19, "AE02"}, Row{20, "AE03"}, Row{21, "AE04"}, Row{23, "AE05"},
    Row{22, "AE06"}, Row{26, "AE07"}, Row{28, "AE08"}, Row{25, "AE09"}, Row{29, "AE10"}, Row{27, "AE11"},
    Row{24, "AE12"}, Row{12, "AD01"}, Row{13, "AD02"}, Row{14, "AD03"}, Row{15, "AD04"}, Row{17, "AD05"},
    Row{16, "AD06"}, Row{32, "AD07"}, Row{34, "AD08"}, Row{31, "AD09"}, Row{35, "AD10"}, Row{33, "AD11"},
    Row{30, "AD12"}, Row{0, "AC01"}, Row{1, "AC02"}, Row{2, "AC03"}, Row{3, "AC04"}, Row{5, "AC05"}, Row{4, "AC06"},
    Row{38, "AC07"}, Row{40, "AC08"}, Row{37, "AC09"}, Row{41, "AC10"}, Row{39, "AC11"}, Row{42, "BKSL"},
    Row{42, "AC12"}, Row{10, "LSGT"}, Row{6, "AB01"}, Row{7, "AB02"}, Row{8, "AB03"}, Row{9, "AB04"}, Row{11, "AB05"},
    Row{45, "AB06"}, Row{46, "AB07"}, Row{43, "AB08"}, Row{47, "AB09"}, Row{44, "AB10"},
    // Around them.
    Row{53, "ESC"}, Row{48, "TAB"}, Row{57, "CAPS"}, Row{49, "SPCE"}, Row{36, "RTRN"}, Row{51, "BKSP"}, Row{56, "LFSH"},
    Row{60, "RTSH"}, Row{59, "LCTL"}, Row{62, "RCTL"}, Row{58, "LALT"}, Row{61, "RALT"}, Row{61, "LVL3"},
    Row{55, "LWIN"}, Row{55, "LMTA"}, Row{54, "RWIN"}, Row{54, "RMTA"}, Row{110, "COMP"}, Row{110, "MENU"},
    // The block for moving.
    Row{114, "INS"}, Row{117, "DELE"}, Row{115, "HOME"}, Row{119, "END"}, Row{116, "PGUP"}, Row{121, "PGDN"},
    Row{123, "LEFT"}, Row{124, "RGHT"}, Row{125, "DOWN"}, Row{126, "UP"},
    // The keypad.
    Row{71, "NMLK"}, Row{75, "KPDV"}, Row{67, "KPMU"}, Row{78, "KPSU"}, Row{69, "KPAD"}, Row{76, "KPEN"},
    Row{81, "KPEQ"}, Row{65, "KPDL"}, Row{82, "KP0"}, Row{83, "KP1"}, Row{84, "KP2"}, Row{85, "KP3"}, Row{86, "KP4"},
    Row{87, "KP5"}, Row{88, "KP6"}, Row{89, "KP7"}, Row{91, "KP8"}, Row{92, "KP9"},
    // Functions.
    Row{122, "FK01"}, Row{120, "FK02"}, Row{99, "FK03"}, Row{118, "FK04"}, Row{96, "FK05"}, Row{97, "FK06"},
    Row{98, "FK07"}, Row{100, "FK08"}, Row{101, "FK09"}, Row{109, "FK10"}, Row{103, "FK11"}, Row{111, "FK12"},
    Row{105, "FK13"}, Row{107, "FK14"}, Row{113, "FK15"}, Row{106, "FK16"}, Row{64, "FK17"}, Row{79, "FK18"},
    Row{80, "FK19"}, Row{90, "FK20"}, Row{74, "MUTE"}, Row{73, "VOL-"}, Row{72, "VOL+"}};

constexpr std::array modifiers{KeyModifier{keyFlagShift, 56, 60}, KeyModifier{keyFlagControl, 59, 62},
                               KeyModifier{keyFlagAlternate, 58, 61}, KeyModifier{keyFlagCommand, 55, 54}};

}  // namespace

std::span<const KeyModifier> keyModifiers() { return modifiers; }

std::optional<KeyCode> keyCodeOfXName(std::string_view name) {
    const auto* const row = std::ranges::find(rows, name, &Row::xName);
    if (row == rows.end()) return std::nullopt;
    return row->code;
}

}  // namespace varnolex
