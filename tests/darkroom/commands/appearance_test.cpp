#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/likeness.hpp>
#include "batch/correlates.hpp"
#include "console/map_statistics.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <fstream>
#include <iterator>
#include <sstream>

namespace likeness::testing {
namespace {
using darkroom::MapStatistics;

std::vector<Correlate> allCorrelates() {
    std::vector<Correlate> all(comparedCorrelates.begin(), comparedCorrelates.end());
    all.push_back(hueCorrelate);
    return all;
}

class DarkroomAppearance : public DarkroomProgram {
protected:
    void expectMaps(const std::string& stem, const AppearanceMaps& maps) const {
        for (const Correlate& correlate : allCorrelates()) {
            const std::string name = stem + '_' + correlate.name;
            EXPECT_MAT_EQUAL(imageLeft(name + ".tif"), maps.*correlate.map);
            const cv::Mat picture = imageLeft(name + ".png");
            EXPECT_EQ(picture.type(), CV_8UC3);
            EXPECT_GT(picture.rows, maps.hueDegrees.rows);
        }
        EXPECT_EQ(filesLeft().size(), 12U);
    }

    static std::vector<std::string> wordsOf(const std::string& line) {
        std::istringstream stream(line);
        return {std::istream_iterator<std::string>(stream), {}};
    }
};

TEST_F(DarkroomAppearance, WritesTheMapsOfAPhotograph) {
    expectDone({"appearance", photo("cat.jpg"), "-o", ".", "--quiet"});
    expectMaps("cat", appearanceMaps(examplePhotograph("cat.jpg")));
}

TEST_F(DarkroomAppearance, DistinctColorsAndEveryPixelGiveTheSameBits) {
    expectDone({"appearance", photo("cat.jpg"), "-o", ".", "--quiet"});
    // The same values as floats, which are taken pixel by pixel.
    expectMaps("cat", appearanceMaps(unitPhotograph("cat.jpg")));
}

TEST_F(DarkroomAppearance, TakesDeepAndFloatImages) {
    cv::Mat deep;
    examplePhotograph("coffee.jpg")(cv::Rect(100, 100, 120, 80)).convertTo(deep, CV_16U, 256, 77);
    cv::Mat unit(deep.size(), CV_32FC3);
    for (int i = 0; i < deep.rows; ++i) {
        for (int j = 0; j < deep.cols * 3; ++j) {
            unit.ptr<float>(i)[j] = static_cast<float>(deep.ptr<ushort>(i)[j] / 65535.0);
        }
    }
    expectDone({"appearance", save("deep.png", deep), "-o", ".", "--quiet"});
    expectMaps("deep", appearanceMaps(unit));
    for (const std::string& name : filesLeft()) {
        std::filesystem::remove(folder() / name);
    }
    const cv::Mat wide = randomImage({50, 40}, 3, -0.1F, 1.5F, 3);
    expectDone({"appearance", save("wide.tif", wide), "-o", ".", "--quiet"});
    expectMaps("wide", appearanceMaps(wide));
}

TEST_F(DarkroomAppearance, GivesATableOfStatistics) {
    cv::Mat wide = randomImage({50, 40}, 3, -0.1F, 1.5F, 3);
    wide.at<cv::Vec3f>(7, 7)[1] = std::numeric_limits<float>::quiet_NaN();
    const Outcome outcome = expectDone({"appearance", save("wide.tif", wide), "-o", "."});
    const AppearanceMaps maps = appearanceMaps(wide);
    std::istringstream stream(outcome.out);
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(wordsOf(line), (std::vector<std::string>{"brightness", "Q", "lightness", "J", "chroma", "C",
                                                       "colorfulness", "M", "saturation", "s", "hue", "h"}));
    std::map<std::string, std::vector<std::string>> rows;
    std::vector<std::string> order;
    while (std::getline(stream, line)) {
        const std::string name = line.substr(0, line.find_last_not_of(' ', 11) + 1);
        rows[name] = wordsOf(line.substr(12));
        order.push_back(name);
    }
    EXPECT_EQ(order, (std::vector<std::string>{"minimum", "1 %", "5 %", "25 %", "50 %", "75 %", "95 %", "99 %",
                                               "maximum", "mean", "NaN"}));
    for (std::size_t k = 0; k < allCorrelates().size(); ++k) {
        const cv::Mat& map = maps.*allCorrelates()[k].map;
        const MapStatistics s = k == 5 ? darkroom::statisticsOfDegrees(map) : darkroom::statisticsOf(map);
        EXPECT_EQ(rows["minimum"][k], nineDigits(s.minimum));
        EXPECT_EQ(rows["maximum"][k], nineDigits(s.maximum));
        EXPECT_EQ(rows["mean"][k], nineDigits(s.mean));
        EXPECT_EQ(rows["5 %"][k], nineDigits(s.percentile(5)));
        EXPECT_EQ(rows["50 %"][k], nineDigits(s.percentile(50)));
        EXPECT_EQ(rows["99 %"][k], nineDigits(s.percentile(99)));
        EXPECT_EQ(rows["NaN"][k], std::to_string(s.nanCount));
        EXPECT_GE(s.nanCount, 1);
    }
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 12) << outcome.err;
}

TEST_F(DarkroomAppearance, GivesTheTableAsJson) {
    cv::Mat wide = randomImage({50, 40}, 3, -0.1F, 1.5F, 3);
    const auto jsonOf = [&] {
        return nlohmann::json::parse(
            expectDone({"appearance", save("wide.tif", wide), "-o", ".", "--json", "--quiet"}).out);
    };
    const nlohmann::json json = jsonOf();
    EXPECT_EQ(json["schema"], "darkroom.appearance");
    EXPECT_EQ(json["schema_version"], 1);
    EXPECT_EQ(json["program_version"], LIKENESS_VERSION);
    EXPECT_EQ(json["input"]["path"], input("wide.tif"));
    EXPECT_EQ(json["input"]["width_pixels"], 50);
    EXPECT_EQ(json["input"]["height_pixels"], 40);
    const MapStatistics s = darkroom::statisticsOf(appearanceMaps(wide).chroma);
    const nlohmann::json chroma = json["correlates"]["chroma"];
    EXPECT_EQ(chroma["symbol"], "C");
    EXPECT_EQ(chroma["minimum"], roundedToNineDigits(s.minimum));
    EXPECT_EQ(chroma["percentile_25"], roundedToNineDigits(s.percentile(25)));
    EXPECT_EQ(chroma["mean"], roundedToNineDigits(s.mean));
    EXPECT_EQ(chroma["nan_count"], s.nanCount);
    EXPECT_EQ(chroma["count"], s.count);
    EXPECT_TRUE(json["correlates"].contains("hue_degrees"));

    // An image without a value: no number is null.
    wide.setTo(cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    const nlohmann::json empty = jsonOf();
    EXPECT_TRUE(empty["correlates"]["chroma"]["mean"].is_null());
    EXPECT_EQ(empty["correlates"]["chroma"]["nan_count"], 2000);
}

TEST_F(DarkroomAppearance, KeepsDumpsWhereAsked) {
    std::filesystem::create_directory(folder() / "maps");
    std::filesystem::create_directory(folder() / "dumps");
    expectDone({"appearance", photo("cat.jpg"), "-o", "maps", "--dumps", "dumps", "--quiet"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"dumps", "maps"}));
    for (const char* const name : {"A_before.jpg", "10_in.txt", "mask.jpg", "t_before.jpg"}) {
        EXPECT_TRUE(std::filesystem::exists(folder() / "dumps" / name)) << name;
    }
}

TEST_F(DarkroomAppearance, Refuses) {
    const std::string in = photo("cat.jpg");
    expectRefused({"appearance", "missing.png", "-o", "."}, "cannot read 'missing.png': No such file or directory");
    expectRefused({"appearance", saveText("text.png", "text"), "-o", "."},
                  "cannot read '" + input("text.png") + "': its content is of no image format that is known");
    expectRefused({"appearance", in}, "--output is required");
    expectRefused({"appearance", in, "-o", "none"}, "--output: 'none' does not exist");
    std::ofstream(output("file")) << "x";
    expectRefused({"appearance", in, "-o", "file"}, "--output: 'file' is not a folder");
    std::filesystem::create_directory(folder() / "cat_hue.png");
    expectRefused({"appearance", in, "-o", "."}, "--output: './cat_hue.png' is a folder");
    std::filesystem::remove(folder() / "cat_hue.png");
    std::filesystem::create_symlink(save("photograph.png", examplePhotograph("cat.jpg")),
                                    folder() / "photograph_hue.png");
    expectRefused({"appearance", input("photograph.png"), "-o", "."},
                  "--output: './photograph_hue.png' would replace the input '" + input("photograph.png") +
                      "'; choose another name");
}

}  // namespace
}  // namespace likeness::testing
