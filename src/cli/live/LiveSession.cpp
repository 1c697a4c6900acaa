#include "cli/live/LiveSession.hpp"

#include <cmath>
#include <utility>

#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// How long a user who interrupts may have to wait: a signal can't wake the main queue by itself.
constexpr Nanoseconds interruptionStep = 20ms;

/// A server that buries a program which has died lets nothing out meanwhile.
constexpr Nanoseconds deliveryPatience = 6s;
constexpr Nanoseconds lastTurn = 100ms;

}  // namespace

std::optional<Nanoseconds> durationOf(std::optional<double> seconds) {
    if (!seconds) return std::nullopt;
    return Nanoseconds(std::llround(*seconds * 1e9));
}

LiveSession::LiveSession(MIDIServiceKind kind) : wanted(kind), service(openMIDIService(kind)), serviceScope(*service) {
    directory.setup();
}

LiveSession::~LiveSession() = default;

void LiveSession::startRecorder() {
    recorder.emplace(DiagnosticLog::userFile());
    recorderScope.emplace(*recorder);
    recorder->applicationStarted();
}

void LiveSession::tellIfAlone() const {
    if (wanted == MIDIServiceKind::automatic && backendName() == "memory")
        tellUser("no MIDI service answers, neither JACK nor the ALSA sequencer: there is nothing to hear");
}

void LiveSession::run(std::optional<Nanoseconds> duration) {
    // What is still to be done after an interruption isn't ended by the same one.
    const RepeatingTimer watch = runtime.mainQueue().repeating(0, interruptionStep, [this] {
        if (isInterrupted() && !std::exchange(hasEndedByInterruption, true)) end();
    });
    WorkItem limit;
    if (duration) limit = runtime.mainQueue().after(*duration, [this] { end(); });
    runtime.runMain();
    limit.cancel();
    if (failure) throw CommandFailure(*std::exchange(failure, std::nullopt));
}

void LiveSession::runUntilDelivered() {
    const HostTime limit = runtime.hostTime() + static_cast<HostTime>(deliveryPatience.count());
    while (service->isDelivering() && runtime.hostTime() < limit) run(interruptionStep);
    // What is out has reached the others when they have had their turn.
    run(lastTurn);
}

void LiveSession::end() { runtime.stopMain(); }

void LiveSession::fail(std::string sentence) {
    if (!failure) failure = std::move(sentence);
    end();
}

}  // namespace varnolex
