// One picture in every depth that the program reads.
#pragma once

#include "support/test_images.hpp"

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness::testing {

struct StoredImage {
    std::string name;  ///< of the file that it is stored in without loss
    cv::Mat stored;
    cv::Mat unit;  ///< the values on the scale 0..1 that the program is to see
};

/// A part of an example photograph in 8 bits; in 16 bits with values between the 256 that bytes have; and in floats, of
/// which some are below 0 or above 1.
inline std::vector<StoredImage> imagesOfEveryDepth(const std::string& photograph, cv::Rect part) {
    const cv::Mat bytes = examplePhotograph(photograph)(part).clone();
    cv::Mat words(bytes.size(), CV_16UC3);
    cv::Mat floats(bytes.size(), CV_32FC3);
    cv::Mat unitOfBytes(bytes.size(), CV_32FC3);
    cv::Mat unitOfWords(bytes.size(), CV_32FC3);
    for (int i = 0; i < bytes.rows; ++i) {
        for (int j = 0; j < bytes.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                const int byte = bytes.at<cv::Vec3b>(i, j)[c];
                const int word = byte * 256 + (7 * i + 13 * j + 31 * c) % 256;
                words.at<cv::Vec3w>(i, j)[c] = static_cast<ushort>(word);
                unitOfBytes.at<cv::Vec3f>(i, j)[c] = static_cast<float>(byte / 255.0);
                unitOfWords.at<cv::Vec3f>(i, j)[c] = static_cast<float>(word / 65535.0);
                floats.at<cv::Vec3f>(i, j)[c] = static_cast<float>(word / 65535.0 * 1.2 - 0.1);
            }
        }
    }
    return {{"bytes.png", bytes, unitOfBytes}, {"words.png", words, unitOfWords}, {"floats.tif", floats, floats}};
}

}  // namespace likeness::testing
