// A scene in photographs that are made in code: under a flash and without it, and by a camera of known response.
#pragma once

#include <likeness/likeness.hpp>

#include <algorithm>
#include <cmath>

namespace made_scene {

inline cv::Mat linear(const cv::Mat& encoded) {
    cv::Mat result = encoded.clone();
    std::for_each(result.begin<cv::Vec3f>(), result.end<cv::Vec3f>(), [](cv::Vec3f& pixel) {
        for (int c = 0; c < 3; ++c) {
            pixel[c] = likeness::sRGBInverseCompanding(pixel[c]);
        }
    });
    return result;
}

inline cv::Mat encoded(const cv::Mat& light) {
    cv::Mat result = light.clone();
    std::for_each(result.begin<cv::Vec3f>(), result.end<cv::Vec3f>(), [](cv::Vec3f& pixel) {
        for (int c = 0; c < 3; ++c) {
            pixel[c] = likeness::clip(likeness::sRGBCompanding(pixel[c]), 0.0F, 1.0F);
        }
    });
    return result;
}

struct Pair {
    cv::Mat flash;
    cv::Mat nonFlash;
};

/// The scene under a cool flash from the front that falls off towards the edges, and under warm dim light from the left
/// with a sensor's noise.
inline Pair flashPair(const cv::Mat& scene) {
    const cv::Mat reflectance = linear(scene);
    Pair pair{reflectance.clone(), reflectance.clone()};
    cv::Mat noise(scene.size(), CV_32FC3);
    cv::RNG(7).fill(noise, cv::RNG::NORMAL, 0, 0.004);
    for (int i = 0; i < scene.rows; ++i) {
        for (int j = 0; j < scene.cols; ++j) {
            const float x = static_cast<float>(j) / static_cast<float>(scene.cols) - 0.5F;
            const float y = static_cast<float>(i) / static_cast<float>(scene.rows) - 0.5F;
            const float frontal = 1 / (1 + 2 * (x * x + y * y));
            const float fromLeft = 0.28F - 0.18F * x;
            const cv::Vec3f flash(1.15F, 1.0F, 0.9F);
            const cv::Vec3f lamp(0.35F, 0.7F, 1.2F);
            for (int c = 0; c < 3; ++c) {
                pair.flash.at<cv::Vec3f>(i, j)[c] *= frontal * flash[c];
                float& dim = pair.nonFlash.at<cv::Vec3f>(i, j)[c];
                dim = dim * fromLeft * lamp[c] + noise.at<cv::Vec3f>(i, j)[c];
            }
        }
    }
    return {encoded(pair.flash), encoded(pair.nonFlash)};
}

/// A camera whose response is known: what it stores, in [0, 1], of an exposure.
inline double stored(double exposure) {
    return std::min(1.0, std::pow(exposure, 1 / 2.2));
}

}  // namespace made_scene
