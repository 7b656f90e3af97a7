// Writing of image files: one format by extension, as a whole, with the scale stated.
#pragma once

#include "files/file_access.hpp"

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace likeness {

enum class ImageFormat { png, jpeg, tiff, hdr, exr, webp, avif, jxl, unknown };

/// The format that the extension of a file name stands for.
ImageFormat imageFormatOf(const std::string& path);

/// Quality of a JPEG where none is asked for.
inline constexpr int usualQuality = 95;

/// The quality by which a WebP is written without loss.
inline constexpr int losslessWebp = 101;

/// How many bits a channel has in a file.
enum class StoredDepth { bytes, tenBits, twelveBits, words, halves, floats };

/// Where and how a result image is written.
struct ImageOutput {
    std::string path;
    std::optional<int> quality{};     ///< of JPEG, 0..100; `usualQuality` where it is not given; of WebP, AVIF, JPEG XL
    std::optional<int> bits{};        ///< of PNG, 8 or 16
    std::string option = "--output";  ///< the option that gave the path, for refusals
    std::string profile{};            ///< of a picture: a name or a file (`profileAsked`); empty: sRGB
    std::string mark{};               ///< a text for `space_mark.hpp`; empty: none
    bool strip = false;               ///< whether the metadata of the photograph that it is made from are left out
    std::string subsampling{};        ///< of JPEG: "444", "422" or "420"; empty: 420, the image library's own choice

    std::optional<StoredDepth> depth{};  ///< where the format leaves a choice; comes before `bits`

    /// The same with the depth of a photograph where nobody asked for one: PNG and JPEG XL get 16 bits of a photograph
    /// with more than 8, AVIF 10 of one with 9 or 10 and 12 of one with more; TIFF gets 8 bits of one with up to 8, 16
    /// of one with up to 16, and floats of the others; OpenEXR gets floats of more than 16 bits.
    ImageOutput followed(const std::string& source) const;

    /// The depth of the file: what was asked for; else 8 bits, floats of TIFF, halves of OpenEXR.
    StoredDepth storedDepth() const;

    /// A second result with the same settings, as far as its format has them, under the path that `otherOption` gave.
    /// The depth is that of results of the own format; where the own path is a folder's or empty, of every result whose
    /// format has it.
    ImageOutput at(std::string otherPath, std::string otherOption) const;
};

/// Whether files of a format are written with a depth.
bool hasDepth(ImageFormat format, StoredDepth depth);

/// Whether files of a format are written with a quality.
bool hasQuality(ImageFormat format);

/// Whether the file keeps floats as they are (.tif and .tiff, unless another depth is asked for).
bool holdsFloats(const ImageOutput& output);

/// Writes an image in the format of its extension and tells what was written, with the scale:
/// .png with 8 or 16 bits and .jpg/.jpeg hold `image` / `white`, clipped to [0, 1], rounded to the nearest integer of
/// 0..255 or 0..65535 (NaN as 0); .hdr holds the linear values of `image` / `white`, which are gamma-encoded by the
/// curve of sRGB, negative values and NaN as 0; .exr holds them too, negative ones as they are; .tif/.tiff holds the
/// floats as they are, or integers where `depth` asks for them; .webp, .avif (8 bits) and .jxl hold integers.
///
/// @param image  CV_32F of one or three channels, B, G, R
/// @param white  value that the integer formats show as their greatest
/// @param what   what the picture shows, for the line that tells
/// @throws Refusal
void writeImage(const FileAccess& access, const ImageOutput& output, const cv::Mat& image, double white = 1.0,
                const std::string& what = "");

/// Writes a picture, whose colours are in the encoding of sRGB, as `writeImage` does, with its profile: that of
/// `output.profile`, to which the colours are converted before anything is clipped, or sRGB. A Radiance file has no
/// profile.
///
/// The Exif, XMP and IPTC data of the photograph that it is made from are carried into JPEG, PNG, TIFF, WebP, AVIF and
/// JPEG XL files (modules/metadata.hpp; IPTC not into the last two), unless `output.strip` is set; where they cannot
/// be, a warning tells why.
///
/// @param picture  CV_32FC3, B, G, R
/// @param source   file of that photograph; empty for none
/// @throws Refusal  also where the profile cannot be had, or no way leads to it
void writePhotograph(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                     const std::string& what = "", const std::string& source = "");

/// What `writePhotograph` leaves of a picture, in the encoding of sRGB: clipped and rounded where the format has
/// integers. The losses of JPEG are not in it.
/// @return  CV_32FC3; may be `picture`
cv::Mat pictureAsStored(const ImageOutput& output, const cv::Mat& picture);

/// What `writeImage` leaves of an image on the scale 0..1: clipped and rounded where the format has integers. The
/// losses of JPEG are not in it.
/// @return  CV_32F; may be `image`
cv::Mat asStored(const ImageOutput& output, const cv::Mat& image);

/// Writes an 8-bit picture (CV_8U of one or three channels) as .png or .jpg.
void writePicture(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                  const std::string& what = "");

}  // namespace likeness
