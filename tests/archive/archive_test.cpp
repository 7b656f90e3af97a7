// The public class, through the module; and the functions that make archives.
#include <likeness/archive/archive.hpp>

#include <likeness/archive/archive_index.hpp>
#include <likeness/version.hpp>
#include "archive/made_photographs.hpp"
#include "archive/photograph_index.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

cv::Mat picture(int k) {
    cv::Mat made(24, 32, CV_8UC3);
    cv::RNG random(static_cast<std::uint64_t>(k) + 7);
    const cv::Scalar base(random.uniform(40, 200), random.uniform(40, 200), random.uniform(40, 200));
    random.fill(made, cv::RNG::NORMAL, base, cv::Scalar::all(20 + 3 * k));
    return made;
}

class PublicArchive : public ::testing::Test {
protected:
    std::string file(const std::string& name) const { return folder_.path() / name; }

    std::vector<std::string> pictures(int count) const {
        std::vector<std::string> paths;
        for (int k = 0; k < count; ++k) {
            paths.push_back(file("p" + std::to_string(k) + ".png"));
            cv::imwrite(paths.back(), picture(k));
        }
        return paths;
    }

    ScratchDirectory folder_;
};

void expectSame(const LikenessCoefficients& a, const LikenessCoefficients& b) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        EXPECT_EQ(a[k], b[k]);
    }
}

TEST_F(PublicArchive, GivesTheBitsOfAComparison) {
    const std::vector<std::string> paths = pictures(6);
    const IndexSummary made = indexPhotographs(paths, file("a"));
    EXPECT_EQ(made.photographs, 6U);
    EXPECT_EQ(made.added, 6U);
    EXPECT_EQ(made.failed, 0U);
    const Archive archive(file("a"));
    ASSERT_EQ(archive.size(), 6U);
    EXPECT_TRUE(archive.check().empty());
    EXPECT_TRUE(archive.damage().empty());
    EXPECT_EQ(archive.pathOf(3), paths[3]);
    EXPECT_EQ(archive.find(paths[3]), 3U);
    EXPECT_FALSE(archive.find("nowhere"));
    EXPECT_EQ(archive.photograph(3).width, 32);
    const Analysis query = analyze(picture(2));
    EXPECT_TRUE(sameDistributions(archive.photograph(2).distributions, query.distributions()));
    EXPECT_TRUE(sameDistributions(archive.distributionsOf(paths[2]), query.distributions()));
    const std::vector<ArchiveHit> hits = archive.nearest(query);
    ASSERT_EQ(hits.size(), 6U);
    EXPECT_EQ(hits[0].entry, 2U);
    EXPECT_FLOAT_EQ(static_cast<float>(hits[0].score), 1);
    for (std::size_t i = 0; i < hits.size(); ++i) {
        expectSame(hits[i].coefficients.five, compare(query, analyze(picture(static_cast<int>(hits[i].entry)))));
        EXPECT_TRUE(i == 0 || hits[i - 1].score >= hits[i].score);
    }
    EXPECT_EQ(archive.nearest(picture(4), {1}).at(0).entry, 4U);
    ArchiveSearch chroma;
    chroma.score.weights = {0, 0, 1, 0, 0, 0};
    chroma.among = [](std::size_t entry) { return entry != 2; };
    for (const ArchiveHit& hit : archive.nearest(query, chroma)) {
        EXPECT_NE(hit.entry, 2U);
        EXPECT_EQ(hit.score, static_cast<double>(hit.coefficients.five.chroma));
    }
}

TEST_F(PublicArchive, FindsPairs) {
    const std::vector<std::string> paths = pictures(5);
    indexPhotographs({folder_.path()}, file("a"));
    const Archive archive(file("a"));
    const std::vector<ArchivePair> pairs = archive.pairs();
    ASSERT_EQ(pairs.size(), 10U);
    for (const ArchivePair& pair : pairs) {
        EXPECT_LT(pair.first, pair.second);
        expectSame(pair.coefficients.five, compare(analyze(picture(static_cast<int>(pair.first))),
                                                   analyze(picture(static_cast<int>(pair.second)))));
    }
    ArchivePairSearch nearest;
    nearest.nearest = 1;
    EXPECT_EQ(archive.pairs(nearest).size(), 5U);
    EXPECT_EQ(archive.pairs(Archive(file("a"))).size(), 25U);
    EXPECT_EQ(archive.pairs(archive).size(), 25U);
    ArchivePairSearch few;
    few.most = 3;
    EXPECT_THROW(archive.pairs(few), std::runtime_error);
    ArchivePairSearch stopped;
    stopped.progress = [](std::size_t, std::size_t) { return false; };
    EXPECT_THROW(archive.pairs(stopped), Cancelled);
}

