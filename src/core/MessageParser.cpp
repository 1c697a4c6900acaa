#include "core/MessageParser.hpp"

#include <algorithm>

#include "core/message/DataLength.hpp"
#include "core/message/InvalidMessage.hpp"
#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/SystemRealTimeMessage.hpp"
#include "core/message/VoiceMessage.hpp"

namespace varnolex {

/// The working state of one call.
class MessageParser::Run {
public:
    Run(MessageParser& owner, HostTime time, MessageList& output) : parser(owner), timeStamp(time), messages(output) {}

    void read(const std::uint8_t* next, const std::uint8_t* end) {
        while (next != end) {
            if (isAtRest()) next = readWholeVoices(next, end);
            if (next != end) next = readPiece(next, end);
        }
        flushInvalid();
    }

private:
    /// Whether nothing that came before has a say in what the next bytes are, but for the running status.
    bool isAtRest() const { return !parser.readingSysEx && pendingCount == 0 && parser.invalidBytes.empty(); }

    /// The usual case at once: voice messages, each with or without a status byte of its own, with no other byte
    /// between their bytes. Returns where they end, which may be where they began. At rest only.
    const std::uint8_t* readWholeVoices(const std::uint8_t* next, const std::uint8_t* end) {
        std::uint8_t running = pendingStatus;
        while (next != end) {
            const bool hasStatus = *next >= 0x80;
            const std::uint8_t* const data = next + (hasStatus ? 1 : 0);
            const std::uint8_t status = hasStatus ? *next : running;
            if (status < 0x80 || status >= 0xF0) break;
            if (dataLengthOf(status) == 2) {
                if (end - data < 2 || ((data[0] | data[1]) & 0x80) != 0) break;
                appendVoice(status, data[0], data[1]);
                next = data + 2;
            } else {
                if (data == end || data[0] >= 0x80) break;
                appendVoice(status, data[0], 0);
                next = data + 1;
            }
            running = status;
        }
        if (running != pendingStatus) startMessage(running);
        return next;
    }

    void appendVoice(std::uint8_t status, std::uint8_t first, std::uint8_t second) {
        messages.push_back(makeMessage<VoiceMessage>(timeStamp, status, first, second));
    }

    /// Reads one byte, or a run of data of a System Exclusive message, and returns where it ends.
    const std::uint8_t* readPiece(const std::uint8_t* next, const std::uint8_t* end) {
        const std::uint8_t byte = *next;
        if (byte >= 0xF8) {
            readRealTime(byte);
        } else if (parser.readingSysEx) {
            if (byte < 0x80) return readSysExData(next, end);
            finishSysEx(byte == 0xF7);
            if (byte != 0xF7) readStatus(byte);
        } else if (byte < 0x80) {
            readData(byte);
        } else {
            readStatus(byte);
        }
        return next + 1;
    }

    void readRealTime(std::uint8_t byte) {
        const auto type = SystemRealTimeMessage::typeOf(byte);
        if (!type) return;
        flushInvalid();
        messages.push_back(makeMessage<SystemRealTimeMessage>(timeStamp, *type));
    }

    const std::uint8_t* readSysExData(const std::uint8_t* begin, const std::uint8_t* end) {
        const auto room = static_cast<std::ptrdiff_t>(longestSysEx - parser.sysExData.size());
        const std::uint8_t* const limit = begin + std::min(end - begin, room);
        const std::uint8_t* const stop = std::find_if(begin, limit, [](std::uint8_t byte) { return byte >= 0x80; });
        parser.sysExData.insert(parser.sysExData.end(), begin, stop);
        if (parser.sysExData.size() == longestSysEx) {
            finishSysEx(false);
            parser.readingSysEx = true;
        }
        return stop;
    }

    void finishSysEx(bool withEOX) {
        messages.push_back(SystemExclusiveMessage::make(parser.startSysExTimeStamp, parser.sysExData, withEOX,
                                                        parser.originatingEndpointName));
        parser.sysExData.clear();
        parser.readingSysEx = false;
    }

    void readStatus(std::uint8_t byte) {
        if (byte == 0xF7) return addInvalid(byte);
        savePartial();
        startMessage(byte);
        if (byte == 0xF0) {
            parser.readingSysEx = true;
            parser.startSysExTimeStamp = timeStamp;
        } else if (byte == 0xF6) {
            messages.push_back(
                makeMessage<SystemCommonMessage>(timeStamp, SystemCommonType::tuneRequest, std::nullopt, std::nullopt));
        }
    }

    void startMessage(std::uint8_t status) {
        pendingCount = 0;
        pendingStatus = status;
        pendingLength = dataLengthOf(status);
    }

    void readData(std::uint8_t byte) {
        if (pendingLength == 0) return addInvalid(byte);
        pendingData[pendingCount++] = byte;
        if (pendingCount < pendingLength) return;
        flushInvalid();
        const std::uint8_t second = pendingLength == 2 ? pendingData[1] : std::uint8_t{0};
        if (pendingStatus < 0xF0)
            appendVoice(pendingStatus, pendingData[0], second);
        else
            appendSystemCommon();
        pendingCount = 0;
    }

    void appendSystemCommon() {
        const auto second = pendingLength == 2 ? std::optional(pendingData[1]) : std::nullopt;
        messages.push_back(makeMessage<SystemCommonMessage>(timeStamp, *SystemCommonMessage::typeOf(pendingStatus),
                                                            pendingData[0], second));
    }

    void addInvalid(std::uint8_t byte) {
        if (!parser.ignoresInvalidData) parser.invalidBytes.push_back(byte);
    }

    /// A message that a status byte interrupts is reported, not dropped.
    void savePartial() {
        if (pendingLength == 0 || pendingCount == 0) return;
        addInvalid(pendingStatus);
        for (std::size_t index = 0; index < pendingCount; ++index) addInvalid(pendingData[index]);
    }

    void flushInvalid() {
        if (!parser.invalidBytes.empty()) appendInvalid();
    }

    // Kept out of the way of the bytes that make sense.
    [[gnu::noinline]] void appendInvalid() {
        messages.push_back(InvalidMessage::make(timeStamp, parser.invalidBytes));
        parser.invalidBytes.clear();
    }

    MessageParser& parser;
    const HostTime timeStamp;
    MessageList& messages;
    std::uint8_t pendingStatus = 0;
    std::size_t pendingLength = 0;
    std::size_t pendingCount = 0;
    std::array<std::uint8_t, 2> pendingData{};
};

void MessageParser::parse(const std::uint8_t* bytes, std::size_t length, HostTime timeStamp, MessageList& output) {
    Run(*this, timeStamp, output).read(bytes, bytes + length);
}

MessageList MessageParser::parse(const std::uint8_t* bytes, std::size_t length, HostTime timeStamp) {
    MessageList output;
    parse(bytes, length, timeStamp, output);
    return output;
}

}  // namespace varnolex
