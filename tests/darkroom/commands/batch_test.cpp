// darkroom batch, merge and verify as a user meets them, and what is left of them when things go wrong.
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/version.hpp>
#include "batch/csv.hpp"
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "batch/working_file.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/file_checksum.hpp"
#include "files/number_format.hpp"
#include "support/test_images.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

/// A folder "photos" of small photographs p0.jpg ... and lists of pairs of them.
class DarkroomBatch : public DarkroomProgram {
protected:
    static constexpr int photographs = 12;

    void SetUp() override {
        fs::create_directory(input("photos"));
        for (int k = 0; k < photographs; ++k) {
            const cv::Mat whole = examplePhotograph(examplePhotographNames()[static_cast<std::size_t>(k) % 4]);
            const cv::Mat part = whole(cv::Rect(10 * k, 7 * k, 150 + k, 100 + 2 * k)).clone();
            ASSERT_TRUE(cv::imwrite(photograph(k), part, {cv::IMWRITE_JPEG_QUALITY, 80 + k}));
        }
    }

    std::string photograph(int k) const { return input("photos/p" + std::to_string(k) + ".jpg"); }

    /// A list of `count` pairs with ids and two further columns; every 10th pair has a photograph that is not there.
    std::string saveList(int count, const std::string& name = "pairs.csv") const {
        std::string text = "id,first,second,\"camera, body\",note\n";
        for (int k = 0; k < count; ++k) {
            const std::string second = k % 10 == 9 ? input("photos/none.jpg") : photograph((k / photographs) % 12);
            text += "pair-" + std::to_string(k) + ',' + photograph(k % photographs) + ',' + second + ",\"c, " +
                    std::to_string(k % 3) + "\",\"two\nlines\"\n";
        }
        return saveText(name, text);
    }

    /// Runs a batch to its end and returns the bytes of the result, of a database as CSV.
    std::string resultOf(std::vector<std::string> arguments, const std::string& output, int status) const {
        arguments.insert(arguments.begin(), "batch");
        arguments.insert(arguments.end(), {"-o", output});
        const Outcome outcome = darkroom(arguments);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        return bytesOf(output);
    }

    /// A table of results with changes, and with checksums that agree with them.
    std::string changedTable(const std::string& table,
                             const std::function<void(std::vector<ResultRecord>&)>& change) const {
        const auto reader = openResults(saveText("table.csv", table), ResultFormat::csv);
        std::vector<ResultRecord> records;
        for (ResultRecord record; reader->next(record);) {
            records.push_back(record);
        }
        change(records);
        std::string text = csvHeader(reader->columns());
        for (const ResultRecord& record : records) {
            text += csvLine(record, reader->columns());
        }
        return text;
    }

    std::string bytesOf(const std::string& name) const {
        if (fs::path(name).extension() != ".db") {
            return contentOf(output(name));
        }
        expectDone({"merge", "exported.csv", name, "--overwrite"});
        return contentOf(output("exported.csv"));
    }

    /// Waits until a text output holds some records or the time is over.
    void waitForBytes(const std::string& name, std::uintmax_t bytes) const {
        for (int k = 0; k < 2000; ++k) {
            std::error_code error;
            const std::uintmax_t size = fs::file_size(output(name), error);
            if (!error && size >= bytes) {
                return;
            }
            std::this_thread::sleep_for(milliseconds(5));
        }
        FAIL() << name << " does not grow";
    }

    ::pid_t begin(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {LIKENESS_DARKROOM, "batch"});
        return start(arguments, folder());
    }
};

TEST_F(DarkroomBatch, RecordsTheCoefficientsOfTheLibrary) {
    const std::string list = saveText("l.csv", "first,second\n" + photo("cat.jpg") + ',' + photo("coffee.jpg") + '\n');
    const std::string csv = resultOf({list}, "r.csv", 0);
    const LikenessCoefficients expected =
        comparePhotographs(examplePhotograph("cat.jpg"), examplePhotograph("coffee.jpg"));
    std::string numbers;
    for (const float value :
         {expected.brightness, expected.lightness, expected.chroma, expected.colorfulness, expected.saturation}) {
        numbers += ',' + nineDigits(static_cast<double>(value));
    }
    const std::vector<std::string> lines = linesOf(csv);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].rfind("2,1,1," + photo("cat.jpg") + '|' + photo("coffee.jpg") + ',' + photo("cat.jpg") + ',' +
                                 photo("coffee.jpg") + ",451,300,600,400" + numbers +
                                 ",0,0,0,0,0,0,0,0,0,0,compared,,," LIKENESS_VERSION ",",
                             0),
              0U)
        << lines[1];
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"r.csv"});
}

TEST_F(DarkroomBatch, DefaultOutputIsADatabase) {
    const std::string list = saveList(5);
    expectDone({"batch", list, "--quiet"});
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"results.db"});
    const Outcome outcome = expectDone({"verify", list, "results.db"});
    EXPECT_EQ(outcome.out, "pairs: 5\ncompared: 5\nfailed: 0\nmissing: 0\ndoubled: 0\nforeign: 0\naltered: 0\n");
}

TEST_F(DarkroomBatch, RemarksBelongToTheirPhotographWhenBothAreReadAtOnce) {
    const std::string whole = contentOf(photograph(0));
    saveText("photos/short.jpg", whole.substr(0, whole.size() / 2));
    std::string text = "first,second\n";
    for (int k = 0; k < 10; ++k) {
        const std::string cut = input("photos/short.jpg");
        text += k % 2 == 0 ? cut + ',' + photograph(k) + '\n' : photograph(k) + ',' + cut + '\n';
    }
    const std::string list = saveText("l.csv", text);
    const auto result = [&](const char* threads, const std::string& jobs, const std::string& name) {
        const Outcome outcome = run({LIKENESS_DARKROOM, "batch", list, "--jobs", jobs, "--cache", "0", "-o", name},
                                    folder(), [threads] { ::setenv("LIKENESS_THREADS", threads, 1); });
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return contentOf(output(name));
    };
    const std::string expected = result("1", "1", "one.csv");
    EXPECT_EQ(result("2", "1", "two.csv"), expected);
    EXPECT_EQ(result("8", "3", "many.csv"), expected);
    EXPECT_NE(expected.find("'" + input("photos/short.jpg") + "': Premature end of JPEG file"), std::string::npos);
}

TEST_F(DarkroomBatch, JobsCacheAndShardsMakeNoDifference) {
    const std::string list = saveList(40);
    for (const std::string extension : {"csv", "jsonl", "db"}) {
        const std::string expected = resultOf({list, "--jobs", "1", "--cache", "0"}, "one." + extension, 1);
        EXPECT_EQ(resultOf({list, "--jobs", "2"}, "two." + extension, 1), expected);
        EXPECT_EQ(resultOf({list, "--jobs", "8", "--cache", "3"}, "eight." + extension, 1), expected);
        std::vector<std::string> merge = {"merge", "merged." + extension};
        const int shards = extension == "csv" ? 16 : 3;
        for (int shard = 1; shard <= shards; ++shard) {
            const std::string name = "shard" + std::to_string(shard) + '.' + extension;
            const Outcome outcome =
                darkroom({"batch", list, "--shard", std::to_string(shard) + '/' + std::to_string(shards), "-o", name,
                          "--quiet"});
            EXPECT_LE(outcome.status, 1) << outcome.err;
            merge.push_back(name);
        }
        std::shuffle(merge.begin() + 2, merge.end(), std::mt19937(7));
        expectDone(merge);
        EXPECT_EQ(bytesOf("merged." + extension), expected);
    }
    // The formats say the same.
    expectDone({"merge", "of_jsonl.csv", "one.jsonl"});
    EXPECT_EQ(contentOf(output("of_jsonl.csv")), contentOf(output("one.csv")));
    EXPECT_EQ(bytesOf("one.db"), contentOf(output("one.csv")));
}

