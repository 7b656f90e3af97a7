/// @file
/// Entry of the modules that read photographs: `heif`, `jxl`, `openexr`, `raw`, `tiff`, `gif`, each with the library of
/// its formats behind it.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// What is wanted of a file.
struct PhotographRequest {
    std::string path;
    std::uint64_t mostPixels = 0;  ///< more are a problem, found before anything is decoded
    int page = 1;                  ///< of a file with several pictures, from 1 on
    std::string layer{};           ///< of OpenEXR: name of a part or a layer; empty: the first with colours
    bool preview = false;          ///< of a camera's raw file: the embedded preview in place of the photograph
    bool headerOnly = false;       ///< what the file says of itself; nothing is decoded
    bool alpha = false;            ///< its alpha channel in place of the photograph; nothing where it has none
};

/// What a file holds. What it does not say is 0, empty or without a value.
struct PhotographContent {
    /// CV_8U, CV_16U or CV_32F of one channel, or three in the order B, G, R; upright; integers use their whole range;
    /// empty if only the header was wanted, or there is a problem. How opaque each pixel is, of one channel, if that was
    /// wanted.
    cv::Mat pixels;
    std::vector<unsigned char> encoded;  ///< in place of pixels: the bytes of a JPEG
    bool asStored = false;  ///< whether these are to be turned as `orientation` says, unless they say it themselves
    std::string problem;    ///< why it cannot be read; empty if it can be
    std::vector<std::string> remarks;  ///< what the user should know of how it was read

    std::string codec;
    std::uint64_t width = 0;  ///< as it is seen, in pixels
    std::uint64_t height = 0;
    int bits = 0;         ///< of a channel
    bool floats = false;  ///< whether the values are floating-point numbers
    bool linear = false;  ///< whether the values are proportional to light
    int channels = 0;     ///< with alpha
    bool alpha = false;
    bool multiplied = false;  ///< whether the colours are multiplied by alpha, where no remark says so
    bool placed = false;      ///< whether it is a part of a larger picture, and the file tells where
    bool opaque = false;      ///< whether every pixel is known to be opaque, once it is decoded
    int orientation = 0;      ///< 1 to 8, as in Exif data, before it is made upright
    int pages = 1;
    std::vector<std::string> layers;  ///< names that `PhotographRequest::layer` takes

    std::vector<unsigned char> icc;                ///< an ICC profile, not looked into
    std::optional<std::array<int, 2>> codePoints;  ///< primaries and transfer characteristics, ITU-T H.273
    double luminanceOfOne = 0;                     ///< in cd/m2, of linear R = G = B = 1, where the values are absolute
    std::optional<std::array<double, 8>> chromaticities;  ///< x and y of white, red, green, blue
};

/// `likeness_read_photograph`. It throws only what shortage of memory throws.
using ReadPhotographEntry = void (*)(const PhotographRequest& request, PhotographContent& content);

/// The sentence about a picture of too many pixels, the same everywhere.
inline std::string tooManyPixels(std::uint64_t width, std::uint64_t height, std::uint64_t mostPixels) {
    return "it is " + std::to_string(width) + " x " + std::to_string(height) +
           " pixels, and the limit (--max-pixels) is " + std::to_string(mostPixels) + " in all";
}

/// Puts an alpha channel into the content. Where something is transparent, colours that are multiplied by it are no
/// photograph that it could weigh or lay over a colour: that is a problem.
inline void takeAlpha(const cv::Mat& alpha, bool multiplied, PhotographContent& content) {
    const double opaque = alpha.depth() == CV_8U ? 255 : alpha.depth() == CV_16U ? 65535 : 1;
    if (multiplied && cv::countNonZero(alpha >= opaque) < static_cast<int>(alpha.total())) {
        content.problem = "its colours are multiplied by its alpha channel";
        return;
    }
    content.pixels = alpha;
}

/// Whether so many pixels are more than allowed; false of a size that is not known.
inline bool exceeds(std::uint64_t width, std::uint64_t height, std::uint64_t mostPixels) noexcept {
    return width != 0 && height > mostPixels / width;
}

}  // namespace likeness
