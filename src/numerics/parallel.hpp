// Independent pieces of an image, shared out over threads that live no longer than the call.
//
// A pool that waits would be quicker by some 20 microseconds a call, but a process forked from one that has a pool
// waits for it for ever. Work too small to gain from a second thread is done by the caller alone.
#pragma once

#include "numerics/image_walk.hpp"
#include "numerics/transcendental_blocks.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>

namespace likeness::numerics {

/// Calls work(begin, end) for ranges that cover 0..total, each once, on at most `likeness::threads()` threads, the
/// caller's among them. Work that is itself part of such a call stays on its thread. Where the system gives fewer
/// threads, those that there are do all.
/// @param grain  least number of elements that is worth a thread
/// @throws what the work throws: the first of several; ranges that had not begun are then left out
void inParallel(std::size_t total, std::size_t grain, const std::function<void(std::size_t, std::size_t)>& work);

/// While one lives, `inParallel` stays on this thread: its caller has shared out larger work already.
class SerialScope {
public:
    SerialScope() noexcept;
    ~SerialScope();
    SerialScope(const SerialScope&) = delete;
    SerialScope& operator=(const SerialScope&) = delete;

private:
    bool before_;
};

/// Pixels that are worth a thread: some 100 microseconds of the lightest loops.
inline constexpr std::size_t pixelsWorthAThread = std::size_t{1} << 16;

/// Calls body(row, first, count) for pieces of at most `most` pixels that cover the walk, each once, in any order and
/// at the same time: what a body writes must depend on its own pixels alone.
/// @param most  fixed, so that a piece is the same whatever the number of threads
/// @param pixelsOfAThread  how many are worth a thread
template <typename Body>
void forEachPiece(const ImageWalk& walk, std::size_t most, const Body& body,
                  std::size_t pixelsOfAThread = pixelsWorthAThread) {
    const auto cols = static_cast<std::size_t>(walk.cols);
    const std::size_t piecesInRow = (cols + most - 1) / most;
    const std::size_t pieces = piecesInRow * static_cast<std::size_t>(walk.rows);
    const std::size_t grain =
        std::max<std::size_t>(1, pixelsOfAThread / std::max<std::size_t>(1, std::min(most, cols)));
    inParallel(pieces, grain, [&](std::size_t begin, std::size_t end) {
        for (std::size_t piece = begin; piece < end; ++piece) {
            const std::size_t first = piece % piecesInRow * most;
            body(static_cast<int>(piece / piecesInRow), first, std::min(most, cols - first));
        }
    });
}

/// Calls task(k) for k below `count`, at the same time where the image that each goes over has `pixels` enough.
template <typename Task>
void forEachTask(std::size_t pixels, std::size_t count, const Task& task) {
    inParallel(count, pixels < pixelsWorthAThread ? count : 1, [&](std::size_t begin, std::size_t end) {
        for (std::size_t k = begin; k < end; ++k) {
            task(k);
        }
    });
}

/// Pixels of a piece of a light loop: a few microseconds.
inline constexpr std::size_t pixelsInPiece = 4096;

/// Pixels of a piece whose three channels together fit a block of `transcendental_blocks.hpp`, a multiple of the
/// vectors' lengths.
inline constexpr std::size_t pixelsInBlock = blockSize / 12 * 4;

/// The greatest of the values that several threads offer; NaN is not taken.
class SharedMaximum {
public:
    explicit SharedMaximum(float least) : value_(least) {}

    void offer(float value) {
        float greatest = value_.load(std::memory_order_relaxed);
        while (value > greatest && !value_.compare_exchange_weak(greatest, value, std::memory_order_relaxed)) {
        }
    }

    float value() const { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<float> value_;
};

}  // namespace likeness::numerics
