#include "archive/archive_pairs.hpp"

#include "archive/made_photographs.hpp"
#include "archive/pairs_log.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace likeness::testing {
namespace {

class ArchivePairs : public ::testing::Test {
protected:
    static constexpr std::size_t entries = 120;

    static std::uint64_t seedOf(std::size_t k) { return k * 7 % 48; }

    void SetUp() override {
        std::vector<ArchivedPhotograph> photographs;
        for (std::size_t k = 0; k < entries; ++k) {
            photographs.push_back(madePhotograph(k, seedOf(k)));
        }
        photographs[17].problem = ": it is no image";
        photographs[17].distributions = {};
        writeMade("a", photographs);
        photographs.erase(photographs.begin() + 40, photographs.end());
        writeMade("b", photographs);
    }

    static std::vector<ArchivePair> byForce(const ArchiveFile& first, const ArchiveFile& second,
                                            const PairSearch& search) {
        std::vector<ArchivePair> pairs;
        std::vector<AppearanceDistributions> all;
        for (std::size_t j = 0; j < second.size(); ++j) {
            all.push_back(second.distributions(j));
        }
        for (std::uint32_t i = 0; i < first.size(); ++i) {
            const AppearanceDistributions its = first.distributions(i);
            std::vector<ArchivePair> ofEntry;
            for (std::uint32_t j = 0; j < second.size(); ++j) {
                const bool wanted = &first != &second || (search.nearest > 0 ? i != j : i < j);
                if (!wanted || !first.analysed(i) || !second.analysed(j)) {
                    continue;
                }
                ArchivePair pair{i, j, {compareDistributions(its, all[j]), {}}, 0};
                pair.score = search.score.of(pair.coefficients);
                bool reaches = pair.score >= search.leastScore;
                for (std::size_t k = 0; k < 5; ++k) {
                    reaches = reaches && pair.coefficients[k] >= search.least[k];
                }
                if (reaches) {
                    ofEntry.push_back(pair);
                }
            }
            if (search.nearest > 0) {
                std::stable_sort(ofEntry.begin(), ofEntry.end(),
                                 [](const ArchivePair& a, const ArchivePair& b) { return a.score > b.score; });
                ofEntry.resize(std::min(ofEntry.size(), search.nearest));
            }
            pairs.insert(pairs.end(), ofEntry.begin(), ofEntry.end());
        }
        return pairs;
    }

    static void expectSame(const std::vector<ArchivePair>& found, const std::vector<ArchivePair>& expected) {
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            ASSERT_EQ(found[i].first, expected[i].first) << i;
            ASSERT_EQ(found[i].second, expected[i].second) << i;
            ASSERT_EQ(found[i].score, expected[i].score) << i;
            for (std::size_t k = 0; k < 5; ++k) {
                ASSERT_EQ(found[i].coefficients[k], expected[i].coefficients[k]) << i;
            }
        }
    }

    ScratchDirectory folder_;
};

TEST_F(ArchivePairs, AreThoseThatComparingAllFinds) {
    const ArchiveFile a("a");
    const ArchiveFile b("b");
    std::vector<PairSearch> searches(4);
    searches[0].leastScore = 0.8;
    searches[1].least = {0, 0.9F, 0, 0.5F, 0, 0};
    searches[2].nearest = 7;
    searches[3].nearest = 3;
    searches[3].leastScore = 0.7;
    searches[3].score.kind = RankingScore::Kind::least;
    for (PairSearch& search : searches) {
        for (const ArchiveFile* second : {&a, &b}) {
            const std::vector<ArchivePair> expected = byForce(a, *second, search);
            EXPECT_FALSE(expected.empty());
            for (const unsigned threads : {1U, 4U}) {
                search.threads = threads;
                std::vector<std::string> damage;
                expectSame(alikePairs(a, *second, search, &damage), expected);
                EXPECT_TRUE(damage.empty());
            }
        }
    }
}

