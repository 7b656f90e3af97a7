#include "photofile/color_profile.hpp"

#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace likeness {
namespace {

using Bytes = std::vector<unsigned char>;

struct ContextEnd {
    void operator()(cmsContext context) const { ::cmsDeleteContext(context); }
};
struct ProfileEnd {
    void operator()(cmsHPROFILE profile) const { ::cmsCloseProfile(profile); }
};
struct TransformEnd {
    void operator()(cmsHTRANSFORM transform) const { ::cmsDeleteTransform(transform); }
};
struct CurveEnd {
    void operator()(cmsToneCurve* curve) const { ::cmsFreeToneCurve(curve); }
};
struct TextEnd {
    void operator()(cmsMLU* text) const { ::cmsMLUfree(text); }
};
using Context = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextEnd>;
using Profile = std::unique_ptr<void, ProfileEnd>;
using Transform = std::unique_ptr<void, TransformEnd>;
using Curve = std::unique_ptr<cmsToneCurve, CurveEnd>;
using Text = std::unique_ptr<cmsMLU, TextEnd>;

constexpr cmsUInt32Number intent = INTENT_RELATIVE_COLORIMETRIC;
// Nothing that costs precision, and nothing that two threads would share.
constexpr cmsUInt32Number flags = cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE;

/// The library tells what it does not like, and prints nothing; that a call failed says enough.
void dropMessage(cmsContext /*context*/, cmsUInt32Number /*code*/, const char* /*text*/) {}

/// Every profile has a context of its own: nothing of the library's is shared between threads.
Context newContext() {
    Context context(::cmsCreateContext(nullptr, nullptr));
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    ::cmsSetLogErrorHandlerTHR(context.get(), dropMessage);
    return context;
}

cmsToneCurve* builtCurve(cmsContext context, const EncodingCurve& curve) {
    const double parameters[] = {curve.gamma, curve.a, curve.b, curve.slope, curve.knee};
    const bool pure = curve.a == 1 && curve.b == 0 && curve.knee == 0;
    return ::cmsBuildParametricToneCurve(context, pure ? 1 : 4, parameters);
}

Profile profileOf(cmsContext context, const Chromaticities& c, const EncodingCurve& curve) {
    const cmsCIExyY white{c[0], c[1], 1};
    const cmsCIExyYTRIPLE primaries{{c[2], c[3], 1}, {c[4], c[5], 1}, {c[6], c[7], 1}};
    const Curve one(builtCurve(context, curve));
    if (one == nullptr) {
        return nullptr;
    }
    cmsToneCurve* const curves[] = {one.get(), one.get(), one.get()};
    return Profile(::cmsCreateRGBProfileTHR(context, &white, &primaries, curves));
}

/// As a file would hold it; the same bytes at any time.
Bytes bytesOf(cmsContext context, cmsHPROFILE profile, const std::string& description) {
    const Text text(::cmsMLUalloc(context, 1));
    cmsUInt32Number size = 0;
    if (text == nullptr || !::cmsMLUsetASCII(text.get(), "en", "US", description.c_str()) ||
        !::cmsWriteTag(profile, cmsSigProfileDescriptionTag, text.get()) ||
        !::cmsSaveProfileToMem(profile, nullptr, &size)) {
        return {};
    }
    Bytes bytes(size);
    if (!::cmsSaveProfileToMem(profile, bytes.data(), &size)) {
        return {};
    }
    // The date of making: years, months, days, hours, minutes, seconds as 16-bit numbers.
    constexpr unsigned char date[12] = {0x07, 0xD0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
    std::copy(std::begin(date), std::end(date), bytes.begin() + 24);
    return bytes;
}

std::uint32_t bigNumber(const Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        value = value << 8 | bytes[at + k];
    }
    return value;
}

/// What the header must say before the library is asked: ICC.1:2022, 7.2.
void checkHeader(const Bytes& icc) {
    constexpr std::size_t headerSize = 128;
    if (icc.size() < headerSize + 4) {
        throw ProfileProblem(" is cut off");
    }
    if (std::memcmp(icc.data() + 36, "acsp", 4) != 0) {
        throw ProfileProblem(" is no ICC profile");
    }
    if (bigNumber(icc, 0) > icc.size()) {
        throw ProfileProblem(" is cut off");
    }
    constexpr std::uint32_t mostTags = 100;
    const std::uint32_t tags = bigNumber(icc, headerSize);
    if (tags > mostTags || headerSize + 4 + 12 * std::size_t{tags} > icc.size()) {
        throw ProfileProblem(" is malformed");
    }
}

std::string descriptionOf(cmsHPROFILE profile) {
    constexpr std::size_t longest = 80;
    std::array<char, 256> text{};
    ::cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", text.data(), text.size() - 1);
    std::string description = text.data();
    description.resize(std::min(description.size(), longest));
    std::replace_if(
        description.begin(), description.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    const std::size_t end = description.find_last_not_of(' ');
    description.resize(end == std::string::npos ? 0 : end + 1);
    return description.empty() ? "without a name" : description;
}

bool isDevice(std::uint32_t kind) {
    return kind == cmsSigInputClass || kind == cmsSigDisplayClass || kind == cmsSigOutputClass ||
           kind == cmsSigColorSpaceClass;
}

bool isFinite(const float* pixel) {
    return std::isfinite(pixel[0]) && std::isfinite(pixel[1]) && std::isfinite(pixel[2]);
}

/// Pixels that a transform is asked for at once.
constexpr std::size_t blockSize = 4096;

/// Calls `convert` with blocks of both images' pixels, on threads.
template <typename Convert>
cv::Mat convertedByBlocks(const cv::Mat& image, Convert convert) {
    const cv::Mat in = image.isContinuous() ? image : image.clone();
    cv::Mat out(in.size(), CV_32FC3);
    const std::size_t blocks = (in.total() + blockSize - 1) / blockSize;
    cv::parallel_for_(cv::Range(0, static_cast<int>(blocks)), [&](const cv::Range& range) {
        for (int block = range.start; block < range.end; ++block) {
            const std::size_t first = static_cast<std::size_t>(block) * blockSize;
            const std::size_t count = std::min(blockSize, in.total() - first);
            const float* const from = in.ptr<float>(0) + 3 * first;
            float* const to = out.ptr<float>(0) + 3 * first;
            convert(from, to, count);
            for (std::size_t k = 0; k < 3 * count; k += 3) {
                if (!isFinite(from + k)) {
                    std::fill_n(to + k, 3, std::numeric_limits<float>::quiet_NaN());
                }
            }
        }
    });
    return out;
}

/// The colours of an image, each once, and which of them each pixel has.
struct IndexedColors {
    cv::Mat bgr;      ///< 1 x K, CV_8UC3
    cv::Mat indices;  ///< CV_32S
};

IndexedColors indexedColors(const cv::Mat& image) {
    // 64 MiB of address space, of which a photograph touches a part; an entry is 1 more than an index.
    struct Free {
        void operator()(std::uint32_t* table) const { std::free(table); }
    };
    const std::unique_ptr<std::uint32_t[], Free> table(
        static_cast<std::uint32_t*>(std::calloc(std::size_t{1} << 24, sizeof(std::uint32_t))));
    if (table == nullptr) {
        throw std::bad_alloc();
    }
    IndexedColors result;
    result.indices.create(image.size(), CV_32S);
    std::vector<cv::Vec3b> colors;
    for (int i = 0; i < image.rows; ++i) {
        const auto* const pixel = image.ptr<cv::Vec3b>(i);
        auto* const index = result.indices.ptr<int>(i);
        for (int j = 0; j < image.cols; ++j) {
            std::uint32_t& entry =
                table[static_cast<std::uint32_t>(pixel[j][0] | pixel[j][1] << 8 | pixel[j][2] << 16)];
            if (entry == 0) {
                colors.push_back(pixel[j]);
                entry = static_cast<std::uint32_t>(colors.size());
            }
            index[j] = static_cast<int>(entry - 1);
        }
    }
    result.bgr = cv::Mat(1, static_cast<int>(colors.size()), CV_8UC3, colors.data()).clone();
    return result;
}

cv::Mat expanded(const cv::Mat& perColor, const cv::Mat& indices) {
    cv::Mat image(indices.size(), CV_32FC3);
    const auto* const colors = perColor.ptr<cv::Vec3f>(0);
    for (int i = 0; i < indices.rows; ++i) {
        const int* const index = indices.ptr<int>(i);
        auto* const pixel = image.ptr<cv::Vec3f>(i);
        for (int j = 0; j < indices.cols; ++j) {
            pixel[j] = colors[index[j]];
        }
    }
    return image;
}

/// Colours that tell whether a profile is that of sRGB: ramps of each channel and of grey in all 8-bit steps, and a
/// grid of 9 x 9 x 9.
cv::Mat probes() {
    constexpr int steps = 9;
    cv::Mat all(1, 4 * 256 + steps * steps * steps, CV_32FC3, cv::Scalar::all(0));
    auto* probe = all.ptr<cv::Vec3f>(0);
    for (int ramp = 0; ramp < 4; ++ramp) {
        for (int k = 0; k < 256; ++k, ++probe) {
            for (int c = 0; c < 3; ++c) {
                (*probe)[c] = ramp == 3 || ramp == c ? static_cast<float>(k / 255.0) : 0.0F;
            }
        }
    }
    for (int k = 0; k < steps * steps * steps; ++k, ++probe) {
        const int third = k / (steps * steps);
        *probe =
            cv::Vec3f(static_cast<float>(k % steps), static_cast<float>(k / steps % steps), static_cast<float>(third)) /
            static_cast<float>(steps - 1);
    }
    return all;
}

/// Why a profile tells no colours apart, from what it makes of `probes`; empty if it does.
std::string degeneracyOf(const cv::Mat& given, bool grey) {
    const auto* const colors = given.ptr<cv::Vec3f>(0);
    const auto linearOf = [colors](int probe) {
        cv::Vec3d linear;
        for (int c = 0; c < 3; ++c) {
            linear[c] = sRGBLinearOf(double{colors[probe][c]});
        }
        return linear;
    };
    constexpr int ofGrey = 3;
    for (int ramp = grey ? ofGrey : 0; ramp <= ofGrey; ++ramp) {
        const cv::Vec3f* const levels = colors + std::ptrdiff_t{256} * ramp;
        const auto between = [levels](int from, int to) { return cv::norm(levels[to] - levels[from]); };
        constexpr double least = 0.002;  // half a step of 8 bits
        if (!(between(0, 255) > least)) {
            return " gives one colour for every value of a channel";
        }
        if (!(between(0, 128) > least / 2 && between(128, 255) > least / 2)) {
            return " has a curve that is no curve but a step";
        }
    }
    if (grey) {
        return "";
    }
    // Volume of the linear primaries beside that of perpendicular ones: 1 for sRGB, 0 for primaries on one line.
    const cv::Vec3d black = linearOf(0);
    const cv::Vec3d blue = linearOf(255) - black;
    const cv::Vec3d green = linearOf(256 + 255) - black;
    const cv::Vec3d red = linearOf(512 + 255) - black;
    const double volume = std::abs(red.dot(green.cross(blue))) / (cv::norm(red) * cv::norm(green) * cv::norm(blue));
    constexpr double leastVolume = 1e-3;
    return volume > leastVolume ? "" : " has primaries that span no colours";
}

}  // namespace

struct ColorProfile::Engine {
    Context context = newContext();
    Profile profile;
    Profile linearSrgb;
    Transform toLinearSrgb;

