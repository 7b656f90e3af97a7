// The module `video`.
#include "modules/video.hpp"

#include "modules/module_identity.hpp"

#include <opencv2/video/tracking.hpp>

#include <cstring>

#define LIKENESS_MODULE_ENTRY extern "C" __attribute__((visibility("default")))

LIKENESS_MODULE_ENTRY bool likeness_module_fits(const char* identity) {
    return std::strcmp(identity, likeness::moduleIdentity) == 0;
}

LIKENESS_MODULE_ENTRY void likeness_farneback(const cv::Mat& previous, const cv::Mat& next, cv::Mat& flow,
                                              const likeness::FarnebackArguments& arguments) {
    cv::calcOpticalFlowFarneback(previous, next, flow, arguments.pyramidScale, arguments.levels, arguments.window,
                                 arguments.iterations, arguments.neighborhood, arguments.neighborhoodSigma, 0);
}
