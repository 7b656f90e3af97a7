#include "files/replaced_file.hpp"

#include "files/refusal.hpp"
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <fstream>
#include <thread>

namespace {

/// What `fsync` was called for while a test listens: "file" or "folder", each with the content of the watched file.
std::vector<std::string>* synchronized = nullptr;
std::string watched;

}  // namespace

/// Stands in the place of the system's own.
extern "C" int fsync(int descriptor) {
    if (synchronized != nullptr) {
        struct ::stat status {};
        ::fstat(descriptor, &status);
        synchronized->push_back((S_ISDIR(status.st_mode) ? "folder:" : "file:") +
                                likeness::testing::contentOf(watched));
    }
    return ::fdatasync(descriptor);
}

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

class ReplacedFile : public ::testing::Test {
protected:
    fs::path at(const std::string& name) const { return folder_.path() / name; }
    void write(const std::string& name, const std::string& text) const { std::ofstream(at(name)) << text; }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// The reason why a file is not written.
    static std::string refusal(const fs::path& path, std::string_view bytes) {
        try {
            replaceFile(path, bytes);
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
        return "";
    }

private:
    ScratchDirectory folder_;
};

TEST_F(ReplacedFile, IsWrittenAsAWhole) {
    const std::string bytes("a\0b\n", 4);
    replaceFile(at("new"), bytes);
    EXPECT_EQ(contentOf(at("new")), bytes);
    write("old", "something that is longer than what comes in its place");
    replaceFile(at("old"), "short");
    EXPECT_EQ(contentOf(at("old")), "short");
    replaceFile(at("old"), "");
    EXPECT_EQ(contentOf(at("old")), "");
    EXPECT_EQ(files(), (std::vector<std::string>{"new", "old"}));
    replaceFile("in the working directory", "here");  // the scratch folder is the working directory
    EXPECT_EQ(contentOf(at("in the working directory")), "here");
}

TEST_F(ReplacedFile, IsOnTheDiskBeforeItTakesTheName) {
    write("file", "old");
    std::vector<std::string> calls;
    watched = at("file");
    synchronized = &calls;
    replaceFile(at("file"), "new");
    synchronized = nullptr;
    EXPECT_EQ(calls, (std::vector<std::string>{"file:old", "folder:new"}));
}

TEST_F(ReplacedFile, WhoHasTheOldOneOpenKeepsIt) {
    write("file", "old");
    std::ifstream open(at("file"));
    replaceFile(at("file"), "new");
    std::string text;
    open >> text;
    EXPECT_EQ(text, "old");
    EXPECT_EQ(contentOf(at("file")), "new");
}

TEST_F(ReplacedFile, KeepsPermissions) {
    write("file", "old");
    ASSERT_EQ(::chmod(at("file").c_str(), 0640), 0);
    replaceFile(at("file"), "new");
    struct ::stat status {};
    ASSERT_EQ(::stat(at("file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);

    const ::mode_t mask = ::umask(0);
    ::umask(mask);
    replaceFile(at("new"), "new");
    ASSERT_EQ(::stat(at("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0666U & ~mask);
}

TEST_F(ReplacedFile, KeepsTheOwnerWhereThatIsAllowed) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root may give a file to somebody else";
    }
    write("file", "old");
    ASSERT_EQ(::chown(at("file").c_str(), 12345, 23456), 0);
    replaceFile(at("file"), "new");
    struct ::stat status {};
    ASSERT_EQ(::stat(at("file").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
    EXPECT_EQ(status.st_gid, 23456U);
}

TEST_F(ReplacedFile, ThroughALinkIsTheFileThatItNames) {
    fs::create_directory(at("elsewhere"));
    write("elsewhere/file", "old");
    fs::create_symlink("elsewhere/file", at("link"));
    fs::create_symlink("link", at("link to it"));
    replaceFile(at("link to it"), "new");
    EXPECT_TRUE(fs::is_symlink(at("link to it")));
    EXPECT_TRUE(fs::is_symlink(at("link")));
    EXPECT_EQ(contentOf(at("elsewhere/file")), "new");

    fs::create_symlink("elsewhere/not yet", at("ahead"));
    replaceFile(at("ahead"), "made");
    EXPECT_TRUE(fs::is_symlink(at("ahead")));
    EXPECT_EQ(contentOf(at("elsewhere/not yet")), "made");

    fs::create_symlink("round", at("round"));
    EXPECT_NE(refusal(at("round"), "x"), "");
    EXPECT_TRUE(fs::is_symlink(at("round")));
}

TEST_F(ReplacedFile, NamesMayBeAsLongAsTheSystemAllows) {
    const std::string name(255, 'n');
    replaceFile(at(name), "long");
    EXPECT_EQ(contentOf(at(name)), "long");
    EXPECT_EQ(files().size(), 1U);
}

TEST_F(ReplacedFile, FailureLeavesTheOldFileAndNoOther) {
    EXPECT_EQ(refusal("/dev/full", "text"), "cannot write '/dev/full': No space left on device");
    EXPECT_EQ(refusal(at("none/file"), "text"),
              "cannot write '" + at("none/file").string() + "': No such file or directory");
    fs::create_directory(at("folder"));
    EXPECT_NE(refusal(at("folder"), "text"), "");
    // No file can be made in /proc, not even by root.
    EXPECT_EQ(refusal("/proc/file", "text").rfind("cannot write '/proc/file': ", 0), 0U);
    EXPECT_EQ(files(), std::vector<std::string>{"folder"});
}

/// The program on a full disk, for which a limit on the size of files stands: the new file cannot be completed.
TEST_F(ReplacedFile, ThatCannotBeCompletedLeavesTheOldOne) {
    write("file", "old");
    const std::string script =
        "trap '' XFSZ; ulimit -f 1; exec '" + std::string(LIKENESS_DARKROOM) + "' completion bash -o file";
    const Outcome outcome = run({"/bin/sh", "-c", script}, at("").parent_path());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "darkroom completion: cannot write 'file': File too large\n");
    EXPECT_EQ(contentOf(at("file")), "old");
    EXPECT_EQ(files(), std::vector<std::string>{"file"});
}

TEST_F(ReplacedFile, OfManyWritersIsTheWholeOfOne) {
    const auto text = [](int i) { return std::string(100'000, static_cast<char>('a' + i)); };
    std::vector<std::thread> writers;
    for (int i = 0; i < 8; ++i) {
        writers.emplace_back([&, i] { replaceFile(at("file"), text(i)); });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    const std::string left = contentOf(at("file"));
    ASSERT_EQ(left.size(), 100'000U);
    EXPECT_EQ(left, text(left.front() - 'a'));
    EXPECT_EQ(files(), std::vector<std::string>{"file"});
}

TEST_F(ReplacedFile, TakesWhatAKilledWriterLeft) {
    // The writer ends in the middle of its work: its file may not grow beyond the limit.
    const std::string large(1 << 20, 'x');
    const ::pid_t writer = ::fork();
    if (writer == 0) {
        const struct ::rlimit limit { 65536, 65536 };
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_DFL);
        try {
            replaceFile(at("file"), large);
        } catch (...) {
        }
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(files().size(), 1U);  // the file that was left
    EXPECT_EQ(files()[0].rfind(".darkroom-write-", 0), 0U) << files()[0];
    replaceFile(at("file"), "short");
    EXPECT_EQ(contentOf(at("file")), "short");
    EXPECT_EQ(files(), std::vector<std::string>{"file"});
}

TEST_F(ReplacedFile, PipesAreWrittenDirectly) {
    ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contentOf(at("pipe")); });
    replaceFile(at("pipe"), "through");
    reader.join();
    EXPECT_EQ(received, "through");
    EXPECT_TRUE(fs::is_fifo(at("pipe")));
}

}  // namespace
}  // namespace likeness::testing
