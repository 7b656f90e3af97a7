// Every operation that shares its pixels out gives the same bits on any number of threads.
#include <likeness/likeness.hpp>

#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace likeness {
namespace {

struct Operation {
    std::string name;
    std::function<cv::Mat(const cv::Mat& photograph, const cv::Mat& other)> run;
};

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

std::vector<Operation> operations() {
    AdaptOptions local;
    local.local = true;
    TransferOptions chroma;
    chroma.channels = TransferChannels::chroma;
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
        {"to D65", [](const cv::Mat& p, const cv::Mat&) { return adaptToD65(p, grayWorldWhite(p).white); }},
        {"to D65, own white", [](const cv::Mat& p, const cv::Mat&) { return adaptToD65(p, PixelWhite::own); }},
        {"undo D65", [](const cv::Mat& p, const cv::Mat&) { return undoD65Adaptation(p, grayWorldWhite(p).white); }},
        {"undo", [](const cv::Mat& p,
                    const cv::Mat& o) { return undoAdaptation(p, grayWorldWhite(o).white, grayWorldWhite(p).white); }},
        {"adapt", [](const cv::Mat& p, const cv::Mat& o) { return adaptTo(p, o); }},
        {"adapt locally", [local](const cv::Mat& p, const cv::Mat& o) { return adaptTo(p, o, local); }},
        {"tint", [](const cv::Mat& p, const cv::Mat& o) { return tint(p, o); }},
        {"brighten", [](const cv::Mat& p, const cv::Mat&) { return brighten(p); }},
        {"smooth", [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::gray, p, o); }},
        {"smooth by colour",
         [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::color, p, o); }},
        {"smooth by transport",
         [](const cv::Mat& p, const cv::Mat& o) { return smoothedBy(SmoothingVariant::transport, p, o); }},
        {"transfer", [](const cv::Mat& p, const cv::Mat& o) { return transferColors(p, o).image; }},
        {"transfer of chroma",
         [chroma](const cv::Mat& p, const cv::Mat& o) { return transferColors(p, o, chroma).image; }},
        {"correlates of floats",
         [](const cv::Mat& p, const cv::Mat&) {
             AnalysisOptions maps;
             maps.maps = true;
             return joined(analyze(toUnit(p), maps).maps());
         }},
    };
}

TEST(ThreadCount, MakesNoDifference) {
    const cv::Mat photograph = testing::randomPhotograph({533, 401}, 1);
    const cv::Mat other = testing::randomPhotograph({533, 401}, 2);
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        setThreads(1);
        const cv::Mat alone = operation.run(photograph, other);
        EXPECT_FALSE(alone.empty());
        for (const int count : {2, 3, 8}) {
            setThreads(count);
            EXPECT_MAT_EQUAL(operation.run(photograph, other), alone);
        }
    }
    setThreads(0);
}

}  // namespace
}  // namespace likeness