TEST_F(DarkroomBatch, AFailedPairIsARecordAndNoGap) {
    saveText("photos/text.jpg", "no image");
    const std::string truncated = contentOf(photograph(0)).substr(0, 3000);
    saveText("photos/cut.jpg", truncated);
    const std::string list = saveText("l.jsonl",
                                      "{\"id\":\"a\",\"first\":\"p1.jpg\",\"second\":\"text.jpg\",\"iso\":100}\n"
                                      "{\"id\":\"b\",\"first\":\"gone.jpg\",\"second\":\"text.jpg\"}\n"
                                      "{\"id\":\"c\",\"first\":\"cut.jpg\",\"second\":\"cut.jpg\"}\n"
                                      "{\"id\":\"d\",\"first\":\"p1.jpg\",\"second\":\"p1.jpg\"}\n");
    const Outcome outcome = darkroom({"batch", list, "--root", input("photos"), "-o", "r.jsonl"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("darkroom batch: 4 pairs, 2 failed; 4 in this run in "), std::string::npos);
    EXPECT_NE(outcome.err.find("the decoders had remarks on 1 pair, "), std::string::npos);
    const std::vector<std::string> lines = linesOf(contentOf(output("r.jsonl")));
    ASSERT_EQ(lines.size(), 4U);
    const auto holds = [&](std::size_t line, const std::string& text) {
        EXPECT_NE(lines[line].find(text), std::string::npos) << lines[line];
    };
    holds(0,
          "\"status\":\"failed\",\"error\":\"cannot read 'text.jpg': its content is of no image format that is "
          "known\",\"remarks\":null");
    holds(0, "\"iso\":100}");
    holds(0, "\"first_width\":151,\"first_height\":102,\"second_width\":null");
    holds(1,
          "\"error\":\"cannot read 'gone.jpg': No such file or directory; cannot read 'text.jpg': its content is of no "
          "image format that is known\"");
    holds(2, "\"status\":\"compared\",\"error\":null,\"remarks\":\"'cut.jpg': Premature end of JPEG file\"");
    holds(3, "\"brightness\":1.0");
    const Outcome verified = darkroom({"verify", list, "r.jsonl"});
    EXPECT_EQ(verified.status, 1);
    EXPECT_NE(verified.out.find("failed: 2\n"), std::string::npos);
    EXPECT_NE(verified.out.find("failed: a: cannot read 'text.jpg': its content is of no image format that is known\n"),
              std::string::npos);

    // Once the file is there, only the failed pairs are done again.
    ASSERT_TRUE(cv::imwrite(input("photos/text.jpg"), examplePhotograph("cat.jpg")));
    ASSERT_TRUE(cv::imwrite(input("photos/gone.jpg"), examplePhotograph("cat.jpg")));
    const Outcome again =
        darkroom({"batch", list, "--root", input("photos"), "-o", "r.jsonl", "--resume", "--retry-failed"});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(contentOf(output("r.jsonl")), resultOf({list, "--root", input("photos")}, "undisturbed.jsonl", 0));
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"r.jsonl", "undisturbed.jsonl"}));
}

TEST_F(DarkroomBatch, ComparesFloatsAsCompareDoes) {
    const cv::Mat image = exampleImage("coffee.jpg")(cv::Rect(100, 100, 180, 120)).clone();
    save("photos/a.exr", image);
    save("photos/a.hdr", image);
    const std::string list = saveText("l.csv", "first,second\na.exr,p1.jpg\na.exr,a.exr\np2.jpg,a.hdr\n");
    const std::string expected = resultOf({list, "--root", input("photos"), "--jobs", "1", "--cache", "0"}, "1.csv", 0);
    EXPECT_EQ(resultOf({list, "--root", input("photos"), "--jobs", "4"}, "4.csv", 0), expected);
    const std::vector<std::string> lines = linesOf(expected);
    ASSERT_EQ(lines.size(), 4U);
    for (const auto& [line, first, second] :
         {std::tuple(1U, "photos/a.exr", "photos/p1.jpg"), std::tuple(2U, "photos/a.exr", "photos/a.exr"),
          std::tuple(3U, "photos/p2.jpg", "photos/a.hdr")}) {
        // The coefficients are the last five fields that compare gives.
        const std::string compared = linesOf(darkroom({"compare", input(first), input(second), "--csv"}).out)[1];
        std::size_t from = compared.size();
        for (int field = 0; field < 5; ++field) {
            from = compared.rfind(',', from - 1);
        }
        EXPECT_NE(lines[line].find(compared.substr(from) + ','), std::string::npos) << lines[line] << '\n' << compared;
    }
}

TEST_F(DarkroomBatch, WhatIsNoPhotographIsAFailureOfItsPair) {
    ASSERT_EQ(::mkfifo(input("photos/pipe").c_str(), 0600), 0);
    save("photos/none.pfm", cv::Mat(4, 5, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN())));
    std::ofstream(input("photos/raw.nef"), std::ios::binary) << "FUJIFILMCCD-RAW 0201";
    const std::string list =
        saveText("l.csv", "first,second\np1.jpg,pipe\np1.jpg,none.pfm\np1.jpg,raw.nef\np1.jpg,p2.jpg\n");
    resultOf({list, "--root", input("photos"), "--max-pixels", "16000"}, "r.jsonl", 1);
    const std::vector<std::string> lines = linesOf(contentOf(output("r.jsonl")));
    ASSERT_EQ(lines.size(), 4U);
    const std::vector<std::string> errors = {
        "cannot read 'pipe': it is not a regular file",
        "cannot read 'none.pfm' as a photograph: all its pixels hold values that are no numbers, infinite or negative",
        "cannot read 'raw.nef': its content is cut off or damaged",
        "cannot read 'p2.jpg': it is 152 x 104 pixels, and the limit (--max-pixels) is 15500 in all"};
    EXPECT_NE(lines[0].find("\"error\":\"" + errors[0]), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("\"error\":\"" + errors[1]), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("\"error\":\"" + errors[2]), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find("\"status\":\"compared\""), std::string::npos) << lines[3];
    resultOf({list, "--root", input("photos"), "--max-pixels", "15500"}, "s.jsonl", 1);
    EXPECT_NE(contentOf(output("s.jsonl")).find(errors[3]), std::string::npos);
}

TEST_F(DarkroomBatch, TellsOfBackgroundsThatDifferWithTheSizes) {
    save("photos/large.png", cv::Mat(1080, 1920, CV_8UC3, cv::Scalar(90, 120, 150)));
    const std::string list = saveText("l.csv", "first,second\np1.jpg,large.png\np1.jpg,p2.jpg\n");
    resultOf({list, "--root", input("photos")}, "r.jsonl", 0);
    const std::vector<std::string> lines = linesOf(contentOf(output("r.jsonl")));
    EXPECT_NE(lines[0].find("\"remarks\":\"the backgrounds that the model assumes differ with the sizes, 20 and "
                            "19.4589\""),
              std::string::npos)
        << lines[0];
    EXPECT_NE(lines[1].find("\"remarks\":null"), std::string::npos) << lines[1];
}

TEST_F(DarkroomBatch, RemarksTellOfATransparentPhotograph) {
    cv::Mat transparent(20, 30, CV_8UC4, cv::Scalar(10, 100, 200, 128));
    cv::Mat opaque(20, 30, CV_8UC4, cv::Scalar(10, 100, 200, 255));
    const std::string list =
        saveText("l.csv", "first,second\n" + save("o.png", opaque) + ',' + save("t.png", transparent) + '\n');
    const std::string record = resultOf({list}, "r.jsonl", 0);
    EXPECT_NE(record.find("\"remarks\":\"'" + input("t.png") +
                          "': its alpha channel is left out: transparent pixels count with the colours that the file "
                          "has there\""),
              std::string::npos)
        << record;
}

