#include "pages/map_picture.hpp"

#include "pages/round_scale.hpp"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace likeness::darkroom {
namespace {

constexpr int colorCount = 256;
const cv::Scalar white = cv::Scalar::all(255);
const cv::Scalar ink = cv::Scalar::all(32);

/// The ends and the middle of a diverging scale, and straight lines in sRGB between them.
cv::Mat divergingTable() {
    const cv::Vec3d ends[3] = {{192, 76, 59}, {221, 221, 221}, {38, 4, 180}};  // B, G, R
    cv::Mat table(1, colorCount, CV_8UC3);
    for (int i = 0; i < colorCount; ++i) {
        const double place = 2.0 * i / (colorCount - 1);
        const int part = place < 1 ? 0 : 1;
        table.at<cv::Vec3b>(i) = ends[part] + (place - part) * (ends[part + 1] - ends[part]);
    }
    return table;
}

/// 1 x 256, CV_8UC3.
cv::Mat colorTable(MapScale::Colors colors) {
    if (colors == MapScale::Colors::diverging) {
        return divergingTable();
    }
    cv::Mat places(1, colorCount, CV_8U);
    for (int i = 0; i < colorCount; ++i) {
        // Half a turn on, so that the hues' red is at 0 degrees, in the middle of the range.
        const int place = colors == MapScale::Colors::cyclic ? (i + colorCount / 2) % colorCount : i;
        places.at<uchar>(i) = static_cast<uchar>(place);
    }
    cv::Mat table;
    cv::applyColorMap(places, table, colors == MapScale::Colors::cyclic ? cv::COLORMAP_HSV : cv::COLORMAP_VIRIDIS);
    return table;
}

cv::Vec3b nanColor(MapScale::Colors colors) {
    return colors == MapScale::Colors::cyclic ? cv::Vec3b(128, 128, 128) : cv::Vec3b(200, 0, 255);
}

int placeInTable(double value, const MapScale& scale) {
    const double share = (value - scale.low) / (scale.high - scale.low);
    return static_cast<int>(std::clamp(std::floor(share * colorCount), 0.0, colorCount - 1.0));
}

struct Beyond {
    bool below = false;
    bool above = false;
    std::int64_t nanCount = 0;
};

Beyond beyond(const cv::Mat& map, const MapScale& scale) {
    Beyond result;
    for (int i = 0; i < map.rows; ++i) {
        const auto* const row = map.ptr<float>(i);
        for (int j = 0; j < map.cols; ++j) {
            result.below = result.below || row[j] < scale.low;
            result.above = result.above || row[j] > scale.high;
            result.nanCount += std::isnan(row[j]) ? 1 : 0;
        }
    }
    return result;
}

/// Draws a legend whose unit of length is `unit` pixels.
class Legend {
public:
    Legend(int width, double unit) : unit_(unit), strip_(px(76), width, CV_8UC3, white) {}

    void text(const std::string& words, double x, double y, double anchor) {
        const double size = 0.48 * unit_;
        const int thickness = std::max(1, cvRound(unit_));
        int baseline = 0;
        const cv::Size box = cv::getTextSize(words, cv::FONT_HERSHEY_SIMPLEX, size, thickness, &baseline);
        const int left = std::clamp(cvRound(x - anchor * box.width), 2, std::max(2, strip_.cols - box.width - 2));
        cv::putText(strip_, words, {left, px(y)}, cv::FONT_HERSHEY_SIMPLEX, size, ink, thickness, cv::LINE_AA);
    }

    void bar(const MapScale& scale, const Beyond& beyond) {
        const int left = px(26);
        const int right = strip_.cols - px(26);
        const int top = px(27);
        const int bottom = px(45);
        cv::Mat colors;
        cv::resize(scaleColors(scale, right - left), colors, {right - left, bottom - top}, 0, 0, cv::INTER_NEAREST);
        colors.copyTo(strip_(cv::Rect(left, top, right - left, bottom - top)));
        const cv::Mat table = colorTable(scale.colors);
        if (beyond.below) {
            arrow(table.at<cv::Vec3b>(0), left, px(10), top, bottom);
        }
        if (beyond.above) {
            arrow(table.at<cv::Vec3b>(colorCount - 1), right - 1, strip_.cols - px(10), top, bottom);
        }
        const double step = scale.colors == MapScale::Colors::cyclic ? 90.0 : roundStep(scale.high - scale.low, 5.0);
        for (double k = std::ceil(scale.low / step - 1e-9); k * step <= scale.high + step * 1e-9; ++k) {
            const double value = k * step;
            const double x = left + (right - left) * (value - scale.low) / (scale.high - scale.low);
            cv::line(strip_, {cvRound(x), bottom}, {cvRound(x), bottom + px(4)}, ink, std::max(1, cvRound(unit_)));
            text(fmt::format("{:.6g}", std::abs(value) < step * 1e-6 ? 0.0 : value), x, 66, 0.5);
        }
    }

