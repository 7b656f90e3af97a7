#pragma once

#include <cstddef>
#include <memory>

namespace likeness::numerics {

/// Memory, its content undefined, that is asked for in large pages where the system has them: touching many fresh small
/// pages, one after the other, takes longer than much of the arithmetic that follows.
class HugePages {
public:
    HugePages() = default;

    /// @throws std::bad_alloc
    explicit HugePages(std::size_t bytes);

    unsigned char* data() const noexcept { return memory_.get(); }
    std::size_t size() const noexcept { return size_; }

private:
    struct Release {
        void operator()(unsigned char* memory) const noexcept;
    };
    std::unique_ptr<unsigned char, Release> memory_;
    std::size_t size_ = 0;
};

}  // namespace likeness::numerics
