// Loaded ahead of the C library (LD_PRELOAD): lets one call of a program and its processes fail, or records what they
// write. scripts/torture-faults drives it.
//
// LIKENESS_FAULT_STATE   file of 4096 zeros that all processes share: how many calls there were
// LIKENESS_FAULT_CALLS   which calls count: names with commas between, "allocation" for those that give memory
// LIKENESS_FAULT_AT      which of them fails, from 1; 0: none
// LIKENESS_FAULT_KIND    EIO, ENOSPC, EINTR, EMFILE, ENOMEM; "short" for half of what is asked; "kill"
// LIKENESS_FAULT_ABOVE   bytes of memory from which on an allocation counts; without: all
// LIKENESS_FAULT_LOG     file that gets what changes the folder LIKENESS_FAULT_FOLDER: a line for each change and its bytes
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t);                 // NOLINT
void* __libc_calloc(std::size_t, std::size_t);    // NOLINT
void* __libc_realloc(void*, std::size_t);         // NOLINT
void* __libc_memalign(std::size_t, std::size_t);  // NOLINT
}

namespace {

struct State {
    std::atomic<std::uint64_t> calls;
    std::atomic<std::uint64_t> failed;
    std::atomic<int> recording;
};

enum class Kind { error, half, kill };

State* state = nullptr;
char calls[512];
char logFile[PATH_MAX];
char folder[PATH_MAX];
std::uint64_t at = 0;
std::size_t above = 0;
Kind kind = Kind::error;
int errorNumber = EIO;
bool allocations = false;

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

void copyOf(const char* variable, char* to, std::size_t size) {
    const char* const text = std::getenv(variable);
    std::snprintf(to, size, "%s", text == nullptr ? "" : text);
}

bool isNamed(const char* name) {
    const std::size_t length = std::strlen(name);
    for (const char* place = std::strstr(calls, name); place != nullptr; place = std::strstr(place + 1, name)) {
        if ((place == calls || place[-1] == ',') && (place[length] == ',' || place[length] == '\0')) {
            return true;
        }
    }
    return false;
}

__attribute__((constructor)) void begin() {
    copyOf("LIKENESS_FAULT_CALLS", calls, sizeof calls);
    copyOf("LIKENESS_FAULT_LOG", logFile, sizeof logFile);
    copyOf("LIKENESS_FAULT_FOLDER", folder, sizeof folder);
    char text[PATH_MAX];
    copyOf("LIKENESS_FAULT_AT", text, sizeof text);
    at = std::strtoull(text, nullptr, 10);
    copyOf("LIKENESS_FAULT_ABOVE", text, sizeof text);
    above = std::strtoull(text, nullptr, 10);
    copyOf("LIKENESS_FAULT_KIND", text, sizeof text);
    kind = std::strcmp(text, "short") == 0 ? Kind::half : std::strcmp(text, "kill") == 0 ? Kind::kill : Kind::error;
    const struct {
        const char* name;
        int number;
    } errors[] = {{"EIO", EIO}, {"ENOSPC", ENOSPC}, {"EINTR", EINTR}, {"EMFILE", EMFILE}, {"ENOMEM", ENOMEM}};
    for (const auto& error : errors) {
        errorNumber = std::strcmp(text, error.name) == 0 ? error.number : errorNumber;
    }
    allocations = isNamed("allocation");
    copyOf("LIKENESS_FAULT_STATE", text, sizeof text);
    const long file = ::syscall(SYS_openat, AT_FDCWD, text, O_RDWR | O_CLOEXEC, 0);
    if (file >= 0) {
        const long page = ::syscall(SYS_mmap, nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::syscall(SYS_close, file);
        state = page > 0 || page < -4095 ? reinterpret_cast<State*>(page) : nullptr;
    }
}

/// Whether this call is the one. One that kills does not return.
bool isTheOne() {
    if (state == nullptr || state->calls.fetch_add(1) + 1 != at) {
        return false;
    }
    state->failed.fetch_add(1);
    if (kind == Kind::kill) {
        ::syscall(SYS_kill, ::getpid(), SIGKILL);
    }
    return true;
}

/// For calls that have no half.
bool fails(const char* name) {
    if (state == nullptr || !isNamed(name) || !isTheOne() || kind == Kind::half) {
        return false;
    }
    errno = errorNumber;
    return true;
}

/// @param count  gets what is left of it
/// @return       whether the call fails
bool failsOrShortens(const char* name, std::size_t& count) {
    if (state == nullptr || !isNamed(name) || !isTheOne()) {
        return false;
    }
    if (kind == Kind::half) {
        count = count > 1 ? count / 2 : count;
        return false;
    }
    errno = errorNumber;
    return true;
}

bool allocationFails(std::size_t bytes) {
    if (!allocations || bytes < above || !isTheOne()) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

// ---- the recording: it opens its file anew for each change, since programs close what they do not know

bool isInFolder(const char* path) {
    const std::size_t length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && path[length] == '/';
}

/// The path without links, of which the last part need not be there.
bool placeOf(const char* path, char* place) {
    if (path[0] == '/') {
        std::snprintf(place, 2 * PATH_MAX, "%s", path);
    } else {
        char here[PATH_MAX];
        if (::syscall(SYS_getcwd, here, sizeof here) <= 0) {
            return false;
        }
        std::snprintf(place, 2 * PATH_MAX, "%s/%s", here, path);
    }
    return isInFolder(place);
}

bool placeOf(int descriptor, char* place) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const long length = ::syscall(SYS_readlinkat, AT_FDCWD, link, place, PATH_MAX - 1);
    if (length <= 0) {
        return false;
    }
    place[length] = '\0';
    return isInFolder(place) || std::strcmp(place, folder) == 0;
}

class Recording {
public:
    Recording() : error_(errno), active_(logFile[0] != '\0' && state != nullptr) {
        for (int free = 0; active_ && !state->recording.compare_exchange_weak(free, 1); free = 0) {
        }
    }
    ~Recording() {
        if (active_) {
            state->recording.store(0);
        }
        errno = error_;
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    bool active() const { return active_; }
    void keepError() { error_ = errno; }

    void add(const char* what, const char* path, const char* other, std::uint64_t offset, const void* bytes,
             std::size_t count) {
        const long file = ::syscall(SYS_openat, AT_FDCWD, logFile, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        char line[3 * PATH_MAX];
        const int length = std::snprintf(line, sizeof line, "%s\t%s\t%s\t%llu\t%zu\n", what, path, other,
                                         static_cast<unsigned long long>(offset), count);
        ::syscall(SYS_write, file, line, length);
        for (const char* rest = static_cast<const char*>(bytes); count > 0 && bytes != nullptr;) {
            const long written = ::syscall(SYS_write, file, rest, count);
            if (written <= 0) {
                std::abort();
            }
            rest += written;
            count -= static_cast<std::size_t>(written);
        }
        ::syscall(SYS_close, file);
    }

private:
    int error_;
    bool active_;
};

void recordOpening(Recording& recording, const char* path, bool wasThere, bool truncates) {
    char place[3 * PATH_MAX];
    if (recording.active() && placeOf(path, place)) {
        if (!wasThere) {
            recording.add("create", place, "", 0, nullptr, 0);
        } else if (truncates) {
            recording.add("truncate", place, "", 0, nullptr, 0);
        }
    }
}

void recordWrite(Recording& recording, int descriptor, long long offset, const void* bytes, ::ssize_t count) {
    char place[3 * PATH_MAX];
    if (recording.active() && count > 0 && placeOf(descriptor, place)) {
        if (offset < 0) {  // behind the write
            offset = ::syscall(SYS_lseek, descriptor, 0, SEEK_CUR) - count;
        }
        recording.add("write", place, "", static_cast<std::uint64_t>(offset), bytes, static_cast<std::size_t>(count));
    }
}

bool isThere(const char* path) {
    return ::syscall(SYS_faccessat, AT_FDCWD, path, F_OK, 0) == 0;
}

int openAt(int directory, const char* path, int flags, unsigned mode) {
    if (fails("open")) {
        return -1;
    }
    Recording recording;
    const bool wasThere = recording.active() && isThere(path);
    const int file = static_cast<int>(::syscall(SYS_openat, directory, path, flags, mode));
    recording.keepError();
    if (file >= 0 && (flags & (O_CREAT | O_TRUNC)) != 0) {
        recordOpening(recording, path, wasThere, (flags & O_TRUNC) != 0);
    }
    return file;
}

int synchronized(const char* name, long call, int file) {
    if (fails(name)) {
        return -1;
    }
    Recording recording;
    const int outcome = static_cast<int>(::syscall(call, file));
    recording.keepError();
    char place[3 * PATH_MAX];
    if (outcome == 0 && recording.active() && placeOf(file, place)) {
        recording.add("sync", place, "", 0, nullptr, 0);
    }
    return outcome;
}

int truncated(int file, long long length) {
    if (fails("ftruncate")) {
        return -1;
    }
    Recording recording;
    const int outcome = static_cast<int>(::syscall(SYS_ftruncate, file, length));
    recording.keepError();
    char place[3 * PATH_MAX];
    if (outcome == 0 && recording.active() && placeOf(file, place)) {
        recording.add("truncate", place, "", static_cast<std::uint64_t>(length), nullptr, 0);
    }
    return outcome;
}

int truncatedPath(const char* path, long long length) {
    if (fails("ftruncate")) {
        return -1;
    }
    Recording recording;
    const int outcome = static_cast<int>(::syscall(SYS_truncate, path, length));
    recording.keepError();
    char place[3 * PATH_MAX];
    if (outcome == 0 && recording.active() && placeOf(path, place)) {
        recording.add("truncate", place, "", static_cast<std::uint64_t>(length), nullptr, 0);
    }
    return outcome;
}

::ssize_t writtenAt(int file, const void* bytes, std::size_t count, long long offset) {
    if (failsOrShortens("pwrite", count)) {
        return -1;
    }
    Recording recording;
    const ::ssize_t written = ::syscall(SYS_pwrite64, file, bytes, count, offset);
    recording.keepError();
    recordWrite(recording, file, offset, bytes, written);
    return written;
}

::ssize_t readAt(int file, void* bytes, std::size_t count, long long offset) {
    return failsOrShortens("read", count) ? -1 : ::syscall(SYS_pread64, file, bytes, count, offset);
}

int renamed(const char* from, const char* to, unsigned flags) {
    if (fails("rename")) {
        return -1;
    }
    Recording recording;
    const int outcome = static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, flags));
    recording.keepError();
    char place[3 * PATH_MAX];
    char other[3 * PATH_MAX];
    if (outcome == 0 && recording.active() && placeOf(from, place) && placeOf(to, other)) {
        recording.add("rename", place, other, 0, nullptr, 0);
    }
    return outcome;
}

int removed(int directory, const char* path, int flags) {
    if (fails("unlink")) {
        return -1;
    }
    Recording recording;
    const int outcome = static_cast<int>(::syscall(SYS_unlinkat, directory, path, flags));
    recording.keepError();
    char place[3 * PATH_MAX];
    if (outcome == 0 && recording.active() && placeOf(path, place)) {
        recording.add("unlink", place, "", 0, nullptr, 0);
    }
    return outcome;
}

unsigned modeOf(int flags, std::va_list rest) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, unsigned) : 0;
}

}  // namespace

