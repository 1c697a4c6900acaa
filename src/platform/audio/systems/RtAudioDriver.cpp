#include "platform/audio/systems/RtAudioDriver.hpp"

#include <alsa/asoundlib.h>
#include <rtaudio/RtAudio.h>

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace varnolex {
namespace {

struct System {
    RtAudio::Api api;
    const char* prefix;
};

/// In the order in which they are asked for a default device.
constexpr std::array systems{System{RtAudio::LINUX_PULSE, "pulse:"}, System{RtAudio::LINUX_ALSA, "alsa:"}};

constexpr unsigned wantedPeriod = 256;

/// Without a device this system complains on standard error.
void saySilently(const char*, int, const char*, int, const char*, ...) {}

class RtAudioDriver final : public AudioDriver {
public:
    RtAudioDriver() { snd_lib_error_set_handler(saySilently); }
    ~RtAudioDriver() override { close(); }

    std::vector<AudioOutputDevice> devices() override {
        std::vector<AudioOutputDevice> found;
        for (const System& system : systems)
            eachDevice(system, [&](RtAudio&, unsigned, const RtAudio::DeviceInfo& info) {
                found.push_back({system.prefix + info.name, info.name, info.isDefaultOutput});
                return false;
            });
        return found;
    }

    bool open(const std::optional<std::string>& deviceUID, AudioFeed& feed) override {
        for (const System& system : systems) {
            eachDevice(system, [&](RtAudio& audio, unsigned index, const RtAudio::DeviceInfo& info) {
                const bool isWanted = deviceUID ? system.prefix + info.name == *deviceUID : info.isDefaultOutput;
                return isWanted && openDevice(audio, index, info, feed);
            });
            if (stream) return true;
        }
        return false;
    }

    void close() override {
        if (!stream) return;
        try {
            if (stream->isStreamRunning()) stream->abortStream();
            if (stream->isStreamOpen()) stream->closeStream();
        } catch (const RtAudioError&) {
            // It has gone by itself.
        }
        stream.reset();
    }

    bool isOpen() override { return stream && stream->isStreamRunning(); }

private:
    /// Hands the system's outputs to `use` until that says true; then the system is kept as the stream.
    template <class Use>
    void eachDevice(const System& system, Use&& use) {
        try {
            auto audio = std::make_unique<RtAudio>(system.api);
            // Another one stands in for a system that the library was built without.
            if (audio->getCurrentApi() != system.api) return;
            audio->showWarnings(false);
            for (unsigned index = 0, count = audio->getDeviceCount(); index < count; ++index) {
                const RtAudio::DeviceInfo info = audio->getDeviceInfo(index);
                if (!info.probed || info.outputChannels == 0) continue;
                if (use(*audio, index, info)) {
                    stream = std::move(audio);
                    return;
                }
            }
        } catch (const RtAudioError&) {
            // What doesn't answer has no devices.
        }
    }

    bool openDevice(RtAudio& audio, unsigned index, const RtAudio::DeviceInfo& info, AudioFeed& feed) {
        channels = std::min(info.outputChannels, 2u);
        RtAudio::StreamParameters output;
        output.deviceId = index;
        output.nChannels = channels;
        RtAudio::StreamOptions options;
        options.streamName = "Varnolex";
        unsigned period = wantedPeriod;
        heard = &feed;
        try {
            audio.openStream(&output, nullptr, RTAUDIO_FLOAT32, info.preferredSampleRate, &period, &RtAudioDriver::play,
                             this, &options, nullptr);
            mono.resize(std::max(period, wantedPeriod));
            feed.prepare(audio.getStreamSampleRate());
            audio.startStream();
            return true;
        } catch (const RtAudioError&) {
            if (audio.isStreamOpen()) audio.closeStream();
            return false;
        }
    }

    static int play(void* output, void*, unsigned frameCount, double, RtAudioStreamStatus, void* self) {
        static_cast<RtAudioDriver*>(self)->play(static_cast<float*>(output), frameCount);
        return 0;
    }

    void play(float* output, unsigned frameCount) {
        while (frameCount > 0) {
            const std::size_t count = std::min<std::size_t>(frameCount, mono.size());
            heard->fill(std::span(mono).first(count), std::nullopt);
            for (std::size_t frame = 0; frame < count; ++frame) output = std::fill_n(output, channels, mono[frame]);
            frameCount -= static_cast<unsigned>(count);
        }
    }

    std::unique_ptr<RtAudio> stream;
    AudioFeed* heard = nullptr;
    std::vector<float> mono;
    unsigned channels = 2;
};

}  // namespace

std::unique_ptr<AudioDriver> makeRtAudioDriver() { return std::make_unique<RtAudioDriver>(); }

}  // namespace varnolex
