#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/Bell.hpp"
#include "platform/HostTime.hpp"

namespace varnolex {

/// A thread with timing priority that serves one descriptor of the system, such as a device.
class DescriptorThread {
public:
    static constexpr HostTime never = ~HostTime{0};

    struct Calls {
        /// The descriptor is readable, or has failed. False stops watching it.
        std::function<bool()> read;
        /// Behind every `read`, every ring and every deadline. Gives the host time at which it wants to run again if
        /// nothing else happens; one that has passed means at once.
        std::function<HostTime()> work;
    };

    /// Serves at once. `bell` may be rung before and after the thread's life.
    DescriptorThread(const std::string& name, int watchedDescriptor, std::shared_ptr<Bell> sharedBell,
                     Calls threadCalls);
    /// Waits for the call under way. Not from inside one.
    ~DescriptorThread();
    DescriptorThread(const DescriptorThread&) = delete;
    DescriptorThread& operator=(const DescriptorThread&) = delete;

private:
    void serve();
    /// True when the descriptor has something.
    bool wait(HostTime until, bool watches) const;

    const int descriptor;
    const std::shared_ptr<Bell> bell;
    const Calls calls;
    std::atomic<bool> isEnding{false};
    std::thread thread;
};

}  // namespace varnolex
