#include "batch/stop_signals.hpp"

#include <atomic>

namespace likeness {
namespace {

// A signal handler can reach nothing else.
std::atomic<int> receivedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

void remember(int signal) {
    receivedSignal = signal;
}

}  // namespace

StopSignals::StopSignals() {
    receivedSignal = 0;
    struct ::sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    ::sigaction(SIGINT, &action, &interrupt_);
    ::sigaction(SIGTERM, &action, &terminate_);
    action.sa_handler = SIG_IGN;
    action.sa_flags = 0;
    ::sigaction(SIGXFSZ, &action, &fileSize_);
}

StopSignals::~StopSignals() {
    ::sigaction(SIGINT, &interrupt_, nullptr);
    ::sigaction(SIGTERM, &terminate_, nullptr);
    ::sigaction(SIGXFSZ, &fileSize_, nullptr);
}

int StopSignals::received() const noexcept {
    return receivedSignal;
}

}  // namespace likeness
