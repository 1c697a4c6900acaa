#pragma once

#include <functional>
#include <string>
#include <thread>

namespace varnolex {

/// A thread that serves something until its work returns. It takes no signals, which are the main thread's.
struct ServiceThread {
    std::thread thread;
    /// Whether it was granted the real-time scheduling that it asked for.
    bool isRealTime = false;
};

/// `name` is cut at 15 characters by the system. `isTiming` asks for real-time scheduling, and for wake-ups that the
/// kernel doesn't put off; what is refused is gone without.
ServiceThread startServiceThread(const std::string& name, bool isTiming, std::function<void()> work);

}  // namespace varnolex
