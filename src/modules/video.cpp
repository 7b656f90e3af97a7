// The module `video`.
#include "modules/video.hpp"

#include "modules/module_entry.hpp"

#include <opencv2/video/tracking.hpp>

LIKENESS_MODULE_ENTRY void likeness_farneback(const cv::Mat& previous, const cv::Mat& next, cv::Mat& flow,
                                              const likeness::FarnebackArguments& arguments) {
    cv::calcOpticalFlowFarneback(previous, next, flow, arguments.pyramidScale, arguments.levels, arguments.window,
                                 arguments.iterations, arguments.neighborhood, arguments.neighborhoodSigma, 0);
}
