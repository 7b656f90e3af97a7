#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace likeness::testing {
namespace {

using Json = nlohmann::json;

std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream in(line);
    for (std::string cell; std::getline(in, cell, ',');) {
        cells.push_back(cell);
    }
    return cells;
}

/// Fits on photographs of squares that grow paler step by step, and made scores.
class Fit : public DarkroomProgram {
protected:
    void SetUp() override {
        std::string list = "id,first,second,scene\n";
        std::string scores = "id,mos,std,kind\n";
        for (int scene = 0; scene < 4; ++scene) {
            const cv::Mat reference = picture(scene, 0);
            const std::string first = save("s" + std::to_string(scene) + ".png", reference);
            for (int step = 1; step <= 6; ++step) {
                const std::string id = std::to_string(scene) + "-" + std::to_string(step);
                list += id + ',' + first + ',' + save(id + ".png", picture(scene, step)) + ",scene " +
                        std::to_string(scene) + '\n';
                scores += id + ',' + std::to_string(5 - 0.6 * step + 0.05 * ((scene * 7 + step * 3) % 5)) + ",0.2," +
                          (step % 2 == 0 ? "even" : "odd") + '\n';
            }
        }
        list_ = saveText("list.csv", list);
        scores_ = saveText("scores.csv", scores);
        expectDone({"batch", list_, "-o", "results.csv", "--quiet"});
    }

    static cv::Mat picture(int scene, int step) {
        cv::Mat image(40, 40, CV_8UC3);
        for (int i = 0; i < 40; ++i) {
            for (int j = 0; j < 40; ++j) {
                const int value = 40 + (i * 5 + j * 3 + scene * 17) % 150;
                image.at<cv::Vec3b>(i, j) =
                    cv::Vec3b(static_cast<uchar>(value), static_cast<uchar>(value + step * (i % 10)),
                              static_cast<uchar>(std::min(255, value + 30 + 4 * step)));
            }
        }
        return image;
    }

    Json json(const std::string& name) const { return Json::parse(contentOf(folder() / name)); }

    std::string list_;
    std::string scores_;
};

TEST_F(Fit, FindsWhatTheScoresFollowFromAndWritesAllOfIt) {
    for (const char* const form : {"linear", "monotone", "logistic4", "logistic5", "product", "ridge"}) {
        const Outcome done =
            expectDone({"fit", "results.csv", "--scores",      scores_,  "--score",     "mos",           "--deviation",
                        "std", "--group",     "scene",         "--form", form,          "--features",    "chroma",
                        "-o",  "model.json",  "--predictions", "p.csv",  "--direction", "higher-better", "--quiet"});
        EXPECT_NE(done.out.find(std::string(form) + " of chroma; 24 rows, 4 contents by scene, higher-better\n"),
                  std::string::npos)
            << done.out;
        const Json model = json("model.json");
        EXPECT_EQ(model["form"], form);
        EXPECT_EQ(model["training"]["groups"], 4);
        EXPECT_EQ(model["fingerprint"].get<std::string>().size(), 16U);
        EXPECT_GT(model["performance"]["spearman"]["value"].get<double>(), 0.8) << form;
        // What is listed is what the figures are of.
        double squares = 0;
        double outliers = 0;
        const std::vector<std::string> lines = linesOf(contentOf(folder() / "p.csv"));
        ASSERT_EQ(lines.size(), 25U);
        EXPECT_EQ(lines[0], "id,score,predicted,low,high,cross_validated,group,type");
        for (std::size_t k = 1; k < lines.size(); ++k) {
            const std::vector<std::string> cells = cellsOf(lines[k]);
            const double error = std::stod(cells[1]) - std::stod(cells[2]);
            squares += error * error;
            outliers += std::abs(error) > 0.4 ? 1 : 0;
            EXPECT_LT(std::stod(cells[3]), std::stod(cells[2]));
            EXPECT_EQ(cells[6].rfind("scene ", 0), 0U);
        }
        EXPECT_NEAR(model["performance"]["rmse"]["value"].get<double>(), std::sqrt(squares / 24), 1e-12);
        EXPECT_NEAR(model["performance"]["outlier_ratio"]["value"].get<double>(), outliers / 24, 1e-12);
        EXPECT_TRUE(model["validity"]["chroma"][0].get<double>() < model["validity"]["chroma"][1].get<double>());
    }
}

