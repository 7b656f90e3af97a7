#include "photofile/color_profile.hpp"

#include "photofile/test_profiles.hpp"
#include "support/mat_matchers.hpp"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace likeness::testing {
namespace {

/// Random colours of 8 bits, with the corners.
cv::Mat randomColors(int rows, int cols, int depth) {
    cv::Mat image(rows, cols, CV_MAKETYPE(depth, 3));
    cv::RNG random(1915);
    random.fill(image, cv::RNG::UNIFORM, 0, depth == CV_8U ? 256 : depth == CV_16U ? 65536 : 1);
    for (int k = 0; k < 8; ++k) {
        const double on = depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1;
        const cv::Scalar corner((k & 1) * on, (k >> 1 & 1) * on, (k >> 2 & 1) * on);
        image.row(0).col(k).setTo(corner);
    }
    return image;
}

cv::Mat unitOf(const cv::Mat& image) {
    cv::Mat unit;
    image.convertTo(unit, CV_32F, image.depth() == CV_8U ? 1 / 255.0 : image.depth() == CV_16U ? 1 / 65535.0 : 1);
    return unit;
}

/// What the library of profiles itself makes of the numbers: its own sRGB, its own curves.
cv::Mat convertedByItself(const std::vector<unsigned char>& icc, const cv::Mat& image, bool grey = false) {
    const cmsHPROFILE profile = ::cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size()));
    const cmsHPROFILE srgb = ::cmsCreate_sRGBProfile();
    const cmsHTRANSFORM transform =
        ::cmsCreateTransform(profile, grey ? TYPE_GRAY_FLT : TYPE_BGR_FLT, srgb, TYPE_BGR_FLT,
                             INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOOPTIMIZE);
    cv::Mat in = unitOf(image);
    if (grey) {
        cv::extractChannel(in, in, 0);
    }
    cv::Mat out(image.size(), CV_32FC3);
    ::cmsDoTransform(transform, in.ptr(), out.ptr(), static_cast<cmsUInt32Number>(image.total()));
    ::cmsDeleteTransform(transform);
    ::cmsCloseProfile(srgb);
    ::cmsCloseProfile(profile);
    return out;
}

TEST(ColorProfile, NamesAreKnown) {
    for (const std::string_view name : profileNames) {
        const ColorProfile::Shared profile = ColorProfile::named(name);
        ASSERT_NE(profile, nullptr) << name;
        EXPECT_EQ(profile->isSrgb(), name == "srgb");
        EXPECT_FALSE(profile->isGrey());
        EXPECT_EQ(profile->icc(), ColorProfile::named(name)->icc()) << "the bytes do not depend on the time";
    }
    EXPECT_EQ(ColorProfile::named("display-p3")->description(), "Display P3");
    EXPECT_EQ(ColorProfile::named("cmyk"), nullptr);
}

// The primaries of Display P3 in linear sRGB: the product of the two published matrices, Bradford not at work between
// two whites of D65. Red is 1.2249, -0.0421, -0.0196.
TEST(ColorProfile, WideColorsAreNotClipped) {
    const cv::Mat red(1, 1, CV_8UC3, cv::Scalar(0, 0, 255));
    const cv::Vec3f srgb = ColorProfile::named("display-p3")->srgbFrom(red).at<cv::Vec3f>(0);
    EXPECT_NEAR(srgb[2], 1.055 * std::pow(1.2249, 1 / 2.4) - 0.055, 5e-4);
    EXPECT_NEAR(srgb[1], 12.92 * -0.0421, 2e-3);
    EXPECT_NEAR(srgb[0], 12.92 * -0.0196, 2e-3);
}

