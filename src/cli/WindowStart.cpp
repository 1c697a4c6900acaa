#include "cli/WindowStart.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "cli/CommandFailure.hpp"

namespace varnolex {
namespace {

constexpr const char* windowProgram = "varnolex-studio";

bool hasDisplay() {
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

std::string programBeside() {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return windowProgram;
    const auto beside = self.parent_path() / windowProgram;
    return std::filesystem::exists(beside, error) ? beside.string() : windowProgram;
}

}  // namespace

void startWindow(const std::optional<std::string>& document) {
    std::string program = programBeside();
    std::string flag = "--document";
    std::string file = document.value_or("");
    std::vector<char*> arguments{program.data()};
    if (document) {
        arguments.push_back(flag.data());
        arguments.push_back(file.data());
    }
    arguments.push_back(nullptr);
    if (hasDisplay()) execvp(program.c_str(), arguments.data());
    const std::string hint = "; `varnolex --help` lists what works without a window";
    if (!hasDisplay()) throw CommandFailure("there is no display for the window" + hint);
    if (errno == ENOENT) throw CommandFailure("the window, varnolex-studio, is not installed" + hint);
    throw CommandFailure("the window, " + program + ", can't be started: " + std::strerror(errno) + hint);
}

}  // namespace varnolex
