#include <likeness/exposure/bracket.hpp>

#include <likeness/color/unit_image.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include "exposure/exposure_stack_scene.hpp"
#include "support/quiet_call.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/photo.hpp>

#include <future>

namespace likeness {
namespace {

using testing::expectRefusal;

const std::vector<float>& times() {
    static const std::vector<float> all = {0.125F, 0.25F, 0.5F, 1.0F};
    return all;
}

std::vector<cv::Mat> exposures(int depth = CV_8U, cv::Size size = {24, 16}) {
    std::vector<cv::Mat> result;
    for (const cv::Mat& unit : testing::bracketOfSquareRootCamera(4, size)) {
        cv::Mat image;
        unit.convertTo(image, depth, depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1);
        result.push_back(image);
    }
    return result;
}

void expectSame(const std::vector<cv::Mat>& actual, const std::vector<cv::Mat>& expected) {
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_MAT_EQUAL(actual[k], expected[k]);
    }
}

cv::Mat mertens(const std::vector<cv::Mat>& images, float contrast, float saturation, float exposedness) {
    cv::Mat fused;
    cv::createMergeMertens(contrast, saturation, exposedness)->process(images, fused);
    return fused;
}

TEST(FuseExposures, IsTheFusionOfTheImageLibraryInTheExposuresOwnDepth) {
    const std::vector<cv::Mat> bytes = exposures();
    const cv::Mat expected = mertens(bytes, 1, 1, 0);
    EXPECT_MAT_EQUAL(testing::quietly(bytes[1], [&](const cv::Mat&) { return fuseExposures(bytes); }), expected);
    expectSame(bytes, exposures());
    // Finer than bytes. Without the contrast, which is that of the rounding where a scene is as smooth as this one, the
    // fusion is near that of the bytes.
    FusionOptions saturationOnly;
    saturationOnly.contrast = 0;
    for (const int depth : {CV_16U, CV_32F, CV_64F}) {
        const cv::Mat fused = fuseExposures(exposures(depth), saturationOnly);
        EXPECT_MAT_NEAR(fused, mertens(bytes, 0, 1, 0), {.absolute = 4.0 / 255});
        EXPECT_GT(cv::norm(fused, mertens(bytes, 0, 1, 0), cv::NORM_INF), 1e-5);
    }
    std::vector<cv::Mat> views;
    for (const cv::Mat& image : bytes) {
        views.push_back(testing::withGaps(image));
    }
    EXPECT_MAT_EQUAL(fuseExposures(views), expected);
    FusionOptions options;
    options.contrast = 0.5;
    options.saturation = 0;
    options.exposedness = 2;
    EXPECT_MAT_EQUAL(fuseExposures(bytes, options), mertens(bytes, 0.5F, 0, 2));
}

TEST(FuseExposures, OneExposureAndOneTwice) {
    EXPECT_TRUE(fuseExposures({}).empty());
    const cv::Mat image = exposures()[2];
    cv::Mat unit;
    image.convertTo(unit, CV_32F, 1 / 255.0);
    EXPECT_MAT_NEAR(fuseExposures({image}), unit, {.absolute = 1e-5});
    EXPECT_MAT_NEAR(fuseExposures({image, image}), unit, {.absolute = 1e-5});
}

TEST(FuseExposures, MixedDepthsAreFusedAsFloats) {
    const std::vector<cv::Mat> bytes = exposures();
    const std::vector<int> depths{CV_8U, CV_16U, CV_32F, CV_64F};
    std::vector<cv::Mat> mixed;
    std::vector<cv::Mat> floats;
    for (std::size_t k = 0; k < bytes.size(); ++k) {
        const int depth = depths[k % depths.size()];
        mixed.push_back(exposures(depth)[k]);
        cv::Mat onBytesScale;
        if (depth == CV_8U) {
            bytes[k].convertTo(onBytesScale, CV_32F);
        } else {
            onBytesScale = toUnit(mixed.back()) * 255.0;
        }
        floats.push_back(onBytesScale);
    }
    EXPECT_MAT_EQUAL(fuseExposures(mixed), mertens(floats, 1, 1, 0));
    // The bytes of mixed exposures are those of each alone.
    const cv::Mat response(256, 1, CV_32FC3, cv::Scalar::all(1));
    std::vector<cv::Mat> rounded;
    for (const cv::Mat& image : floats) {
        cv::Mat ofBytes;
        image.convertTo(ofBytes, CV_8U);
        rounded.push_back(ofBytes);
    }
    EXPECT_MAT_EQUAL(mergeRadiance(mixed, times(), response), mergeRadiance(rounded, times(), response));
}

TEST(FuseExposures, RefusesThreeDimensions) {
    std::vector<cv::Mat> images = exposures();
    const cv::Mat first = images[0];
    testing::expectCubesRefused("exposures[0]", first, [&](const cv::Mat& cube) { fuseExposures({cube}); });
    testing::expectCubesRefused("exposures[1]", first, [&](const cv::Mat& cube) { fuseExposures({first, cube}); });
}

TEST(RecoverCameraResponse, IsTheGivenOneOfEveryDepth) {
    // Two exposures: the image library takes about a second for any size.
    const auto pair = [](int depth) {
        const std::vector<cv::Mat> all = exposures(depth);
        return std::vector<cv::Mat>{all[1], all[3]};
    };
    const std::vector<float> twoTimes = {0.25F, 1.0F};
    const cv::Mat expected = recoverResponse(pair(CV_8U), twoTimes);
    EXPECT_MAT_EQUAL(recoverCameraResponse(pair(CV_32F), twoTimes), expected);
    const std::vector<cv::Mat> bytes = pair(CV_8U);
    int heard = 0;
    Watch watch;
    watch.progress = [&heard](int done, int total) {
        EXPECT_EQ(total, 1);
        return done == ++heard;
    };
    EXPECT_MAT_EQUAL(recoverCameraResponse(bytes, twoTimes, watch), expected);
    EXPECT_EQ(heard, 1);
    expectSame(bytes, pair(CV_8U));
}

cv::Mat squareRootResponse() {
    cv::Mat response(256, 1, CV_32FC3);
    for (int byte = 0; byte < 256; ++byte) {
        response.at<cv::Vec3f>(byte) = cv::Vec3f::all(static_cast<float>((byte + 1) * (byte + 1)) / 16900);
    }
    return response;
}

TEST(MergeRadiance, IsTheMergingOfTheImageLibrary) {
    const std::vector<cv::Mat> bytes = exposures();
    cv::Mat expected;
    cv::createMergeDebevec()->process(bytes, expected, times(), squareRootResponse());
    for (const int depth : {CV_8U, CV_16U, CV_32F}) {
        EXPECT_MAT_EQUAL(mergeRadiance(exposures(depth), times(), squareRootResponse()), expected) << depth;
    }
    EXPECT_TRUE(mergeRadiance({}, {}, squareRootResponse()).empty());
}

TEST(ToneMap, IsTheGivenOne) {
    const cv::Mat radiance = testing::randomImage({20, 15}, 3, 0.01F, 30, 3);
    ToneMapOptions options;
    options.contrast = 6;
    for (const ToneMapOptions& some : {ToneMapOptions(), options}) {
        cv::Mat expected;
        toneMapDurand(radiance, expected, some);
        EXPECT_MAT_EQUAL(testing::quietly(radiance, [&](const cv::Mat& one) { return toneMap(one, some); }), expected);
        EXPECT_MAT_EQUAL(toneMap(testing::withGaps(radiance), some), expected);
    }
    EXPECT_TRUE(toneMap(cv::Mat()).empty());
}

TEST(ToneMap, RefusesWhatItCannotDo) {
    const cv::Mat radiance = testing::randomImage({20, 15}, 3, 0.01F, 30, 3);
    expectRefusal("radiance", "not CV_8UC3", [] { toneMap(cv::Mat(3, 3, CV_8UC3)); });
    expectRefusal("radiance", "is nan", [&] { toneMap(testing::withNaN(radiance)); });
    for (const double value : {0.0, 0.5, 1.0, 7.0}) {
        expectRefusal("radiance", "one luminance", [&] { toneMap(cv::Mat(4, 5, CV_32FC3, cv::Scalar::all(value))); });
    }
    ToneMapOptions options;
    options.gamma = 0;
    expectRefusal("gamma", "above 0", [&] { toneMap(radiance, options); });
    options = {};
    options.spaceSigma = -1;
    expectRefusal("spaceSigma", "above 0", [&] { toneMap(radiance, options); });
}

TEST(MergeBracket, GivesWhatMergeAndFuseWrites) {
    const std::vector<cv::Mat> bytes = exposures();
    const Bracket bracket = testing::quietly(bytes[0], [&](const cv::Mat&) { return mergeBracket(bytes, times()); });
    EXPECT_MAT_EQUAL(bracket.response, recoverResponse(bytes, times()));
    EXPECT_MAT_EQUAL(bracket.radiance, mergeRadiance(bytes, times(), bracket.response));
    EXPECT_MAT_EQUAL(bracket.toneMapped, toneMap(bracket.radiance));
    EXPECT_MAT_EQUAL(bracket.fused, fuseExposures(bytes));
    const testing::ScratchDirectory scratch;
    mergeAndFuse(bytes, times(), bracket.response, "out", dropAll());
    const auto encoded = [](const std::string& extension, const cv::Mat& image) {
        std::vector<uchar> file;
        cv::imencode(extension, image, file);
        return std::string(file.begin(), file.end());
    };
    EXPECT_TRUE(testing::contentOf("out.hdr") == encoded(".hdr", bracket.radiance));
    EXPECT_TRUE(testing::contentOf("out.jpg") == encoded(".jpg", bracket.toneMapped * 255));
    EXPECT_TRUE(testing::contentOf("outfusion.jpg") == encoded(".jpg", bracket.fused * 255));
}

TEST(MergeBracket, DumpsTheResponse) {
    const testing::ScratchDirectory scratch;
    const DirectoryDiagnostics directory("", DirectoryDiagnostics::Messages::dropped);
    Watch watch;
    watch.diagnostics = &directory;
    mergeBracket(exposures(), times(), {}, watch);
    EXPECT_EQ(testing::namesOf(testing::filesHere()),
              (std::vector<std::string>{"Breal.txt", "Greal.txt", "Rreal.txt", "valuesReal.txt"}));
}

TEST(MergeBracket, RefusesWhatItCannotDo) {
    EXPECT_TRUE(mergeBracket({}, {}).fused.empty());
    const std::vector<cv::Mat> floats = exposures(CV_32F);
    testing::expectPhotographChecked("exposures[2]", floats[2], [&](const cv::Mat& wrong) {
        std::vector<cv::Mat> bad = floats;
        bad[2] = wrong;
        fuseExposures(bad);
    });
    std::vector<cv::Mat> sizes = floats;
    sizes[3] = sizes[3].colRange(0, 20);
    expectRefusal("exposures[3]", "24 x 16, and has 20 x 16", [&] { fuseExposures(sizes); });
    expectRefusal("exposures[3]", "24 x 16", [&] { mergeBracket(sizes, times()); });
    expectRefusal("exposures[0]", "empty", [] { fuseExposures({cv::Mat(), cv::Mat()}); });
    expectRefusal("exposures[0]", "empty", [] { recoverCameraResponse({cv::Mat(), cv::Mat()}, {1, 2}); });
    expectRefusal("exposures", "at least two, not 1", [&] { mergeBracket({floats[0]}, {1}); });
    expectRefusal("times", "4, not 2", [&] { mergeBracket(floats, {1, 2}); });
    expectRefusal("times[1]", "above 0, not 0", [&] { mergeBracket(floats, {1, 0, 3, 4}); });
    expectRefusal("times[1]", "not nan", [&] {
        mergeRadiance(floats, {1, std::nanf(""), 3, 4}, squareRootResponse());
    });
    expectRefusal("times[2]", "differ from times[1]", [&] { recoverCameraResponse(floats, {1, 3, 3, 4}); });
    expectRefusal("exposures", "room for the grid", [] { recoverCameraResponse(exposures(CV_8U, {4, 3}), times()); });
    expectRefusal("response", "256 x 1", [&] { mergeRadiance(floats, times(), cv::Mat(1, 256, CV_32FC3)); });
    expectRefusal("response", "byte 0",
                  [&] { mergeRadiance(floats, times(), cv::Mat(256, 1, CV_32FC3, cv::Scalar::all(0))); });
    FusionOptions options;
    options.contrast = -1;
    expectRefusal("contrast", "0 to 100", [&] { fuseExposures(floats, options); });
}

TEST(MergeBracket, ItsCallerHearsOfItAndEndsIt) {
    for (const int last : {1, 4}) {
        int heard = 0;
        Watch watch;
        watch.progress = [&heard, last](int done, int total) {
            EXPECT_EQ(done, ++heard);
            EXPECT_EQ(total, 4);
            return done < last;
        };
        EXPECT_THROW(mergeBracket(exposures(), times(), {}, watch), Cancelled);
        EXPECT_EQ(heard, last);
    }
}

TEST(FuseExposures, ItsCallerHearsOfItAndEndsIt) {
    for (const int depth : {CV_8U, CV_32F}) {
        const std::vector<cv::Mat> all = exposures(depth);
        EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { fuseExposures(all, {}, watch); }), 5);
        expectSame(all, exposures(depth));
    }
}

TEST(MergeRadiance, ItsCallerHearsOfItAndEndsIt) {
    const std::vector<cv::Mat> all = exposures();
    EXPECT_EQ(
        testing::expectSteps([&](const Watch& watch) { mergeRadiance(all, times(), squareRootResponse(), watch); }), 5);
}

TEST(ToneMap, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat radiance = testing::randomImage({20, 15}, 3, 0.01F, 30, 3);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { toneMap(radiance, {}, watch); }), 3);
}

TEST(FuseExposures, TwoThreadsAtOnce) {
    const std::vector<cv::Mat> bytes = exposures();
    const cv::Mat expected = fuseExposures(bytes);
    auto other = std::async(std::launch::async, [&] { return fuseExposures(bytes); });
    EXPECT_MAT_EQUAL(fuseExposures(bytes), expected);
    EXPECT_MAT_EQUAL(other.get(), expected);
}

}  // namespace
}  // namespace likeness
