#include "batch/isolated_workers.hpp"

#include "files/number_format.hpp"

#include <fmt/format.h>

#include <execinfo.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <new>

namespace likeness {
namespace {

/// How a reply begins.
enum class Kind : char {
    answer = 'a',
    memoryShortage = 'm',  ///< of the machine
    limitMet = 'l',        ///< of the work
    refusal = 'r',
};

constexpr std::uint64_t mostReplyBytes = std::uint64_t{1} << 30;
constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

// ---- messages over a stream socket: 8 bytes of length, then so many bytes

bool sendAll(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ::ssize_t sent = ::send(socket, bytes, count, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool sendMessage(int socket, std::string_view first, std::string_view second = {}) {
    const std::uint64_t length = first.size() + second.size();
    std::string message(sizeof length, '\0');
    std::memcpy(message.data(), &length, sizeof length);
    message.append(first).append(second);
    return sendAll(socket, message.data(), message.size());
}

/// Waits for as long as it takes.
bool receiveAll(int socket, char* bytes, std::size_t count) {
    while (count > 0) {
        const ::ssize_t received = ::recv(socket, bytes, count, 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return false;
        }
        bytes += received;
        count -= static_cast<std::size_t>(received);
    }
    return true;
}

// ---- in the processes

std::uint64_t addressSpace() {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

/// Limits the address space; one of the system's that is lower stays.
/// @return  bytes of address space that the work may reach; 0: no limit of its own
std::uint64_t limitMemory(std::uint64_t bytes) {
    struct ::rlimit limit {};
    if (bytes == 0 || ::getrlimit(RLIMIT_AS, &limit) != 0) {
        return 0;
    }
    const std::uint64_t most = addressSpace() + bytes;
    if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur <= most) {
        return most;
    }
    limit.rlim_cur = most;
    ::setrlimit(RLIMIT_AS, &limit);
    return most;
}

/// Whether the machine would have given all that the limit allows: then it was the limit that was met.
bool machineHasMore(std::uint64_t most) {
    const std::uint64_t taken = addressSpace();
    constexpr std::uint64_t margin = 16 * mebibyte;
    if (most == 0 || most <= taken + margin) {
        return most != 0;
    }
    const std::size_t room = most - taken - margin;
    void* const memory = ::mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    ::munmap(memory, room);
    return true;
}

void endWithParent(::pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(0);
    }
}

/// What the terminal or a scheduler sends to all processes is for the program: it lets these end what they are at.
void leaveSignalsToTheProgram() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE}) {
        std::signal(signal, SIG_IGN);
    }
}

void closeAllBut(int kept) {
    constexpr unsigned first = 3;
    if (static_cast<unsigned>(kept) > first) {
        ::close_range(first, static_cast<unsigned>(kept) - 1, 0);
    }
    ::close_range(std::max(first, static_cast<unsigned>(kept) + 1), ~0U, 0);
}

[[noreturn]] void work(int socket, const std::function<IsolatedWorkers::Serve()>& makeServe, const WorkLimits& limits) {
    const struct ::rlimit noCore {};
    ::setrlimit(RLIMIT_CORE, &noCore);
    // Where the system runs out of memory, this process is to go and not the program.
    std::ofstream("/proc/self/oom_score_adj") << "500";
    const std::uint64_t most = limitMemory(limits.bytes);
    IsolatedWorkers::Serve serve;
    std::uint64_t length = 0;
    std::string request;
    while (receiveAll(socket, reinterpret_cast<char*>(&length), sizeof length)) {
        Kind kind = Kind::answer;
        std::string text;
        try {
            request.resize(length);
            if (!receiveAll(socket, request.data(), request.size())) {
                break;
            }
            if (!serve) {
                serve = makeServe();
            }
            text = serve(request);
        } catch (const MemoryShortage& shortage) {
            kind = Kind::memoryShortage;
            text = shortage.what();
        } catch (const std::bad_alloc&) {
            kind = Kind::memoryShortage;
            text = "out of memory; fewer --jobs take less";
        } catch (const std::exception& problem) {
            kind = Kind::refusal;
            text = problem.what();
        }
        if (kind == Kind::memoryShortage && machineHasMore(most)) {
            kind = Kind::limitMet;
        }
        const char letter = static_cast<char>(kind);
        if (!sendMessage(socket, {&letter, 1}, text)) {
            break;
        }
    }
    ::_exit(0);
}

// ---- between the program and the process that forks: packets

struct Order {
    enum class What { spawn, end } what;
    ::pid_t process;
};

struct Report {
    ::pid_t process;  ///< -1: it could not be forked
    int value;        ///< of `errno`; or the status that a process ended with
};

