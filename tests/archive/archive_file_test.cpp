#include "archive/archive_file.hpp"

#include "archive/made_photographs.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

/// More than two blocks; every 1000th has a problem.
std::vector<ArchivedPhotograph> somePhotographs() {
    std::vector<ArchivedPhotograph> photographs;
    for (std::size_t k = 0; k < 2 * archive::entriesOfBlock + 100; ++k) {
        photographs.push_back(madePhotograph(k, k % 16));
        if (k % 1000 == 999) {
            photographs.back().problem = ": it is no image";
            photographs.back().distributions = {};
            photographs.back().width = photographs.back().height = 0;
        } else if (k % 10 == 0) {
            photographs.back().profile = "Display P3";
            photographs.back().remarks = {"first remark", "second"};
        }
    }
    return photographs;
}

void save(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

class ArchiveFiles : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = new ScratchDirectory;
        photographs_ = new std::vector<ArchivedPhotograph>(somePhotographs());
        writeMade(whole(), *photographs_);
    }
    static void TearDownTestSuite() {
        delete photographs_;
        delete folder_;
    }

    static std::string whole() { return folder_->path() / "whole.likeness"; }
    static std::string file(const std::string& name) { return folder_->path() / name; }
    static const std::vector<ArchivedPhotograph>& photographs() { return *photographs_; }

    static inline ScratchDirectory* folder_ = nullptr;
    static inline std::vector<ArchivedPhotograph>* photographs_ = nullptr;
};

TEST_F(ArchiveFiles, GivesBackWhatWasPutIn) {
    const ArchiveFile archive(whole());
    EXPECT_TRUE(archive.finished());
    EXPECT_TRUE(archive.damage().empty());
    ASSERT_EQ(archive.size(), photographs().size());
    EXPECT_EQ(archive.blocks(), 3U);
    EXPECT_TRUE(archive.origin().agreesWith(madeOrigin()));
    for (std::size_t k = 0; k < archive.size(); k += 37) {
        const ArchivedPhotograph& put = photographs()[k];
        const ArchivedPhotograph got = archive.photograph(k);
        EXPECT_EQ(got.path, put.path);
        EXPECT_EQ(got.bytes, put.bytes);
        EXPECT_EQ(got.modified, put.modified);
        EXPECT_EQ(got.sha256, put.sha256);
        EXPECT_EQ(got.width, put.width);
        EXPECT_EQ(got.height, put.height);
        EXPECT_EQ(got.problem, put.problem);
        EXPECT_EQ(got.profile, put.profile);
        EXPECT_EQ(got.remarks, put.remarks);
        EXPECT_EQ(archive.analysed(k), put.analysed());
        EXPECT_TRUE(sameDistributions(archive.distributions(k), put.distributions));
        EXPECT_EQ(archive.find(put.path), k);
    }
    EXPECT_EQ(archive.find("made/00000001.jp"), std::nullopt);
    EXPECT_EQ(archive.find("zzz"), std::nullopt);
    EXPECT_THROW(archive.photograph(archive.size()), std::out_of_range);
    EXPECT_TRUE(archive.check().empty());
}

TEST_F(ArchiveFiles, KeepsTheModel) {
    ArchiveOrigin origin = madeOrigin();
    origin.options.hue = HueWeights::chroma;
    origin.options.model.kind = AppearanceModelKind::ciecam16;
    origin.options.model.conditions.adaptingLuminance = 0.1 + 0.2;
    origin.options.model.conditions.background.reset();
    origin.options.model.pictureWhite = PictureWhite::brightestPixel;
    origin.options.model.background = 12.5;
    writeArchive(file("model.likeness"), origin, {0, {}});
    const ArchiveFile archive(file("model.likeness"));
    EXPECT_EQ(archive.size(), 0U);
    EXPECT_TRUE(archive.origin().options.model == origin.options.model);
    EXPECT_EQ(archive.origin().options.hue, origin.options.hue);
    EXPECT_TRUE(archive.check().empty());
}

