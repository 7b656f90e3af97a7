#include "scores/baselines.hpp"

#include <likeness/color/cie_lab.hpp>
#include <likeness/color/unit_image.hpp>
#include "numerics/parallel.hpp"

#include <cmath>
#include <vector>

namespace likeness {
namespace {

constexpr double mostDecibels = 100;  // more than 8 bits can tell apart

CieLab labOf(const cv::Vec3f& bgr, const Xyz& white) {
    return labFromXyz(xyzFromSrgb({bgr[2], bgr[1], bgr[0]}), white);
}

}  // namespace

BaselineValues baselinesOf(const cv::Mat& first, const cv::Mat& second) {
    const cv::Mat one = toUnit(first);
    const cv::Mat other = toUnit(second);
    const Xyz white = srgbWhite();
    const auto rows = static_cast<std::size_t>(one.rows);
    // Sums of rows, added in their order: the same for any number of threads.
    std::vector<double> differences(rows);
    std::vector<double> squares(rows);
    numerics::inParallel(rows, 8, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto* const p = one.ptr<cv::Vec3f>(static_cast<int>(i));
            const auto* const q = other.ptr<cv::Vec3f>(static_cast<int>(i));
            for (int j = 0; j < one.cols; ++j) {
                if (p[j] == q[j]) {
                    continue;
                }
                differences[i] += ciede2000(labOf(p[j], white), labOf(q[j], white));
                const cv::Vec3d difference = cv::Vec3d(p[j]) - cv::Vec3d(q[j]);
                squares[i] += difference.dot(difference);
            }
        }
    });
    double difference = 0;
    double square = 0;
    for (std::size_t i = 0; i < rows; ++i) {
        difference += differences[i];
        square += squares[i];
    }
    const auto pixels = static_cast<double>(one.total());
    BaselineValues values;
    values.ciede2000 = difference / pixels;
    const double decibels = -10 * std::log10(square / (3 * pixels));
    values.psnr = decibels > mostDecibels ? mostDecibels : decibels;
    return values;
}

}  // namespace likeness
