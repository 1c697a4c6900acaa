#include "platform/audio/SystemAudioOutput.hpp"

#include <dlfcn.h>
#include <poll.h>

#include <filesystem>
#include <utility>

#include "platform/Runtime.hpp"
#include "platform/ServiceThread.hpp"

namespace varnolex {
namespace {

constexpr const char* fileName = "libvarnolex-audio.so";
constexpr const char* makerName = "varnolexMakeAudioDriver";

/// How often an open device is looked after, in milliseconds.
constexpr int watchInterval = 500;

/// A device that asks for nothing for as long won't any more. A stalled computer has been seen to take 0.9 s.
constexpr HostTime longestSilence = 3 * ticksPerSecond / 2;

/// A device that keeps ending is opened no oftener.
constexpr HostTime openingInterval = 2 * ticksPerSecond;

}  // namespace

std::unique_ptr<AudioDriver> SystemAudioOutput::loadedDriver() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string file = program.parent_path().parent_path() / "lib" / "varnolex" / fileName;
    // It stays for good: the audio systems keep threads of their own.
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!handle) return nullptr;
    const auto make = reinterpret_cast<AudioDriver* (*)()>(dlsym(handle, makerName));
    return std::unique_ptr<AudioDriver>(make ? make() : nullptr);
}

SystemAudioOutput::SystemAudioOutput(MakeDriver driverMaker) : makeDriver(std::move(driverMaker)) {}

SystemAudioOutput::~SystemAudioOutput() {
    if (!thread.joinable()) return;
    wish([](Wish& next) { next = {.isNew = true, .isEnd = true}; });
    thread.join();
}

void SystemAudioOutput::run(AudioSource& source, const std::optional<std::string>& deviceUID) {
    wish([&](Wish& next) {
        next.source = &source;
        next.deviceUID = deviceUID;
        next.looksForDevices = next.isNew = true;
    });
}

void SystemAudioOutput::rest() {
    if (!thread.joinable()) return;
    wish([](Wish& next) {
        next.source = nullptr;
        next.isNew = true;
    });
}

std::vector<AudioOutputDevice> SystemAudioOutput::devices() {
    if (!std::exchange(hasLooked, true)) wish([](Wish& next) { next.looksForDevices = true; });
    return found.get();
}

template <class Edit>
void SystemAudioOutput::wish(Edit&& edit) {
    wished.with(edit);
    if (!thread.joinable()) thread = startServiceThread("varnolex-audio", false, [this] { serve(); }).thread;
    bell.ring();
}

void SystemAudioOutput::serve() {
    while (!present.isEnd) {
        bell.listen();
        Wish next;
        wished.with([&](Wish& newest) {
            next = newest;
            newest.isNew = newest.looksForDevices = false;
        });
        fulfil(next);
        if (mayOpenAnew() && !isPlaying()) open();
        running.set(present.source && isPlaying());
        pollfd source{bell.descriptor(), POLLIN, 0};
        if (!present.isEnd) ::poll(&source, 1, present.source ? watchInterval : -1);
        bell.mute();
    }
    running.set(false);
    driver.reset();
}

void SystemAudioOutput::fulfil(const Wish& next) {
    if (!driver && !next.isEnd && (next.source || next.looksForDevices)) driver = makeDriver();
    if (!driver) {
        present = next;
        return;
    }
    const bool isAsWished = isPlaying() && next.source == present.source && next.deviceUID == present.deviceUID;
    const bool mustOpen = next.isNew && next.source && !isAsWished;
    if (mustOpen || !next.source) {
        driver->close();
        isOpened = false;
    }
    if (next.looksForDevices && (mustOpen || !next.source)) found.set(driver->devices());
    present = next;
    if (mustOpen) open();
}

void SystemAudioOutput::open() {
    driver->close();
    feed.source = present.source;
    feed.calls.set(0);
    isOpened = driver->open(present.deviceUID, feed);
    knownCalls = 0;
    lastOpening = lastKnownCall = Runtime::current().hostTime();
}

bool SystemAudioOutput::isPlaying() {
    if (!isOpened || !driver->isOpen()) return false;
    const HostTime now = Runtime::current().hostTime();
    const std::uint64_t before = std::exchange(knownCalls, feed.calls.get());
    if (knownCalls != before) lastKnownCall = now;
    return now - lastKnownCall < longestSilence;
}

/// What has never played or couldn't be opened waits until it is asked for.
bool SystemAudioOutput::mayOpenAnew() const {
    return present.source && isOpened && knownCalls > 0 &&
           Runtime::current().hostTime() - lastOpening >= openingInterval;
}

// The device's thread

void SystemAudioOutput::Feed::prepare(double sampleRate) {
    clock = DeviceClock(sampleRate);
    source->prepare(sampleRate);
}

void SystemAudioOutput::Feed::fill(std::span<float> frames, std::optional<Nanoseconds> age) noexcept {
    const HostTime now = Runtime::current().hostTime();
    calls.add(1);
    const HostTime learned = clock.timeOf(frames.size(), now);
    source->render(frames, age ? now - static_cast<HostTime>(age->count()) : learned);
}

}  // namespace varnolex