TEST_F(Fit, TheSameCallGivesTheSameBytes) {
    const std::vector<std::string> call = {"fit",    "results.csv", "--scores",      scores_,  "--score",
                                           "mos",    "--direction", "higher-better", "--form", "logistic4",
                                           "--type", "kind",        "--group",       "id",     "-o"};
    std::vector<std::string> one = call;
    one.insert(one.end(), {"one.json", "--threads", "1", "--report", "one.html"});
    std::vector<std::string> other = call;
    other.insert(other.end(), {"other.json", "--threads", "3", "--report", "other.html"});
    expectDone(one);
    expectDone(other);
    EXPECT_EQ(contentOf(folder() / "one.json"), contentOf(folder() / "other.json"));
    EXPECT_EQ(contentOf(folder() / "one.html"), contentOf(folder() / "other.html"));
    EXPECT_EQ(json("one.json")["by_type"].size(), 2U);
    EXPECT_NE(contentOf(folder() / "one.html").find("<table id=\"agreement\">"), std::string::npos);
    std::vector<std::string> seeded = call;
    seeded.insert(seeded.end(), {"seeded.json", "--seed", "2"});
    expectDone(seeded);
    EXPECT_NE(json("one.json")["performance"]["rmse"]["interval"],
              json("seeded.json")["performance"]["rmse"]["interval"]);
    EXPECT_EQ(json("one.json")["performance"]["rmse"]["value"], json("seeded.json")["performance"]["rmse"]["value"]);
}

TEST_F(Fit, APredictionIsThatOfTheFit) {
    expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better", "--form",
                "ridge", "-o", "model.json", "--predictions", "p.csv", "--quiet"});
    const std::vector<std::string> row = cellsOf(linesOf(contentOf(folder() / "p.csv"))[8]);
    EXPECT_EQ(row[0], "1-2");
    const std::vector<std::string> call = {"compare", input("s1.png"), input("1-2.png"), "--predict", "model.json"};
    const auto with = [&](const std::string& option) {
        std::vector<std::string> all = call;
        all.push_back(option);
        return expectDone(all).out;
    };
    const Json compared = Json::parse(with("--json"));
    EXPECT_NEAR(compared["prediction"]["score"].get<double>(), std::stod(row[2]), 1e-12);
    EXPECT_NEAR(compared["prediction"]["interval"][0].get<double>(), std::stod(row[3]), 1e-12);
    EXPECT_EQ(compared["prediction"]["outside_range"], false);
    EXPECT_NE(expectDone(call).out.find("\npredicted mos: "), std::string::npos);
    EXPECT_NE(with("--csv").find(",predicted,predicted_low,predicted_high,predicted_outside\n"), std::string::npos);
    const Json outside =
        Json::parse(expectDone({"compare", input("s1.png"), input("s1.png"), "--predict", "model.json", "--json"}).out);
    EXPECT_EQ(outside["prediction"]["outside_range"], true);
    EXPECT_FALSE(outside["prediction"]["features_outside"].empty());
    const Outcome refused =
        darkroom({"compare", input("s1.png"), input("1-2.png"), "--predict", "model.json", "--background", "20"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.out, "");
    EXPECT_NE(refused.err.find("--predict: 'model.json' was fitted to comparisons of the parameters " +
                               json("model.json")["fingerprint"].get<std::string>() + ", and those of this one are "),
              std::string::npos)
        << refused.err;
}

