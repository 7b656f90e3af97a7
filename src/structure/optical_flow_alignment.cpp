#include "structure/optical_flow_alignment.hpp"

#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

namespace likeness {
namespace {

/// Flow from the reference to where each of its pixels is found in the moving image.
cv::Mat flowBetween(const cv::Mat& reference, const cv::Mat& moving) {
    constexpr double pyramidScale = 0.5;
    constexpr int levels = 9;
    constexpr int window = 15;
    constexpr int iterations = 3;
    constexpr int neighbourhood = 5;
    constexpr double neighbourhoodSigma = 0.2;  // not the usual 1.1: meant
    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(moving, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(reference, grayReference, cv::COLOR_BGR2GRAY);
    cv::Mat flow;
    cv::calcOpticalFlowFarneback(grayReference, grayMoving, flow, pyramidScale, levels, window, iterations,
                                 neighbourhood, neighbourhoodSigma, 0);
    return flow;
}

/// Turns displacements into the points they lead to, in place.
void addPositions(cv::Mat& flow) {
    for (int i = 0; i < flow.rows; ++i) {
        auto* const displacement = flow.ptr<cv::Vec2f>(i);
        for (int j = 0; j < flow.cols; ++j) {
            displacement[j][0] += static_cast<float>(j);
            displacement[j][1] += static_cast<float>(i);
        }
    }
}

}  // namespace

void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out) {
    CV_Assert(!moving.empty() && moving.type() == CV_32FC3);
    CV_Assert(reference.size() == moving.size() && reference.type() == CV_32FC3);
    constexpr double scale = 255.0;
    moving *= scale;
    reference *= scale;
    cv::Mat points = flowBetween(reference, moving);
    addPositions(points);
    cv::remap(moving, out, points, cv::noArray(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar::all(0));
    moving /= scale;
    reference /= scale;
    out /= scale;
}

}  // namespace likeness
