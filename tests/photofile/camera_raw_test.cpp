// Raw files of a camera, made in code: their colours are known.
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "support/built_modules.hpp"
#include "support/made_dng.hpp"
#include "support/mat_matchers.hpp"
#include "support/needed_package.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

class CameraRaw : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isModuleBuilt("raw")) {
            SKIP_WITHOUT_PACKAGE("the module raw was not built: its library is not installed");
        }
    }

    static void write(const std::string& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    static PhotographRead read(const std::string& path, const ProfileChoice& choice = {}) {
        ManagedColors colors(choice);
        return readPhotograph(path, PhotographValues::stored, usualMostPixels, &colors);
    }

    const ScratchDirectory scratch_;
};

const cv::Vec3d leftColor(0.2, 0.4, 0.1);  // linear R, G, B
const cv::Vec3d rightColor(0.5, 0.25, 0.6);

/// Two flat colours side by side.
cv::Mat twoColors() {
    cv::Mat linear(48, 80, CV_64FC3, cv::Scalar(leftColor));
    linear.colRange(40, 80) = cv::Scalar(rightColor);
    return linear;
}

/// In the middle of a flat colour, where nothing is left to interpolation.
void expectColor(const cv::Mat& bgr, cv::Point at, const cv::Vec3d& linear, double tolerance) {
    const cv::Mat unit = toUnit(bgr);
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(unit.at<cv::Vec3f>(at)[2 - c], sRGBCompanding(static_cast<float>(linear[c])), tolerance)
            << "channel " << c << " at " << at;
    }
}

TEST_F(CameraRaw, HasTheColorsOfTheScene) {
    struct Case {
        MadeDng camera;
        double tolerance;  ///< half a step of the linear values, encoded, and what primaries of four digits leave
    };
    const Case cases[] = {{{true, 16}, 2e-3},
                          {{false, 16}, 2e-3},
                          {{true, 14}, 2e-3},
                          {{true, 8}, 6e-3},
                          {{false, 8}, 6e-3},
                          {{true, 16, true}, 2e-3},
                          {{true, 14, true}, 2e-3},
                          {{true, 16, false, {0.5, 1, 0.625}}, 2e-3},
                          {{false, 16, false, {0.5, 1, 0.625}}, 2e-3},
                          {{true, 14, true, {0.625, 1, 0.5}}, 2e-3}};
    for (const Case& one : cases) {
        SCOPED_TRACE(::testing::Message() << one.camera.bits << " bits, mosaic " << one.camera.mosaic << ", compressed "
                                          << one.camera.compressed << ", neutral " << one.camera.neutral);
        write("a.dng", dngOf(twoColors(), one.camera));
        const PhotographRead photograph = read("a.dng");
        ASSERT_EQ(photograph.problem, "");
        ASSERT_EQ(photograph.bgr.size(), cv::Size(80, 48));
        expectColor(photograph.bgr, {20, 24}, leftColor, one.tolerance);
        expectColor(photograph.bgr, {60, 24}, rightColor, one.tolerance);
        EXPECT_TRUE(photograph.linear);
        ASSERT_FALSE(photograph.remarks.empty());
        EXPECT_EQ(photograph.remarks[0].find("adaptive homogeneity (AHD)") != std::string::npos, one.camera.mosaic)
            << photograph.remarks[0];
    }
}

TEST_F(CameraRaw, ABaselineExposureIsTold) {
    MadeDng camera;
    camera.baselineExposure = 0.5;
    write("a.dng", dngOf(twoColors(), camera));
    const PhotographRead photograph = read("a.dng");
    expectColor(photograph.bgr, {20, 24}, leftColor, 2e-3);
    ASSERT_EQ(photograph.remarks.size(), 2U);
    EXPECT_EQ(photograph.remarks[1], "its baseline exposure of 0.5 EV is not applied; --exposure 0.5 does");
    ProfileChoice asked;
    asked.exposure = 0.5;
    expectColor(read("a.dng", asked).bgr, {20, 24}, leftColor * std::sqrt(2), 2e-3);
}

TEST_F(CameraRaw, IsTurnedUpright) {
    MadeDng camera;
    camera.mosaic = false;
    camera.orientation = 6;
    write("a.dng", dngOf(twoColors(), camera));
    const PhotographRead photograph = read("a.dng");
    ASSERT_EQ(photograph.bgr.size(), cv::Size(48, 80));
    expectColor(photograph.bgr, {24, 20}, leftColor, 2e-3);
    expectColor(photograph.bgr, {24, 60}, rightColor, 2e-3);
}

TEST_F(CameraRaw, APreviewIsTurnedUprightOnce) {
    cv::Mat picture(48, 80, CV_8UC3, cv::Scalar(0, 0, 200));
    picture.colRange(40, 80) = cv::Scalar(200, 0, 0);
    std::vector<uchar> jpeg;
    ASSERT_TRUE(cv::imencode(".jpg", picture, jpeg));
    ProfileChoice preview;
    preview.selection.preview = true;
    MadeDng camera;
    camera.orientation = 6;
    camera.preview.assign(jpeg.begin(), jpeg.end());
    const std::string plain = camera.preview;
    // The preview says nothing; then it says the same itself.
    for (const std::string& stored : {plain, jpegWithOrientation(plain, 6)}) {
        camera.preview = stored;
        write("a.dng", dngOf(twoColors(), camera));
        const PhotographRead photograph = read("a.dng", preview);
        ASSERT_EQ(photograph.problem, "");
        ASSERT_EQ(photograph.bgr.size(), cv::Size(48, 80));
        EXPECT_GT(photograph.bgr.at<cv::Vec3b>(20, 24)[2], 150);
        EXPECT_GT(photograph.bgr.at<cv::Vec3b>(60, 24)[0], 150);
    }
    // One that is upright already is left alone.
    cv::rotate(picture, picture, cv::ROTATE_90_CLOCKWISE);
    ASSERT_TRUE(cv::imencode(".jpg", picture, jpeg));
    camera.preview.assign(jpeg.begin(), jpeg.end());
    write("a.dng", dngOf(twoColors(), camera));
    EXPECT_EQ(read("a.dng", preview).bgr.size(), cv::Size(48, 80));
    EXPECT_GT(read("a.dng", preview).bgr.at<cv::Vec3b>(20, 24)[2], 150);
}

TEST_F(CameraRaw, OneThatIsCutOffIsRefusedInOneLine) {
    for (const bool compressed : {false, true}) {
        MadeDng camera;
        camera.compressed = compressed;
        const std::string whole = dngOf(twoColors(), camera);
        // In the raw values, among the entries, and in what they point to.
        for (const std::size_t length : {whole.size() / 4, whole.size() / 2, whole.size() - 300, whole.size() - 8}) {
            write("cut.dng", whole.substr(0, length));
            const PhotographRead photograph = read("cut.dng");
            EXPECT_TRUE(photograph.bgr.empty()) << length;
            EXPECT_EQ(photograph.problem.rfind(": ", 0), 0U) << photograph.problem;
            EXPECT_EQ(photograph.problem.find('\n'), std::string::npos) << photograph.problem;
        }
    }
}

}  // namespace
}  // namespace likeness::testing
