// compare, appearance and batch under another model than the default.
#include <likeness/comparison/analysis.hpp>
#include "darkroom/darkroom_program.hpp"
#include "files/number_format.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class DarkroomModel : public DarkroomProgram {
protected:
    static ComparisonModel published(AppearanceModelKind kind, const char* preset) {
        ComparisonModel model;
        model.kind = kind;
        model.conditions = conditionPreset(preset).conditions;
        return model;
    }

    static json comparison(const ComparisonModel& model, std::optional<HueWeights> hue = {}) {
        const AnalysisOptions options = {false, model, hue};
        const Analysis first = analyze(examplePhotograph("cat.jpg"), options);
        const Analysis second = analyze(examplePhotograph("coffee.jpg"), options);
        const LikenessCoefficients coefficients = likeness::compare(first, second);
        json expected;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            expected[correlateNames[k].name] = roundedToNineDigits(coefficients[k]);
        }
        if (hue) {
            expected["hue"] = roundedToNineDigits(*hueCoefficient(first.distributions(), second.distributions()));
        }
        return expected;
    }

    json compared(std::vector<std::string> options) const {
        std::vector<std::string> arguments = {"compare", cat, coffee, "--json", "--quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return json::parse(expectDone(arguments).out);
    }

    std::string list(const std::string& name, const std::vector<std::string>& lines) const {
        std::string text = "first,second,note\n";
        for (const std::string& line : lines) {
            text += line + '\n';
        }
        return saveText(name, text);
    }

    std::string textLeft(const std::string& name) const {
        std::ifstream stream(output(name));
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

    const std::string cat = photo("cat.jpg");
    const std::string coffee = photo("coffee.jpg");
};

TEST_F(DarkroomModel, ComparesUnderPublishedModels) {
    const json display = compared({"--model", "ciecam16"});
    EXPECT_EQ(display["coefficients"], comparison(published(AppearanceModelKind::ciecam16, "srgb-display")));
    EXPECT_EQ(display["model"]["name"], "ciecam16");
    EXPECT_EQ(display["model"]["conditions"]["name"], "srgb-display");
    EXPECT_EQ(display["viewing_conditions"]["adapting_luminance_cd_per_m2"], 16);
    EXPECT_EQ(display["first"]["background_luminance"], 20);

    ComparisonModel print = published(AppearanceModelKind::ciecam02, "print-d50");
    print.conditions.surround = dimSurround;
    print.conditions.adaptingLuminance = 300;
    print.pictureWhite = PictureWhite::grayWorld;
    const json changed =
        compared({"--model", "ciecam02", "--conditions", "print-d50", "--surround", "dim", "--adapting-luminance",
                  "300", "--picture-white", "gray-world", "--hue", "--hue-weights", "chroma"});
    EXPECT_EQ(changed["coefficients"], comparison(print, HueWeights::chroma));
    EXPECT_EQ(changed["model"]["conditions"]["name"], "print-d50, changed");
    EXPECT_EQ(changed["model"]["picture_white"], "gray-world");
    EXPECT_EQ(changed["model"]["hue_weights"], "chroma");
}

TEST_F(DarkroomModel, VariantsOfTheOwnModelChangeItsCoefficients) {
    ComparisonModel model;
    model.white = WhiteResponse::fixed;
    model.black = BlackAdaptation::continuous;
    model.background = 20;
    const json variant = compared({"--white", "fixed", "--black", "continuous", "--background", "20"});
    EXPECT_EQ(variant["coefficients"], comparison(model));
    EXPECT_EQ(variant["model"],
              (json{{"name", "likeness"}, {"white", "fixed"}, {"black", "continuous"}, {"background", 20.0}}));
    EXPECT_NE(variant["coefficients"], comparison({}));
}

TEST_F(DarkroomModel, TheDefaultSpelledOutIsTheDefault) {
    const Outcome plain = expectDone({"compare", cat, coffee, "--json"});
    const Outcome spelled =
        expectDone({"compare", cat, coffee, "--json", "--model", "likeness", "--conditions", "likeness-default",
                    "--white", "brightest", "--black", "defined", "--background", "drifting"});
    EXPECT_EQ(spelled.out, plain.out);
    EXPECT_EQ(spelled.err, plain.err);
    EXPECT_EQ(json::parse(plain.out).count("model"), 0U);
}

TEST_F(DarkroomModel, TheLineSaysTheModelOnStandardError) {
    const Outcome outcome = expectDone({"compare", cat, coffee, "--model", "ciecam02", "--hue"});
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), ','), 5);
    EXPECT_EQ(outcome.err.rfind("darkroom compare: ciecam02 under srgb-display (white 95.0467", 0), 0U) << outcome.err;
    const Outcome csv = expectDone({"compare", cat, coffee, "--white", "fixed", "--hue", "--csv", "--quiet"});
    EXPECT_NE(csv.out.find(",saturation,hue,model\n"), std::string::npos);
    EXPECT_NE(csv.out.find(",model=likeness;white=fixed;black=defined;background=drifting;hue=pixels\n"),
              std::string::npos);
}

