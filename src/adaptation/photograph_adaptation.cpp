#include <likeness/adaptation/photograph_adaptation.hpp>

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "adaptation/adaptation_steps.hpp"
#include "color/color_argument.hpp"
#include "color/photograph_argument.hpp"
#include "diagnostics/watched_bands.hpp"

#include <algorithm>

namespace likeness {
namespace {

constexpr int bandHeight = 32;  // all conversions of so many rows find them in the cache

/// Lets `adapt(sharpened, rows)` work on some rows of the sharpened image, several at the same time.
/// @param stepsBefore  steps of the operation that have been done
template <typename Adapt>
cv::Mat throughSharpened(const cv::Mat& photograph, Adapt adapt, const Watch& watch, int stepsBefore = 0) {
    cv::Mat colors = ownUnitPhotograph("photograph", photograph);
    forEachBand(colors.size(), bandHeight, watch, stepsBefore, [&](cv::Range rows) {
        cv::Mat band = colors.rowRange(rows);
        convertBGRToXYZDirect(band, band);
        convertXYZtoSharpenedBGR(band, band);
        adapt(band, rows);
        convertSharpenedBGRtoXYZ(band, band);
        convertXYZToBGRDirect(band, band);
    });
    return colors;
}

cv::Vec3f sharpenedWhite(const std::string& name, const White& white) {
    cv::Mat triple = whiteTriple(name, white);
    convertXYZtoSharpenedBGR(triple, triple);
    return triple.at<cv::Vec3f>(0, 0);
}

using Scale = void (*)(cv::Mat& img, const cv::Vec3f& white);
using ScaleByImage = void (*)(cv::Mat& img, cv::Mat& white, cv::Mat& third);

cv::Mat scaled(const cv::Mat& photograph, const White& white, Scale scale, const Watch& watch) {
    const cv::Vec3f sharpened = sharpenedWhite("white", white);
    if (photograph.empty()) {
        return {};
    }
    return throughSharpened(
        photograph, [&](cv::Mat& band, cv::Range /*rows*/) { scale(band, sharpened); }, watch);
}

/// @param whiteXyz  CV_32FC3
cv::Mat scaledByImage(const cv::Mat& photograph, const cv::Mat& whiteXyz, ScaleByImage scale, const Watch& watch,
                      int stepsBefore) {
    const auto adapt = [&](cv::Mat& band, cv::Range rows) {
        cv::Mat white(band.size(), CV_32FC3);
        cv::Mat notRead;
        convertXYZtoSharpenedBGR(whiteXyz.rowRange(rows), white);
        scale(band, white, notRead);
    };
    return throughSharpened(photograph, adapt, watch, stepsBefore);
}

cv::Mat scaledByCheckedImage(const cv::Mat& photograph, const cv::Mat& whiteXyz, ScaleByImage scale,
                             const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    const cv::Mat white = ownColors("whiteXyz", whiteXyz);
    requireSameSize("photograph", photograph, "whiteXyz", white);
    requireFinite("whiteXyz", white);
    return scaledByImage(photograph, white, scale, watch, 0);
}

void check(const AdaptOptions& options) {
    const AdaptOptions none;
    requireBetween("degree", options.degree, 0, 1);
    requireBetween("blend", options.blend, 0, 1);
    if (options.local && (options.degree != none.degree || !options.leftOut.empty())) {
        refuseArgument("local", "degree and leftOut are of the adaptation as a whole");
    }
    if (!options.local && options.blend != none.blend) {
        refuseArgument("blend", "it goes with local");
    }
}

/// @param whiteName  the argument that the white is of
/// @param likeWhite  1 x 1, B, G, R; estimated once the photograph has been checked
template <typename LikeWhite>
cv::Mat adaptedTo(const cv::Mat& photograph, const char* whiteName, LikeWhite likeWhite, const AdaptOptions& options,
                  const Watch& watch) {
    check(options);
    if (photograph.empty()) {
        return {};
    }
    cv::Mat adapted = ownUnitPhotograph("photograph", photograph);
    requireFinite("photograph", adapted);
    if (!options.leftOut.empty()) {
        if (options.leftOut.type() != CV_8UC1) {
            refuseArgument("leftOut", "its pixels must be CV_8UC1, not " + cv::typeToString(options.leftOut.type()));
        }
        requireSameSize("photograph", photograph, "leftOut", options.leftOut);
    }
    const cv::Mat white = likeWhite();
    const auto& components = white.at<cv::Vec3f>(0, 0);
    for (int c = 0; c < 3; ++c) {
        if (!(components[c] > 0)) {
            refuseArgument(whiteName, "the components of the white must be above 0");
        }
    }
    if (options.local) {
        adaptEachPixel(adapted, white, static_cast<float>(options.blend), watch);
    } else {
        adaptUntilWhiteConverges(adapted, white, static_cast<float>(options.degree), options.leftOut, watch);
    }
    return adapted;
}

}  // namespace

cv::Mat adaptToD65(const cv::Mat& photograph, const White& white, const Watch& watch) {
    return scaled(photograph, white, scaleToD65, watch);
}

cv::Mat adaptToD65(const cv::Mat& photograph, const cv::Mat& whiteXyz, const Watch& watch) {
    return scaledByCheckedImage(photograph, whiteXyz, iCAMCATByD65, watch);
}

cv::Mat adaptToD65(const cv::Mat& photograph, PixelWhite white, const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    if (white == PixelWhite::own) {
        const auto adapt = [](cv::Mat& band, cv::Range /*rows*/) {
            cv::Mat notRead;
            iCAMCATByD65(band, band, notRead);
        };
        return throughSharpened(photograph, adapt, watch);
    }
    cv::Mat xyz = ownUnitPhotograph("photograph", photograph);
    requireFinite("photograph", xyz);
    convertBGRToXYZDirect(xyz, xyz);
    cv::Mat smoothed;
    constexpr int radius = 16;
    computeWhiteImg(xyz, smoothed, radius, watch.receiver());
    const int bands = (xyz.rows + bandHeight - 1) / bandHeight;
    watch.step(1, 1 + bands);
    xyz.release();
    return scaledByImage(photograph, smoothed, iCAMCATByD65, watch, 1);
}

cv::Mat undoD65Adaptation(const cv::Mat& photograph, const White& white, const Watch& watch) {
    return scaled(photograph, white, scaleFromD65, watch);
}

cv::Mat undoD65Adaptation(const cv::Mat& photograph, const cv::Mat& whiteXyz, const Watch& watch) {
    return scaledByCheckedImage(photograph, whiteXyz, inverseCATByD65, watch);
}

cv::Mat undoAdaptation(const cv::Mat& photograph, const White& adaptedTo, const White& scene, const Watch& watch) {
    const cv::Vec3f target = sharpenedWhite("adaptedTo", adaptedTo);
    const cv::Vec3f source = sharpenedWhite("scene", scene);
    if (photograph.empty()) {
        return {};
    }
    return throughSharpened(
        photograph, [&](cv::Mat& band, cv::Range /*rows*/) { scaleToScene(band, target, source); }, watch);
}

cv::Mat adaptTo(const cv::Mat& photograph, const cv::Mat& like, const AdaptOptions& options, const Watch& watch) {
    const auto likeWhite = [&] {
        const cv::Mat unit = unitPhotograph("like", like);
        requireFinite("like", unit);
        return grayWorldTriple(unit, watch.receiver());
    };
    return adaptedTo(photograph, "like", likeWhite, options, watch);
}

cv::Mat adaptTo(const cv::Mat& photograph, const WhiteEstimate& light, const AdaptOptions& options,
                const Watch& watch) {
    if (!cv::checkRange(cv::Mat(light.bgr))) {
        refuseArgument("light", "the components of a white must be finite");
    }
    const auto likeWhite = [&] {
        return cv::Mat(1, 1, CV_32FC3, cv::Scalar(light.bgr[0], light.bgr[1], light.bgr[2]));
    };
    return adaptedTo(photograph, "light", likeWhite, options, watch);
}

}  // namespace likeness
