#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/DiagnosticImage.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// The flight recorder: keeps the last events of the engine, across runs, in a ring file of a fixed size, for whoever
/// looks into a fault afterwards. It decides nothing and fails nobody: every file error is ignored.
///
/// The methods named after events may be called from any thread, the processing road included: they hand a few bytes to
/// a bounded mailbox, without allocation, lock or wait. When it is full the record is lost and counted. What is written
/// reaches the file within 30 s; it isn't written when the recorder goes.
class DiagnosticLog {
public:
    static constexpr Nanoseconds flushInterval = std::chrono::seconds(30);

    /// "Varnolex/diag.vxld" among the user's data.
    static std::filesystem::path userFile();

    /// Takes over what the file holds, on the recorder's own queue. Main thread.
    explicit DiagnosticLog(std::filesystem::path file);
    ~DiagnosticLog();
    DiagnosticLog(const DiagnosticLog&) = delete;
    DiagnosticLog& operator=(const DiagnosticLog&) = delete;

    /// The recorder of this session, as installed by the innermost living `DiagnosticLogScope`; null when there is
    /// none, as in a rendering. The whole cost of not recording is this question. Any thread.
    static DiagnosticLog* shared() noexcept { return installed.load(std::memory_order_acquire); }

    void applicationStarted() noexcept;

    /// A tool of a graph at a rebuild.
    void tool(std::uint8_t graph, std::size_t index, std::uint8_t kind, bool isEnabled) noexcept;
    void rebuildStarted(std::uint8_t graph, std::uint8_t reason, std::size_t nodes) noexcept;
    void rebuildEnded(std::uint8_t graph, std::size_t nodes, std::size_t cables) noexcept;

    /// A message that an input of the graph received or an output sent: what is no note is written 8 times a second at
    /// most for each graph and direction. Missing data bytes are written as 0.
    void received(std::uint8_t graph, const std::uint8_t* message, std::size_t length, bool isLastInBatch) noexcept;
    void sent(std::uint8_t graph, const std::uint8_t* message, std::size_t length, bool isLastInBatch) noexcept;

    enum class InputEvent : std::uint8_t {
        connected = 1,
        disconnected = 2,
        droppedDisabled = 3,
        droppedWithoutChain = 4,
    };
    /// Of the endpoint's unique ID the low 16 bits are kept.
    void inputEvent(std::uint8_t graph, InputEvent event, std::int32_t uniqueID, bool isVirtual) noexcept;

    enum class OutputEvent : std::uint8_t {
        disconnected = 0,
        connectedDestination = 1,
        connectedVirtualOutput = 2,
        /// The value is the number of lists.
        batchInSeveralLists = 3,
        droppedWithoutReference = 4,
        droppedOffline = 5,
        droppedWithoutOwnSource = 6,
    };
    /// `value` is cut to 16 bits.
    void outputEvent(std::uint8_t graph, OutputEvent event, std::uint32_t value) noexcept;

    enum class OutputCall : std::uint8_t { createPort = 1, createSource = 2, send = 3, received = 4 };
    /// Of the status the low 16 bits are kept.
    void outputStatus(std::uint8_t graph, OutputCall call, std::int32_t status) noexcept;

    /// `floodingCount`: how many endpoints flood after it. Names are kept as `nameMark`.
    void floodEntered(std::string_view endpoint, std::size_t floodingCount) noexcept;
    void floodLeft(std::string_view endpoint, std::size_t floodingCount) noexcept;
    void mutedDrop(std::string_view endpoint, std::size_t messages) noexcept;

    /// Kind 0 is an input, 1 an output.
    void portCreationFailed(int kind, std::int32_t status) noexcept;
    void endpointsChanged(int kind, std::size_t sources, std::size_t destinations) noexcept;

    enum class SequenceEnd : std::uint8_t { timedOut = 0, flushed = 1 };
    /// `channel` is 0 to 15.
    void parameterSequenceEnded(int channel, SequenceEnd reason) noexcept;

    struct Attachment {
        std::filesystem::path file;
        /// What `stateSnapshotProvider` gave.
        std::string state;
    };

    /// Writes the image out, then calls `done` on the main queue. Main thread; it doesn't wait.
    void attachment(std::function<void(const Attachment&)> done);

    /// Gives state beyond the records for an attachment. Main thread.
    std::function<std::string()> stateSnapshotProvider;

    /// How many records a full mailbox has lost. Any thread.
    std::uint64_t lostRecords() const noexcept;

    /// How a record keeps an endpoint's name: 16 bits of a hash (FNV-1a, its halves combined).
    static std::uint16_t nameMark(std::string_view name) noexcept;

private:
    friend class DiagnosticLogScope;
    class Recorder;

    void post(DiagnosticKind kind, DiagnosticPayload payload) noexcept;

    static inline constinit std::atomic<DiagnosticLog*> installed{nullptr};

    std::shared_ptr<Queue> queue;
    std::shared_ptr<Recorder> recorder;
    /// Lets what comes back to the main queue see that the recorder is gone.
    std::shared_ptr<DiagnosticLog*> self = std::make_shared<DiagnosticLog*>(this);
    RepeatingTimer flushTimer;
};

/// Makes a recorder that of the session for as long as the scope lives. Scopes nest, and belong to the thread that
/// starts and ends the session. Whatever thread records has ended before the recorder goes: the MIDI service before
/// all.
class DiagnosticLogScope {
public:
    explicit DiagnosticLogScope(DiagnosticLog& log);
    ~DiagnosticLogScope();
    DiagnosticLogScope(const DiagnosticLogScope&) = delete;
    DiagnosticLogScope& operator=(const DiagnosticLogScope&) = delete;

private:
    DiagnosticLog* former;
};

}  // namespace varnolex