TEST_F(ArchiveFiles, IsTheSameBytesFromShardsAndInAnyOrder) {
    {
        ArchiveWriter even(file("even"), madeOrigin());
        ArchiveWriter odd(file("odd"), madeOrigin());
        std::vector<ArchivedPhotograph> evens;
        std::vector<ArchivedPhotograph> odds;
        for (std::size_t k = photographs().size(); k-- > 0;) {
            (k % 2 == 0 ? evens : odds).push_back(photographs()[k]);
        }
        for (std::size_t k = 0; k < evens.size(); k += 100) {
            const auto begin = evens.begin() + static_cast<std::ptrdiff_t>(k);
            even.append({begin, begin + static_cast<std::ptrdiff_t>(std::min<std::size_t>(100, evens.size() - k))});
        }
        odd.append(odds);
        even.finish();
        odd.finish();
    }
    const ArchiveFile even(file("even"));
    const ArchiveFile odd(file("odd"));
    EXPECT_FALSE(even.finished());
    EXPECT_TRUE(even.damage().empty());
    EXPECT_EQ(even.wholeBytes(), fs::file_size(file("even")));
    const ArchiveUnion both({&odd, &even});
    EXPECT_EQ(both.doubled(), 0U);
    writeArchive(file("joined.likeness"), madeOrigin(), both.entries());
    EXPECT_EQ(contentOf(file("joined.likeness")), contentOf(whole()));
}

TEST_F(ArchiveFiles, ALaterEntryStandsForAnEarlierOneOfItsPath) {
    {
        ArchiveWriter writer(file("twice"), madeOrigin());
        writer.append({madePhotograph(1, 1), madePhotograph(0, 2)});
        writer.append({madePhotograph(1, 5)});
        writer.finish();
    }
    const ArchiveFile archive(file("twice"));
    EXPECT_EQ(archive.find(madePath(1)), 2U);
    const ArchiveUnion all({&archive});
    EXPECT_EQ(all.doubled(), 1U);
    ASSERT_EQ(all.size(), 2U);
    EXPECT_TRUE(sameDistributions(archive.distributions(all.entryOf(1)), madeDistributions(5, 200, 150)));
}

TEST_F(ArchiveFiles, AnUnfinishedOneIsGoodUpToWhereItWasCutOff) {
    {
        ArchiveWriter writer(file("unfinished"), madeOrigin());
        for (std::size_t k = 0; k < 5; ++k) {
            writer.append({madePhotograph(2 * k, k), madePhotograph(2 * k + 1, k)});
        }
        writer.finish();
    }
    const std::string bytes = contentOf(file("unfinished"));
    std::size_t entries = 10;
    std::size_t steps = 0;
    for (std::size_t length = bytes.size(); length > 1500; length -= 101, ++steps) {
        save(file("cut"), bytes.substr(0, length));
        const ArchiveFile cut(file("cut"));
        EXPECT_LE(cut.size(), entries);
        EXPECT_LE(cut.wholeBytes(), length);
        entries = cut.size();
        for (std::size_t k = 0; k < cut.size(); ++k) {
            EXPECT_EQ(cut.photograph(k).path, madePath(k));
        }
    }
    EXPECT_EQ(entries, 0U);
    // It goes on behind the last whole block.
    save(file("cut"), bytes.substr(0, bytes.size() - 1));
    std::uint64_t keep = 0;
    {
        const ArchiveFile cut(file("cut"));
        EXPECT_EQ(cut.size(), 8U);
        EXPECT_FALSE(cut.damage().empty());
        keep = cut.wholeBytes();
    }
    ArchiveWriter writer(file("cut"), madeOrigin(), keep);
    writer.append({madePhotograph(8, 4), madePhotograph(9, 4)});
    writer.finish();
    const ArchiveFile again(file("cut"));
    EXPECT_EQ(again.size(), 10U);
    EXPECT_TRUE(again.damage().empty());
}