    void nanSwatch(const MapScale& scale, std::int64_t count) {
        const std::string words = fmt::format("NaN: {}", count);
        const int right = strip_.cols - px(10);
        const int left = right - px(10.5 * static_cast<double>(words.size())) - px(16);
        cv::rectangle(strip_, cv::Rect(left, px(7), px(13), px(13)), cv::Scalar(nanColor(scale.colors)), cv::FILLED);
        text(words, left + px(18), 18, 0);
    }

    const cv::Mat& strip() const { return strip_; }

private:
    int px(double length) const { return cvRound(length * unit_); }

    void arrow(const cv::Vec3b& color, int base, int tip, int top, int bottom) {
        const std::vector<cv::Point> corners = {{base, top}, {base, bottom - 1}, {tip, (top + bottom) / 2}};
        cv::fillConvexPoly(strip_, corners, cv::Scalar(color), cv::LINE_AA);
    }

    double unit_;
    cv::Mat strip_;
};

}  // namespace

MapScale roundScale(std::string name, double low, double high) {
    MapScale scale{std::move(name)};
    if (!std::isfinite(low) || !std::isfinite(high)) {
        return scale;
    }
    if (!(high - low > 1e-6 * std::max(std::abs(low), std::abs(high)))) {
        scale.low = low - 0.5;
        scale.high = low + 0.5;
        return scale;
    }
    const double step = roundStep(high - low, 10.0);
    scale.low = std::floor(low / step + 1e-9) * step;
    scale.high = std::ceil(high / step - 1e-9) * step;
    return scale;
}

MapScale degreesScale(std::string name, double low) {
    return {std::move(name), low, low + 360, MapScale::Colors::cyclic};
}

std::string rangeOf(const MapScale& scale) {
    return fmt::format("colours from {:.6g} to {:.6g}", scale.low, scale.high);
}

cv::Mat mapColors(const cv::Mat& map, const MapScale& scale) {
    const cv::Mat table = colorTable(scale.colors);
    const auto* const colors = table.ptr<cv::Vec3b>(0);
    cv::Mat result(map.size(), CV_8UC3);
    for (int i = 0; i < map.rows; ++i) {
        const auto* const values = map.ptr<float>(i);
        auto* const out = result.ptr<cv::Vec3b>(i);
        for (int j = 0; j < map.cols; ++j) {
            out[j] = std::isnan(values[j]) ? nanColor(scale.colors) : colors[placeInTable(values[j], scale)];
        }
    }
    return result;
}

cv::Mat mapPicture(const cv::Mat& map, const MapScale& scale) {
    constexpr int leastWidth = 280;
    const int width = std::max(map.cols, leastWidth);
    // The legend grows with the picture, so that it can be read when the whole is shown on a screen.
    Legend legend(width, std::max(1.0, width / 800.0));
    const Beyond values = beyond(map, scale);
    const std::string range =
        scale.colors == MapScale::Colors::cyclic ? "" : fmt::format(", {:.6g} to {:.6g}", scale.low, scale.high);
    legend.text(scale.name + range, 10 * std::max(1.0, width / 800.0), 18, 0);
    if (values.nanCount > 0) {
        legend.nanSwatch(scale, values.nanCount);
    }
    legend.bar(scale, values);
    cv::Mat picture(map.rows + legend.strip().rows, width, CV_8UC3, white);
    mapColors(map, scale).copyTo(picture(cv::Rect(0, 0, map.cols, map.rows)));
    legend.strip().copyTo(picture.rowRange(map.rows, picture.rows));
    return picture;
}

cv::Mat scaleColors(const MapScale& scale, int width) {
    cv::Mat values(1, width, CV_32F);
    for (int i = 0; i < width; ++i) {
        values.at<float>(i) = static_cast<float>(scale.low + (scale.high - scale.low) * (i + 0.5) / width);
    }
    return mapColors(values, scale);
}

cv::Mat reducedMap(const cv::Mat& map, int side) {
    const double factor = static_cast<double>(side) / std::max({map.rows, map.cols, 1});
    if (factor >= 1) {
        return map.clone();
    }
    const cv::Size size(std::max(1, cvRound(map.cols * factor)), std::max(1, cvRound(map.rows * factor)));
    cv::Mat weight = map == map;  // not so for NaN
    weight.convertTo(weight, CV_32F, 1 / 255.0);
    cv::Mat values = map.clone();
    cv::patchNaNs(values, 0);
    cv::Mat sum;
    cv::Mat sumOfWeights;
    cv::resize(values, sum, size, 0, 0, cv::INTER_AREA);
    cv::resize(weight, sumOfWeights, size, 0, 0, cv::INTER_AREA);
    for (int i = 0; i < size.height; ++i) {
        auto* const out = sum.ptr<float>(i);
        const auto* const weights = sumOfWeights.ptr<float>(i);
        for (int j = 0; j < size.width; ++j) {
            out[j] /= weights[j];  // 0 / 0 where nothing but NaN is
        }
    }
    return sum;
}

}  // namespace likeness::darkroom