// Sanitizers take memory of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(DarkroomBatch, WhatTheMachineLacksEndsTheBatchAndIsNoRecord) {
    // A bitmap of 16000 x 16000 pixels: 732 MiB as an image, and a hole in the file.
    const auto little = [](std::uint32_t value) {
        return std::string{static_cast<char>(value), static_cast<char>(value >> 8U), static_cast<char>(value >> 16U),
                           static_cast<char>(value >> 24U)};
    };
    const std::string large = input("photos/large.bmp");
    std::ofstream(large, std::ios::binary)
        << "BM" << little(54 + 768000000) << little(0) << little(54) << little(40) << little(16000) << little(16000)
        << std::string("\1\0\x18\0", 4) << std::string(24, '\0');
    fs::resize_file(large, 54 + 768000000);
    const std::string list = saveText("l.csv", "first,second\np1.jpg,p2.jpg\np1.jpg,large.bmp\np3.jpg,p2.jpg\n");
    const Outcome outcome = run({"/bin/sh", "-c", "ulimit -v 700000; exec \"$@\"", "sh", LIKENESS_DARKROOM, "batch",
                                 list, "--root", input("photos"), "-o", "r.csv", "--jobs", "1"},
                                folder());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "darkroom batch: cannot read '" + large +
                               "': Cannot allocate memory (a lower limit of pixels refuses large images); 1 of 3 pairs "
                               "recorded, --resume goes on from there\n");
    EXPECT_EQ(linesOf(contentOf(output("r.csv"))).size(), 2U);
    resultOf({list, "--root", input("photos"), "--resume", "--max-pixels", "1000000"}, "r.csv", 1);
    EXPECT_EQ(linesOf(contentOf(output("r.csv"))).size(), 4U);
}

TEST_F(DarkroomBatch, FewDescriptorsMakeNoFailures) {
    const std::string list = saveList(12);
    const std::string expected = resultOf({list}, "expected.csv", 1);
    for (const int most : {4, 5, 6, 8}) {
        SCOPED_TRACE(most);
        const Outcome outcome = run({"/bin/sh", "-c", "ulimit -n " + std::to_string(most) + "; exec \"$@\"", "sh",
                                     LIKENESS_DARKROOM, "batch", list, "-o", "r.csv", "--jobs", "8"},
                                    folder());
        if (outcome.status == 2) {
            EXPECT_NE(outcome.err.find("Too many open files"), std::string::npos) << outcome.err;
            EXPECT_EQ(linesOf(outcome.err).size(), 1U) << outcome.err;
        }
        EXPECT_EQ(resultOf({list, "--resume"}, "r.csv", 1), expected);
        fs::remove(output("r.csv"));
    }
}
#endif

TEST_F(DarkroomBatch, PairsFoldersByRelativePath) {
    for (const char* const name : {"before/x.jpg", "before/sub/y.PNG", "after/x.png", "after/sub/y.jpg"}) {
        fs::create_directories(fs::path(output(name)).parent_path());
        ASSERT_TRUE(cv::imwrite(output(name), examplePhotograph("cat.jpg")));
    }
    saveText("ignored", "");
    std::ofstream(output("before/notes.txt")) << "not an image";
    std::ofstream(output("after/sub/y.XCF")) << "none that is read";
    std::ofstream(output("after/README")) << "nor this";
    fs::create_directory_symlink(output("before"), output("after/linked"));
    fs::create_symlink("nowhere.jpg", output("before/broken.jpg"));
    const std::string csv = resultOf({"--folders", "before", "after"}, "r.csv", 0);
    const std::string leftOut =
        "darkroom batch: left out: 'before/broken.jpg' is a link that leads nowhere\n"
        "darkroom batch: left out: 'before/notes.txt' has the extension '.txt', which is none of an image that is "
        "read\n"
        "darkroom batch: left out: 'after/README' has no extension that tells of an image\n"
        "darkroom batch: left out: 'after/linked' is a link to a folder, and such links are not followed\n"
        "darkroom batch: left out: 'after/sub/y.XCF' has the extension '.XCF', which is none of an image that is "
        "read\n"
        "darkroom batch: 5 files of the folders left out, 2 pairs found\n";
    EXPECT_EQ(expectDone({"batch", "--folders", "before", "after", "--print-list"}).err, leftOut);
    EXPECT_EQ(expectDone({"batch", "--folders", "before", "after", "--print-list", "--quiet"}).err, "");
    for (int k = 0; k < 18; ++k) {
        std::ofstream(output("after/z" + std::to_string(k) + ".txt")) << "many";
    }
    const std::vector<std::string> said =
        linesOf(expectDone({"batch", "--folders", "before", "after", "--print-list"}).err);
    ASSERT_EQ(said.size(), 22U);
    EXPECT_EQ(said[20], "darkroom batch: left out: ... and 3 more");
    EXPECT_EQ(said[21], "darkroom batch: 23 files of the folders left out, 2 pairs found");
    for (int k = 0; k < 18; ++k) {
        fs::remove(output("after/z" + std::to_string(k) + ".txt"));
    }
    const std::vector<std::string> lines = linesOf(csv);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].rfind("2,1,2,sub/y,before/sub/y.PNG,after/sub/y.jpg,", 0), 0U) << lines[1];
    EXPECT_EQ(lines[2].rfind("2,2,2,x,before/x.jpg,after/x.png,", 0), 0U) << lines[2];
    EXPECT_EQ(expectDone({"batch", "--folders", "before/", "after", "--print-list"}).out,
              "id,first,second\nsub/y,before/sub/y.PNG,after/sub/y.jpg\nx,before/x.jpg,after/x.png\n");

    fs::copy_file(output("before/x.jpg"), output("before/alone.jpg"));
    const Outcome refused = darkroom({"batch", "--folders", "before", "after", "-o", "s.csv", "--quiet"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err,
              "darkroom batch: warning: 'before/alone.jpg' has no partner\n"
              "darkroom batch: --folders: 1 file has no partner; --allow-unpaired compares the others\n");
    EXPECT_FALSE(fs::exists(output("s.csv")));
    EXPECT_EQ(resultOf({"--folders", "before", "after", "--allow-unpaired"}, "t.csv", 0), csv);
    expectRefused({"batch", "--folders", "before", "nowhere"}, "--folders: 'nowhere' does not exist");
    fs::copy_file(output("before/x.jpg"), output("before/x.png"));
    expectRefused({"batch", "--folders", "before", "after", "--quiet"},
                  "--folders: 'before/x.jpg' and 'before/x.png' differ in the extension only");
}

TEST_F(DarkroomBatch, AnIdForgesNoLineOfAVerification) {
    const std::string list =
        saveText("l.csv", "id,first,second\n\"a\nmissing: 0\n\x1b[2J\"," + photograph(0) + ',' + input("none.jpg") +
                              "\n\u65e5\u672c," + photograph(0) + ',' + input("none.jpg") + '\n');
    resultOf({list}, "r.jsonl", 1);
    const std::vector<std::string> lines = linesOf(darkroom({"verify", list, "r.jsonl"}).out);
    ASSERT_EQ(lines.size(), 9U);
    EXPECT_EQ(lines[7].rfind("failed: a\\nmissing: 0\\n\\x1b[2J: ", 0), 0U) << lines[7];
    EXPECT_EQ(lines[8].rfind("failed: \u65e5\u672c: ", 0), 0U) << lines[8];
}

TEST_F(DarkroomBatch, GoesOnWhenTheListHasGrown) {
    const std::string expected = resultOf({saveList(40)}, "whole.csv", 1);
    const std::vector<std::string> lines = linesOf(contentOf(saveList(40, "grown.csv")));
    std::string fewer;
    for (std::size_t k = 0; k < lines.size(); ++k) {
        if (k / 2 % 3 != 1 || k == 0) {
            fewer += lines[k] + '\n';
        }
    }
    // A record of the list takes two lines, the header one.
    std::string some = lines[0] + '\n';
    for (std::size_t k = 1; k + 1 < lines.size(); k += 2) {
        some += k % 3 == 0 ? "" : lines[k] + '\n' + lines[k + 1] + '\n';
    }
    for (const std::string extension : {"csv", "jsonl", "db"}) {
        const std::string name = "grown." + extension;
        EXPECT_NE(resultOf({saveText("some.csv", some)}, name, 1), expected);
        const std::string grown = resultOf({input("grown.csv"), "--resume"}, name, 1);
        EXPECT_EQ(grown, extension == "jsonl" ? resultOf({input("grown.csv")}, "whole.jsonl", 1) : expected);
        EXPECT_FALSE(fs::exists(output(name + ".previous")));
    }
}

