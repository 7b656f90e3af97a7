// darkroom index, and merge, verify and repair of its archives.
#include "archive/archive_writer.hpp"
#include "archive/photograph_index.hpp"
#include "batch/output_lock.hpp"
#include "batch/working_file.hpp"
#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <signal.h>
#include <sys/stat.h>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

/// A folder "photos" of small photographs p0.jpg ..., some in a folder below it.
class DarkroomIndex : public DarkroomProgram {
protected:
    static constexpr int photographs = 12;

    void SetUp() override {
        fs::create_directories(input("photos/below"));
        for (int k = 0; k < photographs; ++k) {
            save(k, 10 * k);
        }
    }

    void save(int k, int left) const {
        const cv::Mat whole = examplePhotograph(examplePhotographNames()[static_cast<std::size_t>(k) % 4]);
        ASSERT_TRUE(cv::imwrite(photograph(k), whole(cv::Rect(left, k, 100 + k, 50 + k)).clone()));
    }

    std::string photos() const { return input("photos"); }
    std::string photograph(int k) const {
        return input((k % 3 == 0 ? "photos/below/p" : "photos/p") + std::to_string(k) + ".jpg");
    }
    std::string bytesOf(const std::vector<std::string>& further, const std::string& name) const {
        std::vector<std::string> arguments = {"index", photos(), "-o", name, "--quiet"};
        arguments.insert(arguments.end(), further.begin(), further.end());
        expectDone(arguments);
        return contentOf(output(name));
    }
};

TEST_F(DarkroomIndex, KeepsWhatAnAnalysisFinds) {
    const Outcome done = expectDone({"index", photos(), "-o", "a.likeness"});
    EXPECT_NE(done.err.find("12 photographs, 0 failed; 12 added, 0 changed, 0 removed"), std::string::npos) << done.err;
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"a.likeness"});
    const ArchiveFile archive(output("a.likeness"));
    ASSERT_EQ(archive.size(), 12U);
    AnalysisTables tables;
    for (std::size_t entry = 0; entry < archive.size(); ++entry) {
        const ArchivedPhotograph its = archive.photograph(entry);
        const ArchivedPhotograph made = indexedPhotograph(its.path, tables, 1'000'000);
        EXPECT_EQ(its.sha256, made.sha256);
        EXPECT_NE(its.sha256, decltype(its.sha256){});
        EXPECT_EQ(its.width, made.width);
        EXPECT_TRUE(isCurrent(its));
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            EXPECT_EQ(archive.distributions(entry)[k], made.distributions[k]);
        }
    }
}

TEST_F(DarkroomIndex, IsTheSameBytesForAnyJobsAndShardsAndLists) {
    const std::string bytes = bytesOf({"--jobs", "1"}, "one");
    EXPECT_TRUE(bytesOf({"--jobs", "5"}, "five") == bytes);
    std::string names;
    for (int k = photographs; k-- > 0;) {
        names += photograph(k) + '\n';
    }
    expectDone({"index", "--list", saveText("names.txt", names), photograph(3), "-o", "listed", "--quiet"});
    EXPECT_TRUE(contentOf(output("listed")) == bytes);
    for (const std::string shard : {"1/3", "2/3", "3/3"}) {
        bytesOf({"--shard", shard}, "shard" + shard.substr(0, 1));
    }
    const Outcome merged = expectDone({"merge", "merged", "shard2", "shard3", "shard1"});
    EXPECT_EQ(merged.err, "darkroom merge: 12 photographs are in 'merged'\n");
    EXPECT_TRUE(contentOf(output("merged")) == bytes);
}

TEST_F(DarkroomIndex, BringsAnArchiveUpToDate) {
    bytesOf({}, "a");
    fs::remove(photograph(4));
    save(5, 33);
    save(photographs, 90);
    const Outcome updated = expectDone({"index", photos(), "-o", "a", "--update"});
    EXPECT_NE(updated.err.find("12 photographs, 0 failed; 1 added, 1 changed, 1 removed"), std::string::npos)
        << updated.err;
    EXPECT_TRUE(contentOf(output("a")) == bytesOf({}, "anew"));
    const Outcome again = expectDone({"index", photos(), "-o", "a", "--update"});
    EXPECT_NE(again.err.find("0 added, 0 changed, 0 removed\n"), std::string::npos) << again.err;
}

