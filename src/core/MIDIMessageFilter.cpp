#include "core/MIDIMessageFilter.hpp"

#include <algorithm>

namespace varnolex {

namespace {

/// The kinds that have a channel.
constexpr MessageTypeMask channelKinds = MessageTypeMask::noteOn | MessageTypeMask::noteOff |
                                         MessageTypeMask::aftertouch | MessageTypeMask::cc | MessageTypeMask::program |
                                         MessageTypeMask::channelPressure | MessageTypeMask::pitchWheel;

/// The master and the members of a zone, bit n standing for channel n.
std::uint16_t channelsOf(const RPNDetector::Zone& zone) {
    const unsigned lower = (2u << std::clamp(zone.memberCount, 0, 15)) - 1;
    if (zone.type == MPEZoneType::lower) return static_cast<std::uint16_t>(lower);
    unsigned upper = 0;
    for (unsigned channel = 0; channel < 16; ++channel)
        if (lower >> channel & 1) upper |= 0x8000u >> channel;
    return static_cast<std::uint16_t>(upper);
}

}  // namespace

std::uint16_t MIDIMessageFilter::hiddenByZones(Zone firstZone, Zone secondZone) const {
    unsigned hidden = 0;
    if (firstZone && !zones.contains(MPEZoneFilter::first)) hidden |= channelsOf(*firstZone);
    if (secondZone && !zones.contains(MPEZoneFilter::second)) hidden |= channelsOf(*secondZone);
    return static_cast<std::uint16_t>(hidden);
}

bool MIDIMessageFilter::passes(const Message& message, std::uint16_t hiddenChannels) const {
    const MessageTypeMask kind = message.messageType();
    if (!kinds.intersects(kind)) return false;
    if (!channelKinds.intersects(kind)) return true;
    const std::uint16_t channel = static_cast<std::uint16_t>(1u << (message.statusByte & 0x0F));
    if ((channels & channel) == 0) return false;
    // A folded parameter change belongs to its channel, but to no zone.
    return (hiddenChannels & channel) == 0 || message.messageClass() == MessageClass::nrpn;
}

MessageList MIDIMessageFilter::filtered(const MessageList& messages, Zone firstZone, Zone secondZone) const {
    const std::uint16_t hidden = hiddenByZones(firstZone, secondZone);
    if (kinds.contains(MessageTypeMask::all) && channels == 0xFFFF && hidden == 0) return messages;
    MessageList passed;
    passed.reserve(messages.size());
    for (const MessageRef& message : messages)
        if (passes(*message, hidden)) passed.push_back(message);
    return passed;
}

}  // namespace varnolex
