// What the bytes of an image file say of its colours, as they stand there: nothing is decoded or judged.
#pragma once

#include "photofile/image_header.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// Channels of the colours that a file stores, before a decoder makes B, G, R of them.
enum class StoredChannels { unknown, grey, rgb, others };

/// Curve from encoded to linear values: ((a x + b) ^ gamma) from `knee` on, `slope` x below it.
struct EncodingCurve {
    double gamma = 1;
    double a = 1;
    double b = 0;
    double slope = 0;
    double knee = 0;
};

/// That of sRGB, IEC 61966-2-1.
inline constexpr EncodingCurve srgbCurve{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};

/// x and y of the white and of the red, green and blue primary.
using Chromaticities = std::array<double, 8>;

/// IEC 61966-2-1; ITU-R BT.709 has the same.
inline constexpr Chromaticities srgbChromaticities{0.3127, 0.3290, 0.64, 0.33, 0.30, 0.60, 0.15, 0.06};

/// Curves of high dynamic range, ITU-R BT.2100-2: perceptual quantization and hybrid log-gamma.
enum class LightCurve { none, pq, hlg };

/// A space of R, G, B by its primaries and its curve.
struct Colorimetry {
    Chromaticities chromaticities = srgbChromaticities;
    EncodingCurve curve = srgbCurve;  ///< of the light, where it is one of those below
    std::string description;
    LightCurve light = LightCurve::none;
};

/// What was found. At most one of `icc`, `colorimetry` and `problem` is there; none of them where the file says nothing
/// of its colours, or that they are sRGB.
struct ColorStatement {
    StoredChannels channels = StoredChannels::unknown;
    std::vector<unsigned char> icc;          ///< an ICC profile, not looked into
    std::optional<Colorimetry> colorimetry;  ///< in place of a profile
    bool saysSrgb = false;                   ///< whether it says that its colours are sRGB, other than by a profile
    /// Of linear values that are absolute: cd/m2 of R, G and B at 1.
    std::optional<std::array<double, 3>> luminanceOfOne;
    std::string problem;  ///< why what is there cannot be had: follows "its colour profile"; empty if nothing is wrong
    std::string passedOver;  ///< why what comes first cannot be had, where the file says its colours in another way too
    bool exifAdobeRgb = false;  ///< whether the Exif data of a JPEG says Adobe RGB
    bool loneGamma = false;     ///< whether an exponent of 1 / 2.2 without primaries is all that says sRGB
};

/// Most bytes of a profile that is taken out of a file.
inline constexpr std::size_t mostProfileBytes = std::size_t{1} << 24;

/// Looks for it in a JPEG (APP2, ICC.1:2022, B.4), a PNG (cICP, iCCP, sRGB, gAMA and cHRM, in this order of precedence:
/// PNG, third edition, 4.3), a TIFF (tag 34675; WhitePoint and PrimaryChromaticities), and a WebP (ICCP); other formats
/// say nothing here. Whatever the bytes are, a bounded number of them is read.
///
/// @note  What `source` throws passes through.
/// A Radiance file says in its header its primaries (PRIMARIES), and by EXPOSURE and COLORCORR what its values were
/// multiplied by: they are watts per steradian and square metre without it, and 179 lm/W make a luminance of them.
ColorStatement readColorStatement(const ByteSource& source, ImageFileFormat format);

/// What coding-independent code points say (ITU-T H.273): colour primaries and transfer characteristics. Unspecified
/// ones are taken for those of sRGB; what is not read is a problem. PQ tells the luminance of 1, which HLG does not.
ColorStatement statementOfCodePoints(int primaries, int transfer);

/// What the chromaticities of linear values say: nothing where they are those of sRGB; a problem where they span no
/// colours.
void takeLinearChromaticities(const Chromaticities& chromaticities, ColorStatement& statement);

}  // namespace likeness