TEST_F(DarkroomIndex, AFolderThatIsNotThereIsNoReasonToForget) {
    const std::string before = bytesOf({}, "a.likeness");
    fs::rename(photos(), input("away"));
    for (const std::string& name : {photos(), photos() + "/"}) {
        expectRefused(
            {"index", name, "-o", "a.likeness", "--update", "--quiet"},
            "PHOTOS: '" + name +
                "' is no folder now, and the archive has photographs of it; leave it out to have them removed");
    }
    EXPECT_EQ(contentOf(output("a.likeness")), before);
}

TEST_F(DarkroomIndex, ANameThatIsNotUtf8IsLeftOut) {
    fs::copy_file(photograph(1), photos() + "/bad\xff.jpg");
    const Outcome done = expectDone({"index", photos(), "-o", "a.likeness"});
    EXPECT_NE(done.err.find("has a name that is not UTF-8"), std::string::npos) << done.err;
    EXPECT_EQ(ArchiveFile(output("a.likeness")).size(), static_cast<std::size_t>(photographs));
}

TEST_F(DarkroomIndex, ListsWhatCannotBeReadAndTriesAgainWhenAsked) {
    const std::string broken = saveText("photos/broken.jpg", "no image");
    const std::string none = input("none.jpg");
    const Outcome failed = darkroom({"index", photos(), none, "-o", "a"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("warning: cannot read '" + broken + "'"), std::string::npos) << failed.err;
    EXPECT_NE(failed.err.find("warning: cannot read '" + none + "': No such file or directory"), std::string::npos);
    EXPECT_NE(failed.err.find("14 photographs, 2 failed"), std::string::npos);
    EXPECT_EQ(darkroom({"verify", "a"}).status, 1);
    const Outcome kept = darkroom({"index", photos(), "-o", "a", "--update"});
    EXPECT_NE(kept.err.find("13 photographs, 1 failed; 0 added, 0 changed, 1 removed"), std::string::npos) << kept.err;
    const Outcome retried = darkroom({"index", photos(), "-o", "a", "--update", "--retry-failed"});
    EXPECT_NE(retried.err.find("0 added, 1 changed, 0 removed"), std::string::npos) << retried.err;
}

TEST_F(DarkroomIndex, AHostileFileCostsItself) {
    ::setenv("LIKENESS_READING_FAULTS", "1", 1);
    const std::vector<std::string> before = {"index", photos(), "-o", "plain", "--isolate", "no"};
    EXPECT_EQ(darkroom(before).status, 0);
    EXPECT_EQ(darkroom({"index", photos(), "-o", "isolated"}).status, 0);
    EXPECT_EQ(contentOf(output("isolated")), contentOf(output("plain")));
    for (const char* const name : {"crash-1.jpg", "hang-1.jpg", "exit-1.jpg"}) {
        saveText(std::string("photos/") + name, "no image");
    }
    ASSERT_EQ(::mkfifo(input("photos/fifo.jpg").c_str(), 0600), 0);
    const Outcome outcome = darkroom({"index", photos(), input("photos/fifo.jpg"), "-o", "a", "--file-seconds", "1"});
    EXPECT_EQ(outcome.status, 1);
    for (const char* const why : {"reading it crashed (Segmentation fault)", "reading it takes more than 1 second;",
                                  "reading it ended the process (status 3)", "it is not a regular file"}) {
        EXPECT_NE(outcome.err.find(why), std::string::npos) << why << '\n' << outcome.err;
    }
    ::unsetenv("LIKENESS_READING_FAULTS");
}

TEST_F(DarkroomIndex, LosesNothingWhenKilledAtAnyMoment) {
    for (int k = photographs; k < 90; ++k) {
        save(k, 2 * k);
    }
    const std::string bytes = bytesOf({}, "whole");
    std::mt19937 random(4);
    int killed = 0;
    for (int attempt = 0; attempt < 25; ++attempt) {
        const ::pid_t process = start({LIKENESS_DARKROOM, "index", photos(), "-o", "a", "--resume"}, folder());
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
        ::kill(process, attempt % 4 == 3 ? SIGTERM : SIGKILL);
        killed += statusOf(process) == 0 ? 0 : 1;
        if (fs::exists(output("a"))) {
            EXPECT_TRUE(contentOf(output("a")) == bytes);
        }
    }
    EXPECT_GT(killed, 0);
    expectDone({"index", photos(), "-o", "a", "--resume"});
    EXPECT_TRUE(contentOf(output("a")) == bytes);
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a", "whole"}));
}

TEST_F(DarkroomIndex, UnfinishedWorkIsNotDroppedUnasked) {
    const std::string unfinished = workingFile(output("a"), "index");
    {
        ArchiveWriter writer(unfinished, originOf({}, {}));
        writer.append({});
        writer.finish();
    }
    expectRefused({"index", photos(), "-o", "a"},
                  "--output: an earlier run left unfinished work for 'a'; --resume goes on with it, --overwrite begins "
                  "anew");
    EXPECT_FALSE(fs::exists(output("a")));
    expectDone({"index", photos(), "-o", "a", "--overwrite"});
    EXPECT_FALSE(fs::exists(unfinished));
}

TEST_F(DarkroomIndex, AStoppedOverwriteWithOtherParametersGoesOn) {
    expectDone({"index", photos(), "-o", "a", "--quiet"});
    AnalysisOptions other;
    other.hue = HueWeights::pixels;
    {
        ArchiveWriter writer(workingFile(output("a"), "index"), originOf(other, {}));
        writer.append({});
        writer.finish();
    }
    expectDone({"index", photos(), "-o", "a", "--resume", "--hue", "--quiet"});
    EXPECT_TRUE(ArchiveFile(output("a")).origin().options.hue.has_value());
}

TEST_F(DarkroomIndex, RepairsWhatIsDamaged) {
    std::string bytes = bytesOf({}, "a");
    std::ofstream(output("cut"), std::ios::binary) << bytes.substr(0, bytes.size() - 40);
    const Outcome verified = darkroom({"verify", "cut"});
    EXPECT_EQ(verified.status, 1);
    EXPECT_NE(verified.out.find("damaged: the list of its blocks at the end is missing or damaged"), std::string::npos);
    expectDone({"repair", "cut", "-o", "repaired", "--quiet"});
    EXPECT_TRUE(contentOf(output("repaired")) == bytes);
    expectDone({"verify", "repaired"});
}

TEST_F(DarkroomIndex, ADamagedArchiveIsSearchedAndTheStatusTells) {
    const std::string bytes = bytesOf({}, "a");
    // Without its last list all entries can be read; with a byte flipped some cannot.
    std::ofstream(output("cut"), std::ios::binary) << bytes.substr(0, bytes.size() - 40);
    std::string flipped = bytes;
    flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 4);
    std::ofstream(output("flipped"), std::ios::binary) << flipped;
    const std::string found = expectDone({"search", "a", photograph(0), "--quiet"}).out;
    const Outcome cut = darkroom({"search", "cut", photograph(0), "--quiet"});
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.out, found);
    EXPECT_EQ(linesOf(cut.err).size(), 1U) << cut.err;
    EXPECT_NE(cut.err.find("darkroom repair keeps what can be read"), std::string::npos) << cut.err;
    const Outcome none = darkroom({"search", "flipped", photograph(0), "--quiet"});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("what stands there is not found"), std::string::npos) << none.err;
    expectDone({"pairs", "a", "--min", "0", "-o", "a.csv", "--quiet"});
    EXPECT_EQ(darkroom({"pairs", "cut", "--min", "0", "-o", "cut.csv", "--quiet"}).status, 1);
    EXPECT_EQ(contentOf(output("cut.csv")), contentOf(output("a.csv")));
    const Outcome noPair = darkroom({"pairs", "flipped", "a", "--min", "0", "-o", "flipped.csv", "--quiet"});
    EXPECT_EQ(noPair.status, 1);
    EXPECT_NE(noPair.err.find("what stands there is in no pair"), std::string::npos) << noPair.err;
    EXPECT_LT(linesOf(contentOf(output("flipped.csv"))).size(), 1U + photographs * photographs);
}

