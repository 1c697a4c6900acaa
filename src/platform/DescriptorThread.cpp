#include "platform/DescriptorThread.hpp"

#include <poll.h>

#include <array>
#include <cassert>
#include <ctime>

#include "platform/MonotonicTime.hpp"
#include "platform/ServiceThread.hpp"

namespace varnolex {

DescriptorThread::DescriptorThread(const std::string& name, int watchedDescriptor, std::shared_ptr<Bell> sharedBell,
                                   Calls threadCalls)
    : descriptor(watchedDescriptor), bell(std::move(sharedBell)), calls(std::move(threadCalls)) {
    thread = startServiceThread(name, true, [this] { serve(); }).thread;
}

DescriptorThread::~DescriptorThread() {
    assert(thread.get_id() != std::this_thread::get_id() && "a call can't end the thread that runs it");
    isEnding.store(true);
    bell->ring();
    thread.join();
}

void DescriptorThread::serve() {
    bool watches = true;
    HostTime next = 0;
    while (!isEnding.load()) {
        const bool isReadable = wait(next, watches);
        bell->mute();
        if (isReadable) watches = calls.read();
        bell->listen();
        if (!isEnding.load()) next = calls.work();
    }
}

bool DescriptorThread::wait(HostTime until, bool watches) const {
    std::array<pollfd, 2> sources{{{bell->descriptor(), POLLIN, 0}, {watches ? descriptor : -1, POLLIN, 0}}};
    const HostTime now = monotonicTime();
    const HostTime rest = until > now ? until - now : 0;
    const timespec patience{static_cast<time_t>(rest / ticksPerSecond), static_cast<long>(rest % ticksPerSecond)};
    const int count = ppoll(sources.data(), sources.size(), until == never ? nullptr : &patience, nullptr);
    return count > 0 && sources[1].revents != 0;
}

}  // namespace varnolex
