#include "archive/archive_search.hpp"

#include <likeness/comparison/analysis.hpp>
#include "archive/made_photographs.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

namespace likeness::testing {
namespace {

/// An archive of 200,000 entries made of a few hundred seeds, so that many of them are equal; and one of photographs.
class ArchiveSearching : public ::testing::Test {
protected:
    static constexpr std::size_t entries = 200'000;
    static constexpr std::size_t seeds = 400;

    static void SetUpTestSuite() {
        folder_ = new ScratchDirectory;
        std::vector<archive::StoredEntry> made;
        for (std::size_t seed = 0; seed < seeds; ++seed) {
            made.push_back(archive::stored(madePhotograph(0, seed)));
        }
        writeArchive(file("made"), madeOrigin(), {entries, [&](std::size_t k) {
                                                      archive::StoredEntry entry = made[seedOf(k)];
                                                      entry.path = madePath(k);
                                                      return entry;
                                                  }});
        archive_ = new ArchiveFile(file("made"));
    }
    static void TearDownTestSuite() {
        delete archive_;
        delete folder_;
    }

    static std::size_t seedOf(std::size_t k) { return k * 2654435761U % 1000003 % seeds; }
    static std::string file(const std::string& name) { return folder_->path() / name; }

    /// What a comparison of every entry finds.
    static std::vector<ArchiveHit> byForce(const ArchiveFile& archive, const AppearanceDistributions& query,
                                           const ArchiveSearch& search,
                                           const std::function<AppearanceDistributions(std::size_t)>& of) {
        std::vector<ArchiveHit> all;
        for (std::size_t k = 0; k < archive.size(); ++k) {
            const AppearanceDistributions its = of(k);
            ArchiveHit hit{k, {compareDistributions(query, its), hueCoefficient(query, its)}, 0};
            bool reaches = !search.among || search.among(k);
            for (std::size_t c = 0; c < search.least.size(); ++c) {
                reaches = reaches && hit.coefficients[c] >= search.least[c];
            }
            hit.score = search.score.of(hit.coefficients);
            if (reaches) {
                all.push_back(hit);
            }
        }
        std::stable_sort(all.begin(), all.end(),
                         [](const ArchiveHit& a, const ArchiveHit& b) { return a.score > b.score; });
        all.resize(std::min(all.size(), search.top));
        return all;
    }

    static void expectSame(const std::vector<ArchiveHit>& found, const std::vector<ArchiveHit>& expected) {
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            ASSERT_EQ(found[i].entry, expected[i].entry) << i;
            ASSERT_EQ(std::memcmp(&found[i].score, &expected[i].score, sizeof found[i].score), 0) << i;
            for (std::size_t c = 0; c < 6; ++c) {
                ASSERT_EQ(found[i].coefficients[c], expected[i].coefficients[c]) << i;
            }
        }
    }

