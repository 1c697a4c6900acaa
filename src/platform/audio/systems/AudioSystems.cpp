#include <algorithm>
#include <array>

#include "platform/audio/systems/JackAudioDriver.hpp"
#include "platform/audio/systems/RtAudioDriver.hpp"

// The audio systems of the computer in the order in which they are asked, as one driver in a library of its own.

namespace varnolex {
namespace {

class AudioSystems final : public AudioDriver {
public:
    std::vector<AudioOutputDevice> devices() override {
        std::vector<AudioOutputDevice> found;
        for (const auto& system : systems)
            for (AudioOutputDevice& device : system->devices()) {
                device.isDefault = device.isDefault && std::ranges::none_of(found, &AudioOutputDevice::isDefault);
                found.push_back(std::move(device));
            }
        return found;
    }

    bool open(const std::optional<std::string>& deviceUID, AudioFeed& feed) override {
        return std::ranges::any_of(systems, [&](const auto& system) { return system->open(deviceUID, feed); });
    }

    void close() override {
        for (const auto& system : systems) system->close();
    }

    bool isOpen() override {
        return std::ranges::any_of(systems, [](const auto& system) { return system->isOpen(); });
    }

private:
    const std::array<std::unique_ptr<AudioDriver>, 2> systems{makeJackAudioDriver(), makeRtAudioDriver()};
};

}  // namespace
}  // namespace varnolex

extern "C" [[gnu::visibility("default")]] varnolex::AudioDriver* varnolexMakeAudioDriver() {
    return new varnolex::AudioSystems;
}
