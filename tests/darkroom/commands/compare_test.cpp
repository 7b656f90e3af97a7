#include <likeness/color/srgb_companding.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/likeness.hpp>
#include "console/coefficient_limits.hpp"
#include "console/comparison_result.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "pages/comparison_report.hpp"
#include "support/built_modules.hpp"
#include "support/layered_exr.hpp"
#include "support/mat_matchers.hpp"
#include "support/needed_package.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <unistd.h>
#include <fstream>
#include <limits>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

class DarkroomCompare : public DarkroomProgram {
protected:
    /// What the program `likeness` leaves and prints for two photographs.
    Outcome likeness(const std::string& first, const std::string& second, const fs::path& where) const {
        return run({LIKENESS_PROGRAM, first, second}, where);
    }

    void expectLineOfLikeness(const std::string& first, const std::string& second) const {
        const ScratchDirectory elsewhere;
        const Outcome expected = likeness(first, second, elsewhere.path());
        ASSERT_EQ(expected.status, 0) << expected.err;
        const Outcome outcome = expectDone({"compare", first, second});
        EXPECT_EQ(outcome.out, expected.out);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(filesLeft(), std::vector<std::string>{});
    }

    static LikenessCoefficients coefficientsOf(const std::string& first, const std::string& second) {
        return comparePhotographs(examplePhotograph(first), examplePhotograph(second));
    }

    const std::string cat = photo("cat.jpg");
    const std::string coffee = photo("coffee.jpg");
};

TEST_F(DarkroomCompare, PrintsTheLineOfLikeness) {
    expectLineOfLikeness(cat, coffee);
    expectLineOfLikeness(coffee, cat);
    expectLineOfLikeness(photo("retina.jpg"), photo("coffee.jpg"));
    expectLineOfLikeness(cat, cat);
    expectLineOfLikeness(save("grey.png", cv::Mat(30, 40, CV_8U, cv::Scalar(77))),
                         save("black.png", cv::Mat(5, 6, CV_8UC3, cv::Scalar())));
}

TEST_F(DarkroomCompare, SixteenBitsAreNotReducedAndScoreAsTheirBytes) {
    const cv::Mat bytes = examplePhotograph("rocket.jpg")(cv::Rect(0, 0, 90, 70));
    cv::Mat deep;
    bytes.convertTo(deep, CV_16U, 257);
    const std::string path = save("deep.png", deep);
    const Outcome outcome = expectDone({"compare", path, save("bytes.png", bytes)});
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "");
    // What lies between two bytes counts.
    bytes.convertTo(deep, CV_16U, 257, 100);
    EXPECT_NE(expectDone({"compare", save("between.png", deep), path}).out, "1,1,1,1,1\n");
}

