#include <likeness/appearance/uniform_space.hpp>
#include <likeness/color/cie_lab.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/version.hpp>
#include "darkroom/darkroom_program.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

using nlohmann::json;

class DarkroomColour : public DarkroomProgram {
protected:
    json colours(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "colour");
        arguments.emplace_back("--json");
        return json::parse(expectDone(arguments).out);
    }

    /// `darkroom colour ARGUMENTS` with a table on standard input.
    Outcome withTable(const std::string& table, const std::string& arguments) const {
        std::ofstream(input("table.csv"), std::ios::binary) << table;
        return run({"/bin/sh", "-c",
                    std::string(LIKENESS_DARKROOM) + " colour " + arguments + " < '" + input("table.csv") + "'"},
                   folder());
    }
};

const std::vector<std::string> firstExample = {
    "--model", "ciecam02",     "--white", "95.05,100,108.88", "--adapting-luminance",
    "318.31",  "--background", "20",      "--surround",       "average"};

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// Fairchild, Color Appearance Models, 2013, first example of CIECAM02.
TEST_F(DarkroomColour, PrintsThePublishedValuesAsJson) {
    const json result = colours(with({"--xyz", "19.01,20.00,21.78"}, firstExample));
    EXPECT_EQ(result["schema"], "darkroom.colour");
    EXPECT_EQ(result["schema_version"], 1);
    EXPECT_EQ(result["program_version"], LIKENESS_VERSION);
    EXPECT_EQ(result["model"], "ciecam02");
    EXPECT_EQ(result["conditions"]["white"], (json{95.05, 100, 108.88}));
    EXPECT_EQ(result["conditions"]["adapting_luminance"], 318.31);
    EXPECT_EQ(result["conditions"]["background"], 20);
    EXPECT_EQ(result["conditions"]["surround"], "average");
    EXPECT_NEAR(result["degree_of_adaptation"].get<double>(), 0.994, 0.0005);
    ASSERT_EQ(result["colours"].size(), 1U);
    const json& colour = result["colours"][0];
    EXPECT_EQ(colour["input"], "19.01,20.00,21.78");
    EXPECT_NEAR(colour["lightness"].get<double>(), 41.73, 0.005);
    EXPECT_NEAR(colour["brightness"].get<double>(), 195.37, 0.005);
    EXPECT_NEAR(colour["chroma"].get<double>(), 0.10, 0.005);
    EXPECT_NEAR(colour["colorfulness"].get<double>(), 0.11, 0.005);
    EXPECT_NEAR(colour["saturation"].get<double>(), 2.36, 0.005);
    EXPECT_NEAR(colour["hue_degrees"].get<double>(), 219.0, 0.05);
    EXPECT_NEAR(colour["hue_quadrature"].get<double>(), 278.1, 0.05);
    EXPECT_EQ(colour["hue_composition"], "78B 22G");
    EXPECT_FALSE(result.contains("differences"));
}

TEST_F(DarkroomColour, PrintsATable) {
    const Outcome outcome =
        expectDone(with({"color", "--xyz", "57.06,43.06,31.96"},
                        {"--model", "ciecam16", "--white", "95.05,100,108.88", "--adapting-luminance", "31.83",
                         "--background", "20", "--surround", "average"}));
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "ciecam16; white 95.05,100,108.88; adapting luminance 31.83 cd/m2; background 20; surround average; D "
              "0.8755; F_L 0.5419\n"
              "colour                   X        Y        Z        J         Q        C        M        s        h     "
              "    H     hue  sRGB\n"
              "57.06,43.06,31.96  57.0600  43.0600  31.9600  65.4283  152.0699  49.6796  42.6247  52.9431  17.4866  "
              "398.0305  98R 2B  none\n");
}