TEST_F(DarkroomIndex, TwoOnOneArchiveRefuseEachOther) {
    const OutputLock lock(workingFile(output("a"), "index"), OutputLock::Links::refuse);
    const Outcome second = darkroom({"index", photos(), "-o", "a"});
    EXPECT_EQ(second.status, 2);
    EXPECT_EQ(second.err, "darkroom index: 'a' is being written by another process\n");
}

TEST_F(DarkroomIndex, ServesABatch) {
    std::string list = "first,second\n";
    for (int k = 0; k + 1 < photographs; ++k) {
        list += photograph(k) + ',' + photograph(k + 1) + '\n';
    }
    const std::string path = saveText("list.csv", list);
    bytesOf({}, "a");
    expectDone({"batch", path, "-o", "plain.jsonl", "--quiet"});
    expectDone({"batch", path, "-o", "archived.jsonl", "--archive", "a", "--quiet"});
    EXPECT_TRUE(contentOf(output("archived.jsonl")) == contentOf(output("plain.jsonl")));
    // What changed since is analysed; where size and time are those of before, the checksum tells.
    const fs::file_time_type time = fs::last_write_time(photograph(1));
    std::string bytes = contentOf(photograph(1));
    std::ofstream(photograph(1), std::ios::binary) << std::string(bytes.size(), 'x');
    EXPECT_EQ(darkroom({"batch", path, "-o", "changed.jsonl", "--archive", "a", "--quiet"}).status, 1);
    fs::last_write_time(photograph(1), time);
    expectDone({"batch", path, "-o", "touched.jsonl", "--archive", "a", "--quiet"});
    EXPECT_EQ(darkroom({"batch", path, "-o", "checked.jsonl", "--archive", "a", "--check", "--quiet"}).status, 1);
    EXPECT_EQ(darkroom({"batch", path, "-o", "sums.jsonl", "--archive", "a", "--checksums", "--quiet"}).status, 1)
        << "a recorded checksum is that of the numbers";
    expectRefused({"batch", path, "-o", "b.jsonl", "--check"}, "--check: there is no --archive");
    EXPECT_EQ(darkroom({"batch", path, "-o", "b.jsonl", "--archive", "a", "--hue"}).status, 2);
}

