// The command `likeness` as a user meets it: standard output, standard error, exit status and the files left behind.
#include <likeness/likeness.hpp>
#include "support/process.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <fstream>
#include <set>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

const std::string program = LIKENESS_PROGRAM;
const std::vector<std::string> dumps = {"10_in.txt", "A_before.jpg", "mask.jpg", "t_before.jpg"};

Outcome compare(const std::string& first, const std::string& second, const fs::path& folder) {
    return run({program, first, second}, folder);
}

std::string photo(const std::string& name) {
    return std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + "/" + name;
}

std::vector<std::string> filesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void writeText(const fs::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

/// A folder for the run and one for its inputs.
class LikenessProgram : public ::testing::Test {
protected:
    fs::path input(const std::string& name) const { return inputs_.path() / name; }
    const fs::path& inputs() const { return inputs_.path(); }
    const fs::path& folder() const { return folder_.path(); }

    std::string save(const std::string& name, const cv::Mat& image) const {
        EXPECT_TRUE(cv::imwrite(input(name), image));
        return input(name);
    }

    void expectRefused(const std::string& first, const std::string& second, const std::string& named,
                       const std::string& reason) const {
        const Outcome outcome = compare(first, second, folder());
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "likeness: cannot read '" + named + "': " + reason + '\n');
        EXPECT_TRUE(filesIn(folder()).empty());
    }

private:
    ScratchDirectory inputs_;
    ScratchDirectory folder_;
};

TEST_F(LikenessProgram, PrintsOneLineAndLeavesReportAndDumps) {
    const Outcome outcome = compare(photo("cat.jpg"), photo("coffee.jpg"), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const std::vector<std::string> printed = linesOf(outcome.out);
    ASSERT_EQ(printed.size(), 1U);
    EXPECT_EQ(outcome.out.back(), '\n');
    const std::vector<std::string> values = linesOf(printed.front(), ',');
    EXPECT_EQ(values.size(), 5U);
    EXPECT_EQ(linesOf(contentOf(folder() / "For_fit.txt")), values);
    std::vector<std::string> expected = dumps;
    expected.insert(expected.begin() + 1, "For_fit.txt");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(filesIn(folder()), expected);
    for (const std::string& value : values) {
        EXPECT_GT(std::stof(value), 0.0F);
        EXPECT_LT(std::stof(value), 1.0F);
    }
}

TEST_F(LikenessProgram, DumpsAreThoseOfTheSecondPhotograph) {
    compare(photo("cat.jpg"), photo("rocket.jpg"), folder());
    const cv::Mat second = examplePhotograph("rocket.jpg");
    for (const std::string name : {"A_before.jpg", "mask.jpg", "t_before.jpg"}) {
        EXPECT_EQ(cv::imread(folder() / name, cv::IMREAD_UNCHANGED).size(), second.size()) << name;
    }
    EXPECT_EQ(linesOf(contentOf(folder() / "10_in.txt")).size(), second.total());
    ScratchDirectory alone;
    compare(photo("coffee.jpg"), photo("rocket.jpg"), alone.path());
    for (const std::string& name : dumps) {
        EXPECT_EQ(contentOf(folder() / name), contentOf(alone.path() / name)) << name;
    }
}

TEST_F(LikenessProgram, PhotographAgainstItselfIsOne) {
    for (const std::string& name : examplePhotographNames()) {
        const Outcome outcome = compare(photo(name), photo(name), folder());
        EXPECT_EQ(outcome.status, 0);
        for (const std::string& value : linesOf(linesOf(outcome.out).front(), ',')) {
            EXPECT_NEAR(std::stof(value), 1.0F, 1e-4F) << name;  // a float sum of up to 1000 terms
        }
    }
}

TEST_F(LikenessProgram, TwoRunsAppendTenLines) {
    const Outcome first = compare(photo("cat.jpg"), photo("coffee.jpg"), folder());
    const Outcome second = compare(photo("coffee.jpg"), photo("rocket.jpg"), folder());
    std::vector<std::string> expected = linesOf(linesOf(first.out).front(), ',');
    const std::vector<std::string> appended = linesOf(linesOf(second.out).front(), ',');
    expected.insert(expected.end(), appended.begin(), appended.end());
    EXPECT_EQ(linesOf(contentOf(folder() / "For_fit.txt")), expected);
}

TEST_F(LikenessProgram, ReportKeepsWhatItHeld) {
    writeText(folder() / "For_fit.txt", "an earlier line\n");
    compare(photo("cat.jpg"), photo("cat.jpg"), folder());
    EXPECT_EQ(contentOf(folder() / "For_fit.txt"), "an earlier line\n1\n1\n1\n1\n1\n");
}

TEST_F(LikenessProgram, AnyOtherArgumentCountIsSilent) {
    const std::string cat = photo("cat.jpg");
    const std::vector<std::vector<std::string>> commands = {
        {program}, {program, cat}, {program, cat, cat, cat}, {program, "--help"}, {program, "", "", "", ""}};
    for (const auto& command : commands) {
        const Outcome outcome = run(command, folder());
        EXPECT_EQ(outcome.status, 255) << command.size();
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "");
        EXPECT_TRUE(filesIn(folder()).empty());
    }
}

