#include <likeness/appearance/conditions.hpp>

#include "darkroom/darkroom_program.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace likeness::testing {
namespace {

using nlohmann::json;
using DarkroomConditions = DarkroomProgram;

TEST_F(DarkroomConditions, ListsThePresets) {
    const std::string list = expectDone({"conditions"}).out;
    const json all = json::parse(expectDone({"conditions", "--json"}).out);
    EXPECT_EQ(all["schema"], "darkroom.conditions_list");
    ASSERT_EQ(all["conditions"].size(), conditionPresets().size());
    for (std::size_t i = 0; i < conditionPresets().size(); ++i) {
        const ConditionPreset& preset = conditionPresets()[i];
        EXPECT_NE(list.find(std::string(preset.name) + "\n  " + std::string(preset.text) + '\n'), std::string::npos);
        EXPECT_EQ(all["conditions"][i]["name"], preset.name);
        EXPECT_EQ(all["conditions"][i]["adapting_luminance"].get<double>(), preset.conditions.adaptingLuminance);
    }
}

TEST_F(DarkroomConditions, Explains) {
    const std::string text = expectDone({"conditions", "print-d50-p2"}).out;
    EXPECT_NE(text.find("adapting luminance L_A                31.831 cd/m2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("luminance of the white that gives it  159.155 cd/m2\n"), std::string::npos);
    EXPECT_NE(text.find("degree of adaptation D                0.8755\n"), std::string::npos);
    EXPECT_NE(text.find("surround                              average (F 1, c 0.69, Nc 1)\n"), std::string::npos);
    EXPECT_NE(expectDone({"conditions", "likeness-default"}).out.find("drifting"), std::string::npos);
}

TEST_F(DarkroomConditions, JsonOfConditionsIsAFileOfThem) {
    for (const ConditionPreset& preset : conditionPresets()) {
        const std::string name(preset.name);
        const std::string text = expectDone({"conditions", name, "--json"}).out;
        const std::string file = saveText(name + ".json", text);
        EXPECT_EQ(expectDone({"conditions", file, "--json"}).out, text);
    }
    const std::string text = expectDone({"conditions", "cinema", "--surround", "0.9,0.6,0.8", "--json"}).out;
    EXPECT_EQ(expectDone({"conditions", saveText("odd.json", text), "--json"}).out, text);
    EXPECT_EQ(json::parse(text)["surround"]["c"], 0.6);
    const std::string picture = saveText("picture.json", R"({"base": "cinema", "picture_white": "gray-world"})");
    const std::string explained = expectDone({"conditions", picture, "--json"}).out;
    EXPECT_EQ(json::parse(explained)["picture_white"], "gray-world");
    EXPECT_EQ(expectDone({"conditions", saveText("again.json", explained), "--json"}).out, explained);
    EXPECT_NE(expectDone({"conditions", picture}).out.find("white of a picture                    gray-world\n"),
              std::string::npos);
}

TEST_F(DarkroomConditions, TheWhiteKeepsItsLuminanceBesideAnotherBackground) {
    const auto described = [this](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "conditions");
        arguments.emplace_back("--json");
        return json::parse(expectDone(arguments).out);
    };
    // The white of sRGB has a Y of 99.99996.
    const auto expectWhite = [](const json& conditions, double ofWhite, double adapting) {
        EXPECT_NEAR(conditions["derived"]["white_luminance"].get<double>(), ofWhite, 1e-3);
        EXPECT_NEAR(conditions["adapting_luminance"].get<double>(), adapting, 1e-3);
    };
    expectWhite(described({"bright-office", "--background", "40"}), 250, 100);
    expectWhite(described({"bright-office", "--white", "85,90,80"}), 250, 250 * 20 / 90.0);
    expectWhite(described({"bright-office", "--background", "40", "--adapting-luminance", "64"}), 160, 64);
    expectWhite(described({"bright-office", "--background", "40", "--white-luminance", "100"}), 100, 40);
    // One that drifts or is 0 gives no adapting luminance.
    EXPECT_EQ(described({"bright-office", "--background", "0"})["adapting_luminance"], 50);
    EXPECT_EQ(described({"bright-office", "--background", "drifting"})["adapting_luminance"], 50);
    EXPECT_EQ(described({"likeness-default", "--background", "10"})["adapting_luminance"], 20);

    expectWhite(described({saveText("based.json", R"({"base": "bright-office", "background": 40})")}), 250, 100);
    const std::string by =
        saveText("by.json", R"({"white": "D50", "white_luminance": 200, "background": 25, "surround": "dim"})");
    expectWhite(described({by}), 200, 50);
    expectWhite(described({by, "--background", "50"}), 200, 100);
    const std::string adapted = saveText("adapted.json", R"({"base": "bright-office", "adapting_luminance": 30})");
    expectWhite(described({adapted, "--background", "10"}), 300, 30);
}

TEST_F(DarkroomConditions, Refuses) {
    expectRefused({"conditions", "missing.json"}, "NAME: cannot read 'missing.json'");
    expectRefused({"conditions", "./"}, "NAME: cannot read './'");
    const std::string there =
        "there are no conditions 'nonsense'; there are likeness-default, srgb-display, "
        "bright-office, print-d50, print-d50-p2, cinema; a file ends in .json";
    expectRefused({"conditions", "nonsense"}, "NAME: " + there);
    expectRefused({"conditions", "--conditions", "nonsense"}, "--conditions: " + there);
    expectRefused({"conditions", "cinema", "--conditions", "print-d50"},
                  "conditions are named twice: 'cinema' and --conditions");
    const auto refused = [this](const std::string& text, const std::string& problem) {
        const std::string file = saveText("wrong.json", text);
        expectRefused({"conditions", file}, "NAME: '" + file + "'" + problem);
        expectRefused({"conditions", "--conditions", file}, "--conditions: '" + file + "'" + problem);
    };
    refused("[]", " is not a JSON object");
    refused("", " is not JSON: syntax error in line 1, column 1");
    refused("{\n  \"base\": \"cinema\",\n  \"white\" \"D50\"\n}", " is not JSON: syntax error in line 3, column 15");
    refused("{\"background\": 1e999}", " has a number that is too large");
    refused(R"({"base": "cinema", "background": 20, "base": "print-d50"})", " has the member \"base\" twice");
    refused(R"({"base": "cinema", "white": {"x": 0.3, "y": 0.3, "x": 0.4}})", " has the member \"x\" twice");
    refused(R"({"base": "cinema", "picture_white": "grey"})",
            ", \"picture_white\": 'grey' is none of encoding, gray-world, brightest");
    refused(R"({"base": "cinema", "background": 0, "white_luminance": 100})",
            ", \"white_luminance\": a background of 0 gives an adapting luminance of 0 whatever the white's luminance "
            "is; give the adapting luminance itself, or a background above 0");
    refused(R"({"base": "dusk"})",
            ", \"base\": there are no conditions 'dusk'; there are likeness-default, "
            "srgb-display, bright-office, print-d50, print-d50-p2, cinema");
    refused(R"({"base": "cinema", "white": [1, 2]})",
            ", \"white\" must be a name, three numbers X, Y, Z or an object of x and y");
    refused(R"({"base": "cinema", "white": {"x": 0.3}})", ", \"white\" lacks \"y\"");
    refused(R"({"base": "cinema", "background": "gray"})", ", \"background\": 'gray' is neither a number nor drifting");
    refused(R"({"base": "cinema", "adapting_luminance": "9"})", ", \"adapting_luminance\" must be a number");
    refused(R"({"base": "cinema", "adapting_luminance": 9, "white_luminance": 45})",
            " has both \"adapting_luminance\" and \"white_luminance\"");
    refused(R"({"base": "cinema", "discounting": 1})", ", \"discounting\" must be true or false");
    refused(R"({"base": "cinema", "surround": {"F": 2, "c": 0.69, "Nc": 1}})",
            ": the surround's F must be from 0 to 1");
}

}  // namespace
}  // namespace likeness::testing