TEST_F(PublicArchive, GroupsWhatHangsTogether) {
    pictures(5);
    indexPhotographs({folder_.path()}, file("a"));
    const Archive archive(file("a"));
    const std::vector<ArchiveCluster> all = archive.clusters();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].entries, (std::vector<std::uint32_t>{0, 1, 2, 3, 4}));
    const auto greatest = std::max_element(all[0].means.begin(), all[0].means.end());
    EXPECT_EQ(all[0].representative, static_cast<std::size_t>(greatest - all[0].means.begin()));
    double sum = 0;
    for (const ArchivePair& pair : archive.pairs()) {
        sum += pair.first == 0 ? pair.score : 0;
    }
    EXPECT_DOUBLE_EQ(all[0].means[0], sum / 4);
    ArchivePairSearch equal;
    equal.leastScore = 1;
    EXPECT_TRUE(archive.clusters(equal).empty());
    ArchivePairSearch few;
    few.most = 3;
    EXPECT_THROW(archive.clusters(few), std::runtime_error);
    ArchivePairSearch stopped;
    stopped.progress = [](std::size_t, std::size_t) { return false; };
    EXPECT_THROW(archive.clusters(stopped), Cancelled);
}

TEST_F(PublicArchive, IsBroughtUpToDate) {
    std::vector<std::string> paths = pictures(3);
    indexPhotographs(paths, file("a"));
    EXPECT_THROW(indexPhotographs(paths, file("a")), std::runtime_error);
    cv::imwrite(paths[1], picture(9));
    fs::remove(paths[0]);
    paths.erase(paths.begin());
    std::ofstream(file("none.png")) << "no picture";
    paths.push_back(file("none.png"));
    IndexOptions update;
    update.existing = IndexOptions::Existing::updated;
    std::vector<std::string> warnings;
    update.warn = [&](const std::string& line) { warnings.push_back(line); };
    const IndexSummary made = indexPhotographs(paths, file("a"), update);
    EXPECT_EQ(made.photographs, 3U);
    EXPECT_EQ(made.added, 1U);
    EXPECT_EQ(made.changed, 1U);
    EXPECT_EQ(made.removed, 1U);
    EXPECT_EQ(made.failed, 1U);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("none.png"), std::string::npos);
    const Archive archive(file("a"));
    EXPECT_FALSE(archive.photograph(0).analysed());
    EXPECT_THROW(archive.distributionsOf(file("none.png")), std::runtime_error);
    EXPECT_EQ(archive.nearest(picture(9), {1}).at(0).entry, archive.find(file("p1.png")));
    // The same bytes as of one that is made anew.
    indexPhotographs(paths, file("b"));
    EXPECT_EQ(contentOf(file("a")), contentOf(file("b")));
}

TEST_F(PublicArchive, HoldsAnalysesOfOnesOwn) {
    std::vector<ArchivedPhotograph> photographs;
    for (const int k : {2, 0, 1}) {
        ArchivedPhotograph photograph;
        photograph.path = "camera/" + std::to_string(k);
        photograph.width = 32;
        photograph.height = 24;
        photograph.distributions = analyze(picture(k)).distributions();
        photographs.push_back(photograph);
    }
    writeArchive(file("a"), photographs);
    const Archive archive(file("a"));
    ASSERT_EQ(archive.size(), 3U);
    EXPECT_EQ(archive.pathOf(0), "camera/0");
    EXPECT_EQ(archive.nearest(picture(1), {1}).at(0).entry, 1U);
    std::swap(photographs[0], photographs[2]);
    writeArchive(file("b"), photographs);
    EXPECT_EQ(contentOf(file("a")), contentOf(file("b")));
    photographs.push_back(photographs.front());
    EXPECT_THROW(writeArchive(file("c"), photographs), std::invalid_argument);
    photographs.back().path = "camera/3";
    photographs.back().width = 0;
    EXPECT_THROW(writeArchive(file("c"), photographs), std::invalid_argument);
    EXPECT_FALSE(fs::exists(file("c")));
}

