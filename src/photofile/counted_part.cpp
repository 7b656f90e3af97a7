#include "photofile/counted_part.hpp"

#include "codecs/exif_orientation.hpp"
#include "codecs/image_codecs.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"
#include "photofile/format_modules.hpp"
#include "photofile/image_header.hpp"
#include "photofile/opened_file.hpp"
#include "photofile/photograph_reader.hpp"
#include "photofile/stored_orientation.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace likeness {
namespace {

std::string sizeText(const cv::Size& size) {
    return fmt::format("{} x {}", size.width, size.height);
}

ImageHeader headerOf(const std::string& path) {
    const OpenedFile file(placeOfInput(path));
    if (!file.problem().empty()) {
        throw Refusal("cannot read '" + path + "'" + file.problem());
    }
    return readImageHeader(file.source());
}

PixelWeights weightsOfMask(const std::string& path, const cv::Size& size, const PartChoice& choice,
                           std::uint64_t mostPixels, std::vector<std::string>& remarks) {
    const std::string& name = choice.mask;
    const ImageHeader header = headerOf(name);
    if (header.format == ImageFileFormat::radiance) {
        throw Refusal("'" + name + "' cannot be a mask: a Radiance file holds light; PNG, TIFF and OpenEXR hold masks");
    }
    // What holds grey and nothing else is not spread to three channels first.
    const bool grey = header.channels == 1 && !header.alpha &&
                      (header.format == ImageFileFormat::png || header.format == ImageFileFormat::jpeg);
    const PhotographRead read =
        readPhotograph(name, grey ? PhotographValues::grey : PhotographValues::stored, mostPixels);
    if (read.bgr.empty()) {
        throw Refusal("cannot read '" + name + "'" + read.problem);
    }
    for (const std::string& remark : read.remarks) {
        if (remark.find("alpha channel") != std::string::npos) {
            throw Refusal("'" + name + "' cannot be a mask: it has an alpha channel; a mask is grey and opaque");
        }
        remarks.push_back("'" + name + "': " + remark);
    }
    if (read.bgr.size() != size) {
        throw Refusal(fmt::format("the mask '{}' is {} pixels and '{}' is {}: they must be of one size", name,
                                  sizeText(read.bgr.size()), path, sizeText(size)));
    }
    try {
        return PixelWeights::ofMask(read.bgr);
    } catch (const std::invalid_argument& problem) {
        throw Refusal("'" + name + "' cannot be a " + problem.what());
    }
}

[[noreturn]] void refuseAlpha(const std::string& path, const std::string& what) {
    throw Refusal("--alpha: '" + path + "': " + what + "; convert it to a PNG with alpha, or leave out --alpha");
}

[[noreturn]] void refuseUnreadAlpha(const std::string& path, const ImageHeader& header) {
    refuseAlpha(path, std::string("the alpha channel of this ") + nameOf(header.format) + " file is not read");
}

/// Of a file that a module reads; empty where it has none.
cv::Mat alphaByModule(const std::string& path, const ByteSource& source, const ImageHeader& header,
                      PhotographRequest request) {
    if (header.format == ImageFileFormat::gif) {
        refuseUnreadAlpha(path, header);
    }
    request.alpha = header.format != ImageFileFormat::photoshop;
    request.headerOnly = !request.alpha;
    const PhotographContent content = readByModule(source, header, request);
    if (!content.problem.empty()) {
        refuseAlpha(path, content.problem);
    }
    if (content.alpha && !request.alpha) {
        refuseUnreadAlpha(path, header);
    }
    return content.pixels;
}

/// Of a PNG, WebP or BMP; empty where it has none.
cv::Mat alphaByCodec(const std::string& path, const std::string& place, const ByteSource& source,
                     const ImageHeader& header) {
    if (!header.alpha) {
        return {};
    }
    if (header.format != ImageFileFormat::png && header.format != ImageFileFormat::webp &&
        header.format != ImageFileFormat::bmp) {
        refuseUnreadAlpha(path, header);
    }
    const cv::Mat stored = decodedFile(place, cv::IMREAD_UNCHANGED);
    if (stored.channels() != 4) {
        refuseAlpha(path, "its transparent colour is no alpha channel");
    }
    cv::Mat alpha;
    cv::extractChannel(stored, alpha, 3);
    const std::optional<int> orientation = storedOrientation(source, header.format);
    if (!orientation) {
        refuseAlpha(path, "its Exif data are damaged, and may tell how it is turned");
    }
    applyOrientation(*orientation, alpha);
    return alpha;
}

/// Of a photograph as it is seen; empty where it has none.
cv::Mat alphaOf(const std::string& path, const cv::Size& size, const PhotographSelection& selection,
                std::uint64_t mostPixels) {
    const std::string place = placeOfInput(path);
    const OpenedFile file(place);
    if (!file.problem().empty()) {
        throw Refusal("cannot read '" + path + "'" + file.problem());
    }
    const ImageHeader header = readImageHeader(file.source());
    PhotographRequest request{place, mostPixels};
    request.page = selection.page;
    request.layer = selection.layer;
    request.preview = selection.preview;
    const bool byModule = isForModule(header, selection) || (header.format == ImageFileFormat::tiff && header.alpha);
    cv::Mat alpha = byModule ? alphaByModule(path, file.source(), header, request)
                             : alphaByCodec(path, place, file.source(), header);
    if (!alpha.empty() && alpha.size() != size) {
        refuseAlpha(path, fmt::format("its alpha channel is {} pixels, the photograph {}", sizeText(alpha.size()),
                                      sizeText(size)));
    }
    return alpha;
}

/// Refuses floats that are no opacity.
PixelWeights opacityOf(const std::string& path, const cv::Mat& alpha) {
    try {
        return PixelWeights::ofMask(alpha);
    } catch (const std::invalid_argument&) {
        refuseAlpha(path, "its alpha channel has values outside 0 to 1");
    }
}

double opacityAt(const cv::Mat& alpha, int i, int j) {
    switch (alpha.depth()) {
        case CV_8U:
            return alpha.at<uchar>(i, j) / 255.0;
        case CV_16U:
            return alpha.at<ushort>(i, j) / 65535.0;
        case CV_32F:
            return static_cast<double>(alpha.at<float>(i, j));
        default:
            return alpha.at<double>(i, j);
    }
}

template <typename Value>
void layOver(cv::Mat& photograph, const cv::Mat& alpha, const cv::Vec3d& under, double greatest) {
    for (int i = 0; i < photograph.rows; ++i) {
        auto* const pixels = photograph.ptr<cv::Vec<Value, 3>>(i);
        for (int j = 0; j < photograph.cols; ++j) {
            const double opaque = opacityAt(alpha, i, j);
            if (opaque >= 1) {
                continue;
            }
            for (int c = 0; c < 3; ++c) {
                const double mixed = opaque * static_cast<double>(pixels[j][c]) + (1 - opaque) * (under[c] * greatest);
                pixels[j][c] = cv::saturate_cast<Value>(mixed);
            }
        }
    }
}

PixelWeights weightsOfRegions(const std::string& path, const cv::Size& size, const std::vector<RegionChoice>& choices) {
    std::vector<PhotographRegion> regions;
    regions.reserve(choices.size());
    for (const RegionChoice& choice : choices) {
        regions.push_back(choice.region);
    }
    try {
        return PixelWeights::ofRegions(size, regions);
    } catch (const std::invalid_argument&) {
        // Which of them it is.
        for (const RegionChoice& choice : choices) {
            try {
                PixelWeights::ofRegions(size, {choice.region});
            } catch (const std::invalid_argument&) {
                throw Refusal(fmt::format("--region {}: it holds no pixel of '{}', which is {} pixels", choice.text,
                                          path, sizeText(size)));
            }
        }
        throw;
    }
}

}  // namespace