TEST(ColorProfile, WhiteIsWhiteAndGreyStaysGrey) {
    for (const std::string_view name : profileNames) {
        cv::Mat ramp(1, 256, CV_8UC3);
        for (int k = 0; k < 256; ++k) {
            ramp.at<cv::Vec3b>(k) = cv::Vec3b::all(static_cast<uchar>(k));
        }
        const cv::Mat srgb = ColorProfile::named(name)->srgbFrom(ramp);
        for (int k = 0; k < 256; ++k) {
            const auto& pixel = srgb.at<cv::Vec3f>(k);
            EXPECT_NEAR(pixel[0], pixel[1], 1e-4) << name << ' ' << k;
            EXPECT_NEAR(pixel[2], pixel[1], 1e-4) << name << ' ' << k;
        }
        EXPECT_NEAR(srgb.at<cv::Vec3f>(255)[1], 1, 5e-5) << name;
        EXPECT_NEAR(srgb.at<cv::Vec3f>(0)[1], 0, 1e-6) << name;
    }
}

TEST(ColorProfile, AgreesWithTheLibrarysOwnTransform) {
    struct Case {
        const char* name;
        std::vector<unsigned char> icc;
        bool grey;
    };
    const std::vector<Case> cases = {{"display-p3", ColorProfile::named("display-p3")->icc(), false},
                                     {"adobe-rgb", ColorProfile::named("adobe-rgb")->icc(), false},
                                     {"prophoto", ColorProfile::named("prophoto")->icc(), false},
                                     {"grey", greyProfile(1.8), true},
                                     {"lut", lutProfile(), false}};
    for (const Case& one : cases) {
        const ColorProfile::Shared profile = ColorProfile::ofIcc(one.icc);
        EXPECT_EQ(profile->isGrey(), one.grey);
        EXPECT_FALSE(profile->isSrgb());
        for (const int depth : {CV_8U, CV_16U, CV_32F}) {
            SCOPED_TRACE(std::string(one.name) + ' ' + std::to_string(depth));
            // More than one block, and of 8 bits more than goes without a table.
            const cv::Mat image = randomColors(150, 120, depth);
            const cv::Mat expected = convertedByItself(one.icc, image, one.grey);
            // Floats on both sides; the slope of the curve near black is 13, and a rounding of the matrix is 1e-6.
            EXPECT_MAT_NEAR(profile->srgbFrom(image), expected, Tolerance{.absolute = 1e-4});
        }
    }
}

TEST(ColorProfile, OneThreadGivesTheSameBytesAsMany) {
    const ColorProfile::Shared profile = ColorProfile::ofIcc(lutProfile());
    const cv::Mat image = randomColors(150, 120, CV_16U);
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    const cv::Mat one = profile->srgbFrom(image);
    cv::setNumThreads(8);
    EXPECT_MAT_EQUAL(profile->srgbFrom(image), one);
    cv::setNumThreads(threads);
}

TEST(ColorProfile, TakesViewsAndEmptyImages) {
    const ColorProfile::Shared profile = ColorProfile::named("adobe-rgb");
    const cv::Mat image = randomColors(20, 30, CV_32F);
    const cv::Mat view = image.colRange(3, 17);
    EXPECT_MAT_EQUAL(profile->srgbFrom(view), profile->srgbFrom(view.clone()));
    EXPECT_TRUE(profile->srgbFrom(cv::Mat()).empty());
    EXPECT_TRUE(profile->fromSrgb(cv::Mat()).empty());
}

TEST(ColorProfile, WhatIsNoNumberStaysInItsPixel) {
    cv::Mat image(1, 3, CV_32FC3, cv::Scalar::all(0.5));
    image.at<cv::Vec3f>(1)[2] = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat srgb = ColorProfile::named("adobe-rgb")->srgbFrom(image);
    for (int c = 0; c < 3; ++c) {
        EXPECT_TRUE(std::isnan(srgb.at<cv::Vec3f>(1)[c]));
        EXPECT_EQ(srgb.at<cv::Vec3f>(0)[c], srgb.at<cv::Vec3f>(2)[c]);
        EXPECT_FALSE(std::isnan(srgb.at<cv::Vec3f>(0)[c]));
    }
}

