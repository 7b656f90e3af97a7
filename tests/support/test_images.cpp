#include "support/test_images.hpp"

#include <opencv2/imgcodecs.hpp>

#include <limits>
#include <stdexcept>

namespace likeness::testing {
namespace {

cv::Mat ramp(cv::Size size, int channels, float low, float high) {
    cv::Mat image(size, CV_32FC(channels));
    const int count = size.width * channels;
    for (int i = 0; i < size.height; ++i) {
        float* const row = image.ptr<float>(i);
        for (int k = 0; k < count; ++k) {
            const float position = static_cast<float>(i * count + k) / static_cast<float>(size.height * count);
            row[k] = low + (high - low) * position;
        }
    }
    return image;
}

cv::Mat specialValues(int channels) {
    using Limits = std::numeric_limits<float>;
    const std::vector<float> values = {0.0F,
                                       -0.0F,
                                       1.0F,
                                       -1.0F,
                                       Limits::quiet_NaN(),
                                       Limits::infinity(),
                                       -Limits::infinity(),
                                       Limits::min(),
                                       -Limits::min(),
                                       Limits::denorm_min(),
                                       Limits::max(),
                                       -Limits::max(),
                                       0.0031308F,
                                       0.04045F,
                                       1e-6F,
                                       -1e-6F,
                                       0.5F,
                                       2.0F,
                                       100.0F,
                                       255.0F,
                                       1e-20F,
                                       1e20F,
                                       0.999999F,
                                       1.000001F};
    // Neighbouring elements take the values at different paces, so that a pixel holds many combinations of them.
    const int side = 48;
    cv::Mat image(side, side, CV_32FC(channels));
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            for (int c = 0; c < channels; ++c) {
                const int pick = c == 0 ? i : c == 1 ? j : i + j + c;
                image.ptr<float>(i)[j * channels + c] = values[static_cast<std::size_t>(pick) % values.size()];
            }
        }
    }
    return image;
}

}  // namespace

cv::Mat randomImage(cv::Size size, int channels, float low, float high, std::uint64_t seed) {
    cv::Mat image(size, CV_32FC(channels));
    cv::RNG(seed).fill(image, cv::RNG::UNIFORM, low, high);
    return image;
}

cv::Mat randomPhotograph(cv::Size size, std::uint64_t seed) {
    cv::Mat image(size, CV_8UC3);
    cv::RNG(seed).fill(image, cv::RNG::UNIFORM, 0, 256);
    return image;
}

cv::Mat withGaps(const cv::Mat& image) {
    cv::Mat larger(image.rows, image.cols + 3, image.type(), cv::Scalar::all(7));
    cv::Mat view = larger.colRange(1, image.cols + 1);
    image.copyTo(view);
    return view;
}

std::vector<NamedImage> floatImages(int channels, float low, float high) {
    const float span = high - low;
    std::vector<NamedImage> images = {
        {"random", randomImage({61, 47}, channels, low, high, 1)},
        {"random far outside", randomImage({53, 31}, channels, low - 3 * span, high + 3 * span, 2)},
        {"ramp", ramp({64, 32}, channels, low, high)},
        {"constant", cv::Mat(9, 7, CV_32FC(channels), cv::Scalar::all(low + span / 3))},
        {"special values", specialValues(channels)},
        {"1 x 1", randomImage({1, 1}, channels, low, high, 3)},
        {"1 x 301", randomImage({301, 1}, channels, low, high, 4)},
        {"301 x 1", randomImage({1, 301}, channels, low, high, 5)},
        {"several pieces", randomImage({5003, 2}, channels, low, high, 6)},
    };
    images.push_back({"rows with gaps", withGaps(images.front().image)});
    return images;
}

std::string jpegWithOrientation(const std::string& jpeg, char orientation) {
    // An APP1 segment behind the start of the image: a little-endian TIFF header and one entry.
    std::string tiff("II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\0\0\0\0\0\0\0\0", 26);
    tiff[18] = orientation;
    const std::string body = std::string("Exif\0\0", 6) + tiff;
    std::string bytes = jpeg;
    bytes.insert(2, std::string("\xFF\xE1\0", 3) + static_cast<char>(body.size() + 2) + body);
    return bytes;
}

const std::vector<std::string>& examplePhotographNames() {
    static const std::vector<std::string> names = {"cat.jpg", "coffee.jpg", "retina.jpg", "rocket.jpg"};
    return names;
}

cv::Mat examplePhotograph(const std::string& name) {
    cv::Mat image = cv::imread(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name, cv::IMREAD_COLOR);
    if (image.empty()) {
        throw std::runtime_error("no example photograph " + name);
    }
    return image;
}

cv::Mat exampleImage(const std::string& name) {
    cv::Mat image;
    examplePhotograph(name).convertTo(image, CV_32F, 1.0 / 255.0);
    return image;
}

}  // namespace likeness::testing
