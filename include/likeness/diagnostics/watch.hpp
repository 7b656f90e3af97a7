/// @file
/// What the caller of a long operation sees while it runs, and how it ends one early.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <functional>
#include <stdexcept>

namespace likeness {

/// Thrown by an operation whose caller ended it through `Watch::progress`. Its arguments are unchanged.
class LIKENESS_API Cancelled : public std::runtime_error {
public:
    Cancelled() : std::runtime_error("the operation was cancelled by its caller") {}
};

/// Last argument of the operations that take long or have something to show. Left out, nothing is reported, written or
/// printed.
struct Watch {
    /// Called after each step, from one thread at a time, with the number of steps done and of all steps, 1 <= done <=
    /// total. The operation throws `Cancelled` at once when it returns false; an exception that it throws ends the
    /// operation too and reaches the caller.
    std::function<bool(int done, int total)> progress;

    /// Receives the images, text dumps and messages of the steps. Null: they are not computed.
    const Diagnostics* diagnostics = nullptr;

    /// The receiver to hand on: never null.
    const Diagnostics& receiver() const noexcept { return diagnostics == nullptr ? dropAll() : *diagnostics; }

    /// Reports a step.
    /// @throws Cancelled  when the caller says so
    void step(int done, int total) const {
        if (progress && !progress(done, total)) {
            throw Cancelled();
        }
    }
};

}  // namespace likeness
