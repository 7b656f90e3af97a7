// Writing of image files: one format by extension, as a whole, with the scale stated.
#pragma once

#include "files/file_access.hpp"

#include <opencv2/core.hpp>

#include <optional>
#include <string>

namespace likeness {

enum class ImageFormat { png, jpeg, tiff, hdr, unknown };

/// The format that the extension of a file name stands for.
ImageFormat imageFormatOf(const std::string& path);

/// Quality of a JPEG where none is asked for.
inline constexpr int usualQuality = 95;

/// Where and how a result image is written.
struct ImageOutput {
    std::string path;
    std::optional<int> quality{};     ///< of JPEG, 0..100; `usualQuality` where it is not given
    int bits = 8;                     ///< of PNG, 8 or 16
    std::string option = "--output";  ///< the option that gave the path, for refusals
    std::string profile{};            ///< of a picture: a name or a file (`profileAsked`); empty: sRGB
    std::string mark{};               ///< a text for `space_mark.hpp`; empty: none

    /// A second result with the same settings, as far as its format has them, under the path that `otherOption` gave.
    ImageOutput at(std::string otherPath, std::string otherOption) const;
};

/// Whether the format keeps floats as they are (.tif, .tiff).
bool holdsFloats(const ImageOutput& output);

/// Writes an image in the format of its extension and tells what was written, with the scale:
/// .png with 8 or 16 bits and .jpg/.jpeg hold `image` / `white`, clipped to [0, 1], rounded to the nearest integer of
/// 0..255 or 0..65535 (NaN as 0); .hdr holds the linear values of `image` / `white`, which are gamma-encoded by the
/// curve of sRGB, negative values and NaN as 0; .tif/.tiff holds the floats as they are.
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
/// @param picture  CV_32FC3, B, G, R
/// @throws Refusal  also where the profile cannot be had, or no way leads to it
void writePhotograph(const FileAccess& access, const ImageOutput& output, const cv::Mat& picture,
                     const std::string& what = "");

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
