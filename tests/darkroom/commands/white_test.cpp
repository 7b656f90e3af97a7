#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace likeness::testing {
namespace {

struct White {
    cv::Vec3f bgr;
    cv::Vec2f xy;
};

White whiteOf(const cv::Mat& bgr) {
    cv::Mat white(1, 1, CV_32FC3);
    cv::Mat previous(1, 1, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    cv::Mat mask;
    computeWhitePointFromGrayWorld(bgr, white, previous, mask, dropAll());
    cv::Mat xyz(1, 1, CV_32FC3);
    convertBGRToXYZDirect(white, xyz);
    cv::Mat xy(1, 1, CV_32FC2);
    XYZtoxy(xyz, xy);
    return {white.at<cv::Vec3f>(0, 0), xy.at<cv::Vec2f>(0, 0)};
}

std::string textOf(const White& white) {
    const PlanckianNeighbor nearest = correlatedColorTemperature(cv::Vec2d(white.xy));
    return "white B,G,R: " + nineDigits(white.bgr[0]) + "," + nineDigits(white.bgr[1]) + "," +
           nineDigits(white.bgr[2]) + "\nchromaticity x,y: " + nineDigits(white.xy[0]) + "," + nineDigits(white.xy[1]) +
           "\ncorrelated colour temperature: " + nineDigits(nearest.kelvin) +
           " K\ndistance from the Planckian locus (Duv): " + nineDigits(nearest.duv) + "\n";
}

using DarkroomWhite = DarkroomProgram;

TEST_F(DarkroomWhite, PrintsTheLibrarysEstimate) {
    for (const std::string& name : examplePhotographNames()) {
        const Outcome outcome = expectDone({"white", save(name + ".png", examplePhotograph(name))});
        EXPECT_EQ(outcome.out, textOf(whiteOf(unitPhotograph(name)))) << name;
        EXPECT_EQ(outcome.err, "");
    }
    const cv::Mat floats = randomImage({40, 30}, 3, 0.4F, 0.6F, 2);
    EXPECT_EQ(expectDone({"white", save("floats.tif", floats)}).out, textOf(whiteOf(floats)));
    EXPECT_TRUE(filesLeft().empty());
}

TEST_F(DarkroomWhite, ReadsSixteenBits) {
    const cv::Mat bytes = examplePhotograph("cat.jpg");
    cv::Mat wide;
    bytes.convertTo(wide, CV_16U, 257);  // 255 * 257 = 65535: the same shares of white
    EXPECT_EQ(expectDone({"white", save("wide.png", wide)}).out, textOf(whiteOf(unitPhotograph("cat.jpg"))));
}

TEST_F(DarkroomWhite, PrintsJson) {
    const std::string in = photo("coffee.jpg");
    const auto json = nlohmann::json::parse(expectDone({"white", in, "--json"}).out);
    const White white = whiteOf(unitPhotograph("coffee.jpg"));
    const PlanckianNeighbor nearest = correlatedColorTemperature(cv::Vec2d(white.xy));
    EXPECT_EQ(json.size(), 8U);
    EXPECT_EQ(json["schema"], "darkroom.white");
    EXPECT_EQ(json["schema_version"], 1);
    EXPECT_EQ(json["program_version"], LIKENESS_VERSION);
    EXPECT_EQ(json["input"], (nlohmann::json{{"path", in}, {"width_pixels", 600}, {"height_pixels", 400}}));
    ASSERT_EQ(json["white_bgr"].size(), 3U);
    ASSERT_EQ(json["chromaticity_xy"].size(), 2U);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(json["white_bgr"][static_cast<std::size_t>(c)].get<float>(), white.bgr[c]);
    }
    EXPECT_EQ(json["chromaticity_xy"][0].get<float>(), white.xy[0]);
    EXPECT_EQ(json["chromaticity_xy"][1].get<float>(), white.xy[1]);
    EXPECT_EQ(json["correlated_color_temperature_kelvin"], roundedToNineDigits(nearest.kelvin));
    EXPECT_EQ(json["planckian_distance_uv"], roundedToNineDigits(nearest.duv));
}

TEST_F(DarkroomWhite, WarnsWhereNoPixelIsNearlyNeutral) {
    const std::string red = save("red.png", cv::Mat(8, 9, CV_8UC3, cv::Scalar(0, 0, 255)));
    const Outcome outcome = expectDone({"white", red, "--quiet"});
    EXPECT_EQ(outcome.err,
              "darkroom white: warning: '" + red + "' has no nearly neutral pixel to estimate a white from\n");
    EXPECT_EQ(outcome.out, textOf(whiteOf(cv::Mat(8, 9, CV_32FC3, cv::Scalar(0, 0, 1)))));
}

TEST_F(DarkroomWhite, HasNoTemperatureWhereTheWhiteHasNone) {
    // The sums of such values overflow; the estimate is then pure blue, or black.
    const std::string blue = save("blue.tif", cv::Mat(80, 90, CV_32FC3, cv::Scalar(2e38, 2e38, 1.8e38)));
    EXPECT_EQ(expectDone({"white", blue}).out,
              "white B,G,R: 1,0,0\nchromaticity x,y: 0.149999976,0.0599999875\ncorrelated colour temperature: none\n"
              "distance from the Planckian locus (Duv): none\n");
    const std::string black = save("black.tif", cv::Mat(80, 90, CV_32FC3, cv::Scalar(1.8e38, 2e38, 2e38)));
    EXPECT_EQ(expectDone({"white", black}).out,
              "white B,G,R: 0,0,0\nchromaticity x,y: none,none\ncorrelated colour temperature: none\n"
              "distance from the Planckian locus (Duv): none\n");
    const auto json = nlohmann::json::parse(expectDone({"white", black, "--json"}).out);
    EXPECT_TRUE(json["chromaticity_xy"][0].is_null());
    EXPECT_TRUE(json["correlated_color_temperature_kelvin"].is_null());
    EXPECT_TRUE(json["planckian_distance_uv"].is_null());
}

TEST_F(DarkroomWhite, WritesTheWhiteOfEachPixel) {
    cv::Mat bgr = unitPhotograph("cat.jpg");
    cv::Mat white;
    computeWhiteImg(bgr, white, 16, dropAll());
    expectDone({"white", photo("cat.jpg"), "-o", "white.tif"});
    EXPECT_MAT_EQUAL(imageLeft("white.tif"), white);
    cv::Mat bilateral;
    computeWhiteImgVs2(bgr, bilateral, 0.1F, 9);
    expectDone({"white", photo("cat.jpg"), "-o", "bilateral.tif", "--bilateral", "0.1", "--diameter", "9"});
    EXPECT_MAT_EQUAL(imageLeft("bilateral.tif"), bilateral);
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"bilateral.tif", "white.tif"}));
}

