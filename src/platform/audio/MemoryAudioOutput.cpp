#include "platform/audio/MemoryAudioOutput.hpp"

#include <algorithm>
#include <cmath>

namespace varnolex {

void MemoryAudioOutput::run(AudioSource& source, const std::optional<std::string>& deviceUID) {
    rest();
    const auto wanted = std::ranges::find_if(
        outputs, [&](const AudioOutputDevice& each) { return deviceUID ? each.uid == *deviceUID : each.isDefault; });
    if (wanted == outputs.end()) return;
    used = wanted->uid;
    heardSource = &source;
    source.prepare(sampleRate);
    if (!queue) queue = Runtime::current().makeQueue("com.varnolex.audio", QueuePriority::timing);
    const Nanoseconds length(std::llround(static_cast<double>(period * ticksPerSecond) / sampleRate));
    timer = queue->repeating(0, length, [this] { playPeriod(); });
}

void MemoryAudioOutput::playPeriod() {
    frames.resize(frames.size() + period);
    heardSource->render(std::span(frames).last(period), Runtime::current().hostTime());
}

}  // namespace varnolex