TEST_F(DarkroomBatch, RefusesBeforeAnyWork) {
    const std::string list = saveList(3);
    expectRefused({"batch"}, "LIST or --folders is required");
    expectRefused({"batch", list, "--folders", "a", "b"}, "LIST and --folders exclude each other");
    expectRefused({"batch", "none.csv"}, "cannot read 'none.csv': No such file or directory");
    expectRefused({"batch", list, "-o", "r.txt"},
                  "--output: 'r.txt' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv");
    expectRefused({"batch", list, "-o", "none/r.csv"},
                  "--output: 'none/r.csv' cannot be written: the folder 'none' does not exist");
    expectRefused({"batch", list, "--jobs", "0"}, "--jobs: '0' is not a whole number from 1 to 1024");
    expectRefused({"batch", list, "--shard", "3/2"},
                  "--shard: '3/2' is not I/N with whole numbers, I from 1 to N, N up to 1000000");
    expectRefused({"batch", list, "--retry-failed"}, "--retry-failed: there is no --resume");
    expectRefused({"batch", list, "--timing"}, "--timing: a database has the times in its table 'timing'");
    expectRefused({"batch", list, "--allow-unpaired"}, "--allow-unpaired: there are no --folders");
    expectRefused({"batch", list, "--root", "none"}, "--root: 'none' does not exist");
    expectRefused({"batch", list, "--list-format", "xml"}, "--list-format: 'xml' is not csv, tsv or jsonl");
    const std::string doubled = saveText("d.csv", "first,second\na,b\na,b\n");
    expectRefused({"batch", doubled, "-o", "r.csv"}, "'" + doubled + "', line 3: this pair has the id of line 2");
    const std::string empty = saveText("e.csv", "");
    expectRefused({"batch", empty, "-o", "r.csv"}, "'" + empty + "': there are no pairs in the list");
    std::ofstream(output("r.csv")) << "mine";
    expectRefused({"batch", list, "-o", "r.csv"}, "--output: 'r.csv' exists; --resume goes on with it");
    expectRefused({"batch", list, "-o", "r.csv", "--resume"}, "'r.csv' is not a results file");
    fs::create_symlink("/dev/full", output("full.csv"));
    expectRefused({"batch", list, "-o", "full.csv", "--resume"}, "--output: 'full.csv' is not a regular file");
    EXPECT_EQ(darkroom({"batch", list, "-o", "/proc/r.csv"}).status, 2);
}

TEST_F(DarkroomBatch, RefusesToResumeOtherResults) {
    const std::string list = saveList(6);
    const std::string expected = resultOf({list}, "r.csv", 0);
    const auto refused = [&](const std::string& from, const std::string& to, const std::string& message) {
        std::string text = expected;
        text.replace(text.find(from), from.size(), to);
        std::ofstream(output("r.csv"), std::ios::binary) << text;
        expectRefused({"batch", list, "-o", "r.csv", "--resume"}, message);
    };
    const auto refusedOf = [&](const std::function<void(ResultRecord&)>& change, const std::string& message) {
        std::ofstream(output("r.csv"), std::ios::binary)
            << changedTable(expected, [&](std::vector<ResultRecord>& records) { change(records[1]); });
        expectRefused({"batch", list, "-o", "r.csv", "--resume"}, message);
    };
    refusedOf([](ResultRecord& record) { record.version = "0.0.1"; },
              "'r.csv' holds results of version 0.0.1, and this is version " LIKENESS_VERSION);
    refusedOf([](ResultRecord& record) { record.id = "other"; },
              "'r.csv' holds the pair 'other', which is not in the list or not in this shard of it");
    refusedOf([](ResultRecord& record) { record.first = "x.jpg"; },
              "'r.csv' holds the pair 'pair-1' with other photographs than the list");
    refusedOf([](ResultRecord& record) { record.id = "pair-2"; },
              "'r.csv' holds the pair 'pair-2' with other photographs than the list");
    refused("compared", "compered", "'r.csv', line 2: not a complete result record of schema 2");
    refused("pair-3", "pair-8", "'r.csv', line 8: its checksum does not agree: it has changed since it was written");
    std::ofstream(output("r.csv"), std::ios::binary) << expected + expected.substr(expected.rfind("2,6,6,"));
    expectRefused({"batch", list, "-o", "r.csv", "--resume"}, "'r.csv' holds the pair 'pair-5' twice");
}

TEST_F(DarkroomBatch, RefusesToTakeDamageForACutOffRecord) {
    std::string text = "id,first,second\n";
    for (const char* const id : {"a", "b", "c", "d", "e"}) {
        text += std::string(id) + ',' + photograph(0) + ',' + photograph(1) + '\n';
    }
    const std::string list = saveText("plain.csv", text);
    std::string csv = resultOf({list}, "r.csv", 0);
    // From here on everything is in quotes that do not close.
    std::ofstream(output("r.csv"), std::ios::binary) << csv.replace(csv.find("2,2,5,b"), 6, "2,2,5,\"");
    expectRefused({"batch", list, "-o", "r.csv", "--resume"},
                  "'r.csv', line 3: not a complete result record of schema 2");
}