/// Sends a report, and a descriptor with it.
bool sendReport(int socket, const Report& report, int descriptor = -1) {
    ::iovec part{const_cast<Report*>(&report), sizeof report};
    alignas(::cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    ::msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        ::cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    return ::sendmsg(socket, &message, MSG_NOSIGNAL) == static_cast<::ssize_t>(sizeof report);
}

/// @param descriptor  gets the one that came with it; -1: none
bool receiveReport(int socket, Report& report, int& descriptor) {
    ::iovec part{&report, sizeof report};
    alignas(::cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    ::msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ::ssize_t received = 0;
    do {
        received = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    } while (received < 0 && errno == EINTR);
    descriptor = -1;
    for (::cmsghdr* header = CMSG_FIRSTHDR(&message); received > 0 && header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS) {
            std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
        }
    }
    return received == static_cast<::ssize_t>(sizeof report);
}

void fork(int socket, const std::function<IsolatedWorkers::Serve()>& makeServe, const WorkLimits& limits) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        sendReport(socket, {-1, errno});
        return;
    }
    const ::pid_t parent = ::getpid();
    const ::pid_t process = ::fork();
    if (process == 0) {
        endWithParent(parent);
        closeAllBut(ends[1]);
        work(ends[1], makeServe, limits);
    }
    const int problem = errno;
    ::close(ends[1]);
    if (process < 0) {
        sendReport(socket, {-1, problem});
    } else {
        sendReport(socket, {process, 0}, ends[0]);
    }
    ::close(ends[0]);
}

/// The process that forks: one thread, and nothing held but memory.
[[noreturn]] void startWorkers(int socket, const std::function<IsolatedWorkers::Serve()>& makeServe,
                               const WorkLimits& limits) {
    leaveSignalsToTheProgram();
    std::set_terminate(&std::abort);  // a crash, which is told as such
    // Threads of decoders end by unwinding; what the C library loads for it aborts the process where memory is short.
    void* frame = nullptr;
    ::backtrace(&frame, 1);
    closeAllBut(socket);
    Order order{};
    for (;;) {
        const ::ssize_t received = ::recv(socket, &order, sizeof order, 0);
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received != static_cast<::ssize_t>(sizeof order)) {
            while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {  // they end, too, and their times are counted
            }
            ::_exit(0);
        }
        if (order.what == Order::What::spawn) {
            fork(socket, makeServe, limits);
            continue;
        }
        ::kill(order.process, SIGKILL);  // one that has died keeps the status that it died with
        int status = 0;
        while (::waitpid(order.process, &status, 0) < 0 && errno == EINTR) {
        }
        sendReport(socket, {order.process, status});
    }
}

std::string crashText(int status) {
    if (WIFSIGNALED(status)) {
        return fmt::format(": reading it crashed ({})", ::strsignal(WTERMSIG(status)));
    }
    return fmt::format(": reading it ended the process (status {})", WEXITSTATUS(status));
}

std::string durationWords(double seconds) {
    return fmt::format("{} {}", seconds, seconds == 1 ? "second" : "seconds");
}

}  // namespace

NoProcess::NoProcess(int errorNumber)
    : Refusal(std::string("cannot start a process that reads photographs: ") + std::strerror(errorNumber) +
              "; fewer --jobs take fewer, --isolate no takes none"),
      errorNumber_(errorNumber) {}

bool NoProcess::isShortage() const noexcept {
    return errorNumber_ == EAGAIN || errorNumber_ == ENOMEM;
}

std::uint64_t machineMemory() {
    return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

IsolatedWorkers::IsolatedWorkers(std::function<Serve()> makeServe, const WorkLimits& limits) : limits_(limits) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw NoProcess(errno);
    }
    std::fflush(nullptr);
    const ::pid_t parent = ::getpid();
    starterProcess_ = ::fork();
    if (starterProcess_ == 0) {
        endWithParent(parent);
        startWorkers(ends[1], makeServe, limits);
    }
    const int problem = errno;
    ::close(ends[1]);
    starter_ = ends[0];
    if (starterProcess_ < 0) {
        ::close(starter_);
        throw NoProcess(problem);
    }
    try {
        giveBack(take());  // so that there is one, whatever the threads take that come later
    } catch (...) {
        end();
        throw;
    }
}

IsolatedWorkers::~IsolatedWorkers() {
    end();
}

