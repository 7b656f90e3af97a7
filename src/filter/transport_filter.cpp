#include "filter/guidedfilter.hpp"

namespace likeness {

cv::Mat GuidedFilterColor::filterColorChannelsMK(const cv::Mat& /*p*/) const {
    CV_Error(cv::Error::StsNotImplemented, "not available");
}

}  // namespace likeness
