#include "files/interrupt_cleanup.hpp"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace likeness {
namespace {

/// Where a signal's number is written; -1 if nobody waits. A signal handler reaches nothing but what is static.
std::atomic<int> wakeDescriptor{-1};

void write(int descriptor, int signal) {
    const auto byte = static_cast<unsigned char>(signal);
    while (::write(descriptor, &byte, 1) < 0 && errno == EINTR) {
    }
}

extern "C" void tellOfSignal(int signal) {
    const int errorBefore = errno;
    const int descriptor = wakeDescriptor.load();
    if (descriptor >= 0) {
        write(descriptor, signal);
    }
    errno = errorBefore;
}

}  // namespace

InterruptCleanup::InterruptCleanup(std::function<void()> cleanUp) : cleanUp_(std::move(cleanUp)) {
    if (::pipe2(pipe_.data(), O_CLOEXEC) != 0) {
        return;  // an interruption then ends the program at once, as without this object
    }
    waiting_ = std::thread([this] { await(); });
    wakeDescriptor.store(pipe_[1]);
    for (std::size_t i = 0; i < signals.size(); ++i) {
        struct ::sigaction action {};
        ::sigaction(signals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            action.sa_handler = tellOfSignal;
            action.sa_flags = SA_RESTART;
            ::sigaction(signals[i], &action, nullptr);
        }
    }
}

InterruptCleanup::~InterruptCleanup() {
    if (!waiting_.joinable()) {
        return;
    }
    for (std::size_t i = 0; i < signals.size(); ++i) {
        ::sigaction(signals[i], &before_[i], nullptr);
    }
    wakeDescriptor.store(-1);
    write(pipe_[1], 0);
    waiting_.join();
    ::close(pipe_[0]);
    ::close(pipe_[1]);
}

void InterruptCleanup::await() {
    unsigned char signal = 0;
    while (::read(pipe_[0], &signal, 1) < 0 && errno == EINTR) {
    }
    if (signal != 0) {
        cleanUp_();
        std::signal(signal, SIG_DFL);
        ::kill(::getpid(), signal);
    }
}

}  // namespace likeness