TEST_F(DarkroomBatch, ResumeDropsWhatAPowerFailureLeaves) {
    const std::string list = saveList(5);
    for (const std::string name : {"r.csv", "r.jsonl"}) {
        const std::string whole = resultOf({list}, name, 0);
        const std::size_t third = whole.find(name == "r.csv" ? "\n1,3,5," : "\"position\":3,");
        const std::size_t begin = name == "r.csv" ? third + 1 : whole.rfind('\n', third) + 1;
        std::ofstream(output(name), std::ios::binary) << whole.substr(0, begin + 40) + std::string(4096, '\0');
        const Outcome outcome = darkroom({"batch", list, "-o", name, "--resume"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("darkroom batch: '" + name +
                                        "': the last 4136 bytes are no whole record; they are dropped and made again\n",
                                    0),
                  0U)
            << outcome.err;
        EXPECT_EQ(contentOf(output(name)), whole);
    }
}

TEST_F(DarkroomBatch, NestingOfJsonIsBounded) {
    const std::string list = saveList(2);
    const std::string deep = std::string(200'000, '[') + std::string(200'000, ']') + "}\n";
    std::string text = resultOf({list}, "r.jsonl", 0);
    text.replace(text.size() - 2, 2, ",\"x\":" + deep);
    std::ofstream(output("r.jsonl"), std::ios::binary) << text;
    const std::string what = ", line 2: arrays and objects are nested more than 64 deep";
    expectRefused({"batch", list, "-o", "r.jsonl", "--resume"}, "'r.jsonl'" + what);
    expectRefused({"verify", list, "r.jsonl"}, "'r.jsonl'" + what);
    expectRefused({"merge", "m.csv", "r.jsonl"}, "'r.jsonl'" + what);
    expectRefused({"report", "r.jsonl", "-o", "r.html"}, "'r.jsonl'" + what);
    const std::string pairs = saveText("deep.jsonl", "{\"first\":\"a\",\"second\":\"b\"}\n{\"x\":" + deep);
    expectRefused({"batch", pairs, "-o", "s.csv"}, "'" + pairs + "'" + what);
}

TEST_F(DarkroomBatch, LeavesFilesOfOthersAndNothingOfItsOwn) {
    const std::string list = saveList(4);
    const std::string others[] = {"r.csv.lock", "r.csv.merging", "r.csv.previous.new", "r.csv.previous.new-wal"};
    for (const std::string& other : others) {
        std::ofstream(output(other)) << "mine";
    }
    resultOf({list}, "r.csv", 0);
    // What a kill in the middle of taking up the results of a changed list leaves.
    for (const std::string ending : {"", "-wal", "-shm"}) {
        std::ofstream(likeness::workingFile(output("r.csv"), "previous") + ending) << "half";
    }
    resultOf({saveList(6), "--resume"}, "r.csv", 0);
    for (const std::string& other : others) {
        EXPECT_EQ(contentOf(output(other)), "mine") << other;
    }
    EXPECT_EQ(filesLeft().size(), 5U);

    std::ofstream(output("t.csv.timing.csv")) << "mine";
    expectRefused({"batch", list, "-o", "t.csv", "--timing"}, "--timing: 't.csv.timing.csv' exists; move it away");
    expectRefused({"batch", list, "-o", "t.csv", "--timing", "--resume"},
                  "'t.csv.timing.csv' is no file of times, and it would be overwritten; move it away");
    EXPECT_EQ(contentOf(output("t.csv.timing.csv")), "mine");
    for (const char* const text : {"mine", ""}) {
        std::ofstream(output("u.csv.previous")) << text;
        EXPECT_EQ(darkroom({"batch", list, "-o", "u.csv", "--resume"}).status, 2);
        EXPECT_EQ(contentOf(output("u.csv.previous")), text);
        EXPECT_FALSE(fs::exists(output("u.csv")));
    }
}

TEST_F(DarkroomBatch, AChangedListKeepsTheFileAndItsNames) {
    for (const std::string extension : {"csv", "db"}) {
        const std::string name = "r." + extension;
        resultOf({saveList(8)}, name, 0);
        fs::create_symlink(name, output("symbolic." + extension));
        fs::create_hard_link(output(name), output("hard." + extension));
        std::string text = contentOf(saveList(8));
        text.insert(text.find('\n') + 1, "new," + photograph(0) + ',' + photograph(1) + ",c,n\n");
        const std::string grown = saveText("grown.csv", text);
        const std::string whole = resultOf({grown}, "whole." + extension, 0);
        EXPECT_EQ(resultOf({grown, "--resume"}, "symbolic." + extension, 0), whole);
        EXPECT_TRUE(fs::is_symlink(output("symbolic." + extension)));
        EXPECT_TRUE(fs::equivalent(output(name), output("hard." + extension)));
        EXPECT_EQ(bytesOf("hard." + extension), whole);
    }
}

TEST_F(DarkroomBatch, MergeRefuses) {
    const std::string list = saveList(12);
    const std::string whole = resultOf({list}, "whole.csv", 1);
    resultOf({list, "--shard", "1/2"}, "1.csv", darkroom({"batch", list, "--shard", "1/2", "-o", "s.jsonl"}).status);
    resultOf({list, "--shard", "2/2"}, "2.csv", darkroom({"batch", list, "--shard", "2/2", "-o", "t.jsonl"}).status);
    expectDone({"merge", "m.csv", "2.csv", "s.jsonl"});
    const auto withMessage = [&](const std::vector<std::string>& arguments, const std::string& begin) {
        const Outcome outcome = darkroom(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err.rfind("darkroom merge: " + begin, 0), 0U) << outcome.err;
        EXPECT_FALSE(fs::exists(output("x.csv")));
    };
    withMessage({"merge", "x.csv", "1.csv"}, "position");
    withMessage({"merge", "x.csv", "1.csv", "2.csv", "1.csv"}, "position ");
    withMessage({"merge", "x.csv", "whole.csv", "1.csv"}, "position ");
    expectRefused({"merge", "m.csv", "1.csv", "2.csv"}, "OUT: 'm.csv' exists; --overwrite replaces it");
    expectRefused({"merge", "1.csv", "1.csv", "2.csv", "--overwrite"},
                  "OUT: '1.csv' would replace the input '1.csv'; choose another name");
    expectRefused({"merge", "x.csv", "none.csv"}, "cannot read 'none.csv': No such file or directory");
    std::string text = contentOf(output("2.csv"));
    std::ofstream(output("2.csv"), std::ios::binary) << text.substr(0, text.size() - 5);
    expectRefused({"merge", "x.csv", "1.csv", "2.csv"},
                  "'2.csv': the last record is cut off; darkroom batch --resume repairs it");
    std::ofstream(output("2.csv"), std::ios::binary)
        << changedTable(text, [](std::vector<ResultRecord>& records) { records[0].version = "9.9.9"; });
    withMessage({"merge", "x.csv", "1.csv", "2.csv"}, "'");
    EXPECT_NE(darkroom({"merge", "x.csv", "1.csv", "2.csv"}).err.find("differ in the version"), std::string::npos);
}

TEST_F(DarkroomBatch, VerifyTellsWhatIsWrong) {
    const std::string list = saveList(6);
    const std::string csv = resultOf({list}, "r.csv", 0);
    const std::string text = changedTable(csv, [](std::vector<ResultRecord>& records) {
        const ResultRecord third = records[2];
        records.erase(records.begin() + 1);
        records.push_back(third);
        for (ResultRecord& record : records) {
            record.id = record.id == "pair-4" ? "other!" : record.id;
        }
        records[1].carried[0].text = "c, 9";
    });
    std::ofstream(output("r.csv"), std::ios::binary) << text;
    const Outcome outcome = darkroom({"verify", list, "r.csv"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out,
              "pairs: 6\ncompared: 4\nfailed: 0\nmissing: 2\ndoubled: 1\nforeign: 1\naltered: 1\n"
              "altered: pair-2: camera, body is 'c, 9', expected 'c, 2'\n"
              "foreign: other!\ndoubled: pair-2\nmissing: pair-1\nmissing: pair-4\n");
    expectRefused({"verify", list, "none.db"}, "cannot read 'none.db': No such file or directory");
    expectRefused({"verify", list, list}, "'" + list + "' is not a results file");
}

TEST_F(DarkroomBatch, KilledAnywhereAndResumedGivesTheSameBytes) {
    const char* const asked = std::getenv("LIKENESS_BATCH_KILLS");
    const int kills = asked == nullptr ? 4 : std::atoi(asked);
    const std::string list = saveList(250);
    std::mt19937 random(11);
    for (const std::string extension : {"csv", "jsonl", "db"}) {
        const std::string expected = resultOf({list}, "undisturbed." + extension, 1);
        const std::string name = "killed." + extension;
        int killed = 0;
        for (int attempt = 0; killed < kills && attempt < 20 * kills; ++attempt) {
            const ::pid_t process = begin({list, "-o", name, "--resume", "--jobs", "2", "--cache", "0", "--quiet"});
            std::this_thread::sleep_for(milliseconds(random() % 150));
            ::kill(process, SIGKILL);
            const int status = statusOf(process);
            killed += status == 1000 + SIGKILL ? 1 : 0;
            if (status == 1) {  // it was faster: begin anew
                EXPECT_EQ(bytesOf(name), expected);
                fs::remove(output(name));
            }
            // What is recorded can be read at any time.
            if (fs::exists(output(name))) {
                const Outcome verified = darkroom({"verify", list, name});
                EXPECT_LE(verified.status, 1) << verified.err;
                EXPECT_NE(verified.out.find("doubled: 0\nforeign: 0\naltered: 0\n"), std::string::npos);
            }
        }
        EXPECT_EQ(killed, kills);
        EXPECT_EQ(resultOf({list, "--resume"}, name, 1), expected);
        const std::vector<std::string> left = filesLeft();
        EXPECT_TRUE(std::none_of(left.begin(), left.end(), [](const std::string& file) { return file[0] == '.'; }));
    }
}

TEST_F(DarkroomBatch, SignalsFinishThePairsAtHand) {
    const std::string list = saveList(200);
    const std::string expected = resultOf({list}, "whole.csv", 1);
    for (const auto& [signal, expectedStatus] : {std::pair(SIGTERM, 143), std::pair(SIGINT, 130)}) {
        const std::string name = "stopped" + std::to_string(signal) + ".csv";
        const ::pid_t process = begin({list, "-o", name, "--jobs", "2", "--cache", "0"});
        waitForBytes(name, 3000);
        ::kill(process, signal);
        EXPECT_EQ(statusOf(process), expectedStatus);
        const std::string text = contentOf(output(name));
        EXPECT_EQ(text.back(), '\n');
        const Outcome verified = darkroom({"verify", list, name});
        EXPECT_EQ(verified.status, 1);
        EXPECT_EQ(verified.err, "");  // no record is cut off
        EXPECT_NE(verified.out.find("doubled: 0\nforeign: 0\naltered: 0\n"), std::string::npos);
        EXPECT_EQ(resultOf({list, "--resume"}, name, 1), expected);
    }
}

TEST_F(DarkroomBatch, WithoutThreadsDoesTheWorkItself) {
    const std::string list = saveList(40);
    const std::string expected = resultOf({list}, "many.csv", 1);
    const Outcome outcome = darkroomWithoutThreads({"batch", list, "-o", "none.csv", "--jobs", "64"});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("darkroom batch: warning: no process can be had to read photographs in: one that "
                                "crashes its reader ends the run\n"
                                "darkroom batch: warning: threads or memory are short: 1 pair at the same time, not "
                                "40; --jobs sets how many\n",
                                0),
              0U)
        << outcome.err;
    EXPECT_EQ(bytesOf("none.csv"), expected);
}

TEST_F(DarkroomBatch, WithLittleMemoryHasFewerWorkers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers take the address space for themselves";
#endif
    const std::string list = saveList(1024);
    const std::string expected = resultOf({list}, "much.csv", 1);
    const Outcome outcome = run({LIKENESS_DARKROOM, "batch", list, "-o", "little.csv", "--jobs", "1024"}, folder(), [] {
        constexpr ::rlim_t bytes = ::rlim_t{2} << 30;
        const ::rlimit limit{bytes, bytes};
        ::setrlimit(RLIMIT_AS, &limit);
    });
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("darkroom batch: warning: threads or memory are short: ", 0), 0U) << outcome.err;
    EXPECT_EQ(bytesOf("little.csv"), expected);
}

TEST_F(DarkroomBatch, TwoOnOneOutputRefuseEachOther) {
    const std::string list = saveList(400);
    const ::pid_t process = begin({list, "-o", "r.csv", "--cache", "0"});
    waitForBytes("r.csv", 3000);
    ASSERT_EQ(::kill(process, SIGSTOP), 0);  // so that it does not come to its end meanwhile
    const Outcome outcome = darkroom({"batch", list, "-o", "r.csv", "--resume"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "darkroom batch: 'r.csv' is being written by another process\n");
    fs::create_symlink("r.csv", output("symbolic.csv"));
    fs::create_hard_link(output("r.csv"), output("hard.csv"));
    for (const std::string name : {"symbolic.csv", "hard.csv"}) {
        const Outcome second = darkroom({"batch", list, "-o", name, "--resume"});
        EXPECT_EQ(second.status, 2);
        EXPECT_NE(second.err.find("is being written by another process\n"), std::string::npos) << second.err;
    }
    const Outcome merged = darkroom({"merge", "m.csv", "r.csv"});
    EXPECT_EQ(merged.status, 2);
    EXPECT_EQ(merged.err, "darkroom merge: 'r.csv' is being written by another process\n");
    ASSERT_EQ(::kill(process, SIGCONT), 0);
    EXPECT_EQ(statusOf(process), 1);
    EXPECT_EQ(contentOf(output("r.csv")), resultOf({list}, "other.csv", 1));
}

/// Runs a command line of the shell.
Outcome shell(const std::string& command, const fs::path& folder) {
    return run({"/bin/sh", "-c", command}, folder);
}

TEST_F(DarkroomBatch, AFileThatMayNotGrowKeepsWhatIsRecorded) {
    const std::string list = saveList(60);
    for (const std::string extension : {"csv", "jsonl", "db"}) {
        const std::string expected = resultOf({list}, "whole." + extension, 1);
        const std::string name = "limited." + extension;
        // Of 512 bytes. The database needs 64 for the index of its log, and its log more than 80 however few the
        // commits.
        const std::string blocks = extension == "db" ? "80" : "10";
        const Outcome outcome =
            shell("ulimit -f " + blocks + "; exec " LIKENESS_DARKROOM " batch " + list + " -o " + name + " --quiet",
                  folder());
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("darkroom batch: cannot write '" + name + "': ", 0), 0U) << outcome.err;
        const std::size_t told = outcome.err.find(" of 60 pairs recorded, --resume goes on from there\n");
        ASSERT_NE(told, std::string::npos) << outcome.err;
        const int recorded = std::stoi(outcome.err.substr(outcome.err.rfind(' ', told - 1)));
        if (recorded == 0) {  // All pairs came in one block, which did not fit.
            EXPECT_FALSE(fs::exists(output(name)));
        } else {
            const Outcome verified = darkroom({"verify", list, name});
            EXPECT_EQ(verified.status, 1);
            EXPECT_EQ(verified.err, "");
            EXPECT_NE(verified.out.find("missing: " + std::to_string(60 - recorded) +
                                        "\ndoubled: 0\nforeign: 0\naltered: 0\n"),
                      std::string::npos)
                << verified.out;
        }
        EXPECT_EQ(resultOf({list, "--resume"}, name, 1), expected);
    }
}

TEST_F(DarkroomBatch, AFullDiskKeepsWhatIsRecorded) {
    const std::string disk = output("disk");
    fs::create_directory(disk);
    if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "a small file system cannot be mounted here";
    }
    const std::string list = saveList(400);
    for (const std::string extension : {"csv", "jsonl"}) {
        const std::string name = "disk/r." + extension;
        const Outcome outcome = darkroom({"batch", list, "-o", name});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("cannot write '" + name + "': No space left on device; "), std::string::npos)
            << outcome.err;
        EXPECT_EQ(darkroom({"verify", list, name}).err, "");
        fs::copy_file(output(name), output("moved." + extension));
        fs::remove(output(name));
    }
    EXPECT_EQ(::umount(disk.c_str()), 0);
    for (const std::string extension : {"csv", "jsonl"}) {
        EXPECT_EQ(resultOf({list, "--resume"}, "moved." + extension, 1), resultOf({list}, "whole." + extension, 1));
    }
}