TEST_F(DarkroomModel, TheHueMayHaveALimit) {
    const Outcome below =
        darkroom({"compare", cat, coffee, "--model", "ciecam16", "--hue", "--min", "hue=0.99", "--quiet"});
    EXPECT_EQ(below.status, 1);
    const json result = json::parse(darkroom({"compare", cat, coffee, "--hue", "--min", "hue=0.99", "--json"}).out);
    EXPECT_EQ(result["limits"], (json{{"hue", 0.99}}));
    EXPECT_EQ(result["within_limits"], false);
    expectRefused({"compare", cat, coffee, "--min", "hue=0.5"}, "--min: the hue has a coefficient with --hue only");
}

TEST_F(DarkroomModel, RefusesWhatAModelDoesNotHave) {
    const std::string own =
        ": the model likeness has conditions of its own, likeness-default; --model ciecam02 or "
        "ciecam16 takes others";
    expectRefused({"compare", cat, coffee, "--surround", "dim"}, "--surround" + own);
    expectRefused({"compare", cat, coffee, "--conditions", "cinema"}, "--conditions" + own);
    expectRefused({"appearance", cat, "-o", ".", "--adapting-luminance", "5"}, "--adapting-luminance" + own);
    expectRefused({"compare", cat, coffee, "--picture-white", "encoding"}, "--picture-white" + own);
    expectRefused({"compare", cat, coffee, "--white", "D50"},
                  "--white: 'D50' is neither brightest nor fixed, which the model likeness knows; --model ciecam02 or "
                  "ciecam16 takes other whites");
    expectRefused({"compare", cat, coffee, "--background", "0"},
                  "--background: '0' is neither drifting nor a number above 0 and up to 100");
    expectRefused({"compare", cat, coffee, "--model", "ciecam16", "--black", "continuous"},
                  "--black: the model ciecam16 has no such choice; it is one of the model likeness");
    expectRefused({"compare", cat, coffee, "--model", "ciecam16", "--background", "101"},
                  "viewing conditions: the background must be from 0 to the Y of the white");
    expectRefused(
        {"compare", cat, coffee, "--model", "ciecam16", "--dumps", "."},
        "--dumps: the diagnostic files are those of the default model; leave out --hue and the options of the "
        "model");
    expectRefused({"appearance", cat, "-o", ".", "--white", "fixed", "--dumps", "."},
                  "--dumps: the diagnostic files are those of the default model; leave out --hue and the options of "
                  "the model");
}

