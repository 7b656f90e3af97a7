#include "photofile/image_output.hpp"

#include <likeness/color/srgb_companding.hpp>
#include "codecs/image_codecs.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "modules/module_loader.hpp"
#include "photofile/clipping.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/profile_tagging.hpp"
#include "photofile/space_mark.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>

namespace likeness {
namespace {

constexpr int lzwCompression = 5;  // TIFF 6.0, section 13: without loss

void tag(const ImageOutput& output, std::vector<uchar>& bytes, const ColorProfile& profile) {
    switch (imageFormatOf(output.path)) {
        case ImageFormat::png:
            tagPng(bytes, profile);
            break;
        case ImageFormat::tiff:
            tagTiff(bytes, profile);
            break;
        case ImageFormat::hdr:
            break;
        case ImageFormat::jpeg:
        case ImageFormat::unknown:
            tagJpeg(bytes, profile);
            break;
    }
}

/// @param profile  what the file says of its colours; null for nothing
void encodeAndReplace(const ImageOutput& output, const char* extension, const cv::Mat& image,
                      const std::vector<int>& parameters, const ColorProfile* profile = nullptr) {
    std::vector<uchar> bytes;
    bool encoded = false;
    try {
        encoded = encodeImage(extension, image, bytes, parameters);
    } catch (const cv::Exception&) {
        encoded = false;
    } catch (const ModuleProblem& problem) {
        throw Refusal(fmt::format("cannot write '{}': {}", output.path, problem.what()));
    }
    if (!encoded) {
        throw Refusal(fmt::format("cannot write '{}': its format cannot hold an image of {} x {} pixels", output.path,
                                  image.cols, image.rows));
    }
    if (profile != nullptr) {
        tag(output, bytes, *profile);
    }
    if (!output.mark.empty()) {
        addSpaceMark(bytes, output.mark);
    }
    replaceFile(output.path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/// The profile of a picture that is written; null for none.
ColorProfile::Shared profileOf(const ImageOutput& output) {
    if (imageFormatOf(output.path) == ImageFormat::hdr) {
        return nullptr;
    }
    return profileAsked("--output-profile", output.profile.empty() ? "srgb" : output.profile);
}

Refusal refusedProfile(const ImageOutput& output, const ProfileProblem& problem) {
    return Refusal("--output-profile: the profile of '" + output.path + "'" + problem.what());
}

/// `image` / `white` in integers of 0..`greatest`, with the number of values that had to be clipped.
template <typename Integer>
cv::Mat quantized(const cv::Mat& image, double white, double greatest, std::int64_t& clipped) {
    cv::Mat result(image.size(), CV_MAKETYPE(cv::DataType<Integer>::depth, image.channels()));
    const int count = image.cols * image.channels();
    for (int i = 0; i < image.rows; ++i) {
        const auto* const in = image.ptr<float>(i);
        auto* const out = result.template ptr<Integer>(i);
        for (int j = 0; j < count; ++j) {
            const double share = in[j] / white;
            if (share >= 0 && share <= 1) {
                out[j] = static_cast<Integer>(std::lround(share * greatest));
            } else {
                out[j] = share > 1 ? static_cast<Integer>(greatest) : Integer{0};  // NaN too is 0
                ++clipped;
            }
        }
    }
    return result;
}

std::string describe(const std::string& path, const std::string& what, const cv::Mat& image, const std::string& scale) {
    return fmt::format("wrote '{}'{}{}, {} x {} pixels, {}", path, what.empty() ? "" : ": ", what, image.cols,
                       image.rows, scale);
}

}  // namespace

ImageFormat imageFormatOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".png") {
        return ImageFormat::png;
    }
    if (extension == ".jpg" || extension == ".jpeg") {
        return ImageFormat::jpeg;
    }
    if (extension == ".tif" || extension == ".tiff") {
        return ImageFormat::tiff;
    }
    return extension == ".hdr" ? ImageFormat::hdr : ImageFormat::unknown;
}

ImageOutput ImageOutput::at(std::string otherPath, std::string otherOption) const {
    ImageOutput other{std::move(otherPath), quality, bits, std::move(otherOption), profile};
    if (imageFormatOf(other.path) != ImageFormat::png) {
        other.bits = 8;
    }
    if (imageFormatOf(other.path) != ImageFormat::jpeg) {
        other.quality.reset();
    }
    return other;
}

bool holdsFloats(const ImageOutput& output) {
    return imageFormatOf(output.path) == ImageFormat::tiff;
}

namespace {

void write(const FileAccess& access, const ImageOutput& output, const cv::Mat& image, double white,
           const std::string& what, const ColorProfile* profile) {
    std::string scale;
    switch (imageFormatOf(output.path)) {
        case ImageFormat::tiff:
            // Left to itself, the image library packs three floats into the 32 bits of LogLuv, without negative values.
            encodeAndReplace(output, ".tiff", image, {cv::IMWRITE_TIFF_COMPRESSION, lzwCompression}, profile);
            scale = "32-bit float, values as they are";
            break;
        case ImageFormat::hdr: {
            cv::Mat radiance;
            image.convertTo(radiance, CV_32F, 1 / white);
            cv::max(radiance, 0, radiance);
            for (int i = 0; i < radiance.rows; ++i) {
                auto* const row = radiance.ptr<float>(i);
                sRGBInverseCompandingOfRow(
                    row, row, static_cast<std::size_t>(radiance.cols) * static_cast<std::size_t>(radiance.channels()));
            }
            encodeAndReplace(output, ".hdr", radiance, {});
            scale = fmt::format("Radiance, linear, 0..1 stands for 0..{:g}", white);
            break;
        }
        case ImageFormat::png:
        case ImageFormat::jpeg:
        case ImageFormat::unknown: {
            std::int64_t clipped = 0;
            const bool wide = output.bits == 16;
            const bool png = imageFormatOf(output.path) == ImageFormat::png;
            const cv::Mat integers = wide && png ? quantized<ushort>(image, white, 65535.0, clipped)
                                                 : quantized<uchar>(image, white, 255.0, clipped);
            const std::vector<int> parameters =
                png ? std::vector<int>()
                    : std::vector<int>{cv::IMWRITE_JPEG_QUALITY, output.quality.value_or(usualQuality)};
            encodeAndReplace(output, png ? ".png" : ".jpg", integers, parameters, profile);
            scale = fmt::format("{} bits, 0..{} stands for 0..{:g}", wide && png ? 16 : 8, wide && png ? 65535 : 255,
                                white);
            if (clipped > 0) {
                scale += fmt::format("; {} of the values lie outside and are clipped",
                                     percentText(clipped, static_cast<double>(image.total()) * image.channels()));
            }
            break;
        }
    }
    if (profile != nullptr && !profile->isSrgb()) {
        scale += ", in '" + profile->description() + "'";
    }
    access.tell(describe(output.path, what, image, scale));
}

}  // namespace

void writeImage(const FileAccess& access, const ImageOutput& output, const cv::Mat& image, double white,
                const std::string& what) {
    write(access, output, image, white, what, nullptr);
}

void writePhotograph(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                     const std::string& what) {
    const ColorProfile::Shared profile = profileOf(output);
    try {
        const bool other = profile != nullptr && !profile->isSrgb();
        write(access, output, other ? profile->fromSrgb(picture) : picture, 1.0, what, profile.get());
    } catch (const ProfileProblem& problem) {
        throw refusedProfile(output, problem);
    }
}

cv::Mat pictureAsStored(const ImageOutput& output, const cv::Mat& picture) {
    const ColorProfile::Shared profile = profileOf(output);
    if (profile == nullptr || profile->isSrgb()) {
        return asStored(output, picture);
    }
    try {
        return profile->srgbFrom(asStored(output, profile->fromSrgb(picture)));
    } catch (const ProfileProblem& problem) {
        throw refusedProfile(output, problem);
    }
}

cv::Mat asStored(const ImageOutput& output, const cv::Mat& image) {
    const ImageFormat format = imageFormatOf(output.path);
    if (format != ImageFormat::png && format != ImageFormat::jpeg) {
        return image;
    }
    std::int64_t clipped = 0;
    const bool wide = format == ImageFormat::png && output.bits == 16;
    const double greatest = wide ? 65535.0 : 255.0;
    cv::Mat values;
    (wide ? quantized<ushort>(image, 1.0, greatest, clipped) : quantized<uchar>(image, 1.0, greatest, clipped))
        .convertTo(values, CV_32F, 1 / greatest);
    return values;
}

void writePicture(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                  const std::string& what) {
    const bool png = imageFormatOf(output.path) == ImageFormat::png;
    encodeAndReplace(
        output, png ? ".png" : ".jpg", picture,
        png ? std::vector<int>() : std::vector<int>{cv::IMWRITE_JPEG_QUALITY, output.quality.value_or(usualQuality)});
    access.tell(describe(output.path, what, picture, "8 bits"));
}

}  // namespace likeness
