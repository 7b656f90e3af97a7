#include "photofile/decoder_remarks.hpp"

#include <algorithm>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace likeness {
namespace {

thread_local std::string* collected = nullptr;

#ifdef __GLIBC__
::ssize_t sortOut(void* /*cookie*/, const char* bytes, std::size_t count) {
    constexpr std::size_t most = std::size_t{1} << 16;
    if (collected == nullptr) {
        return ::write(STDERR_FILENO, bytes, count);
    }
    if (collected->size() < most) {
        collected->append(bytes, count);
    }
    return static_cast<::ssize_t>(count);
}
#endif

}  // namespace

// The GNU C library lets `stderr` be set; elsewhere the remarks go where they always go.
RemarkSorter::RemarkSorter() {
#ifdef __GLIBC__
    sorting_ = ::fopencookie(nullptr, "w", {nullptr, sortOut, nullptr, nullptr});
    if (sorting_ != nullptr) {
        std::setvbuf(sorting_, nullptr, _IONBF, 0);  // so that the thread that prints is the one that writes
        std::fflush(stderr);
        previous_ = std::exchange(stderr, sorting_);
    }
#endif
}

RemarkSorter::~RemarkSorter() {
#ifdef __GLIBC__
    if (sorting_ != nullptr) {
        stderr = previous_;
        std::fclose(sorting_);
    }
#endif
}

RemarkCollector::RemarkCollector() {
    collected = &text_;
}

RemarkCollector::~RemarkCollector() {
    collected = nullptr;
}

std::vector<std::string> RemarkCollector::lines() const {
    constexpr std::size_t most = 10;
    std::vector<std::string> all;
    std::istringstream stream(text_);
    for (std::string line; all.size() < most && std::getline(stream, line);) {
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
        if (!line.empty() && std::find(all.begin(), all.end(), line) == all.end()) {
            all.push_back(line);
        }
    }
    return all;
}

}  // namespace likeness
