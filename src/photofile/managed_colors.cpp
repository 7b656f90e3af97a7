#include "photofile/managed_colors.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include "files/refusal.hpp"
#include "photofile/display_light.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <system_error>
#include <utility>

namespace likeness {
namespace {

/// The profiles that were met last: the photographs of one camera share one.
class MetProfiles {
public:
    /// @throws ProfileProblem
    ColorProfile::Shared get(std::vector<unsigned char> icc) {
        {
            const std::scoped_lock lock(mutex_);
            const auto found =
                std::find_if(met_.begin(), met_.end(), [&icc](const Met& met) { return met.icc == icc; });
            if (found != met_.end()) {
                return found->profile;
            }
        }
        ColorProfile::Shared profile = ColorProfile::ofIcc(icc);
        constexpr std::size_t most = 8;
        const std::scoped_lock lock(mutex_);
        if (met_.size() == most) {
            met_.erase(met_.begin());
        }
        met_.push_back({std::move(icc), profile});
        return profile;
    }

private:
    struct Met {
        std::vector<unsigned char> icc;
        ColorProfile::Shared profile;
    };

    std::mutex mutex_;
    std::vector<Met> met_;
};

MetProfiles& metProfiles() {
    static MetProfiles met;
    return met;
}

/// Linear values, encoded by the curve of sRGB.
cv::Mat encoded(const cv::Mat& linear) {
    cv::Mat result(linear.size(), linear.type());
    for (int i = 0; i < linear.rows; ++i) {
        sRGBCompandingOfRow(linear.ptr<float>(i), result.ptr<float>(i), 3 * static_cast<std::size_t>(linear.cols));
    }
    return result;
}

/// @return  null where the file says nothing, or that its colours are sRGB
/// @throws ProfileProblem
ColorProfile::Shared embeddedProfile(ColorStatement statement) {
    if (!statement.problem.empty()) {
        throw ProfileProblem(statement.problem);
    }
    ColorProfile::Shared profile;
    if (!statement.icc.empty()) {
        profile = metProfiles().get(std::move(statement.icc));
    } else if (statement.colorimetry) {
        profile = ColorProfile::ofColorimetry(*statement.colorimetry);
    }
    if (profile == nullptr || profile->isSrgb()) {
        return nullptr;
    }
    if (statement.channels == StoredChannels::others) {
        throw ProfileProblem(" '" + profile->description() + "' is not for the channels of the file");
    }
    if (profile->isGrey() && statement.channels == StoredChannels::rgb) {
        throw ProfileProblem(" '" + profile->description() + "' is one of grey, and the file has colours");
    }
    return profile;
}

}  // namespace

std::string ProfileUse::remark() const {
    if (!linear) {
        return profileRemark();
    }
    const std::string colors = profileRemark();
    return fmt::format("its {} encoded for sRGB at an exposure of {} EV{}{}{}",
                       light == LightCurve::none ? "linear values are" : "light of high dynamic range is",
                       exposure == 0 ? "0" : fmt::format("{:+g}", exposure), luminanceRemark(),
                       colors.empty() ? "" : "; ", colors);
}

std::string ProfileUse::luminanceRemark() const {
    if (light == LightCurve::pq) {
        return fmt::format("; {:.6g} cd/m2 is taken for white", whiteLuminance > 0 ? whiteLuminance : luminanceOfOne);
    }
    if (light == LightCurve::hlg) {
        const std::string white = whiteLuminance > 0 ? fmt::format(" of {:.6g} cd/m2", whiteLuminance) : "";
        return "; its reference white, three quarters of the signal, is taken for white" + white;
    }
    if (luminanceOfOne > 0) {
        return whiteLuminance > 0
                   ? fmt::format("; it says that its 1 is {:.6g} cd/m2, and {:.6g} cd/m2 is taken for white",
                                 luminanceOfOne, whiteLuminance)
                   : fmt::format("; it says that its 1 is {:.6g} cd/m2, and that is taken for white", luminanceOfOne);
    }
    return whiteLuminance > 0
               ? fmt::format("; it says no luminance, and its 1 is taken for the white of {:.6g} cd/m2", whiteLuminance)
               : "";
}

std::string ProfileUse::profileRemark() const {
    switch (origin) {
        case Origin::embedded:
            return "its colours are converted from its profile '" + description + "'";
        case Origin::assumed:
            return "its colours are converted from '" + description + "', which is assumed" +
                   (ignored.empty() ? "" : "; its profile '" + ignored + "' is ignored");
        case Origin::ignored:
            return "its profile '" + description + "' is ignored";
        case Origin::none:
            break;
    }
    if (bareFloats) {
        return "it does not say whether its floats are light, and they are taken for encoded as sRGB is; "
               "--assume-profile says what they are";
    }
    return loneGamma ? "its chunk gAMA alone tells an exponent of 1/2.2, which is taken for the curve of sRGB" : "";
}

std::string ProfileUse::warning() const {
    if (!problem.empty()) {
        return "its colour profile" + problem +
               (fallsBack ? ": what else the file says of its colours is taken"
                          : ": it is taken for a file without one");
    }
    return otherChannels  ? "its colours are not stored as R, G, B or grey, but as CMYK or the like: the decoder's "
                            "conversion is taken, which knows no profile"
           : exifAdobeRgb ? "its Exif data alone says that its colours are Adobe RGB, and they are taken for sRGB; "
                            "--assume-profile adobe-rgb takes them for what they are"
                          : "";
}

std::string_view ProfileUse::originName() const {
    switch (origin) {
        case Origin::embedded:
            return "embedded";
        case Origin::assumed:
            return "assumed";
        case Origin::ignored:
            return "ignored";
        case Origin::none:
            break;
    }
    return "none";
}

bool ManagedColors::inspect(const ByteSource& source, const ImageHeader& header) {
    return take(readColorStatement(source, header.format), header.isLinear(), header.floats);
}

bool ManagedColors::take(ColorStatement statement, bool linear, bool floats) {
    use_ = {};
    profile_ = nullptr;
    colorimetry_ = statement.colorimetry.value_or(Colorimetry());
    const std::optional<std::array<double, 3>> luminanceOfOne = statement.luminanceOfOne;
    const bool saysNothing =
        statement.icc.empty() && !statement.colorimetry && statement.problem.empty() && !statement.saysSrgb;
    use_.otherChannels = statement.channels == StoredChannels::others;
    use_.problem = statement.passedOver;
    use_.fallsBack = !statement.passedOver.empty();
    const bool exifAdobeRgb = statement.exifAdobeRgb && saysNothing && !choice_.ignore;
    use_.loneGamma = statement.loneGamma && !choice_.ignore;
    try {
        profile_ = embeddedProfile(std::move(statement));
    } catch (const ProfileProblem& problem) {
        use_.problem = problem.what();
        use_.fallsBack = false;
    }
    if (profile_ != nullptr) {
        use_.description = profile_->description();
        use_.origin = choice_.ignore ? ProfileUse::Origin::ignored : ProfileUse::Origin::embedded;
    }
    if (choice_.ignore) {
        profile_ = nullptr;
        use_.problem.clear();
        use_.fallsBack = false;
    }
    use_.light = profile_ != nullptr ? colorimetry_.light : LightCurve::none;
    use_.linear = linear || use_.light != LightCurve::none;
    use_.exposure = use_.linear ? choice_.exposure : 0;
    takeLuminance(luminanceOfOne);
    const bool hasNone = saysNothing || (!use_.problem.empty() && !use_.fallsBack) || choice_.ignore;
    if (hasNone && !linear && choice_.assumed != nullptr && !choice_.assumed->isSrgb()) {
        profile_ = choice_.assumed;
        use_.ignored = use_.description;
        use_.description = profile_->description();
        use_.origin = ProfileUse::Origin::assumed;
    }
    use_.exifAdobeRgb = exifAdobeRgb && choice_.assumed == nullptr;
    use_.bareFloats = floats && !linear && saysNothing && !choice_.ignore && choice_.assumed == nullptr;
    return profile_ != nullptr || linear;
}

void ManagedColors::takeLuminance(const std::optional<std::array<double, 3>>& luminanceOfOne) {
    scale_ = cv::Scalar::all(1);
    if (!use_.linear) {
        return;
    }
    use_.whiteLuminance = choice_.whiteLuminance;
    if (luminanceOfOne) {
        const auto& [red, green, blue] = *luminanceOfOne;
        const cv::Vec3d luminances(0.2126, 0.7152, 0.0722);  // of linear R, G, B; IEC 61966-2-1
        use_.luminanceOfOne = red == green && green == blue ? red : luminances.dot(cv::Vec3d(red, green, blue));
        if (choice_.whiteLuminance > 0) {
            scale_ = cv::Scalar(blue, green, red) / choice_.whiteLuminance;
        }
    }
}

cv::Mat ManagedColors::converted(const cv::Mat& stored) {
    if (!use_.linear) {
        return profile_->srgbFrom(stored);
    }
    cv::Mat linear =
        use_.light == LightCurve::none ? toUnit(stored) : displayLight(stored, use_.light, colorimetry_.chromaticities);
    if (scale_ != cv::Scalar::all(1)) {
        cv::Mat scaled;
        cv::multiply(linear, scale_, scaled);
        linear = scaled;
    }
    if (use_.exposure != 0) {
        linear = linear * std::exp2(use_.exposure);
    }
    return profile_ != nullptr ? profile_->srgbFrom(linear) : encoded(linear);
}

void ManagedColors::settle(std::vector<std::string>& remarks) const {
    if (choice_.ignore || use_.origin != ProfileUse::Origin::none || !use_.problem.empty()) {
        const auto ofProfile = [](const std::string& remark) {
            constexpr std::string_view chunks[] = {"iCCP", "cICP", "sRGB", "gAMA", "cHRM"};
            return std::any_of(std::begin(chunks), std::end(chunks), [&remark](std::string_view chunk) {
                return remark.rfind(fmt::format("libpng warning: {}:", chunk), 0) == 0;
            });
        };
        remarks.erase(std::remove_if(remarks.begin(), remarks.end(), ofProfile), remarks.end());
    }
}

ProfileChoice profileChoiceFor(const std::string& option, const std::string& profile) {
    ProfileChoice choice;
    if (profile == "ignore") {
        choice.ignore = true;
    } else if (profile != "embedded") {
        choice.assumed = profileAsked(option, profile);
    }
    return choice;
}

ColorProfile::Shared profileAsked(const std::string& option, const std::string& nameOrFile) {
    if (ColorProfile::Shared named = ColorProfile::named(nameOrFile); named != nullptr) {
        return named;
    }
    const auto refuse = [&](const std::string& why) {
        throw Refusal(fmt::format("{}: '{}' {}; take the file of an ICC profile, or one of {}", option, nameOrFile, why,
                                  fmt::join(profileNames, ", ")));
    };
    std::error_code error;
    if (std::filesystem::exists(nameOrFile, error) && !std::filesystem::is_regular_file(nameOrFile, error)) {
        refuse("is not a regular file");
    }
    errno = 0;
    std::ifstream file(nameOrFile, std::ios::binary);
    if (!file) {
        refuse(std::string("cannot be read: ") + std::strerror(errno == 0 ? EIO : errno));
    }
    std::vector<unsigned char> icc(mostProfileBytes + 1);
    file.read(reinterpret_cast<char*>(icc.data()), static_cast<std::streamsize>(icc.size()));
    icc.resize(static_cast<std::size_t>(file.gcount()));
    if (icc.size() > mostProfileBytes) {
        refuse("is larger than 16 MiB");
    }
    ColorProfile::Shared profile;
    try {
        profile = ColorProfile::ofIcc(std::move(icc));
    } catch (const ProfileProblem& problem) {
        refuse(std::string("cannot be used: the profile") + problem.what());
    }
    if (profile->isGrey()) {
        refuse("is the profile of a grey device");
    }
    return profile;
}

}  // namespace likeness
