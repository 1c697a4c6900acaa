#pragma once

#include <fcntl.h>
#include <jack/jack.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnolex {

inline void pause(int milliseconds) { ::poll(nullptr, 0, milliseconds); }

/// A program that a test runs, ended with its owner.
class ChildProcess {
public:
    /// `output` is a file that takes what the program writes.
    explicit ChildProcess(std::vector<std::string> arguments, const std::string& output = "/dev/null") {
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
        const int failure = posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (failure != 0) throw std::runtime_error(arguments[0] + " doesn't start");
    }
    ~ChildProcess() { end(SIGTERM); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Sends the signal and waits for the end.
    void end(int signal) {
        if (process <= 0) return;
        ::kill(process, signal);
        for (int attempt = 0; attempt < 200; ++attempt, pause(10))
            if (::waitpid(process, nullptr, WNOHANG) == process) {
                process = -1;
                return;
            }
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
        process = -1;
    }

private:
    pid_t process = -1;
};

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