TEST_F(DarkroomColour, GoesBackFromCorrelates) {
    const json forward = colours(with({"--xyz", "19.01,20.00,21.78"}, firstExample))["colours"][0];
    const auto text = [&forward](const char* name) { return json(forward[name]).dump(); };
    const std::pair<std::string, std::string> ways[] = {
        {"J,C,h", text("lightness") + ',' + text("chroma") + ',' + text("hue_degrees")},
        {"H,M,Q", text("hue_quadrature") + ',' + text("colorfulness") + ',' + text("brightness")},
        {"lightness,saturation,hue_degrees", text("lightness") + ',' + text("saturation") + ',' + text("hue_degrees")}};
    for (const auto& [from, values] : ways) {
        const json back = colours(with({"--from", from, "--correlates", values}, firstExample))["colours"][0];
        EXPECT_NEAR(back["xyz"][0].get<double>(), 19.01, 1e-8) << from;
        EXPECT_NEAR(back["xyz"][1].get<double>(), 20.00, 1e-8) << from;
        EXPECT_NEAR(back["xyz"][2].get<double>(), 21.78, 1e-8) << from;
    }
}

TEST_F(DarkroomColour, TakesColoursOfAllKindsInTheirOrder) {
    const json result = colours({"--srgb", "#ff8000", "--xyz", "10,20,30", "--srgb", "255,128,0", "--lab", "50,10,-20",
                                 "--srgb", "0%,50%,100%", "--srgb", "#f80"});
    ASSERT_EQ(result["colours"].size(), 6U);
    EXPECT_EQ(result["colours"][1]["xyz"], (json{10, 20, 30}));
    EXPECT_EQ(result["colours"][0]["xyz"], result["colours"][2]["xyz"]);
    EXPECT_EQ(result["colours"][3]["input"], "50,10,-20");
    EXPECT_NEAR(result["colours"][3]["lab"][2].get<double>(), -20, 1e-9);
    EXPECT_NEAR(result["colours"][4]["srgb"][1].get<double>(), 0.5, 1e-7);
    EXPECT_NEAR(result["colours"][5]["srgb"][1].get<double>(), 136.0 / 255, 1e-7);
    EXPECT_EQ(result["conditions"]["name"], "srgb-display");
}

TEST_F(DarkroomColour, AgreesWithTheLibrary) {
    const ViewingConditions& conditions = conditionPreset("cinema").conditions;
    const PublishedModel model(AppearanceModelKind::ciecam16, conditions);
    const Xyz first = {30, 40, 20};
    const Xyz second = {28, 41, 25};
    const json result = colours({"--xyz", "30,40,20", "--xyz", "28,41,25", "--conditions", "cinema", "--difference"});
    const Correlates a = model.correlatesOf(first);
    const Correlates b = model.correlatesOf(second);
    EXPECT_EQ(result["colours"][0]["chroma"].get<double>(), a.chroma);
    EXPECT_EQ(result["colours"][1]["saturation"].get<double>(), b.saturation);
    ASSERT_EQ(result["differences"].size(), 1U);
    const json& difference = result["differences"][0];
    EXPECT_EQ(difference["first"], 0);
    EXPECT_EQ(difference["second"], 1);
    EXPECT_EQ(difference["delta_e_ucs"].get<double>(), uniformDifference(uniformColorOf(a), uniformColorOf(b)));
    EXPECT_EQ(difference["delta_e_lcd"].get<double>(),
              uniformDifference(uniformColorOf(a, UniformVariant::lcd), uniformColorOf(b, UniformVariant::lcd),
                                UniformVariant::lcd));
    EXPECT_EQ(difference["ciede2000"].get<double>(),
              ciede2000(labFromXyz(first, conditions.white), labFromXyz(second, conditions.white)));
}

