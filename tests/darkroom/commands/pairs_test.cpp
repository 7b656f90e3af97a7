#include "archive/archive_pairs.hpp"
#include "archive/pairs_log.hpp"
#include "batch/stable_hash.hpp"
#include "batch/working_file.hpp"
#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <filesystem>
#include <fstream>

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
    EXPECT_EQ(expectDone({"verify", "pairs.jsonl"}).out,
              "pairs: 4\ncompared: 4\nfailed: 0\nmissing: 0\ndoubled: 0\naltered: 0\n");
    const std::vector<std::string> lines = linesOf(contentOf(output("pairs.jsonl")));
    std::ofstream(output("few.jsonl")) << lines[0] << '\n' << lines[3] << '\n' << lines[3] << '\n';
    const Outcome few = darkroom({"verify", "few.jsonl"});
    EXPECT_EQ(few.status, 1);
    EXPECT_EQ(few.out, "pairs: 4\ncompared: 3\nfailed: 0\nmissing: 2\ndoubled: 1\naltered: 0\n");
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

TEST_F(DarkroomPairs, OfShardsAreMergedIntoTheBytesOfOneRun) {
    for (const char* const format : {"jsonl", "csv"}) {
        const auto name = [&](const std::string& stem) { return stem + '.' + format; };
        for (const std::vector<std::string>& asked :
             {std::vector<std::string>{"--min", "0.4"}, std::vector<std::string>{"--nearest", "2"}}) {
            const auto with = [&](std::vector<std::string> further) {
                further.insert(further.begin(), {"pairs", "a"});
                further.insert(further.end(), asked.begin(), asked.end());
                further.insert(further.end(), {"--quiet", "--overwrite"});
                return further;
            };
            expectDone(with({"-o", name("one")}));
            std::vector<std::string> merge = {"merge", name("merged"), "--overwrite", "--quiet"};
            for (const char* const shard : {"3", "1", "2"}) {
                expectDone(with({"-o", name(shard), "--shard", std::string(shard) + "/3"}));
                merge.push_back(name(shard));
            }
            expectDone(merge);
            EXPECT_EQ(contentOf(output(name("merged"))), contentOf(output(name("one"))));
            EXPECT_GT(linesOf(contentOf(output(name("one")))).size(), 4U);
        }
    }
    expectRefused({"merge", "m.csv", "1.csv", "3.csv"},
                  "the pairs are in 3 shards, and 2 inputs are given; those without pairs are needed too");
    expectRefused({"merge", "m.csv", "1.csv", "2.csv", "2.csv"}, "'2.csv' and '2.csv' are both shard 2/3");
    expectDone({"pairs", "a", "--min", "0.41", "--shard", "2/3", "-o", "2.csv", "--overwrite", "--quiet"});
    expectRefused({"merge", "m.csv", "1.csv", "2.csv", "3.csv"},
                  "'1.csv' and '2.csv' are no shards of one run of darkroom pairs: archives, options or numbers of "
                  "shards differ");
}

