#include "platform/QueueServer.hpp"

#define ASIO_STANDALONE
// A loop is one thread's: asio needs no fences there, which ThreadSanitizer doesn't know.
#define ASIO_DISABLE_FENCED_BLOCK
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <cassert>
#include <system_error>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include "platform/MonotonicTime.hpp"
#include "platform/ServiceThread.hpp"

namespace varnolex {

namespace {

int orThrow(int descriptor, const char* what) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
    return descriptor;
}

struct Descriptor {
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(number); }
    const int number;
};

}  // namespace

/// The event loop of a server without a thread of its own, with its two sources: the alarm, which only the serving
/// thread sets, and the bell.
struct QueueServer::Loop {
    Loop()
        : alarm(context, orThrow(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC), "timerfd")),
          bell(context, orThrow(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")),
          both(orThrow(epoll_create1(EPOLL_CLOEXEC), "epoll")) {
        for (const int source : {alarm.native_handle(), bell.native_handle()}) {
            epoll_event interest{};
            interest.events = EPOLLIN;
            orThrow(epoll_ctl(both.number, EPOLL_CTL_ADD, source, &interest), "epoll");
        }
        listenTo(alarm);
        listenTo(bell);
    }

    void listenTo(asio::posix::stream_descriptor& source) {
        source.async_wait(asio::posix::stream_descriptor::wait_read, [this, &source](const asio::error_code& error) {
            if (error) return;
            std::uint64_t count = 0;
            // Both don't block: a source that was acknowledged before gives nothing, which is as good.
            [[maybe_unused]] const auto size = ::read(source.native_handle(), &count, sizeof count);
            listenTo(source);
        });
    }

    void setAlarm(HostTime time) {
        itimerspec setting{};
        if (time != ~HostTime{0}) {
            setting.it_value.tv_sec = static_cast<time_t>(time / ticksPerSecond);
            // All zero would switch the alarm off.
            setting.it_value.tv_nsec = std::max<long>(static_cast<long>(time % ticksPerSecond), 1);
        }
        timerfd_settime(alarm.native_handle(), TFD_TIMER_ABSTIME, &setting, nullptr);
    }

    asio::io_context context{1};
    asio::posix::stream_descriptor alarm;
    asio::posix::stream_descriptor bell;
    /// Readable when either is, for a main thread whose loop is somebody else's.
    Descriptor both;
};

QueueServer::QueueServer(Drive drive) : loop(drive == Drive::loop ? std::make_unique<Loop>() : nullptr) {}

QueueServer::~QueueServer() { close(); }

bool QueueServer::startThread(const std::string& name, bool isTiming) {
    alarm.setPunctual(isTiming);
    ServiceThread started = startServiceThread(name, isTiming, [this] { serve(); });
    thread = std::move(started.thread);
    return started.isRealTime;
}

TaskSchedule::Ticket QueueServer::push(const void* owner, HostTime deadline, HostTime period, Task task) {
    const HostTime now = monotonicTime();
    bool mustWake = false;
    const TaskSchedule::Ticket ticket = schedule.with([&](Schedule& held) -> TaskSchedule::Ticket {
        if (held.isClosed) return 0;
        if (std::max(deadline, now) < held.sleepsUntil) {
            mustWake = held.sleepsUntil != 0;
            held.sleepsUntil = 0;
        }
        return held.tasks.push(owner, deadline, period, now, std::move(task));
    });
    if (mustWake) ring();
    return ticket;
}

void QueueServer::cancel(TaskSchedule::Ticket ticket) {
    Task ended;
    schedule.with([&](Schedule& held) { held.tasks.cancel(ticket, ended); });
}

void QueueServer::cancelAll(const void* owner) {
    std::uint32_t cursor = 0;
    for (bool more = true; more;) {
        Task ended;
        more = schedule.with([&](Schedule& held) { return held.tasks.cancelSome(owner, cursor, ended); });
    }
}

void QueueServer::ring() {
    if (!loop) return alarm.ring();
    const std::uint64_t one = 1;
    // Only a counter that is about to overflow refuses, and that one is readable anyway.
    [[maybe_unused]] const auto size = ::write(loop->bell.native_handle(), &one, sizeof one);
}

void QueueServer::close() {
    if (isClosing.exchange(true)) return;
    schedule.with([](Schedule& held) { held.isClosed = true; });
    ring();
    if (thread.joinable()) {
        assert(thread.get_id() != std::this_thread::get_id() && "a task can't close the server that runs it");
        thread.join();
    }
    cancelAll(nullptr);
}

bool QueueServer::runOne(HostTime limit) {
    Task* const task = schedule.with(
        [&](Schedule& held) -> Task* { return held.tasks.isRunning() ? nullptr : held.tasks.begin(limit).task; });
    if (!task) return false;
    (*task)();
    Task ended;
    const HostTime now = monotonicTime();
    schedule.with([&](Schedule& held) { held.tasks.finish(now, ended); });
    return true;
}

bool QueueServer::prepareSleep() {
    const HostTime now = monotonicTime();
    const HostTime until = schedule.with([&](Schedule& held) {
        const HostTime next = held.tasks.nextDeadline().value_or(~HostTime{0});
        held.sleepsUntil = next <= now ? 0 : next;
        return held.sleepsUntil;
    });
    if (until == 0) return false;
    loop ? loop->setAlarm(until) : (void)(sleepEnd = until);
    return true;
}

void QueueServer::sleep() {
    if (loop)
        loop->context.run_one();
    else
        alarm.wait(sleepEnd);
}

void QueueServer::acknowledge() { loop->context.poll(); }

int QueueServer::descriptor() const { return loop->both.number; }

void QueueServer::serve() {
    while (!isClosing.load()) {
        const HostTime now = monotonicTime();
        while (!isClosing.load() && runOne(now)) {
        }
        if (prepareSleep()) sleep();
    }
}

}  // namespace varnolex
