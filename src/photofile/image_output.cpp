#include "photofile/image_output.hpp"

#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <fmt/format.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>

namespace likeness {
namespace {

constexpr int usualQuality = 95;

constexpr int lzwCompression = 5;  // TIFF 6.0, section 13: without loss

void encodeAndReplace(const ImageOutput& output, const char* extension, const cv::Mat& image,
                      const std::vector<int>& parameters) {
    std::vector<uchar> bytes;
    bool encoded = false;
    try {
        encoded = cv::imencode(extension, image, bytes, parameters);
    } catch (const cv::Exception&) {
        encoded = false;
    }
    if (!encoded) {
        throw Refusal(fmt::format("cannot write '{}': its format cannot hold an image of {} x {} pixels", output.path,
                                  image.cols, image.rows));
    }
    replaceFile(output.path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
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

/// A share of values for the eye: "0.25 %", never "0 %" or "100 %" of what is not all or nothing.
std::string percentText(std::int64_t part, double whole) {
    const double percent = 100.0 * static_cast<double>(part) / whole;
    if (percent < 0.01) {
        return "less than 0.01 %";
    }
    if (percent > 99 && percent < 100) {
        return "more than 99 %";
    }
    return percent < 9.95 ? fmt::format("{:.2g} %", percent) : fmt::format("{:.0f} %", percent);
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
    ImageOutput other{std::move(otherPath), quality, bits, std::move(otherOption)};
    if (imageFormatOf(other.path) != ImageFormat::png) {
        other.bits = 8;
    }
    if (imageFormatOf(other.path) != ImageFormat::jpeg) {
        other.quality.reset();
    }
    return other;
}

void addImageOutput(CLI::App& app, ImageOutput& output, bool required) {
    app.add_option("-o,--output", output.path,
                   optionText("Result image; the extension gives the format: .png (8 or 16 bits), .jpg, .tif (32-bit "
                              "float, values as they are), .hdr (Radiance)",
                              "--output result.png"))
        ->type_name("FILE")
        ->required(required);
    app.add_option("--quality", output.quality, optionText("Quality of a JPEG, 0 to 100", "--quality 90"))
        ->type_name("N")
        ->check(integerBetween(0, 100))
        ->default_str(std::to_string(usualQuality));
    app.add_option("--bits", output.bits, optionText("Bits per channel of a PNG, 8 or 16", "--bits 16"))
        ->type_name("{8,16}")
        ->check(CLI::Validator(
            [](std::string& text) {
                return text == "8" || text == "16" ? std::string() : "'" + text + "' is not 8 or 16";
            },
            ""))
        ->capture_default_str();
}

void checkImageOutput(const ImageOutput& output) {
    const ImageFormat format = imageFormatOf(output.path);
    if (format == ImageFormat::unknown) {
        throw Refusal(output.option + ": '" + output.path +
                      "' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr");
    }
    if (output.bits != 8 && format != ImageFormat::png) {
        throw Refusal("--bits: only a PNG has 16 bits, and '" + output.path + "' is none");
    }
    if (output.quality && format != ImageFormat::jpeg) {
        throw Refusal("--quality: only a JPEG has a quality, and '" + output.path + "' is none");
    }
    checkOutputFile(output.option, output.path);
}

void checkPictureOutput(const ImageOutput& output, FloatsToo floatsToo) {
    const ImageFormat format = imageFormatOf(output.path);
    const bool asFloats = floatsToo == FloatsToo::yes;
    if (format != ImageFormat::png && format != ImageFormat::jpeg && !(asFloats && format == ImageFormat::tiff)) {
        throw Refusal(fmt::format("{}: '{}' has none of the extensions .png, .jpg, .jpeg{}", output.option, output.path,
                                  asFloats ? ", .tif, .tiff" : ""));
    }
    checkOutputFile(output.option, output.path);
}

bool holdsFloats(const ImageOutput& output) {
    return imageFormatOf(output.path) == ImageFormat::tiff;
}

void writeImage(const Session& session, const ImageOutput& output, const cv::Mat& image, double white,
                const std::string& what) {
    std::string scale;
    switch (imageFormatOf(output.path)) {
        case ImageFormat::tiff:
            // Left to itself, the image library packs three floats into the 32 bits of LogLuv, without negative values.
            encodeAndReplace(output, ".tiff", image, {cv::IMWRITE_TIFF_COMPRESSION, lzwCompression});
            scale = "32-bit float, values as they are";
            break;
        case ImageFormat::hdr: {
            cv::Mat radiance;
            image.convertTo(radiance, CV_32F, 1 / white);
            cv::max(radiance, 0, radiance);
            encodeAndReplace(output, ".hdr", radiance, {});
            scale = fmt::format("Radiance, 0..1 stands for 0..{:g}", white);
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
            encodeAndReplace(output, png ? ".png" : ".jpg", integers, parameters);
            scale = fmt::format("{} bits, 0..{} stands for 0..{:g}", wide && png ? 16 : 8, wide && png ? 65535 : 255,
                                white);
            if (clipped > 0) {
                scale += fmt::format("; {} of the values lie outside and are clipped",
                                     percentText(clipped, static_cast<double>(image.total()) * image.channels()));
            }
            break;
        }
    }
    session.tell(describe(output.path, what, image, scale));
}

void writePicture(const Session& session, const ImageOutput& output, const cv::Mat& picture, const std::string& what) {
    const bool png = imageFormatOf(output.path) == ImageFormat::png;
    encodeAndReplace(
        output, png ? ".png" : ".jpg", picture,
        png ? std::vector<int>() : std::vector<int>{cv::IMWRITE_JPEG_QUALITY, output.quality.value_or(usualQuality)});
    session.tell(describe(output.path, what, picture, "8 bits"));
}

}  // namespace likeness
