#include <likeness/comparison/pixel_differences.hpp>

#include <likeness/appearance/uniform_space.hpp>
#include <likeness/color/cie_lab.hpp>
#include <likeness/color/tristimulus.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/structure/optical_flow_alignment.hpp>
#include "color/photograph_argument.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace likeness {
namespace {

constexpr float noDifference = std::numeric_limits<float>::quiet_NaN();

bool counts(const PixelWeights& weights, int row, int column) {
    return weights.map().empty() || weights.map().at<ushort>(row, column) != 0;
}

/// Where each pixel of the first photograph is found in the second.
class Places {
public:
    /// @param flow  CV_32FC2, or empty: every pixel is at its own place
    Places(const cv::Mat& flow, const PixelWeights& first, const PixelWeights& second)
        : flow_(flow), first_(first), second_(second) {}

    /// @return  whether there is one, and both count
    bool find(int row, int column, const cv::Size& size, int& otherRow, int& otherColumn) const {
        return counts(first_, row, column) && lead(row, column, size, otherRow, otherColumn) &&
               counts(second_, otherRow, otherColumn);
    }

private:
    bool lead(int row, int column, const cv::Size& size, int& otherRow, int& otherColumn) const {
        otherRow = row;
        otherColumn = column;
        if (flow_.empty()) {
            return true;
        }
        const auto& displacement = flow_.at<cv::Vec2f>(row, column);
        const double x = column + double{displacement[0]};
        const double y = row + double{displacement[1]};
        if (!(x > -0.5 && x < size.width - 0.5 && y > -0.5 && y < size.height - 0.5)) {
            return false;
        }
        otherColumn = std::clamp(static_cast<int>(std::lround(x)), 0, size.width - 1);
        otherRow = std::clamp(static_cast<int>(std::lround(y)), 0, size.height - 1);
        return true;
    }

    cv::Mat flow_;
    PixelWeights first_;
    PixelWeights second_;
};

/// A map of difference(row, column, row in the second, column in the second).
template <typename Difference>
cv::Mat differenceMap(const cv::Size& size, const Places& places, const Difference& difference) {
    cv::Mat map(size, CV_32F);
    numerics::inParallel(static_cast<std::size_t>(size.height), 16, [&](std::size_t begin, std::size_t end) {
        for (int row = static_cast<int>(begin); row < static_cast<int>(end); ++row) {
            auto* const out = map.ptr<float>(row);
            for (int column = 0; column < size.width; ++column) {
                int otherRow = 0;
                int otherColumn = 0;
                out[column] = places.find(row, column, size, otherRow, otherColumn)
                                  ? static_cast<float>(difference(row, column, otherRow, otherColumn))
                                  : noDifference;
            }
        }
    });
    return map;
}

cv::Mat uniformDifferenceMap(const Analysis& first, const Analysis& second, const Places& places) {
    struct Maps {
        explicit Maps(const Analysis& analysis)
            : lightness(analysis.map(&AppearanceMaps::lightness)),
              colorfulness(analysis.map(&AppearanceMaps::colorfulness)),
              hue(analysis.map(&AppearanceMaps::hueDegrees)) {}
        UniformColor at(int row, int column) const {
            Correlates correlates;
            correlates.lightness = double{lightness.at<float>(row, column)};
            correlates.colorfulness = double{colorfulness.at<float>(row, column)};
            const double degrees = double{hue.at<float>(row, column)};
            correlates.hueDegrees = std::isnan(degrees) ? 0 : degrees;
            return uniformColorOf(correlates);
        }
        cv::Mat lightness;
        cv::Mat colorfulness;
        cv::Mat hue;
    };
    const Maps ofFirst(first);
    const Maps ofSecond(second);
    return differenceMap(first.size(), places, [&](int row, int column, int otherRow, int otherColumn) {
        return uniformDifference(ofFirst.at(row, column), ofSecond.at(otherRow, otherColumn));
    });
}

/// L*, a*, b* of a photograph's pixels.
class LabPixels {
public:
    explicit LabPixels(const cv::Mat& photograph) : photograph_(photograph) {}

    CieLab at(int row, int column) const {
        cv::Vec3d rgb;
        if (photograph_.depth() == CV_8U) {
            const auto& bgr = photograph_.at<cv::Vec3b>(row, column);
            rgb = cv::Vec3d(bgr[2], bgr[1], bgr[0]) / 255.0;
        } else {
            const auto& bgr = photograph_.at<cv::Vec3f>(row, column);
            rgb = {double{bgr[2]}, double{bgr[1]}, double{bgr[0]}};
        }
        return labFromXyz(xyzFromSrgb(rgb), white_);
    }

private:
    const cv::Mat& photograph_;
    Xyz white_ = srgbWhite();
};

}  // namespace

