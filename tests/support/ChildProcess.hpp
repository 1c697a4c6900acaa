#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
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

    /// Waits for it to end by itself.
    void wait() {
        if (process > 0) ::waitpid(process, nullptr, 0);
        process = -1;
    }

private:
    pid_t process = -1;
};

}  // namespace varnolex