TEST_F(DarkroomCompare, FloatsHaveTheValuesOfTheFile) {
    const cv::Mat image = unitPhotograph("coffee.jpg")(cv::Rect(100, 100, 180, 120)).clone();
    const std::string bytes = save("bytes.png", examplePhotograph("coffee.jpg")(cv::Rect(100, 100, 180, 120)));
    const std::string other = photo("retina.jpg");
    const Outcome expected = expectDone({"compare", bytes, other});
    save("a.tif", image);
    // Each byte divided by 255 is what the 8-bit road takes.
    const Outcome outcome = expectDone({"compare", input("a.tif"), other});
    EXPECT_EQ(outcome.out, expected.out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(expectDone({"compare", other, input("a.tif"), "--json"}).err, "");
    EXPECT_EQ(expectDone({"compare", input("a.tif"), bytes}).out, expectDone({"compare", bytes, bytes}).out);
    EXPECT_EQ(expectDone({"compare", input("a.tif"), input("a.tif")}).out, "1,1,1,1,1\n");
}

TEST_F(DarkroomCompare, TellsWhatFloatsAreTakenForThatDoNotSayIt) {
    const cv::Mat image = unitPhotograph("coffee.jpg")(cv::Rect(100, 100, 90, 60)).clone();
    const std::string bare = saveBareFloats("bare.tif", image);
    const std::string told = save("told.tif", image);
    const std::string remark =
        "'" + bare +
        "': it does not say whether its floats are light, and they are taken for encoded as sRGB is; "
        "--assume-profile says what they are";
    const Outcome outcome = expectDone({"compare", bare, cat});
    EXPECT_EQ(outcome.err, "darkroom compare: " + remark + '\n');
    EXPECT_EQ(outcome.out, expectDone({"compare", told, cat}).out);
    EXPECT_NE(expectDone({"info", bare}).out.find("taken for encoded as sRGB"), std::string::npos);
    EXPECT_EQ(expectDone({"compare", told, cat}).err, "");
    EXPECT_EQ(expectDone({"compare", bare, cat, "--assume-profile", "srgb"}).err, "");
    EXPECT_EQ(expectDone({"compare", bare, cat, "--ignore-profile"}).err, "");
    // Of the pixels that other depths hold as such files do nothing is in doubt.
    cv::Mat words;
    image.convertTo(words, CV_16U, 65535);
    EXPECT_EQ(expectDone({"compare", save("words.tif", words), cat}).err, "");
    const std::string pairs = saveText("bare.csv", "first,second,id\n" + bare + "," + cat + ",a\n");
    expectDone({"batch", pairs, "-o", "bare.jsonl", "--quiet"});
    EXPECT_NE(contentOf(output("bare.jsonl")).find("taken for encoded as sRGB"), std::string::npos);
}

TEST_F(DarkroomCompare, AModuleThatIsMissingIsNamed) {
    const std::pair<std::string, std::string> files[] = {
        {"jxl", std::string("\xFF\x0A\x00\x00", 4)}, {"openexr", std::string("\x76\x2F\x31\x01\x02\x00\x00\x00", 8)}};
    for (const auto& [module, bytes] : files) {
        const std::string path = saveText("a." + module, bytes);
        const Outcome outcome =
            run({"/usr/bin/env", "LIKENESS_MODULES=/nowhere", LIKENESS_DARKROOM, "compare", path, photo("cat.jpg")},
                folder());
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("darkroom compare: cannot read '" + path + "'", 0), 0U) << outcome.err;
        EXPECT_NE(outcome.err.find("likeness_" + module + ".so cannot be loaded"), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

TEST_F(DarkroomCompare, LinearPhotographsAreEncodedAndTheirExposureIsTold) {
    const cv::Mat linear = unitPhotograph("coffee.jpg")(cv::Rect(100, 100, 180, 120)).clone();
    cv::Mat encoded = linear.clone();
    for (int i = 0; i < linear.rows; ++i) {
        sRGBCompandingOfRow(linear.ptr<float>(i), encoded.ptr<float>(i), 3 * static_cast<std::size_t>(linear.cols));
    }
    save("a.tif", encoded);
    save("a.pfm", linear);
    save("half.pfm", linear * 0.5);
    const std::string tif = input("a.tif");
    const Outcome outcome = expectDone({"compare", input("a.pfm"), tif});
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "darkroom compare: '" + input("a.pfm") +
                               "': its linear values are encoded for sRGB at an exposure of 0 EV\n");
    const Outcome exposed = expectDone({"compare", input("half.pfm"), tif, "--exposure", "1", "--json"});
    EXPECT_NE(exposed.out.find("\"linear_exposure_ev\": 1.0"), std::string::npos) << exposed.out;
    EXPECT_EQ(expectDone({"compare", input("half.pfm"), tif, "--exposure", "1"}).out, "1,1,1,1,1\n");
    const std::string csv = expectDone({"compare", input("half.pfm"), tif, "--exposure", "1", "--csv"}).out;
    EXPECT_NE(csv.find(",first_linear_exposure_ev,second_linear_exposure_ev\n"), std::string::npos) << csv;
    EXPECT_EQ(csv.substr(csv.size() - 4), ",1,\n");
    EXPECT_EQ(expectDone({"compare", tif, tif, "--csv"}).out.find("exposure"), std::string::npos);
}

TEST_F(DarkroomCompare, ReadsTheFloatTiffThatDarkroomWrites) {
    const std::string grey = save("grey.png", cv::Mat(examplePhotograph("cat.jpg"))(cv::Rect(50, 50, 90, 60)));
    expectDone({"structure", grey, "-o", "strength.tif", "--quiet"});
    ASSERT_EQ(imageLeft("strength.tif").type(), CV_32FC1);
    EXPECT_EQ(expectDone({"compare", "strength.tif", "strength.tif"}).out, "1,1,1,1,1\n");
    expectDone({"smooth", grey, "-o", "same.tif", "--radius", "0", "--eps", "0", "--quiet"});
    EXPECT_EQ(expectDone({"compare", "same.tif", grey}).out, "1,1,1,1,1\n");
    expectDone({"smooth", grey, "-o", "same.hdr", "--radius", "0", "--eps", "0", "--quiet"});
    const cv::Mat hdr = imageLeft("same.hdr");
    const cv::Mat unit = unitPhotograph("cat.jpg")(cv::Rect(50, 50, 90, 60));
    // Linear: a middle grey of 128 is 0.216 there.
    EXPECT_LT(cv::mean(hdr)[1], cv::mean(unit)[1] - 0.1);
    expectDone({"smooth", "same.hdr", "-o", "back.png", "--radius", "0", "--eps", "0", "--quiet"});
    expectDone({"compare", "back.png", grey, "--min", "lightness=0.9,brightness=0.9"});
}

TEST_F(DarkroomCompare, VeryBrightFloatsAreLikeThemselves) {
    const std::string path = save("bright.exr", randomImage({40, 30}, 3, 0, 5000, 4));
    // Up to the rounding of a float sum over thousands of bins.
    const std::string least =
        "brightness=0.99999,lightness=0.99999,chroma=0.99999,colorfulness=0.99999,saturation=0.99999";
    expectDone({"compare", path, path, "--min", least});
}

TEST_F(DarkroomCompare, FloatsGoIntoMapsAndReport) {
    const std::string path = save("a.exr", exampleImage("coffee.jpg")(cv::Rect(0, 0, 60, 40)).clone());
    fs::create_directory(output("maps"));
    fs::create_directory(output("appearance"));
    expectDone({"compare", path, cat, "--maps", "maps", "--report", "page.html", "--quiet"});
    expectDone({"appearance", path, "-o", "appearance", "--quiet"});
    for (const std::string name : {"brightness", "lightness", "chroma", "colorfulness", "saturation"}) {
        EXPECT_MAT_EQUAL(imageLeft("maps/first_" + name + ".tif"), imageLeft("appearance/a_" + name + ".tif"));
    }
    EXPECT_NE(contentOf(output("page.html")).find(fingerprintOf(path).sha256), std::string::npos);
}

TEST_F(DarkroomCompare, PixelsWithoutAnAppearanceAreToldOrRefused) {
    constexpr float none = std::numeric_limits<float>::quiet_NaN();
    cv::Mat image = exampleImage("coffee.jpg")(cv::Rect(0, 0, 20, 10)).clone();
    image(cv::Rect(0, 0, 20, 5)).setTo(cv::Scalar(none, none, none));
    const std::string half = save("half.tif", image);
    const Outcome outcome = expectDone({"compare", cat, half});
    EXPECT_EQ(outcome.err, "darkroom compare: warning: '" + half +
                               "': 50 % of its pixels hold values that are no numbers, infinite or negative, and are "
                               "not counted\n");
    EXPECT_EQ(expectDone({"compare", half, half}).out, "1,1,1,1,1\n");
    image.setTo(cv::Scalar(none, none, none));
    expectRefused({"compare", cat, save("none.tif", image)},
                  "cannot read '" + input("none.tif") +
                      "' as a photograph: all its pixels hold values that are no numbers, infinite or negative");
}

TEST_F(DarkroomCompare, TellsOfBackgroundsThatDifferWithTheSizes) {
    const cv::Mat image(1080, 1920, CV_8UC3, cv::Scalar(90, 120, 150));
    const std::string large = save("large.png", image);
    const std::string alike = save("alike.png", image(cv::Rect(0, 0, 1910, 1080)));
    const Outcome outcome = expectDone({"compare", large, coffee});
    EXPECT_EQ(
        outcome.err,
        "darkroom compare: warning: the backgrounds that the model assumes differ with the sizes, 19.4589 and 20: this "
        "alone moves the coefficients; --background 20 gives both the same\n");
    EXPECT_EQ(expectDone({"compare", large, coffee, "--quiet"}).err, outcome.err);
    EXPECT_EQ(expectDone({"compare", large, coffee, "--quiet", "--background", "20"}).err, "");
    EXPECT_EQ(expectDone({"compare", large, alike}).err, "");
    EXPECT_EQ(expectDone({"compare", coffee, cat}).err, "");
}

TEST_F(DarkroomCompare, RefusesMorePixelsThanTheLimit) {
    expectRefused(
        {"compare", cat, coffee, "--max-pixels", "200000"},
        "cannot read '" + coffee + "': it is 600 x 400 pixels, and the limit (--max-pixels) is 200000 in all");
    expectDone({"compare", cat, coffee, "--max-pixels", "240000"});
    for (const std::string value : {"0", "-1", "1e6", "10k", ""}) {
        EXPECT_EQ(darkroom({"compare", cat, coffee, "--max-pixels=" + value}).status, 2) << value;
    }
}

TEST_F(DarkroomCompare, GivesJson) {
    const Outcome outcome = expectDone({"compare", cat, coffee, "--json"});
    const nlohmann::json json = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(json["schema"], "darkroom.comparison");
    EXPECT_EQ(json["schema_version"], 1);
    EXPECT_EQ(json["program_version"], LIKENESS_VERSION);
    EXPECT_EQ(json["first"]["path"], cat);
    EXPECT_EQ(json["first"]["width_pixels"], 451);
    EXPECT_EQ(json["second"]["height_pixels"], 400);
    EXPECT_EQ(json["second"]["background_luminance"], roundedToNineDigits(backgroundLuminanceOf(600 * 400)));
    EXPECT_EQ(json["viewing_conditions"],
              nlohmann::json::parse(R"({"adapting_luminance_cd_per_m2": 20, "white_luminance": 100,
                                        "surround_impact": 0.525, "surround_chromatic_induction": 0.8})"));
    const LikenessCoefficients k = coefficientsOf("cat.jpg", "coffee.jpg");
    EXPECT_EQ(json["coefficients"].size(), 5U);
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        const double value = json["coefficients"][correlate.name];
        EXPECT_EQ(static_cast<float>(value), k.*correlate.coefficient) << correlate.name;
    }
    EXPECT_FALSE(json.contains("limits"));
    EXPECT_FALSE(json.contains("within_limits"));

    const nlohmann::json limited =
        nlohmann::json::parse(expectDone({"compare", cat, coffee, "--json", "--min", "chroma=0.1"}).out);
    EXPECT_EQ(limited["limits"], nlohmann::json::parse(R"({"chroma": 0.1})"));
    EXPECT_EQ(limited["within_limits"], true);
    EXPECT_EQ(filesLeft(), std::vector<std::string>{});
}

TEST_F(DarkroomCompare, JsonOfNoNumberIsNull) {
    darkroom::ComparisonResult result{{"\xFF.jpg", {1, 2}}, {"b.jpg", {3, 4}}, {1, NAN, 0, 0.5F, 0.25F}, {}};
    const nlohmann::json json = nlohmann::json::parse(darkroom::comparisonJson(result));
    EXPECT_TRUE(json["coefficients"]["lightness"].is_null());
    EXPECT_EQ(json["first"]["path"], "\uFFFD.jpg");
    const std::string csv = darkroom::comparisonCsv(result);
    EXPECT_EQ(csv.substr(csv.find('\n') + 1), "1," LIKENESS_VERSION ",\xFF.jpg,b.jpg,1,2,3,4,1,,0,0.5,0.25\n");
}

TEST_F(DarkroomCompare, GivesCsv) {
    const std::string odd = save("a \"comma\", and.png", examplePhotograph("cat.jpg"));
    const Outcome outcome = expectDone({"compare", odd, coffee, "--csv"});
    const LikenessCoefficients k = coefficientsOf("cat.jpg", "coffee.jpg");
    std::string expected =
        "schema_version,program_version,first,second,first_width_pixels,first_height_pixels,second_width_pixels,"
        "second_height_pixels,brightness,lightness,chroma,colorfulness,saturation\n1," LIKENESS_VERSION ",\"" +
        input("a \"\"comma\"\", and.png") + "\"," + coffee + ",451,300,600,400";
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        expected += ',' + nineDigits(k.*correlate.coefficient);
    }
    EXPECT_EQ(outcome.out, expected + '\n');
}

