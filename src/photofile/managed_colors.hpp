// The colours of photographs as their profiles define them, and the choices that a user has.
#pragma once

#include "photofile/color_profile.hpp"
#include "photofile/part_choice.hpp"
#include "photofile/photograph_reader.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// What is done with the colours of photographs, which picture of a file is taken, and how much of it counts.
struct ProfileChoice {
    ColorProfile::Shared assumed;  ///< of files without a profile; null: sRGB
    bool ignore = false;           ///< every file is taken for one without a profile
    double exposure = 0;           ///< of linear values: they are multiplied by 2 to the power of it
    double whiteLuminance = 0;     ///< in cd/m2, that stands for 1 of files of absolute luminance; 0: 1 is the file's 1
    PhotographSelection selection{};
    PartChoice part{};  ///< what of it counts
};

/// How the colours of a file were taken.
struct ProfileUse {
    enum class Origin {
        none,      ///< as sRGB: the file says so, or says nothing
        embedded,  ///< the file's own
        assumed,   ///< the user's
        ignored,   ///< the file has one, and the user wants it to be ignored
    };

    Origin origin = Origin::none;
    std::string description{};  ///< of the profile; empty where there is none
    std::string problem{};      ///< why the file's own cannot be used: follows "its colour profile"; empty if it can be
    bool fallsBack = false;     ///< whether the file says its colours in another way too, which is taken then
    std::string ignored{};      ///< the file's own profile, where it gives way to an assumed one
    bool otherChannels = false;  ///< whether the file stores CMYK or the like, and the decoder makes R, G, B of it
    bool exifAdobeRgb = false;   ///< whether nothing but Exif data tells of the colours: that they are Adobe RGB
    bool loneGamma = false;      ///< whether nothing but an exponent of 1 / 2.2 says that the colours are sRGB
    bool bareFloats = false;     ///< whether it holds floats, and nothing says whether they are light or encoded
    bool linear = false;         ///< whether the file holds linear values, or light by `light`, which are encoded
    LightCurve light = LightCurve::none;  ///< that the file is encoded by, where it is of high dynamic range
    double exposure = 0;                  ///< of these, in EV
    double luminanceOfOne = 0;            ///< of these, in cd/m2, of R = G = B = 1, where the file says it; else 0
    double whiteLuminance = 0;            ///< in cd/m2, that stands for 1 in its place, where it was asked for

    /// What is to be said of the file: "its colours are converted from its profile 'Display P3'"; empty for nothing.
    std::string remark() const;

    /// What is to be warned of: one sentence; empty for nothing.
    std::string warning() const;

    /// "embedded", "assumed", "ignored" or "none".
    std::string_view originName() const;

private:
    std::string profileRemark() const;
    std::string luminanceRemark() const;
};

/// Converts what has a profile other than sRGB's. A file that says nothing of its colours, or that they are sRGB, is left
/// as it is. A profile that cannot be used, and one that is not for the file's channels, counts as none.
class ManagedColors final : public ColorReading {
public:
    /// @param choice  kept as a reference
    explicit ManagedColors(const ProfileChoice& choice) : choice_(choice) {}

    const PhotographSelection& selection() const noexcept override { return choice_.selection; }
    bool inspect(const ByteSource& source, const ImageHeader& header) override;
    bool take(ColorStatement statement, bool linear, bool floats) override;
    cv::Mat converted(const cv::Mat& stored) override;

    const ProfileUse& use() const noexcept { return use_; }

    /// Takes away what the decoder says of a profile that is used, ignored or told of as a problem.
    void settle(std::vector<std::string>& remarks) const;

private:
    void takeLuminance(const std::optional<std::array<double, 3>>& luminanceOfOne);

    const ProfileChoice& choice_;
    ProfileUse use_;
    ColorProfile::Shared profile_;
    Colorimetry colorimetry_;                ///< of the file, where it tells its colours without a profile
    cv::Scalar scale_ = cv::Scalar::all(1);  ///< of linear B, G, R
};

/// What "embedded" (the files' own profiles count), "ignore", or else what `profileAsked` takes stands for.
/// @throws Refusal
ProfileChoice profileChoiceFor(const std::string& option, const std::string& profile);

/// A profile of R, G, B that the user names: one of `profileNames`, or the path of a profile.
/// @param option  for the refusal
/// @throws Refusal
ColorProfile::Shared profileAsked(const std::string& option, const std::string& nameOrFile);

}  // namespace likeness
