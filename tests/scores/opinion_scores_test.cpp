// Tables of scores, and how they are joined with results.
#include "scores/opinion_scores.hpp"
#include "batch/parameters.hpp"
#include "batch/result_text.hpp"
#include "files/refusal.hpp"
#include "scores/score_join.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace likeness::testing {
namespace {

std::string write(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
    return name;
}

template <typename Action>
void expectRefusal(const Action& action, const std::string& part) {
    try {
        action();
        ADD_FAILURE() << "not refused: " << part;
    } catch (const Refusal& refusal) {
        EXPECT_NE(std::string(refusal.what()).find(part), std::string::npos) << refusal.what();
    }
}

OpinionScores scoresIn(const std::string& text, ScoreColumns columns = {}) {
    return readScores(write("scores.csv", text), columns, ScoreDirection::higherBetter);
}

struct Row {
    const char* id;
    float value;
    const char* error = "";
    const char* version = "1";
};

std::string results(const std::vector<Row>& rows) {
    std::string text = csvHeader({"content", "uniform_total"});
    std::uint64_t position = 0;
    for (const Row& row : rows) {
        ResultRecord record;
        record.position = ++position;
        record.pairs = rows.size();
        record.id = row.id;
        record.first = std::string(row.id) + ".a.png";
        record.second = std::string("folder/") + row.id + ".bmp";
        record.version = row.version;
        record.parameters = "0123456789abcdef";
        record.outcome.error = row.error;
        if (record.outcome.compared()) {
            record.outcome.first.width = record.outcome.first.height = 1;
            record.outcome.second = record.outcome.first;
            record.outcome.coefficients.fill(row.value);
        }
        record.carried = {{"content", CarriedValue::Kind::text, "c"},
                          {"uniform_total", CarriedValue::Kind::text, "2.5"}};
        text += csvLine(record, {"content", "uniform_total"});
    }
    return write("results.csv", text);
}

class OpinionScoresTest : public ::testing::Test {
    ScratchDirectory folder_;
};

TEST_F(OpinionScoresTest, ATableIsReadByTheNamesOfItsColumns) {
    ScoreColumns columns;
    columns.score = "MOS";
    columns.deviation = "std";
    columns.content = "scene";
    const OpinionScores scores = scoresIn(
        "\xEF\xBB\xBFscene,Id,mos,std\r\n\"a,b\",one, 3.5 ,0.5\r\nc,two,,1\r\nc,three,-1e-3,0\r\n,,,\r\n", columns);
    ASSERT_EQ(scores.scores.size(), 2U);
    EXPECT_EQ(scores.scores[0].id, "one");
    EXPECT_EQ(scores.scores[0].content, "a,b");
    EXPECT_DOUBLE_EQ(scores.scores[0].score, 3.5);
    EXPECT_DOUBLE_EQ(scores.scores[0].deviation, 0.5);
    EXPECT_DOUBLE_EQ(scores.scores[1].score, -1e-3);
    EXPECT_EQ(scores.without, 1U);
}

TEST_F(OpinionScoresTest, DirectionsHaveNames) {
    EXPECT_STREQ(nameOf(ScoreDirection::higherBetter), "higher-better");
    EXPECT_STREQ(nameOf(ScoreDirection::lowerBetter), "lower-better");
}

TEST_F(OpinionScoresTest, WhatIsWrongInATableIsRefusedWithItsLine) {
    expectRefusal([] { scoresIn("id,score\na,1\nb,2\na,3\n"); }, "line 4: the id 'a' is that of line 2");
    expectRefusal([] { scoresIn("id,score\na,nan\n"); }, "line 2: 'nan' in the column 'score' is not a finite number");
    expectRefusal([] { scoresIn("id,score\na,1x\n"); }, "'1x'");
    expectRefusal([] { scoresIn("id,score\na,\"1,5\"\n"); }, "'1,5'");
    expectRefusal([] { scoresIn("id,score\na,1,2\n"); }, "line 2: 3 fields, and the header has 2");
    expectRefusal([] { scoresIn("id,mos\na,1\n"); }, "--score: 'scores.csv' has no column 'score'; it has id, mos");
    expectRefusal([] { scoresIn("id,score,score\na,1,2\n"); }, "--score: 'scores.csv' has several columns 'score'");
    expectRefusal([] { scoresIn("id,id,score\na,b,2\n"); }, "--id: 'scores.csv' has several columns 'id'");
    expectRefusal(
        [] {
            ScoreColumns columns;
            columns.content = "scene";
            scoresIn("id,score,scene\na,1,x\nb,2, \n", columns);
        },
        "line 3: the group is empty");
    expectRefusal([] { scoresIn("id,score\n"); }, "has no scores");
    expectRefusal([] { scoresIn(""); }, "has no header");
    expectRefusal([] { scoresIn("id,score\n,1\n"); }, "the id is empty");
    expectRefusal(
        [] {
            ScoreColumns columns;
            columns.deviation = "sd";
            scoresIn("id,score,sd\na,1,-1\n", columns);
        },
        "below 0");
    expectRefusal([] { readScores("none.csv", {}, ScoreDirection::higherBetter); }, "cannot read 'none.csv'");
}

TEST_F(OpinionScoresTest, RowsAreJoinedByIdAndTheOthersCounted) {
    const RecordedPairs pairs = readRecordedPairs(results({{"a", 0.5F}, {"b", 0.6F}, {"c", 0.7F}, {"d", 0, "unread"}}),
                                                  {}, true, "content", "");
    EXPECT_EQ(pairs.failed, 1U);
    EXPECT_TRUE(pairs.hasContent);
    ASSERT_EQ(pairs.features.size(), 6U) << "the five and the distance that all have";
    EXPECT_EQ(pairs.features.back(), "uniform_total");
    EXPECT_DOUBLE_EQ(pairs.pairs[0].features[5], 2.5);
    EXPECT_FLOAT_EQ(static_cast<float>(pairs.pairs[1].features[2]), 0.6F);
    const JoinedScores joined = joinScores(pairs, scoresIn("id,score\nc,3\nx,9\na,1\n"));
    ASSERT_EQ(joined.rows.size(), 2U);
    EXPECT_EQ(joined.rows[0].score, 2U);
    EXPECT_EQ(joined.rows[1].score, 0U);
    EXPECT_EQ(joined.pairsWithoutScore, 1U);
    EXPECT_EQ(joined.pairWithoutScore, "b");
    EXPECT_EQ(joined.scoresWithoutPair, 1U);
    EXPECT_EQ(joined.scoreWithoutPair, "x");
    expectRefusal([&] { joinScores(pairs, scoresIn("id,score\ny,3\n")); },
                  "have no id in common: the one has 'a', the other 'y'");
}

TEST_F(OpinionScoresTest, ResultsThatDoNotBelongTogetherAreRefused) {
    expectRefusal(
        [] {
            readRecordedPairs(results({{"a", 0.5F}, {"a", 0.6F}}), {}, false, "", "");
        },
        "the id 'a' twice");
    expectRefusal(
        [] {
            readRecordedPairs(results({{"a", 0.5F}, {"b", 0.6F, "", "2"}}), {}, false, "", "");
        },
        "a fit is to one model and one version");
    expectRefusal([] { readRecordedPairs(results({{"a", 0, "unread"}}), {}, false, "", ""); }, "holds no pairs");
    expectRefusal(
        [] {
            readRecordedPairs(results({{"a", 0.5F}}), {"wavelets"}, false, "", "");
        },
        "--features: 'results.csv' records no number 'wavelets'");
}

TEST_F(OpinionScoresTest, AReportHasFiveLinesARunAndItsRowsAnOrder) {
    const std::string report = write("For_fit.txt", "0.1\n0.2\n0.3\n0.4\n0.5\n0.6\n0.7\n0.8\n0.9\n1\n");
    const RecordedPairs pairs = readRecordedPairs(report, {}, true, "", "");
    ASSERT_EQ(pairs.pairs.size(), 2U);
    EXPECT_EQ(pairs.pairs[1].id, "2");
    EXPECT_DOUBLE_EQ(pairs.pairs[1].features[3], 0.9);
    EXPECT_EQ(pairs.parameters, parameterFingerprint());
    EXPECT_EQ(joinScores(pairs, scoresIn("score\n3\n4\n")).rows[1].score, 1U);
    EXPECT_EQ(joinScores(pairs, scoresIn("id,score\n2,3\n")).rows[0].pair, 1U);
    expectRefusal([&] { joinScores(pairs, scoresIn("score\n3\n")); }, "without ids they must be as many");
    expectRefusal([] { readRecordedPairs(write("bad.txt", "0.1\n0.2\n"), {}, true, "", ""); }, "not five a run");
    expectRefusal([] { readRecordedPairs(write("bad.txt", "x\n"), {}, true, "", ""); },
                  "line 1: 'x' is not a coefficient");
}

}  // namespace
}  // namespace likeness::testing