TEST_F(Fit, AModelOfTheFiveServesWithTheHueToo) {
    expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better", "--form",
                "ridge", "-o", "model.json", "--quiet"});
    const std::vector<std::string> call = {"compare",   input("s1.png"), input("1-2.png"),
                                           "--predict", "model.json",    "--json"};
    std::vector<std::string> withHue = call;
    withHue.emplace_back("--hue");
    EXPECT_EQ(Json::parse(expectDone(withHue).out)["prediction"], Json::parse(expectDone(call).out)["prediction"]);
    EXPECT_EQ(darkroom({"batch", list_, "-o", "hue.csv", "--predict", "model.json", "--hue", "--quiet"}).status, 0);
}

TEST_F(Fit, ABatchRecordsPredictionsWhereTheyAreAskedFor) {
    expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better", "--form",
                "logistic5", "-o", "model.json", "--predictions", "p.csv", "--quiet"});
    const std::string lists = contentOf(list_) + "missing," + input("s1.png") + "," + input("none.png") + ",x\n";
    const std::string list = saveText("longer.csv", lists);
    for (const std::string format : {"csv", "jsonl"}) {
        const std::string out = "predicted." + format;
        EXPECT_EQ(darkroom({"batch", list, "-o", out, "--predict", "model.json", "--quiet"}).status, 1);
        const std::vector<std::string> lines = linesOf(contentOf(folder() / out));
        const std::size_t first = format == "csv" ? 1 : 0;
        ASSERT_EQ(lines.size(), 25 + first);
        const std::vector<std::string> rows = linesOf(contentOf(folder() / "p.csv"));
        for (std::size_t k = 0; k < 24; ++k) {
            const double wanted = std::stod(cellsOf(rows[k + 1])[2]);
            if (format == "csv") {
                const std::vector<std::string> cells = cellsOf(lines[k + 1]);
                EXPECT_NEAR(std::stod(cells[cells.size() - 4]), wanted, 1e-7);
                EXPECT_EQ(cells.back(), "0");
            } else {
                const Json record = Json::parse(lines[k]);
                EXPECT_NEAR(record["predicted"].get<double>(), wanted, 1e-7);
                EXPECT_EQ(record["predicted_outside"], 0);
            }
        }
        if (format == "jsonl") {
            EXPECT_FALSE(Json::parse(lines[24]).contains("predicted")) << "of a pair that could not be compared";
        }
        // A run that goes on finds its own records, and with another model makes them anew.
        const std::string before = contentOf(folder() / out);
        EXPECT_EQ(darkroom({"batch", list, "-o", out, "--predict", "model.json", "--resume", "--quiet"}).status, 1);
        EXPECT_EQ(contentOf(folder() / out), before);
        expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better", "-o",
                    "another.json", "--quiet"});
        EXPECT_EQ(darkroom({"batch", list, "-o", out, "--predict", "another.json", "--resume", "--quiet"}).status, 1);
        EXPECT_NE(contentOf(folder() / out), before);
        EXPECT_EQ(darkroom({"batch", list, "-o", "fresh." + format, "--predict", "another.json", "--quiet"}).status, 1);
        EXPECT_EQ(contentOf(folder() / out), contentOf(folder() / ("fresh." + format)));
    }
}