TEST_F(LikenessProgram, RefusesWhatIsNotAnImage) {
    const std::string cat = photo("cat.jpg");
    const std::string missing = input("missing.jpg");
    expectRefused(missing, cat, missing, "No such file or directory");
    expectRefused(cat, missing, missing, "No such file or directory");
    expectRefused(missing, input("also missing.jpg"), missing, "No such file or directory");

    writeText(input("empty.jpg"), "");
    expectRefused(cat, input("empty.jpg"), input("empty.jpg"), "it is empty");

    writeText(input("text.jpg"), "these are words, not pixels\n");
    expectRefused(input("text.jpg"), cat, input("text.jpg"), "its content is of no image format that is known");

    expectRefused(cat, inputs().string(), inputs().string(), "it is a folder");
    ASSERT_EQ(::mkfifo(input("pipe").c_str(), 0600), 0);
    expectRefused(input("pipe"), cat, input("pipe"), "it is not a regular file");
    expectRefused("", cat, "", "No such file or directory");
}

TEST_F(LikenessProgram, RefusesATruncatedHeader) {
    const std::string whole = contentOf(photo("cat.jpg"));
    writeText(input("header.jpg"), whole.substr(0, 100));
    expectRefused(photo("cat.jpg"), input("header.jpg"), input("header.jpg"), "it is cut off at byte 100");

    save("whole.png", examplePhotograph("cat.jpg"));
    writeText(input("header.png"), contentOf(input("whole.png")).substr(0, 20));
    expectRefused(input("header.png"), photo("cat.jpg"), input("header.png"), "it is cut off at byte 20");
}

TEST_F(LikenessProgram, ComparesWhatTheReaderRecoversOfATruncatedJpeg) {
    const std::string whole = contentOf(photo("cat.jpg"));
    writeText(input("half.jpg"), whole.substr(0, whole.size() / 2));
    const Outcome outcome = compare(input("half.jpg"), photo("cat.jpg"), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(linesOf(outcome.out).size(), 1U);
    EXPECT_EQ(outcome.err.rfind("likeness: warning: '" + input("half.jpg").string() + "': ", 0), 0U) << outcome.err;
    EXPECT_EQ(linesOf(outcome.err).size(), 1U);
}

TEST_F(LikenessProgram, GreyIsSpreadToThreeChannels) {
    cv::Mat grey;
    cv::extractChannel(examplePhotograph("cat.jpg"), grey, 1);
    cv::Mat spread;
    cv::merge(std::vector<cv::Mat>(3, grey), spread);
    const Outcome outcome = compare(save("grey.png", grey), save("spread.png", spread), folder());
    EXPECT_EQ(outcome.out, compare(input("spread.png"), input("spread.png"), folder()).out);
}

TEST_F(LikenessProgram, SixteenBitsAreReducedToEight) {
    const cv::Mat eight = examplePhotograph("rocket.jpg");
    cv::Mat sixteen;
    eight.convertTo(sixteen, CV_16U, 256);
    const std::string reference = save("eight.png", eight);
    EXPECT_EQ(compare(save("sixteen.png", sixteen), photo("cat.jpg"), folder()).out,
              compare(reference, photo("cat.jpg"), folder()).out);
}

TEST_F(LikenessProgram, SaysWhatEightBitsTakeFromAFile) {
    const cv::Mat image = randomPhotograph({24, 16}, 3);
    const std::string bytes = save("bytes.png", image);
    cv::Mat words;
    image.convertTo(words, CV_16U, 257);
    const std::string wide = save("wide.png", words);
    EXPECT_EQ(compare(wide, bytes, folder()).err,
              "likeness: warning: '" + wide + "': its 16 bits per channel are reduced to 8\n");
    cv::Mat floats;
    image.convertTo(floats, CV_32F, 1 / 255.0);
    const std::string linear =
        "': its linear values are taken for gamma-encoded bytes as they are, and those of OpenEXR and PFM files from 0 "
        "to 1 for 0 and 1 alone; darkroom compare encodes them\n";
    for (const auto& [name, warning] : {std::pair("a.exr", linear), {"a.pfm", linear}, {"a.hdr", linear}}) {
        const std::string path = save(name, floats);
        const Outcome outcome = compare(bytes, path, folder());
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "likeness: warning: '" + path + warning);
        EXPECT_EQ(outcome.out, compare(bytes, save("seen.png", cv::imread(path, cv::IMREAD_COLOR)), folder()).out);
    }
    EXPECT_EQ(compare(bytes, bytes, folder()).err, "");
}