    /// @return  null if no way leads there
    Transform transformTo(cmsHPROFILE target) const {
        return Transform(::cmsCreateTransformTHR(context.get(), linearSrgb.get(), TYPE_BGR_FLT, target, TYPE_BGR_FLT,
                                                 intent, flags));
    }
};

ColorProfile::ColorProfile() : engine_(std::make_unique<Engine>()) {}

ColorProfile::~ColorProfile() = default;

ColorProfile::Shared ColorProfile::ofIcc(std::vector<unsigned char> icc) {
    checkHeader(icc);
    // What stands behind the profile is not part of it.
    icc.resize(bigNumber(icc, 0) >= 132 ? bigNumber(icc, 0) : icc.size());
    const std::shared_ptr<ColorProfile> result(new ColorProfile);
    Engine& engine = *result->engine_;
    engine.profile.reset(
        ::cmsOpenProfileFromMemTHR(engine.context.get(), icc.data(), static_cast<cmsUInt32Number>(icc.size())));
    if (engine.profile == nullptr) {
        throw ProfileProblem(" is malformed");
    }
    result->description_ = descriptionOf(engine.profile.get());
    const std::string name = " '" + result->description_ + "'";
    // Any number may stand in the header: they are not taken for values of the library's enumerations.
    if (!isDevice(bigNumber(icc, 12))) {
        throw ProfileProblem(name + " is not one of a device or a colour space");
    }
    const std::uint32_t space = bigNumber(icc, 16);
    if (space != cmsSigRgbData && space != cmsSigGrayData) {
        throw ProfileProblem(name + (space == cmsSigCmykData ? " is one of CMYK" : " is not one of R, G, B or grey"));
    }
    result->grey_ = space == cmsSigGrayData;
    engine.linearSrgb = profileOf(engine.context.get(), srgbChromaticities, {1});
    engine.toLinearSrgb.reset(::cmsCreateTransformTHR(engine.context.get(), engine.profile.get(),
                                                      result->grey_ ? TYPE_GRAY_FLT : TYPE_BGR_FLT,
                                                      engine.linearSrgb.get(), TYPE_BGR_FLT, intent, flags));
    if (engine.toLinearSrgb == nullptr) {
        throw ProfileProblem(name + " lacks what a conversion takes, or it is malformed");
    }
    result->icc_ = std::move(icc);

    const cv::Mat asked = probes();
    const cv::Mat given = result->srgbFrom(asked);
    constexpr double farthest = 100;  // of values that stand for 0..1
    if (!cv::checkRange(given, true, nullptr, -farthest, farthest)) {
        throw ProfileProblem(name + " gives values that are no colours");
    }
    if (const std::string degeneracy = degeneracyOf(given, result->grey_); !degeneracy.empty()) {
        throw ProfileProblem(name + degeneracy);
    }
    const cv::Range compared = result->grey_ ? cv::Range(3 * 256, 4 * 256) : cv::Range(0, asked.cols);
    result->srgb_ = cv::norm(asked.colRange(compared), given.colRange(compared), cv::NORM_INF) <= 0.5 / 255;
    return result;
}

ColorProfile::Shared ColorProfile::ofColorimetry(const Colorimetry& colorimetry) {
    const Context context = newContext();
    const Profile profile = profileOf(context.get(), colorimetry.chromaticities, colorimetry.curve);
    Bytes icc = profile == nullptr ? Bytes() : bytesOf(context.get(), profile.get(), colorimetry.description);
    if (icc.empty()) {
        throw ProfileProblem(" '" + colorimetry.description + "' has primaries that span no colours");
    }
    return ofIcc(std::move(icc));
}

ColorProfile::Shared ColorProfile::named(std::string_view name) {
    if (name == "srgb") {
        return ofColorimetry({srgbChromaticities, srgbCurve, "sRGB IEC61966-2.1"});
    }
    if (name == "display-p3") {
        return ofColorimetry({{0.3127, 0.3290, 0.680, 0.320, 0.265, 0.690, 0.150, 0.060}, srgbCurve, "Display P3"});
    }
    if (name == "adobe-rgb") {
        return ofColorimetry({{0.3127, 0.3290, 0.64, 0.33, 0.21, 0.71, 0.15, 0.06}, {563.0 / 256}, "Adobe RGB (1998)"});
    }
    if (name == "prophoto") {
        return ofColorimetry({{0.3457, 0.3585, 0.734699, 0.265301, 0.159597, 0.840403, 0.036598, 0.000105},
                              {1.8, 1, 0, 1.0 / 16, 16.0 / 512},
                              "ROMM RGB (ProPhoto)"});
    }
    return nullptr;
}

cv::Mat ColorProfile::srgbFrom(const cv::Mat& bgr) const {
    if (bgr.empty()) {
        return {};
    }
    // Below, the table costs more than it saves.
    constexpr std::size_t worthATable = std::size_t{1} << 14;
    if (bgr.depth() == CV_8U && bgr.total() >= worthATable) {
        const IndexedColors colors = indexedColors(bgr);
        return expanded(srgbFrom(toUnit(colors.bgr)), colors.indices);
    }
    return convertedByBlocks(toUnit(bgr), [this](const float* in, float* out, std::size_t count) {
        std::array<float, blockSize> grey{};
        for (std::size_t k = 0; grey_ && k < count; ++k) {
            grey[k] = in[3 * k];
        }
        ::cmsDoTransform(engine_->toLinearSrgb.get(), grey_ ? grey.data() : in, out,
                         static_cast<cmsUInt32Number>(count));
        sRGBCompandingOfRow(out, out, 3 * count);
    });
}

cv::Mat ColorProfile::fromSrgb(const cv::Mat& srgb) const {
    if (srgb.empty()) {
        return {};
    }
    const Transform transform = grey_ ? nullptr : engine_->transformTo(engine_->profile.get());
    if (transform == nullptr) {
        throw ProfileProblem(" '" + description_ + "' leads to no R, G, B");
    }
    return convertedByBlocks(srgb, [&transform](const float* in, float* out, std::size_t count) {
        std::array<float, 3 * blockSize> linear{};
        sRGBInverseCompandingOfRow(in, linear.data(), 3 * count);
        ::cmsDoTransform(transform.get(), linear.data(), out, static_cast<cmsUInt32Number>(count));
    });
}

}  // namespace likeness