TEST_F(Fit, PredictsForMaskedPhotographsAndSaysWhatThatAssumes) {
    expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better", "-o",
                "model.json", "--quiet"});
    const cv::Mat photograph = cv::imread(input("s1.png"));
    cv::Mat half(photograph.size(), CV_8U, cv::Scalar(0));
    half(cv::Rect(0, 0, half.cols / 2, half.rows)) = 255;
    const std::string mask = save("half.png", half);
    const std::string remark = "does not say whether it was fitted to masked photographs";
    const std::vector<std::string> call = {"compare", input("s1.png"), input("1-2.png"), "--mask",
                                           mask,      "--predict",     "model.json",     "--json"};
    const Outcome compared = darkroom(call);
    ASSERT_EQ(compared.status, 0) << compared.err;
    EXPECT_NE(compared.err.find(remark), std::string::npos) << compared.err;
    const double score = Json::parse(compared.out)["prediction"]["score"];
    const Json whole = Json::parse(
        expectDone({"compare", input("s1.png"), input("1-2.png"), "--predict", "model.json", "--json"}).out);
    EXPECT_NE(whole["prediction"]["score"].get<double>(), score);
    // A batch with the mask in its list has the same score.
    const std::string list = saveText("masked.csv", "first,second,first_mask,second_mask\n" + input("s1.png") + "," +
                                                        input("1-2.png") + "," + mask + "," + mask + "\n");
    const Outcome batch = darkroom({"batch", list, "-o", "masked_results.jsonl", "--predict", "model.json"});
    EXPECT_EQ(batch.status, 0) << batch.err;
    EXPECT_NE(batch.err.find(remark), std::string::npos) << batch.err;
    const Json record = Json::parse(linesOf(contentOf(folder() / "masked_results.jsonl"))[0]);
    EXPECT_NEAR(record["predicted"].get<double>(), score, 1e-7);
    // Regions belong to the parameters that the model was fitted to.
    const Outcome refused =
        darkroom({"compare", input("s1.png"), input("1-2.png"), "--predict", "model.json", "--center-weighted"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("was fitted to comparisons of the parameters"), std::string::npos) << refused.err;
}

TEST_F(Fit, TellsWhatItLeavesOut) {
    const std::string scores =
        saveText("some.csv", "id,mos\n0-1,4\n0-2,3.5\n0-3,3\n1-1,4.1\n1-2,3.4\n1-3,\nx,1\n1-5,2.2\n");
    const Outcome done = darkroom({"fit", "results.csv", "--scores", scores, "--score", "mos", "--direction",
                                   "higher-better", "--features", "chroma", "--quiet"});
    EXPECT_EQ(done.status, 0) << done.err;
    for (const char* const part :
         {"18 pairs of the results without a score, the first '0-4'; left out",
          "1 score without a pair in the results, the first 'x'; left out", "1 row left out: they have no score"}) {
        EXPECT_NE(done.err.find(part), std::string::npos) << part << '\n' << done.err;
    }
}

