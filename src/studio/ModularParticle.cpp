#include "studio/ModularParticle.hpp"

namespace varnolex {

ModularParticle::Kind ModularParticle::kindOf(std::uint8_t statusByte) {
    switch (statusByte & 0xF0) {
        case 0x80:
            return Kind::noteOff;
        case 0x90:
            return Kind::noteOn;
        case 0xA0:
        case 0xD0:
            return Kind::aftertouch;
        case 0xB0:
            return Kind::cc;
        case 0xC0:
            return Kind::programChange;
        case 0xE0:
            return Kind::pitchBend;
        default:
            return statusByte == 0xF8 ? Kind::clock : Kind::system;
    }
}

}  // namespace varnolex
