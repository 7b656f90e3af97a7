#include "filter/plane_block.hpp"

#include <cstdlib>
#ifdef __linux__
#include <sys/mman.h>
#endif

namespace likeness {
namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t smallPage = 4096;
constexpr std::size_t largePage = std::size_t{1} << 21;

std::size_t roundedUp(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

}  // namespace

void PlaneBlock::Release::operator()(unsigned char* memory) const noexcept {
    std::free(memory);
}

PlaneBlock::PlaneBlock(cv::Size size, int type, int planes)
    : stride_(
          roundedUp(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * CV_ELEM_SIZE(type),
                    smallPage) +
          3 * cacheLine),
      size_(size),
      type_(type) {
    const std::size_t bytes = stride_ * static_cast<std::size_t>(planes);
    const std::size_t alignment = bytes >= largePage ? largePage : cacheLine;
    const std::size_t allocated = roundedUp(bytes, alignment);
    memory_.reset(static_cast<unsigned char*>(std::aligned_alloc(alignment, allocated)));
    if (memory_ == nullptr) {
        CV_Error(cv::Error::StsNoMem, "no memory for the planes of a filter");
    }
#ifdef MADV_HUGEPAGE
    if (alignment == largePage) {
        ::madvise(memory_.get(), allocated, MADV_HUGEPAGE);  // advice: a refusal changes nothing
    }
#endif
    next_ = memory_.get();
}

cv::Mat PlaneBlock::take() {
    cv::Mat plane(size_, type_, next_);
    next_ += stride_;
    return plane;
}

}  // namespace likeness
