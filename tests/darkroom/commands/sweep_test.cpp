#include <likeness/comparison/analysis.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "support/test_images.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

namespace likeness::testing {
namespace {

using nlohmann::json;

class DarkroomSweep : public DarkroomProgram {
protected:
    const std::string cat = photo("cat.jpg");
    const std::string coffee = photo("coffee.jpg");
};

TEST_F(DarkroomSweep, GoesThroughLuminancesSurroundsAndWhites) {
    const Outcome outcome = expectDone({"sweep", cat, coffee, "--quiet"});
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1 + 13 * 3 * 3);
    EXPECT_EQ(outcome.out.rfind("model,white,white_x,white_y,white_z,white_luminance,background,adapting_luminance,"
                                "surround,brightness,lightness,chroma,colorfulness,saturation\n"
                                "ciecam16,srgb,95.0467,",
                                0),
              0U)
        << outcome.out;
    EXPECT_EQ(filesLeft(), std::vector<std::string>{});
}

TEST_F(DarkroomSweep, EachPointIsTheComparisonUnderItsConditions) {
    const json result = json::parse(
        expectDone({"sweep", cat, coffee, "--model", "ciecam02", "--white", "D50", "--white", "95,100,90", "--surround",
                    "dim", "--white-luminance", "10,1000", "--hue", "--hue-weights", "chroma", "--json", "--quiet"})
            .out);
    ASSERT_EQ(result["points"].size(), 4U);
    EXPECT_EQ(result["schema"], "darkroom.sweep");
    EXPECT_EQ(result["points"][3]["white"], "95,100,90");
    EXPECT_EQ(result["points"][3]["white_luminance"], 1000);
    for (std::size_t k = 0; k < 4; ++k) {
        const json& point = result["points"][k];
        const std::string luminance = k % 2 == 0 ? "10" : "1000";
        const json compared = json::parse(
            expectDone({"compare", cat, coffee, "--model", "ciecam02", "--white", point["white"], "--surround", "dim",
                        "--white-luminance", luminance, "--hue", "--hue-weights", "chroma", "--json", "--quiet"})
                .out);
        EXPECT_EQ(point["coefficients"], compared["coefficients"]) << k;
        EXPECT_EQ(point["conditions"], compared["model"]["conditions"]) << k;
    }
    EXPECT_NE(result["points"][0]["coefficients"], result["points"][1]["coefficients"]);
}

TEST_F(DarkroomSweep, DrawsAPlotOfEachCoefficient) {
    expectDone({"sweep", cat, coffee, "--white", "D65", "--white-luminance", "1,100,10000", "--hue", "--plot", "s.html",
                "-o", "s.csv", "--quiet"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"s.csv", "s.html"}));
    std::ifstream stream(output("s.html"));
    std::ostringstream page;
    page << stream.rdbuf();
    for (const char* const name : {"brightness", "lightness", "chroma", "colorfulness", "saturation", "hue"}) {
        EXPECT_NE(page.str().find("<section id=\"" + std::string(name) + "\">"), std::string::npos) << name;
    }
    EXPECT_NE(page.str().find("D65, dark"), std::string::npos);
}

TEST_F(DarkroomSweep, WarnsOfPixelsThatAreNotCounted) {
    cv::Mat floats = unitPhotograph("cat.jpg");
    floats.row(0).setTo(cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    const std::string holes = save("holes.tif", floats);
    const std::string share = fmt::format("{:.2g}", 100.0 / floats.rows);
    EXPECT_EQ(expectDone({"sweep", holes, coffee, "--white-luminance", "10,100", "--quiet"}).err,
              "darkroom sweep: warning: '" + holes + "': " + share +
                  " % of its pixels hold values that are no numbers, infinite or negative, and are not counted\n");
    floats.setTo(cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    const std::string nothing = save("nothing.tif", floats);
    expectRefused({"sweep", coffee, nothing, "--white-luminance", "10", "--quiet"},
                  "cannot read '" + nothing +
                      "' as a photograph: all its pixels hold values that are no numbers, infinite or negative");
}

TEST_F(DarkroomSweep, RefusesAValueThatIsGivenTwice) {
    expectRefused({"sweep", cat, coffee, "--white", "D50", "--white", "D50"}, "--white: 'D50' is given twice");
    expectRefused({"sweep", cat, coffee, "--surround", "dim", "--surround", "dim"}, "--surround: 'dim' is given twice");
    expectRefused({"sweep", cat, coffee, "--white-luminance", "10,20,10"}, "--white-luminance: '10' is given twice");
}

TEST_F(DarkroomSweep, RefusesWhatIsNoCondition) {
    expectRefused({"sweep", cat, coffee, "--white-luminance", "1,,3"},
                  "--white-luminance: '' is not a luminance in cd/m2 above 0");
    expectRefused({"sweep", cat, coffee, "--surround", "bright"},
                  "--surround: 'bright' is none of average, dim, dark, nor three numbers F,c,Nc");
    expectRefused({"sweep", cat, coffee, "--white", "Z"},
                  "--white: 'Z' is no white: one of A, D50, D55, D65, E, srgb, X,Y,Z, x,y, a temperature such as 6500K "
                  "(daylight) or planckian:3000K");
    expectRefused({"sweep", cat, coffee, "--plot", "s.png"}, "--plot: 's.png' has none of the extensions .html, .htm");
    expectRefused({"sweep", cat, coffee, "-o", coffee},
                  "--output: '" + coffee + "' would replace the input '" + coffee + "'; choose another name");
}

}  // namespace
}  // namespace likeness::testing
