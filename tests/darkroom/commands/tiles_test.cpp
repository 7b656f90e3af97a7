// darkroom compare: where and why, --tiles, --interval, --difference-maps, --explain.
#include <likeness/comparison/explanation.hpp>
#include <likeness/comparison/pixel_differences.hpp>
#include <likeness/comparison/tile_comparison.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace likeness::testing {
namespace {

using nlohmann::json;

class DarkroomTiles : public DarkroomProgram {
protected:
    json resultOf(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "compare");
        arguments.insert(arguments.end(), {"--json", "--quiet"});
        return json::parse(expectDone(arguments).out);
    }

    const std::string cat = photo("cat.jpg");
    const std::string coffee = photo("coffee.jpg");
};

TEST_F(DarkroomTiles, AreThoseOfTheLibrary) {
    const json result = resultOf({cat, coffee, "--tiles", "5x3"});
    TileOptions options;
    options.layout.count = {5, 3};
    const TileComparison expected =
        compareTiles(examplePhotograph("cat.jpg"), examplePhotograph("coffee.jpg"), options);
    EXPECT_EQ(result["tile_grid"]["columns"], 5);
    EXPECT_EQ(result["tile_grid"]["rows"], 3);
    EXPECT_EQ(result["tile_grid"]["overlap"], false);
    EXPECT_EQ(result["tile_grid"]["least_pixels"], 256);
    ASSERT_EQ(result["tiles"].size(), 15U);
    for (std::size_t i = 0; i < 15; ++i) {
        const json& tile = result["tiles"][i];
        EXPECT_EQ(tile["column"], i % 5);
        EXPECT_EQ(tile["row"], i / 5);
        EXPECT_EQ(tile["first"]["x"], expected.tiles[i].first.x);
        EXPECT_EQ(tile["second"]["height"], expected.tiles[i].second.height);
        EXPECT_EQ(tile["first_pixels"], expected.tiles[i].first.area());
        EXPECT_EQ(tile["few_pixels"], false);
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(tile["coefficients"][correlateNames[k].name].get<float>(), expected.tiles[i].coefficients[k]);
        }
    }
    const std::size_t worst = expected.worst().value();
    EXPECT_EQ(result["tile_grid"]["worst"]["column"], worst % 5);
    EXPECT_EQ(result["tile_grid"]["worst"]["row"], worst / 5);
    // The other numbers are those without tiles.
    json rest = result;
    rest.erase("tiles");
    rest.erase("tile_grid");
    EXPECT_EQ(rest, resultOf({cat, coffee}));
}

TEST_F(DarkroomTiles, OneTileHasTheNumbersOfTheWhole) {
    for (const std::vector<std::string>& model :
         {std::vector<std::string>{}, {"--model", "ciecam16"}, {"--background", "20"}, {"--hue"}}) {
        std::vector<std::string> arguments = {cat, coffee, "--tiles", "1"};
        arguments.insert(arguments.end(), model.begin(), model.end());
        json result = resultOf(arguments);
        json whole = result["coefficients"];
        whole.erase("hue");
        EXPECT_EQ(result["tiles"][0]["coefficients"], whole);
        result.erase("tiles");
        result.erase("tile_grid");
        std::vector<std::string> plain = {cat, coffee};
        plain.insert(plain.end(), model.begin(), model.end());
        EXPECT_EQ(result, resultOf(plain));
    }
}

TEST_F(DarkroomTiles, AreWrittenAsMapsAndAsATable) {
    std::filesystem::create_directory(output("maps"));
    const Outcome outcome = expectDone({"compare", cat, coffee, "--tiles", "64px", "--stride", "50%", "--tile-maps",
                                        "maps", "--tile-table", "tiles.csv", "--quiet"});
    const std::string plain = expectDone({"compare", cat, coffee, "--quiet"}).out;
    EXPECT_EQ(outcome.out.find(plain + "tiles: 14 across, 9 down; worst in column "), 0U) << outcome.out;
    TileOptions options;
    options.layout.pixels = cv::Size(64, 64);
    options.layout.stride = 0.5;
    const TileComparison expected =
        compareTiles(examplePhotograph("cat.jpg"), examplePhotograph("coffee.jpg"), options);
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const std::string name = std::string("maps/tiles_") + correlateNames[k].name;
        EXPECT_MAT_EQUAL(imageLeft(name + ".tif"), expected.map(k));
        const cv::Mat picture = imageLeft(name + ".png");
        EXPECT_EQ(picture.cols, 960);
        EXPECT_GT(picture.rows, 960 * 300 / 451);
    }
    std::istringstream table(contentOf(folder() / "tiles.csv"));
    std::string line;
    std::getline(table, line);
    EXPECT_EQ(line,
              "column,row,first_x,first_y,first_width,first_height,second_x,second_y,second_width,second_height,"
              "brightness,lightness,chroma,colorfulness,saturation,first_pixels,second_pixels,few_pixels");
    std::getline(table, line);
    std::getline(table, line);
    EXPECT_EQ(line.rfind("1,0,32,0,64,64,42,0,85,85,", 0), 0U) << line;
    EXPECT_NE(line.find(",4096,7225,false"), std::string::npos) << line;
    EXPECT_EQ(std::count(std::istreambuf_iterator<char>(table), {}, '\n'), 14 * 9 - 2);
    // A stem in place of a folder.
    expectDone({"compare", cat, coffee, "--tiles", "2", "--tile-maps", "run", "--quiet"});
    EXPECT_EQ(imageLeft("run_chroma.tif").size(), cv::Size(2, 2));
}

