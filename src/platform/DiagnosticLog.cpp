#include "platform/DiagnosticLog.hpp"

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include "platform/UserFolders.hpp"
#include "platform/WholeFile.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Mailbox.hpp"

namespace varnolex {

namespace {

constexpr std::size_t mailCapacity = 4096;
constexpr std::uint8_t budgetPerSecond = 8;
constexpr std::size_t budgetEntries = 32;

struct Letter {
    DiagnosticKind kind{};
    DiagnosticPayload payload{};
};

std::uint8_t cappedByte(std::size_t value) { return static_cast<std::uint8_t>(std::min<std::size_t>(value, 255)); }

std::uint8_t low(std::uint32_t value) { return static_cast<std::uint8_t>(value); }

std::uint8_t high(std::uint32_t value) { return static_cast<std::uint8_t>(value >> 8); }

DiagnosticPayload messagePayload(std::uint8_t graph, const std::uint8_t* message, std::size_t length,
                                 std::uint8_t flags) {
    const auto byte = [&](std::size_t index) { return index < length ? message[index] : std::uint8_t{0}; };
    return {graph, byte(0), byte(1), byte(2), flags};
}

}  // namespace

/// What lies on the recorder's queue. It may outlive the recorder by the task that is running.
class DiagnosticLog::Recorder {
public:
    Recorder(Runtime& owner, std::filesystem::path path) : runtime(owner), file(std::move(path)) {}

    const std::filesystem::path& path() const { return file; }
    Queue& mainQueue() const { return runtime.mainQueue(); }

    /// Any thread. True when the mail has to be fetched.
    bool post(Letter letter) noexcept { return mailbox.post(std::move(letter)) && !isMailAnnounced.exchange(true); }

    std::uint64_t lostRecords() const noexcept { return mailbox.lostLetters(); }

    void begin() {
        try {
            if (auto taken = DiagnosticImage::fromBytes(readWholeFile(file, DiagnosticImage::size))) {
                image = std::move(*taken);
                isChanged = false;
                return;
            }
        } catch (const FileError&) {
        }
        const std::int64_t now = runtime.calendarSeconds();
        const bool fits = now >= 0 && now <= std::numeric_limits<std::uint32_t>::max();
        image = DiagnosticImage(fits ? static_cast<std::uint32_t>(now) : 0);
    }

    /// False when there may be more.
    bool takeMail() {
        isMailAnnounced.exchange(false);
        Letter letter;
        for (std::size_t count = 0; count < mailCapacity; ++count) {
            if (!mailbox.take(letter)) return true;
            record(letter);
        }
        return isMailAnnounced.exchange(true);
    }

    void flush() {
        if (!std::exchange(isChanged, false)) return;
        try {
            std::error_code ignored;
            std::filesystem::create_directories(file.parent_path(), ignored);
            writeWholeFile(file, image.bytes());
        } catch (const FileError&) {
            isChanged = true;
        }
    }

private:
    using Budget = std::array<std::uint8_t, budgetEntries>;

    void record(Letter& letter) {
        const std::int64_t seconds = runtime.calendarSeconds();
        if (!isAffordable(letter, seconds)) return;
        const std::int64_t sinceEpoch = std::max<std::int64_t>(seconds - image.epoch(), 0);
        const auto now =
            static_cast<std::uint32_t>(std::min<std::int64_t>(sinceEpoch, std::numeric_limits<std::uint32_t>::max()));
        const std::uint32_t delta =
            now < lastTime ? DiagnosticImage::longestDelta : std::min<std::uint32_t>(now - lastTime, 65535);
        lastTime = now;
        if (letter.kind == DiagnosticKind::applicationStart)
            letter.payload = {high(now >> 16), low(now >> 16), low(now), high(now), 0};
        image.write({letter.kind, static_cast<std::uint16_t>(delta), letter.payload});
        isChanged = true;
    }

