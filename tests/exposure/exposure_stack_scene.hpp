// What the tests of exposures share: a scene in two photographs, exposures by a known response, and the files that a
// call leaves behind.
#pragma once

#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <omp.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace likeness::testing {

/// The default team has `count` threads while the object lives.
class TeamOf {
public:
    explicit TeamOf(int count) : before_(omp_get_max_threads()) { omp_set_num_threads(count); }
    ~TeamOf() { omp_set_num_threads(before_); }
    TeamOf(const TeamOf&) = delete;
    TeamOf& operator=(const TeamOf&) = delete;

private:
    int before_;
};

/// A flash photograph (cool, bright) and a no-flash photograph (warm, dim, noisy) of one scene, CV_32FC3 in [0, 1].
struct FlashPair {
    FlashPair(cv::Mat flashPhotograph, cv::Mat nonFlashPhotograph)
        : flash(std::move(flashPhotograph)), nonFlash(std::move(nonFlashPhotograph)) {}

    explicit FlashPair(cv::Rect part = {60, 60, 64, 48}) {
        const cv::Mat scene = exampleImage("coffee.jpg")(part).clone();
        cv::multiply(scene, cv::Scalar(1.0, 0.95, 0.9), flash);
        cv::multiply(scene, cv::Scalar(0.25, 0.4, 0.55), nonFlash);
        nonFlash += randomImage(scene.size(), 3, 0, 0.03F, 11);
    }

    cv::Mat flash;
    cv::Mat nonFlash;
};

/// Exposures of one scene, each twice as long as the one before, through the response byte = 255 sqrt(exposure).
inline std::vector<cv::Mat> bracketOfSquareRootCamera(int count, cv::Size size = {64, 48}) {
    cv::Mat radiance(size, CV_32FC3);
    for (int i = 0; i < size.height; ++i) {
        for (int j = 0; j < size.width; ++j) {
            for (int c = 0; c < 3; ++c) {
                const double across = (j + 0.3 * c) / size.width;
                const double down = static_cast<double>(i) / size.height;
                radiance.at<cv::Vec3f>(i, j)[c] = static_cast<float>(std::exp(4 * across - 3 + down));
            }
        }
    }
    std::vector<cv::Mat> exposures;
    for (int k = 0; k < count; ++k) {
        cv::Mat exposure(size, CV_32FC3);
        const double time = std::ldexp(1, k - count);
        std::transform(radiance.begin<cv::Vec3f>(), radiance.end<cv::Vec3f>(), exposure.begin<cv::Vec3f>(),
                       [time](const cv::Vec3f& value) {
                           cv::Vec3f bytes;
                           for (int c = 0; c < 3; ++c) {
                               bytes[c] = static_cast<float>(std::min(1.0, std::sqrt(value[c] * time)));
                           }
                           return bytes;
                       });
        exposures.push_back(exposure);
    }
    return exposures;
}

/// Contents of all files of the working directory by name.
inline std::map<std::string, std::string> filesHere() {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        if (entry.is_regular_file()) {
            files[entry.path().filename().string()] = contentOf(entry.path());
        }
    }
    return files;
}

inline std::vector<std::string> namesOf(const std::map<std::string, std::string>& files) {
    std::vector<std::string> names;
    for (const auto& [name, content] : files) {
        names.push_back(name);
    }
    return names;
}

/// What a call leaves behind: its messages and its files.
struct Traces {
    std::string printed;
    std::map<std::string, std::string> files;
};

/// Runs `action` in an empty working directory.
template <typename Action>
Traces tracesOf(Action action) {
    const ScratchDirectory scratch;
    Traces traces;
    traces.printed = printedBy(action);
    traces.files = filesHere();
    return traces;
}

inline std::vector<cv::Mat> clones(const std::vector<cv::Mat>& images) {
    std::vector<cv::Mat> copies;
    for (const cv::Mat& image : images) {
        copies.push_back(image.clone());
    }
    return copies;
}

/// Same messages, same files, byte for byte.
inline void expectSameTraces(const Traces& actual, const Traces& expected) {
    EXPECT_EQ(actual.printed, expected.printed);
    EXPECT_EQ(namesOf(actual.files), namesOf(expected.files));
    for (const auto& [name, content] : expected.files) {
        const auto found = actual.files.find(name);
        EXPECT_TRUE(found != actual.files.end() && found->second == content) << name;
    }
}

}  // namespace likeness::testing
