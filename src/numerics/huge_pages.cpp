#include "numerics/huge_pages.hpp"

#include <cstdlib>
#include <new>
#ifdef __linux__
#include <sys/mman.h>
#endif

namespace likeness::numerics {

void HugePages::Release::operator()(unsigned char* memory) const noexcept {
    std::free(memory);
}

HugePages::HugePages(std::size_t bytes) : size_(bytes) {
    constexpr std::size_t cacheLine = 64;
    constexpr std::size_t largePage = std::size_t{1} << 21;
    const std::size_t alignment = bytes >= largePage ? largePage : cacheLine;
    const std::size_t allocated = (bytes + alignment - 1) / alignment * alignment;
    memory_.reset(static_cast<unsigned char*>(std::aligned_alloc(alignment, allocated)));
    if (memory_ == nullptr) {
        throw std::bad_alloc();
    }
#ifdef MADV_HUGEPAGE
    if (alignment == largePage) {
        ::madvise(memory_.get(), allocated, MADV_HUGEPAGE);  // advice: a refusal changes nothing
    }
#endif
}

}  // namespace likeness::numerics