TEST_F(ArchivePairs, OfAllShardsAreThoseOfOneRun) {
    const ArchiveFile a("a");
    const ArchiveFile b("b");
    std::vector<PairSearch> searches(2);
    searches[0].leastScore = 0.8;
    searches[1].nearest = 3;
    for (PairSearch& search : searches) {
        for (const ArchiveFile* second : {&a, &b}) {
            const std::vector<ArchivePair> expected = alikePairs(a, *second, search);
            for (const std::uint32_t count : {1U, 3U, 7U, 500U}) {
                std::vector<ArchivePair> found;
                std::size_t end = 0;
                for (std::uint32_t index = 1; index <= count; ++index) {
                    const EntryRange its = entriesOfShard(a, *second, search, {index, count});
                    ASSERT_EQ(its.begin, end);
                    end = its.end;
                    std::size_t next = its.begin;
                    findAlikePairs(a, *second, search, its,
                                   [&](std::size_t until, const std::vector<ArchivePair>& pairs, const auto&) {
                                       for (const ArchivePair& pair : pairs) {
                                           EXPECT_GE(pair.first, next);
                                           EXPECT_LT(pair.first, until);
                                       }
                                       next = until;
                                       found.insert(found.end(), pairs.begin(), pairs.end());
                                   });
                    EXPECT_EQ(next, its.end);
                }
                EXPECT_EQ(end, a.size());
                expectSame(found, expected);
            }
        }
    }
}

TEST_F(ArchivePairs, AreSharedOutByComparisons) {
    const ArchiveFile a("a");
    const PairSearch search;
    constexpr std::uint32_t count = 4;
    for (std::uint32_t index = 1; index <= count; ++index) {
        const EntryRange its = entriesOfShard(a, a, search, {index, count});
        std::size_t comparisons = 0;
        for (std::size_t entry = its.begin; entry < its.end; ++entry) {
            comparisons += entries - 1 - entry;
        }
        EXPECT_NEAR(static_cast<double>(comparisons), entries * (entries - 1) / 2.0 / count, entries);
    }
}

TEST_F(ArchivePairs, HaveAFingerprintOfAllThatTheyDependOn) {
    const ArchiveFile a("a");
    const ArchiveFile b("b");
    std::set<std::string> fingerprints;
    PairSearch search;
    const auto add = [&](const ArchiveFile& second) { fingerprints.insert(fingerprintOfPairs(a, second, search)); };
    add(a);
    add(b);
    search.leastScore = 0.5;
    add(a);
    search.least[2] = 0.5F;
    add(a);
    search.nearest = 5;
    add(a);
    search.score.kind = RankingScore::Kind::least;
    add(a);
    EXPECT_EQ(fingerprints.size(), 6U);
    search.threads = 9;
    add(a);
    EXPECT_EQ(fingerprints.size(), 6U);
    std::vector<ArchivedPhotograph> photographs;
    for (std::size_t k = 0; k < 40; ++k) {
        photographs.push_back(madePhotograph(k, seedOf(k)));
    }
    writeMade("c", photographs);
    const std::string before = ArchiveFile("c").identity();
    photographs[3].modified += 1;  // no byte of the file's size or of the list of blocks changes
    writeMade("c", photographs);
    EXPECT_NE(ArchiveFile("c").identity(), before);
}