    /// Keeps floods of clocks and controllers from eating the ring. Notes are always worth their place.
    bool isAffordable(const Letter& letter, std::int64_t seconds) {
        if (letter.kind != DiagnosticKind::received && letter.kind != DiagnosticKind::sent) return true;
        const std::uint8_t status = letter.payload[1];
        if (((status & 0xE0) | 0x10) == 0x90) return true;
        if (std::exchange(budgetSecond, seconds) != seconds) {
            inBudget.fill(0);
            outBudget.fill(0);
        }
        Budget& budget = letter.kind == DiagnosticKind::received ? inBudget : outBudget;
        std::uint8_t& used = budget[std::min<std::size_t>(letter.payload[0], budgetEntries - 1)];
        if (used >= budgetPerSecond) return false;
        ++used;
        return true;
    }

    /// It waits for its queues' threads when it ends, so a task that is running still finds it.
    Runtime& runtime;
    Mailbox<Letter> mailbox{mailCapacity};
    SharedValue<bool> isMailAnnounced{false};

    // The queue's own from here on.
    const std::filesystem::path file;
    DiagnosticImage image{0};
    /// A fresh image counts as changed: it replaces a file that is none.
    bool isChanged = true;
    std::uint32_t lastTime = 0;
    std::int64_t budgetSecond = -1;
    Budget inBudget{};
    Budget outBudget{};
};

std::filesystem::path DiagnosticLog::userFile() { return userDataFolder() / "Varnolex" / "diag.vxld"; }

DiagnosticLog::DiagnosticLog(std::filesystem::path file)
    : queue(Runtime::current().makeQueue("com.varnolex.diag", QueuePriority::normal)),
      recorder(std::make_shared<Recorder>(Runtime::current(), std::move(file))) {
    queue->async([held = recorder] { held->begin(); });
    const HostTime first = Runtime::current().hostTime() + static_cast<HostTime>(flushInterval.count());
    flushTimer = queue->repeating(first, flushInterval, [held = recorder] { held->flush(); });
}

DiagnosticLog::~DiagnosticLog() = default;

namespace {

/// Fetches the mail on the queue, in rounds, so that other work of its thread has its turn.
template <class Recorder>
void fetchMail(Queue& queue, const std::shared_ptr<Recorder>& recorder) noexcept {
    queue.async([held = recorder, weakQueue = queue.weak_from_this()] {
        if (held->takeMail()) return;
        if (const auto living = weakQueue.lock()) fetchMail(*living, held);
    });
}

}  // namespace

void DiagnosticLog::post(DiagnosticKind kind, DiagnosticPayload payload) noexcept {
    if (recorder->post({kind, payload})) fetchMail(*queue, recorder);
}

std::uint64_t DiagnosticLog::lostRecords() const noexcept { return recorder->lostRecords(); }

void DiagnosticLog::attachment(std::function<void(const Attachment&)> done) {
    struct Request {
        std::shared_ptr<Recorder> recorder;
        std::weak_ptr<DiagnosticLog*> log;
        std::function<void(const Attachment&)> done;
    };
    auto request = std::make_unique<Request>(Request{recorder, self, std::move(done)});
    queue->async([held = std::move(request)]() mutable {
        while (!held->recorder->takeMail()) {
        }
        held->recorder->flush();
        auto& mainQueue = held->recorder->mainQueue();
        mainQueue.async([answered = std::move(held)] {
            const auto log = answered->log.lock();
            if (!log) return;
            const auto& provider = (*log)->stateSnapshotProvider;
            answered->done({answered->recorder->path(), provider ? provider() : std::string()});
        });
    });
}

void DiagnosticLog::applicationStarted() noexcept { post(DiagnosticKind::applicationStart, {}); }

void DiagnosticLog::tool(std::uint8_t graph, std::size_t index, std::uint8_t kind, bool isEnabled) noexcept {
    post(DiagnosticKind::tool, {graph, cappedByte(std::min<std::size_t>(index, 254)), kind, isEnabled, 0});
}

void DiagnosticLog::rebuildStarted(std::uint8_t graph, std::uint8_t reason, std::size_t nodes) noexcept {
    post(DiagnosticKind::rebuildStart, {graph, reason, cappedByte(nodes), 0, 0});
}

void DiagnosticLog::rebuildEnded(std::uint8_t graph, std::size_t nodes, std::size_t cables) noexcept {
    post(DiagnosticKind::rebuildEnd, {graph, cappedByte(nodes), cappedByte(cables), 0, 0});
}

void DiagnosticLog::received(std::uint8_t graph, const std::uint8_t* message, std::size_t length,
                             bool isLastInBatch) noexcept {
    const int flags = (isLastInBatch ? 1 : 0) | (length > 3 ? 2 : 0);
    post(DiagnosticKind::received, messagePayload(graph, message, length, static_cast<std::uint8_t>(flags)));
}

void DiagnosticLog::sent(std::uint8_t graph, const std::uint8_t* message, std::size_t length,
                         bool isLastInBatch) noexcept {
    const int kind = length == 3 ? message[0] & 0xF0 : 0;
    const bool isNoteEnd = kind == 0x80 || (kind == 0x90 && message[2] == 0);
    const int flags = (isLastInBatch ? 1 : 0) | (length > 3 ? 2 : 0) | (isNoteEnd ? 4 : 0);
    post(DiagnosticKind::sent, messagePayload(graph, message, length, static_cast<std::uint8_t>(flags)));
}

void DiagnosticLog::inputEvent(std::uint8_t graph, InputEvent event, std::int32_t uniqueID, bool isVirtual) noexcept {
    const auto value = static_cast<std::uint32_t>(uniqueID);
    post(DiagnosticKind::inputEvent, {graph, low(value), high(value), isVirtual, static_cast<std::uint8_t>(event)});
}

void DiagnosticLog::outputEvent(std::uint8_t graph, OutputEvent event, std::uint32_t value) noexcept {
    post(DiagnosticKind::outputEvent, {graph, static_cast<std::uint8_t>(event), low(value), high(value), 0});
}

void DiagnosticLog::outputStatus(std::uint8_t graph, OutputCall call, std::int32_t status) noexcept {
    const auto value = static_cast<std::uint32_t>(status);
    post(DiagnosticKind::outputStatus, {graph, static_cast<std::uint8_t>(call), low(value), high(value), 0});
}

void DiagnosticLog::floodEntered(std::string_view endpoint, std::size_t floodingCount) noexcept {
    const std::uint16_t mark = nameMark(endpoint);
    post(DiagnosticKind::floodEntered, {cappedByte(floodingCount), low(mark), high(mark), 0, 0});
}

void DiagnosticLog::floodLeft(std::string_view endpoint, std::size_t floodingCount) noexcept {
    const std::uint16_t mark = nameMark(endpoint);
    post(DiagnosticKind::floodLeft, {cappedByte(floodingCount), low(mark), high(mark), 0, 0});
}

void DiagnosticLog::mutedDrop(std::string_view endpoint, std::size_t messages) noexcept {
    const std::uint16_t mark = nameMark(endpoint);
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(messages, 65535));
    post(DiagnosticKind::mutedDrop, {low(mark), high(mark), low(count), high(count), 0});
}

