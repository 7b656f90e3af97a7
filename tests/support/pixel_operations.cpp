#include "support/pixel_operations.hpp"

#include <likeness/likeness.hpp>

namespace likeness::testing {
namespace {

cv::Mat roundTrip(const cv::Mat& colors, cv::Mat (*back)(const cv::Mat&)) {
    return back(colors);
}

/// All rows of several maps in one.
cv::Mat joined(const AppearanceMaps& maps) {
    cv::Mat all;
    cv::vconcat(std::vector<cv::Mat>{maps.brightness, maps.lightness, maps.chroma, maps.colorfulness, maps.saturation,
                                     maps.hueDegrees},
                all);
    return all;
}

cv::Mat smoothedBy(SmoothingVariant variant, const cv::Mat& photograph, const cv::Mat& guide) {
    SmoothOptions options;
    options.variant = variant;
    options.guide = guide;
    return smooth(photograph, options);
}

}  // namespace

std::vector<PixelOperation> pixelOperations() {
    const White ofEvening{{0.98, 1.0, 0.61}};
    const White ofNoon{{0.95, 1.0, 1.05}};
    AdaptOptions local;
    local.local = true;
    TransferOptions chroma;
    chroma.channels = TransferChannels::chroma;
    TransferOptions bonneel = chroma;
    bonneel.form = TransferForm::bonneel;
    return {
        {"toUnit", [](const cv::Mat& p, const cv::Mat&) { return toUnit(p); }},
        {"linear", [](const cv::Mat& p, const cv::Mat&) { return bgrFromLinearBgr(linearBgrFromBgr(p)); }},
        {"xyz", [](const cv::Mat& p, const cv::Mat&) { return xyzFromBgr(p); }},
        {"from xyz", [](const cv::Mat& p, const cv::Mat&) { return bgrFromXyz(xyzFromBgr(p)); }},
        {"lab", [](const cv::Mat& p, const cv::Mat&) { return labFromBgr(p); }},
        {"from lab", [](const cv::Mat& p, const cv::Mat&) { return bgrFromLab(labFromBgr(p)); }},
        {"lab 255", [](const cv::Mat& p, const cv::Mat&) { return labFromLab255(lab255FromLab(labFromBgr(p))); }},
        {"sharpened",
         [](const cv::Mat& p, const cv::Mat&) { return roundTrip(sharpenedFromBgr(p), bgrFromSharpened); }},
        {"log LMS", [](const cv::Mat& p, const cv::Mat&) { return roundTrip(logLmsFromBgr(p), bgrFromLogLms); }},
        {"l alpha beta",
         [](const cv::Mat& p, const cv::Mat&) { return roundTrip(lalphabetaFromBgr(p), bgrFromLalphabeta); }},
        {"opponent", [](const cv::Mat& p, const cv::Mat&) { return opponentFromBgr(p); }},
        {"yuv", [](const cv::Mat& p, const cv::Mat&) { return roundTrip(yuvFromBgr(p), bgrFromYuv); }},
        {"to D65", [ofEvening](const cv::Mat& p, const cv::Mat&) { return adaptToD65(p, ofEvening); }},
        {"to D65, own white", [](const cv::Mat& p, const cv::Mat&) { return adaptToD65(p, PixelWhite::own); }},
        {"undo D65", [ofEvening](const cv::Mat& p, const cv::Mat&) { return undoD65Adaptation(p, ofEvening); }},
        {"undo",
         [ofEvening, ofNoon](const cv::Mat& p, const cv::Mat&) { return undoAdaptation(p, ofNoon, ofEvening); }},
        {"adapt", [](const cv::Mat& p, const cv::Mat& o) { return adaptTo(p, o); }},
        {"adapt locally", [local](const cv::Mat& p, const cv::Mat& o) { return adaptTo(p, o, local); }},
        {"tint", [](const cv::Mat& p, const cv::Mat& o) { return tint(p, o); }},
        {"brighten", [](const cv::Mat& p, const cv::Mat&) { return brighten(p); }},
        {"tone map", [](const cv::Mat& p, const cv::Mat&) { return toneMap(toUnit(p) * 100); }},
        {"smooth", [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::gray, p, o); }},
        {"smooth by colour",
         [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::color, p, o); }},
        {"smooth by transport",
         [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::transport, p, o); }},
        {"structure", [](const cv::Mat& p, const cv::Mat&) { return orientedStructure(p).strength; }},
        {"transfer", [](const cv::Mat& p, const cv::Mat& o) { return transferColors(p, o).image; }},
        {"transfer of chroma",
         [chroma](const cv::Mat& p, const cv::Mat& o) { return transferColors(p, o, chroma).image; }},
        {"transfer by Bonneel's form",
         [bonneel](const cv::Mat& p, const cv::Mat& o) { return transferColors(p, o, bonneel).image; }},
        {"correlates of floats",
         [](const cv::Mat& p, const cv::Mat&) {
             AnalysisOptions maps;
             maps.maps = true;
             return joined(analyze(toUnit(p), maps).maps());
         }},
    };
}

}  // namespace likeness::testing
