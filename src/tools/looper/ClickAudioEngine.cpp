#include "tools/looper/ClickAudioEngine.hpp"

#include <algorithm>
#include <cmath>

namespace varnolex {
namespace {

constexpr double clickSeconds = 0.02;
constexpr double accentFrequency = 1800;
constexpr double regularFrequency = 1000;
constexpr double decayRate = 200;

/// A device that can't be opened isn't asked for at every beat.
constexpr HostTime retryInterval = 2 * ticksPerSecond;

/// A time stamp that is further away isn't of this moment.
constexpr HostTime farthestStamp = ticksPerSecond / 4;

/// A message reaches the click some hundreds of microseconds after its time stamp, and a period that is asked for
/// meanwhile would miss it.
constexpr double handlingSeconds = 0.001;

SharedValue<ClickAudioEngine*> installed{nullptr};

std::vector<float> clickOf(double frequency, double sampleRate) {
    std::vector<float> frames(static_cast<std::size_t>(std::lround(clickSeconds * sampleRate)));
    for (std::size_t index = 0; index < frames.size(); ++index) {
        const double time = static_cast<double>(index) / sampleRate;
        frames[index] = static_cast<float>(std::sin(2 * 3.141593 * frequency * time) * std::exp(-decayRate * time));
    }
    return frames;
}

}  // namespace

ClickAudioEngine* ClickAudioEngine::shared() { return installed.get(); }

ClickAudioEngineScope::ClickAudioEngineScope(ClickAudioEngine& engine) : former(installed.exchange(&engine)) {}

ClickAudioEngineScope::~ClickAudioEngineScope() { installed.set(former); }

ClickAudioEngine::ClickAudioEngine(std::unique_ptr<AudioOutput> audioOutput) : output(std::move(audioOutput)) {}

void ClickAudioEngine::start() {
    if (++consumers == 1) update();
}

void ClickAudioEngine::stop() {
    if (consumers == 0) return;
    if (--consumers == 0) update();
}

void ClickAudioEngine::setVolume(double factor) {
    volume.set(std::isfinite(factor) ? static_cast<float>(std::clamp(factor, 0.0, 100.0)) : 0);
}

void ClickAudioEngine::selectDevice(const std::optional<std::string>& uid) {
    const std::optional<std::string> wanted = uid.value_or("").empty() ? std::nullopt : uid;
    if (wanted == selected) return;
    selected = wanted;
    const auto listed = availableDevices();
    const bool isThere = !selected || std::ranges::find(listed, *selected, &AudioOutputDevice::uid) != listed.end();
    // A device that isn't there doesn't silence the one that plays.
    if (consumers > 0 && (isThere || !isRunning())) update();
}

void ClickAudioEngine::update() {
    lastTry = Runtime::current().hostTime();
    if (consumers > 0)
        output->run(*this, selected);
    else
        output->rest();
}

void ClickAudioEngine::click(bool isAccent, HostTime time) noexcept {
    if (!isRunning()) return askAgain.ask();
    const HostTime now = Runtime::current().hostTime();
    const bool isNear = time != 0 && (time > now ? time - now : now - time) <= farthestStamp;
    pending.post({isNear ? time : now, isAccent});
}

void ClickAudioEngine::tryAgain() {
    if (consumers > 0 && !isRunning() && Runtime::current().hostTime() - lastTry >= retryInterval) update();
}

// The device's thread

void ClickAudioEngine::prepare(double framesASecond) {
    sampleRate = framesASecond;
    accentBuffer = clickOf(accentFrequency, sampleRate);
    regularBuffer = clickOf(regularFrequency, sampleRate);
    longestPeriod = 0;
    playing = nullptr;
    waiting.reset();
    for (Click old; pending.take(old);) continue;
}

void ClickAudioEngine::render(std::span<float> frames, HostTime start) noexcept {
    longestPeriod = std::max(longestPeriod, frames.size());
    std::ranges::fill(frames, 0.0F);
    const float factor = volume.get();
    for (std::size_t place = 0; place < frames.size();) {
        if (!playing) {
            Click next;
            if (!waiting && pending.take(next)) waiting = next;
            if (!waiting) return;
            place = std::max(place, placeOf(*waiting, start));
            if (place >= frames.size()) return;
            playing = waiting->isAccent ? &accentBuffer : &regularBuffer;
            waiting.reset();
            position = 0;
        }
        const std::size_t count = std::min(frames.size() - place, playing->size() - position);
        std::transform(playing->begin() + static_cast<std::ptrdiff_t>(position),
                       playing->begin() + static_cast<std::ptrdiff_t>(position + count),
                       frames.begin() + static_cast<std::ptrdiff_t>(place),
                       [factor](float frame) { return std::clamp(frame * factor, -1.0F, 1.0F); });
        position += count;
        place += count;
        if (position == playing->size()) playing = nullptr;
    }
}

/// Every click is late by a period, so that it is known before the device asks for its frames, and their distances are
/// those of the time stamps.
std::size_t ClickAudioEngine::placeOf(const Click& click, HostTime start) const {
    const auto distance = static_cast<double>(static_cast<std::int64_t>(click.time - start));
    const double frames = (distance / double{ticksPerSecond} + handlingSeconds) * sampleRate;
    return static_cast<std::size_t>(std::max(0.0, std::round(frames + static_cast<double>(longestPeriod))));
}

}  // namespace varnolex