void layOver(cv::Mat& photograph, const cv::Mat& alpha, const cv::Vec3d& under) {
    switch (photograph.depth()) {
        case CV_8U:
            return layOver<uchar>(photograph, alpha, under, 255);
        case CV_16U:
            return layOver<ushort>(photograph, alpha, under, 65535);
        case CV_64F:
            return layOver<double>(photograph, alpha, under, 1);
        default:
            return layOver<float>(photograph, alpha, under, 1);
    }
}

PixelWeights countedPart(const std::string& path, cv::Mat& photograph, const PartChoice& choice,
                         const PhotographSelection& selection, std::uint64_t mostPixels,
                         std::vector<std::string>& remarks) {
    PixelWeights weights;
    if (choice.isWhole() || photograph.empty()) {
        return weights;
    }
    const cv::Size size = photograph.size();
    if (!choice.mask.empty()) {
        weights = weightsOfMask(path, size, choice, mostPixels, remarks);
    }
    if (choice.alpha.use != AlphaChoice::Use::dropped) {
        if (const cv::Mat alpha = alphaOf(path, size, selection, mostPixels); !alpha.empty()) {
            const PixelWeights opacity = opacityOf(path, alpha);
            if (choice.alpha.use == AlphaChoice::Use::weight) {
                weights = weights.times(opacity);
            } else {
                layOver(photograph, alpha, choice.alpha.under);
            }
        }
    }
    if (!choice.regions.empty()) {
        weights = weights.times(weightsOfRegions(path, size, choice.regions));
    }
    if (choice.centerWeighted) {
        weights = weights.times(PixelWeights::centered(size));
    }
    try {
        weights.require("photograph", photograph);
    } catch (const NothingCounts&) {
        throw Refusal("'" + path + "': no pixel of it counts" +
                      (choice.mask.empty() ? "" : ": white of the mask '" + choice.mask + "' counts, black does not"));
    }
    return weights;
}

PixelWeights countedPart(const FileAccess& access, const std::string& path, cv::Mat& photograph,
                         const PartChoice& choice, const OwnPicture& own) {
    std::vector<std::string> remarks;
    PixelWeights weights =
        countedPart(path, photograph, choice, own.in(access.profiles().selection), access.mostPixels(), remarks);
    for (const std::string& remark : remarks) {
        access.warn(remark);
    }
    return weights;
}

ProfileChoice profilesWith(const PartChoice& part, ProfileChoice profiles) {
    profiles.part = part;
    profiles.selection.usesAlpha = part.alpha.use != AlphaChoice::Use::dropped;
    return profiles;
}

PartAccess::PartAccess(const FileAccess& access, const PartChoice& choice, double luminanceOfWhite)
    : access_(access), profiles_(profilesWith(choice, access.profiles())) {
    profiles_.whiteLuminance = luminanceOfWhite;
}

}  // namespace likeness
