// Temporary files that do not stay behind when a signal ends the program.
//
// A signal that its sender has the program ignore (nohup, a shell's background) stays ignored, and one that somebody
// else handles is theirs.
#pragma once

#include <csignal>
#include <string>

namespace likeness {

/// As long as it lives, a file, or a folder that holds nothing but files, goes if a signal ends the program that can be
/// caught and tells of no fault in it; the program ends by that signal all the same. Safe to use from several threads;
/// a forked child leaves its parent's files alone.
class RemovedOnInterrupt {
public:
    /// @param path  of what is there or will be; relative to the working directory, which must stay the same
    explicit RemovedOnInterrupt(const std::string& path);
    ~RemovedOnInterrupt();
    RemovedOnInterrupt(const RemovedOnInterrupt&) = delete;
    RemovedOnInterrupt& operator=(const RemovedOnInterrupt&) = delete;

private:
    int slot_ = -1;  ///< -1: there are more files than can be kept in mind, or the path is too long; it may stay behind
};

/// As long as it lives, none of these signals ends the program: held while a file of a random name is made and its
/// `RemovedOnInterrupt` is not there yet. For a moment only; not within one another.
class HeldInterruptions {
public:
    HeldInterruptions();
    ~HeldInterruptions();
    HeldInterruptions(const HeldInterruptions&) = delete;
    HeldInterruptions& operator=(const HeldInterruptions&) = delete;

private:
    ::sigset_t before_{};
};

/// Removes what is registered and ends the program by `signal`. May be called by a signal handler.
[[noreturn]] void endBySignal(int signal) noexcept;

}  // namespace likeness