TEST_F(DarkroomModel, TheReportShowsModelConditionsAndHue) {
    fs::create_directory(output("maps"));
    expectDone({"compare", cat, coffee, "--model", "ciecam16", "--conditions", "cinema", "--hue", "--report", "r.html",
                "--maps", "maps", "--quiet"});
    const std::string page = textLeft("r.html");
    for (const char* const part :
         {"id=\"model\">ciecam16<", "id=\"conditions\">cinema<", "id=\"adapting-luminance\">9.6<",
          "id=\"coefficient-hue\">", "<section id=\"hue\">"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    EXPECT_EQ(page.find("dark surround (c ="), std::string::npos);
    const AnalysisOptions options = {true, published(AppearanceModelKind::ciecam16, "cinema"), {}};
    const Analysis expected = analyze(examplePhotograph("cat.jpg"), options);
    EXPECT_MAT_EQUAL(imageLeft("maps/first_hue.tif"), expected.map(&AppearanceMaps::hueDegrees));
    EXPECT_MAT_EQUAL(imageLeft("maps/first_chroma.tif"), expected.map(&AppearanceMaps::chroma));

    expectDone({"compare", cat, coffee, "--white", "fixed", "--background", "30", "--report", "own.html", "--quiet"});
    const std::string own = textLeft("own.html");
    EXPECT_NE(own.find("id=\"variant-white\""), std::string::npos);
    EXPECT_NE(own.find("id=\"background-first\">30<"), std::string::npos);
    EXPECT_EQ(own.find("variant-black"), std::string::npos);
}

TEST_F(DarkroomModel, MapsAppearances) {
    const json result =
        json::parse(expectDone({"appearance", cat, "-o", ".", "--model", "ciecam02", "--json", "--quiet"}).out);
    EXPECT_EQ(result["model"]["name"], "ciecam02");
    EXPECT_GE(result["correlates"]["hue_degrees"]["mean"].get<double>(), 0);
    EXPECT_GE(result["correlates"]["hue_degrees"]["minimum"].get<double>(), 0);
    const AnalysisOptions options = {true, published(AppearanceModelKind::ciecam02, "srgb-display"), {}};
    EXPECT_MAT_EQUAL(imageLeft("cat_lightness.tif"),
                     analyze(examplePhotograph("cat.jpg"), options).map(&AppearanceMaps::lightness));
}

TEST_F(DarkroomModel, BatchesRecordModelAndHue) {
    const json expected = comparison(published(AppearanceModelKind::ciecam16, "bright-office"), HueWeights::chroma);
    const std::vector<std::string> model = {"--model", "ciecam16",      "--conditions", "bright-office",
                                            "--hue",   "--hue-weights", "chroma",       "--quiet"};
    const auto batch = [&](const std::string& pairs, const std::string& results, bool resume) {
        std::vector<std::string> arguments = {"batch", pairs, "-o", results};
        arguments.insert(arguments.end(), model.begin(), model.end());
        if (resume) {
            arguments.insert(arguments.end(), {"--resume", "--retry-failed"});
        }
        return darkroom(arguments);
    };
    const std::string one = list("one.csv", {cat + "," + coffee + ",a"});
    const std::string all = list("all.csv", {cat + ",none.jpg,b", cat + "," + coffee + ",a"});
    for (const char* const results : {"r.jsonl", "r.csv", "r.db"}) {
        EXPECT_EQ(batch(one, results, false).status, 0) << results;
        // The recorded pair comes second now: its outcome is carried over, the hue too.
        const Outcome resumed = batch(all, results, true);
        EXPECT_EQ(resumed.status, 1) << results << resumed.err;
        const Outcome verified = darkroom({"verify", all, results});
        EXPECT_EQ(verified.status, 1);
    }
    std::istringstream lines(textLeft("r.jsonl"));
    std::string failed;
    std::string compared;
    std::getline(lines, failed);
    std::getline(lines, compared);
    const json record = json::parse(compared);
    for (const auto& [name, value] : expected.items()) {
        EXPECT_EQ(record[name], value) << name;
    }
    EXPECT_EQ(json::parse(failed).count("hue"), 0U);
    const auto parameters = record["parameters"].get<std::string>();
    EXPECT_NE(parameters.find(" model=ciecam16;white=95.04"), std::string::npos) << parameters;
    EXPECT_NE(parameters.find(";adapting-luminance=50;background=20;surround=1,0.69,1;discounting=no;"),
              std::string::npos)
        << parameters;
    EXPECT_EQ(parameters.substr(parameters.size() - 11), ";hue=chroma");
    expectDone({"merge", "again.csv", "r.db"});
    EXPECT_EQ(textLeft("again.csv"), textLeft("r.csv"));
}

TEST_F(DarkroomModel, BatchesDoNotMixModels) {
    const std::string pairs = list("pairs.csv", {cat + "," + coffee + ",a"});
    expectDone({"batch", pairs, "-o", "own.jsonl", "--quiet"});
    expectDone({"batch", pairs, "-o", "fixed.jsonl", "--white", "fixed", "--quiet"});
    expectDone({"batch", pairs, "-o", "pub.jsonl", "--model", "ciecam16", "--quiet"});
    for (const auto& [results, options] : {std::pair<const char*, std::vector<std::string>>{"own.jsonl", {"--hue"}},
                                           {"fixed.jsonl", {}},
                                           {"pub.jsonl", {"--model", "ciecam02"}},
                                           {"pub.jsonl", {"--model", "ciecam16", "--white-luminance", "81"}}}) {
        std::vector<std::string> arguments = {"batch", pairs, "-o", results, "--resume"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = darkroom(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("holds results of the parameters"), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(darkroom({"merge", "all.jsonl", "own.jsonl", "pub.jsonl"}).status, 2);
    const std::string hue = saveText("hue.csv", "first,second,hue\n" + cat + "," + coffee + ",1\n");
    expectRefused({"batch", hue, "-o", "x.csv", "--hue"},
                  "--hue: the list has a column 'hue', which is the name of the hue's coefficient in the results");
}

TEST_F(DarkroomModel, ABackgroundOfANumberIsNotRemarkedOn) {
    const std::string large = save("large.png", cv::Mat(1500, 1500, CV_8UC3, cv::Scalar(9, 99, 199)));
    const std::string pairs = list("pairs.csv", {cat + "," + large + ",a"});
    const auto remarks = [&](const std::string& results, const std::string& background) {
        expectDone({"batch", pairs, "-o", results, "--background", background, "--quiet"});
        return json::parse(textLeft(results))["remarks"];
    };
    EXPECT_TRUE(remarks("fixed.jsonl", "20").is_null());
    EXPECT_FALSE(remarks("drifting.jsonl", "drifting").is_null());
    EXPECT_EQ(expectDone({"compare", cat, large, "--background", "20"}).err.find("backgrounds"), std::string::npos);
}

TEST_F(DarkroomModel, ABlackBackgroundIsTold) {
    const Outcome outcome = expectDone({"compare", cat, coffee, "--model", "ciecam16", "--background", "0", "--json"});
    EXPECT_EQ(json::parse(outcome.out)["first"]["background_luminance"], 0);
    const std::string black =
        ": warning: the background counts as 0.0001 of the white, the least that the models are given\n";
    EXPECT_EQ(outcome.err.rfind("darkroom compare" + black, 0), 0U) << outcome.err;
    EXPECT_EQ(expectDone({"appearance", cat, "-o", ".", "--model", "ciecam16", "--background", "0", "--quiet"}).err,
              "darkroom appearance" + black);
    const std::string pairs = list("pairs.csv", {cat + "," + coffee + ",a"});
    EXPECT_EQ(expectDone({"batch", pairs, "-o", "r.csv", "--model", "ciecam02", "--background", "0", "--quiet"}).err,
              "darkroom batch" + black);
    EXPECT_EQ(expectDone({"sweep", cat, coffee, "--background", "0.001", "--white-luminance", "10,100", "--quiet"}).err,
              "darkroom sweep" + black);
}

TEST_F(DarkroomModel, AnAdaptingLuminanceOfZeroIsToldAndHasNoNan) {
    for (const std::string model : {"ciecam02", "ciecam16"}) {
        const Outcome outcome = expectDone(
            {"compare", cat, coffee, "--model", model, "--adapting-luminance", "0", "--json", "--hue", "--quiet"});
        EXPECT_EQ(outcome.err,
                  "darkroom compare: warning: an adapting luminance of 0 leaves colours their lightness and hue alone: "
                  "brightness, chroma, colourfulness and saturation are 0\n");
        const json result = json::parse(outcome.out);
        for (const auto& [name, coefficient] : result["coefficients"].items()) {
            EXPECT_TRUE(coefficient.is_number()) << model << ' ' << name;
        }
    }
}

TEST_F(DarkroomModel, PublishedModelsHaveNoBackgroundThatDrifts) {
    const std::string refusal =
        "--background: the model ciecam16 has no background that drifts; give a number, from 0 to the Y of the white";
    expectRefused({"compare", cat, coffee, "--model", "ciecam16", "--background", "drifting"}, refusal);
    expectRefused({"sweep", cat, coffee, "--background", "drifting"}, refusal);
    expectRefused({"sweep", cat, coffee, "--conditions", "likeness-default"},
                  "--white-luminance: a background that drifts gives no adapting luminance; give the background as a "
                  "number");
    expectRefused(
        {"sweep", cat, coffee, "--background", "0"},
        "--white-luminance: a background of 0 gives an adapting luminance of 0 whatever the white's luminance "
        "is; give the adapting luminance itself, or a background above 0");
    EXPECT_EQ(
        expectDone({"compare", cat, coffee, "--model", "ciecam16", "--conditions", "likeness-default", "--quiet"}).err,
        "darkroom compare: warning: the background of likeness-default drifts with the size of photographs, which "
        "ciecam16 does not know: it is taken to be 20\n");
}

TEST_F(DarkroomModel, AFileSaysTheWhiteOfThePicture) {
    const std::string file = saveText("gray.json", R"({"base": "srgb-display", "picture_white": "gray-world"})");
    const auto compared = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"compare", cat, coffee, "--model", "ciecam16", "--quiet"});
        return expectDone(more).out;
    };
    EXPECT_EQ(compared({"--conditions", file}), compared({"--picture-white", "gray-world"}));
    EXPECT_EQ(compared({"--conditions", file, "--picture-white", "encoding"}), compared({}));
    EXPECT_NE(compared({"--conditions", file}), compared({}));
}

// X, Y, Z = 5, 1, 120: the achromatic response of CIECAM02 is below 0.
const cv::Vec3f beyondBlue(1.1101815F, 0.1524072F, -5.8349516F);

TEST_F(DarkroomModel, PixelsThatCountAsBlackForWantOfADescriptionAreTold) {
    cv::Mat image(2, 2, CV_32FC3, cv::Scalar::all(0.5));
    image.at<cv::Vec3f>(0, 0) = cv::Vec3f::all(0);
    image.at<cv::Vec3f>(1, 1) = beyondBlue;
    const std::string path = save("beyond.tif", image);
    const std::string remark =
        "'" + path + "': 25 % of its pixels have colours outside what the model describes: they count as black";
    const auto expectWarning = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--model", "ciecam02", "--quiet"});
        EXPECT_EQ(expectDone(arguments).err, "darkroom " + arguments.front() + ": warning: " + remark + '\n');
    };
    expectWarning({"compare", path, cat});
    expectWarning({"compare", path, cat, "--hue"});
    expectWarning({"sweep", path, cat, "--white", "srgb", "--white-luminance", "10,100"});
    expectWarning({"appearance", path, "-o", folder().string()});
    EXPECT_EQ(expectDone({"compare", path, cat, "--quiet"}).err, "");
    expectDone(
        {"batch", list("pairs.csv", {path + "," + cat + ",a"}), "-o", "r.jsonl", "--model", "ciecam02", "--quiet"});
    EXPECT_EQ(json::parse(textLeft("r.jsonl"))["remarks"], remark);
}

TEST_F(DarkroomModel, APictureWithoutAWhiteIsRefusedByItsName) {
    const std::string path = save("beyond.tif", cv::Mat(2, 2, CV_32FC3, cv::Scalar(cv::Vec3d(beyondBlue))));
    const std::string refusal =
        "'" + path +
        "': the white of the picture lies outside the colours of lights: a cone would not respond to it; choose "
        "--picture-white encoding";
    const auto refused = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--model", "ciecam02", "--picture-white", "brightest", "--quiet"});
        expectRefused(arguments, refusal);
    };
    refused({"compare", path, cat});
    refused({"compare", cat, path});
    refused({"appearance", path, "-o", folder().string()});
    refused({"sweep", cat, path, "--white-luminance", "10"});
}

