// Fits as they are told and kept in files.
#include "scores/score_fit.hpp"
#include "files/refusal.hpp"
#include "fit/made_scores.hpp"
#include "scores/score_model_file.hpp"
#include "support/needed_package.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

struct Made {
    RecordedPairs pairs;
    OpinionScores scores;
    JoinedScores joined;
};

Made made(std::size_t count, double deviation, ScoreDirection direction = ScoreDirection::higherBetter) {
    const double sign = direction == ScoreDirection::higherBetter ? 1 : -1;
    const ScoredRows rows = madeRows(count, deviation, 31, [&](double x, double y) { return 5 + sign * (2 * x + y); });
    Made all;
    all.pairs.features = rows.features;
    all.pairs.parameters = "0123456789abcdef";
    all.pairs.version = "1.2.3";
    all.scores.direction = direction;
    all.scores.scoreColumn = "mos";
    all.scores.deviationColumn = "std";
    all.scores.contentColumn = "scene";
    all.scores.typeColumn = "kind";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string id = std::to_string(i);
        all.pairs.pairs.push_back({id, "a", "b" + id, "", "", {rows.columns[0][i], rows.columns[1][i]}});
        OpinionScore score;
        score.id = id;
        score.score = rows.scores[i];
        score.deviation = deviation;
        score.content = "scene " + std::to_string(i % 8);
        score.type = i % 2 == 0 ? "blur" : "noise";
        all.scores.scores.push_back(score);
        all.joined.rows.push_back({i, i});
    }
    return all;
}

ScoreFit fitOf(const Made& rows, ScoreForm form, ScoreFitOptions options = {}) {
    options.fit.form = form;
    options.bootstrap.resamples = 100;
    return fitOpinionScores(rows.pairs, rows.scores, rows.joined, options);
}

TEST(ScoreFit, AModelReadsBackToTheBit) {
    if (!canFitCurves()) {
        SKIP_WITHOUT_PACKAGE("the module ceres was not built");
    }
    const ScratchDirectory folder;
    const Made rows = made(120, 0.2);
    for (const ScoreForm form : {ScoreForm::linear, ScoreForm::monotone, ScoreForm::logistic4, ScoreForm::logistic5,
                                 ScoreForm::product, ScoreForm::ridge}) {
        const ScoreFit fit = fitOf(rows, form);
        std::ofstream("model.json") << scoreModelJson(fit, {"results.csv", "scores.csv"});
        const StoredScoreModel stored = readScoreModel("--predict", "model.json");
        EXPECT_EQ(stored.parameters, "0123456789abcdef");
        EXPECT_EQ(stored.version, "1.2.3");
        EXPECT_EQ(stored.scoreName, "mos");
        for (const std::vector<double>& values : {std::vector<double>{0.3, 0.9}, {0.5, 0.51}, {0.1, 2}}) {
            const ScorePrediction own = predictScore(fit.stored.model, values);
            const ScorePrediction read = predictScore(stored.model, values);
            EXPECT_EQ(own.score, read.score) << nameOf(form);
            EXPECT_EQ(own.low, read.low) << nameOf(form);
            EXPECT_EQ(own.high, read.high);
            EXPECT_EQ(own.outside, read.outside);
        }
        EXPECT_TRUE(predictScore(stored.model, {0.1, 2}).outside);
    }
}

TEST(ScoreFit, TheFileTellsWhatWasFound) {
    ScoreFitOptions options;
    options.forms = {ScoreForm::monotone};
    options.baselines = {{"psnr", {}}};
    const Made rows = made(120, 0.2);
    for (std::size_t i = 0; i < 120; ++i) {
        options.baselines[0].second.push_back(i == 7 ? std::nan("") : 20 + static_cast<double>(i % 13));
    }
    const ScoreFit fit = fitOf(rows, ScoreForm::linear, options);
    const auto json = nlohmann::json::parse(scoreModelJson(fit, {"results.csv", "scores.csv"}));
    for (const char* const part : {"performance", "cross_validated"}) {
        for (const char* const name : {"pearson", "spearman", "kendall", "rmse", "outlier_ratio"}) {
            const auto& figure = json.at(part).at(name);
            EXPECT_LE(figure.at("interval").at(0).get<double>(), figure.at("value").get<double>()) << part << name;
            EXPECT_GE(figure.at("interval").at(1).get<double>(), figure.at("value").get<double>()) << part << name;
        }
    }
    EXPECT_GT(json["cross_validated"]["rmse"]["value"], json["performance"]["rmse"]["value"]);
    EXPECT_NEAR(json["performance"]["rmse"]["value"].get<double>(), 0.2, 0.03);
    EXPECT_NEAR(json["performance"]["outlier_ratio"]["value"].get<double>(), 0.05, 0.05);
    EXPECT_EQ(json["training"]["rows"], 120);
    EXPECT_EQ(json["training"]["groups"], 8);
    EXPECT_EQ(json["training"]["folds"], 8);
    EXPECT_EQ(json["direction"], "higher-better");
    EXPECT_EQ(json["by_type"]["blur"]["rows"], 60);
    ASSERT_EQ(json["comparisons"].size(), 2U);
    EXPECT_EQ(json["comparisons"][0]["against"], "monotone");
    EXPECT_EQ(json["comparisons"][1]["rows"], 119) << "one pair has no baseline";
    EXPECT_LT(json["comparisons"][1]["pitman"]["p"].get<double>(), 0.001);
    EXPECT_LT(json["comparisons"][1]["difference"]["rmse"]["interval"][1].get<double>(), 0);
    EXPECT_TRUE(json["mapped"]["performance"]["rmse_star"].is_null()) << "nobody said how many observers there were";
    options.observers = 16;
    const ScoreFit known = fitOf(rows, ScoreForm::linear, options);
    EXPECT_GT(known.performance.outlierRatio.value, fit.performance.outlierRatio.value);
    EXPECT_FALSE(std::isnan(known.mapped.rmseStar));
}

