#include "platform/DebugLogFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <string>
#include <utility>

#include "platform/OwnedDescriptor.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

namespace {

std::string headerAt(std::int64_t calendarSeconds) {
    const auto seconds = static_cast<time_t>(calendarSeconds);
    tm calendar{};
    std::array<char, 64> date{};
    if (::gmtime_r(&seconds, &calendar)) std::strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S UTC", &calendar);
    return std::string("=== Varnolex MIDI Debug Log — ") + date.data() + " ===\n";
}

}  // namespace

/// What lies on the queue. It may outlive the log by the task that is running.
class DebugLogFile::Writer {
public:
    explicit Writer(std::filesystem::path logPath) : path(std::move(logPath)) {}

    /// Any thread. True when somebody has to call `write`.
    bool add(std::string_view line) {
        return pending.with([line](std::string& text) {
            const bool isFirst = text.empty();
            if (text.size() < sizeLimit) text.append(line).append(1, '\n');
            return isFirst;
        });
    }

    void write() {
        const std::scoped_lock hold(writing);
        const std::string text = pending.take();
        if (text.empty()) return;
        if (!std::exchange(isOpened, true)) open();
        if (file && text.size() <= sizeLimit - size) append(text);
    }

private:
    /// The folder is everybody's: a name that somebody else has put there is left alone.
    void open() {
        constexpr int flags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
        file = OwnedDescriptor(::open(path.c_str(), flags, 0600));
        struct stat status {};
        const bool isOwn = file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                           status.st_uid == ::geteuid() && status.st_nlink == 1;
        if (!isOwn || ::ftruncate(file.get(), 0) != 0) return file.reset();
        append(headerAt(Runtime::current().calendarSeconds()));
    }

    void append(std::string_view text) {
        size += text.size();
        while (!text.empty()) {
            const ssize_t written = ::write(file.get(), text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return;
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    Guarded<std::string> pending;
    std::mutex writing;
    const std::filesystem::path path;
    bool isOpened = false;
    std::size_t size = 0;
    OwnedDescriptor file;
};

std::filesystem::path DebugLogFile::usualPath() { return "/tmp/varnolex_debug.log"; }

DebugLogFile::DebugLogFile(std::filesystem::path path)
    : writer(std::make_shared<Writer>(std::move(path))),
      queue(Runtime::current().makeQueue("com.varnolex.logger", QueuePriority::normal)) {
    VarnolexLogger::shared().setDebugSink([held = writer, on = queue](std::string_view line) {
        if (held->add(line)) on->async([held] { held->write(); });
    });
}

DebugLogFile::~DebugLogFile() {
    VarnolexLogger::shared().setDebugSink({});
    writer->write();
}

}  // namespace varnolex
