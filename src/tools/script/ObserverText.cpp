#include "tools/script/ObserverText.hpp"

namespace varnolex {

std::string observerText(const std::string& source, std::span<const std::uint8_t> message) {
    const auto byte = [&](std::size_t place) { return place < message.size() ? int{message[place]} : 0; };
    return "set midiStatus to " + std::to_string(byte(0)) + "\nset midiData1 to " + std::to_string(byte(1)) +
           "\nset midiData2 to " + std::to_string(byte(2)) + "\nset midiChannel to " + std::to_string(byte(0) & 0x0F) +
           "\n" + source;
}

}  // namespace varnolex
