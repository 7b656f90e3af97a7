#include "pages/tile_picture.hpp"

#include "batch/correlates.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace likeness::darkroom {
namespace {

/// Which span each place of a side of the picture belongs to: that whose middle is nearest.
std::vector<int> nearestSpans(const std::vector<cv::Range>& spans, int length, int pictureLength) {
    std::vector<int> nearest(static_cast<std::size_t>(pictureLength));
    std::size_t span = 0;
    const auto distance = [&spans](std::size_t index, double place) {
        return std::abs((spans[index].start + spans[index].end) / 2.0 - place);
    };
    const bool parts = std::adjacent_find(spans.begin(), spans.end(), [](const cv::Range& a, const cv::Range& b) {
                           return b.start < a.end;
                       }) == spans.end();
    for (int i = 0; i < pictureLength; ++i) {
        const double place = (i + 0.5) * length / pictureLength;
        const auto goesOn = [&] {
            return parts ? place >= spans[span].end : distance(span + 1, place) < distance(span, place);
        };
        while (span + 1 < spans.size() && goesOn()) {
            ++span;
        }
        nearest[static_cast<std::size_t>(i)] = static_cast<int>(span);
    }
    return nearest;
}

}  // namespace

MapScale tileScale(const TileComparison& comparison) {
    double least = 1;
    for (const ComparedTile& tile : comparison.tiles) {
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            least = std::fmin(least, double{tile.coefficients[k]});  // a NaN gives way
        }
    }
    MapScale scale = roundScale("coefficient", std::clamp(least, 0.0, 0.99), 1);
    scale.low = std::max(0.0, scale.low);
    scale.high = 1;
    return scale;
}

cv::Mat tilePicture(const TileComparison& comparison, std::size_t correlate, const cv::Size& photograph,
                    const MapScale& scale, int side) {
    const cv::Mat coefficients = comparison.map(correlate);
    const double factor = static_cast<double>(side) / std::max({photograph.width, photograph.height, 1});
    const cv::Size size(std::max(1, cvRound(photograph.width * factor)),
                        std::max(1, cvRound(photograph.height * factor)));
    const std::vector<int> columns = nearestSpans(comparison.grid.firstColumns, photograph.width, size.width);
    const std::vector<int> rows = nearestSpans(comparison.grid.firstRows, photograph.height, size.height);
    cv::Mat map(size, CV_32F);
    cv::Mat marked(size, CV_8U);
    for (int i = 0; i < size.height; ++i) {
        const int row = rows[static_cast<std::size_t>(i)];
        for (int j = 0; j < size.width; ++j) {
            const int column = columns[static_cast<std::size_t>(j)];
            const float coefficient = coefficients.at<float>(row, column);
            map.at<float>(i, j) = coefficient > 1 ? 1 : coefficient;  // of rounding
            marked.at<uchar>(i, j) =
                comparison.tiles[static_cast<std::size_t>(row * coefficients.cols + column)].few ? 1 : 0;
        }
    }
    MapScale named = scale;
    named.name = labelOf(comparedCorrelates[correlate]) + ", coefficient by tile";
    cv::Mat picture = mapPicture(map, named);
    constexpr int hatching = 8;
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            if (marked.at<uchar>(i, j) != 0 && (i + j) % hatching == 0) {
                picture.at<cv::Vec3b>(i, j) = cv::Vec3b(255, 255, 255);
            }
        }
    }
    return picture;
}

}  // namespace likeness::darkroom
