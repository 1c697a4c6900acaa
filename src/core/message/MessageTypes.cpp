#include <array>

#include "core/message/SystemCommonMessage.hpp"
#include "core/message/SystemRealTimeMessage.hpp"
#include "core/message/VoiceMessage.hpp"

namespace varnolex {

MessageTypeMask VoiceMessage::messageType() const {
    switch (statusByte >> 4) {
        case 0x8:
            return MessageTypeMask::noteOff;
        case 0x9:
            return dataBytes[1] != 0 ? MessageTypeMask::noteOn : MessageTypeMask::noteOff;
        case 0xA:
            return MessageTypeMask::aftertouch;
        case 0xB:
            return MessageTypeMask::cc;
        case 0xC:
            return MessageTypeMask::program;
        case 0xD:
            return MessageTypeMask::channelPressure;
        case 0xE:
            return MessageTypeMask::pitchWheel;
        default:
            return MessageTypeMask::invalid;
    }
}

MessageTypeMask SystemCommonMessage::messageType() const {
    switch (type) {
        case SystemCommonType::timeCode:
            return MessageTypeMask::timeCode;
        case SystemCommonType::songPositionPointer:
            return MessageTypeMask::songPositionPointer;
        case SystemCommonType::songSelect:
            return MessageTypeMask::songSelect;
        case SystemCommonType::tuneRequest:
            return MessageTypeMask::tuneRequest;
    }
    return MessageTypeMask::invalid;
}

MessageTypeMask SystemRealTimeMessage::messageType() const {
    switch (type) {
        case SystemRealTimeType::clock:
            return MessageTypeMask::clock;
        case SystemRealTimeType::start:
            return MessageTypeMask::start;
        case SystemRealTimeType::continueMsg:
            return MessageTypeMask::continueMsg;
        case SystemRealTimeType::stop:
            return MessageTypeMask::stop;
        case SystemRealTimeType::activeSense:
            return MessageTypeMask::activeSense;
        case SystemRealTimeType::systemReset:
            return MessageTypeMask::reset;
    }
    return MessageTypeMask::invalid;
}

}  // namespace varnolex