TEST_F(DarkroomBatch, ReadsStandardInputAndWritesTimes) {
    const std::string list = saveList(12);
    const Outcome outcome = shell("exec " LIKENESS_DARKROOM " batch - -o r.csv --timing <" + list, folder());
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(contentOf(output("r.csv")), resultOf({list}, "s.csv", 1));
    const std::vector<std::string> times = linesOf(contentOf(output("r.csv.timing.csv")));
    ASSERT_EQ(times.size(), 13U);
    EXPECT_EQ(times[0], "id,milliseconds");
    EXPECT_EQ(times[1].rfind("pair-0,", 0), 0U);
    EXPECT_GT(std::stod(times[1].substr(7)), 0.0);
}

/// As long as it lives, photographs of certain names make their reader crash, hang or take all memory.
class ReadingFaults {
public:
    ReadingFaults() { ::setenv("LIKENESS_READING_FAULTS", "1", 1); }
    ~ReadingFaults() { ::unsetenv("LIKENESS_READING_FAULTS"); }
    ReadingFaults(const ReadingFaults&) = delete;
    ReadingFaults& operator=(const ReadingFaults&) = delete;
};

TEST_F(DarkroomBatch, AHostileFileCostsItsOwnPair) {
    const ReadingFaults faults;
    const std::pair<const char*, const char*> hostile[] = {
        {"crash-1.jpg", "reading it crashed (Segmentation fault)"},
        {"exit-1.jpg", "reading it ended the process (status 3)"},
        {"killed-1.jpg", "reading it was killed twice, as the system does where memory is short"},
        {"hang-1.jpg", "reading it takes more than 3 seconds; --file-seconds allows more"},
        {"fifo.jpg", "it is not a regular file"},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        {"memory-1.jpg", "reading it takes more than 200 MiB of memory; --file-memory allows more"},
#endif
    };
    std::string text = "first,second\n";
    std::vector<std::string> errors;
    for (const auto& [name, why] : hostile) {
        if (std::string(name) == "fifo.jpg") {
            ASSERT_EQ(::mkfifo(input("photos/fifo.jpg").c_str(), 0600), 0);
        } else {
            fs::copy_file(photograph(0), input(std::string("photos/") + name));
        }
        text += std::string("p1.jpg,p2.jpg\np1.jpg,") + name + '\n';
        errors.push_back("cannot read '" + std::string(name) + "': " + why);
    }
    // A list that names a pair twice needs ids.
    std::string numbered = "id,first,second\n";
    const std::vector<std::string> lines = linesOf(text);
    for (std::size_t k = 1; k < lines.size(); ++k) {
        numbered += std::to_string(k) + ',' + lines[k] + '\n';
    }
    const std::string list = saveText("hostile.csv", numbered);
    const std::vector<std::string> limits = {"--root", input("photos"), "--file-seconds", "3", "--file-memory", "200"};
    for (const std::string name : {"r.csv", "r.jsonl"}) {
        std::vector<std::string> arguments = limits;
        arguments.insert(arguments.begin(), list);
        const std::string results = resultOf(arguments, name, 1);
        std::size_t compared = 0;
        std::size_t failed = 0;
        const auto reader = openResults(output(name), resultFormatOf("", name));
        for (ResultRecord record; reader->next(record);) {
            compared += record.outcome.compared() ? 1 : 0;
            if (!record.outcome.compared()) {
                EXPECT_EQ(record.outcome.error, errors.at(failed));
                ++failed;
            }
        }
        EXPECT_EQ(compared, errors.size());
        EXPECT_EQ(failed, errors.size());
        // Nothing is tried again unasked, and what is asked for fails as before.
        for (const char* const option : {"--resume", "--retry-failed"}) {
            arguments.emplace_back(option);
            EXPECT_EQ(resultOf(arguments, name, 1), results);
        }
    }
    // Without protection the run ends with its reader.
    EXPECT_GT(darkroom({"batch", list, "--root", input("photos"), "--isolate", "no", "-o", "unsafe.csv"}).status, 2);
}

