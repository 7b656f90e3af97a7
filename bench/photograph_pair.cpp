#include "photograph_pair.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <stdexcept>
#include <string>

namespace likeness::bench {

cv::Mat photographLike(const char* name, cv::Size size, std::uint64_t seed, float gain) {
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
            const float sigma = gain * std::sqrt(1.0F + 0.03F * static_cast<float>(pixel[k]));
            pixel[k] = cv::saturate_cast<uchar>(static_cast<float>(pixel[k]) + sigma * deviation[k]);
        }
    }
    return enlarged;
}

std::vector<uchar> photographFile(const char* name, cv::Size size, std::uint64_t seed, std::size_t bytes) {
    std::vector<uchar> file;
    const auto encode = [&](float gain) {
        cv::imencode(".jpg", photographLike(name, size, seed, gain), file, {cv::IMWRITE_JPEG_QUALITY, 92});
        return static_cast<double>(file.size());
    };
    if (bytes == 0) {
        encode(1);
        return file;
    }
    const auto wanted = static_cast<double>(bytes);
    float low = 0;
    float high = 16;
    for (int step = 0; step < 12; ++step) {
        const float gain = (low + high) / 2;
        const double got = encode(gain);
        if (std::abs(got - wanted) < 0.05 * wanted) {
            break;
        }
        (got < wanted ? low : high) = gain;
    }
    return file;
}

}  // namespace likeness::bench
