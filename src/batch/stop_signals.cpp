#include "batch/stop_signals.hpp"

#include "files/interrupt_cleanup.hpp"

#include <atomic>

namespace likeness {
namespace {

// A signal handler can reach nothing else.
std::atomic<int> receivedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

void remember(int signal) {
    int none = 0;
    if (!receivedSignal.compare_exchange_strong(none, signal)) {
        endBySignal(signal);
    }
}

}  // namespace

StopSignals::StopSignals() {
    receivedSignal = 0;
    for (std::size_t k = 0; k < signals.size(); ++k) {
        ::sigaction(signals[k], nullptr, &before_[k]);
        if ((before_[k].sa_flags & SA_SIGINFO) != 0 || before_[k].sa_handler != SIG_IGN) {
            struct ::sigaction action {};
            action.sa_handler = remember;
            action.sa_flags = SA_RESTART;
            ::sigaction(signals[k], &action, nullptr);
        }
    }
}

StopSignals::~StopSignals() {
    for (std::size_t k = 0; k < signals.size(); ++k) {
        ::sigaction(signals[k], &before_[k], nullptr);
    }
}

int StopSignals::received() const noexcept {
    return receivedSignal;
}

}  // namespace likeness
