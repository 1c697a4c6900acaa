#pragma once

#include <fcntl.h>
#include <jack/jack.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ChildProcess.hpp"

namespace varnolex {

/// A JACK server of a test's own, without a device. All JACK programs that the test starts find it.
class JackServer {
public:
    static constexpr std::int64_t period = 256;
    static constexpr std::int64_t sampleRate = 48'000;

    JackServer() {
        takeName();
        ::setenv("JACK_DEFAULT_SERVER", serverName.c_str(), 1);
        ::setenv("JACK_NO_START_SERVER", "1", 1);
        ::setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
        jack_set_error_function([](const char*) {});
        jack_set_info_function([](const char*) {});
    }

    static bool isInstalled() { return ::access("/usr/bin/jackd", X_OK) == 0; }

    ~JackServer() {
        stop();
        if (nameLock >= 0) ::close(nameLock);
    }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    /// Returns when the server takes clients.
    void start() {
        process = std::make_unique<ChildProcess>(std::vector<std::string>{
            "jackd", "-n", serverName, "-r", "-S", "-d", "dummy", "-r", "48000", "-p", std::to_string(period)});
        for (int attempt = 0; attempt < 500; ++attempt, pause(20))
            if (jack_client_t* const probe = jack_client_open("probe", JackNoStartServer, nullptr)) {
                jack_client_close(probe);
                return;
            }
        throw std::runtime_error("jackd doesn't answer");
    }

    void stop(int signal = SIGTERM) {
        if (process) process->end(signal);
        process.reset();
    }

    const std::string& name() const { return serverName; }

private:
    /// JACK keeps a slot for the name of every server that was killed, and has eight of them: names are used again,
    /// each by one test program at a time.
    void takeName() {
        constexpr int nameCount = 4;
        for (int number = 0; number < nameCount; ++number) {
            serverName = "varnolex-test-" + std::to_string(number);
            nameLock = ::open(("/tmp/" + serverName + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
            if (nameLock >= 0 && ::flock(nameLock, LOCK_EX | LOCK_NB) == 0) return;
            if (nameLock >= 0) ::close(nameLock);
        }
        throw std::runtime_error("too many test programs want a JACK server at once");
    }

    std::string serverName;
    int nameLock = -1;
    std::unique_ptr<ChildProcess> process;
};

}  // namespace varnolex
