#include "darkroom/image_input.hpp"

#include <fmt/format.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "app/metrics.hpp"
#include "app/photograph_reader.hpp"
#include "darkroom/refusal.hpp"

namespace likeness::darkroom {
namespace {

void requireRead(const std::string& path, const PhotographRead& photograph) {
    if (photograph.bgr.empty()) {
        throw Refusal("cannot read '" + path + "' as an image");
    }
}

void warnOfRemarks(const Session& session, const std::string& path, const PhotographRead& photograph) {
    for (const std::string& remark : photograph.remarks) {
        session.warn("'" + path + "': " + remark);
    }
}

cv::Mat read(const Session& session, const std::string& path, int flags) {
    const PhotographRead photograph = readPhotograph(path, flags);
    requireRead(path, photograph);
    warnOfRemarks(session, path, photograph);
    return photograph.bgr;
}

}  // namespace

cv::Mat readImage(const Session& session, const std::string& path) {
    cv::Mat image = read(session, path, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH);
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

cv::Mat readUnitImage(const Session& session, const std::string& path) {
    return unitImageOf(readImage(session, path));
}

cv::Mat readPhotographBytes(const Session& session, const std::string& path) {
    return read(session, path, cv::IMREAD_COLOR);
}

std::pair<cv::Mat, cv::Mat> readPhotographPairBytes(const Session& session, const std::string& first,
                                                    const std::string& second) {
    const auto [firstRead, secondRead] = readPhotographPair(first, second, cv::IMREAD_COLOR);
    requireRead(first, firstRead);
    requireRead(second, secondRead);
    warnOfRemarks(session, first, firstRead);
    warnOfRemarks(session, second, secondRead);
    return {firstRead.bgr, secondRead.bgr};
}

void checkSameSize(const std::string& firstPath, const cv::Mat& first, const std::string& secondPath,
                   const cv::Mat& second) {
    if (first.size() != second.size()) {
        throw Refusal(fmt::format("'{}' is {} x {} pixels and '{}' is {} x {}: they must be of one size", firstPath,
                                  first.cols, first.rows, secondPath, second.cols, second.rows));
    }
}

}  // namespace likeness::darkroom
