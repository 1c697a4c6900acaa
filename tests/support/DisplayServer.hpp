#pragma once

#include <fstream>
#include <memory>

#include "support/ChildProcess.hpp"

namespace varnolex {

/// An X display of a test's own, without a screen that anybody sees.
class DisplayServer {
public:
    static bool isInstalled() {
        return ::access("/usr/bin/Xvfb", X_OK) == 0 && ::access("/usr/bin/xdotool", X_OK) == 0 &&
               ::access("/usr/bin/xev", X_OK) == 0;
    }

    /// Returns when the display takes clients. `folder` gets its output.
    explicit DisplayServer(const std::string& folder) {
        const std::string output = folder + "/display-number";
        process = std::make_unique<ChildProcess>(
            // Keys don't repeat, since a press lasts on a busy machine, and it stays as it is when all have left it.
            std::vector<std::string>{"Xvfb", "-displayfd", "1", "-r", "-noreset", "-screen", "0", "320x240x24",
                                     "-nolisten", "tcp"},
            output);
        for (int attempt = 0; attempt < 500 && shownName == ":"; ++attempt, pause(20)) {
            std::string line;
            // It says other things too, to the same file.
            for (std::ifstream lines(output); std::getline(lines, line);)
                if (!lines.eof() && !line.empty() && line.find_first_not_of("0123456789") == std::string::npos)
                    shownName = ":" + line;
        }
        if (shownName == ":") throw std::runtime_error("Xvfb doesn't answer");
    }

    const std::string& name() const { return shownName; }

    /// Runs a program on the display, to its end or to its owner's.
    std::unique_ptr<ChildProcess> start(std::vector<std::string> words, const std::string& output = "/dev/null") const {
        words.insert(words.begin(), {"env", "DISPLAY=" + shownName});
        return std::make_unique<ChildProcess>(std::move(words), output);
    }

    /// Plays keys, in the words of xdotool, and waits until that is done.
    void type(std::vector<std::string> words) const {
        words.insert(words.begin(), "xdotool");
        start(std::move(words))->wait();
    }

    void kill() { process->end(SIGKILL); }

private:
    std::string shownName = ":";
    std::unique_ptr<ChildProcess> process;
};

}  // namespace varnolex