TEST_F(DarkroomPairs, HaveDistancesLikeABatchWhereTheyAreAskedFor) {
    std::string list = "first,second\n";
    for (int k = 0; k < 8; k += 2) {
        list += photograph(k) + ',' + photograph(k + 1) + '\n';
    }
    list += photograph(0) + ",missing.png\n";
    const std::string path = saveText("list.csv", list);
    expectDone({"pairs", "a", "--min", "0.9", "-o", "pairs.jsonl", "--distances", "--quiet"});
    for (const std::string format : {"jsonl", "csv", "db"}) {
        const std::string name = "batch." + format;
        EXPECT_EQ(darkroom({"batch", path, "-o", name, "--distances", "--quiet"}).status, 1);
        EXPECT_EQ(darkroom({"batch", path, "-o", name, "--distances", "--quiet", "--resume"}).status, 1);
        EXPECT_EQ(darkroom({"batch", path, "-o", name, "--quiet", "--resume"}).err,
                  "darkroom batch: '" + name + "' holds results with distances; --distances goes on with them\n");
    }
    const std::vector<std::string> ofPairs = linesOf(contentOf(output("pairs.jsonl")));
    const std::vector<std::string> ofBatch = linesOf(contentOf(output("batch.jsonl")));
    ASSERT_EQ(ofPairs.size(), 4U);
    ASSERT_EQ(ofBatch.size(), 5U);
    for (std::size_t k = 0; k < ofPairs.size(); ++k) {
        auto pair = nlohmann::json::parse(ofPairs[k]);
        auto batch = nlohmann::json::parse(ofBatch[k]);
        batch["pairs"] = 4;
        pair.erase("checksum");  // of the number of pairs too
        batch.erase("checksum");
        EXPECT_EQ(pair, batch);
        const auto compared =
            nlohmann::json::parse(
                expectDone({"compare", pair.at("first"), pair.at("second"), "--distances", "--json", "--quiet"}).out)
                .at("distances");
        for (const auto& [correlate, distances] : compared.items()) {
            for (const auto& [distance, value] : distances.items()) {
                std::string column = correlate;
                column.append("_").append(distance);
                EXPECT_NEAR(pair.at(column).get<double>(), value.get<double>(), 1e-8 * std::abs(value.get<double>()));
            }
        }
    }
    EXPECT_EQ(ofBatch[4].find("wasserstein"), std::string::npos);
    EXPECT_EQ(darkroom({"batch", path, "-o", "plain.jsonl", "--quiet"}).status, 1);
    EXPECT_EQ(darkroom({"batch", path, "-o", "plain.jsonl", "--quiet", "--resume", "--distances"}).err,
              "darkroom batch: 'plain.jsonl' holds results without distances, and this run has --distances\n");
    const std::string named =
        saveText("named.csv", "first,second,chroma_mean_shift\n" + photograph(0) + ',' + photograph(1) + ",1\n");
    EXPECT_NE(darkroom({"batch", named, "-o", "n.csv", "--distances"}).err.find("has a column 'chroma_mean_shift'"),
              std::string::npos);
}

TEST_F(DarkroomPairs, OfShardsWithoutAnyAreMerged) {
    // Of so many shards of eight photographs most have no pair at all.
    std::vector<std::string> merge = {"merge", "merged.jsonl", "--quiet"};
    for (int shard = 1; shard <= 9; ++shard) {
        const std::string number = std::to_string(shard);
        expectDone({"pairs", "a", "--min", "0.9", "--shard", number + "/9", "-o", number + ".jsonl", "--quiet"});
        merge.push_back(number + ".jsonl");
    }
    expectDone(merge);
    expectDone({"pairs", "a", "--min", "0.9", "-o", "one.jsonl", "--quiet"});
    EXPECT_EQ(contentOf(output("merged.jsonl")), contentOf(output("one.jsonl")));
    EXPECT_EQ(linesOf(contentOf(output("one.jsonl"))).size(), 4U);
}

TEST_F(DarkroomPairs, OfShardsThatAllLackThemAreMergedIntoNone) {
    for (const std::string format : {"jsonl", "csv", "db"}) {
        std::vector<std::string> merge = {"merge", "merged." + format, "--quiet"};
        for (const std::string shard : {"2", "1"}) {
            const std::string name = shard + "." + format;
            expectDone({"pairs", "a", "--min", "1", "--by", "least", "--shard", shard + "/2", "-o", name, "--quiet"});
            merge.push_back(name);
        }
        expectDone(merge);
        expectDone({"pairs", "a", "--min", "1", "--by", "least", "-o", "one." + format, "--quiet"});
        if (format != "db") {
            EXPECT_EQ(contentOf(output("merged." + format)), contentOf(output("one." + format)));
        }
        const auto report = [&](const std::string& results) {
            return darkroom({"report", results, "-o", "report.html", "--quiet", "--overwrite"}).status;
        };
        EXPECT_EQ(report("1." + format), report("one." + format));
        // Whoever forgot one has no whole result.
        expectRefused({"merge", "m." + format, "1." + format},
                      "the pairs are in 2 shards, and 1 input is given; those without pairs are needed too");
        expectRefused({"merge", "m." + format, "1." + format, "1." + format},
                      "'1." + format + "' and '1." + format + "' are both shard 1/2");
    }
}

TEST_F(DarkroomPairs, AnEmptyFileIsNoShard) {
    expectDone({"pairs", "a", "--min", "0.9", "--shard", "1/2", "-o", "1.jsonl", "--quiet"});
    saveText("alien.jsonl", "");
    expectRefused(
        {"merge", "m.jsonl", "1.jsonl", input("alien.jsonl")},
        "'" + input("alien.jsonl") + "' is empty and says of no shard that it is one; darkroom pairs makes it anew");
}