PixelDifferences pixelDifferences(const cv::Mat& first, const cv::Mat& second, const DifferenceOptions& options,
                                  const Watch& watch) {
    return pixelDifferences(PhotographPart{first, {}}, PhotographPart{second, {}}, options, watch);
}

PixelDifferences pixelDifferences(const PhotographPart& firstPart, const PhotographPart& secondPart,
                                  const DifferenceOptions& options, const Watch& watch) {
    const cv::Mat& first = firstPart.photograph;
    const cv::Mat& second = secondPart.photograph;
    firstPart.weights.require("first", first);
    secondPart.weights.require("second", second);
    if (first.size() != second.size()) {
        throw std::invalid_argument("pixels are compared of photographs of one size");
    }
    checkComparisonModel(options.model);
    PixelDifferences result;
    const bool published = options.model.kind != AppearanceModelKind::likeness;
    result.uniformModel = published ? options.model.kind : AppearanceModelKind::ciecam16;
    if (first.empty()) {
        return result;
    }
    const auto taken = [](const char* name, const cv::Mat& photograph) {
        return photograph.type() == CV_8UC3 ? photograph : unitPhotograph(name, photograph);
    };
    const cv::Mat takenFirst = taken("first", first);
    const cv::Mat takenSecond = taken("second", second);
    constexpr int steps = 5;
    const Places places(options.align ? alignTo(takenSecond, takenFirst).flow : cv::Mat(), firstPart.weights,
                        secondPart.weights);
    watch.step(1, steps);
    Comparer comparer;
    std::pair<Analysis, Analysis> analyses = comparer.analyzePair(
        {takenFirst, firstPart.weights}, {takenSecond, secondPart.weights}, {true, options.model, std::nullopt});
    watch.step(2, steps);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const cv::Mat ofFirst = analyses.first.map(correlateFields<cv::Mat>[k]);
        const cv::Mat ofSecond = analyses.second.map(correlateFields<cv::Mat>[k]);
        result.correlates[k] =
            differenceMap(first.size(), places, [&](int row, int column, int otherRow, int otherColumn) {
                return ofSecond.at<float>(otherRow, otherColumn) - ofFirst.at<float>(row, column);
            });
    }
    watch.step(3, steps);
    if (!published) {
        ComparisonModel uniform;
        uniform.kind = result.uniformModel;
        analyses = comparer.analyzePair({takenFirst, firstPart.weights}, {takenSecond, secondPart.weights},
                                        {true, uniform, std::nullopt});
    }
    result.uniform = uniformDifferenceMap(analyses.first, analyses.second, places);
    watch.step(4, steps);
    const LabPixels ofFirst(takenFirst);
    const LabPixels ofSecond(takenSecond);
    result.ciede2000 = differenceMap(first.size(), places, [&](int row, int column, int otherRow, int otherColumn) {
        return ciede2000(ofFirst.at(row, column), ofSecond.at(otherRow, otherColumn));
    });
    watch.step(5, steps);
    return result;
}

std::vector<MapPlace> worstPlaces(const cv::Mat& map, int count) {
    requireType("worstPlaces", CV_32F, {{"map", map}});
    constexpr int mostParts = 16;
    constexpr int leastSide = 8;
    const int across = std::clamp(map.cols / leastSide, 1, mostParts);
    const int down = std::clamp(map.rows / leastSide, 1, mostParts);
    std::vector<MapPlace> places;
    const auto border = [](int part, int parts, int length) {
        return static_cast<int>(std::int64_t{part} * length / parts);
    };
    for (int row = 0; row < down && !map.empty(); ++row) {
        for (int column = 0; column < across; ++column) {
            const cv::Rect part(cv::Point(border(column, across, map.cols), border(row, down, map.rows)),
                                cv::Point(border(column + 1, across, map.cols), border(row + 1, down, map.rows)));
            double sum = 0;
            std::int64_t values = 0;
            for (int i = part.y; i < part.y + part.height; ++i) {
                const auto* const line = map.ptr<float>(i);
                for (int j = part.x; j < part.x + part.width; ++j) {
                    if (!std::isnan(line[j])) {
                        sum += std::abs(double{line[j]});
                        ++values;
                    }
                }
            }
            if (sum > 0) {
                places.push_back({part, sum / static_cast<double>(values)});
            }
        }
    }
    std::stable_sort(places.begin(), places.end(),
                     [](const MapPlace& a, const MapPlace& b) { return a.mean > b.mean; });
    places.resize(std::min(places.size(), static_cast<std::size_t>(std::max(0, count))));
    return places;
}

}  // namespace likeness