TEST_F(DarkroomWhite, KeepsTheDumpsOfTheFilterWhereAsked) {
    const std::string small = save("small.png", examplePhotograph("cat.jpg")(cv::Rect(100, 100, 60, 50)));
    std::filesystem::create_directory(output("dumps"));
    expectDone({"white", small, "-o", "white.png", "--dumps", "dumps"});
    const auto entries = std::filesystem::directory_iterator(output("dumps"));
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 8);
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "white.png"}));
}

TEST_F(DarkroomWhite, Refuses) {
    const std::string in = photo("cat.jpg");
    expectRefused({"white", "missing.png"}, "cannot read 'missing.png': No such file or directory");
    expectRefused({"white", in, "-o", "white.bmp"},
                  "--output: 'white.bmp' has none of the extensions .png, .jpg, .jpeg, .tif, .tiff, .hdr, .exr, "
                  ".webp, .avif, .jxl");
    expectRefused({"white", in, "--bilateral", "0.1", "--diameter", "5"}, "--bilateral requires --output");
    expectRefused({"white", in, "-o", "w.png", "--bilateral", "0.1"}, "--bilateral requires --diameter");
    expectRefused({"white", in, "-o", "w.png", "--diameter", "5"}, "--diameter requires --bilateral");
    expectRefused({"white", in, "-o", "w.png", "--bilateral", "0", "--diameter", "5"},
                  "--bilateral: '0' is not a number from 0.0001 to 100");
    expectRefused({"white", in, "-o", "w.png", "--bilateral", "1", "--diameter", "256"},
                  "--diameter: '256' is not a whole number from 1 to 255");
    expectRefused({"white", in, "--bits", "16"}, "--bits requires --output");
    expectRefused({"white", in, "--quality", "9"}, "--quality requires --output");
    cv::Mat holed(5, 5, CV_32FC3, cv::Scalar::all(0.5));
    holed.at<cv::Vec3f>(2, 2)[1] = std::numeric_limits<float>::quiet_NaN();
    const std::string nan = save("nan.tif", holed);
    expectRefused({"white", nan, "-o", "w.png"}, "'" + nan + "' has values that are not finite");
    const std::string far = save("far.tif", cv::Mat(5, 5, CV_32FC3, cv::Scalar::all(2e6)));
    expectRefused({"white", far, "-o", "w.tif", "--bilateral", "0.1", "--diameter", "5"},
                  "'" + far + "' contains NaN or values outside -1000000 to 1000000");
}

}  // namespace
}  // namespace likeness::testing
