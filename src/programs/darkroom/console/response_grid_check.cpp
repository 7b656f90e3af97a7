#include "console/response_grid_check.hpp"

#include <likeness/exposure/response_recovery.hpp>
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <cstdint>

namespace likeness::darkroom {

void checkResponseGrid(const std::string& path, cv::Size size) {
    constexpr std::int64_t leastPixels = 70;
    if (static_cast<std::int64_t>(size.width) * size.height < leastPixels || !hasResponseGrid(size)) {
        throw Refusal(
            fmt::format("'{}' is {} x {} pixels: a camera response takes at least {} pixels, and sides that "
                        "differ no more than about 70 times",
                        path, size.width, size.height, leastPixels));
    }
}

}  // namespace likeness::darkroom
