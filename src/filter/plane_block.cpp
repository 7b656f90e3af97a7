#include "filter/plane_block.hpp"

#include <stdexcept>

namespace likeness {
namespace {

constexpr std::size_t cacheLine = 64;
constexpr std::size_t smallPage = 4096;

std::size_t roundedUp(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

}  // namespace

PlaneBlock::PlaneBlock(cv::Size size, int type, int planes)
    : stride_(
          roundedUp(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * CV_ELEM_SIZE(type),
                    smallPage) +
          3 * cacheLine),
      size_(size),
      type_(type),
      memory_(stride_ * static_cast<std::size_t>(planes)),
      next_(memory_.data()) {}

cv::Mat PlaneBlock::take() {
    if (next_ == nullptr || next_ + stride_ > memory_.data() + memory_.size()) {
        throw std::out_of_range("PlaneBlock: all planes are taken");
    }
    cv::Mat plane(size_, type_, next_);
    next_ += stride_;
    return plane;
}

}  // namespace likeness