TEST_F(DarkroomColour, ReadsTables) {
    const Outcome byHeader = withTable("id,Z,Y,X\n\"a, b\",30,20,10\nc,3, 2 ,1\n", "--csv");
    EXPECT_EQ(byHeader.status, 0) << byHeader.err;
    const std::vector<std::string> lines = linesOf(byHeader.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].rfind("id,X,Y,Z,lightness,brightness,chroma,colorfulness,saturation,hue_degrees,hue_quadrature,"
                             "hue_composition,",
                             0),
              0U);
    EXPECT_EQ(lines[1].rfind("\"a, b\",10,20,30,", 0), 0U);
    EXPECT_EQ(lines[2].rfind("c,1,2,3,", 0), 0U);
    // What is printed is read.
    EXPECT_EQ(withTable(byHeader.out, "--csv").out, byHeader.out);
    const std::string same = withTable("X,Y,Z\n10,20,30\n", "--json").out;
    EXPECT_EQ(withTable("10,20,30\r\n", "- --json").out, same);
    EXPECT_EQ(withTable("\xEF\xBB\xBFX,Y,Z\n10,20,30\n", "--json").out, same);
    const json rgb = json::parse(withTable("R,G,B\n255,128,0\n", "--json").out)["colours"][0];
    const json hex = json::parse(withTable("#ff8000\n", "--json").out)["colours"][0];
    EXPECT_EQ(rgb["xyz"], hex["xyz"]);
    const json back = json::parse(withTable("h,note,J,C\n30,x,50,20\n", "--json").out)["colours"][0];
    EXPECT_NEAR(back["lightness"].get<double>(), 50, 1e-9);
    EXPECT_NEAR(back["chroma"].get<double>(), 20, 1e-9);
    EXPECT_NEAR(back["hue_degrees"].get<double>(), 30, 1e-9);
    EXPECT_EQ(json::parse(withTable("50,20,30\n", "--from J,C,h --json").out)["colours"][0]["xyz"], back["xyz"]);
}

TEST_F(DarkroomColour, TakesAWhiteOnTheScaleOfOne) {
    const json percent = colours({"--xyz", "20,30,40", "--white", "90,100,110"})["colours"][0];
    const json result = colours({"--xyz", "0.2,0.3,0.4", "--white", "0.9,1,1.1"});
    const json& unit = result["colours"][0];
    EXPECT_NEAR(unit["lightness"].get<double>(), percent["lightness"].get<double>(), 1e-9);
    EXPECT_NEAR(unit["chroma"].get<double>(), percent["chroma"].get<double>(), 1e-9);
    EXPECT_NEAR(unit["xyz"][1].get<double>(), 0.3, 1e-12);
    // The white stands on the scale of the colours, and reads back as conditions that have this scale.
    EXPECT_EQ(result["conditions"]["white"], (json{0.9, 1, 1.1}));
    EXPECT_EQ(expectDone({"colour", "--xyz", "0.2,0.3,0.4", "--white", "0.9,1,1.1"})
                  .out.rfind("ciecam16; white 0.9,1,1.1;", 0),
              0U);
    const std::string file = saveText("unit.json", result["conditions"].dump());
    EXPECT_EQ(colours({"--xyz", "0.2,0.3,0.4", "--conditions", file})["colours"], result["colours"]);
}

TEST_F(DarkroomColour, TakesConditionsFromAFileAndOverrides) {
    const std::string file = saveText(
        "office.json",
        R"({"name": "my office", "white": "D50", "white_luminance": 200, "background": 25, "surround": {"F": 1, "c": 0.6, "Nc": 0.9}})");
    const json result = colours({"--xyz", "20,30,40", "--conditions", file});
    EXPECT_EQ(result["conditions"]["name"], "my office");
    EXPECT_EQ(result["conditions"]["adapting_luminance"], 50);
    EXPECT_EQ(result["conditions"]["surround"]["c"], 0.6);
    const json changed = colours({"--xyz", "20,30,40", "--conditions", file, "--surround", "dim", "--discount",
                                  "--white", "planckian:3000K", "--white-luminance", "100", "--background", "20"});
    EXPECT_EQ(changed["conditions"]["name"], "my office, changed");
    EXPECT_EQ(changed["conditions"]["surround"], "dim");
    EXPECT_EQ(changed["conditions"]["adapting_luminance"], 20);
    EXPECT_EQ(changed["degree_of_adaptation"], 1);
    const std::string based = saveText("based.json", R"({"base": "print-d50", "adapting_luminance": 10})");
    EXPECT_EQ(colours({"--xyz", "20,30,40", "--conditions", based})["conditions"]["white"],
              (json{96.422, 100, 82.521}));
}

