#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "support/Places.hpp"

namespace varnolex::testing {

/// What a run of the program came to.
struct Outcome {
    /// The exit status, or the negative number of the signal that ended it.
    int status = 0;
    std::string output;
    std::string errors;
};

/// Calls the built program as a user does, in a folder of its own that goes away with the test.
class ProgramTest : public ::testing::Test {
protected:
    using Words = std::vector<std::string>;

    ProgramTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varnolex-test-XXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    ~ProgramTest() override { std::filesystem::remove_all(folder); }

    void write(const std::string& file, const std::string& content) const {
        std::ofstream(folder / file, std::ios::binary) << content;
    }

    std::string read(const std::filesystem::path& file) const {
        std::ifstream stream(folder / file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    /// The names of all that is in the folder, hidden files included.
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
        return names;
    }

    /// Runs the program with the words of a call and this standard input. `meanwhile` gets its process id.
    Outcome run(const Words& words, const std::string& input = "",
                const std::function<void(pid_t)>& meanwhile = {}) const {
        // `meanwhile` may run the program too.
        const std::filesystem::path channels = folder.string() + ".channels" + std::to_string(++callsSoFar);
        std::filesystem::create_directory(channels);
        std::ofstream(channels / "input", std::ios::binary) << input;
        const pid_t process = spawn(words, channels);
        if (meanwhile) meanwhile(process);
        int state = 0;
        waitpid(process, &state, 0);
        Outcome outcome;
        outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
        outcome.output = read(channels / "output");
        outcome.errors = read(channels / "errors");
        std::filesystem::remove_all(channels);
        return outcome;
    }

    /// Runs it and expects that it is content and silent; returns what it wrote.
    std::string output(const Words& words, const std::string& input = "") const {
        const Outcome outcome = run(words, input);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors, "");
        return outcome.output;
    }

    std::filesystem::path folder;

    /// What the program finds in its environment beside a home and a path.
    std::vector<std::string> environment;

private:
    mutable int callsSoFar = 0;

    pid_t spawn(const Words& words, const std::filesystem::path& channels) const {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const int fresh = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, 0, (channels / "input").c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, (channels / "output").c_str(), fresh, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (channels / "errors").c_str(), fresh, 0600);
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());

        std::vector<std::string> texts{"varnolex"};
        texts.insert(texts.end(), words.begin(), words.end());
        // No display, so that no call can open a window.
        std::vector<std::string> settings{"HOME=" + folder.string(), "PATH=/usr/bin:/bin"};
        settings.insert(settings.end(), environment.begin(), environment.end());
        pid_t process = 0;
        const int error = posix_spawn(&process, builtProgram().c_str(), &actions, nullptr, pointers(texts).data(),
                                      pointers(settings).data());
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) throw std::system_error(error, std::generic_category(), builtProgram());
        return process;
    }

    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> list;
        for (std::string& text : texts) list.push_back(text.data());
        list.push_back(nullptr);
        return list;
    }
};

}  // namespace varnolex::testing
