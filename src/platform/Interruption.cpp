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
    // Whoever asks again doesn't want to wait for a clean end.
    std::signal(signal, SIG_DFL);
}

}  // namespace

Interruption::Interruption() {
    requested = 0;
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

Interruption::~Interruption() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

bool Interruption::isRequested() const { return requested != 0; }

UninterruptibleWork::UninterruptibleWork() : former(isUninterruptible) { isUninterruptible = 1; }

UninterruptibleWork::~UninterruptibleWork() { isUninterruptible = former; }

}  // namespace varnolex
