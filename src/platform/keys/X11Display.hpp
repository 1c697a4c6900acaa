#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/keys/KeyCodes.hpp"

struct xcb_connection_t;

namespace varnolex {

/// A connection with an X display that has what hearing and posting keys takes, and what it calls its keys. One thread
/// at a time.
class X11Display {
public:
    /// The display's own number of a key.
    using XKey = std::uint8_t;
    using XKeys = std::bitset<256>;

    /// Null with a sentence for the user when there is no such display, or none that will do.
    /// `isWayland`: the session's compositor is one of Wayland.
    static std::unique_ptr<X11Display> open(const std::string& name, bool isWayland, std::string& reason);
    ~X11Display();
    X11Display(const X11Display&) = delete;
    X11Display& operator=(const X11Display&) = delete;

    xcb_connection_t* connection() const { return xcb; }
    bool isAlive() const;
    std::uint32_t root() const { return rootWindow; }
    std::uint8_t inputExtension() const { return inputOpcode; }

    std::optional<KeyCode> keyCodeOf(XKey key) const { return codes[key]; }
    std::optional<XKey> keyOf(KeyCode code) const;

    /// Whether a device is the one on which programs press keys.
    bool isTestKeyboard(std::uint16_t device) const { return testKeyboards.contains(device); }

    /// The keys that are down at this moment.
    XKeys keysDown() const;

    /// The modifiers among them.
    std::uint64_t flagsOf(const XKeys& down) const;

private:
    explicit X11Display(xcb_connection_t* connected) : xcb(connected) {}
    bool prepare(bool isWayland, std::string& reason);
    bool hasInput() const;
    bool hasTest() const;
    bool readKeyNames();
    bool readDevices();

    xcb_connection_t* const xcb;
    std::uint32_t rootWindow = 0;
    std::uint8_t inputOpcode = 0;
    std::array<std::optional<KeyCode>, 256> codes{};
    std::set<std::uint16_t> testKeyboards;
    /// Whether its devices are those of a Wayland compositor, and whether a keyboard is among them at all.
    bool isXwayland = false;
    bool hasKeyboard = false;
};

}  // namespace varnolex
