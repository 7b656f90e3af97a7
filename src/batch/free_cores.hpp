#pragma once

#include <atomic>

namespace likeness {

/// Counts the processor cores that the workers of a batch leave idle, so that one with a core beside its own can analyse
/// both photographs of a pair at once. Safe to call from several threads.
class FreeCores {
public:
    /// @param cores  how many threads may be at work at the same time
    explicit FreeCores(unsigned cores) : free_(static_cast<int>(cores)) {}

    /// A core that is taken until the object ends.
    class Taken {
    public:
        Taken(Taken&& other) noexcept : cores_(other.cores_) { other.cores_ = nullptr; }
        Taken(const Taken&) = delete;
        Taken& operator=(const Taken&) = delete;
        Taken& operator=(Taken&&) = delete;
        ~Taken() {
            if (cores_ != nullptr) {
                ++cores_->free_;
            }
        }
        explicit operator bool() const noexcept { return cores_ != nullptr; }

    private:
        friend class FreeCores;
        explicit Taken(FreeCores* cores) : cores_(cores) {}
        FreeCores* cores_;
    };

    /// A worker's own core: there may be more workers than cores. Held between its pairs too.
    Taken take() {
        --free_;
        return Taken(this);
    }

    /// One more, only where one is idle and they are still lent.
    Taken takeIdle() {
        int free = free_;
        while (lending_ && free > 0) {
            if (free_.compare_exchange_weak(free, free - 1)) {
                return Taken(this);
            }
        }
        return Taken(nullptr);
    }

    /// From now on no worker gets a second core: memory or threads are short.
    void stopLending() noexcept { lending_ = false; }

private:
    std::atomic<int> free_;
    std::atomic<bool> lending_{true};
};

}  // namespace likeness