#pragma GCC diagnostic ignored "-Wmissing-declarations"
#define LIKENESS_SHIM extern "C" __attribute__((visibility("default")))  // NOLINT

LIKENESS_SHIM int open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const unsigned mode = modeOf(flags, rest);
    va_end(rest);
    return openAt(AT_FDCWD, path, flags, mode);
}
LIKENESS_SHIM int open64(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const unsigned mode = modeOf(flags, rest);
    va_end(rest);
    return openAt(AT_FDCWD, path, flags, mode);
}
LIKENESS_SHIM int openat(int directory, const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const unsigned mode = modeOf(flags, rest);
    va_end(rest);
    return openAt(directory, path, flags, mode);
}
LIKENESS_SHIM std::FILE* fopen(const char* path, const char* mode) {
    if (fails("open")) {
        return nullptr;
    }
    Recording recording;
    const bool wasThere = recording.active() && isThere(path);
    std::FILE* const file = next<std::FILE* (*)(const char*, const char*)>("fopen")(path, mode);
    recording.keepError();
    if (file != nullptr && mode[0] != 'r') {
        recordOpening(recording, path, wasThere, mode[0] == 'w');
    }
    return file;
}
LIKENESS_SHIM std::FILE* fopen64(const char* path, const char* mode) {
    return fopen(path, mode);
}
LIKENESS_SHIM ::ssize_t read(int file, void* bytes, std::size_t count) {
    return failsOrShortens("read", count) ? -1 : ::syscall(SYS_read, file, bytes, count);
}
LIKENESS_SHIM ::ssize_t pread(int file, void* bytes, std::size_t count, ::off_t offset) {
    return readAt(file, bytes, count, offset);
}
LIKENESS_SHIM ::ssize_t pread64(int file, void* bytes, std::size_t count, ::off64_t offset) {
    return readAt(file, bytes, count, offset);
}
LIKENESS_SHIM ::ssize_t write(int file, const void* bytes, std::size_t count) {
    if (failsOrShortens("write", count)) {
        return -1;
    }
    Recording recording;
    const ::ssize_t written = ::syscall(SYS_write, file, bytes, count);
    recording.keepError();
    recordWrite(recording, file, -1, bytes, written);
    return written;
}
LIKENESS_SHIM ::ssize_t writev(int file, const struct ::iovec* parts, int count) {
    if (fails("write")) {
        return -1;
    }
    Recording recording;
    const ::ssize_t written = ::syscall(SYS_writev, file, parts, count);
    recording.keepError();
    long long place = recording.active() ? ::syscall(SYS_lseek, file, 0, SEEK_CUR) - written : 0;
    ::ssize_t rest = written;
    for (int k = 0; k < count && rest > 0 && recording.active(); ++k) {
        const ::ssize_t part =
            static_cast<::ssize_t>(parts[k].iov_len) < rest ? static_cast<::ssize_t>(parts[k].iov_len) : rest;
        recordWrite(recording, file, place, parts[k].iov_base, part);
        place += part;
        rest -= part;
    }
    return written;
}
LIKENESS_SHIM ::ssize_t pwrite(int file, const void* bytes, std::size_t count, ::off_t offset) {
    return writtenAt(file, bytes, count, offset);
}
LIKENESS_SHIM ::ssize_t pwrite64(int file, const void* bytes, std::size_t count, ::off64_t offset) {
    return writtenAt(file, bytes, count, offset);
}
LIKENESS_SHIM int fsync(int file) {
    return synchronized("fsync", SYS_fsync, file);
}
LIKENESS_SHIM int fdatasync(int file) {
    return synchronized("fsync", SYS_fdatasync, file);
}
LIKENESS_SHIM int ftruncate(int file, ::off_t length) {
    return truncated(file, length);
}
LIKENESS_SHIM int ftruncate64(int file, ::off64_t length) {
    return truncated(file, length);
}
LIKENESS_SHIM int truncate(const char* path, ::off_t length) {
    return truncatedPath(path, length);
}
LIKENESS_SHIM int truncate64(const char* path, ::off64_t length) {
    return truncatedPath(path, length);
}
LIKENESS_SHIM int rename(const char* from, const char* to) {
    return renamed(from, to, 0);
}
LIKENESS_SHIM int renameat2(int, const char* from, int, const char* to, unsigned flags) {
    return renamed(from, to, flags);
}
LIKENESS_SHIM int unlink(const char* path) {
    return removed(AT_FDCWD, path, 0);
}
LIKENESS_SHIM int remove(const char* path) {
    const int outcome = removed(AT_FDCWD, path, 0);
    return outcome != 0 && errno == EISDIR ? removed(AT_FDCWD, path, AT_REMOVEDIR) : outcome;
}
LIKENESS_SHIM int unlinkat(int directory, const char* path, int flags) {
    return removed(directory, path, flags);
}
LIKENESS_SHIM int close(int file) {
    const bool fault = fails("close");
    const int error = errno;
    const int outcome = static_cast<int>(::syscall(SYS_close, file));
    if (fault) {
        errno = error;  // what the system says of a write that came too late; the descriptor is free all the same
        return -1;
    }
    return outcome;
}
LIKENESS_SHIM void* mmap(void* address, std::size_t count, int protection, int flags, int file, ::off_t offset) {
    if (fails("mmap")) {
        return MAP_FAILED;
    }
    return reinterpret_cast<void*>(::syscall(SYS_mmap, address, count, protection, flags, file, offset));
}
LIKENESS_SHIM void* mmap64(void* address, std::size_t count, int protection, int flags, int file, ::off64_t offset) {
    return mmap(address, count, protection, flags, file, offset);
}
LIKENESS_SHIM void* malloc(std::size_t count) {
    return allocationFails(count) ? nullptr : __libc_malloc(count);
}
LIKENESS_SHIM void* calloc(std::size_t count, std::size_t size) {
    return allocationFails(count * size) ? nullptr : __libc_calloc(count, size);
}
LIKENESS_SHIM void* realloc(void* memory, std::size_t count) {
    return allocationFails(count) ? nullptr : __libc_realloc(memory, count);
}
LIKENESS_SHIM void* aligned_alloc(std::size_t alignment, std::size_t count) {
    return allocationFails(count) ? nullptr : __libc_memalign(alignment, count);
}
LIKENESS_SHIM int posix_memalign(void** memory, std::size_t alignment, std::size_t count) {
    if (allocationFails(count)) {
        return ENOMEM;
    }
    *memory = __libc_memalign(alignment, count);
    return *memory == nullptr ? ENOMEM : 0;
}
