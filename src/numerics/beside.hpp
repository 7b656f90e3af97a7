#pragma once

#include <future>
#include <system_error>
#include <utility>

namespace likeness {

/// Begins `work` on a thread of its own. Where the system has none to give, the thread that asks for the result does
/// the work then: later, but the same.
template <class Work>
auto beside(Work work) {
    try {
        return std::async(std::launch::async, work);
    } catch (const std::system_error&) {
        return std::async(std::launch::deferred, std::move(work));
    }
}

}  // namespace likeness
