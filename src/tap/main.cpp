#include <cstdio>
#include <string>

#include "endpoints/jack/JackService.hpp"
#include "endpoints/tap/JackDestinationTap.hpp"
#include "endpoints/tap/TapServer.hpp"
#include "platform/Interruption.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/ports/SocketMessagePorts.hpp"

namespace varnolex {
namespace {

constexpr Nanoseconds interruptionPeriod = std::chrono::milliseconds(100);

int serve() {
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    const Interruption interruption;
    SocketMessagePorts ports;
    JackDestinationTap tap({.uniqueIDFile = JackService::usualUniqueIDFile()});
    TapServer server(ports, tap);
    std::string failure;
    if (!server.start(failure)) {
        std::fprintf(stderr, "varnolex-tap: %s\n", failure.c_str());
        return 1;
    }
    const RepeatingTimer look = runtime.mainQueue().repeating(0, interruptionPeriod, [&] {
        if (interruption.isRequested()) runtime.stopMain();
    });
    runtime.runMain();
    return 0;
}

}  // namespace
}  // namespace varnolex

/// Lets Varnolex hear what programs send to the destinations of a JACK server. Serves until it gets SIGINT, SIGTERM or
/// SIGHUP.
int main(int argc, char**) {
    if (argc > 1) {
        std::fputs("usage: varnolex-tap\nThe JACK server is the one that JACK_DEFAULT_SERVER names.\n", stderr);
        return 2;
    }
    return varnolex::serve();
}
