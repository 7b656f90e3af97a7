#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <filesystem>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

/// Four photographs, each twice at slightly different sizes.
class DarkroomPairs : public DarkroomProgram {
protected:
    void SetUp() override {
        fs::create_directory(input("photos"));
        for (int k = 0; k < 8; ++k) {
            const cv::Mat whole = examplePhotograph(examplePhotographNames()[static_cast<std::size_t>(k) / 2]);
            cv::imwrite(photograph(k), whole(cv::Rect(10, 10, 200 + k % 2, 150)).clone());
        }
        expectDone({"index", input("photos"), "-o", "a", "--quiet"});
    }

    std::string photograph(int k) const { return input("photos/p" + std::to_string(k) + ".png"); }
};

TEST_F(DarkroomPairs, AreRecordedAsABatchRecordsThem) {
    const Outcome done = expectDone({"pairs", "a", "--min", "0.9", "-o", "pairs.jsonl", "--clusters", "groups.csv"});
    EXPECT_NE(done.err.find("4 pairs of 8 photographs and 8 photographs"), std::string::npos) << done.err;
    EXPECT_NE(done.err.find("'groups.csv': 4 groups"), std::string::npos) << done.err;
    std::string list = "first,second\n";
    for (int k = 0; k < 8; k += 2) {
        list += photograph(k) + ',' + photograph(k + 1) + '\n';
    }
    const std::string path = saveText("list.csv", list);
    expectDone({"batch", path, "-o", "batch.jsonl", "--quiet"});
    EXPECT_EQ(contentOf(output("pairs.jsonl")), contentOf(output("batch.jsonl")));
    expectDone({"verify", path, "pairs.jsonl"});
    expectDone({"report", "pairs.jsonl", "-o", "report.html", "--quiet"});
    const std::vector<std::string> groups = linesOf(contentOf(output("groups.csv")));
    ASSERT_EQ(groups.size(), 9U);
    EXPECT_EQ(groups[0], "cluster,size,representative,path,mean");
    EXPECT_EQ(groups[1].rfind("1,2,1," + photograph(0) + ',', 0), 0U) << groups[1];
    EXPECT_EQ(groups[2].rfind("1,2,0," + photograph(1) + ',', 0), 0U) << groups[2];
}

TEST_F(DarkroomPairs, AreTheSameInEveryStoreAndForAnyThreads) {
    expectDone({"pairs", "a", "--nearest", "2", "-o", "one.csv", "--threads", "1", "--quiet"});
    expectDone({"pairs", "a", "--nearest", "2", "-o", "three.csv", "--threads", "3", "--quiet"});
    EXPECT_EQ(contentOf(output("one.csv")), contentOf(output("three.csv")));
    EXPECT_EQ(linesOf(contentOf(output("one.csv"))).size(), 17U);
    expectDone({"pairs", "a", "a", "--min", "brightness=0.5", "-o", "both.db", "--quiet"});
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a", "both.db", "one.csv", "three.csv"}));
}

TEST_F(DarkroomPairs, Refuses) {
    expectRefused({"pairs", "a"}, "--min or --nearest is required: a limit, or how many of each");
    expectRefused({"pairs", "a", "--min", "1.2"}, "--min: '1.2' is not a number from 0 to 1");
    expectRefused({"pairs", "a", "--min", "hue=0.5"},
                  "--min: the archive has no hue; darkroom index --hue makes one that has");
    expectRefused({"pairs", "a", "--min", "0", "--most", "5"},
                  "there are more than 5 pairs; higher limits choose fewer, --most allows more");
    expectDone({"pairs", "a", "--min", "0.9", "--quiet"});
    expectRefused({"pairs", "a", "--min", "0.9"}, "--output: 'pairs.db' exists; --overwrite replaces it");
    expectDone({"pairs", "a", "--min", "0.9", "--quiet", "--overwrite"});
}

}  // namespace
}  // namespace likeness::testing
