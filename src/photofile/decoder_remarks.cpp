#include "photofile/decoder_remarks.hpp"

#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <sstream>
#include <streambuf>
#include <utility>

namespace likeness {
namespace {

thread_local std::string* collected = nullptr;

std::size_t sortOut(const char* bytes, std::size_t count) {
    constexpr std::size_t most = std::size_t{1} << 16;
    if (collected == nullptr) {
        const ::ssize_t written = ::write(STDERR_FILENO, bytes, count);
        return written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    if (collected->size() < most) {
        collected->append(bytes, count);
    }
    return count;
}

#ifdef __GLIBC__
::ssize_t sortOutOfStream(void* /*cookie*/, const char* bytes, std::size_t count) {
    return static_cast<::ssize_t>(sortOut(bytes, count));
}
#endif

/// For what the image library writes to std::cerr: why it did not read a file, which whoever asked tells in words of
/// his own. It has no buffer, so that the thread that prints is the one that writes.
class SortingBuffer final : public std::streambuf {
protected:
    int_type overflow(int_type character) override {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            const char byte = traits_type::to_char_type(character);
            return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
        }
        return traits_type::not_eof(character);
    }
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        return collected != nullptr ? count
                                    : static_cast<std::streamsize>(sortOut(bytes, static_cast<std::size_t>(count)));
    }
};

/// The two streams, and how many sorters there are. It is never ended: another thread may just be printing.
class SortedStreams {
public:
    static SortedStreams& all() {
        static auto* const streams = new SortedStreams;
        return *streams;
    }

    void change() {
        const std::scoped_lock lock(mutex_);
        if (sorters_++ > 0) {
            return;
        }
#ifdef __GLIBC__
        if (sorting_ != nullptr) {
            std::fflush(stderr);
            previous_ = std::exchange(stderr, sorting_);
        }
#endif
        previousBuffer_ = std::cerr.rdbuf(&buffer_);
    }

    void changeBack() {
        const std::scoped_lock lock(mutex_);
        if (--sorters_ > 0) {
            return;
        }
        std::cerr.rdbuf(previousBuffer_);
#ifdef __GLIBC__
        if (sorting_ != nullptr) {
            stderr = previous_;
        }
#endif
    }

    bool areChanged() const noexcept {
        return sorters_ > 0;
    }

private:
    // The GNU C library lets `stderr` be set; elsewhere what is printed there goes where it always goes.
    SortedStreams() {
#ifdef __GLIBC__
        sorting_ = ::fopencookie(nullptr, "w", {nullptr, sortOutOfStream, nullptr, nullptr});
        if (sorting_ != nullptr) {
            std::setvbuf(sorting_, nullptr, _IONBF, 0);
        }
#endif
    }

    std::mutex mutex_;
    std::atomic<int> sorters_{0};
    SortingBuffer buffer_;
    std::streambuf* previousBuffer_ = nullptr;
    std::FILE* previous_ = nullptr;
    std::FILE* sorting_ = nullptr;
};

}  // namespace

RemarkSorter::RemarkSorter() {
    SortedStreams::all().change();
}

bool RemarkSorter::isAtWork() noexcept {
    return SortedStreams::all().areChanged();
}

RemarkSorter::~RemarkSorter() {
    SortedStreams::all().changeBack();
}

RemarkCollector::RemarkCollector() {
    collected = &text_;
}

RemarkCollector::~RemarkCollector() {
    collected = nullptr;
}

std::vector<std::string> RemarkCollector::allLines() const {
    std::vector<std::string> all;
    std::istringstream stream(text_);
    for (std::string line; std::getline(stream, line);) {
        all.push_back(line);
    }
    return all;
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