TEST_F(DarkroomModel, ABatchSumsUpTheHueToo) {
    const std::string pairs = list("pairs.csv", {cat + "," + coffee + ",a"});
    const std::string table = expectDone({"batch", pairs, "-o", "r.csv", "--hue"}).err;
    EXPECT_NE(table.find("\ndarkroom batch: hue   "), std::string::npos) << table;
    EXPECT_EQ(expectDone({"batch", pairs, "-o", "without.csv"}).err.find("hue "), std::string::npos);
    expectDone({"report", "r.csv", "-o", "r.html", "--quiet"});
    const std::string page = textLeft("r.html");
    EXPECT_NE(page.find("<tr data-coefficient=\"hue\">"), std::string::npos);
    EXPECT_NE(page.find("\"coefficients\":[\"brightness\",\"lightness\",\"chroma\",\"colorfulness\",\"saturation\","
                        "\"hue\"]"),
              std::string::npos);
    EXPECT_NE(page.find("\"columns\":[\"note\"]"), std::string::npos);
    // A list's own column of this name is no coefficient.
    const std::string own = saveText("own.csv", "first,second,hue\n" + cat + ',' + coffee + ",0.5\n");
    expectDone({"batch", own, "-o", "own_results.csv", "--quiet"});
    expectDone({"report", "own_results.csv", "-o", "own.html", "--quiet"});
    EXPECT_EQ(textLeft("own.html").find("data-coefficient=\"hue\""), std::string::npos);
    EXPECT_NE(textLeft("own.html").find("\"columns\":[\"hue\"]"), std::string::npos);
}

