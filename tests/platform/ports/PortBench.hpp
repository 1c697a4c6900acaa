#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <thread>

#include "platform/ports/SocketMessagePorts.hpp"

namespace varnolex {

/// A folder of the test's own that goes with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = testing::TempDir() + "varnolex-ports-XXXXXX";
        if (!::mkdtemp(name.data())) throw std::runtime_error("no folder for the test");
        path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path;
};

/// Things that other threads put in, for a test to wait for. Waiting gives up after 20 s, which only a fault reaches.
template <class Thing>
class Arrivals {
public:
    void put(Thing thing) {
        const std::scoped_lock hold(lock);
        things.push_back(std::move(thing));
        changed.notify_all();
    }

    std::vector<Thing> waitFor(std::size_t count) {
        std::unique_lock hold(lock);
        changed.wait_for(hold, std::chrono::seconds(20), [&] { return things.size() >= count; });
        return things;
    }

private:
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Thing> things;
};

/// Runs a function in a program of its own, ended with it or by a signal. It gets a fresh thread there: what a thread
/// remembers of itself would be that of the test.
template <class Run>
pid_t runInChild(Run run) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    std::thread(std::move(run)).join();
    ::_exit(0);
}

}  // namespace varnolex
