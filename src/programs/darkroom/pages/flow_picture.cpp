#include "pages/flow_picture.hpp"

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace likeness::darkroom {
namespace {

constexpr int wheelRadius = 26;

void drawText(cv::Mat& picture, const std::string& text, cv::Point foot) {
    cv::putText(picture, text, foot, cv::FONT_HERSHEY_SIMPLEX, 0.42, cv::Scalar::all(0), 1, cv::LINE_AA);
}

/// @param legend  white, legendHeight rows
void drawLegend(cv::Mat& legend, double greatest) {
    const cv::Point centre(legendHeight / 2, legendHeight / 2);
    for (int y = -wheelRadius; y <= wheelRadius; ++y) {
        for (int x = -wheelRadius; x <= wheelRadius; ++x) {
            if (x * x + y * y <= wheelRadius * wheelRadius) {
                legend.at<cv::Vec3b>(centre.y + y, centre.x + x) =
                    flowColor({static_cast<float>(x), static_cast<float>(y)}, wheelRadius);
            }
        }
    }
    drawText(legend, "hue: direction, saturation: length", {legendHeight + 4, 26});
    drawText(legend, fmt::format("rim of the wheel: {:.3g} pixels", greatest), {legendHeight + 4, 46});
}

}  // namespace

double greatestLength(const cv::Mat& flow) {
    double greatest = 0;
    for (int i = 0; i < flow.rows; ++i) {
        const auto* const row = flow.ptr<cv::Vec2f>(i);
        for (int j = 0; j < flow.cols; ++j) {
            const double length = std::hypot(row[j][0], row[j][1]);
            greatest = std::isfinite(length) ? std::max(greatest, length) : greatest;
        }
    }
    return greatest;
}

cv::Vec3b flowColor(const cv::Vec2f& displacement, double greatest) {
    const double length = std::hypot(displacement[0], displacement[1]);
    if (!std::isfinite(length)) {
        return {0, 0, 0};
    }
    const double saturation = length > 0 ? std::min(length / greatest, 1.0) : 0.0;
    // In sixths of a turn, counter-clockwise as seen: y points down.
    const double hue = 3 * std::atan2(-displacement[1], displacement[0]) / CV_PI;
    // Each primary holds its full value over two sixths and falls to 0 within one, on either side of its own hue.
    const auto primary = [&](double ownHue) {
        const double distance = std::abs(std::remainder(hue - ownHue, 6.0));
        const double pure = std::clamp(2 - distance, 0.0, 1.0);
        return cv::saturate_cast<uchar>(255 * (1 - saturation * (1 - pure)));
    };
    return {primary(4), primary(2), primary(0)};
}

cv::Mat flowPicture(const cv::Mat& flow) {
    const double greatest = greatestLength(flow);
    cv::Mat picture(flow.rows + legendHeight, std::max(flow.cols, legendWidth), CV_8UC3, cv::Scalar::all(255));
    for (int i = 0; i < flow.rows; ++i) {
        const auto* const row = flow.ptr<cv::Vec2f>(i);
        auto* const out = picture.ptr<cv::Vec3b>(i);
        for (int j = 0; j < flow.cols; ++j) {
            out[j] = flowColor(row[j], greatest);
        }
    }
    cv::Mat legend = picture.rowRange(flow.rows, picture.rows);
    legend.row(0) = cv::Scalar::all(128);
    drawLegend(legend, greatest);
    return picture;
}

}  // namespace likeness::darkroom
