#include "archive/approximate_index.hpp"

#include "archive/archive_bytes.hpp"
#include "archive/made_photographs.hpp"
#include "support/built_modules.hpp"
#include "support/needed_package.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace likeness::testing {
namespace {

class ApproximateSearch : public ::testing::Test {
protected:
    static constexpr std::size_t entries = 1500;

    void SetUp() override {
        if (!isModuleBuilt("nearest")) {
            SKIP_WITHOUT_PACKAGE("the module that builds the graph was not built: hnswlib is not installed");
        }
        make(entries);
    }

    static void make(std::size_t count) {
        std::vector<ArchivedPhotograph> photographs;
        for (std::size_t k = 0; k < count; ++k) {
            photographs.push_back(madePhotograph(k, k));
        }
        if (count > 17) {
            photographs[17].problem = ": it is no image";
            photographs[17].distributions = {};
        }
        writeMade("a", photographs);
    }

    static std::string content() {
        std::ifstream file(approximateIndexPath("a"), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    static std::string refusal(const ArchiveFile& archive) {
        try {
            const ApproximateIndex index(archive);
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
        return {};
    }

    ScratchDirectory folder_;
};

TEST_F(ApproximateSearch, FindsWhatAnExactOneFinds) {
    const ArchiveFile archive("a");
    std::size_t told = 0;
    const ApproximateRecall built = buildApproximateIndex(archive, [&](std::size_t done, std::size_t all) {
        EXPECT_EQ(done, ++told);
        EXPECT_EQ(all, entries - 1);
        return true;
    });
    EXPECT_EQ(told, entries - 1);
    EXPECT_GE(built.recall, 0.95);
    EXPECT_EQ(built.photographs, 50U);
    const ApproximateIndex index(archive);
    EXPECT_EQ(index.recall(), built.recall);
    // Every node is within reach: with as many candidates as there are entries the two searches are the same.
    ArchiveSearch search;
    search.top = 12;
    for (const std::uint64_t seed : {3U, 700U, 5000U}) {
        const AppearanceDistributions photograph = madeDistributions(seed, 200, 150);
        for (const bool filtered : {false, true}) {
            search.among = filtered ? std::function<bool(std::size_t)>([](std::size_t k) { return k % 2 == 0; })
                                    : std::function<bool(std::size_t)>();
            search.least = {0, filtered ? 0.3F : 0, 0, 0, 0, 0};
            const std::vector<ArchiveHit> exact = nearestEntries(archive, photograph, search);
            const std::vector<ArchiveHit> found = index.nearest(photograph, search, entries);
            ASSERT_EQ(found.size(), exact.size());
            for (std::size_t i = 0; i < exact.size(); ++i) {
                EXPECT_EQ(found[i].entry, exact[i].entry);
                EXPECT_EQ(found[i].score, exact[i].score);
            }
        }
    }
}

TEST_F(ApproximateSearch, HasOneFileForAnArchive) {
    const ArchiveFile archive("a");
    buildApproximateIndex(archive);
    const std::string bytes = content();
    std::filesystem::remove(approximateIndexPath("a"));
    EXPECT_NE(refusal(archive).find("darkroom index --approximate makes it"), std::string::npos);
    buildApproximateIndex(archive);
    EXPECT_EQ(content(), bytes);
    EXPECT_THROW(buildApproximateIndex(archive, [](std::size_t, std::size_t) { return false; }), Refusal);
    EXPECT_EQ(content(), bytes);
}

TEST_F(ApproximateSearch, IsRefusedWhereTheArchiveHasChanged) {
    buildApproximateIndex(ArchiveFile("a"));
    make(entries - 1);
    EXPECT_NE(refusal(ArchiveFile("a")).find("is stale"), std::string::npos);
}

TEST_F(ApproximateSearch, IsRefusedWhereItIsDamaged) {
    const ArchiveFile archive("a");
    buildApproximateIndex(archive);
    const std::string whole = content();
    const std::string path = approximateIndexPath("a");
    for (std::size_t place = 0; place < whole.size(); place += 1 + whole.size() / 150) {
        std::string damaged = whole;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x10);
        std::ofstream(path, std::ios::binary) << damaged;
        EXPECT_FALSE(refusal(archive).empty()) << place;
        std::ofstream(path, std::ios::binary) << whole.substr(0, place);
        EXPECT_FALSE(refusal(archive).empty()) << place;
    }
}

/// A file whose checksums hold, because somebody made them hold.
TEST_F(ApproximateSearch, IsRefusedWhereItLeadsOutOfTheArchive) {
    const ArchiveFile archive("a");
    buildApproximateIndex(archive);
    const std::string whole = content();
    constexpr std::size_t headRoom = 128;
    constexpr std::size_t sketch = 80;
    const auto count = archive::numberAt<std::uint32_t>(whole.data() + 32);
    const auto links = archive::numberAt<std::uint32_t>(whole.data() + 36);
    const std::size_t above = headRoom + count * (sketch + (links + 2) * 4);
    ASSERT_GT(whole.size(), above + 16);
    const struct {
        const char* what;
        std::size_t place;
        std::uint32_t number;
    } changes[] = {
        {"first node", 40, count},
        {"level of the first node", 44, 1000},
        {"links of a node, so many that their bytes wrap around", 36, 0xFFFFFFFF},
        {"entry of a node", headRoom + sketch, 1U << 30},
        {"entry that is there twice", headRoom + sketch, 1},
        {"number of links", headRoom + sketch + 4, links + 1},
        {"a link", headRoom + sketch + 8, count},
        {"a node above", above, count},
        {"levels of a node above", above + 4, 0x7FFFFFFF},
        {"number of links above", above + 8, links / 2 + 1},
        {"a link above", above + 12, count},
    };
    const auto refusalOf = [&](const std::string& bytes) {
        std::string file = bytes;
        const auto put = [&](std::size_t place, std::uint32_t number) {
            file.replace(place, sizeof number, reinterpret_cast<const char*>(&number), sizeof number);
        };
        put(64, archive::checksum(std::string_view(file).substr(72)));
        put(68, archive::checksum(std::string_view(file).substr(0, 68)));
        std::ofstream(approximateIndexPath("a"), std::ios::binary) << file;
        return refusal(archive);
    };
    EXPECT_EQ(refusalOf(whole), "");
    for (const auto& change : changes) {
        std::string forged = whole;
        forged.replace(change.place, 4, reinterpret_cast<const char*>(&change.number), 4);
        EXPECT_NE(refusalOf(forged).find("is damaged"), std::string::npos) << change.what;
    }
}

TEST_F(ApproximateSearch, IsMadeOfFewAndOfNone) {
    for (const std::size_t count : {0U, 1U, 2U}) {
        make(count);
        const ArchiveFile archive("a");
        EXPECT_EQ(buildApproximateIndex(archive).recall, 1);
        EXPECT_EQ(ApproximateIndex(archive).nearest(madeDistributions(1, 200, 150), {}).size(), count);
    }
}

}  // namespace
}  // namespace likeness::testing
