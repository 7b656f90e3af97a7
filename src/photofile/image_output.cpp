#include "photofile/image_output.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/version.hpp>
#include "codecs/image_codecs.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "files/standard_input.hpp"
#include "modules/metadata.hpp"
#include "modules/module_loader.hpp"
#include "modules/photograph_encoder.hpp"
#include "photofile/clipping.hpp"
#include "photofile/format_modules.hpp"
#include "photofile/header_bytes.hpp"
#include "photofile/lost_metadata.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/opened_file.hpp"
#include "photofile/profile_tagging.hpp"
#include "photofile/space_mark.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

namespace likeness {
namespace {

constexpr int lzwCompression = 5;      // TIFF 6.0, section 13: without loss
constexpr int deflateCompression = 8;  // TIFF Technical Note 3

bool isLinear(ImageFormat format) {
    return format == ImageFormat::hdr || format == ImageFormat::exr;
}

void tag(const ImageOutput& output, std::vector<uchar>& bytes, const ColorProfile& profile) {
    switch (imageFormatOf(output.path)) {
        case ImageFormat::png:
            tagPng(bytes, profile);
            break;
        case ImageFormat::tiff:
            tagTiff(bytes, profile);
            break;
        case ImageFormat::webp:
            if (!profile.isSrgb()) {
                tagWebp(bytes, profile);
            }
            break;
        case ImageFormat::hdr:
        case ImageFormat::exr:
        case ImageFormat::avif:
        case ImageFormat::jxl:
            break;
        case ImageFormat::jpeg:
        case ImageFormat::unknown:
            tagJpeg(bytes, profile);
            break;
    }
}

/// The values of a photograph, as far as its header tells.
struct SourceValues {
    int bits = 0;  ///< of a channel; 0 where they are not known
    bool floats = false;
};

SourceValues valuesOf(const std::string& name) {
    const std::string path = placeOfInput(name);
    const OpenedFile file(path);
    if (!file.problem().empty()) {
        return {};
    }
    const ByteSource source = file.source();
    const ImageHeader header = readImageHeader(source);
    // The header of an OpenEXR file does not tell halves from floats.
    const bool isTold = header.bits != 0 && header.format != ImageFileFormat::openExr;
    if (!isTold && isForModule(header, {})) {
        PhotographRequest request{path, std::numeric_limits<std::uint64_t>::max()};
        request.headerOnly = true;
        const PhotographContent content = readByModule(source, header, request);
        return {content.bits, content.floats};
    }
    constexpr int ofCameraRaw = 16;
    return header.cameraRaw ? SourceValues{ofCameraRaw, false} : SourceValues{header.bits, header.floats};
}

/// The depth that keeps the values of a photograph best; none where it is that of the format without a photograph.
std::optional<StoredDepth> depthFor(ImageFormat format, const SourceValues& values) {
    const bool deep = values.bits > 8;
    switch (format) {
        case ImageFormat::png:
        case ImageFormat::jxl:
            return deep ? std::optional(StoredDepth::words) : std::nullopt;
        case ImageFormat::avif:
            return deep ? std::optional(values.bits > 10 ? StoredDepth::twelveBits : StoredDepth::tenBits)
                        : std::nullopt;
        case ImageFormat::tiff:
            return values.floats || values.bits == 0 || values.bits > 16
                       ? std::nullopt
                       : std::optional(deep ? StoredDepth::words : StoredDepth::bytes);
        case ImageFormat::exr:
            return values.bits > 16 ? std::optional(StoredDepth::floats) : std::nullopt;
        default:
            return std::nullopt;
    }
}

/// Value that stands for white.
int greatestOf(StoredDepth depth) {
    return depth == StoredDepth::words        ? 65535
           : depth == StoredDepth::twelveBits ? 4095
           : depth == StoredDepth::tenBits    ? 1023
                                              : 255;
}

/// Whether there may be metadata in a file, by its first bytes: then it is worth the time to load what reads them.
bool mayHoldMetadata(const std::string& path) {
    const OpenedFile file(path);
    if (!file.problem().empty()) {
        return false;
    }
    const ByteSource source = file.source();
    HeaderBytes bytes(source);
    const ImageHeader header = readImageHeader(source);
    if (header.format == ImageFileFormat::jpeg) {
        bool found = false;
        forEachJpegSegment(bytes, [&](const JpegSegment& segment) {
            constexpr unsigned app1 = 0xE1;
            constexpr unsigned app13 = 0xED;
            found = found || segment.marker == app1 || segment.marker == app13;
            return !found;
        });
        return found;
    }
    if (header.format == ImageFileFormat::png) {
        std::uint64_t at = 8;
        for (int chunk = 0; chunk < 1 << 16 && bytes.good() && !bytes.holds(at + 4, "IEND"); ++chunk) {
            for (const char* const type : {"eXIf", "iTXt", "zTXt", "tEXt"}) {
                if (bytes.holds(at + 4, type)) {
                    return true;
                }
            }
            at += bytes.big(at, 4) + 12;
        }
        return false;
    }
    return header.cameraRaw || header.format == ImageFileFormat::tiff || header.format == ImageFileFormat::webp ||
           header.format == ImageFileFormat::jpeg2000 || header.format == ImageFileFormat::heic ||
           header.format == ImageFileFormat::avif || header.format == ImageFileFormat::jpegXl ||
           header.format == ImageFileFormat::photoshop;
}

/// Calls carry(picture, problem) where metadata are to go into a new file, and warns of what has no way into it.
std::string lostMetadataOf(const std::string& source) {
    const OpenedFile file(placeOfInput(source));
    return file.problem().empty() ? lostMetadata(file.source(), readImageHeader(file.source())) : "";
}

template <typename Carry>
void carryMetadata(const FileAccess& access, const ImageOutput& output, const std::string& source, cv::Size size,
                   Carry carry) {
    if (source.empty() || output.strip || !mayHoldMetadata(placeOfInput(source))) {
        return;
    }
    CarriedPicture picture{static_cast<std::uint32_t>(size.width), static_cast<std::uint32_t>(size.height),
                           "darkroom " LIKENESS_VERSION};
    std::string problem;
    try {
        carry(picture, problem);
    } catch (const ModuleProblem& missing) {
        problem = missing.what();
    }
    if (!problem.empty()) {
        access.warn(fmt::format("'{}': the {} of '{}' are not carried over: {}", output.path,
                                problem == noPlaceForIptc ? "IPTC data" : "metadata", source, problem));
    } else if (const std::string lost = lostMetadataOf(source); !lost.empty()) {
        access.warn(fmt::format("'{}': not all metadata of '{}' are carried over: {}", output.path, source, lost));
    }
}

/// Into the bytes of a file.
void carryMetadataInto(std::vector<uchar>& bytes, const FileAccess& access, const ImageOutput& output,
                       const std::string& source, cv::Size size) {
    carryMetadata(access, output, source, size, [&](const CarriedPicture& picture, std::string& problem) {
        const auto carry = reinterpret_cast<CarryMetadataEntry>(moduleEntry("metadata", "likeness_carry_metadata"));
        carry(placeOfInput(source), bytes, picture, problem);
    });
}

/// Into what a format's own writer is asked for.
void carryMetadataInto(EncodingRequest& request, const FileAccess& access, const ImageOutput& output,
                       const std::string& source, cv::Size size) {
    carryMetadata(access, output, source, size, [&](const CarriedPicture& picture, std::string& problem) {
        const auto carried = reinterpret_cast<MetadataForEntry>(moduleEntry("metadata", "likeness_metadata_for"));
        carried(placeOfInput(source), picture, request.exif, request.xmp, problem);
    });
}

/// Tells of metadata for which a format has no place.
void warnOfMetadata(const FileAccess& access, const ImageOutput& output, const std::string& source,
                    const char* format) {
    carryMetadata(access, output, source, {}, [&](const CarriedPicture& /*picture*/, std::string& problem) {
        CameraNotes notes;
        reinterpret_cast<ReadNotesEntry>(moduleEntry("metadata", "likeness_read_notes"))(placeOfInput(source), notes);
        if (notes.exif || notes.xmp || notes.iptc) {
            problem = std::string(format) + " has no place for Exif, XMP and IPTC data; --strip leaves them out unsaid";
        }
    });
}

/// @param profile  what the file says of its colours; null for nothing
/// @param source   file of the photograph that it is made from; empty for none
void encodeAndReplace(const FileAccess& access, const ImageOutput& output, const char* extension, const cv::Mat& image,
                      const std::vector<int>& parameters, const ColorProfile* profile = nullptr,
                      const std::string& source = "") {
    std::vector<uchar> bytes;
    bool encoded = false;
    errno = 0;
    try {
        encoded = encodeImage(extension, image, bytes, parameters);
    } catch (const cv::Exception&) {
        encoded = false;
    } catch (const ModuleProblem& problem) {
        throw Refusal(fmt::format("cannot write '{}': {}", output.path, problem.what()));
    }
    if (const int number = errno; !encoded && (number == EFBIG || number == ENOSPC || number == EDQUOT ||
                                               number == EACCES || number == EROFS || number == ENOENT)) {
        // Some encoders of the image library write a file first.
        throw Refusal(fmt::format("cannot write '{}': its encoder takes a temporary file: {}", output.path,
                                  std::strerror(number)));
    }
    if (!encoded) {
        throw Refusal(fmt::format("cannot write '{}': its format cannot hold an image of {} x {} pixels", output.path,
                                  image.cols, image.rows));
    }
    if (profile != nullptr) {
        tag(output, bytes, *profile);
    }
    carryMetadataInto(bytes, access, output, source, image.size());
    if (!output.mark.empty()) {
        addSpaceMark(bytes, output.mark);
    }
    replaceFile(output.path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::vector<int> jpegParameters(const ImageOutput& output) {
    std::vector<int> parameters{cv::IMWRITE_JPEG_QUALITY, output.quality.value_or(usualQuality)};
    if (!output.subsampling.empty()) {
        parameters.push_back(jpegSubsampling);
        parameters.push_back(std::stoi(output.subsampling));
    }
    return parameters;
}

/// The profile of a picture that is written; null for none.
ColorProfile::Shared profileOf(const ImageOutput& output) {
    if (isLinear(imageFormatOf(output.path))) {
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
    return extension == ".hdr"    ? ImageFormat::hdr
           : extension == ".exr"  ? ImageFormat::exr
           : extension == ".webp" ? ImageFormat::webp
           : extension == ".avif" ? ImageFormat::avif
           : extension == ".jxl"  ? ImageFormat::jxl
                                  : ImageFormat::unknown;
}

bool hasDepth(ImageFormat format, StoredDepth depth) {
    const bool floats = depth == StoredDepth::halves || depth == StoredDepth::floats;
    const bool whole = depth == StoredDepth::bytes || depth == StoredDepth::words;
    switch (format) {
        case ImageFormat::png:
        case ImageFormat::jxl:
            return whole;
        case ImageFormat::avif:
            return !floats && depth != StoredDepth::words;
        case ImageFormat::tiff:
            return whole || depth == StoredDepth::floats;
        case ImageFormat::exr:
            return floats;
        case ImageFormat::hdr:
            return false;
        default:
            return depth == StoredDepth::bytes;
    }
}

bool hasQuality(ImageFormat format) {
    return format == ImageFormat::jpeg || format == ImageFormat::webp || format == ImageFormat::avif ||
           format == ImageFormat::jxl;
}

ImageOutput ImageOutput::at(std::string otherPath, std::string otherOption) const {
    ImageOutput other = *this;
    other.path = std::move(otherPath);
    other.option = std::move(otherOption);
    const ImageFormat format = imageFormatOf(other.path);
    std::error_code error;
    const bool ofFolder = imageFormatOf(path) == ImageFormat::unknown || std::filesystem::is_directory(path, error);
    if (depth && (ofFolder ? !hasDepth(format, *depth) : format != imageFormatOf(path))) {
        other.depth.reset();
    }
    if (format != ImageFormat::png) {
        other.bits.reset();
    }
    if (!hasQuality(format)) {
        other.quality.reset();
    }
    if (format != ImageFormat::jpeg) {
        other.subsampling.clear();
    }
    return other;
}

ImageOutput ImageOutput::followed(const std::string& source) const {
    const ImageFormat format = imageFormatOf(path);
    ImageOutput output = *this;
    const bool follows = hasDepth(format, StoredDepth::floats) || hasDepth(format, StoredDepth::words) ||
                         hasDepth(format, StoredDepth::tenBits);
    if (follows && !depth && !bits && !source.empty()) {
        output.depth = depthFor(format, valuesOf(source));
    }
    return output;
}

StoredDepth ImageOutput::storedDepth() const {
    const ImageFormat format = imageFormatOf(path);
    if (depth) {
        return *depth;
    }
    if (format == ImageFormat::png && bits == 16) {
        return StoredDepth::words;
    }
    return format == ImageFormat::tiff || format == ImageFormat::hdr ? StoredDepth::floats
           : format == ImageFormat::exr                              ? StoredDepth::halves
                                                                     : StoredDepth::bytes;
}

bool holdsFloats(const ImageOutput& output) {
    return imageFormatOf(output.path) == ImageFormat::tiff && output.storedDepth() == StoredDepth::floats;
}

namespace {

/// `image` / `white`, linear.
cv::Mat linearShares(const cv::Mat& image, double white) {
    cv::Mat linear;
    image.convertTo(linear, CV_32F, 1 / white);
    for (int i = 0; i < linear.rows; ++i) {
        auto* const row = linear.ptr<float>(i);
        sRGBInverseCompandingOfRow(row, row,
                                   static_cast<std::size_t>(linear.cols) * static_cast<std::size_t>(linear.channels()));
    }
    return linear;
}

/// Writes by a module of the format's own.
void encodeByModule(const ImageOutput& output, const char* module, const cv::Mat& image, EncodingRequest request,
                    const ColorProfile* profile, std::vector<uchar>& bytes) {
    if (profile != nullptr && !profile->isSrgb()) {
        request.icc = profile->icc();
    }
    cv::Mat bgr = image;
    if (image.channels() == 1) {
        cv::merge(std::vector<cv::Mat>(3, image), bgr);
    }
    std::string problem;
    try {
        const auto encode = reinterpret_cast<WritePhotographEntry>(moduleEntry(module, "likeness_write_photograph"));
        encode(bgr, request, bytes, problem);
    } catch (const ModuleProblem& missing) {
        problem = missing.what();
    }
    if (!problem.empty()) {
        throw Refusal(fmt::format("cannot write '{}': {}", output.path, problem));
    }
}

void replace(const ImageOutput& output, const std::vector<uchar>& bytes) {
    replaceFile(output.path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/// Formats of integers.
/// @return  the scale, in words
std::string writeIntegers(const FileAccess& access, const ImageOutput& output, const cv::Mat& image, double white,
                          const ColorProfile* profile, const std::string& source) {
    const ImageFormat format = imageFormatOf(output.path);
    const int greatest = greatestOf(output.storedDepth());
    const bool wide = greatest > 255;
    const int bits = static_cast<int>(std::lround(std::log2(greatest + 1)));
    std::int64_t clipped = 0;
    const cv::Mat integers =
        wide ? quantized<ushort>(image, white, greatest, clipped) : quantized<uchar>(image, white, greatest, clipped);
    switch (format) {
        case ImageFormat::avif:
        case ImageFormat::jxl: {
            std::vector<uchar> bytes;
            EncodingRequest request;
            request.quality = output.quality.value_or(request.quality);
            request.bits = bits;
            carryMetadataInto(request, access, output, source, image.size());
            encodeByModule(output, format == ImageFormat::avif ? "heif" : "jxl", integers, request, profile, bytes);
            replace(output, bytes);
            break;
        }
        case ImageFormat::webp:
            encodeAndReplace(access, output, ".webp", integers,
                             {cv::IMWRITE_WEBP_QUALITY, output.quality.value_or(usualQuality)}, profile, source);
            break;
        case ImageFormat::tiff:
            encodeAndReplace(access, output, ".tiff", integers, {cv::IMWRITE_TIFF_COMPRESSION, deflateCompression},
                             profile, source);
            break;
        case ImageFormat::png:
            encodeAndReplace(access, output, ".png", integers, {}, profile, source);
            break;
        default:
            encodeAndReplace(access, output, ".jpg", integers, jpegParameters(output), profile, source);
    }
    std::string scale = fmt::format("{} bits, 0..{} stands for 0..{:g}", bits, greatest, white);
    if (clipped > 0) {
        scale += fmt::format("; {} of the values lie outside and are clipped",
                             percentText(clipped, static_cast<double>(image.total()) * image.channels()));
    }
    return scale;
}

void write(const FileAccess& access, const ImageOutput& output, const cv::Mat& image, double white,
           const std::string& what, const ColorProfile* profile, const std::string& source = "") {
    std::string scale;
    const ImageFormat format = imageFormatOf(output.path);
    if (holdsFloats(output)) {
        // Left to itself, the image library packs three floats into the 32 bits of LogLuv, without negative values.
        const int compression = output.depth ? deflateCompression : lzwCompression;
        encodeAndReplace(access, output, ".tiff", image, {cv::IMWRITE_TIFF_COMPRESSION, compression}, profile, source);
        scale = "32-bit float, values as they are";
    } else if (format == ImageFormat::hdr) {
        cv::Mat positive;
        cv::max(image, 0, positive);
        encodeAndReplace(access, output, ".hdr", linearShares(positive, white), {});
        warnOfMetadata(access, output, source, "Radiance");
        scale = fmt::format("Radiance, linear, 0..1 stands for 0..{:g}", white);
    } else if (format == ImageFormat::exr) {
        std::vector<uchar> bytes;
        EncodingRequest request;
        request.half = output.storedDepth() == StoredDepth::halves;
        encodeByModule(output, "openexr", linearShares(image, white), request, nullptr, bytes);
        replace(output, bytes);
        warnOfMetadata(access, output, source, "OpenEXR");
        scale = fmt::format("OpenEXR, {}, linear, 0..1 stands for 0..{:g}",
                            request.half ? "16-bit float" : "32-bit float", white);
    } else {
        scale = writeIntegers(access, output, image, white, profile, source);
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
                     const std::string& what, const std::string& source) {
    const ColorProfile::Shared profile = profileOf(output);
    try {
        const bool other = profile != nullptr && !profile->isSrgb();
        write(access, output.followed(source), other ? profile->fromSrgb(picture) : picture, 1.0, what, profile.get(),
              source);
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
    const StoredDepth depth = output.storedDepth();
    if (isLinear(format) || depth == StoredDepth::floats || format == ImageFormat::unknown) {
        return image;
    }
    std::int64_t clipped = 0;
    const double greatest = greatestOf(depth);
    const bool wide = greatest > 255;
    cv::Mat values;
    (wide ? quantized<ushort>(image, 1.0, greatest, clipped) : quantized<uchar>(image, 1.0, greatest, clipped))
        .convertTo(values, CV_32F, 1 / greatest);
    return values;
}

void writePicture(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                  const std::string& what) {
    const bool png = imageFormatOf(output.path) == ImageFormat::png;
    encodeAndReplace(access, output, png ? ".png" : ".jpg", picture, png ? std::vector<int>() : jpegParameters(output));
    access.tell(describe(output.path, what, picture, "8 bits"));
}

}  // namespace likeness
