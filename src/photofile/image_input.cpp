#include "photofile/image_input.hpp"

#include <likeness/color/unit_image.hpp>
#include "files/refusal.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"

#include <fmt/format.h>

#include <cstdint>

namespace likeness {
namespace {

void requireRead(const std::string& path, const PhotographRead& photograph) {
    if (!photograph.isRead()) {
        throw Refusal("cannot read '" + path + "'" + photograph.problem);
    }
}

void warnOfRemarks(const FileAccess& access, const std::string& path, const PhotographRead& photograph) {
    for (const std::string& remark : photograph.remarks) {
        access.warn(fmt::format("'{}': {}", path, remark));
    }
}

void tellOfProfile(const FileAccess& access, const std::string& path, const ProfileUse& use) {
    if (const std::string warning = use.warning(); !warning.empty()) {
        access.warn(fmt::format("'{}': {}", path, warning));
    }
    if (const std::string remark = use.remark(); !remark.empty()) {
        access.tell(fmt::format("'{}': {}", path, remark));
    }
}

ProfileChoice withOwn(ProfileChoice profiles, const OwnPicture& own) {
    profiles.selection = own.in(std::move(profiles.selection));
    return profiles;
}

cv::Mat readNumbers(const FileAccess& access, const std::string& path, PhotographValues values) {
    const PhotographRead photograph = readPhotograph(path, values, access.mostPixels());
    requireRead(path, photograph);
    warnOfRemarks(access, path, photograph);
    return photograph.bgr;
}

/// A photograph that is read, with how its colours were taken.
std::pair<cv::Mat, ProfileUse> readColors(const FileAccess& access, const std::string& path, PhotographValues values) {
    ManagedColors colors(access.profiles());
    PhotographRead photograph = readPhotograph(path, values, access.mostPixels(), &colors);
    colors.settle(photograph.remarks);
    requireRead(path, photograph);
    warnOfRemarks(access, path, photograph);
    return {photograph.bgr, colors.use()};
}

}  // namespace

cv::Mat readImage(const FileAccess& access, const std::string& path, ProfileUse* profile) {
    auto [image, use] = readColors(access, path, PhotographValues::stored);
    tellOfProfile(access, path, use);
    if (profile != nullptr) {
        *profile = std::move(use);
    }
    return image;
}

cv::Mat readStoredNumbers(const FileAccess& access, const std::string& path) {
    return readNumbers(access, path, PhotographValues::stored);
}

cv::Mat unitImageOf(const cv::Mat& image) {
    return toUnit(image);
}

cv::Mat readUnitImage(const FileAccess& access, const std::string& path) {
    return unitImageOf(readImage(access, path));
}

cv::Mat readBoundedUnitImage(const FileAccess& access, const std::string& path) {
    cv::Mat image = readUnitImage(access, path);
    constexpr int limit = 1'000'000;
    if (!cv::checkRange(image, true, nullptr, -limit, limit)) {
        throw Refusal(fmt::format("'{}' contains NaN or values outside {} to {}", path, -limit, limit));
    }
    return image;
}

cv::Mat readPhotographAsCompared(const FileAccess& access, const std::string& path) {
    return readColors(access, path, PhotographValues::bytesOrFloats).first;
}

cv::Mat pictureOf(const cv::Mat& photograph) {
    if (photograph.depth() == CV_8U) {
        return photograph;
    }
    cv::Mat bytes;
    photograph.convertTo(bytes, CV_8U, 255);
    return bytes;
}

cv::Mat readMask(const FileAccess& access, const std::string& path) {
    const cv::Mat mask = readNumbers(access, path, PhotographValues::grey);
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

std::pair<cv::Mat, cv::Mat> readPhotographPairAsCompared(const FileAccess& access, const std::string& first,
                                                         const std::string& second,
                                                         std::pair<ProfileUse, ProfileUse>* profiles) {
    const auto read = readPhotographPairInRows(access, first, second, profiles, nullptr, nullptr);
    return {read.first.bgr, read.second.bgr};
}

std::pair<PhotographRead, PhotographRead> readPhotographPairInRows(const FileAccess& access, const std::string& first,
                                                                   const std::string& second,
                                                                   std::pair<ProfileUse, ProfileUse>* profiles,
                                                                   RowReceiver* firstRows, RowReceiver* secondRows,
                                                                   const std::pair<OwnPicture, OwnPicture>& own) {
    const ProfileChoice firstChoice = withOwn(access.profiles(), own.first);
    const ProfileChoice secondChoice = withOwn(access.profiles(), own.second);
    ManagedColors firstColors(firstChoice);
    ManagedColors secondColors(secondChoice);
    auto [firstRead, secondRead] =
        readPhotographPair(first, second, PhotographValues::bytesOrFloats, access.mostPixels(), &firstColors,
                           &secondColors, firstRows, secondRows);
    firstColors.settle(firstRead.remarks);
    secondColors.settle(secondRead.remarks);
    requireRead(first, firstRead);
    requireRead(second, secondRead);
    warnOfRemarks(access, first, firstRead);
    warnOfRemarks(access, second, secondRead);
    tellOfProfile(access, first, firstColors.use());
    tellOfProfile(access, second, secondColors.use());
    if (profiles != nullptr) {
        *profiles = {firstColors.use(), secondColors.use()};
    }
    return {std::move(firstRead), std::move(secondRead)};
}

void checkSameSize(const std::string& firstPath, const cv::Mat& first, const std::string& secondPath,
                   const cv::Mat& second) {
    if (first.size() != second.size()) {
        throw Refusal(fmt::format("'{}' is {} x {} pixels and '{}' is {} x {}: they must be of one size", firstPath,
                                  first.cols, first.rows, secondPath, second.cols, second.rows));
    }
}

}  // namespace likeness