TEST_F(DarkroomCompare, WritesTheResultIntoAFile) {
    const std::string line = expectDone({"compare", cat, coffee}).out;
    const Outcome outcome = expectDone({"compare", cat, coffee, "-o", "result.txt"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "darkroom compare: wrote 'result.txt': result\n");
    EXPECT_EQ(contentOf(folder() / "result.txt"), line);
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"result.txt"});
}

TEST_F(DarkroomCompare, TellsByItsStatusWhatIsBelowALimit) {
    const LikenessCoefficients k = coefficientsOf("cat.jpg", "coffee.jpg");
    const std::string line = expectDone({"compare", cat, coffee}).out;
    const Outcome outcome =
        darkroom({"compare", cat, coffee, "--min", "brightness=0.9,lightness=0.1,chroma=0.8,saturation=0"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, line);
    EXPECT_EQ(outcome.err, "darkroom compare: below the limits: brightness " + nineDigits(k.brightness) +
                               " < 0.9, chroma " + nineDigits(k.chroma) + " < 0.8\n");
    const Outcome quiet = darkroom({"compare", cat, coffee, "--min", "brightness=0.9", "--quiet", "--json"});
    EXPECT_EQ(quiet.status, 1);
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(nlohmann::json::parse(quiet.out)["within_limits"], false);
    EXPECT_EQ(expectDone({"compare", cat, coffee, "--min", "brightness=0.1,chroma=0.1"}).err, "");
    // The coefficient itself is reached, in the digits that read back exactly.
    expectDone({"compare", cat, coffee, "--min", "brightness=" + nineDigits(k.brightness)});
}

TEST(CoefficientLimits, NoNumberReachesNone) {
    const LikenessCoefficients k{1, NAN, 0.9F, 0, 0};
    EXPECT_EQ(darkroom::shortfall(k, darkroom::coefficientLimitsIn("lightness=0")), "lightness nan < 0");
    EXPECT_EQ(darkroom::shortfall(k, darkroom::coefficientLimitsIn("brightness=1,chroma=0.9,saturation=0")), "");
}

TEST_F(DarkroomCompare, WritesMapsOnOneScale) {
    fs::create_directory(folder() / "maps");
    const Outcome outcome = expectDone({"compare", cat, coffee, "--maps", "maps"});
    EXPECT_EQ(outcome.out, expectDone({"compare", cat, coffee}).out);
    const cv::Mat photographs[] = {examplePhotograph("cat.jpg"), examplePhotograph("coffee.jpg")};
    const auto [first, second] = analyzePhotographs(photographs[0], photographs[1]);
    int files = 0;
    for (int i = 0; i < 2; ++i) {
        const AppearanceMaps maps = appearanceMaps(photographs[i]);
        for (const ComparedCorrelate& correlate : comparedCorrelates) {
            const std::string name = std::string(i == 0 ? "maps/first_" : "maps/second_") + correlate.name;
            const cv::Mat& map = maps.*correlate.map;
            EXPECT_MAT_EQUAL(imageLeft(name + ".tif"), map);
            const darkroom::MapScale scale = darkroom::commonScale(correlate, first, second);
            EXPECT_MAT_EQUAL(imageLeft(name + ".png"), darkroom::mapPicture(map, scale));
            const std::string told = "darkroom compare: wrote '" + name + ".png': " + labelOf(correlate) + " of the " +
                                     (i == 0 ? "first" : "second") + " photograph, " + darkroom::rangeOf(scale);
            EXPECT_NE(outcome.err.find(told), std::string::npos) << told;
            files += 2;
        }
    }
    EXPECT_EQ(files, std::distance(fs::directory_iterator(folder() / "maps"), fs::directory_iterator()));
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"maps"});
}