TEST_F(DarkroomPairs, OfPartsSayNothingOfBackgrounds) {
    fs::create_directory(input("sizes"));
    cv::imwrite(input("sizes/large.png"), cv::Mat(1080, 1920, CV_8UC3, cv::Scalar(90, 120, 150)));
    cv::imwrite(input("sizes/small.png"), cv::Mat(40, 60, CV_8UC3, cv::Scalar(90, 120, 150)));
    expectDone({"index", input("sizes"), "-o", "whole", "--quiet"});
    expectDone({"index", input("sizes"), "-o", "part", "--region", "0,0,2,2", "--quiet"});
    expectDone({"pairs", "whole", "--min", "0", "-o", "whole.jsonl", "--quiet"});
    expectDone({"pairs", "part", "--min", "0", "-o", "part.jsonl", "--quiet"});
    EXPECT_NE(contentOf(output("whole.jsonl")).find("backgrounds"), std::string::npos);
    EXPECT_EQ(contentOf(output("part.jsonl")).find("backgrounds"), std::string::npos);
}

TEST_F(DarkroomPairs, GoOnWhereAKilledRunStopped) {
    expectDone({"pairs", "a", "--min", "0.4", "-o", "one.jsonl", "--quiet"});
    const std::string expected = contentOf(output("one.jsonl"));
    // What a run leaves that was killed between finding and writing: of the first five photographs.
    const ArchiveFile archive(output("a"));
    PairSearch search;
    search.leastScore = 0.4;
    const std::string key = fmt::format("{:016x}", mixed(fnv1a(fingerprintOfPairs(archive, archive, search) + " 1/1")));
    const std::string log = workingFile(output("two.jsonl"), "pairs-found");
    const auto leave = [&] {
        PairsLogWriter writer(log, key, 0);
        findAlikePairs(archive, archive, search, {0, 5}, [&](std::size_t next, const auto& pairs, const auto&) {
            std::vector<PairsLogReader::Numbers> numbers;
            for (const ArchivePair& pair : pairs) {
                numbers.emplace_back(pair.first, pair.second);
            }
            writer.add(next, numbers, {});
        });
        writer.flush();
        std::ofstream(log, std::ios::binary | std::ios::app) << "half a part";
    };
    leave();
    expectRefused(
        {"pairs", "a", "--min", "0.4", "-o", "two.jsonl"},
        "--output: an earlier run left unfinished work for 'two.jsonl'; --resume goes on with it, --overwrite "
        "begins anew");
    expectRefused({"pairs", "a", "--min", "0.5", "-o", "two.jsonl", "--resume"},
                  "--resume: the unfinished work for 'two.jsonl' is of other archives or other options; --overwrite "
                  "begins anew");
    const Outcome resumed = expectDone({"pairs", "a", "--min", "0.4", "-o", "two.jsonl", "--resume"});
    EXPECT_NE(resumed.err.find("5 of 8 photographs compared already"), std::string::npos) << resumed.err;
    EXPECT_EQ(contentOf(output("two.jsonl")), expected);
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a", "one.jsonl", "two.jsonl"}));
    // Of what is finished there is nothing left to do; what is something else stays.
    expectDone({"pairs", "a", "--min", "0.4", "-o", "two.jsonl", "--resume", "--quiet"});
    expectRefused({"pairs", "a", "--min", "0.9", "-o", "two.jsonl", "--resume", "--quiet"},
                  "--output: 'two.jsonl' exists and holds something else than these pairs; --overwrite replaces it");
    EXPECT_EQ(contentOf(output("two.jsonl")), expected);
    leave();
    expectDone({"pairs", "a", "--min", "0.4", "-o", "two.jsonl", "--overwrite", "--quiet"});
    EXPECT_EQ(contentOf(output("two.jsonl")), expected);
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a", "one.jsonl", "two.jsonl"}));
}

TEST_F(DarkroomPairs, Refuses) {
    expectRefused({"pairs", "a", "--min", "0.5", "--shard", "1/2", "--clusters", "c.csv"},
                  "--clusters: groups hang together by the pairs of all shards; leave out --shard");
    expectRefused({"pairs", "a", "--min", "0.5", "--resume", "--overwrite"},
                  "--overwrite begins anew and excludes --resume");
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
