#include "endpoints/ServiceChoice.hpp"

#include "endpoints/alsa/AlsaService.hpp"
#include "endpoints/jack/JackService.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/SupportFolder.hpp"

namespace varnolex {
namespace {

std::unique_ptr<JackService> openJack() {
    return std::make_unique<JackService>(JackService::Options{.uniqueIDFile = JackService::usualUniqueIDFile()});
}

std::unique_ptr<AlsaService> openAlsa() {
    return std::make_unique<AlsaService>(
        AlsaService::Options{.uniqueIDFile = SupportFolder().path() / "alsa-endpoints.json"});
}

std::unique_ptr<MIDIService> openFirstThatAnswers() {
    if (auto jack = openJack(); jack->isConnected()) return jack;
    if (auto alsa = openAlsa(); alsa->isConnected()) return alsa;
    return std::make_unique<MemoryService>();
}

}  // namespace

std::unique_ptr<MIDIService> openMIDIService(MIDIServiceKind kind) {
    switch (kind) {
        case MIDIServiceKind::automatic:
            return openFirstThatAnswers();
        case MIDIServiceKind::jack: {
            auto jack = openJack();
            if (!jack->isConnected())
                throw MIDIServiceError("no JACK server answers; start one, such as: jackd -d dummy");
            return jack;
        }
        case MIDIServiceKind::alsa: {
            auto alsa = openAlsa();
            if (!alsa->isConnected()) throw MIDIServiceError(alsa->reasonForAbsence());
            return alsa;
        }
        case MIDIServiceKind::memory:
            break;
    }
    return std::make_unique<MemoryService>();
}

}  // namespace varnolex
