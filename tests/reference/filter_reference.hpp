// The guided filter as its formulas stand: one whole-plane operation after the other, nothing shared, nothing fused.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::reference {

cv::Mat guidedFilter(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth);

/// The same, writing the images of a three-channel guide into `directory` with the image writer.
cv::Mat guidedFilterWithDumps(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth,
                              const std::string& directory);

/// a / b element by element, 0 where b is 0.
cv::Mat dividePlanes(const cv::Mat& a, const cv::Mat& b);

/// The window means alone that a filter of `p` under the guide takes: what the filter cannot do without.
cv::Mat boxFiltersOfGuidedFilter(const cv::Mat& I, const cv::Mat& p, int r);

}  // namespace likeness::reference
