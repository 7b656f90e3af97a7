// The conversions that return their result: the bits of those that fill an image of the caller's, on images of all
// kinds.
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/lab.hpp>
#include <likeness/color/lab_range.hpp>
#include <likeness/color/lms_lalphabeta.hpp>
#include <likeness/color/opponent.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/color/yuv.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace likeness {
namespace {

using Convert = std::function<cv::Mat(const cv::Mat& image)>;
using testing::pixel;

struct Conversion {
    std::string name;
    Convert convert;
    Convert literal;  ///< of CV_32FC3
};

const cv::Vec3d someXyz = {0.97, 1.02, 0.8};

/// A conversion into an image of the caller's.
template <typename Given>
Convert literally(Given given, int type = CV_32FC3) {
    return [given, type](const cv::Mat& image) mutable {
        cv::Mat in = image.clone();
        cv::Mat out(image.size(), type);
        given(in, out);
        return out;
    };
}

template <typename Given>
Convert inPlace(Given given) {
    return [given](const cv::Mat& image) {
        cv::Mat values = image.clone();
        given(values);
        return values;
    };
}

float encoded(float v) {
    return sRGBCompanding(v);
}

float linear(float v) {
    return sRGBInverseCompanding(v);
}

Convert ofEachValue(float (*function)(float)) {
    return inPlace([function](cv::Mat& values) {
        for (int i = 0; i < values.rows; ++i) {
            for (int j = 0; j < 3 * values.cols; ++j) {
                values.ptr<float>(i)[j] = function(values.ptr<float>(i)[j]);
            }
        }
    });
}

std::vector<Conversion> conversionsOfPhotographs() {
    cv::Mat white = pixel(someXyz);
    return {
        {"linear", linearBgrFromBgr, ofEachValue(linear)},
        {"xyz", [](const cv::Mat& p) { return xyzFromBgr(p); }, literally(convertBGRToXYZDirect)},
        {"xyz under a white", [](const cv::Mat& p) { return xyzFromBgr(p, {someXyz}); },
         literally([white](cv::Mat& in, cv::Mat& out) mutable { convertBGRtoXYZ(in, white, out); })},
        {"sharpened", sharpenedFromBgr, literally([](cv::Mat& in, cv::Mat& out) {
             convertBGRToXYZDirect(in, out);
             convertXYZtoSharpenedBGR(out, out);
         })},
        {"log LMS", logLmsFromBgr, literally(convertBGRtoLMS)},
        {"l alpha beta", lalphabetaFromBgr, literally([](cv::Mat& in, cv::Mat& out) {
             convertBGRtoLMS(in, out);
             convertLMStoLab(out, out);
         })},
        {"opponent", opponentFromBgr, literally(convertToSimpleOpponentSpace, CV_32FC2)},
        {"yuv", yuvFromBgr, literally(convertBGRtoYUV)},
        {"lab", [](const cv::Mat& p) { return labFromBgr(p); }, literally([](cv::Mat& in, cv::Mat& out) {
             cv::Mat bgrWhite = pixel({1, 1, 1});
             convertBGRToLab(in, bgrWhite, out);
         })},
        {"lab under a white",
         [](const cv::Mat& p) {
             return labFromBgr(p, labWhiteFromBgr({0.8, 1, 0.9}));
         },
         literally([](cv::Mat& in, cv::Mat& out) {
             cv::Mat bgrWhite = pixel({0.8, 1, 0.9});
             convertBGRToLab(in, bgrWhite, out);
         })},
    };
}

std::vector<Conversion> conversionsOfColors() {
    cv::Mat white = pixel(someXyz);
    return {
        {"linearBgr", bgrFromLinearBgr, ofEachValue(encoded)},
        {"xyz", [](const cv::Mat& c) { return bgrFromXyz(c); }, literally(convertXYZToBGRDirect)},
        {"xyz", [](const cv::Mat& c) { return bgrFromXyz(c, {someXyz}); },
         literally([white](cv::Mat& in, cv::Mat& out) mutable { convertXYZtoBGR(in, white, out); })},
        {"xyz", sharpenedFromXyz, literally(convertXYZtoSharpenedBGR)},
        {"sharpened", xyzFromSharpened, literally(convertSharpenedBGRtoXYZ)},
        {"sharpened", bgrFromSharpened, literally([](cv::Mat& in, cv::Mat& out) {
             convertSharpenedBGRtoXYZ(in, out);
             convertXYZToBGRDirect(out, out);
         })},
        {"lalphabeta", bgrFromLalphabeta, literally([](cv::Mat& in, cv::Mat& out) {
             convertLabtoLMS(in, in);
             convertLMStoBGR(in, out);
         })},
        {"logLms", bgrFromLogLms, literally([](cv::Mat& in, cv::Mat& out) {
             convertLMStoLab(in, in);
             convertLabtoLMS(in, in);
             convertLMStoBGR(in, out);
         })},
        {"yuv", bgrFromYuv, literally([](cv::Mat& in, cv::Mat& out) {
             cv::Mat inverse = yuvFromRgb().inv();
             multiplyImageByMatrixBackward(in, out, inverse);
         })},
        {"lab", [](const cv::Mat& c) { return bgrFromLab(c); }, literally([](cv::Mat& in, cv::Mat& out) {
             convertLabToBGR(in, pixel({1, 1, 1}), out);
         })},
        {"lab",
         [](const cv::Mat& c) {
             return bgrFromLab(c, labWhiteFromBgr({0.8, 1, 0.9}));
         },
         literally([](cv::Mat& in, cv::Mat& out) {
             convertLabToBGR(in, pixel({0.8, 1, 0.9}), out);
         })},
        {"lab", lab255FromLab, inPlace(scaleLab)},
        {"lab255", labFromLab255, inPlace(rescaleLab)},
    };
}

template <typename T>
cv::Mat converted(const cv::Mat& image, T type, double scale) {
    cv::Mat result;
    image.convertTo(result, type, scale);
    return result;
}

TEST(ColorConversions, OfPhotographsHaveTheBitsOfTheLiteralOnes) {
    for (const Conversion& conversion : conversionsOfPhotographs()) {
        for (const testing::NamedImage& image : testing::floatImages(3, 0, 1)) {
            SCOPED_TRACE(conversion.name + ", " + image.name);
            const cv::Mat result = testing::quietly(image.image, conversion.convert);
            EXPECT_MAT_EQUAL(result, conversion.literal(image.image));
            EXPECT_NE(result.data, image.image.data);
        }
    }
}

TEST(ColorConversions, TakePhotographsOfEveryDepth) {
    const cv::Mat bytes = testing::randomPhotograph({17, 9}, 3);
    const cv::Mat photographs[] = {bytes, testing::withGaps(bytes), converted(bytes, CV_16U, 257),
                                   converted(bytes, CV_64F, 1 / 255.0)};
    for (const Conversion& conversion : conversionsOfPhotographs()) {
        for (const cv::Mat& photograph : photographs) {
            SCOPED_TRACE(conversion.name + ", " + cv::typeToString(photograph.type()));
            EXPECT_MAT_EQUAL(testing::quietly(photograph, conversion.convert), conversion.literal(toUnit(photograph)));
        }
        EXPECT_TRUE(conversion.convert(cv::Mat()).empty()) << conversion.name;
        EXPECT_TRUE(conversion.convert(cv::Mat(0, 5, CV_32FC3)).empty()) << conversion.name;
        testing::expectRefusal("photograph", "not CV_8UC1", [&] { conversion.convert(cv::Mat(2, 2, CV_8UC1)); });
        testing::expectRefusal("photograph", "not CV_8UC4", [&] { conversion.convert(cv::Mat(2, 2, CV_8UC4)); });
    }
}

TEST(ColorConversions, OfColorsHaveTheBitsOfTheLiteralOnes) {
    for (const Conversion& conversion : conversionsOfColors()) {
        for (const testing::NamedImage& image : testing::floatImages(3, -0.5F, 1.5F)) {
            SCOPED_TRACE(conversion.name + ", " + image.name);
            const cv::Mat result = testing::quietly(image.image, conversion.convert);
            EXPECT_MAT_EQUAL(result, conversion.literal(image.image));
            EXPECT_NE(result.data, image.image.data);
            EXPECT_MAT_EQUAL(conversion.convert(converted(image.image, CV_64F, 1)), result);
        }
        EXPECT_TRUE(conversion.convert(cv::Mat()).empty()) << conversion.name;
        testing::expectRefusal(conversion.name, "CV_32FC1", [&] { conversion.convert(cv::Mat(2, 2, CV_32FC1)); });
        testing::expectRefusal(conversion.name, "CV_8UC4", [&] { conversion.convert(cv::Mat(2, 2, CV_8UC4)); });
    }
}

TEST(ColorConversions, RefuseWholeNumbersWhereTheyHaveNoScale) {
    const cv::Mat bytes = testing::randomPhotograph({3, 2}, 4);
    testing::expectRefusal("xyz", "not CV_8UC3", [&] { bgrFromXyz(bytes); });
    testing::expectRefusal("lab", "not CV_8UC3", [&] { bgrFromLab(bytes); });
}

TEST(ColorConversions, LabOfWholeNumbersGoesFrom0To255) {
    const cv::Mat bytes = testing::randomPhotograph({31, 5}, 5);
    const auto read = [](const cv::Mat& image) { return labFromLab255(image); };
    cv::Mat expected = toUnit(bytes);
    expected *= 255.0;
    rescaleLab(expected);
    EXPECT_MAT_EQUAL(testing::quietly(bytes, read), expected);
    EXPECT_MAT_EQUAL(testing::quietly(converted(bytes, CV_16U, 257), read), expected);
}

TEST(ColorConversions, RefuseWhitesWithoutLight) {
    const cv::Mat photograph = testing::randomPhotograph({3, 2}, 6);
    const cv::Mat colors(2, 3, CV_32FC3, cv::Scalar::all(0.5));
    for (const cv::Vec3d& xyz : {cv::Vec3d(0, 1, 1), cv::Vec3d(1, -1, 1), cv::Vec3d(1, 1, NAN),
                                 cv::Vec3d(INFINITY, 1, 1), cv::Vec3d(1e-60, 1, 1), cv::Vec3d(1e60, 1, 1)}) {
        const White white{xyz};
        testing::expectRefusal("white", "finite and above 0", [&] { xyzFromBgr(photograph, white); });
        testing::expectRefusal("white", "finite and above 0", [&] { bgrFromXyz(colors, white); });
        testing::expectRefusal("white", "finite and above 0", [&] { labFromBgr(photograph, white); });
        testing::expectRefusal("white", "finite and above 0", [&] { bgrFromLab(colors, white); });
    }
}

TEST(ColorConversions, RunOnSeveralThreads) {
    const cv::Mat photograph = testing::randomPhotograph({64, 48}, 7);
    const cv::Mat expected = bgrFromLab(labFromBgr(photograph));
    cv::Mat results[2];
    std::thread threads[2];
    for (int k = 0; k < 2; ++k) {
        threads[k] = std::thread([&, k] { results[k] = bgrFromLab(labFromBgr(photograph)); });
    }
    for (int k = 0; k < 2; ++k) {
        threads[k].join();
        EXPECT_MAT_EQUAL(results[k], expected);
    }
}

}  // namespace
}  // namespace likeness