TEST_F(DarkroomModel, ChoicesOfTheOwnModelAreNamedAsSuch) {
    expectRefused({"compare", cat, coffee, "--model", "ciecam16", "--white", "fixed"},
                  "--white: 'fixed' is a choice of the model likeness; ciecam16 takes a white such as D65 or X,Y,Z");
    expectRefused(
        {"compare", cat, coffee, "--model", "ciecam16", "--white", "brightest"},
        "--white: 'brightest' is a choice of the model likeness; ciecam16 takes a white such as D65 or X,Y,Z, "
        "and --picture-white brightest");
}

TEST_F(DarkroomModel, TheHueOfAnImageIsDistributed) {
    fs::create_directory(output("maps"));
    for (const std::string model : {"likeness", "ciecam16"}) {
        const json result = json::parse(expectDone({"appearance", cat, "-o", "maps", "--hue", "--hue-weights", "chroma",
                                                    "--model", model, "--json", "--quiet"})
                                            .out);
        ASSERT_EQ(result["hue_distribution"].size(), 360U);
        double sum = 0;
        for (const json& share : result["hue_distribution"]) {
            sum += share.get<double>();
        }
        EXPECT_NEAR(sum, 1, 1e-5);
        EXPECT_EQ(result["model"]["hue_weights"], "chroma");
    }
    EXPECT_NE(expectDone({"appearance", cat, "-o", "maps", "--hue", "--quiet"}).out.find("\nmost frequent hue "),
              std::string::npos);
}

