#pragma once

#include <array>
#include <span>

#include "core/message/VoiceMessage.hpp"

namespace varnolex {

/// A change of a (non-)registered parameter, folded from the three or four controllers that carried it. It counts
/// as a controller wherever kinds are told apart.
class NRPNMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::nrpn;
    using VoiceRef = Reference<VoiceMessage>;

    /// `controllers`: at least one, at most four, in order of arrival; time, endpoint and channel are the first
    /// one's.
    NRPNMessage(std::span<const VoiceRef> controllers, int parameter, int newValue, bool registered)
        : Message(controllers.front()->timeStamp, controllers.front()->statusByte,
                  controllers.front()->originatingEndpointName),
          channel(controllers.front()->channel() + 1),
          paramNumber(parameter),
          value(newValue),
          isRPN(registered),
          rawCount(controllers.size()) {
        std::copy(controllers.begin(), controllers.end(), raw.begin());
    }

    MessageTypeMask messageType() const override { return MessageTypeMask::cc; }
    MessageClass messageClass() const override { return ownClass; }

    std::span<const VoiceRef> rawMessages() const { return std::span(raw).first(rawCount); }

    /// 1 to 16.
    const int channel;
    /// 0 to 16383.
    const int paramNumber;
    /// 14 bits, or 7 when no fine value came.
    const int value;
    /// Registered (RPN) rather than non-registered.
    const bool isRPN;

private:
    void endHolds() noexcept override { raw.fill(nullptr); }

    std::size_t rawCount;
    std::array<VoiceRef, 4> raw;
};

}  // namespace varnolex
