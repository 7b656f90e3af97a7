#include <likeness/color/unit_image.hpp>

#include "numerics/parallel.hpp"

#include <limits>
#include <stdexcept>
#include <string>

namespace likeness {
namespace {

template <typename T>
cv::Mat scaled(const cv::Mat& image) {
    constexpr double greatest = std::numeric_limits<T>::max();
    cv::Mat result(image.size(), CV_32FC3);
    const ImageWalk walk = walkOver(image, result);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const T* const in = image.ptr<T>(i) + 3 * first;
        float* const out = result.ptr<float>(i) + 3 * first;
        for (std::size_t c = 0; c < 3 * count; ++c) {
            out[c] = static_cast<float>(in[c] / greatest);
        }
    });
    return result;
}

}  // namespace

cv::Mat toUnit(const cv::Mat& image) {
    if (image.empty()) {
        return {};
    }
    if (image.dims > 2) {
        throw std::invalid_argument("a photograph has rows and columns, not " + std::to_string(image.dims) +
                                    " dimensions");
    }
    switch (image.type()) {
        case CV_8UC3:
            return scaled<uchar>(image);
        case CV_16UC3:
            return scaled<ushort>(image);
        case CV_32FC3:
            return image;
        case CV_64FC3: {
            cv::Mat result;
            image.convertTo(result, CV_32F);
            return result;
        }
        default:
            throw std::invalid_argument("a photograph has three channels of 8 or 16 bits, float or double, not " +
                                        cv::typeToString(image.type()));
    }
}

}  // namespace likeness
