#include <likeness/structure/optical_flow_alignment.hpp>

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
    constexpr double neighbourhoodSigma = 0.2;  // departure 17
    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(moving, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(reference, grayReference, cv::COLOR_BGR2GRAY);
    cv::Mat flow;
    cv::calcOpticalFlowFarneback(grayReference, grayMoving, flow, pyramidScale, levels, window, iterations,
                                 neighbourhood, neighbourhoodSigma, 0);
    return flow;
}

/// The points that displacements lead to.
cv::Mat pointsOf(const cv::Mat& flow) {
    cv::Mat points(flow.size(), CV_32FC2);
    for (int i = 0; i < flow.rows; ++i) {
        const auto* const displacement = flow.ptr<cv::Vec2f>(i);
        auto* const point = points.ptr<cv::Vec2f>(i);
        for (int j = 0; j < flow.cols; ++j) {
            point[j][0] = displacement[j][0] + static_cast<float>(j);
            point[j][1] = displacement[j][1] + static_cast<float>(i);
        }
    }
    return points;
}

}  // namespace

void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out) {
    cv::Mat flow;
    alignAlongOpticalFlow(moving, reference, out, flow);
}

void alignAlongOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out, cv::Mat& flow) {
    CV_Assert(!moving.empty() && moving.type() == CV_32FC3);
    CV_Assert(reference.size() == moving.size() && reference.type() == CV_32FC3);
    constexpr double scale = 255.0;
    moving *= scale;
    reference *= scale;
    flow = flowBetween(reference, moving);
    cv::remap(moving, out, pointsOf(flow), cv::noArray(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar::all(0));
    moving /= scale;
    reference /= scale;
    out /= scale;
}

}  // namespace likeness