TEST_F(LikenessProgram, AlphaIsDropped) {
    const cv::Mat opaque = examplePhotograph("coffee.jpg");
    std::vector<cv::Mat> planes;
    cv::split(opaque, planes);
    planes.push_back(cv::Mat(opaque.size(), CV_8U, cv::Scalar(40)));
    cv::Mat transparent;
    cv::merge(planes, transparent);
    const std::string reference = save("opaque.png", opaque);
    const Outcome outcome = compare(save("transparent.png", transparent), photo("cat.jpg"), folder());
    EXPECT_EQ(outcome.out, compare(reference, photo("cat.jpg"), folder()).out);
    EXPECT_EQ(outcome.err, "");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which take memory of their own
TEST_F(LikenessProgram, WithoutMemorySaysSo) {
    const std::string image = save("large.png", cv::Mat(1500, 1500, CV_8UC3, cv::Scalar(10, 100, 200)));
    const std::string none = "likeness: out of memory; photographs of fewer pixels take less\n";
    const std::string noneToRead = "likeness: cannot read '" + image +
                                   "': Cannot allocate memory (a lower limit of pixels refuses large images)\n";
    bool told = false;
    for (int kibibytes = 50000; kibibytes <= 230000; kibibytes += 15000) {
        SCOPED_TRACE(kibibytes);
        const Outcome outcome = run({"/bin/sh", "-c", "ulimit -v " + std::to_string(kibibytes) + "; exec \"$@\"", "sh",
                                     LIKENESS_PROGRAM, image, image},
                                    folder());
        if (outcome.status != 3) {
            continue;  // too little for the loader, or enough
        }
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err == none || outcome.err == noneToRead) << outcome.err;
        told |= outcome.err == none;
    }
    EXPECT_TRUE(told);
}
#endif

