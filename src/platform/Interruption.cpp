#include "platform/Interruption.hpp"

#include <csignal>

namespace varnolex {
namespace {

volatile std::sig_atomic_t requested = 0;

void note(int signal) {
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

}  // namespace varnolex
