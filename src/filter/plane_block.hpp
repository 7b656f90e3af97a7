// Memory for the planes of a filter.
#pragma once

#include "numerics/huge_pages.hpp"

#include <opencv2/core.hpp>

#include <cstddef>

namespace likeness {

/// Planes of one size and type in one piece of memory, in large pages where the system has them. Planes begin at
/// different places of a memory page, so that a loop over many of them does not crowd them into the same few cache
/// lines.
class PlaneBlock {
public:
    PlaneBlock() = default;
    PlaneBlock(cv::Size size, int type, int planes);

    /// The next plane, its content undefined, without gaps between rows. It must not outlive the block.
    /// @throws std::out_of_range  if there is none left
    cv::Mat take();

private:
    std::size_t stride_ = 0;
    cv::Size size_;
    int type_ = 0;
    numerics::HugePages memory_;
    unsigned char* next_ = nullptr;
};

}  // namespace likeness