TEST(ColorProfile, TheWayBackIsExact) {
    for (const char* const name : {"srgb", "display-p3", "adobe-rgb", "prophoto"}) {
        const ColorProfile::Shared profile = ColorProfile::named(name);
        // Not down to black, where a pure power is infinitely steep: what is left of 1e-8 is rounding.
        const cv::Mat image = randomColors(10, 100, CV_32F) * 0.98F + cv::Scalar::all(0.02);
        EXPECT_MAT_NEAR(profile->fromSrgb(profile->srgbFrom(image)), image, Tolerance{.absolute = 5e-5}) << name;
    }
}

std::string problemOf(std::vector<unsigned char> icc) {
    try {
        ColorProfile::ofIcc(std::move(icc));
    } catch (const ProfileProblem& problem) {
        return problem.what();
    }
    return "";
}

TEST(ColorProfile, WhatCannotBeUsedIsRefused) {
    EXPECT_EQ(problemOf({}), " is cut off");
    EXPECT_EQ(problemOf(std::vector<unsigned char>(1000)), " is no ICC profile");
    EXPECT_EQ(problemOf(cmykProfile()), " 'CMYK of the test' is one of CMYK");
    EXPECT_EQ(problemOf(linkProfile()), " 'link of the test' is not one of a device or a colour space");
    std::vector<unsigned char> cut = ColorProfile::named("adobe-rgb")->icc();
    cut.resize(cut.size() / 2);
    EXPECT_EQ(problemOf(cut), " is cut off");
    EXPECT_EQ(problemOf(lacking(ColorProfile::named("adobe-rgb")->icc(), "gXYZ")),
              " 'Adobe RGB (1998)' lacks what a conversion takes, or it is malformed");
}

TEST(ColorProfile, LeavesWhatStandsBehindIt) {
    std::vector<unsigned char> icc = ColorProfile::named("adobe-rgb")->icc();
    const std::vector<unsigned char> alone = icc;
    icc.resize(icc.size() + 100, 7);
    EXPECT_EQ(ColorProfile::ofIcc(icc)->icc(), alone);
}

// Whatever becomes of the bytes of a profile: it is refused, or it gives colours.
TEST(ColorProfile, MutationsAreRefusedOrGiveColors) {
    const std::vector<std::vector<unsigned char>> valid = {ColorProfile::named("adobe-rgb")->icc(),
                                                           ColorProfile::named("display-p3")->icc(), greyProfile(2.2),
                                                           lutProfile(5)};
    const cv::Mat image = randomColors(2, 20, CV_8U);
    std::mt19937 random(7);
    ::testing::internal::CaptureStderr();
    int refused = 0;
    int used = 0;
    for (int k = 0; k < 800; ++k) {
        std::vector<unsigned char> icc = valid[static_cast<std::size_t>(k) % valid.size()];
        const unsigned changes = 1 + random() % 8;
        for (unsigned change = 0; change < changes; ++change) {
            // Most changes hit the header and the tags, where sizes and places stand.
            const std::size_t range = random() % 3 == 0 ? icc.size() : std::min<std::size_t>(icc.size(), 400);
            const std::size_t at = random() % range;
            switch (random() % 4) {
                case 0:
                    icc[at] = static_cast<unsigned char>(random());
                    break;
                case 1:
                    icc[at] ^= static_cast<unsigned char>(1U << random() % 8);
                    break;
                case 2:
                    icc[at] = 0xFF;
                    break;
                default:
                    icc.resize(random() % 5 == 0 ? at : icc.size());
                    break;
            }
            if (icc.empty()) {
                break;
            }
        }
        try {
            const cv::Mat srgb = ColorProfile::ofIcc(std::move(icc))->srgbFrom(image);
            EXPECT_EQ(srgb.size(), image.size());
            EXPECT_TRUE(cv::checkRange(srgb)) << k;
            ++used;
        } catch (const ProfileProblem&) {
            ++refused;
        }
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "") << "the library of profiles is silent";
    EXPECT_GT(refused, 100);
    EXPECT_GT(used, 100);
}

}  // namespace
}  // namespace likeness::testing
