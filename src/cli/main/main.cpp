#include <cstdio>
#include <cstdlib>

#include "cli/CommandLine.hpp"
#include "platform/script/ScriptThread.hpp"

int main(int argc, char** argv) {
    const int status = varnolex::runCommandLine(argc, argv);
    // A script that can't be ended may still use what the process would clear away.
    if (varnolex::ScriptThread::isAnyLeftBehind()) {
        std::fflush(nullptr);
        std::_Exit(status);
    }
    return status;
}