TEST_F(DarkroomModel, AbsoluteLuminanceIsTakenUnderTheWhiteThatIsAskedFor) {
    const std::string plain = save("plain.hdr", exampleImage("cat.jpg")(cv::Rect(100, 60, 60, 40)).clone());
    // 179 lm/W over an exposure of 2: its 1 is 89.5 cd/m2.
    std::string bytes = contentOf(plain);
    bytes.insert(bytes.find('\n') + 1, "EXPOSURE=2\n");
    const std::string absolute = saveText("absolute.hdr", bytes);
    const std::vector<std::string> model = {"--model", "ciecam16", "--white-luminance", "179"};
    const auto under = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), model.begin(), model.end());
        return expectDone(arguments);
    };
    const json result = json::parse(under({"compare", absolute, plain, "--json"}).out);
    EXPECT_EQ(result["first"]["luminance_of_one_cd_per_m2"], 89.5);
    EXPECT_EQ(result["first"]["white_luminance_cd_per_m2"], 179);
    EXPECT_FALSE(result["second"].contains("luminance_of_one_cd_per_m2"));
    EXPECT_LT(result["coefficients"]["lightness"].get<double>(), 0.9);
    // Half of white is an exposure of -1 EV; the way through a filter and a file of encoded floats rounds.
    const std::string half = output("half.tif");
    expectDone({"smooth", plain, "--exposure", "-1", "--radius", "0", "--eps", "0", "-o", half, "--quiet"});
    const std::string whole = output("whole.tif");
    expectDone({"smooth", plain, "--radius", "0", "--eps", "0", "-o", whole, "--quiet"});
    const json exposed = json::parse(under({"compare", half, whole, "--json"}).out);
    for (const auto& [name, value] : result["coefficients"].items()) {
        EXPECT_NEAR(exposed["coefficients"][name].get<double>(), value.get<double>(), 5e-3) << name;
    }
    // Without the option its 1 is white, which is told; the model of the comparison by default knows no other.
    const Outcome untold = expectDone({"compare", absolute, plain});
    EXPECT_EQ(linesOf(untold.out).at(0), "1,1,1,1,1");
    EXPECT_NE(untold.err.find("it says that its 1 is 89.5 cd/m2, and that is taken for white"), std::string::npos)
        << untold.err;

    const std::string pairs = list("pairs.csv", {absolute + ',' + plain + ",x"});
    under({"batch", pairs, "-o", "r.jsonl", "--quiet"});
    const json record = json::parse(textLeft("r.jsonl"));
    for (const auto& [name, value] : result["coefficients"].items()) {
        EXPECT_EQ(record[name], value) << name;
    }
    EXPECT_NE(record["remarks"].get<std::string>().find("179 cd/m2 is taken for white"), std::string::npos);
    under({"index", plain, absolute, "-o", "a.likeness", "--quiet"});
    // A copy is no entry: it is read as those of the archive were.
    const std::string copy = saveText("copy.hdr", bytes);
    const json found = json::parse(expectDone({"search", "a.likeness", copy, "--top", "1", "--json", "--quiet"}).out);
    EXPECT_EQ(found["results"][0]["path"], absolute);
    EXPECT_EQ(found["results"][0]["lightness"], 1);
}

}  // namespace
}  // namespace likeness::testing
