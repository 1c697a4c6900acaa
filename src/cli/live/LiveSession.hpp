#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "endpoints/MIDIManager.hpp"
#include "endpoints/ServiceChoice.hpp"
#include "platform/DebugLogFile.hpp"
#include "platform/DiagnosticLog.hpp"
#include "platform/Interruption.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/hid/HidrawDevices.hpp"
#include "platform/keys/X11Keys.hpp"

namespace varnolex {

/// A user's number of seconds, of at most 1e8.
std::optional<Nanoseconds> durationOf(std::optional<double> seconds);

/// What a command that works with live MIDI stands on: the real runtime, the computer's keyboard and devices, a MIDI
/// service and the directory of its endpoints. Its thread is the main thread.
class LiveSession {
public:
    /// Throws `MIDIServiceError` when the service that was asked for doesn't answer.
    explicit LiveSession(MIDIServiceKind kind);
    ~LiveSession();
    LiveSession(const LiveSession&) = delete;
    LiveSession& operator=(const LiveSession&) = delete;

    /// Lets the user's flight recorder run with the session, from now on.
    void startRecorder();

    MIDIManager& endpoints() { return directory; }
    std::string_view backendName() const { return service->backendName(); }

    /// Tells the user when no MIDI service answers, so that nothing of other programs is ever heard.
    void tellIfAlone() const;

    /// Serves the main queue until the user interrupts, `end` is called, or `duration` has passed. Throws what `fail`
    /// was given.
    void run(std::optional<Nanoseconds> duration = std::nullopt);

    /// Serves on until the service has let everything out that was sent, or for some seconds, should it be stuck.
    void runUntilDelivered();

    /// Ends `run` after the task that is running.
    void end();

    /// Ends `run`, which throws `CommandFailure` with this sentence.
    void fail(std::string sentence);

    /// Whether the user has asked for the end.
    bool isInterrupted() const { return interruption.isRequested(); }

private:
    const MIDIServiceKind wanted;
    RealRuntime runtime;
    RuntimeScope runtimeScope{runtime};
    DebugLogFile debugLog{DebugLogFile::usualPath()};
    // Before the service, whose threads record until it ends.
    std::optional<DiagnosticLog> recorder;
    std::optional<DiagnosticLogScope> recorderScope;
    X11Keys keys{X11Keys::ofSession()};
    KeyServiceScope keysScope{keys};
    HidrawDevices devices;
    HIDServiceScope devicesScope{devices};
    std::unique_ptr<MIDIService> service;
    MIDIServiceScope serviceScope;
    MIDIManager directory;
    // Not before a service has answered: one that hangs should be easy to leave.
    Interruption interruption;
    bool hasEndedByInterruption = false;
    std::optional<std::string> failure;
};

}  // namespace varnolex