TEST_F(ArchivePairs, AreKeptInALogThatGoesOn) {
    using Numbers = std::vector<PairsLogReader::Numbers>;
    const std::string key = "0123456789abcdef";
    std::string found;
    EXPECT_FALSE(stateOfPairsLog("log", found));
    {
        PairsLogWriter writer("log", key, 0);
        writer.add(16, {{1, 2}, {3, 4}}, {"a line"});
        writer.flush();
        writer.add(32, {}, {});
        writer.add(48, {{40, 41}}, {"one", "two"});
        writer.flush();
    }
    const auto whole = stateOfPairsLog("log", found);
    ASSERT_TRUE(whole);
    EXPECT_EQ(found, key);
    EXPECT_EQ(whole->next, 48U);
    EXPECT_EQ(whole->pairs, 3U);
    EXPECT_EQ(whole->damage, (std::vector<std::string>{"a line", "one", "two"}));
    // However it is cut off, whole parts are left.
    const auto bytes = std::filesystem::file_size("log");
    EXPECT_EQ(whole->wholeBytes, bytes);
    for (std::uintmax_t cut = bytes; cut-- > 0;) {
        std::filesystem::resize_file("log", cut);
        const auto state = stateOfPairsLog("log", found);
        ASSERT_EQ(state.has_value(), cut >= 24) << cut;
        if (state) {
            EXPECT_EQ(state->next, cut >= 24 + 20 + 16 + 7 ? 16U : 0U);
            EXPECT_LE(state->wholeBytes, cut);
        }
        if (cut == 24 + 20 + 16 + 7) {
            PairsLogWriter("log", key, state->wholeBytes).add(20, {{18, 19}}, {});  // is dropped, as by a kill
            PairsLogWriter writer("log", key, state->wholeBytes);
            writer.add(20, {{18, 19}}, {});
            writer.flush();
            auto reader = PairsLogReader::open("log");
            Numbers numbers;
            ASSERT_TRUE(reader->next(numbers));
            ASSERT_TRUE(reader->next(numbers));
            EXPECT_EQ(numbers, (Numbers{{18, 19}}));
            EXPECT_EQ(reader->state().next, 20U);
        }
    }
}

TEST_F(ArchivePairs, HangTogetherInClusters) {
    const ArchiveFile a("a");
    PairSearch search;
    search.leastScore = 0.9999;
    const std::vector<ArchivePair> pairs = alikePairs(a, a, search);
    const std::vector<ArchiveCluster> clusters = clustersOf(a, pairs, search.score, 2);
    // Equal seeds are the made photographs' only likeness: 48 seeds of 120 entries, each in two or three of them.
    ASSERT_EQ(clusters.size(), 48U);
    std::uint32_t before = 0;
    for (const ArchiveCluster& cluster : clusters) {
        EXPECT_TRUE(cluster.entries.front() >= before);
        before = cluster.entries.front();
        for (const std::uint32_t entry : cluster.entries) {
            EXPECT_EQ(seedOf(entry), seedOf(cluster.entries.front()));
        }
        EXPECT_EQ(cluster.representative, 0U);  // all means are equal: the first
        EXPECT_EQ(cluster.means.size(), cluster.entries.size());
    }
}

TEST_F(ArchivePairs, TellTheMiddleOfAChain) {
    // Hills that move by steps: the outer ones are alike to the middle one only.
    std::vector<ArchivedPhotograph> photographs;
    for (std::size_t k = 0; k < 3; ++k) {
        ArchivedPhotograph photograph = madePhotograph(k, 1);
        for (std::size_t c = 0; c < correlateNames.size(); ++c) {
            photograph.distributions[c].clear();
            for (int bin = 0; bin < 30; ++bin) {
                photograph.distributions[c][bin + 10 * static_cast<int>(k)] = 1000.0F / 30000.0F;
            }
        }
        photographs.push_back(photograph);
    }
    writeMade("chain", photographs);
    const ArchiveFile chain("chain");
    PairSearch search;
    search.leastScore = 0.6;
    const std::vector<ArchivePair> pairs = alikePairs(chain, chain, search);
    ASSERT_EQ(pairs.size(), 2U);
    const std::vector<ArchiveCluster> clusters = clustersOf(chain, pairs, search.score, 1);
    ASSERT_EQ(clusters.size(), 1U);
    EXPECT_EQ(clusters[0].entries, (std::vector<std::uint32_t>{0, 1, 2}));
    EXPECT_EQ(clusters[0].representative, 1U);
    EXPECT_NEAR(clusters[0].means[1], 2.0 / 3, 1e-5);
    EXPECT_NEAR(clusters[0].means[0], 0.5, 1e-5);
}

TEST_F(ArchivePairs, RefuseMoreThanAllowed) {
    const ArchiveFile a("a");
    PairSearch search;
    search.most = 100;  // of 7,021
    EXPECT_THROW(alikePairs(a, a, search), Refusal);
}

}  // namespace
}  // namespace likeness::testing
