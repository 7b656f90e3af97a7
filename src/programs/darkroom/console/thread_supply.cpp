#include "console/thread_supply.hpp"

#include <future>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace likeness::darkroom {

bool threadsAvailable(unsigned count) {
    std::promise<void> end;
    const std::shared_future<void> ended = end.get_future().share();
    std::vector<std::thread> threads;
    threads.reserve(count);
    try {
        while (threads.size() < count) {
            threads.emplace_back([ended] { ended.wait(); });
        }
    } catch (const std::system_error&) {
    } catch (const std::bad_alloc&) {
    }
    end.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return threads.size() == count;
}

}  // namespace likeness::darkroom
