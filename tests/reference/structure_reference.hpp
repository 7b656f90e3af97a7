// Structure tensor and optical-flow alignment, step by step as the formulas stand.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <utility>
#include <vector>

namespace likeness::reference {

/// What the structure tensor yields: the strength, the images that are shown on the way in their order (values as they
/// are handed to the image writer), and the line for the first pixel.
struct StructuralTensor {
    cv::Mat out;
    std::vector<std::pair<std::string, cv::Mat>> images;
    std::string text;
};

/// One matrix and one call of the general eigenvalue solver per pixel. Where the solver gives up on a NaN, the
/// eigenvalues and eigenvectors are NaN.
StructuralTensor computeStructuralTensor(const cv::Mat& image, float size);

/// The flow from the reference to the moving image, as the image library finds it.
cv::Mat opticalFlow(const cv::Mat& grayMoving, const cv::Mat& grayReference);

void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out);

}  // namespace likeness::reference