    static inline ScratchDirectory* folder_ = nullptr;
    static inline ArchiveFile* archive_ = nullptr;
};

TEST_F(ArchiveSearching, FindsWhatComparingAllFinds) {
    // Distributions repeat: those of a seed are compared once.
    std::vector<AppearanceDistributions> bySeed;
    for (std::size_t seed = 0; seed < seeds; ++seed) {
        bySeed.push_back(madeDistributions(seed, 200, 150));
    }
    std::vector<ArchiveSearch> searches(5);
    searches[1].top = 700;  // more than are equal to the first
    searches[1].score.kind = RankingScore::Kind::least;
    searches[2].score.weights = {2, 0, 1, 0, 0, 0};
    searches[3].least = {0.3F, 0.2F, 0, 0, 0.4F, 0};
    searches[3].top = 50;
    searches[4].among = [](std::size_t entry) { return entry % 7 == 3; };
    for (std::size_t s = 0; s < searches.size(); ++s) {
        for (const std::uint64_t query : {std::uint64_t{3}, std::uint64_t{5000}}) {
            const AppearanceDistributions photograph = madeDistributions(query, 200, 150);
            std::vector<PairCoefficients> coefficients;
            for (const AppearanceDistributions& its : bySeed) {
                coefficients.push_back({compareDistributions(photograph, its), {}});
            }
            ArchiveSearch asked = searches[s];
            std::vector<ArchiveHit> expected;
            for (std::size_t k = 0; k < entries; ++k) {
                ArchiveHit hit{k, coefficients[seedOf(k)], 0};
                hit.score = asked.score.of(hit.coefficients);
                bool reaches = !asked.among || asked.among(k);
                for (std::size_t c = 0; c < 5; ++c) {
                    reaches = reaches && hit.coefficients[c] >= asked.least[c];
                }
                if (reaches) {
                    expected.push_back(hit);
                }
            }
            std::stable_sort(expected.begin(), expected.end(),
                             [](const ArchiveHit& a, const ArchiveHit& b) { return a.score > b.score; });
            expected.resize(std::min(expected.size(), asked.top));
            for (const unsigned threads : {1U, 2U, 5U}) {
                asked.threads = threads;
                SearchEffort effort;
                std::vector<std::string> damage;
                expectSame(nearestEntries(*archive_, photograph, asked, &damage, &effort), expected);
                EXPECT_TRUE(damage.empty());
                EXPECT_EQ(effort.bounded, entries);
            }
        }
    }
}

TEST_F(ArchiveSearching, ComparesFew) {
    SearchEffort effort;
    nearestEntries(*archive_, madeDistributions(12, 200, 150), {}, nullptr, &effort);
    EXPECT_LT(effort.compared, entries / 20);
}

TEST_F(ArchiveSearching, FindsPhotographsAsCompareDoes) {
    AnalysisOptions options;
    options.hue = HueWeights::pixels;
    std::vector<ArchivedPhotograph> photographs;
    for (const std::string& name : examplePhotographNames()) {
        const cv::Mat whole = examplePhotograph(name);
        for (int k = 0; k < 6; ++k) {
            const cv::Mat part =
                whole(cv::Rect(11 * k, 7 * k, whole.cols - 12 * k - 1, whole.rows - 8 * k - 1)).clone();
            ArchivedPhotograph photograph;
            photograph.path = name + std::to_string(k);
            photograph.width = part.cols;
            photograph.height = part.rows;
            photograph.distributions = analyze(part, options).distributions();
            photographs.push_back(photograph);
        }
    }
    writeMade(file("photographs"), photographs);
    const ArchiveFile archive(file("photographs"));
    const auto of = [&](std::size_t k) { return photographs[k].distributions; };
    ArchiveSearch search;
    for (const ArchivedPhotograph& query : photographs) {
        expectSame(nearestEntries(archive, query.distributions, search),
                   byForce(archive, query.distributions, search, of));
    }
    search.score.weights = {0, 0, 0, 0, 0, 1};
    search.least[5] = 0.5F;
    for (const ArchivedPhotograph& query : photographs) {
        expectSame(nearestEntries(archive, query.distributions, search),
                   byForce(archive, query.distributions, search, of));
    }
}

TEST_F(ArchiveSearching, NamesDamageAndSearchesTheRest) {
    std::string bytes = contentOf(file("made"));
    const std::string_view sketches = archive_->sketches(2);
    const std::size_t at = bytes.find(sketches, archive_->block(2).begin);
    bytes[at + 5] = static_cast<char>(bytes[at + 5] ^ 1);
    std::ofstream(file("damaged"), std::ios::binary) << bytes;
    const ArchiveFile damaged(file("damaged"));
    std::vector<std::string> damage;
    const std::vector<ArchiveHit> hits = nearestEntries(damaged, madeDistributions(3, 200, 150), {}, &damage);
    EXPECT_EQ(hits.size(), 10U);
    ASSERT_EQ(damage.size(), 1U);
    EXPECT_EQ(damage[0].rfind("block 3 of", 0), 0U);
}

TEST_F(ArchiveSearching, RefusesWhatRanksNothing) {
    ArchiveSearch search;
    search.top = 0;
    EXPECT_THROW(nearestEntries(*archive_, {}, search), std::invalid_argument);
    search.top = 1;
    search.score.weights = {};
    EXPECT_THROW(nearestEntries(*archive_, {}, search), std::invalid_argument);
    search.score.weights = {1, 0, 0, 0, 0, -1};
    EXPECT_THROW(nearestEntries(*archive_, {}, search), std::invalid_argument);
}

TEST_F(ArchiveSearching, FindsAPhotographThatWasAnalysedTwiceOnce) {
    const std::string unfinished = file("unfinished");
    {
        ArchiveWriter writer(unfinished, madeOrigin());
        ArchivedPhotograph before = madePhotograph(3, 3);
        writer.append({madePhotograph(1, 1), before, madePhotograph(2, 2)});
        before.distributions = madeDistributions(4, before.width, before.height);
        ArchivedPhotograph gone = madePhotograph(2, 2);
        gone.problem = ": it is no image";
        gone.distributions = {};
        writer.append({before, gone});
        writer.finish();
    }
    const ArchiveFile archive(unfinished);
    ASSERT_FALSE(archive.finished());
    const std::vector<ArchiveHit> hits = nearestEntries(archive, madeDistributions(4, 200, 150), {});
    ASSERT_EQ(hits.size(), 2U);
    EXPECT_EQ(hits[0].entry, 3U);
    EXPECT_GT(hits[0].score, 0.999);
    EXPECT_EQ(hits[1].entry, 0U);
}

}  // namespace
}  // namespace likeness::testing