TEST_F(LikenessProgram, ExifOrientationIsApplied) {
    const cv::Mat wide = randomPhotograph({48, 16}, 11);
    const std::string plain = save("wide.jpg", wide);
    // Orientation 6: the picture is to be turned by a quarter.
    writeText(input("turned.jpg"), jpegWithOrientation(contentOf(plain), 6));
    const Outcome outcome = compare(plain, input("turned.jpg"), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");  // the same colours in other places
    EXPECT_EQ(cv::imread(folder() / "mask.jpg").size(), cv::Size(16, 48));
}

TEST_F(LikenessProgram, ComparesDifferentSizes) {
    const cv::Mat large(300, 500, CV_8UC3, cv::Scalar(30, 90, 150));
    const cv::Mat dot(1, 1, CV_8UC3, cv::Scalar(30, 90, 150));
    const Outcome outcome = compare(save("large.png", large), save("dot.png", dot), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(linesOf(contentOf(folder() / "10_in.txt")).size(), 1U);
}

TEST_F(LikenessProgram, BlackHasNoAppearanceToCompare) {
    const std::string black = save("black.png", cv::Mat(20, 30, CV_8UC3, cv::Scalar::all(0)));
    const Outcome outcome = compare(black, black, folder());
    EXPECT_EQ(outcome.status, 0);
    // One grey level has its own maximum: lightness 100, no chroma.
    const std::vector<std::string> values = linesOf(linesOf(outcome.out).front(), ',');
    ASSERT_EQ(values.size(), 5U);
    EXPECT_EQ(values[1], "1");
}

TEST_F(LikenessProgram, UnwritableFolderGivesWarningsAndTheValues) {
    // No file can be made in /proc, not even by root.
    const Outcome outcome = compare(photo("cat.jpg"), photo("cat.jpg"), "/proc");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    const std::vector<std::string> warnings = linesOf(outcome.err);
    ASSERT_EQ(warnings.size(), 1 + dumps.size());
    EXPECT_EQ(warnings[0].rfind("likeness: warning: For_fit.txt: cannot be opened for appending: ", 0), 0U);
    for (std::size_t i = 0; i < dumps.size(); ++i) {
        EXPECT_EQ(warnings[1 + i], "likeness: warning: cannot write '" + dumps[i] + "'");
    }
}

TEST_F(LikenessProgram, ReportOnAFullDiskGivesAWarning) {
    fs::create_symlink("/dev/full", folder() / "For_fit.txt");
    const Outcome outcome = compare(photo("cat.jpg"), photo("cat.jpg"), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "likeness: warning: For_fit.txt: cannot be written: No space left on device\n");
}

TEST_F(LikenessProgram, DumpOnAFullDiskGivesAWarning) {
    fs::create_symlink("/dev/full", folder() / "10_in.txt");
    fs::create_symlink("/dev/full", folder() / "mask.jpg");
    const Outcome outcome = compare(photo("cat.jpg"), photo("cat.jpg"), folder());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err, "likeness: warning: cannot write '10_in.txt'\nlikeness: warning: cannot write 'mask.jpg'\n");
}

TEST_F(LikenessProgram, AFileThatMayNotGrowGivesAWarning) {
    const std::string a = save("a.png", randomPhotograph({40, 30}, 1));
    writeText(folder() / "For_fit.txt", std::string(4096, '\n'));
    const Outcome outcome = run({program, a, a}, folder(), [] {
        const ::rlimit limit{4101, 4101};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n')),
              "likeness: warning: For_fit.txt: was cut off: no space left");
    EXPECT_EQ(contentOf(folder() / "For_fit.txt"), std::string(4096, '\n'));
}

/// How often each file of a folder was written to its end while the object lived.
class WrittenFiles {
public:
    explicit WrittenFiles(const fs::path& folder) : descriptor_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        EXPECT_GE(::inotify_add_watch(descriptor_, folder.c_str(), IN_CLOSE_WRITE), 0);
    }
    ~WrittenFiles() { ::close(descriptor_); }
    WrittenFiles(const WrittenFiles&) = delete;
    WrittenFiles& operator=(const WrittenFiles&) = delete;

    std::multiset<std::string> names() const {
        std::multiset<std::string> found;
        alignas(::inotify_event) std::array<char, 65536> events{};
        const ::ssize_t size = ::read(descriptor_, events.data(), events.size());
        for (::ssize_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const ::inotify_event*>(events.data() + at);
            found.insert(event->name);
            at += static_cast<::ssize_t>(sizeof(::inotify_event) + event->len);
        }
        return found;
    }

private:
    int descriptor_;
};

TEST_F(LikenessProgram, DoesNotMakeWhatTheSecondPhotographReplaces) {
    const WrittenFiles written(folder());
    EXPECT_EQ(compare(photo("cat.jpg"), photo("coffee.jpg"), folder()).status, 0);
    EXPECT_EQ(written.names(),
              (std::multiset<std::string>{"10_in.txt", "A_before.jpg", "For_fit.txt", "mask.jpg", "t_before.jpg"}));
}

TEST_F(LikenessProgram, WhatADumpLeadsToGetsThatOfBothPhotographs) {
    const std::string a = save("a.png", randomPhotograph({40, 30}, 1));
    const std::string b = save("b.png", randomPhotograph({20, 30}, 2));
    std::string texts;
    for (const std::string& each : {a, b}) {
        const ScratchDirectory alone;
        compare(each, each, alone.path());
        texts += contentOf(alone.path() / "10_in.txt");
    }
    const fs::path pipe = folder() / "10_in.txt";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int end = ::open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_EQ(compare(a, b, folder()).status, 0);
    std::string passed(texts.size() + 1, '\0');
    passed.resize(static_cast<std::size_t>(std::max<::ssize_t>(0, ::read(end, passed.data(), passed.size()))));
    ::close(end);
    EXPECT_TRUE(passed == texts) << passed.size() << " bytes, not " << texts.size();
}

TEST_F(LikenessProgram, ADumpOfTheFirstPhotographThatMayNotGrowGivesAWarning) {
    const std::string large = save("large.png", randomPhotograph({100, 90}, 1));
    const std::string small = save("small.png", randomPhotograph({10, 9}, 2));
    const ScratchDirectory alone;
    compare(small, small, alone.path());
    const Outcome outcome = run({program, large, small}, folder(), [] {
        const ::rlimit limit{20000, 20000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "likeness: warning: cannot write '10_in.txt'\n");
    for (const std::string& name : dumps) {
        EXPECT_TRUE(contentOf(folder() / name) == contentOf(alone.path() / name)) << name;
    }
}

TEST_F(LikenessProgram, LoadsReadersOfOtherFormatsOnlyForThem) {
    const Outcome loaded = run({"/usr/bin/env", "LD_TRACE_LOADED_OBJECTS=1", program}, folder());
    EXPECT_NE(loaded.out.find("libopencv_core"), std::string::npos) << loaded.out;
    EXPECT_EQ(loaded.out.find("libopencv_imgcodecs"), std::string::npos);
    EXPECT_EQ(loaded.out.find("libopencv_video"), std::string::npos);

    const auto withoutModules = [this](const std::string& file) {
        return run({"/usr/bin/env", "LIKENESS_MODULES=/nowhere", program, file, file}, folder());
    };
    const cv::Mat picture = randomPhotograph({40, 30}, 1);
    for (const char* const name : {"a.jpg", "a.png"}) {
        const Outcome outcome = withoutModules(save(name, picture));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "1,1,1,1,1\n");
    }
    const std::string bmp = save("a.bmp", picture);
    const Outcome outcome = withoutModules(bmp);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "likeness: cannot read '" + bmp +
                               "': the module likeness_imgcodecs.so cannot be loaded "
                               "(/nowhere/likeness_imgcodecs.so: cannot open shared object file: No such file or "
                               "directory); install it, or set LIKENESS_MODULES to its folder\n");
    EXPECT_EQ(compare(bmp, bmp, folder()).out, "1,1,1,1,1\n");
}

TEST_F(LikenessProgram, TheFirstOfTwoPhotographsThatCannotBeReadIsNamed) {
    writeText(input("text.jpg"), "no photograph");
    expectRefused(input("text.jpg"), "missing.jpg", input("text.jpg"),
                  "its content is of no image format that is known");
    expectRefused("missing.jpg", input("text.jpg"), "missing.jpg", "No such file or directory");
    expectRefused(photo("cat.jpg"), input("text.jpg"), input("text.jpg"),
                  "its content is of no image format that is known");
}

TEST_F(LikenessProgram, WithoutThreadsDoesTheWorkItself) {
    ScratchDirectory alone;
    const Outcome expected = compare(photo("cat.jpg"), photo("coffee.jpg"), alone.path());
    const Outcome outcome = run({program, photo("cat.jpg"), photo("coffee.jpg")}, folder(), forbidThreads);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, expected.out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(filesIn(folder()), filesIn(alone.path()));
    for (const std::string& name : dumps) {
        EXPECT_TRUE(contentOf(folder() / name) == contentOf(alone.path() / name)) << name;
    }
}

TEST_F(LikenessProgram, AMessageIsOneLineWhateverANameHolds) {
    const Outcome outcome = compare("a\n\x1b[2J\u00e9.jpg", photo("cat.jpg"), folder());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "likeness: cannot read 'a\\n\\x1b[2J\u00e9.jpg': No such file or directory\n");
}

