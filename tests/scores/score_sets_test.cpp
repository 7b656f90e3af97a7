// The layouts of published data sets, in small folders made here.
#include "batch/result_record.hpp"
#include "files/refusal.hpp"
#include "scores/opinion_scores.hpp"
#include "scores/score_join.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace likeness::testing {
namespace {

class ScoreSets : public ::testing::Test {
protected:
    static void write(const std::string& name, const std::string& text) {
        std::filesystem::create_directories("set");
        std::ofstream("set/" + name, std::ios::binary) << text;
    }

    static void expectRefusal(const std::string& set, const std::string& part) {
        try {
            readScoreSet(set, "set");
            ADD_FAILURE() << "not refused: " << part;
        } catch (const Refusal& refusal) {
            EXPECT_NE(std::string(refusal.what()).find(part), std::string::npos) << refusal.what();
        }
    }

    /// Whether a pair of results finds a score of the set.
    static std::string found(const OpinionScores& scores, const std::string& id, const std::string& first,
                             const std::string& second) {
        RecordedPairs pairs;
        pairs.pairs.push_back({id, first, second, "", "", {}});
        try {
            return scores.scores[joinScores(pairs, scores).rows.at(0).score].id;
        } catch (const Refusal&) {
            return "";
        }
    }

private:
    ScratchDirectory folder_;
};

TEST_F(ScoreSets, Tid2013) {
    write("mos_with_names.txt", "5.51429 I01_01_1.bmp\n4.2 i02_10_5.bmp\n\n");
    write("mos_std.txt", "0.13\n0.2\n");
    const OpinionScores set = readScoreSet("tid2013", "set");
    ASSERT_EQ(set.scores.size(), 2U);
    EXPECT_EQ(set.direction, ScoreDirection::higherBetter);
    EXPECT_EQ(set.scores[0].id, "I01_01_1.bmp");
    EXPECT_DOUBLE_EQ(set.scores[0].score, 5.51429);
    EXPECT_DOUBLE_EQ(set.scores[1].deviation, 0.2);
    EXPECT_EQ(set.scores[1].content, "I02") << "small letters stand for the same content";
    EXPECT_EQ(set.scores[1].type, "10 JPEG compression");
    EXPECT_EQ(set.scores[0].first, "reference_images/I01.BMP");
    EXPECT_EQ(found(set, "1", "tid/I01.BMP", "/data/tid/i01_01_1.bmp"), "I01_01_1.bmp");
    EXPECT_EQ(found(set, "I02_10_5", "x", "y"), "i02_10_5.bmp");
    EXPECT_EQ(found(set, "x", "I01.BMP", "I01_01_2.bmp"), "");
    write("mos_std.txt", "0.13\n");
    expectRefusal("tid2013", "has 1 deviations, and 'set/mos_with_names.txt' 2 scores");
    write("mos_with_names.txt", "5.5 I01_77_1.bmp\n");
    expectRefusal("tid2013", "line 1: '5.5 I01_77_1.bmp' is not a score and a name");
    std::filesystem::remove("set/mos_with_names.txt");
    expectRefusal("tid2013", "cannot read 'set/mos_with_names.txt'");
}

TEST_F(ScoreSets, Kadid10k) {
    write("dmos.csv", "dist_img,ref_img,dmos,var\nI01_01_01.png,I01.png,4.57,0.496\nI81_25_05.png,I81.png,1.2,0.4\n");
    const OpinionScores set = readScoreSet("kadid10k", "set");
    ASSERT_EQ(set.scores.size(), 2U);
    EXPECT_EQ(set.direction, ScoreDirection::higherBetter) << "in spite of the name of the column";
    EXPECT_DOUBLE_EQ(set.scores[0].deviation, 0.496) << "var holds standard deviations";
    EXPECT_EQ(set.scores[1].content, "I81");
    EXPECT_EQ(set.scores[1].type, "25 contrast change");
    EXPECT_EQ(set.scores[0].second, "images/I01_01_01.png");
    EXPECT_EQ(readScoreSet("KADID-10k", "set").scores.size(), 2U);
}

TEST_F(ScoreSets, Csiq) {
    write("csiq.DMOS.csv",
          "CSIQ,,,,,\nimage,dst_idx,dst_type,dst_lev,dmos_std,dmos\n1600,1,noise,1,0.061,0.062\n"
          "snow_leaves,3,jpeg 2000,5,0.1,0.9\n");
    const OpinionScores set = readScoreSet("csiq", "set");
    ASSERT_EQ(set.scores.size(), 2U);
    EXPECT_EQ(set.direction, ScoreDirection::lowerBetter);
    EXPECT_EQ(set.scores[0].id, "1600.AWGN.1.png");
    EXPECT_EQ(set.scores[0].second, "dst_imgs/awgn/1600.AWGN.1.png");
    EXPECT_EQ(set.scores[1].second, "dst_imgs/jpeg2000/snow_leaves.jpeg2000.5.png");
    EXPECT_EQ(set.scores[1].content, "snow_leaves");
    EXPECT_DOUBLE_EQ(set.scores[1].deviation, 0.1);
    EXPECT_EQ(found(set, "7", "src_imgs/1600.png", "dst_imgs/awgn/1600.awgn.1.png"), "1600.AWGN.1.png");
    write("csiq.DMOS.csv", "image,dst_idx,dst_type,dst_lev,dmos_std,dmos\n1600,1,fog,1,0.061,0.062\n");
    expectRefusal("csiq", "'fog' in the column 'dst_type' is none of noise");
}

TEST_F(ScoreSets, LiveCountsItsTypesAndDropsThePhotographsThemselves) {
    std::string scores = "dmos_new,dmos_std,orgs\n";
    std::string names = "refnames_all\n";
    for (int k = 0; k < 982; ++k) {
        scores += std::to_string(k * 0.1) + ",1.5," + (k % 5 == 4 ? "1" : "0") + "\n";
        names += "ref" + std::to_string(k % 29) + ".bmp\n";
    }
    write("dmos_realigned.csv", scores);
    write("refnames_all.csv", names);
    const OpinionScores set = readScoreSet("live", "set");
    EXPECT_EQ(set.direction, ScoreDirection::lowerBetter);
    EXPECT_EQ(set.scores.size(), 982U - 196U);
    EXPECT_EQ(set.scores[0].id, "jp2k/img1.bmp");
    const auto at = [&](const std::string& id) -> const OpinionScore& {
        for (const OpinionScore& score : set.scores) {
            if (score.id == id) {
                return score;
            }
        }
        ADD_FAILURE() << id;
        return set.scores[0];
    };
    EXPECT_DOUBLE_EQ(at("jp2k/img227.bmp").score, 22.6);
    EXPECT_DOUBLE_EQ(at("jpeg/img1.bmp").score, 22.7);
    EXPECT_DOUBLE_EQ(at("wn/img1.bmp").score, 46);
    EXPECT_DOUBLE_EQ(at("fastfading/img173.bmp").score, 98);
    EXPECT_EQ(at("jpeg/img1.bmp").first, "refimgs/ref24.bmp");
    EXPECT_EQ(found(set, "x", "refimgs/ref1.bmp", "live/jpeg/img1.bmp"), "jpeg/img1.bmp");
    EXPECT_TRUE(set.remarks.empty());
    write("dmos_realigned.csv", "dmos_new,dmos_std,orgs,refnames_all\n1,2,0,a.bmp\n");
    EXPECT_EQ(readScoreSet("live", "set").remarks.size(), 1U) << "fewer rows than the set has";
    write("refnames_all.csv", "a.bmp\nb.bmp\n");
    write("dmos_realigned.csv", "dmos_new,dmos_std,orgs\n1,2,0\n");
    expectRefusal("live", "they must be as many");
}

TEST_F(ScoreSets, Spcd) {
    write("anything.csv", "image1,image2,score\n001_a.png,001_b.png,1.5\n002_a.png,002_b.png,0.5\n");
    write("another.csv", "x,y\n1,2\n");
    const OpinionScores set = readScoreSet("spcd", "set");
    ASSERT_EQ(set.scores.size(), 2U);
    EXPECT_EQ(set.direction, ScoreDirection::lowerBetter);
    EXPECT_EQ(set.scores[0].content, "001");
    EXPECT_EQ(found(set, "9", "folder/002_b.png", "folder/002_a.png"), "002_a.png|002_b.png") << "in either order";
    EXPECT_EQ(found(set, "9", "002_b.png", "001_a.png"), "");
}

TEST_F(ScoreSets, WhatIsNoSetIsRefused) {
    write("x.csv", "a,b\n1,2\n");
    expectRefusal("tid2008", "--dataset: 'tid2008' is none of tid2013, kadid10k, csiq, live, spcd");
    expectRefusal("kadid10k", "'set' has no 'dmos.csv', and no other .csv with the columns dist_img,ref_img,dmos,var");
    EXPECT_THROW(readScoreSet("csiq", "none"), Refusal);
    write("dmos.csv", "dist_img,ref_img,dmos,var\nI01_01_01.png,I01.png,4.57,0.4\nI01_01_01.png,I01.png,4.57,0.4\n");
    expectRefusal("kadid10k", "a score of 'I01_01_01.png' twice");
}

}  // namespace
}  // namespace likeness::testing
