#pragma once

#include <cstdint>
#include <memory>

#include "platform/Runtime.hpp"
#include "platform/audio/AudioOutput.hpp"

namespace varnolex {

/// An audio output in memory, which plays in the runtime's time and keeps all that was heard. Virtual runtime only.
class MemoryAudioOutput final : public AudioOutput {
public:
    /// `listed` are its devices; without any, nothing can be opened.
    MemoryAudioOutput(double framesASecond, std::size_t framesAPeriod, std::vector<AudioOutputDevice> listed)
        : sampleRate(framesASecond), period(framesAPeriod), outputs(std::move(listed)) {}

    void run(AudioSource& source, const std::optional<std::string>& deviceUID) override;
    void rest() override { timer.reset(); }
    bool isRunning() const override { return static_cast<bool>(timer); }
    std::vector<AudioOutputDevice> devices() override { return outputs; }

    /// Everything that was heard, and on which device.
    const std::vector<float>& heard() const { return frames; }
    const std::string& usedDevice() const { return used; }

private:
    void playPeriod();

    const double sampleRate;
    const std::size_t period;
    const std::vector<AudioOutputDevice> outputs;
    std::shared_ptr<Queue> queue;
    AudioSource* heardSource = nullptr;
    std::vector<float> frames;
    std::string used;
    RepeatingTimer timer;
};

}  // namespace varnolex