TEST_F(ArchiveFiles, AListOfBlocksThatCannotBeTrueIsNotFollowed) {
    const std::string bytes = contentOf(whole());
    const ArchiveFile good(whole());
    const std::string blocks = bytes.substr(0, good.wholeBytes());
    std::vector<archive::BlockPlace> places;
    for (std::size_t b = 0; b < good.blocks(); ++b) {
        places.push_back(good.block(b));
    }
    // Longer than the file: that block alone is lost, and nothing behind the file is touched.
    std::vector<archive::BlockPlace> tooLong = places;
    tooLong[0].bytes = std::uint64_t{1} << 40;
    save(file("long"), blocks + archive::fileFoot(tooLong, good.head(), blocks.size()));
    const ArchiveFile withLong(file("long"));
    EXPECT_EQ(withLong.damage().size(), 1U);
    const ArchiveUnion rest({&withLong});
    EXPECT_EQ(rest.size(), photographs().size() - archive::entriesOfBlock);
    // More photographs than the file has room for: the blocks themselves say how many there are.
    std::vector<archive::BlockPlace> tooMany = places;
    tooMany[0].entries = 1U << 24;
    save(file("many"), blocks + archive::fileFoot(tooMany, good.head(), blocks.size()));
    const ArchiveFile withMany(file("many"));
    EXPECT_EQ(withMany.size(), photographs().size());
    EXPECT_FALSE(withMany.damage().empty());
}

TEST_F(ArchiveFiles, NamesADamagedBlockAndReadsTheOthers) {
    const std::string bytes = contentOf(whole());
    const archive::BlockPlace second = ArchiveFile(whole()).block(1);
    for (const std::uint64_t at : {std::uint64_t{70}, std::uint64_t{2000}, std::uint64_t{300'000}}) {
        std::string damaged = bytes;
        damaged[second.begin + at] = static_cast<char>(damaged[second.begin + at] ^ 4);
        save(file("damaged"), damaged);
        const ArchiveFile archive(file("damaged"));
        const std::vector<std::string> found = archive.check();
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].rfind("block 2 of '" + file("damaged") + "' (entries 4097 to 8192)", 0), 0U) << found[0];
        EXPECT_EQ(archive.photograph(0).path, madePath(0));
        EXPECT_EQ(archive.photograph(8192).path, madePath(8192));
        const ArchiveUnion rest({&archive});
        EXPECT_EQ(rest.size(), photographs().size() - archive::entriesOfBlock);
        EXPECT_EQ(rest.damage().size(), 1U);
    }
}

TEST_F(ArchiveFiles, NamesADamagedEntry) {
    std::string damaged = contentOf(whole());
    {
        const ArchiveFile archive(whole());
        std::uint64_t pixels = 0;
        const std::string histograms(archive.histograms(4100, pixels));
        const std::size_t at = damaged.find(histograms, archive.block(1).begin);
        ASSERT_NE(at, std::string::npos);
        damaged[at + 20] = static_cast<char>(damaged[at + 20] ^ 1);
    }
    save(file("damaged"), damaged);
    const ArchiveFile archive(file("damaged"));
    std::size_t unreadable = 0;
    for (std::size_t k = 4097; k < 4200; ++k) {
        try {
            EXPECT_TRUE(sameDistributions(archive.distributions(k), photographs()[k].distributions));
        } catch (const ArchiveDamage& damage) {
            EXPECT_NE(std::string(damage.what()).find("entry " + std::to_string(k + 1)), std::string::npos);
            ++unreadable;
        }
    }
    EXPECT_EQ(unreadable, 1U);
    EXPECT_EQ(archive.check().size(), 1U);
}

TEST_F(ArchiveFiles, HasItsHeadTwiceAndDoesWithoutItsList) {
    const std::string bytes = contentOf(whole());
    std::string damaged = bytes;
    damaged[40] = '#';
    save(file("head"), damaged);
    const ArchiveFile head(file("head"));
    EXPECT_TRUE(head.origin().agreesWith(madeOrigin()));
    EXPECT_EQ(head.check(), std::vector<std::string>{"the head is damaged"});
    EXPECT_EQ(head.size(), photographs().size());
    save(file("list"), bytes.substr(0, bytes.size() - 1));
    const ArchiveFile list(file("list"));
    EXPECT_EQ(list.size(), photographs().size());
    EXPECT_EQ(list.damage().size(), 1U);
    save(file("both"), damaged.substr(0, bytes.size() - 1));
    EXPECT_THROW(ArchiveFile(file("both")), ArchiveDamage);
}