TEST_F(DarkroomBatch, IsolationMakesNoDifference) {
    const std::string list = saveList(30);
    EXPECT_EQ(resultOf({list, "--hue"}, "isolated.csv", 1),
              resultOf({list, "--hue", "--isolate", "no"}, "plain.csv", 1));
    expectRefused({"batch", list, "-o", "n.csv", "--isolate", "no", "--file-seconds", "5"},
                  "--isolate no: --file-seconds and --file-memory are limits of processes of their own");
}

TEST_F(DarkroomBatch, ResumeNoticesAChangedPhotograph) {
    const std::string list = saveList(12);
    for (const std::string name : {"r.csv", "r.jsonl", "r.db"}) {
        const std::string before = resultOf({list}, name, 1);
        EXPECT_EQ(resultOf({list, "--resume"}, name, 1), before);
        // Another photograph of the same name, and one that is gone, of which the record stays.
        const std::string kept = bytesOf(photograph(3));
        fs::copy_file(photograph(8), photograph(3), fs::copy_options::overwrite_existing);
        fs::rename(photograph(5), input("photos/away.jpg"));
        const Outcome outcome = darkroom({"batch", list, "--resume", "-o", name});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.err.find("photographs of 1 recorded pair have changed since; they are compared again"),
                  std::string::npos)
            << outcome.err;
        EXPECT_NE(outcome.err.find("; 1 in this run in "), std::string::npos) << outcome.err;
        fs::rename(input("photos/away.jpg"), photograph(5));
        const std::string fresh = "fresh-" + name;
        EXPECT_EQ(resultOf({list, "--resume"}, name, 1), resultOf({list}, fresh, 1));
        std::ofstream(photograph(3), std::ios::binary) << kept;
        fs::remove(output(name));
    }
}

TEST_F(DarkroomBatch, ChecksumsNoticeWhatSizeAndTimeDoNot) {
    const std::string list = saveList(6);
    const std::string before = resultOf({list, "--checksums"}, "r.csv", 0);
    EXPECT_EQ(resultOf({list, "--resume"}, "r.csv", 0), before);
    EXPECT_NE(before.find(fingerprintOf(photograph(0)).sha256), std::string::npos);
    // A byte of a comment, with the time of before.
    std::string bytes = bytesOf(photograph(0));
    bytes[bytes.size() - 3] = static_cast<char>(bytes[bytes.size() - 3] ^ 1);
    const auto time = fs::last_write_time(photograph(0));
    std::ofstream(photograph(0), std::ios::binary) << bytes;
    fs::last_write_time(photograph(0), time);
    EXPECT_EQ(resultOf({list, "--resume"}, "r.csv", 0), before);
    EXPECT_NE(resultOf({list, "--resume", "--checksums"}, "r.csv", 0), before);
    EXPECT_EQ(bytesOf("r.csv"), resultOf({list, "--checksums"}, "fresh.csv", 0));
    EXPECT_EQ(resultOf({list, "--checksums", "--isolate", "no"}, "plain.csv", 0), bytesOf("r.csv"));
}

