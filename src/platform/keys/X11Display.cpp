#include "platform/keys/X11Display.hpp"

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <xkbcommon/xkbcommon-x11.h>

#include "platform/keys/X11Keys.hpp"

namespace varnolex {
namespace {

template <class Held>
struct Freed {
    void operator()(Held* reply) const { std::free(reply); }
};

template <class Held>
std::unique_ptr<Held, Freed<Held>> owned(Held* reply) {
    return std::unique_ptr<Held, Freed<Held>>(reply);
}

/// Since 2.1 raw events come whoever has grabbed the keyboard.
constexpr std::uint16_t inputMajor = 2;
constexpr std::uint16_t inputMinor = 2;

}  // namespace

std::unique_ptr<X11Display> X11Display::open(const std::string& name, bool isWayland, std::string& reason) {
    std::unique_ptr<X11Display> display(new X11Display(xcb_connect(name.c_str(), nullptr)));
    if (display->isAlive()) return display->prepare(isWayland, reason) ? std::move(display) : nullptr;
    reason = "the X display \"" + name + "\" doesn't answer";
    return nullptr;
}

X11Display::~X11Display() { xcb_disconnect(xcb); }

bool X11Display::isAlive() const { return xcb_connection_has_error(xcb) == 0; }

bool X11Display::prepare(bool isWayland, std::string& reason) {
    rootWindow = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data->root;
    if (!hasInput())
        reason = "the X display has no XInput 2.2";
    else if (!hasTest())
        reason = "the X display has no XTest";
    else if (!readKeyNames() || !readDevices())
        reason = "the X display tells nothing of its keyboard";
    else if (isXwayland || (isWayland && !hasKeyboard))
        reason = X11Keys::waylandReason;
    return reason.empty();
}

bool X11Display::hasInput() const {
    const auto version =
        owned(xcb_input_xi_query_version_reply(xcb, xcb_input_xi_query_version(xcb, inputMajor, inputMinor), nullptr));
    return version && (version->major_version > inputMajor ||
                       (version->major_version == inputMajor && version->minor_version >= inputMinor));
}

bool X11Display::hasTest() const {
    const auto* extension = xcb_get_extension_data(xcb, &xcb_test_id);
    return extension && extension->present != 0;
}

bool X11Display::readKeyNames() {
    if (xkb_x11_setup_xkb_extension(xcb, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr) == 0)
        return false;
    constexpr auto plain =
        static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
    const std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context(xkb_context_new(plain), xkb_context_unref);
    if (!context) return false;
    const std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap(
        xkb_x11_keymap_new_from_device(context.get(), xcb, xkb_x11_get_core_keyboard_device_id(xcb),
                                       XKB_KEYMAP_COMPILE_NO_FLAGS),
        xkb_keymap_unref);
    if (!keymap) return false;
    for (xkb_keycode_t key = 0; key < codes.size(); ++key)
        if (const char* name = xkb_keymap_key_get_name(keymap.get(), key)) codes[key] = keyCodeOfXName(name);
    return true;
}

bool X11Display::readDevices() {
    inputOpcode = xcb_get_extension_data(xcb, &xcb_input_id)->major_opcode;
    const auto devices =
        owned(xcb_input_xi_query_device_reply(xcb, xcb_input_xi_query_device(xcb, XCB_INPUT_DEVICE_ALL), nullptr));
    if (!devices) return false;
    for (auto each = xcb_input_xi_query_device_infos_iterator(devices.get()); each.rem > 0;
         xcb_input_xi_device_info_next(&each)) {
        const std::string_view name(xcb_input_xi_device_info_name(each.data), each.data->name_len);
        if (name.ends_with("XTEST keyboard"))
            testKeyboards.insert(each.data->deviceid);
        else if (each.data->type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD)
            hasKeyboard = true;
        if (name.starts_with("xwayland-")) isXwayland = true;
    }
    return true;
}

std::optional<X11Display::XKey> X11Display::keyOf(KeyCode code) const {
    const auto* const found = std::ranges::find(codes, std::optional(code));
    if (found == codes.end()) return std::nullopt;
    return static_cast<XKey>(found - codes.begin());
}

X11Display::XKeys X11Display::keysDown() const {
    XKeys down;
    const auto map = owned(xcb_query_keymap_reply(xcb, xcb_query_keymap(xcb), nullptr));
    for (std::size_t key = 0; map && key < down.size(); ++key) down[key] = (map->keys[key / 8] >> (key % 8) & 1) != 0;
    return down;
}

std::uint64_t X11Display::flagsOf(const XKeys& down) const {
    std::uint64_t flags = 0;
    for (const KeyModifier& modifier : keyModifiers())
        for (const KeyCode code : {modifier.left, modifier.right})
            if (const auto key = keyOf(code); key && down[*key]) flags |= modifier.flag;
    return flags;
}

}  // namespace varnolex