TEST_F(Fit, WantsTheDirectionOfATable) {
    const std::string wanted =
        "--direction is required: higher-better where higher scores mean more alike, lower-better where they mean "
        "less; "
        "a table of scores does not tell";
    for (const char* const form : {"linear", "monotone"}) {
        expectRefused({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--form", form, "-o", "none.json"},
                      wanted);
    }
    EXPECT_FALSE(std::filesystem::exists(folder() / "none.json"));
}

TEST_F(Fit, RefusesAReportOfOtherNumbers) {
    for (const char* const number : {"1.5", "-0.25", "inf"}) {
        const std::string report = saveText("For_fit.txt", std::string("1\n0.5\n0.25\n") + number + "\n0.75\n");
        const Outcome outcome = darkroom(
            {"fit", report, "--scores", scores_, "--score", "mos", "--direction", "higher-better", "-o", "none.json"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("line 4: "), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("coefficient"), std::string::npos) << outcome.err;
    }
}

TEST_F(Fit, BaselinesAreComputedAlong) {
    expectDone({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better",
                "--features", "chroma", "--baselines", "--against", "monotone", "-o", "model.json", "--quiet"});
    const Json rivals = json("model.json")["comparisons"];
    ASSERT_EQ(rivals.size(), 3U);
    EXPECT_EQ(rivals[0]["against"], "monotone");
    EXPECT_EQ(rivals[1]["against"], "ciede2000");
    EXPECT_EQ(rivals[2]["against"], "psnr");
    EXPECT_EQ(rivals[2]["rows"], 24);
    EXPECT_GT(rivals[1]["performance"]["spearman"]["value"].get<double>(), 0.9) << "the step moves all pixels";
    EXPECT_TRUE(rivals[0]["pitman"]["p"].is_number());
}

TEST_F(Fit, ADataSetIsAListAndItsScores) {
    std::filesystem::create_directories(folder() / "set/images");
    std::ofstream csv(folder() / "set/dmos.csv");
    csv << "dist_img,ref_img,dmos,var\n";
    for (int scene = 0; scene < 4; ++scene) {
        const std::string name = "I0" + std::to_string(scene + 1);
        std::filesystem::copy(input("s" + std::to_string(scene) + ".png"), folder() / "set/images" / (name + ".png"));
        for (int step = 1; step <= 5; ++step) {
            const std::string file = name + "_07_0" + std::to_string(step) + ".png";
            std::filesystem::copy(input(std::to_string(scene) + "-" + std::to_string(step) + ".png"),
                                  folder() / "set/images" / file);
            csv << file << ',' << name << ".png," << 5 - 0.7 * step + 0.1 * scene << ",0.4\n";
        }
    }
    csv.close();
    std::ofstream(folder() / "list.csv") << expectDone({"fit", "--dataset", "kadid10k", "set", "--print-list"}).out;
    expectDone({"batch", "list.csv", "--root", "set", "-o", "set.db", "--quiet"});
    expectDone({"fit", "set.db", "--dataset", "kadid10k", "set", "--form", "linear", "--features", "chroma", "-o",
                "set.json", "--quiet"});
    const Json model = json("set.json");
    EXPECT_EQ(model["direction"], "higher-better");
    EXPECT_EQ(model["training"]["rows"], 20);
    EXPECT_EQ(model["training"]["groups"], 4);
    EXPECT_TRUE(model["by_type"].contains("07 colour saturation 1"));
    EXPECT_TRUE(model["performance"]["outlier_ratio"]["value"].is_number());
}

TEST_F(Fit, AMissingModuleIsOneLine) {
    std::filesystem::create_directories(folder() / "empty");
    const Outcome outcome =
        run({"/usr/bin/env", "LIKENESS_MODULES=empty", LIKENESS_DARKROOM, "fit", "results.csv", "--scores", scores_,
             "--score", "mos", "--direction", "higher-better", "--form", "logistic4"},
            folder());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("the module likeness_ceres.so cannot be loaded"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(run({"/usr/bin/env", "LIKENESS_MODULES=empty", LIKENESS_DARKROOM, "fit", "results.csv", "--scores",
                   scores_, "--score", "mos", "--direction", "higher-better", "--form", "linear"},
                  folder())
                  .status,
              0);
}

TEST_F(Fit, WhatCannotBeFittedIsRefused) {
    const auto scored = [&](const std::string& text) { return saveText("bad.csv", text); };
    const std::vector<std::string> end = {"--score", "mos", "--direction", "higher-better"};
    const auto refused = [&](const std::string& text, const std::string& message) {
        std::vector<std::string> call = {"fit", "results.csv", "--scores", scored(text)};
        call.insert(call.end(), end.begin(), end.end());
        const Outcome outcome = darkroom(call);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(linesOf(outcome.err).back(), "darkroom fit: " + message);
    };
    refused("id,mos\n0-1,3\n0-2,3\n0-3,3\n0-4,3\n",
            "'results.csv': all scores are the same: there is nothing to predict");
    refused("id,mos\n0-1,3\n0-1,4\n", "'" + input("bad.csv") + "', line 3: the id '0-1' is that of line 2");
    refused("id,mos\nzero,3\n",
            "'results.csv' and " + input("bad.csv") + " have no id in common: the one has '0-1', the other 'zero'");
    expectRefused({"fit", "results.csv", "--scores", scores_, "--score", "mos", "--direction", "higher-better",
                   "--group", "place"},
                  "--group: neither the scores nor 'results.csv' have a column 'place'");
}

}  // namespace
}  // namespace likeness::testing