TEST_F(DarkroomTiles, FewPixelsAreMarked) {
    const std::string small = save("small.png", examplePhotograph("cat.jpg")(cv::Rect(0, 0, 40, 40)));
    const Outcome outcome = expectDone({"compare", small, cat, "--tiles", "4"});
    EXPECT_NE(outcome.out.find("tiles: 16 of 16 have fewer than 256 pixels in a photograph and are marked\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_TRUE(resultOf({small, cat, "--tiles", "4"})["tile_grid"]["worst"].is_null());
}

TEST_F(DarkroomTiles, IntervalsAreThoseOfTheSeed) {
    const json result = resultOf({cat, coffee, "--interval", "--resamples", "200", "--seed", "9"});
    TileOptions options;
    options.interval = {200, 9};
    const TileComparison expected =
        compareTiles(examplePhotograph("cat.jpg"), examplePhotograph("coffee.jpg"), options);
    EXPECT_EQ(result["intervals"]["level"], 0.95);
    EXPECT_EQ(result["intervals"]["resamples"], 200);
    EXPECT_EQ(result["intervals"]["seed"], 9);
    EXPECT_EQ(result["tile_grid"]["columns"], 8);
    EXPECT_EQ(result.count("tiles"), 0U) << "nobody asked for them";
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const json& interval = result["intervals"][correlateNames[k].name];
        EXPECT_EQ(interval["low"].get<float>(), (*expected.intervals)[k].low);
        EXPECT_EQ(interval["high"].get<float>(), (*expected.intervals)[k].high);
    }
    const Outcome outcome = expectDone({"compare", cat, coffee, "--interval"});
    EXPECT_NE(outcome.out.find("\n95 % intervals (1000 resamples of 8 x 8 tiles, seed 1): brightness 0."),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.out.find("tiles: "), std::string::npos);
}

TEST_F(DarkroomTiles, DifferencesAreThoseOfTheLibrary) {
    const cv::Mat first = examplePhotograph("cat.jpg");
    cv::Mat second = first.clone();
    second(cv::Rect(200, 100, 60, 50)) *= 0.7;
    const std::string path = save("second.png", second);
    std::filesystem::create_directory(output("maps"));
    const json result = resultOf({cat, path, "--difference-maps", "maps"});
    const PixelDifferences expected = pixelDifferences(first, second);
    EXPECT_MAT_EQUAL(imageLeft("maps/difference_chroma.tif"), expected.correlates.chroma);
    EXPECT_MAT_EQUAL(imageLeft("maps/difference_delta_e_uniform.tif"), expected.uniform);
    EXPECT_MAT_EQUAL(imageLeft("maps/difference_ciede2000.tif"), expected.ciede2000);
    const json& differences = result["differences"];
    EXPECT_EQ(differences["uniform_model"], "ciecam16");
    EXPECT_EQ(differences["aligned"], false);
    EXPECT_NEAR(differences["ciede2000"]["mean"].get<double>(), cv::mean(expected.ciede2000)[0], 1e-6);
    EXPECT_EQ(differences["ciede2000"]["percentiles"]["50"], 0);
    EXPECT_GT(differences["ciede2000"]["percentiles"]["99"].get<double>(), 5);
    const json& worst = differences["ciede2000"]["worst"][0];
    const cv::Rect place(worst["x"], worst["y"], worst["width"], worst["height"]);
    EXPECT_EQ((place & cv::Rect(200, 100, 60, 50)).area(), place.area());
    EXPECT_LT(differences["lightness"]["mean"].get<double>(), 0);
    for (const char* const name :
         {"brightness", "lightness", "chroma", "colorfulness", "saturation", "delta_e_uniform", "ciede2000"}) {
        EXPECT_GT(imageLeft(std::string("maps/difference_") + name + ".png").rows, 300);
    }
    const json aligned = resultOf({cat, path, "--difference-maps", "maps", "--align", "--model", "ciecam02"});
    EXPECT_EQ(aligned["differences"]["aligned"], true);
    EXPECT_EQ(aligned["differences"]["uniform_model"], "ciecam02");
}

TEST_F(DarkroomTiles, ExplanationsAreMadeOfTheNumbersInTheResult) {
    const json result = resultOf({cat, coffee, "--explain"});
    const json& explanation = result["explanation"];
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        const json& its = explanation[correlateNames[k].name];
        const double shift = its["second_median"].get<double>() - its["first_median"].get<double>();
        EXPECT_NEAR(its["median_shift"].get<double>(), shift, 1e-6);
        EXPECT_NE(its["sentence"].get<std::string>().find(shift < 0 ? " lower in the median" : " higher in the median"),
                  std::string::npos);
        EXPECT_GT(its["lost_bin"]["first_share"].get<double>(), its["lost_bin"]["second_share"].get<double>());
        EXPECT_LT(its["gained_bin"]["first_share"].get<double>(), its["gained_bin"]["second_share"].get<double>());
    }
    EXPECT_GT(explanation["white"]["first"]["correlated_color_temperature_kelvin"].get<double>(), 3000);
    EXPECT_EQ(explanation["not_measured"].size(), 2U);
    EXPECT_EQ(resultOf({cat, coffee, "--explain", "--hue", "--tiles", "2"})["explanation"]["not_measured"].size(), 0U);
    const std::string text = expectDone({"compare", cat, coffee, "--explain"}).out;
    for (const auto& [name, its] : explanation.items()) {
        if (name != "not_measured") {
            EXPECT_NE(text.find(its["sentence"].get<std::string>() + '\n'), std::string::npos);
        }
    }
    EXPECT_NE(text.find("not measured: the hue"), std::string::npos);
}