TEST_F(DarkroomColour, ShowsTheComparisonsOwnModel) {
    const json result = colours({"--model", "likeness", "--srgb", "#c86432"});
    const cv::Mat picture = (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(50, 100, 200), cv::Vec3b(255, 255, 255));
    const AppearanceMaps maps = appearanceMaps(picture);
    const json& colour = result["colours"][0];
    EXPECT_EQ(colour["lightness"].get<float>(), maps.lightness.at<float>(0, 0));
    EXPECT_EQ(colour["brightness"].get<float>(), maps.brightness.at<float>(0, 0));
    EXPECT_EQ(colour["chroma"].get<float>(), maps.chroma.at<float>(0, 0));
    EXPECT_EQ(result["conditions"]["name"], "likeness-default");
    EXPECT_EQ(result["conditions"]["background"], "drifting");
    EXPECT_TRUE(colour["uniform"]["ucs"][0].is_null());
}

TEST_F(DarkroomColour, HasNoNanForExtremes) {
    for (const std::string model : {"ciecam02", "ciecam16"}) {
        const json result = colours({"--model", model, "--xyz", "0,0,0", "--srgb", "#ffffff", "--srgb", "#808080",
                                     "--xyz", "-0.1,0.1,0.1", "--adapting-luminance", "0", "--background", "0"});
        for (const json& colour : result["colours"]) {
            for (const char* const name :
                 {"lightness", "brightness", "chroma", "colorfulness", "saturation", "hue_degrees", "hue_quadrature"}) {
                EXPECT_TRUE(colour[name].is_number()) << model << ' ' << colour["input"] << ' ' << name;
            }
        }
    }
}

TEST_F(DarkroomColour, WarnsOfWhatItAssumes) {
    EXPECT_EQ(
        expectDone({"colour", "--srgb", "#fff", "--conditions", "print-d50"}).err,
        "darkroom colour: warning: sRGB colours are taken as the light of a display whose white is D65; the white "
        "of the conditions is another, and they are not adapted to it\n");
    EXPECT_EQ(expectDone({"colour", "--srgb", "#fff", "--background", "0"}).err,
              "darkroom colour: warning: the background counts as 0.0001 of the white, the least that the models are "
              "given\n");
    EXPECT_EQ(expectDone({"colour", "--srgb", "#fff", "--adapting-luminance", "0"}).err,
              "darkroom colour: warning: an adapting luminance of 0 leaves colours their lightness and hue alone: "
              "brightness, chroma, colourfulness and saturation are 0\n");
    EXPECT_EQ(expectDone({"colour", "--srgb", "#fff", "--conditions", "likeness-default"}).err,
              "darkroom colour: warning: the background of likeness-default drifts with the size of photographs, which "
              "ciecam16 does not know: it is taken to be 20\n");
    std::vector<std::string> many = {"colour", "--model", "ciecam02"};
    for (int k = 0; k < 9; ++k) {
        many.insert(many.end(), {"--xyz", "5,5,-200"});
    }
    const std::string warnings = expectDone(many).err;
    EXPECT_EQ(std::count(warnings.begin(), warnings.end(), '\n'), 6);
    EXPECT_NE(warnings.find("warning: 4 more colours lie outside what the model describes\n"), std::string::npos);
    EXPECT_EQ(expectDone({"colour", "--xyz", "5,5,-200", "--model", "ciecam02"}).err,
              "darkroom colour: warning: '5,5,-200' lies outside what the model describes: it has no chroma there\n");
}