TEST_F(ArchiveFiles, TakesNoNumberInItsHeadForAnInteger) {
    const archive::ArchiveHead written = ArchiveFile(whole()).head();
    const std::string text = archive::headText(written);
    const auto readWith = [&text](const std::string& key, const std::string& number) {
        const std::size_t begin = text.find("\"" + key + "\":") + key.size() + 3;
        std::string changed = text;
        const std::size_t at = changed.find_first_not_of('[', begin);
        return archive::headOf(changed.replace(at, changed.find_first_of(",]}", at) - at, number));
    };
    ASSERT_TRUE(archive::headOf(text));
    for (const std::string key : {"kind", "picture_white", "white_response", "black"}) {
        EXPECT_TRUE(readWith(key, "0")) << key;
        for (const char* const number : {"-1", "0.0", "1e60", "true", "4294967296", "18446744073709551615", "99"}) {
            EXPECT_FALSE(readWith(key, number)) << key << number;
        }
    }
    ASSERT_TRUE(written.edges);
    EXPECT_TRUE(readWith("edges", "-2147483648"));
    for (const char* const number : {"0.5", "-1e60", "-2147483649", "-4294967296", "false"}) {
        EXPECT_FALSE(readWith("edges", number)) << number;
    }
}

TEST_F(ArchiveFiles, NeverReadsOutsideAMappedFile) {
    writeMade(file("small"), {madePhotograph(0, 1), madePhotograph(1, 2), madePhotograph(2, 3)});
    const std::string bytes = contentOf(file("small"));
    cv::RNG random(11);
    for (int i = 0; i < 300; ++i) {
        std::string damaged = bytes;
        for (int n = random.uniform(1, 20); n > 0; --n) {
            damaged[static_cast<std::size_t>(random.uniform(0, static_cast<int>(bytes.size())))] =
                static_cast<char>(random.uniform(0, 256));
        }
        if (i % 3 == 0) {
            damaged.resize(static_cast<std::size_t>(random.uniform(0, static_cast<int>(bytes.size()))));
        }
        save(file("damaged"), damaged);
        try {
            const ArchiveFile archive(file("damaged"));
            EXPECT_FALSE(archive.check().empty() && archive.finished() && damaged != bytes && archive.size() != 3U);
        } catch (const Refusal&) {
        }
    }
}

TEST_F(ArchiveFiles, RefusesWhatIsNone) {
    const auto message = [](const std::string& path) {
        try {
            const ArchiveFile archive(path);
        } catch (const Refusal& refusal) {
            return std::string(refusal.what());
        }
        return std::string();
    };
    EXPECT_EQ(message(file("none")), "cannot read '" + file("none") + "': No such file or directory");
    EXPECT_EQ(message(folder_->path()), "cannot read '" + folder_->path().string() + "': Is a directory");
    save(file("empty"), "");
    EXPECT_EQ(message(file("empty")), "'" + file("empty") + "' is no archive: it is empty");
    save(file("text"), "this is a text of more than thirty-two bytes");
    EXPECT_EQ(message(file("text")), "'" + file("text") + "' is no archive");
    EXPECT_EQ(message("/dev/null"), "'/dev/null' is no archive: it is no regular file");
    EXPECT_FALSE(isArchive(file("text")));
    EXPECT_TRUE(isArchive(whole()));
}

TEST_F(ArchiveFiles, LeavesTheOldOneWhereTheNewOneCannotBeWritten) {
    writeMade(file("kept"), {madePhotograph(0, 1)});
    const std::string bytes = contentOf(file("kept"));
    const ArchiveEntries failing{5, [](std::size_t k) -> archive::StoredEntry {
                                     if (k == 3) {
                                         throw Refusal("cannot read");
                                     }
                                     return archive::stored(madePhotograph(k, k));
                                 }};
    const std::size_t files =
        static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_->path()), fs::directory_iterator()));
    EXPECT_THROW(writeArchive(file("kept"), madeOrigin(), failing), Refusal);
    EXPECT_EQ(contentOf(file("kept")), bytes);
    EXPECT_EQ(
        static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_->path()), fs::directory_iterator())),
        files);
}

}  // namespace
}  // namespace likeness::testing
