#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

/// Waits for the one message that supplies a number to the control that asked. Main thread, except for
/// `handleLearnMessage`.
class MIDILearnCoordinator {
public:
    enum class LearnType { ccNumber, ccValue, noteNumber, noteVelocity, channel };

    /// Receives the learned value, 0 to 127; a channel is 0 to 15.
    using Completion = std::function<void(std::uint8_t)>;

    static MIDILearnCoordinator& shared();

    /// The name that usage reports have for a type, such as "cc_number".
    static std::string_view nameOf(LearnType type);

    bool isLearning() const { return armed.get(); }
    std::optional<LearnType> activeLearnType() const { return awaited; }
    /// Which control asked.
    const std::optional<std::string>& activeLearnID() const { return asker; }

    /// Arms the coordinator. Only one control learns at a time: a former one is dropped without a call.
    void startLearning(LearnType type, std::string id, Completion onLearned);

    void cancelLearning();

    /// Offers a message that an input has received. Real-time: no allocation, no lock.
    void handleLearnMessage(const std::uint8_t* bytes, std::size_t length) noexcept;

private:
    struct Offer {
        std::uint8_t kind;
        std::uint8_t channel;
        std::uint8_t data1;
        std::uint8_t data2;
        std::size_t length;
    };

    void consider(const Offer& offer);
    static std::optional<std::uint8_t> valueFor(LearnType type, const Offer& offer);

    SharedValue<bool> armed{false};
    std::optional<LearnType> awaited;
    std::optional<std::string> asker;
    Completion completion;
};

}  // namespace varnolex
