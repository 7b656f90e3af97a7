#include "files/interrupt_cleanup.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

namespace likeness {
namespace {

// A signal handler reaches nothing but what is static, and may neither allocate nor lock.

constexpr std::array endingSignals = {SIGINT,  SIGTERM, SIGHUP,    SIGQUIT, SIGPIPE, SIGALRM,
                                      SIGUSR1, SIGUSR2, SIGVTALRM, SIGPROF, SIGXCPU};

struct Slot {
    std::atomic<::pid_t> owner{0};  ///< process whose file it is; 0: free; negative: being filled or emptied
    char path[PATH_MAX];
};

std::array<Slot, 64> slots;
std::atomic<int> held{0};
static_assert(std::atomic<::pid_t>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

/// Removes the files of an open folder; what else it holds stays.
void removeFilesIn(int folder) noexcept {
    // readdir may allocate, the system call does not.
    alignas(::dirent64) char buffer[4096];
    for (long bytes = 0; (bytes = ::syscall(SYS_getdents64, folder, buffer, sizeof buffer)) > 0;) {
        for (long at = 0; at < bytes;) {
            const auto* const entry = reinterpret_cast<const ::dirent64*>(buffer + at);
            ::unlinkat(folder, entry->d_name, 0);
            at += entry->d_reclen;
        }
    }
}

void removeNow(const char* path) noexcept {
    if (::unlink(path) == 0 || (errno != EISDIR && errno != EPERM)) {
        return;
    }
    // More than once, because another thread may be writing a file there at the same time.
    for (int attempt = 0; attempt < 100 && ::rmdir(path) != 0 && errno == ENOTEMPTY; ++attempt) {
        const int folder = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
        if (folder < 0) {
            return;
        }
        removeFilesIn(folder);
        ::close(folder);
    }
}

extern "C" void endCleanly(int signal) {
    endBySignal(signal);
}

/// Takes over the signals that would end the program without a word.
void handleInterruptions() {
    for (const int signal : endingSignals) {
        struct ::sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
            action.sa_handler == SIG_DFL) {
            action = {};
            action.sa_handler = endCleanly;
            ::sigfillset(&action.sa_mask);
            ::sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace

RemovedOnInterrupt::RemovedOnInterrupt(const std::string& path) {
    handleInterruptions();
    for (std::size_t k = 0; k < slots.size() && path.size() < sizeof slots[k].path; ++k) {
        ::pid_t free = 0;
        if (slots[k].owner.compare_exchange_strong(free, -1)) {
            std::memcpy(slots[k].path, path.c_str(), path.size() + 1);
            slots[k].owner = ::getpid();
            slot_ = static_cast<int>(k);
            return;
        }
    }
}

RemovedOnInterrupt::~RemovedOnInterrupt() {
    if (slot_ >= 0) {
        slots[static_cast<std::size_t>(slot_)].owner = 0;
    }
}

HeldInterruptions::HeldInterruptions() {
    ::sigset_t all;
    ::sigemptyset(&all);
    for (const int signal : endingSignals) {
        ::sigaddset(&all, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &all, &before_);
    ++held;
}

HeldInterruptions::~HeldInterruptions() {
    --held;
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void endBySignal(int signal) noexcept {
    // The signal came to another thread than one that holds it: that one is done in a moment.
    for (int wait = 0; wait < 1000 && held > 0; ++wait) {
        const ::timespec millisecond{0, 1000000};
        ::nanosleep(&millisecond, nullptr);
    }
    const ::pid_t self = ::getpid();
    for (const Slot& slot : slots) {
        if (slot.owner == self) {
            removeNow(slot.path);
        }
    }
    std::signal(signal, SIG_DFL);
    ::sigset_t only;
    ::sigemptyset(&only);
    ::sigaddset(&only, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
    ::_exit(128 + signal);
}

}  // namespace likeness