TEST_F(DarkroomColour, TellsOfColoursThatCountAsBlackForWantOfADescription) {
    const std::vector<std::string> arguments = {"colour",   "--model", "ciecam02", "--xyz", "5,1,120",  "--xyz",
                                                "20,20,20", "--xyz",   "0,0,0",    "--xyz", "-1,-1,-1", "--difference"};
    const Outcome outcome = expectDone(with(arguments, {"--json"}));
    EXPECT_EQ(outcome.err,
              "darkroom colour: warning: '5,1,120' lies outside what the model describes: it counts as black\n");
    const json result = json::parse(outcome.out);
    EXPECT_EQ(result["colours"][0]["lightness"], 0);
    ASSERT_EQ(result["differences"].size(), 3U);
    for (const json& difference : result["differences"]) {
        EXPECT_TRUE(difference["delta_e_ucs"].is_null());
        EXPECT_GT(difference["ciede2000"].get<double>(), 10);
    }
    const Outcome black = expectDone({"colour", "--xyz", "0,0,0", "--xyz", "-1,-1,-1", "--difference", "--json"});
    EXPECT_EQ(black.err, "");
    EXPECT_EQ(json::parse(black.out)["differences"][0]["delta_e_ucs"], 0);
}

TEST_F(DarkroomColour, TellsWhichOfTwoDescriptionsIsTaken) {
    const std::string warning = "darkroom colour: warning: standard input: the colours are taken from the columns ";
    EXPECT_EQ(withTable("X,Y,Z,srgb\n19,20,21,#fff\n", "").err, warning + "X,Y,Z; srgb is not looked at\n");
    EXPECT_EQ(withTable("J,C,h,id,srgb,X,Y,Z\n50,10,90,a,#fff,1,2,3\n", "--from J,C,h").err,
              warning + "J,C,h; X,Y,Z and srgb are not looked at\n");
    EXPECT_EQ(withTable("id,srgb,note\na,#fff,b\n", "").err, "");
    EXPECT_EQ(withTable("J,C,h\n50,10,90\n", "").err, "");
    const Outcome twice = withTable("X,Y,Z,X\n19,20,21,22\n", "");
    EXPECT_EQ(twice.status, 2);
    EXPECT_EQ(twice.err, "darkroom colour: standard input: the header has the column 'X' twice\n");
}

TEST_F(DarkroomColour, WarnsOfAScaleThatMayNotBeMeant) {
    EXPECT_EQ(expectDone({"colour", "--white", "0.95,1,1.09", "--xyz", "19,20,21"}).err,
              "darkroom colour: warning: '19,20,21' is far brighter than the white, which is on the scale of 1: all X, "
              "Y, Z are taken to be on it; give the white with Y = 100 for colours on the scale of 100\n");
    EXPECT_EQ(expectDone({"colour", "--white", "0.95,1,1.09", "--xyz", "1.8,2,2"}).err, "");
}