TEST_F(DarkroomTiles, CsvHasTheNumbersOfALineAndRefusesTheOthers) {
    const json result = resultOf({cat, coffee, "--interval"});
    const std::string csv = expectDone({"compare", cat, coffee, "--interval", "--csv"}).out;
    const std::size_t end = csv.find('\n');
    const std::string names = csv.substr(0, end);
    EXPECT_NE(names.find(",saturation,brightness_low,brightness_high,lightness_low,"), std::string::npos) << names;
    EXPECT_EQ(std::count(names.begin(), names.end(), ','),
              std::count(csv.begin() + static_cast<int>(end), csv.end(), ','));
    EXPECT_NE(csv.find(',' + result["intervals"]["chroma"]["low"].dump() + ','), std::string::npos) << csv;
    std::filesystem::create_directory(output("maps"));
    const std::string differences =
        expectDone({"compare", cat, cat, "--difference-maps", "maps", "--csv", "--quiet"}).out;
    EXPECT_NE(differences.find(",difference_ciede2000_mean,difference_ciede2000_mean_magnitude\n"), std::string::npos);
    expectRefused({"compare", cat, coffee, "--explain", "-o", "r.csv"},
                  "--explain: CSV has no place for sentences; --json has them");
    expectRefused({"compare", cat, coffee, "--tiles", "4", "--csv"},
                  "--tiles: the line of CSV has no tiles; --tile-table writes a table of them");
    expectDone({"compare", cat, coffee, "--tiles", "4", "--csv", "--tile-table", "t.csv"});
}

TEST_F(DarkroomTiles, RefusesWhatCannotBe) {
    for (const char* const text : {"0", "-1", "2x", "x2", "1.5", "px", "16 px", "3x4x5", "1048577", "", "nan"}) {
        EXPECT_EQ(darkroom({"compare", cat, coffee, "--tiles", text}).status, 2) << text;
    }
    expectRefused({"compare", cat, coffee, "--tiles", "500"},
                  "--tiles: 500 tiles are more than a photograph has columns of pixels: 451");
    for (const char* const text : {"0", "0px", "0%", "101%", "1.5", "-3", "x"}) {
        EXPECT_EQ(darkroom({"compare", cat, coffee, "--tiles", "4", "--stride", text}).status, 2) << text;
    }
    expectRefused({"compare", cat, coffee, "--tiles", "64px", "--stride", "65px"},
                  "--tiles: the stride of 65 pixels is not from 1 to the tile's side, 64");
    expectRefused({"compare", cat, coffee, "--tiles", "3x1", "--interval"},
                  "--interval: 3 tiles are too few; it takes at least 4, as in --tiles 8");
    expectRefused({"compare", cat, coffee, "--tiles", "4", "--stride", "50%", "--interval"},
                  "--interval: it draws from tiles that do not overlap; leave out --stride");
    std::filesystem::create_directory(output("maps"));
    expectRefused({"compare", cat, coffee, "--difference-maps", "maps"},
                  "--difference-maps: '" + cat + "' has 451 x 300 pixels and '" + coffee +
                      "' has 600 x 400: pixels are compared of one size; --tiles compares other sizes part by part");
    expectRefused({"compare", cat, coffee, "--difference-maps", "none"}, "--difference-maps: 'none' does not exist");
    expectRefused({"compare", cat, coffee, "--tiles", "4", "--tile-maps", "none/"},
                  "--tile-maps: 'none/' does not exist");
    expectRefused({"compare", cat, coffee, "--tiles", "2px", "--report", "page.html"},
                  "--report: a page shows at most 16384 tiles, and these are 33900; --tile-table and --tile-maps take "
                  "more");
}

}  // namespace
}  // namespace likeness::testing