TEST_F(DarkroomBatch, RecordsWithoutChecksumsAreNotSaidToHaveChanged) {
    const std::string list = saveList(4);
    resultOf({list}, "r.csv", 0);
    const Outcome outcome = darkroom({"batch", list, "--resume", "--checksums", "-o", "r.csv"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err.find("changed"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("4 pairs are recorded without checksums of the photographs; they are compared again for "
                               "--checksums"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(bytesOf("r.csv"), resultOf({list, "--checksums"}, "fresh.csv", 0));
    EXPECT_EQ(darkroom({"batch", list, "--resume", "--checksums", "-o", "r.csv"}).err.find("compared again"),
              std::string::npos);
}

TEST_F(DarkroomBatch, AMissingModuleIsNoFaultOfThePhotograph) {
    cv::imwrite(input("photos/a.webp"), cv::imread(photograph(0)));
    const std::string list = saveText("webp.csv", "first,second\n" + photograph(0) + ',' + photograph(1) + '\n' +
                                                      input("photos/a.webp") + ',' + photograph(1) + '\n');
    const Outcome outcome = run(
        {"/usr/bin/env", "LIKENESS_MODULES=/nowhere", LIKENESS_DARKROOM, "batch", list, "--jobs", "1", "-o", "r.csv"},
        folder());
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_NE(outcome.err.find("cannot read '" + input("photos/a.webp") +
                               "': the module likeness_imgcodecs.so cannot be "
                               "loaded"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("1 of 2 pairs recorded, --resume goes on from there"), std::string::npos) << outcome.err;
    EXPECT_EQ(resultOf({list, "--resume"}, "r.csv", 0), resultOf({list}, "fresh.csv", 0));
}

TEST_F(DarkroomBatch, ReadsWhatADescriptorLeadsTo) {
    const std::string list = saveText("descriptors.csv", "id,first,second\nx,/dev/fd/7," + photograph(1) + '\n');
    const std::string call = std::string("'") + LIKENESS_DARKROOM + "' batch '" + list + "' --quiet -o r.csv";
    EXPECT_EQ(run({"/bin/sh", "-c", "exec 7<'" + photograph(0) + "'; " + call}, folder()).status, 0);
    const std::string plain = saveText("plain.csv", "id,first,second\nx," + photograph(0) + ',' + photograph(1) + '\n');
    resultOf({plain}, "plain.csv", 0);
    const auto one = openResults(output("r.csv"), ResultFormat::csv);
    const auto other = openResults(output("plain.csv"), ResultFormat::csv);
    ResultRecord a;
    ResultRecord b;
    ASSERT_TRUE(one->next(a) && other->next(b));
    EXPECT_EQ(a.outcome.coefficients, b.outcome.coefficients);
    fs::remove(output("r.csv"));
    EXPECT_EQ(run({"/bin/sh", "-c", "cat '" + photograph(0) + "' | ( exec 7<&0; " + call + " )"}, folder()).status, 1);
    EXPECT_NE(bytesOf("r.csv").find("cannot read '/dev/fd/7': it is not a regular file"), std::string::npos)
        << bytesOf("r.csv");
}

TEST_F(DarkroomBatch, NoticesAMaskThatHasChanged) {
    cv::Mat mask(100, 150, CV_8UC1, cv::Scalar(255));
    mask.colRange(0, 40).setTo(0);
    ASSERT_TRUE(cv::imwrite(input("m.png"), mask));
    const std::string list =
        saveText("masks.csv", "id,first,second,first_mask\na," + photograph(0) + ',' + photograph(1) + ',' +
                                  input("m.png") + "\nb," + photograph(1) + ',' + photograph(2) + ",\n");
    for (const std::string name : {"r.csv", "r.jsonl", "r.db"}) {
        for (const bool checksums : {false, true}) {
            std::vector<std::string> options = {list};
            if (checksums) {
                options.emplace_back("--checksums");
            }
            std::vector<std::string> goingOn = options;
            goingOn.emplace_back("--resume");
            mask.colRange(0, 40).setTo(0);
            ASSERT_TRUE(cv::imwrite(input("m.png"), mask));
            const std::string before = resultOf(options, name, 0);
            EXPECT_EQ(resultOf(goingOn, name, 0), before);
            const auto time = fs::last_write_time(input("m.png"));
            mask.colRange(0, 40).setTo(255);
            ASSERT_TRUE(cv::imwrite(input("m.png"), mask));
            if (checksums) {
                fs::last_write_time(input("m.png"), time);
            }
            std::vector<std::string> loud = goingOn;
            loud.insert(loud.begin(), "batch");
            loud.insert(loud.end(), {"-o", name});
            const Outcome outcome = darkroom(loud);
            EXPECT_NE(outcome.err.find("photographs of 1 recorded pair have changed since; they are compared again"),
                      std::string::npos)
                << outcome.err;
            EXPECT_NE(resultOf(goingOn, name, 0), before);
            EXPECT_EQ(resultOf(goingOn, name, 0), resultOf(options, "fresh-" + name, 0)) << name;
            EXPECT_EQ(darkroom({"verify", list, name}).status, 0);
            fs::remove(output(name));
            fs::remove(output("fresh-" + name));
        }
    }
}

TEST_F(DarkroomBatch, PartsOfAnyFormatMergeToNumbers) {
    const std::string list = saveList(10);
    const std::vector<std::string> options = {"--hue", "--distances"};
    for (const std::string format : {"csv", "jsonl", "db"}) {
        std::vector<std::string> arguments = {list};
        arguments.insert(arguments.end(), options.begin(), options.end());
        resultOf(arguments, "whole." + format, 1);
        for (const std::string part : {"1", "2"}) {
            std::vector<std::string> ofPart = {"batch"};
            ofPart.insert(ofPart.end(), arguments.begin(), arguments.end());
            ofPart.insert(ofPart.end(), {"--shard", part + "/2", "-o", part + '.' + format});
            EXPECT_LE(darkroom(ofPart).status, 1);
        }
    }
    for (const std::string from : {"csv", "jsonl", "db"}) {
        for (const std::string with : {"csv", "jsonl"}) {
            for (const std::string to : {"csv", "jsonl"}) {
                const Outcome outcome = darkroom({"merge", "m." + to, "1." + from, "2." + with, "--overwrite"});
                EXPECT_EQ(outcome.status, 0) << outcome.err;
                EXPECT_EQ(bytesOf("m." + to), bytesOf("whole." + to)) << from << ' ' << with;
            }
        }
    }
}

TEST_F(DarkroomBatch, ResumeRepairsTheEndOfADatabaseWithNumbersInFurtherColumns) {
    const std::string list = saveList(60);
    const std::vector<std::string> options = {list, "--hue", "--distances"};
    std::vector<std::string> goingOn = options;
    goingOn.emplace_back("--resume");
    const std::string expected = resultOf(options, "r.db", 1);
    const std::string whole = contentOf(output("r.db"));
    for (std::size_t lost = 1; lost < whole.size() / 3; lost += whole.size() / 16) {
        for (const bool zeros : {false, true}) {
            std::ofstream(output("r.db"), std::ios::binary)
                << whole.substr(0, whole.size() - lost) << (zeros ? std::string(lost, '\0') : std::string());
            EXPECT_EQ(resultOf(goingOn, "r.db", 1), expected) << lost << ' ' << zeros;
        }
    }
}

TEST_F(DarkroomBatch, ResumeRepairsTheEndOfADatabase) {
    const std::string list = saveList(200);
    const std::string expected = resultOf({list}, "r.db", 1);
    const std::string whole = contentOf(output("r.db"));
    for (const std::size_t lost : {std::size_t{1}, std::size_t{5000}, std::size_t{20000}}) {
        for (const bool zeros : {false, true}) {
            std::ofstream(output("r.db"), std::ios::binary)
                << whole.substr(0, whole.size() - lost) << (zeros ? std::string(lost, '\0') : std::string());
            EXPECT_EQ(resultOf({list, "--resume"}, "r.db", 1), expected) << lost << ' ' << zeros;
            EXPECT_EQ(darkroom({"verify", list, "r.db"}).out.find("pairs: 200\ncompared: 180\nfailed: 20\nmissing: 0"),
                      0U);
        }
    }
}

TEST_F(DarkroomBatch, GoesOnWithResultsOfTheFirstVersion) {
    const std::string list = saveList(4);
    const std::string expected = resultOf({list}, "r.csv", 0);
    // The fields that the first version has not are taken out.
    std::string old;
    const auto reader = openResults(output("r.csv"), ResultFormat::csv);
    for (ResultRecord record; reader->next(record);) {
        old += old.empty() ? csvHeader(reader->columns(), firstResultSchema) : "";
        std::vector<std::string> texts = rowTexts(record, reader->columns());
        texts.front() = "1";
        texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(resultFieldCount(firstResultSchema)),
                    texts.begin() + static_cast<std::ptrdiff_t>(resultFieldCount(resultSchema)));
        for (const std::string& text : texts) {
            old += csvField(text) + ',';
        }
        old.back() = '\n';
    }
    std::ofstream(output("r.csv"), std::ios::binary) << old;
    const Outcome outcome = darkroom({"batch", list, "--resume", "-o", "r.csv"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("darkroom batch: warning: 'r.csv' has records of an earlier version", 0), 0U)
        << outcome.err;
    EXPECT_EQ(bytesOf("r.csv"), expected);
}

TEST_F(DarkroomBatch, ProcessesEndWithTheProgram) {
    const ReadingFaults faults;
    fs::copy_file(photograph(0), input("photos/hang-1.jpg"));
    const std::string list = saveText("l.csv", "first,second\nhang-1.jpg,p1.jpg\n");
    const ::pid_t process = begin({list, "--root", input("photos"), "-o", "r.csv"});
    const auto children = [](::pid_t parent) {
        std::ifstream file(fmt::format("/proc/{}/task/{}/children", parent, parent));
        std::vector<::pid_t> found;
        for (::pid_t child = 0; file >> child;) {
            found.push_back(child);
        }
        return found;
    };
    std::vector<::pid_t> all;
    for (int wait = 0; wait < 500 && all.size() < 2; ++wait) {
        std::this_thread::sleep_for(milliseconds(10));
        all = children(process);
        for (std::size_t k = 0; k < all.size(); ++k) {
            for (const ::pid_t child : children(all[k])) {
                all.push_back(child);
            }
        }
    }
    ASSERT_GE(all.size(), 2U);
    ::kill(process, SIGKILL);
    statusOf(process);
    for (const ::pid_t child : all) {
        bool gone = false;
        for (int wait = 0; wait < 500 && !gone; ++wait) {
            std::this_thread::sleep_for(milliseconds(10));
            gone = ::kill(child, 0) != 0;
        }
        EXPECT_TRUE(gone);
    }
}

TEST_F(DarkroomBatch, SummaryTellsThePercentiles) {
    const std::string list = saveText("l.csv", "first,second\n" + photo("cat.jpg") + ',' + photo("cat.jpg") + '\n' +
                                                   photo("cat.jpg") + ',' + photo("coffee.jpg") + '\n');
    const Outcome outcome = expectDone({"batch", list, "-o", "r.csv"});
    EXPECT_NE(
        outcome.err.find("darkroom batch:                   mean    least      5 %     25 %   median     75 %     "
                         "95 % greatest\n"),
        std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("darkroom batch: brightness     0.70725  0.41451  0.41451  0.41451  0.41451  1.00000  "
                               "1.00000  1.00000\n"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(expectDone({"batch", list, "-o", "s.csv", "--quiet"}).err, "");
}

}  // namespace
}  // namespace likeness::testing
