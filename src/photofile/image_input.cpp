#include "photofile/image_input.hpp"

#include <likeness/comparison/metrics.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include "files/refusal.hpp"
#include "photofile/photograph_reader.hpp"

#include <fmt/format.h>

#include <cstdint>

namespace likeness {
namespace {

void requireRead(const std::string& path, const PhotographRead& photograph) {
    if (photograph.bgr.empty()) {
        throw Refusal("cannot read '" + path + "'" + photograph.imageProblem());
    }
}

void warnOfRemarks(const Session& session, const std::string& path, const PhotographRead& photograph) {
    for (const std::string& remark : photograph.remarks) {
        session.warn(fmt::format("'{}': {}", path, remark));
    }
}

cv::Mat read(const Session& session, const std::string& path, PhotographValues values) {
    const PhotographRead photograph = readPhotograph(path, values, session.mostPixels());
    requireRead(path, photograph);
    warnOfRemarks(session, path, photograph);
    return photograph.bgr;
}

}  // namespace

cv::Mat readImage(const Session& session, const std::string& path) {
    return read(session, path, PhotographValues::stored);
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

cv::Mat readBoundedUnitImage(const Session& session, const std::string& path) {
    cv::Mat image = readUnitImage(session, path);
    constexpr int limit = 1'000'000;
    if (!cv::checkRange(image, true, nullptr, -limit, limit)) {
        throw Refusal(fmt::format("'{}' holds values that are no numbers or outside {} to {}", path, -limit, limit));
    }
    return image;
}

cv::Mat readPhotographAsCompared(const Session& session, const std::string& path) {
    return read(session, path, PhotographValues::bytesOrFloats);
}

cv::Mat pictureOf(const cv::Mat& photograph) {
    if (photograph.depth() == CV_8U) {
        return photograph;
    }
    cv::Mat bytes;
    photograph.convertTo(bytes, CV_8U, 255);
    return bytes;
}

cv::Mat readMask(const Session& session, const std::string& path) {
    const cv::Mat mask = read(session, path, PhotographValues::grey);
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

std::pair<cv::Mat, cv::Mat> readPhotographPairAsCompared(const Session& session, const std::string& first,
                                                         const std::string& second) {
    const auto [firstRead, secondRead] =
        readPhotographPair(first, second, PhotographValues::bytesOrFloats, session.mostPixels());
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

void checkResponseGrid(const std::string& path, cv::Size size) {
    constexpr std::int64_t leastPixels = 70;
    if (static_cast<std::int64_t>(size.width) * size.height < leastPixels || !hasResponseGrid(size)) {
        throw Refusal(
            fmt::format("'{}' is {} x {} pixels: a camera response takes at least {} pixels, and sides that "
                        "differ no more than about 70 times",
                        path, size.width, size.height, leastPixels));
    }
}

}  // namespace likeness
