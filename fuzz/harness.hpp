// What the harnesses share. A harness is the function `LLVMFuzzerTestOneInput` in a file of its own: it hands the bytes to
// a reader, and ends the process where a promise does not hold. What a reader refuses by its own exceptions is well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace likeness::fuzz {

/// Ends the process with the place and the promise that is broken.
void require(bool holds, std::string_view promise, const char* file = __builtin_FILE(), int line = __builtin_LINE());

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Spends the bytes of an input on choices; where there are none left, it gives zeros.
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool any() const noexcept { return at_ < size_; }
    std::uint8_t byte() noexcept { return any() ? data_[at_++] : std::uint8_t{0}; }
    /// 0 to `most`.
    std::size_t upTo(std::size_t most) noexcept { return byte() % (most + 1); }
    /// Up to 15 characters: letters, and those that tables and JSON write in another way.
    std::string word();
    std::string rest() {
        const std::size_t from = at_;
        at_ = size_;
        return textOf(data_ + from, size_ - from);
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

/// A file name in the process's own folder, which goes away with the process.
std::string scratchPath(const std::string& name);

void writeFile(const std::string& path, std::string_view bytes);
std::string contentOf(const std::string& path);

}  // namespace likeness::fuzz
