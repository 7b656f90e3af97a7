// Colour profiles (ICC.1:2022) and what they make of pixels, with Little CMS. Colours go by relative colorimetric intent
// with black point compensation, in float and unclipped: what sRGB does not have lies outside 0..1.
#pragma once

#include "photofile/color_statement.hpp"

#include <opencv2/core.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// Why bytes are no profile that can be used: follows "its colour profile", as " is cut off".
class ProfileProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A profile of a device or a colour space of R, G, B, or of grey. Immutable; several threads may use one.
class ColorProfile {
public:
    using Shared = std::shared_ptr<const ColorProfile>;

    /// @param icc  a profile of the class input, display, output or colour space; anything may come
    /// @throws ProfileProblem  if it is none, is damaged, or gives values that are no colours
    static Shared ofIcc(std::vector<unsigned char> icc);

    /// @throws ProfileProblem
    static Shared ofColorimetry(const Colorimetry& colorimetry);

    /// One of `profileNames`; null for another name.
    static Shared named(std::string_view name);

    ~ColorProfile();
    ColorProfile(const ColorProfile&) = delete;
    ColorProfile& operator=(const ColorProfile&) = delete;

    /// What the profile calls itself; printable ASCII, at most 80 characters.
    const std::string& description() const noexcept { return description_; }

    /// Whether it is one of grey values.
    bool isGrey() const noexcept { return grey_; }

    /// Whether it takes numbers for what sRGB takes them for, to within half a step of 8 bits: then they stay as they
    /// are.
    bool isSrgb() const noexcept { return srgb_; }

    /// The profile itself, as it stands in a file.
    const std::vector<unsigned char>& icc() const noexcept { return icc_; }

    /// The colours of an image whose numbers are this profile's, in the encoding of sRGB. Of an 8-bit image each colour
    /// is converted once. The same bits for any number of threads.
    ///
    /// @param bgr  CV_8UC3, CV_16UC3 or CV_32FC3 on 0..1, B, G, R; of a grey profile the first channel counts
    /// @return     CV_32FC3, B, G, R; outside 0..1 what sRGB does not have. A pixel with NaN or Inf is NaN
    cv::Mat srgbFrom(const cv::Mat& bgr) const;

    /// The numbers that stand in this profile for colours in the encoding of sRGB.
    ///
    /// @param srgb  CV_32FC3, B, G, R, unclipped
    /// @return      CV_32FC3, B, G, R, unclipped where the profile is one of primaries and curves
    /// @throws ProfileProblem  if no way leads to this profile
    cv::Mat fromSrgb(const cv::Mat& srgb) const;

private:
    struct Engine;

    ColorProfile();

    std::unique_ptr<Engine> engine_;
    std::vector<unsigned char> icc_;
    std::string description_;
    bool grey_ = false;
    bool srgb_ = false;
};

/// The names that `ColorProfile::named` knows: sRGB (IEC 61966-2-1), Display P3 (SMPTE EG 432-1 primaries, D65, the
/// curve of sRGB), Adobe RGB (1998), and ProPhoto, which is ROMM RGB (ISO 22028-2).
inline constexpr std::string_view profileNames[] = {"srgb", "display-p3", "adobe-rgb", "prophoto"};

}  // namespace likeness