TEST_F(PublicArchive, RefusesWhatItCannotDo) {
    EXPECT_THROW(Archive(file("none")), std::runtime_error);
    std::ofstream(file("text")) << "no archive";
    EXPECT_THROW(Archive(file("text")), std::runtime_error);
    EXPECT_THROW(indexPhotographs({}, file("a")), std::runtime_error);
    indexPhotographs(pictures(2), file("a"));
    const Archive archive(file("a"));
    EXPECT_THROW(archive.pathOf(2), std::out_of_range);
    EXPECT_THROW(archive.photograph(2), std::out_of_range);
    EXPECT_THROW(archive.nearest(picture(0), {0}), std::invalid_argument);
    ArchiveSearch search;
    search.score.weights = {0, 0, 0, 0, 0, 1};
    EXPECT_THROW(archive.nearest(picture(0), search), std::invalid_argument);
    search.score.weights = {};
    EXPECT_THROW(archive.nearest(picture(0), search), std::invalid_argument);
    search = {};
    search.approximate = true;
    EXPECT_THROW(archive.nearest(picture(0), search), std::runtime_error);  // there is no index
    AnalysisOptions published;
    published.model.kind = AppearanceModelKind::ciecam16;
    EXPECT_THROW(archive.nearest(analyze(picture(0), published)), std::invalid_argument);
    const AnalysisOptions hue{false, published.model, HueWeights::pixels};
    IndexOptions options;
    options.analysis = hue;
    indexPhotographs(pictures(2), file("hue"), options);
    EXPECT_TRUE(Archive(file("hue")).nearest(picture(0)).at(0).coefficients.hue.has_value());
    EXPECT_THROW(archive.pairs(Archive(file("hue"))), std::runtime_error);
    options = {};
    options.progress = [](std::size_t, std::size_t) { return false; };
    options.jobs = 1;
    try {
        indexPhotographs(pictures(2), file("stopped"), options);  // it may have been done before it was asked
    } catch (const Cancelled&) {
        EXPECT_FALSE(fs::exists(file("stopped")));
    }
}

TEST_F(PublicArchive, FindsNothingDamagedInSilence) {
    indexPhotographs(pictures(8), file("a"));
    std::string bytes = contentOf(file("a"));
    const ArchiveFile whole(file("a"));
    std::uint64_t pixels = 0;
    const std::string_view histograms = whole.histograms(4, pixels);
    const std::size_t place = bytes.find(histograms);
    ASSERT_NE(place, std::string::npos);
    bytes[place + histograms.size() / 2] = static_cast<char>(bytes[place + histograms.size() / 2] ^ 0x55);
    std::ofstream(file("b"), std::ios::binary) << bytes;
    const Archive archive(file("b"));
    EXPECT_FALSE(archive.check().empty());
    EXPECT_THROW(archive.nearest(picture(0)), std::runtime_error);
    std::vector<std::string> told;
    ArchiveSearch search;
    search.damaged = [&](const std::string& line) { told.push_back(line); };
    EXPECT_EQ(archive.nearest(picture(0), search).size(), 7U);
    EXPECT_EQ(told.size(), 1U);
}

TEST(OriginsOfParts, AreToldFromThoseOfWholePhotographs) {
    ProfileChoice profiles;
    EXPECT_TRUE(isOfWholePhotographs(originOf({}, profiles)));
    profiles.part.alpha.use = AlphaChoice::Use::over;  // every pixel counts
    EXPECT_TRUE(isOfWholePhotographs(originOf({}, profiles)));
    profiles.part = {};
    profiles.part.centerWeighted = true;
    EXPECT_FALSE(isOfWholePhotographs(originOf({}, profiles)));
    profiles.part = {};
    profiles.part.regions.push_back({"0,0,50%,50%", {}});
    EXPECT_FALSE(isOfWholePhotographs(originOf({}, profiles)));
    profiles.part = {};
    profiles.part.alpha.use = AlphaChoice::Use::weight;
    EXPECT_FALSE(isOfWholePhotographs(originOf({}, profiles)));
}

}  // namespace
}  // namespace likeness::testing
