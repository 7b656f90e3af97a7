#include "photofile/image_input.hpp"

#include <likeness/comparison/metrics.hpp>
#include "files/refusal.hpp"
#include "photofile/photograph_reader.hpp"

#include <fmt/format.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace likeness {
namespace {

void requireRead(const std::string& path, const PhotographRead& photograph) {
    if (photograph.bgr.empty()) {
        throw Refusal("cannot read '" + path + "' as an image");
    }
}

void warnOfRemarks(const Notices& notices, const std::string& path, const PhotographRead& photograph) {
    for (const std::string& remark : photograph.remarks) {
        notices.warn(fmt::format("'{}': {}", path, remark));
    }
}

cv::Mat read(const Notices& notices, const std::string& path, int flags) {
    const PhotographRead photograph = readPhotograph(path, flags);
    requireRead(path, photograph);
    warnOfRemarks(notices, path, photograph);
    return photograph.bgr;
}

}  // namespace

cv::Mat readImage(const Notices& notices, const std::string& path) {
    constexpr int flags = cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH;
    PhotographRead photograph = readPhotograph(path, flags);
    if (photograph.bgr.empty()) {
        // The image library does not spread the grey of a float TIFF; it reads it as it is.
        PhotographRead asItIs = readPhotograph(path, cv::IMREAD_UNCHANGED);
        if (!asItIs.bgr.empty() && asItIs.bgr.channels() == 1) {
            cv::merge(std::vector<cv::Mat>(3, asItIs.bgr), photograph.bgr);
            photograph.remarks = std::move(asItIs.remarks);
        }
    }
    requireRead(path, photograph);
    warnOfRemarks(notices, path, photograph);
    cv::Mat image = photograph.bgr;
    if (image.depth() != CV_8U && image.depth() != CV_16U && image.depth() != CV_32F) {
        image.convertTo(image, CV_32F);
    }
    return image;
}

cv::Mat unitImageOf(const cv::Mat& image) {
    if (image.depth() == CV_32F) {
        return image;
    }
    cv::Mat unit(image.size(), CV_32FC3);
    if (image.depth() == CV_8U) {
        cv::Mat bytes = image;
        normImg(bytes, unit);
        return unit;
    }
    constexpr double greatest = 65535.0;
    for (int i = 0; i < image.rows; ++i) {
        const auto* const in = image.ptr<ushort>(i);
        auto* const out = unit.ptr<float>(i);
        for (int j = 0; j < image.cols * 3; ++j) {
            out[j] = static_cast<float>(in[j] / greatest);
        }
    }
    return unit;
}

cv::Mat readUnitImage(const Notices& notices, const std::string& path) {
    return unitImageOf(readImage(notices, path));
}

cv::Mat readBoundedUnitImage(const Notices& notices, const std::string& path) {
    cv::Mat image = readUnitImage(notices, path);
    constexpr int limit = 1'000'000;
    if (!cv::checkRange(image, true, nullptr, -limit, limit)) {
        throw Refusal(fmt::format("'{}' holds values that are no numbers or outside {} to {}", path, -limit, limit));
    }
    return image;
}

cv::Mat readPhotographBytes(const Notices& notices, const std::string& path) {
    return read(notices, path, cv::IMREAD_COLOR);
}

cv::Mat readMask(const Notices& notices, const std::string& path) {
    const cv::Mat mask = read(notices, path, cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH);
    if (mask.depth() != CV_8U && mask.depth() != CV_16U) {
        throw Refusal("'" + path + "' holds floats, and a mask has 8 or 16 bits");
    }
    cv::Mat bytes;
    mask.convertTo(bytes, CV_8U, mask.depth() == CV_8U ? 1.0 : 1.0 / 257);
    return bytes;
}

void checkFinite(const std::string& path, const cv::Mat& image) {
    if (!cv::checkRange(image)) {
        throw Refusal("'" + path + "' has values that are not finite");
    }
}

std::pair<cv::Mat, cv::Mat> readPhotographPairBytes(const Notices& notices, const std::string& first,
                                                    const std::string& second) {
    const auto [firstRead, secondRead] = readPhotographPair(first, second, cv::IMREAD_COLOR);
    requireRead(first, firstRead);
    requireRead(second, secondRead);
    warnOfRemarks(notices, first, firstRead);
    warnOfRemarks(notices, second, secondRead);
    return {firstRead.bgr, secondRead.bgr};
}

void checkSameSize(const std::string& firstPath, const cv::Mat& first, const std::string& secondPath,
                   const cv::Mat& second) {
    if (first.size() != second.size()) {
        throw Refusal(fmt::format("'{}' is {} x {} pixels and '{}' is {} x {}: they must be of one size", firstPath,
                                  first.cols, first.rows, secondPath, second.cols, second.rows));
    }
}

}  // namespace likeness