TEST_F(DarkroomCompare, KeepsTheDumpsOfLikenessWhereAsked) {
    const ScratchDirectory elsewhere;
    ASSERT_EQ(likeness(cat, coffee, elsewhere.path()).status, 0);
    fs::create_directory(folder() / "dumps");
    expectDone({"compare", cat, coffee, "--dumps", "dumps"});
    int files = 0;
    for (const auto& entry : fs::directory_iterator(folder() / "dumps")) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE(contentOf(entry.path()) == contentOf(elsewhere.path() / name)) << name;
        ++files;
    }
    EXPECT_EQ(files, 4);
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"dumps"});
}

TEST_F(DarkroomCompare, ComparesWhatCanBeReadOfATruncatedPhotograph) {
    const std::string bytes = contentOf(cat);
    const std::string half = saveText("half.jpg", bytes.substr(0, bytes.size() / 2));
    const ScratchDirectory elsewhere;
    const Outcome expected = likeness(coffee, half, elsewhere.path());
    const Outcome outcome = expectDone({"compare", coffee, half});
    EXPECT_EQ(outcome.out, expected.out);
    EXPECT_EQ(outcome.err.rfind("darkroom compare: warning: '" + half + "': ", 0), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

TEST_F(DarkroomCompare, RefusesWhatItCannotRead) {
    expectRefused({"compare", "missing.jpg", coffee}, "cannot read 'missing.jpg': No such file or directory");
    expectRefused({"compare", cat, "missing.jpg"}, "cannot read 'missing.jpg': No such file or directory");
    expectRefused({"compare", cat, "."}, "cannot read '.': it is a folder");
    expectRefused({"compare", cat, saveText("text.jpg", "text")},
                  "cannot read '" + input("text.jpg") + "': its content is of no image format that is known");
    expectRefused({"compare", saveText("header.jpg", contentOf(cat).substr(0, 100)), cat, "--report", "r.html"},
                  "cannot read '" + input("header.jpg") + "': it is cut off at byte 100");
    expectRefused({"compare", cat}, "SECOND is required");
}

TEST_F(DarkroomCompare, TakesLimitsInAnyWording) {
    const Outcome outcome =
        darkroom({"compare", cat, coffee, "--min", "colourfulness = 1, chroma=1 ", "--min", "saturation=1", "--quiet"});
    EXPECT_EQ(outcome.status, 1);
    const Outcome told = darkroom({"compare", cat, coffee, "--min", "saturation=1", "--min", "colourfulness=1"});
    EXPECT_NE(told.err.find("colorfulness"), std::string::npos) << told.err;
    EXPECT_NE(told.err.find("saturation"), std::string::npos) << told.err;
    EXPECT_EQ(darkroom::coefficientLimitsIn(" brightness =0.5 ,  colourfulness= 0.25 "),
              (darkroom::CoefficientLimits{{"brightness", 0.5}, {"colorfulness", 0.25}}));
}

TEST_F(DarkroomCompare, RefusesLimitsThatMakeNoSense) {
    const auto refuses = [this](const std::string& limits, const std::string& message) {
        expectRefused({"compare", cat, coffee, "--min", limits}, "--min: " + message);
    };
    refuses("hue=0.5", "the hue has a coefficient with --hue only");
    refuses("tone=0.5",
            "there is no coefficient 'tone'; there are brightness, lightness, chroma, colorfulness, saturation");
    refuses("chroma=0.5,chroma=0.6", "'chroma' is given twice");
    expectRefused({"compare", cat, coffee, "--min", "colorfulness=0.5", "--min", "colourfulness=0.5"},
                  "--min: 'colorfulness' is given twice");
    refuses("chroma", "'chroma' is not of the form NAME=VALUE");
    refuses("chroma=0.5,", "'' is not of the form NAME=VALUE");
    refuses(",chroma=0.5", "'' is not of the form NAME=VALUE");
    refuses("chroma=1.01", "chroma: '1.01' is not a number from 0 to 1");
    refuses("chroma=-0.1", "chroma: '-0.1' is not a number from 0 to 1");
    refuses("chroma=nan", "chroma: 'nan' is not a number from 0 to 1");
    refuses("chroma=0.5x", "chroma: '0.5x' is not a number from 0 to 1");
    refuses("chroma=", "chroma: '' is not a number from 0 to 1");
}

TEST_F(DarkroomCompare, RefusesOutputsThatCannotBe) {
    expectRefused({"compare", cat, coffee, "--json", "--csv"}, "--json excludes --csv");
    expectRefused({"compare", cat, coffee, "--maps", "none"}, "--maps: 'none' does not exist");
    expectRefused({"compare", cat, coffee, "--dumps", "none"}, "--dumps: 'none' does not exist");
    expectRefused({"compare", cat, coffee, "--report", "none/r.html"},
                  "--report: 'none/r.html' cannot be written: the folder 'none' does not exist");
    expectRefused({"compare", cat, coffee, "--report", "r.pdf"},
                  "--report: 'r.pdf' has none of the extensions .html, .htm");
    expectRefused({"compare", cat, coffee, "-o", "none/r.txt"},
                  "--output: 'none/r.txt' cannot be written: the folder 'none' does not exist");
    expectRefused({"compare", cat, coffee, "-o", "x.html", "--report", "./x.html"},
                  "--report: './x.html' is the file of --output too");
    std::ofstream(output("file")) << "x";
    expectRefused({"compare", cat, coffee, "--maps", "file"}, "--maps: 'file' is not a folder");
    fs::create_directory(folder() / "folder.html");
    expectRefused({"compare", cat, coffee, "--report", "folder.html"}, "--report: 'folder.html' is a folder");
}

TEST_F(DarkroomCompare, RefusesToWriteOverAnInput) {
    const std::string image = save("image.png", examplePhotograph("cat.jpg"));
    const auto message = [&image](const std::string& option, const std::string& path) {
        return option + ": '" + path + "' would replace the input '" + image + "'; choose another name";
    };
    const std::string before = contentOf(image);
    fs::create_symlink(image, folder() / "page.html");
    expectRefused({"compare", image, coffee, "--report", "page.html"}, message("--report", "page.html"));
    expectRefused({"compare", coffee, image, "-o", image}, message("--output", image));
    fs::create_directory(folder() / "maps");
    fs::create_symlink(image, folder() / "maps" / "second_chroma.png");
    expectRefused({"compare", image, coffee, "--maps", "maps"}, message("--maps", "maps/second_chroma.png"));
    EXPECT_TRUE(contentOf(image) == before);
}

TEST_F(DarkroomCompare, RefusesAFolderWithoutPermission) {
    // The superuser may write everywhere: the program then runs as nobody, who may go into the folder of the run.
    std::vector<std::string> nobody;
    if (::geteuid() == 0) {
        nobody = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        fs::permissions(folder(), fs::perms(0755));
    }
    const auto refusal = [&](const std::vector<std::string>& arguments) {
        std::vector<std::string> command = nobody;
        command.emplace_back(LIKENESS_DARKROOM);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command, folder());
    };
    if (refusal({"--version"}).status != 0) {
        GTEST_SKIP() << "nobody cannot run the program";
    }
    fs::create_directory(folder() / "closed");
    fs::permissions(folder() / "closed", fs::perms(0555));
    const Outcome maps = refusal({"compare", cat, coffee, "--maps", "closed"});
    EXPECT_EQ(maps.status, 2);
    EXPECT_EQ(maps.out, "");
    EXPECT_EQ(maps.err, "darkroom compare: --maps: 'closed' cannot be written\n");
    EXPECT_EQ(refusal({"compare", cat, coffee, "--report", "closed/r.html"}).err,
              "darkroom compare: --report: 'closed/r.html' cannot be written: the folder 'closed' is not writable\n");
    EXPECT_EQ(refusal({"appearance", cat, "-o", "closed"}).err,
              "darkroom appearance: --output: 'closed' cannot be written\n");
    EXPECT_TRUE(fs::is_empty(folder() / "closed"));
}

TEST_F(DarkroomCompare, TellsWhenAResultCannotBeWritten) {
    const Outcome outcome = darkroom({"compare", cat, coffee, "-o", "/dev/full"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "darkroom compare: cannot write '/dev/full': No space left on device\n");
}

TEST_F(DarkroomCompare, EachPhotographHasAPageOfItsOwn) {
    const std::vector<cv::Mat> pages{examplePhotograph("cat.jpg")(cv::Rect(0, 0, 90, 70)).clone(),
                                     examplePhotograph("coffee.jpg")(cv::Rect(0, 0, 80, 60)).clone()};
    ASSERT_TRUE(cv::imwrite(input("pages.tif"), pages));
    const std::string both = input("pages.tif");
    const std::string first = save("first.png", pages[0]);
    const std::string second = save("second.png", pages[1]);
    const std::string expected = expectDone({"compare", first, second, "--quiet"}).out;
    if (!isModuleBuilt("tiff")) {
        SKIP_WITHOUT_PACKAGE("the module tiff was not built: its library is not installed");
    }
    EXPECT_EQ(expectDone({"compare", both, both, "--second-page", "2", "--quiet"}).out, expected);
    EXPECT_EQ(expectDone({"compare", both, both, "--page", "2", "--first-page", "1", "--quiet"}).out, expected);
    EXPECT_EQ(expectDone({"compare", both, second, "--first-page", "2", "--quiet"}).out, "1,1,1,1,1\n");
    expectRefused({"compare", both, second, "--second-page", "2"},
                  "cannot read '" + second + "': --page: PNG is read without pages");
    expectRefused({"compare", both, both, "--first-page", "3"},
                  "cannot read '" + both + "': it has 2 pages, and --page asks for number 3");
    const Outcome wrong = darkroom({"compare", both, both, "--first-page", "0"});
    EXPECT_EQ(wrong.status, 2);
}

TEST_F(DarkroomCompare, EachPhotographHasALayerOfItsOwn) {
    if (!isModuleBuilt("openexr")) {
        SKIP_WITHOUT_PACKAGE("the module openexr was not built: its library is not installed");
    }
    const cv::Mat left = toUnit(examplePhotograph("cat.jpg")(cv::Rect(0, 0, 90, 70)));
    const cv::Mat right = toUnit(examplePhotograph("coffee.jpg")(cv::Rect(0, 0, 90, 70)));
    const auto saved = [&](const std::string& name, const std::map<std::string, cv::Mat>& layers) {
        std::ofstream(input(name), std::ios::binary) << layeredExr(layers);
        return input(name);
    };
    const std::string both = saved("both.exr", {{"left", left}, {"right", right}});
    const std::string first = saved("first.exr", {{"", left}});
    const std::string second = saved("second.exr", {{"", right}});
    const std::string expected = expectDone({"compare", first, second, "--quiet"}).out;
    ASSERT_NE(expected, "1,1,1,1,1\n");
    EXPECT_EQ(expectDone({"compare", both, both, "--first-layer", "left", "--second-layer", "right"}).out, expected);
    EXPECT_EQ(expectDone({"compare", both, both, "--layer", "right", "--first-layer", "left"}).out, expected);
    EXPECT_EQ(expectDone({"compare", both, second, "--first-layer", "left"}).out, expected);
    EXPECT_EQ(expectDone({"compare", both, both, "--layer", "right"}).out, "1,1,1,1,1\n");
    expectRefused({"compare", both, both, "--layer", "left", "--second-layer", "middle"},
                  "cannot read '" + both + "': it has no layer 'middle'; it has 'left', 'right'");
}

}  // namespace
}  // namespace likeness::testing
