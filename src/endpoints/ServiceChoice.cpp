#include "endpoints/ServiceChoice.hpp"

#include "endpoints/jack/JackService.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/SupportFolder.hpp"

namespace varnolex {
namespace {

std::unique_ptr<MIDIService> openJack() {
    auto service = std::make_unique<JackService>(
        JackService::Options{.uniqueIDFile = SupportFolder().path() / "jack-endpoints.json"});
    if (!service->isConnected()) return nullptr;
    return service;
}

std::unique_ptr<MIDIService> orThrow(std::unique_ptr<MIDIService> service, const char* sentence) {
    if (!service) throw MIDIServiceError(sentence);
    return service;
}

}  // namespace

std::unique_ptr<MIDIService> openMIDIService(MIDIServiceKind kind) {
    if (kind == MIDIServiceKind::jack)
        return orThrow(openJack(), "no JACK server answers; start one, such as: jackd -d dummy");
    if (kind == MIDIServiceKind::automatic)
        if (auto jack = openJack()) return jack;
    return std::make_unique<MemoryService>();
}

}  // namespace varnolex
