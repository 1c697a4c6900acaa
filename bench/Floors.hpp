#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "bench/Measurement.hpp"

namespace varnolex::bench {

/// Keeps a second thread in the process while it lives, without which the C library leaves out the atomic operations of
/// a mutex.
class SecondThread {
public:
    SecondThread() : holder(gate), thread([this] { const std::scoped_lock wait(gate); }) {}
    ~SecondThread() {
        holder.unlock();
        thread.join();
    }
    SecondThread(const SecondThread&) = delete;
    SecondThread& operator=(const SecondThread&) = delete;

private:
    std::mutex gate;
    std::unique_lock<std::mutex> holder;
    std::thread thread;
};

/// `count` uncontended pairs of lock and unlock.
inline void lockPairs(std::size_t count) {
    static std::recursive_mutex mutex;
    for (std::size_t index = 0; index < count; ++index) {
        mutex.lock();
        keep(mutex);
        mutex.unlock();
    }
}

/// The least that a MIDI parser does: byte by byte, running status included, into records of 16 bytes.
class ByteMachine {
public:
    struct Record {
        std::uint64_t time;
        std::array<std::uint8_t, 3> bytes;
        std::uint8_t length;
        std::uint32_t source;
    };

    void parse(std::span<const std::uint8_t> run, std::uint64_t time, std::vector<Record>& records) {
        for (const std::uint8_t byte : run) {
            if (byte >= 0xF8) {
                records.push_back({time, {byte, 0, 0}, 1, 0});
            } else if (byte >= 0x80) {
                status = byte;
                have = 0;
            } else if (status >= 0x80 && status < 0xF0) {
                data[have++] = byte;
                const std::uint8_t needed = (status & 0xE0) == 0xC0 ? 1 : 2;
                if (have < needed) continue;
                const auto second = static_cast<std::uint8_t>(needed == 2 ? data[1] : 0);
                records.push_back({time, {status, data[0], second}, static_cast<std::uint8_t>(needed + 1), 0});
                have = 0;
            }
        }
    }

private:
    std::uint8_t status = 0;
    std::uint8_t have = 0;
    std::array<std::uint8_t, 2> data{};
};

}  // namespace varnolex::bench