TEST(ScoreFit, ObserversWithoutDeviationsAreToldOf) {
    ScoreFitOptions options;
    options.observers = 16;
    Made rows = made(60, 0.2);
    rows.scores.deviationColumn.clear();
    const ScoreFit fit = fitOf(rows, ScoreForm::linear, options);
    EXPECT_EQ(std::count(fit.remarks.begin(), fit.remarks.end(),
                         "the number of observers plays no part: the scores have no deviations (--deviation)"),
              1);
}

TEST(ScoreFit, AFallingMonotoneFollowsFromTheDirection) {
    const ScoreFit fit = fitOf(made(120, 0.2, ScoreDirection::lowerBetter), ScoreForm::monotone);
    EXPECT_GT(fit.stored.model.knotsY.front(), fit.stored.model.knotsY.back());
    EXPECT_GT(fit.performance.pearson.value, 0.8);
}

TEST(ScoreFit, ADirectionThatTheScoresContradictIsToldForEveryForm) {
    const auto told = [](const Made& rows, ScoreForm form) {
        const ScoreFit fit = fitOf(rows, form);
        return std::count_if(fit.remarks.begin(), fit.remarks.end(), [](const std::string& remark) {
            return remark.find("look whether the direction is right") != std::string::npos;
        });
    };
    for (const ScoreForm form : {ScoreForm::linear, ScoreForm::ridge, ScoreForm::monotone}) {
        for (const ScoreDirection direction : {ScoreDirection::higherBetter, ScoreDirection::lowerBetter}) {
            Made rows = made(120, 0.2, direction);
            EXPECT_EQ(told(rows, form), 0);
            rows.scores.direction =
                direction == ScoreDirection::higherBetter ? ScoreDirection::lowerBetter : ScoreDirection::higherBetter;
            EXPECT_EQ(told(rows, form), 1);
            // Distances fall where coefficients rise.
            rows.pairs.features = {"brightness_wasserstein", "chroma_wasserstein"};
            EXPECT_EQ(told(rows, form), 0);
        }
    }
}

TEST(ScoreFit, WithoutContentsEachRowIsOneOfItsOwn) {
    Made rows = made(40, 0.2);
    rows.scores.contentColumn.clear();
    const ScoreFit one = fitOf(rows, ScoreForm::linear);
    EXPECT_EQ(one.grouping, "") << "all pairs have the same first photograph";
    EXPECT_EQ(one.groups, 40U);
    for (std::size_t i = 0; i < 40; ++i) {
        rows.pairs.pairs[i].first = "photo " + std::to_string(i % 5);
    }
    const ScoreFit five = fitOf(rows, ScoreForm::linear);
    EXPECT_EQ(five.grouping, "first");
    EXPECT_EQ(five.groups, 5U);
}

TEST(ScoreFit, OneContentCannotBeValidated) {
    Made rows = made(40, 0.2);
    for (OpinionScore& score : rows.scores.scores) {
        score.content = "the same";
    }
    const ScoreFit fit = fitOf(rows, ScoreForm::linear);
    EXPECT_FALSE(fit.crossValidated);
    const auto json = nlohmann::json::parse(scoreModelJson(fit, {"results.csv", "scores.csv"}));
    EXPECT_TRUE(json["cross_validated"].is_null());
    EXPECT_TRUE(json["performance"]["pearson"]["interval"].is_null());
}

TEST(ScoreFit, WhatIsNoModelIsRefused) {
    const ScratchDirectory folder;
    const auto expectRefusal = [](const std::string& text, const std::string& part) {
        std::ofstream("bad.json", std::ios::trunc) << text;
        try {
            readScoreModel("--predict", "bad.json");
            ADD_FAILURE() << "not refused: " << part;
        } catch (const Refusal& refusal) {
            EXPECT_NE(std::string(refusal.what()).find(part), std::string::npos) << refusal.what();
        }
    };
    expectRefusal("", "--predict: 'bad.json' is no JSON");
    expectRefusal("[1]", "is no model that darkroom fit wrote");
    expectRefusal("{}", "is no model that darkroom fit wrote");
    expectRefusal(std::string(100000, '['), "is no model");
    const std::string whole = scoreModelJson(fitOf(made(60, 0.2), ScoreForm::linear), {"r", "s"});
    for (const char* const member :
         {"form", "fingerprint", "features", "parameters", "covariance", "residual_deviation", "degrees_of_freedom",
          "confidence", "validity", "direction"}) {
        auto json = nlohmann::ordered_json::parse(whole);
        json[member] = nlohmann::ordered_json::array({1, "x"});
        expectRefusal(json.dump(), "has ");
    }
    auto json = nlohmann::ordered_json::parse(whole);
    json["schema_version"] = 9;
    expectRefusal(json.dump(), "of another version of the format");
    EXPECT_THROW(readScoreModel("--predict", "none.json"), Refusal);
    EXPECT_THROW(readScoreModel("--predict", "."), Refusal);
}

}  // namespace
}  // namespace likeness::testing
