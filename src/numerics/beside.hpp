#pragma once

#include <likeness/threads.hpp>

#include <future>
#include <new>
#include <system_error>
#include <utility>

namespace likeness {

/// Begins `work` on a thread of its own. Where only one is allowed, or the system has none to give, the thread that asks
/// for the result does the work then: later, but the same.
template <class Work>
auto beside(Work work) {
    if (threads() < 2) {
        return std::async(std::launch::deferred, std::move(work));
    }
    try {
        return std::async(std::launch::async, work);
    } catch (const std::system_error&) {
    } catch (const std::bad_alloc&) {
    }
    return std::async(std::launch::deferred, std::move(work));
}

}  // namespace likeness
