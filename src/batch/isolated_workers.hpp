// Work that may crash, hang or take all memory, done in processes of its own.
#pragma once

#include "files/refusal.hpp"

#include <sys/types.h>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// What a piece of work may take.
struct WorkLimits {
    double seconds = 300;     ///< wall time in which the program itself was not stopped
    std::uint64_t bytes = 0;  ///< of memory, beyond what the process begins with; 0: no limit but the system's

    bool operator==(const WorkLimits&) const = default;
};

/// The machine has no process to give.
class NoProcess : public Refusal {
public:
    explicit NoProcess(int errorNumber);

    /// Whether it is threads and processes, or memory, that are short.
    bool isShortage() const noexcept;

private:
    int errorNumber_;
};

/// The physical memory of the machine, bytes.
std::uint64_t machineMemory();

/// Processes that answer requests one at a time. They are forked, as they are needed, by one process that is forked when
/// the object is made and has one thread from then on; so the object is made before other threads of the program are at
/// work. A process that has died is replaced. None outlives the program, and none hears the signals of its terminal.
class IsolatedWorkers {
public:
    /// Answers a request, in a process of its own. `MemoryShortage` and other exceptions reach the one who asked.
    using Serve = std::function<std::string(std::string_view request)>;

    /// @param makeServe  called in every process once
    /// @throws NoProcess  if not even one of them can be had
    IsolatedWorkers(std::function<Serve()> makeServe, const WorkLimits& limits);
    /// The processes end.
    ~IsolatedWorkers();
    IsolatedWorkers(const IsolatedWorkers&) = delete;
    IsolatedWorkers& operator=(const IsolatedWorkers&) = delete;

    struct Answer {
        std::string text;  ///< what `Serve` returned
        std::string
            problem;  ///< why it did not, in words: ": reading it crashed (Segmentation fault)"; empty if it did
    };

    /// Safe to call from several threads, each of which gets a process of its own where there are enough.
    /// @throws MemoryShortage  as `Serve`, where it was not the limit that was met
    /// @throws Refusal         as `Serve`; or if the machine has no process to give
    Answer ask(std::string_view request);

private:
    struct Worker {
        int socket = -1;
        ::pid_t process = -1;
    };
    enum class Outcome { answered, died, late };

    void end();
    Worker take();
    void giveBack(const Worker& worker);
    Worker spawn();
    int endOf(const Worker& worker);
    Outcome exchange(const Worker& worker, std::string_view request, std::string& reply) const;

    WorkLimits limits_;
    std::mutex mutex_;
    std::condition_variable idleOne_;
    std::vector<Worker> idle_;
    std::size_t alive_ = 0;
    bool mayGrow_ = true;
    std::mutex starterMutex_;
    int starter_ = -1;  ///< socket to the process that forks
    ::pid_t starterProcess_ = -1;
};

}  // namespace likeness