void IsolatedWorkers::end() {
    for (const Worker& worker : idle_) {
        ::close(worker.socket);
    }
    ::close(starter_);
    while (::waitpid(starterProcess_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

IsolatedWorkers::Worker IsolatedWorkers::spawn() {
    const std::scoped_lock lock(starterMutex_);
    const Order order{Order::What::spawn, 0};
    Report report{-1, ECHILD};
    int descriptor = -1;
    if (::send(starter_, &order, sizeof order, MSG_NOSIGNAL) < 0 || !receiveReport(starter_, report, descriptor)) {
        return {-1, ECHILD};
    }
    if (report.process < 0) {
        return {-1, report.value};
    }
    if (descriptor < 0) {  // there was none free to take it; its process ends, since nobody holds the other end
        const Order end{Order::What::end, report.process};
        ::send(starter_, &end, sizeof end, MSG_NOSIGNAL);
        receiveReport(starter_, report, descriptor);
        return {-1, EMFILE};
    }
    return {descriptor, report.process};
}

/// @return  the status that the process ended with; -1 if nobody knows
int IsolatedWorkers::endOf(const Worker& worker) {
    ::close(worker.socket);
    int status = -1;
    {
        const std::scoped_lock lock(starterMutex_);
        const Order order{Order::What::end, worker.process};
        Report report{};
        int descriptor = -1;
        if (::send(starter_, &order, sizeof order, MSG_NOSIGNAL) >= 0 && receiveReport(starter_, report, descriptor)) {
            status = report.value;
        }
    }
    const std::scoped_lock lock(mutex_);
    --alive_;
    idleOne_.notify_one();
    return status;
}

IsolatedWorkers::Worker IsolatedWorkers::take() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (!idle_.empty()) {
            const Worker worker = idle_.back();
            idle_.pop_back();
            return worker;
        }
        if (mayGrow_ || alive_ == 0) {
            ++alive_;
            lock.unlock();
            const Worker worker = spawn();
            if (worker.socket >= 0) {
                return worker;
            }
            lock.lock();
            --alive_;
            mayGrow_ = false;  // those that there are take turns
            if (alive_ == 0) {
                throw NoProcess(static_cast<int>(worker.process));
            }
            continue;
        }
        idleOne_.wait(lock);
    }
}

void IsolatedWorkers::giveBack(const Worker& worker) {
    const std::scoped_lock lock(mutex_);
    idle_.push_back(worker);
    idleOne_.notify_one();
}

/// Sends a request and waits for the reply, for as long as the limit allows.
IsolatedWorkers::Outcome IsolatedWorkers::exchange(const Worker& worker, std::string_view request,
                                                   std::string& reply) const {
    if (!sendMessage(worker.socket, request)) {
        return Outcome::died;
    }
    using Clock = std::chrono::steady_clock;
    constexpr double mostAtOnce = 1;  // what the clock shows beyond it, the program itself was stopped
    double waited = 0;
    std::uint64_t length = 0;
    std::size_t received = 0;
    reply.clear();
    while (received < sizeof length || received < sizeof length + length) {
        const Clock::time_point begin = Clock::now();
        ::pollfd socket{worker.socket, POLLIN, 0};
        const double patience = std::min(mostAtOnce, std::max(0.0, limits_.seconds - waited));
        const int ready = ::poll(&socket, 1, static_cast<int>(patience * 1000) + 1);
        waited += std::min(2 * mostAtOnce, std::chrono::duration<double>(Clock::now() - begin).count());
        if (ready == 0 && waited >= limits_.seconds) {
            return Outcome::late;
        }
        if (ready <= 0) {
            continue;
        }
        char* const to = received < sizeof length ? reinterpret_cast<char*>(&length) + received
                                                  : reply.data() + (received - sizeof length);
        const std::size_t most =
            received < sizeof length ? sizeof length - received : reply.size() - (received - sizeof length);
        const ::ssize_t count = ::recv(worker.socket, to, most, 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return Outcome::died;
        }
        received += static_cast<std::size_t>(count);
        if (received == sizeof length) {
            if (length == 0 || length > mostReplyBytes) {
                return Outcome::died;
            }
            reply.resize(length);
        }
    }
    return Outcome::answered;
}

IsolatedWorkers::Answer IsolatedWorkers::ask(std::string_view request) {
    // One that somebody else killed, as the system does where memory is short, may not be to blame: it is tried again.
    for (int attempt = 0;; ++attempt) {
        const Worker worker = take();
        std::string reply;
        Outcome outcome = Outcome::died;
        try {
            outcome = exchange(worker, request, reply);
        } catch (...) {
            endOf(worker);
            throw;
        }
        if (outcome == Outcome::late) {
            endOf(worker);
            return {{},
                    fmt::format(": reading it takes more than {}; --file-seconds allows more",
                                durationWords(limits_.seconds))};
        }
        if (outcome == Outcome::died) {
            const int status = endOf(worker);
            if (status == -1) {
                throw Refusal("the processes that read photographs have ended");
            }
            const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            if (killed && attempt == 0) {
                continue;
            }
            return {{},
                    killed ? std::string(": reading it was killed twice, as the system does where memory is short")
                           : crashText(status)};
        }
        const Kind kind = static_cast<Kind>(reply.front());
        reply.erase(0, 1);
        if (kind == Kind::answer) {
            giveBack(worker);
            return {std::move(reply), {}};
        }
        endOf(worker);  // which gives back what it holds
        switch (kind) {
            case Kind::memoryShortage:
                throw MemoryShortage(reply);
            case Kind::limitMet:
                return {{},
                        fmt::format(": reading it takes more than {} MiB of memory; --file-memory allows more",
                                    limits_.bytes / mebibyte)};
            default:
                throw Refusal(reply);
        }
    }
}

}  // namespace likeness
