// Images for the comparison of an operation with its literal version. Made in code with fixed seeds, or photographs.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness::testing {

struct NamedImage {
    std::string name;
    cv::Mat image;
};

/// CV_32F images of `channels` channels: random within [low, high], random far outside it, ramps, one constant, values
/// that are special to floats (0, -0, NaN, infinities, the smallest and largest), 1 x 1, 1 x N, N x 1, odd sizes, and a
/// view whose rows are not contiguous.
std::vector<NamedImage> floatImages(int channels, float low, float high);

/// An image of one pixel, CV_32FC3.
inline cv::Mat pixel(double first, double second, double third) {
    return {1, 1, CV_32FC3, cv::Scalar(first, second, third)};
}

/// The same of a colour.
inline cv::Mat pixel(const cv::Vec3d& values) {
    return pixel(values[0], values[1], values[2]);
}

/// Uniformly distributed CV_32F image.
cv::Mat randomImage(cv::Size size, int channels, float low, float high, std::uint64_t seed);

/// CV_8UC3 image of uniformly distributed bytes.
cv::Mat randomPhotograph(cv::Size size, std::uint64_t seed);

/// A photograph of examples/photos ("cat.jpg", "coffee.jpg", "retina.jpg", "rocket.jpg") as CV_8UC3.
cv::Mat examplePhotograph(const std::string& name);

/// The same as CV_32FC3 in [0, 1].
cv::Mat exampleImage(const std::string& name);

/// A JPEG file with an EXIF orientation, 1 to 8, put into it.
std::string jpegWithOrientation(const std::string& jpeg, char orientation);

/// Names of the example photographs.
const std::vector<std::string>& examplePhotographNames();

/// The same pixels in an image whose rows are not contiguous.
cv::Mat withGaps(const cv::Mat& image);

}  // namespace likeness::testing