TEST_F(DarkroomIndex, Refuses) {
    expectRefused({"index", "-o", "a"}, "PHOTOS or --list is required");
    expectRefused({"index", photos(), "-o", "a", "--retry-failed"}, "--retry-failed: there is no --update or --resume");
    expectRefused({"index", photos(), "-o", "a", "--update", "--overwrite"},
                  "--overwrite begins anew and excludes --update");
    const std::string text = saveText("text", "no archive");
    expectRefused({"index", photos(), "-o", text, "--overwrite"},
                  "--output: '" + text + "' is no archive, and is not replaced");
    fs::create_directory(input("nothing"));
    expectRefused({"index", input("nothing"), "-o", "a"}, "PHOTOS: there are no photographs");
    bytesOf({}, "a");
    expectRefused({"index", photos(), "-o", "a"},
                  "--output: 'a' exists; --update brings it up to date, --resume goes on with it, --overwrite begins "
                  "anew");
    expectRefused({"merge", "b", "a", text}, "IN: some are archives and some are not");
    expectRefused({"merge", "b", "a", "a"},
                  "12 photographs are in more than one of the archives; shards of one list "
                  "have none in common");
    bytesOf({"--hue"}, "hue");
    expectRefused({"merge", "b", "a", "hue"}, "'hue' was made with other parameters or by another version than 'a'");
    const Outcome other = darkroom({"index", photos(), "-o", "a", "--update", "--hue"});
    EXPECT_EQ(other.status, 2);
    EXPECT_NE(other.err.find("--output: 'a' was made with other parameters"), std::string::npos) << other.err;
}

}  // namespace
}  // namespace likeness::testing
