#include "platform/Interruption.hpp"

#include <unistd.h>

#include <csignal>
#include <string_view>

namespace varnolex {
namespace {

volatile std::sig_atomic_t requested = 0;

volatile std::sig_atomic_t isUninterruptible = 0;

void note(int signal) {
    if (isUninterruptible) {
        constexpr std::string_view sentence = "varnolex: interrupted; nothing was written\n";
        [[maybe_unused]] const auto size = ::write(STDERR_FILENO, sentence.data(), sentence.size());
        ::_exit(1);
    }
    requested = 1;
    // Whoever asks again doesn't want to wait for a clean end. A terminal that closes isn't asking: it may tell twice.
    if (signal != SIGHUP) std::signal(signal, SIG_DFL);
}

}  // namespace

Interruption::Interruption() {
    requested = 0;
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
    formerHangUp = std::signal(SIGHUP, note);
    // Whoever started the program so that it survives its terminal has said so.
    if (formerHangUp == SIG_IGN) std::signal(SIGHUP, SIG_IGN);
}

Interruption::~Interruption() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, formerHangUp);
}

bool Interruption::isRequested() const { return requested != 0; }

BrokenPipesIgnored::BrokenPipesIgnored() : former(std::signal(SIGPIPE, SIG_IGN)) {}

BrokenPipesIgnored::~BrokenPipesIgnored() { std::signal(SIGPIPE, former); }

UninterruptibleWork::UninterruptibleWork() : former(isUninterruptible) { isUninterruptible = 1; }

UninterruptibleWork::~UninterruptibleWork() { isUninterruptible = former; }

}  // namespace varnolex
