#include <likeness/color/opponent.hpp>

#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

namespace likeness {

void convertToSimpleOpponentSpace(cv::Mat& bgr, cv::Mat& opp) {
    requireType("convertToSimpleOpponentSpace", CV_32FC3, {{"bgr", bgr}});
    requireRoom("convertToSimpleOpponentSpace", bgr.size(), CV_32FC2, {{"opp", opp}});
    const ImageWalk walk = walkOver(bgr, opp);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const float* pixel = bgr.ptr<float>(i) + 3 * first;
        float* out = opp.ptr<float>(i) + 2 * first;
        for (std::size_t j = 0; j < count; ++j, pixel += 3, out += 2) {
            out[0] = pixel[2] - pixel[1];
            out[1] = (pixel[2] + pixel[1]) / 2.0F - pixel[0];
        }
    });
}

cv::Mat opponentFromBgr(const cv::Mat& photograph) {
    if (photograph.empty()) {
        return {};
    }
    cv::Mat unit = unitPhotograph("photograph", photograph);
    cv::Mat opponent(unit.size(), CV_32FC2);
    convertToSimpleOpponentSpace(unit, opponent);
    return opponent;
}

}  // namespace likeness
