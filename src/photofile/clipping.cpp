#include "photofile/clipping.hpp"

#include <fmt/format.h>

namespace likeness {

std::string percentText(std::int64_t part, double whole) {
    const double percent = 100.0 * static_cast<double>(part) / whole;
    if (percent < 0.01) {
        return "less than 0.01 %";
    }
    if (percent > 99 && percent < 100) {
        return "more than 99 %";
    }
    return percent < 9.95 ? fmt::format("{:.2g} %", percent) : fmt::format("{:.0f} %", percent);
}

void tellClipped(const FileAccess& access, const std::string& path, const ClippedValues& clipped, cv::Size size,
                 const std::string& what) {
    if (clipped.pixels == 0) {
        return;
    }
    const double pixels = static_cast<double>(size.width) * size.height;
    const auto end = [&](std::int64_t values, const char* name) {
        return values == 0 ? std::string()
                           : fmt::format(", {} of the values {}", percentText(values, 3 * pixels), name);
    };
    access.tell(fmt::format("'{}': {} of the pixels {}{}{}", path, percentText(clipped.pixels, pixels), what,
                            end(clipped.above, "at the upper end"), end(clipped.below, "at the lower end")));
}

void tellClippedInput(const FileAccess& access, const std::string& path, const cv::Mat& image) {
    tellClipped(access, path, clippedValuesOfBgr(image), image.size(), "lie outside 0..1 and are clipped");
}

}  // namespace likeness