TEST_F(DarkroomColour, Refuses) {
    expectRefused({"colour", "--xyz", "1,2"}, "--xyz: '1,2' is not three numbers with commas between them");
    expectRefused({"colour", "--srgb", "256,0,0"},
                  "--srgb: '256,0,0' is none of #rrggbb, R,G,B from 0 to 255, R%,G%,B% from 0 to 100");
    expectRefused({"colour", "--srgb", "#12345"},
                  "--srgb: '#12345' is none of #rrggbb, R,G,B from 0 to 255, R%,G%,B% from 0 to 100");
    expectRefused({"colour", "--srgb", "0.5,0.5,1"},
                  "--srgb: '0.5,0.5,1' looks like values from 0 to 1, but R,G,B are from 0 to 255; write 50%,50%,50% "
                  "for 0.5,0.5,0.5");
    expectRefused({"colour", "--from", "J,Q,h", "--correlates", "1,2,3"},
                  "--from: 'J,Q,h' is not one of J, Q, one of C, M, s and one of h, H, as in J,C,h");
    expectRefused({"colour", "--correlates", "1,2,3"}, "--correlates requires --from");
    expectRefused({"colour", "--from", "J,C,h", "--xyz", "1,2,3"},
                  "--from: no colour is given by its correlates; give it --correlates, or - for a table of them");
    expectRefused(
        {"colour", "--xyz", "1,2,3", "--background", "drifting"},
        "--background: the model ciecam16 has no background that drifts; give a number, from 0 to the Y of the "
        "white");
    expectRefused({"colour", "--from", "J,C,h", "--correlates", "0,5,3"},
                  "'0,5,3': a lightness or brightness of 0 has neither chroma nor colourfulness nor saturation");
    expectRefused({"colour", "--xyz", "1,2,3", "--difference"}, "--difference needs two colours or more");
    expectRefused({"colour", "--xyz", "1,2,3", "--model", "ciecam97"},
                  "--model: 'ciecam97' is none of likeness, ciecam02, ciecam16; did you mean 'ciecam02'?");
    expectRefused({"colour", "--xyz", "1,2,3", "--model", "likeness"},
                  "--model likeness takes sRGB colours only, not '1,2,3'");
    expectRefused({"colour", "--srgb", "#fff", "--model", "likeness", "--surround", "dim"},
                  "--model likeness has conditions of its own, likeness-default; give them to ciecam02 or ciecam16");
    expectRefused({"colour", "--xyz", "1,2,3", "--conditions", "moonlight"},
                  "--conditions: there are no conditions 'moonlight'; there are likeness-default, srgb-display, "
                  "bright-office, print-d50, print-d50-p2, cinema; a file ends in .json");
    expectRefused({"colour", "--xyz", "1,2,3", "--white", "D40"},
                  "--white: 'D40' is no white: one of A, D50, D55, D65, E, srgb, X,Y,Z, x,y, a temperature such as "
                  "6500K (daylight) or planckian:3000K");
    expectRefused({"colour", "--xyz", "1,2,3", "--white", "3000K"},
                  "--white: '3000K': a phase of daylight has a temperature from 4000 to 25000 K");
    expectRefused({"colour", "--xyz", "1,2,3", "--adapting-luminance", "-1"},
                  "--adapting-luminance: '-1' is not a luminance in cd/m2, 0 or more");
    expectRefused({"colour", "--xyz", "1,2,3", "--background", "120"},
                  "viewing conditions: the background must be from 0 to the Y of the white");
    expectRefused({"colour", "--xyz", "1,2,3", "--surround", "bright"},
                  "--surround: 'bright' is none of average, dim, dark, nor three numbers F,c,Nc");
    const std::string broken = saveText("broken.json", "{\"white\": ");
    expectRefused({"colour", "--xyz", "1,2,3", "--conditions", broken},
                  "--conditions: '" + broken + "' is not JSON: syntax error in line 1, column 11");
    const std::string unknown = saveText("unknown.json", R"({"base": "cinema", "colour": 1})");
    expectRefused({"colour", "--xyz", "1,2,3", "--conditions", unknown},
                  "--conditions: '" + unknown + "' has a member \"colour\", which conditions do not have");
    const std::string lacking = saveText("lacking.json", R"({"white": "D50"})");
    expectRefused({"colour", "--xyz", "1,2,3", "--conditions", lacking},
                  "--conditions: '" + lacking + "' lacks \"background\"");
    const Outcome none = withTable("", "");
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err,
              "darkroom colour: no colour is given: --xyz, --srgb, --lab, --from with --correlates, or a table on "
              "standard input\n");
    EXPECT_EQ(withTable("X,Y,Z\n1,2\n", "").err, "darkroom colour: standard input, line 2: the row ends too early\n");
    EXPECT_EQ(withTable("nan,1,2\n", "").err,
              "darkroom colour: standard input, line 1: 'nan,1,2' is not three numbers with commas between them\n");
    EXPECT_EQ(withTable("X,Y\n1,2\n", "").err,
              "darkroom colour: standard input: the header has neither X, Y, Z nor R, G, B nor srgb nor L, a, b nor "
              "three correlates such as J, C, h that determine a colour\n");
}

}  // namespace
}  // namespace likeness::testing