TEST_F(LikenessProgram, UnwritableStandardOutputIsAFailure) {
    const std::string command = "'" + program + "' '" + photo("cat.jpg") + "' '" + photo("cat.jpg") + "' >/dev/full";
    const Outcome outcome = run({"/bin/sh", "-c", command}, folder());
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "likeness: cannot write to standard output\n");
    EXPECT_EQ(contentOf(folder() / "For_fit.txt"), "1\n1\n1\n1\n1\n");
}

TEST_F(LikenessProgram, FiftyRunsAtOnceShareOneReport) {
    const std::string a = save("a.png", randomPhotograph({40, 30}, 1));
    const std::string b = save("b.png", randomPhotograph({40, 30}, 2) / 2);
    const std::string c = save("c.png", randomPhotograph({40, 30}, 3) / 3);
    const std::vector<std::pair<std::string, std::string>> pairs = {{a, b}, {b, c}, {c, a}};
    std::set<std::string> groups;
    for (const auto& [first, second] : pairs) {
        ScratchDirectory alone;
        compare(first, second, alone.path());
        groups.insert(contentOf(alone.path() / "For_fit.txt"));
    }
    ASSERT_EQ(groups.size(), pairs.size());

    std::vector<::pid_t> processes;
    for (std::size_t i = 0; i < 50; ++i) {
        const auto& [first, second] = pairs[i % pairs.size()];
        processes.push_back(start({program, first, second}, folder()));
    }
    for (const ::pid_t process : processes) {
        EXPECT_EQ(statusOf(process), 0);
    }
    const std::vector<std::string> lines = linesOf(contentOf(folder() / "For_fit.txt"));
    ASSERT_EQ(lines.size(), 250U);
    for (std::size_t i = 0; i < lines.size(); i += 5) {
        std::string group;
        for (std::size_t k = 0; k < 5; ++k) {
            group += lines[i + k] + '\n';
        }
        EXPECT_EQ(groups.count(group), 1U) << "lines " << i << " to " << i + 4 << " belong to no one run";
    }
}

}  // namespace
}  // namespace likeness::testing