void DiagnosticLog::portCreationFailed(int kind, std::int32_t status) noexcept {
    const auto value = static_cast<std::uint32_t>(status);
    post(DiagnosticKind::portCreationFailure,
         {low(value), high(value), static_cast<std::uint8_t>(kind), low(value >> 16), high(value >> 16)});
}

void DiagnosticLog::endpointsChanged(int kind, std::size_t sources, std::size_t destinations) noexcept {
    post(DiagnosticKind::endpointsChanged,
         {static_cast<std::uint8_t>(kind), cappedByte(sources), cappedByte(destinations), 0, 0});
}

void DiagnosticLog::parameterSequenceEnded(int channel, SequenceEnd reason) noexcept {
    post(DiagnosticKind::parameterSequence,
         {static_cast<std::uint8_t>(channel), static_cast<std::uint8_t>(reason), 0, 0, 0});
}

std::uint16_t DiagnosticLog::nameMark(std::string_view name) noexcept {
    std::uint32_t hash = 2166136261u;
    for (const char letter : name) hash = (hash ^ static_cast<std::uint8_t>(letter)) * 16777619u;
    return static_cast<std::uint16_t>(hash >> 16 ^ hash);
}

DiagnosticLogScope::DiagnosticLogScope(DiagnosticLog& log)
    : former(DiagnosticLog::installed.exchange(&log, std::memory_order_acq_rel)) {}

DiagnosticLogScope::~DiagnosticLogScope() { DiagnosticLog::installed.store(former, std::memory_order_release); }

}  // namespace varnolex
