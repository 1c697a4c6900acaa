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

void ClickAudioEngine::click(bool isAccent) noexcept {
    if (isRunning())
        pending.post({Runtime::current().hostTime(), isAccent});
    else
        askAgain.ask();
}

void ClickAudioEngine::tryAgain() {
    if (consumers > 0 && !isRunning() && Runtime::current().hostTime() - lastTry >= retryInterval) update();
}

// The device's thread

void ClickAudioEngine::prepare(double framesASecond) {
    sampleRate = framesASecond;
    accentBuffer = clickOf(accentFrequency, sampleRate);
    regularBuffer = clickOf(regularFrequency, sampleRate);
    playing = nullptr;
    for (Click old; pending.take(old);) continue;
}

void ClickAudioEngine::render(std::span<float> frames) noexcept {
    std::ranges::fill(frames, 0.0F);
    const float factor = volume.get();
    for (std::size_t place = 0; place < frames.size();) {
        if (!playing) {
            Click next;
            if (!pending.take(next)) return;
            place = std::max(place, placeOf(next, frames.size()));
            playing = next.isAccent ? &accentBuffer : &regularBuffer;
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

/// Every click is late by the length of a period, so that their distances are those of the beats.
std::size_t ClickAudioEngine::placeOf(const Click& click, std::size_t frameCount) const {
    const HostTime now = Runtime::current().hostTime();
    const double age = secondsFromTicks(now > click.time ? now - click.time : 0) * sampleRate;
    const double place = static_cast<double>(frameCount) - std::ceil(age);
    return static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(frameCount - 1)));
}

}  // namespace varnolex
