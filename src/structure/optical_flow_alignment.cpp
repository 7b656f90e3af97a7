#include <likeness/structure/optical_flow_alignment.hpp>

#include "color/photograph_argument.hpp"
#include "modules/module_loader.hpp"
#include "modules/video.hpp"
#include "numerics/argument_check.hpp"

#include <opencv2/imgproc.hpp>

#include <string>

namespace likeness {
namespace {

constexpr double scale = 255.0;

/// Flow from the reference to where each of its pixels is found in the moving image.
cv::Mat flowBetween(const cv::Mat& reference, const cv::Mat& moving, const AlignOptions& options) {
    constexpr double pyramidScale = 0.5;
    constexpr int neighborhood = 5;
    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(moving, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(reference, grayReference, cv::COLOR_BGR2GRAY);
    cv::Mat flow;
    const auto farneback = reinterpret_cast<FarnebackEntry>(moduleEntry("video", "likeness_farneback"));
    farneback(
        grayReference, grayMoving, flow,
        {pyramidScale, options.levels, options.window, options.iterations, neighborhood, options.neighborhoodSigma});
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

/// The pixels of `moving` that the flow leads to.
void follow(const cv::Mat& moving, const cv::Mat& flow, cv::Mat& image) {
    cv::remap(moving, image, pointsOf(flow), cv::noArray(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar::all(0));
}

}  // namespace

void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out) {
    cv::Mat flow;
    alignAlongOpticalFlow(moving, reference, out, flow);
}

void alignAlongOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out, cv::Mat& flow) {
    constexpr auto function = "calculateOpticalFlow";
    requireElement(function, CV_32FC3, {{"moving", moving}, {"reference", reference}});
    requireRoom(function, moving.size(), CV_32FC3, {{"reference", reference}});
    requireRoom(function, reference.size(), CV_32FC3, {{"moving", moving}});
    moving *= scale;
    reference *= scale;
    flow = flowBetween(reference, moving, {});
    follow(moving, flow, out);
    moving /= scale;
    reference /= scale;
    out /= scale;
}

Alignment alignTo(const cv::Mat& moving, const cv::Mat& reference, const AlignOptions& options, const Watch& watch) {
    if (moving.empty()) {
        return {};
    }
    requireBetween("levels", options.levels, 1, 30);
    requireBetween("window", options.window, 1, 999);
    requireBetween("iterations", options.iterations, 1, 100);
    requireAboveZero("neighborhoodSigma", options.neighborhoodSigma, 100);
    const auto bytesScale = [](const std::string& name, const cv::Mat& photograph) {
        cv::Mat image = unitPhotograph(name, photograph);
        requireFinite(name, image);
        return cv::Mat(image * scale);
    };
    const cv::Mat scaledMoving = bytesScale("moving", moving);
    const cv::Mat scaledReference = bytesScale("reference", reference);
    requireSameSize("moving", scaledMoving, "reference", scaledReference);
    constexpr int steps = 2;
    Alignment alignment;
    alignment.flow = flowBetween(scaledReference, scaledMoving, options);
    watch.step(1, steps);
    follow(scaledMoving, alignment.flow, alignment.image);
    alignment.image /= scale;
    watch.step(2, steps);
    return alignment;
}

}  // namespace likeness
