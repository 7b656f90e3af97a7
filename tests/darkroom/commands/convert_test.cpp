#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace likeness::testing {
namespace {

using testing::pixel;

/// First channel as red: the order in which the files hold X, Y, Z, L*, a*, b* and the like.
cv::Mat firstAsRed(const cv::Mat& image) {
    cv::Mat result;
    cv::cvtColor(image, result, cv::COLOR_BGR2RGB);
    return result;
}

/// An image on the scale 0..1, as the library converts it, with the channels as the file holds them.
cv::Mat converted(cv::Mat bgr, const std::string& space) {
    bgr = bgr.clone();
    cv::Mat result(bgr.size(), CV_32FC3);
    cv::Mat displayWhite = pixel(1, 1, 1);
    if (space == "xyz") {
        convertBGRToXYZDirect(bgr, result);
    } else if (space == "sharpened") {
        convertBGRToXYZDirect(bgr, result);
        convertXYZtoSharpenedBGR(result, result);
        return result;
    } else if (space == "log-lms") {
        convertBGRtoLMS(bgr, result);
    } else if (space == "lalphabeta") {
        convertBGRtoLMS(bgr, result);
        convertLMStoLab(result, result);
    } else if (space == "opponent") {
        cv::Mat opponent(bgr.size(), CV_32FC2);
        convertToSimpleOpponentSpace(bgr, opponent);
        std::vector<cv::Mat> planes;
        cv::split(opponent, planes);
        planes.push_back(cv::Mat::zeros(bgr.size(), CV_32F));
        cv::merge(planes, result);
    } else if (space == "yuv") {
        convertBGRtoYUV(bgr, result);
    } else {
        convertBGRToLab(bgr, displayWhite, result);
    }
    return firstAsRed(result);
}

const std::vector<std::string>& spaceNames() {
    static const std::vector<std::string> names = {"xyz",      "sharpened", "log-lms", "lalphabeta",
                                                   "opponent", "yuv",       "lab"};
    return names;
}

using DarkroomConvert = DarkroomProgram;

TEST_F(DarkroomConvert, WritesWhatTheLibraryConverts) {
    for (const std::string& space : spaceNames()) {
        SCOPED_TRACE(space);
        const Outcome outcome = expectDone({"convert", photo("cat.jpg"), "--to", space, "-o", space + ".tif"});
        EXPECT_EQ(outcome.out, "");
        EXPECT_MAT_EQUAL(imageLeft(space + ".tif"), converted(unitPhotograph("cat.jpg"), space));
    }
    EXPECT_EQ(filesLeft().size(), spaceNames().size());
}

TEST_F(DarkroomConvert, TakesSixteenBitsAndFloats) {
    cv::Mat unit = randomImage({31, 17}, 3, -0.2F, 1.5F, 4);
    const std::string floats = save("floats.tif", unit);
    cv::Mat wide;
    unit.convertTo(wide, CV_16U, 65535.0);
    const std::string sixteen = save("sixteen.png", wide);
    cv::Mat unitOfWide(wide.size(), CV_32FC3);
    for (int i = 0; i < wide.rows; ++i) {
        for (int j = 0; j < wide.cols * 3; ++j) {
            unitOfWide.ptr<float>(i)[j] = static_cast<float>(wide.ptr<ushort>(i)[j] / 65535.0);
        }
    }
    for (const std::string& space : spaceNames()) {
        SCOPED_TRACE(space);
        expectDone({"convert", floats, "--to", space, "-o", "a.tif"});
        EXPECT_MAT_EQUAL(imageLeft("a.tif"), converted(unit, space));
        expectDone({"convert", sixteen, "--to", space, "-o", "b.tif"});
        EXPECT_MAT_EQUAL(imageLeft("b.tif"), converted(unitOfWide, space));
    }
}

TEST_F(DarkroomConvert, LeadsBackToThePicture) {
    const cv::Mat picture = unitPhotograph("cat.jpg");
    for (const auto& [space, tolerance] : std::vector<std::pair<std::string, double>>{
             // Measured on the example photographs: 7e-7, from float matrices and their inverses.
             {"xyz", 2e-6},
             {"sharpened", 2e-6},
             {"yuv", 2e-6},
             {"lab", 2e-6},
             // The published matrices of cone responses have three or four digits: 0.0057 on this photograph.
             {"log-lms", 0.01},
             {"lalphabeta", 0.01}}) {
        SCOPED_TRACE(space);
        expectDone({"convert", photo("cat.jpg"), "--to", space, "-o", "there.tif"});
        expectDone({"convert", "there.tif", "--from", space, "-o", "back.tif"});
        EXPECT_MAT_NEAR(imageLeft("back.tif"), picture, {.absolute = tolerance});
        expectDone({"convert", "there.tif", "--from", space, "-o", "back.png"});
        cv::Mat bytes;
        picture.convertTo(bytes, CV_8U, 255);
        EXPECT_LE(cv::norm(imageLeft("back.png"), bytes, cv::NORM_INF), tolerance > 1e-3 ? 2 : 0);
    }
}

TEST_F(DarkroomConvert, LeadsBackAsTheLibraryDoes) {
    const cv::Mat values = randomImage({20, 30}, 3, 0, 1, 8);
    const std::string in = save("values.tif", firstAsRed(values));
    const auto back = [&](const std::string& space) {
        expectDone({"convert", in, "--from", space, "--unmarked", "-o", "back.tif"});
        return imageLeft("back.tif");
    };
    cv::Mat expected(values.size(), CV_32FC3);
    cv::Mat work = values.clone();
    convertXYZToBGRDirect(work, expected);
    EXPECT_MAT_EQUAL(back("xyz"), expected);
    work = firstAsRed(values);
    convertSharpenedBGRtoXYZ(work, work);
    convertXYZToBGRDirect(work, expected);
    EXPECT_MAT_EQUAL(back("sharpened"), expected);
    convertLabtoLMS(values, work);
    convertLMStoBGR(work, expected);
    EXPECT_MAT_EQUAL(back("lalphabeta"), expected);
    convertLMStoLab(values, work);
    convertLabtoLMS(work, work);
    convertLMStoBGR(work, expected);
    EXPECT_MAT_EQUAL(back("log-lms"), expected);
    cv::Mat rgbFromYuv = yuvFromRgb().inv();
    multiplyImageByMatrixBackward(values, expected, rgbFromYuv);
    EXPECT_MAT_EQUAL(back("yuv"), expected);
    convertLabToBGR(values, pixel(1, 1, 1), expected);
    EXPECT_MAT_EQUAL(back("lab"), expected);
}

TEST_F(DarkroomConvert, LabTakesAWhite) {
    cv::Mat bgr = unitPhotograph("coffee.jpg");
    cv::Mat white = pixel(0.8, 0.9, 1);
    cv::Mat lab(bgr.size(), CV_32FC3);
    convertBGRToLab(bgr, white, lab);
    expectDone({"convert", photo("coffee.jpg"), "--to", "lab", "--white", "0.8,0.9,1", "-o", "lab.tif"});
    EXPECT_MAT_EQUAL(imageLeft("lab.tif"), firstAsRed(lab));
    convertLabToBGR(lab, white, bgr);
    expectDone({"convert", "lab.tif", "--from", "lab", "--white", "0.8,0.9,1", "-o", "bgr.tif"});
    EXPECT_MAT_EQUAL(imageLeft("bgr.tif"), bgr);
}

TEST_F(DarkroomConvert, XyzTakesAWhite) {
    cv::Mat bgr = unitPhotograph("coffee.jpg");
    cv::Mat white = pixel(0.9642, 1, 0.8249);
    cv::Mat xyz(bgr.size(), CV_32FC3);
    convertBGRtoXYZ(bgr, white, xyz);
    expectDone({"convert", photo("coffee.jpg"), "--to", "xyz", "--xyz-white", "0.9642,1,0.8249", "-o", "xyz.tif"});
    EXPECT_MAT_EQUAL(imageLeft("xyz.tif"), firstAsRed(xyz));
    convertXYZtoBGR(xyz, white, bgr);
    expectDone({"convert", "xyz.tif", "--from", "xyz", "--xyz-white", "0.9642,1,0.8249", "-o", "bgr.tif"});
    EXPECT_MAT_EQUAL(imageLeft("bgr.tif"), bgr);
}

TEST_F(DarkroomConvert, XyzTakesTheChromaticityOfAWhite) {
    cv::Mat bgr = unitPhotograph("coffee.jpg");
    cv::Mat white(1, 1, CV_32FC3);
    xytoXYZ(cv::Mat(1, 1, CV_32FC2, cv::Scalar(0.3457, 0.3585)), 1.0F, white);
    cv::Mat xyz(bgr.size(), CV_32FC3);
    convertBGRtoXYZ(bgr, white, xyz);
    expectDone({"convert", photo("coffee.jpg"), "--to", "xyz", "--xyz-white", "0.3457,0.3585", "-o", "xyz.tif"});
    EXPECT_MAT_EQUAL(imageLeft("xyz.tif"), firstAsRed(xyz));
}

TEST_F(DarkroomConvert, LabAsPngIsScaledTo255) {
    cv::Mat lab = firstAsRed(converted(unitPhotograph("cat.jpg"), "lab"));
    scaleLab(lab);
    cv::Mat expected;
    firstAsRed(lab).convertTo(expected, CV_16U, 65535.0 / 255.0);
    const Outcome outcome = expectDone({"convert", photo("cat.jpg"), "--to", "lab", "-o", "lab.png", "--bits", "16"});
    EXPECT_NE(outcome.err.find("L* times 2.55, a* + 128, b* + 128"), std::string::npos) << outcome.err;
    EXPECT_LE(cv::norm(imageLeft("lab.png"), expected, cv::NORM_INF), 1);
    expectDone({"convert", "lab.png", "--from", "lab", "-o", "back.tif"});
    // Half a step of 255/65535 in L*, a*, b*, at most a thousandth in gamma-encoded values, and more near black.
    EXPECT_MAT_NEAR(imageLeft("back.tif"), unitPhotograph("cat.jpg"), {.absolute = 2e-3});
}

TEST_F(DarkroomConvert, Refuses) {
    const std::string in = photo("cat.jpg");
    expectRefused({"convert", in, "-o", "a.tif"}, "one of --to and --from is needed, and not both");
    expectRefused({"convert", in, "--to", "lab", "--from", "xyz", "-o", "a.tif"},
                  "one of --to and --from is needed, and not both");
    expectRefused({"convert", in, "--to", "cmyk", "-o", "a.tif"},
                  "--to: 'cmyk' is none of xyz, sharpened, log-lms, lalphabeta, opponent, yuv, lab");
    expectRefused({"convert", in, "--to", "xyz", "-o", "a.png"}, "--output: 'a.png' cannot hold X, Y, Z: take a .tif");
    expectRefused({"convert", in, "--to", "lab", "-o", "a.hdr"},
                  "--output: 'a.hdr' cannot hold L*, a*, b*: take a .tif or a .png");
    expectRefused({"convert", in, "--to", "xyz", "--white", "1,1,1", "-o", "a.tif"},
                  "--white: only lab has a white of its own, not xyz");
    expectRefused({"convert", in, "--to", "lab", "--xyz-white", "1,1,1", "-o", "a.tif"},
                  "--xyz-white: only xyz is made under it, not lab");
    expectRefused({"convert", in, "--to", "xyz", "--output-profile", "display-p3", "-o", "a.tif"},
                  "--output-profile: xyz holds no colours of a profile; leave the option out");
    expectRefused({"convert", in, "--from", "xyz", "--assume-profile", "adobe-rgb", "-o", "a.png"},
                  "--assume-profile: xyz is not read through a profile; leave the option out");
    for (const std::string white : {"1,1", "1,1,1,1", "1,0,1", "1,1.01,1", "1,nan,1", "1,,1"}) {
        expectRefused({"convert", in, "--to", "lab", "--white", white, "-o", "a.tif"},
                      "--white: '" + white + "' is not three numbers above 0 and up to 1, as in 0.9,1,0.8");
    }
    for (const std::string white : {"0.3,0", "0,0.3", "0.6,0.5", "0.3,x"}) {
        expectRefused({"convert", in, "--to", "xyz", "--xyz-white", white, "-o", "a.tif"},
                      "--xyz-white: '" + white + "' is not a chromaticity x,y, both above 0, with a sum up to 1");
    }
    expectRefused({"convert", in, "--to", "xyz", "--xyz-white", "1", "-o", "a.tif"},
                  "--xyz-white: '1' is not three numbers above 0 and up to 2, as in 0.9,1,0.8, nor a chromaticity x,y");
    expectRefused({"convert", in, "--from", "xyz", "-o", "a.png"},
                  "'" + in + "' holds integers: --from xyz takes the float TIFF that --to xyz writes");
    expectRefused({"convert", in, "--from", "opponent", "-o", "a.png"},
                  "--from: opponent cannot be converted back: it holds no lightness");
    expectRefused({"convert", "missing.tif", "--from", "xyz", "-o", "a.png"},
                  "cannot read 'missing.tif': No such file or directory");
    expectRefused({"convert", "a.hdr", "--from", "xyz", "-o", "a.png"},
                  "'a.hdr' holds linear red, green and blue: --from xyz takes the float TIFF that --to xyz writes");
    expectRefused({"convert", "missing.jpg", "--to", "xyz", "-o", "a.tif"},
                  "cannot read 'missing.jpg': No such file or directory");
    expectRefused({"convert", in, "--to", "xyz", "-o", "none/a.tif"},
                  "--output: 'none/a.tif' cannot be written: the folder 'none' does not exist");
}

TEST_F(DarkroomConvert, SpacesThatAreNoPictureStayFloats) {
    const std::string in = save("in.png", randomPhotograph({8, 8}, 3));
    for (const std::string space : {"xyz", "sharpened", "log-lms", "lalphabeta", "opponent", "yuv", "lab"}) {
        for (const std::string depth : {"8", "16"}) {
            expectRefused({"convert", in, "--to", space, "-o", "a.tif", "--depth", depth},
                          "--depth: a .tif of " + space + " has floats; leave the option out");
        }
    }
    expectDone({"convert", in, "--to", "lab", "-o", "a.tif", "--depth", "float"});
    EXPECT_EQ(imageLeft("a.tif").depth(), CV_32F);
    expectDone({"convert", in, "--to", "lab", "-o", "a.png", "--depth", "16"});
    EXPECT_EQ(imageLeft("a.png").depth(), CV_16U);
    expectDone({"convert", "a.tif", "--from", "lab", "-o", "b.tif", "--depth", "16"});
    EXPECT_EQ(imageLeft("b.tif").depth(), CV_16U);
}

TEST_F(DarkroomConvert, TakesBackWhatSaysThatItIsOfTheSpace) {
    const std::string in = photo("cat.jpg");
    expectRefused({"convert", in, "--from", "lab", "-o", "a.png"},
                  "'" + in +
                      "' is a picture as far as it says, and --from lab takes what --to lab writes; --unmarked "
                      "takes it all the same");
    expectDone({"convert", in, "--from", "lab", "--unmarked", "-o", "a.png"});
    for (const std::string name : {"lab.png", "lab.tif"}) {
        expectDone({"convert", in, "--to", "lab", "-o", name});
        EXPECT_EQ(expectDone({"convert", name, "--from", "lab", "-o", "a.tif"}).err.find("warning"), std::string::npos);
        EXPECT_NE(expectDone({"convert", name, "--from", "lab", "--white", "0.9,1,1", "-o", "a.tif"})
                      .err.find("warning: '" + name +
                                "' was made with the white 1,1,1, and is converted back with "
                                "0.9,1,1\n"),
                  std::string::npos);
    }
    expectRefused(
        {"convert", "lab.tif", "--from", "yuv", "-o", "a.png"},
        "'lab.tif' says that it holds lab, and --from yuv takes what --to yuv writes; --unmarked takes it all "
        "the same");
    expectRefused({"convert", in, "--to", "lab", "--unmarked", "-o", "a.png"}, "--unmarked requires --from");
}

TEST_F(DarkroomConvert, TellsWhatTheWayBackClips) {
    cv::Mat lab(2, 4, CV_32FC3, cv::Scalar(0, 0, 50));  // L* is red
    const std::string within = save("within.tif", lab);
    EXPECT_EQ(expectDone({"convert", within, "--from", "lab", "--unmarked", "-o", "a.png"}).err.find("clips"),
              std::string::npos);
    lab.at<cv::Vec3f>(1, 2) = {0, 0, 130};
    const std::string beyond = save("beyond.tif", lab);
    EXPECT_NE(
        expectDone({"convert", beyond, "--from", "lab", "--unmarked", "-o", "a.png"})
            .err.find("darkroom convert: 'a.png': 12 % of the pixels stand at the ends of 0..1, where the way back "
                      "clips, 12 % of the values at the upper end\n"),
        std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
