#include "photograph_pair.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <stdexcept>
#include <string>

namespace likeness::bench {

cv::Mat photographLike(const char* name, cv::Size size, std::uint64_t seed) {
    const std::string path = std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
    const cv::Mat original = cv::imread(path, cv::IMREAD_COLOR);
    if (original.empty()) {
        throw std::runtime_error("cannot read " + path);
    }
    cv::Mat enlarged;
    cv::resize(original, enlarged, size, 0, 0, cv::INTER_CUBIC);
    cv::RNG rng(seed);
    cv::Mat noise(1, size.width, CV_32FC3);
    for (int i = 0; i < enlarged.rows; ++i) {
        rng.fill(noise, cv::RNG::NORMAL, 0, 1);
        uchar* const pixel = enlarged.ptr<uchar>(i);
        const float* const deviation = noise.ptr<float>(0);
        for (int k = 0; k < 3 * enlarged.cols; ++k) {
            // Variance of read noise and shot noise in 8-bit units, as of a compact camera at a low sensitivity.
            const float sigma = std::sqrt(1.0F + 0.03F * static_cast<float>(pixel[k]));
            pixel[k] = cv::saturate_cast<uchar>(static_cast<float>(pixel[k]) + sigma * deviation[k]);
        }
    }
    return enlarged;
}

}  // namespace likeness::bench
