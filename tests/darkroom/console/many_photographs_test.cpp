// Operations on many photographs, in place and in pipes, as a user meets them.
#include "console/many_photographs.hpp"

#include "darkroom/darkroom_program.hpp"
#include "support/built_modules.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

/// Small photographs in the folder of the run.
class ManyPhotographs : public DarkroomProgram {
protected:
    void SetUp() override {
        fs::create_directories(folder() / "in/sub");
        make("in/a.png", 1);
        make("in/b.jpg", 2);
        make("in/sub/c.bmp", 3);
    }

    void make(const std::string& name, std::uint64_t seed) const {
        ASSERT_TRUE(cv::imwrite(output(name), randomPhotograph({24, 16}, seed)));
    }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(output(name), std::ios::binary) << text;
    }

    bool there(const std::string& name) const { return fs::exists(folder() / name); }

    std::string content(const std::string& name) const { return contentOf(folder() / name); }

    /// Exit status, and what is said behind the last line that names a photograph.
    void expectEnd(const std::vector<std::string>& arguments, int status, const std::string& lastLine) const {
        const Outcome outcome = darkroom(arguments);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        const std::vector<std::string> lines = linesOf(outcome.err);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), "darkroom " + arguments.front() + ": " + lastLine) << outcome.err;
    }

    /// Runs the program with a file as its standard input.
    Outcome fed(const std::vector<std::string>& arguments, const std::string& file) const {
        std::vector<std::string> command = {LIKENESS_DARKROOM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const std::string path = output(file);
        return run(command, folder(), [path] { ::dup2(::open(path.c_str(), O_RDONLY), STDIN_FILENO); });
    }
};

TEST_F(ManyPhotographs, GoIntoAFolder) {
    expectEnd({"adapt", "in/a.png", "in/b.jpg", "--to", "d65", "-o", "out"}, 0, "2 photographs: 2 done");
    expectDone({"adapt", "in/a.png", "--to", "d65", "-o", "a.png"});
    expectDone({"adapt", "in/b.jpg", "--to", "d65", "-o", "b.jpg"});
    EXPECT_TRUE(content("out/a_adapt.png") == content("a.png"));
    EXPECT_TRUE(content("out/b_adapt.jpg") == content("b.jpg"));
}

TEST_F(ManyPhotographs, OfFoldersKeepTheirPlaces) {
    expectEnd({"structure", "in", "-o", "out"}, 0, "2 photographs: 2 done");
    EXPECT_FALSE(there("out/sub"));
    expectEnd({"structure", "in", "-o", "out", "--recursive"}, 0, "3 photographs: 3 done");
    EXPECT_TRUE(there("out/a_structure.png"));
    EXPECT_TRUE(there("out/b_structure.jpg"));
    EXPECT_TRUE(there("out/sub/c_structure.png"));  // there is no BMP among the results
}

TEST_F(ManyPhotographs, LeaveOutTheFolderOfTheirResults) {
    expectEnd({"structure", "in", "-o", "in/out", "--recursive"}, 0, "3 photographs: 3 done");
    const Outcome outcome = expectDone({"structure", "in", "-o", "in/out", "--recursive"});
    EXPECT_NE(outcome.err.find("left out: 'in/out' is the folder of the results\n"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("3 photographs: 3 done\n"), std::string::npos) << outcome.err;
}

TEST_F(ManyPhotographs, HaveTheNamesThatAreAskedFor) {
    expectDone({"adapt", "in", "--to", "d65", "-o", "out", "--name", "x-{operation}-{stem}.tif"});
    EXPECT_TRUE(there("out/x-adapt-a.tif") && there("out/x-adapt-b.tif"));
    expectDone({"adapt", "in", "--to", "d65", "-o", "out", "--format", "PNG", "--name", "{stem}{ext}"});
    EXPECT_TRUE(there("out/a.PNG") && there("out/b.PNG"));
    const std::string twice =
        "'in/a.png' and 'in/b.jpg' would both be written as 'new/same.png'; --name can tell them apart";
    expectRefused({"adapt", "in", "--to", "d65", "-o", "new", "--name", "same.png"}, twice);
    expectRefused({"adapt", "in/a.png", "in/a.png", "--to", "d65", "-o", "new"}, "'in/a.png' is given twice");
    EXPECT_FALSE(there("new"));
}

TEST_F(ManyPhotographs, DoNotReplaceWhatIsRead) {
    const std::string own = "--output: 'in/b.jpg' would replace the input 'in/b.jpg'; choose another folder or --name";
    expectRefused({"adapt", "in/b.jpg", "in/a.png", "--to", "d65", "-o", "in", "--name", "{stem}{ext}"}, own);
    fs::create_directory(folder() / "links");
    fs::create_symlink("../in/b.jpg", folder() / "links/a.jpg");
    make("a.jpg", 7);
    expectRefused({"adapt", "a.jpg", "in/b.jpg", "--to", "d65", "-o", "links", "--name", "{stem}{ext}"},
                  "--output: 'links/a.jpg' would replace the input 'in/b.jpg'; choose another folder or --name");
    make("ref.png", 8);
    expectRefused({"adapt", "in/a.png", "ref.png", "--like", "ref.png", "--in-place"},
                  "--in-place: 'ref.png' would replace the input 'ref.png'; choose another file");
}

TEST_F(ManyPhotographs, GoOnBehindABadFile) {
    write("in/aa.png", "no picture");
    const Outcome outcome = darkroom({"adapt", "in", "--to", "d65", "-o", "out"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("darkroom adapt: cannot read 'in/aa.png': "), std::string::npos);
    EXPECT_NE(outcome.err.find("darkroom adapt: 3 photographs: 2 done, 1 failed\n"), std::string::npos);
    EXPECT_TRUE(there("out/a_adapt.png") && there("out/b_adapt.jpg"));
    EXPECT_FALSE(there("out/aa_adapt.png"));
    const Outcome quiet = darkroom({"adapt", "in", "--to", "d65", "-o", "out", "--quiet"});
    EXPECT_EQ(linesOf(quiet.err).size(), 1U) << quiet.err;
}

TEST_F(ManyPhotographs, SayOnceWhatIsSaidOfAll) {
    cv::imwrite(output("red.png"), cv::Mat(4, 4, CV_8UC3, cv::Scalar(0, 0, 200)));
    const Outcome outcome = expectDone({"adapt", "in", "--like", "red.png", "-o", "out"});
    const std::size_t first = outcome.err.find("'red.png'");
    ASSERT_NE(first, std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("warning: 'red.png'", first + 1), std::string::npos) << outcome.err;
}

TEST_F(ManyPhotographs, GiveTheSameForAnyNumberOfThreads) {
    for (int k = 0; k < 12; ++k) {
        make("in/n" + std::to_string(k) + ".png", 100 + static_cast<std::uint64_t>(k));
    }
    const Outcome one = expectDone({"adapt", "in", "--to", "d65", "-o", "one", "--threads", "1"});
    const Outcome many = expectDone({"adapt", "in", "--to", "d65", "-o", "six", "--jobs", "6", "--threads", "6"});
    EXPECT_EQ(linesOf(one.err).size(), linesOf(many.err).size());
    int compared = 0;
    for (const auto& entry : fs::directory_iterator(folder() / "one")) {
        EXPECT_TRUE(contentOf(entry.path()) == contentOf(folder() / "six" / entry.path().filename())) << entry.path();
        ++compared;
    }
    EXPECT_EQ(compared, 15);  // with the record of what is done
    std::string names;
    for (const std::string& line : linesOf(many.err)) {
        names += line.find("wrote '") == std::string::npos ? "" : line.substr(line.find("six/"), 6);
    }
    std::string sorted = "six/a_six/b_";
    for (const char* const name : {"n0", "n1", "n1", "n1", "n2", "n3", "n4", "n5", "n6", "n7", "n8", "n9"}) {
        sorted += std::string("six/") + name;
    }
    EXPECT_EQ(names, sorted);
}

TEST_F(ManyPhotographs, ResumeLeavesOutWhatIsDone) {
    const std::vector<std::string> call = {"adapt", "in", "--to", "d65", "-o", "out"};
    const auto with = [&](std::vector<std::string> more) {
        std::vector<std::string> all = call;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    const std::vector<std::string> resumed = with({"--resume"});
    expectEnd(resumed, 0, "2 photographs: 2 done");
    expectEnd(resumed, 0, "2 photographs: 0 done, 2 done before");
    make("in/d.png", 9);
    expectEnd(resumed, 0, "3 photographs: 1 done, 2 done before");
    make("in/a.png", 10);  // another content
    expectEnd(resumed, 0, "3 photographs: 1 done, 2 done before");
    write("out/b_adapt.jpg", "somebody wrote here");
    expectEnd(resumed, 0, "3 photographs: 1 done, 2 done before");
    fs::remove(folder() / "out/d_adapt.png");
    expectEnd(resumed, 0, "3 photographs: 1 done, 2 done before");
    expectEnd(with({"--resume", "--quality", "80"}), 0, "3 photographs: 3 done");  // other options
    expectEnd(with({"--resume", "--quality", "80", "--threads", "1"}), 0, "3 photographs: 0 done, 3 done before");
    expectEnd(call, 0, "3 photographs: 3 done");  // not asked to
}

TEST_F(ManyPhotographs, ResumeLooksAtWhatIsInTheFilesOfOptions) {
    make("ref.png", 11);
    const std::vector<std::string> call = {"transfer", "in", "--palette", "ref.png", "-o", "out", "--resume"};
    expectEnd(call, 0, "2 photographs: 2 done");
    expectEnd(call, 0, "2 photographs: 0 done, 2 done before");
    make("ref.png", 12);
    expectEnd(call, 0, "2 photographs: 2 done");
}

TEST_F(ManyPhotographs, ResumeOfABrokenRecord) {
    const std::vector<std::string> call = {"adapt", "in", "--to", "d65", "-o", "out", "--resume"};
    expectEnd(call, 0, "2 photographs: 2 done");
    std::string record = content("out/.darkroom-adapt.done");
    write("out/.darkroom-adapt.done", record.substr(0, record.size() - 5));
    expectEnd(call, 0, "2 photographs: 1 done, 1 done before");
    write("out/.darkroom-adapt.done", "what is this\n\n" + record);
    expectEnd(call, 0, "2 photographs: 0 done, 2 done before");
}

TEST_F(ManyPhotographs, InPlaceKeepWhatTheyAre) {
    const std::string path = output("in/b.jpg");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    const struct ::timespec times[2] = {{1000000000, 123}, {1100000000, 456}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    fs::create_symlink("b.jpg", folder() / "in/link.jpg");
    expectDone({"adapt", "in/b.jpg", "--to", "d65", "-o", "expected.jpg"});
    expectEnd({"adapt", "in/link.jpg", "--to", "d65", "--in-place"}, 0, "1 photograph: 1 done");
    EXPECT_TRUE(fs::is_symlink(folder() / "in/link.jpg"));
    EXPECT_TRUE(content("in/b.jpg") == content("expected.jpg"));
    struct ::stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(status.st_mtim.tv_nsec, 456);
    const std::string once = content("in/b.jpg");
    expectEnd({"adapt", "in/link.jpg", "--to", "d65", "--in-place", "--resume"}, 0,
              "1 photograph: 0 done, 1 done before");
    EXPECT_TRUE(content("in/b.jpg") == once);
}

TEST_F(ManyPhotographs, InPlaceOfOtherFormatsAndDepths) {
    cv::Mat deep;
    randomPhotograph({20, 20}, 5).convertTo(deep, CV_16U, 257);
    cv::imwrite(output("in/deep.png"), deep);
    fs::copy_file(folder() / "in/a.png", folder() / "in/named.jpg");
    const std::string bitmap = content("in/sub/c.bmp");
    const std::string named = content("in/named.jpg");
    const Outcome outcome =
        darkroom({"adapt", "in/deep.png", "in/named.jpg", "in/sub/c.bmp", "--to", "d65", "--in-place"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("'in/named.jpg' is not of the format that its extension says"), std::string::npos);
    EXPECT_NE(outcome.err.find("'in/sub/c.bmp' has the extension of no format that is written"), std::string::npos);
    EXPECT_EQ(imageLeft("in/deep.png").depth(), CV_16U);
    EXPECT_TRUE(content("in/sub/c.bmp") == bitmap);
    EXPECT_TRUE(content("in/named.jpg") == named);
    expectRefused({"brighten", "in/a.png", "--factor", "11", "--in-place"},
                  "--in-place: more than one picture comes of each photograph; --output names a folder");
    expectRefused({"adapt", "in/b.jpg", "in/./b.jpg", "--to", "d65", "--in-place"},
                  "'in/b.jpg' and 'in/./b.jpg' are one file; leave one out");
}

TEST_F(ManyPhotographs, InPlaceRecordEachAsSoonAsItIsReplaced) {
    // The first one is at work for long, and those behind it are replaced before its turn is over.
    cv::imwrite(output("in/a.png"), randomPhotograph({2500, 2000}, 1));
    const std::vector<std::string> call = {LIKENESS_DARKROOM, "smooth", "in/a.png",  "in/b.jpg", "--in-place",
                                           "--jobs",          "2",      "--threads", "2"};
    const std::string before = content("in/a.png");
    const ::pid_t process = start(call, folder());
    const fs::path record = folder() / "in/.darkroom-smooth.done";
    std::error_code error;
    for (int k = 0; k < 20000; ++k) {
        if (fs::exists(record, error) && fs::file_size(record, error) > 0) {
            break;
        }
        ::usleep(500);
    }
    ::kill(process, SIGKILL);
    statusOf(process);
    ASSERT_TRUE(content("in/a.png") == before) << "it was replaced before the other";
    const std::string once = content("in/b.jpg");
    make("in/a.png", 1);
    expectEnd({"smooth", "in/a.png", "in/b.jpg", "--in-place", "--resume"}, 0, "2 photographs: 1 done, 1 done before");
    EXPECT_TRUE(content("in/b.jpg") == once);
}

TEST_F(ManyPhotographs, InPlaceLoseNothing) {
    const auto refused = [&](const std::string& name, const std::vector<std::string>& more, const std::string& why) {
        SCOPED_TRACE(name);
        const std::string before = content(name);
        std::vector<std::string> call = {"smooth", name, "--in-place"};
        call.insert(call.end(), more.begin(), more.end());
        const Outcome outcome = darkroom(call);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.err.find("--in-place: '" + name + "' " + why), std::string::npos) << outcome.err;
        EXPECT_TRUE(content(name) == before);
    };
    const std::string folderNamed = "; --output names a folder\n";
    const cv::Mat bytes = randomPhotograph({16, 16}, 5);
    cv::imwritemulti(output("in/pages.tif"), std::vector<cv::Mat>{bytes, bytes});
    refused("in/pages.tif", {}, "holds more than one picture, and one would be left" + folderNamed);
    cv::Mat alpha(bytes.size(), CV_8UC4, cv::Scalar(1, 2, 3, 4));
    for (const char* const name : {"in/alpha.png", "in/alpha.webp", "in/alpha.tif"}) {
        cv::imwrite(output(name), alpha);
        refused(name, {}, "has an alpha channel, which would be lost" + folderNamed);
    }
    for (const char* const name : {"in/other.jxl", "in/other.exr", "in/other.avif", "in/other.webp"}) {
        fs::copy_file(folder() / "in/a.png", folder() / name);
        refused(name, {}, "is not of the format that its extension says" + folderNamed);
    }
    // A TIFF with the tag DNGVersion: little-endian, one directory of four entries.
    const std::string dng(
        "II*\0\x08\0\0\0\x04\0"
        "\0\x01\x03\0\x01\0\0\0\x10\0\0\0"
        "\x01\x01\x03\0\x01\0\0\0\x10\0\0\0"
        "\x02\x01\x03\0\x01\0\0\0\x08\0\0\0"
        "\x12\xC6\x01\0\x04\0\0\0\x01\x04\0\0"
        "\0\0\0\0",
        62);
    write("in/camera.tif", dng);
    refused("in/camera.tif", {}, "is a camera's raw file, which is not written" + folderNamed);
    const std::string jpeg = content("in/b.jpg");
    write("in/cut.jpg", jpeg.substr(0, jpeg.size() * 3 / 5));
    refused("in/cut.jpg", {}, "is cut off, and its result would look whole" + folderNamed);
}

TEST_F(ManyPhotographs, InPlaceWhatWasStoredWithoutLossStaysSo) {
    const auto codecOf = [&](const std::string& name) {
        return nlohmann::json::parse(expectDone({"info", "--json", name}).out)["files"][0]["codec"].get<std::string>();
    };
    const cv::Mat image = randomPhotograph({24, 16}, 9);
    cv::imwrite(output("w.webp"), image, {cv::IMWRITE_WEBP_QUALITY, 101});
    cv::imwrite(output("lossy.webp"), image, {cv::IMWRITE_WEBP_QUALITY, 80});
    cv::imwrite(output("same.png"), image);
    expectDone({"smooth", "w.webp", "lossy.webp", "same.png", "--in-place"});
    EXPECT_EQ(codecOf("w.webp"), "lossless");
    EXPECT_EQ(codecOf("lossy.webp"), "lossy");
    EXPECT_EQ(cv::norm(imageLeft("w.webp"), imageLeft("same.png"), cv::NORM_INF), 0);
    if (canBeWritten("j.jxl")) {
        expectDone({"smooth", "same.png", "-o", "j.jxl", "--quality", "100"});
        expectDone({"smooth", "same.png", "-o", "lossy.jxl"});
        expectDone({"smooth", "j.jxl", "lossy.jxl", "--in-place"});
        EXPECT_EQ(codecOf("j.jxl"), "its own colours");
        EXPECT_EQ(codecOf("lossy.jxl"), "XYB, lossy");
    }
}

TEST_F(ManyPhotographs, MetadataThatAreNotReadWholeAreToldOfAndNotReplaced) {
    // Exif data in two segments.
    const std::string jpeg = content("in/b.jpg");
    const std::string segment(
        "\xFF\xE1\0\x10"
        "Exif\0\0"
        "II*\0\0\0\0\0",
        18);
    write("in/long.jpg", jpeg.substr(0, 2) + segment + segment + jpeg.substr(2));
    const std::string before = content("in/long.jpg");
    const std::string why = "its Exif data stand in several segments";
    const Outcome kept = darkroom({"smooth", "in/long.jpg", "--in-place"});
    EXPECT_EQ(kept.status, 1);
    EXPECT_NE(kept.err.find("--in-place: 'in/long.jpg': " + why + ", which would be lost; --strip agrees to it"),
              std::string::npos)
        << kept.err;
    EXPECT_TRUE(content("in/long.jpg") == before);
    EXPECT_NE(expectDone({"smooth", "in/long.jpg", "-o", "o.jpg"})
                  .err.find("not all metadata of 'in/long.jpg' are "
                            "carried over: " +
                            why),
              std::string::npos);
    EXPECT_EQ(expectDone({"smooth", "in/long.jpg", "-o", "s.jpg", "--strip"}).err.find("metadata"), std::string::npos);
    expectDone({"smooth", "in/long.jpg", "--in-place", "--strip"});
    EXPECT_FALSE(content("in/long.jpg") == before);
}

TEST_F(ManyPhotographs, InPlaceKeepTheDepth) {
    const auto bitsOf = [&](const std::string& name) {
        const std::string text = expectDone({"info", "--json", name}).out;
        const std::size_t at = text.find("\"bits\":");
        return at == std::string::npos ? 0 : std::stoi(text.substr(at + 7));
    };
    const auto make = [&](const std::string& name, const std::string& depth) {
        expectDone({"smooth", "in/a.png", "-o", name, "--depth", depth});
    };
    if (canBeWritten("f.exr")) {
        make("f.exr", "float");
        make("h.exr", "half");
        expectDone({"smooth", "f.exr", "h.exr", "--in-place"});
        EXPECT_EQ(bitsOf("f.exr"), 32);
        EXPECT_EQ(bitsOf("h.exr"), 16);
    }
    if (canBeWritten("w.jxl")) {
        make("w.jxl", "16");
        make("b.jxl", "8");
        expectDone({"smooth", "w.jxl", "b.jxl", "--in-place"});
        EXPECT_EQ(bitsOf("w.jxl"), 16);
        EXPECT_EQ(bitsOf("b.jxl"), 8);
    }
    cv::Mat deep;
    randomPhotograph({20, 20}, 5).convertTo(deep, CV_16U, 257);
    cv::imwrite(output("deep.png"), deep);
    expectDone({"smooth", "deep.png", "--in-place", "--depth", "8"});
    EXPECT_EQ(imageLeft("deep.png").depth(), CV_8U);
    expectRefused({"smooth", "in/a.png", "--in-place", "--depth", "half"},
                  "--depth: the format of 'in/a.png' does not have this depth");
    expectRefused({"smooth", "in/a.png", "--in-place", "--quality", "50"},
                  "--quality: only JPEG, WebP, AVIF and JPEG XL have a quality, and 'in/a.png' is none of them");
}

TEST_F(ManyPhotographs, DepthAndQualityHoldForEach) {
    const auto bothWays = [&](const std::string& format, const std::vector<std::string>& options) {
        SCOPED_TRACE(format);
        const auto call = [&](std::vector<std::string> begin) {
            begin.insert(begin.end(), options.begin(), options.end());
            return darkroom(begin);
        };
        if (!canBeWritten("one." + format)) {
            return;
        }
        const Outcome one = call({"smooth", "in/a.png", "-o", "one." + format});
        if (one.err.find("no AV1 encoder") != std::string::npos) {
            return;  // a part of libheif that its package does not require
        }
        EXPECT_EQ(one.status, 0) << one.err;
        const Outcome many = call({"smooth", "in/a.png", "in/b.jpg", "-o", "out", "--format", format});
        EXPECT_EQ(many.status, 0) << many.err;
        EXPECT_TRUE(content("one." + format) == content("out/a_smooth." + format));
    };
    bothWays("png", {"--depth", "16"});
    bothWays("tif", {"--depth", "16"});
    bothWays("tif", {"--depth", "8"});
    bothWays("exr", {"--depth", "float"});
    bothWays("jxl", {"--depth", "16", "--quality", "40"});
    bothWays("webp", {"--quality", "20"});
    bothWays("avif", {"--quality", "20"});
    bothWays("jpg", {"--quality", "20", "--subsampling", "444"});
    EXPECT_EQ(imageLeft("out/a_smooth.png").depth(), CV_16U);
    EXPECT_LT(content("out/a_smooth.webp").size(), content("in/a.png").size());
    // One format has it, and the other keeps its own.
    expectDone({"smooth", "in/a.png", "in/b.jpg", "-o", "mixed", "--depth", "16"});
    EXPECT_EQ(imageLeft("mixed/a_smooth.png").depth(), CV_16U);
    EXPECT_EQ(imageLeft("mixed/b_smooth.jpg").depth(), CV_8U);
    fs::create_directory(folder() / "named.jpg");
    expectDone({"smooth", "in/a.png", "-o", "named.jpg", "--depth", "16"});
    EXPECT_EQ(imageLeft("named.jpg/a_smooth.png").depth(), CV_16U);
}

TEST_F(ManyPhotographs, SeveralPicturesOfEach) {
    expectEnd({"brighten", "in", "--factor", "11", "-o", "out"}, 0, "2 photographs: 2 done");
    EXPECT_TRUE(there("out/a_brighten_1.png") && there("out/b_brighten_6.jpg"));
    expectEnd({"brighten", "in", "--factor", "11", "-o", "out", "--resume"}, 0, "2 photographs: 0 done, 2 done before");
    fs::remove(folder() / "out/a_brighten_4.png");
    expectEnd({"brighten", "in", "--factor", "11", "-o", "out", "--resume"}, 0, "2 photographs: 1 done, 1 done before");
    expectEnd({"transfer", "in", "--palette", "in/a.png", "--frames", "2", "-o", "out"}, 0, "2 photographs: 2 done");
    EXPECT_TRUE(there("out/a_transfer_001.png"));
    expectRefused({"structure", "in", "-o", "out", "--coherence", "c.png"},
                  "--coherence: names one file, and more than one photograph may be given here; leave it out, or give "
                  "one photograph and the name of its result");
}

TEST_F(ManyPhotographs, WhitesAreATable) {
    const Outcome table = expectDone({"white", "in"});
    const std::vector<std::string> lines = linesOf(table.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0],
              "path,white_blue,white_green,white_red,chromaticity_x,chromaticity_y,correlated_color_temperature_kelvin,"
              "planckian_distance_uv");
    EXPECT_EQ(lines[1].rfind("in/a.png,", 0), 0U);
    EXPECT_EQ(lines[2].rfind("in/b.jpg,", 0), 0U);
    const Outcome one = expectDone({"white", "in/a.png"});
    const std::string white = linesOf(one.out)[0].substr(std::string("white B,G,R: ").size());
    EXPECT_EQ(lines[1].substr(std::string("in/a.png,").size(), white.size()), white);
    EXPECT_EQ(linesOf(expectDone({"white", "--json", "in"}).out).size(), 2U);
    EXPECT_FALSE(there("in/.darkroom-white.done"));
}

TEST_F(ManyPhotographs, FromStandardInputToStandardOutput) {
    for (const std::string format : {"png", "jpg", "tif", "hdr"}) {
        const std::string name = "a." + format;
        expectDone({"adapt", "in/a.png", "--to", "d65", "-o", name});
        const Outcome piped = fed({"adapt", "-", "--to", "d65", "-o", "-", "--format", format}, "in/a.png");
        EXPECT_EQ(piped.status, 0) << piped.err;
        EXPECT_TRUE(piped.out == content(name)) << format;
        EXPECT_NE(piped.err.find("wrote standard output: adapted to D65"), std::string::npos) << piped.err;
    }
    EXPECT_FALSE(there("-"));
    const Outcome named = fed({"adapt", "-", "--to", "d65", "-o", "b.png"}, "in/a.png");
    EXPECT_EQ(named.status, 0) << named.err;
    EXPECT_TRUE(content("b.png") == content("a.png"));
    const Outcome reference = fed({"transfer", "in/b.jpg", "--palette", "-", "-o", "t.png"}, "in/a.png");
    EXPECT_EQ(reference.status, 0) << reference.err;
    const Outcome empty = fed({"adapt", "-", "--to", "d65", "-o", "e.png"}, "/dev/null");
    EXPECT_EQ(empty.status, 2);
    EXPECT_EQ(empty.err, "darkroom adapt: '-' is standard input, which is empty\n");
    write("text", "no picture");
    EXPECT_EQ(fed({"adapt", "-", "--to", "d65", "-o", "e.png"}, "text").err,
              "darkroom adapt: cannot read '-': its content is of no image format that is known\n");
    EXPECT_FALSE(there("e.png"));
}

TEST_F(ManyPhotographs, AFileOfThatNameIsNamedWithItsFolder) {
    fs::copy_file(folder() / "in/a.png", folder() / "-");
    expectDone({"adapt", "./-", "--to", "d65", "-o", "a.png"});
    EXPECT_TRUE(there("a.png"));
}

TEST_F(ManyPhotographs, ResultsOfOtherCommandsOnStandardOutput) {
    const Outcome plain = expectDone({"compare", "in/a.png", "in/b.jpg", "--json"});
    EXPECT_EQ(expectDone({"compare", "in/a.png", "in/b.jpg", "--json", "-o", "-"}).out, plain.out);
    const Outcome piped = fed({"compare", "-", "in/b.jpg"}, "in/a.png");
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, expectDone({"compare", "in/a.png", "in/b.jpg"}).out);
    const Outcome page = expectDone({"compare", "in/a.png", "in/b.jpg", "--report", "-", "-o", "r.txt"});
    EXPECT_EQ(page.out.rfind("<!DOCTYPE html>", 0), 0U);
    EXPECT_EQ(expectDone({"manual", "-o", "-"}).out, expectDone({"manual"}).out);
    EXPECT_FALSE(there("-"));
}

TEST_F(ManyPhotographs, AClosedPipeEndsQuietly) {
    std::vector<std::string> command = {LIKENESS_DARKROOM, "adapt", "in/a.png", "--to", "d65", "-o", "-",
                                        "--format",        "png",   "--quiet"};
    const Outcome outcome = run(command, folder(), [] {
        int ends[2];
        if (::pipe(ends) == 0) {
            ::dup2(ends[1], STDOUT_FILENO);
            ::close(ends[0]);
            ::close(ends[1]);
        }
    });
    EXPECT_EQ(outcome.status, 1000 + SIGPIPE);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(ManyPhotographs, ASignalHasThoseAtHandFinished) {
    for (int k = 0; k < 300; ++k) {
        make("in/n" + std::to_string(k) + ".png", static_cast<std::uint64_t>(k));
    }
    const std::vector<std::string> call = {LIKENESS_DARKROOM, "adapt", "in", "--to", "d65", "-o", "out", "--jobs", "1"};
    const ::pid_t process = start(call, folder());
    for (int k = 0; k < 100000 && !there("out/n0_adapt.png"); ++k) {
        ::usleep(500);
    }
    ::kill(process, SIGINT);
    EXPECT_EQ(statusOf(process), 130);
    std::size_t results = 0;
    for (const auto& entry : fs::directory_iterator(folder() / "out")) {
        const std::string name = entry.path().filename();
        results += name.find("_adapt.") != std::string::npos ? 1 : 0;
        EXPECT_TRUE(name.find("_adapt.") != std::string::npos || name == ".darkroom-adapt.done") << name;
    }
    EXPECT_GE(results, 3U);
    EXPECT_LT(results, 302U);
    expectEnd(
        {"adapt", "in", "--to", "d65", "-o", "out", "--resume"}, 0,
        "302 photographs: " + std::to_string(302 - results) + " done, " + std::to_string(results) + " done before");
}

TEST_F(ManyPhotographs, TheFormatOfAResultFollowsItsName) {
    const auto beginning = [&](const std::string& name) { return content(name).substr(0, 2); };
    expectDone({"compare", "in/a.png", "in/b.jpg", "-o", "r.json"});
    EXPECT_EQ(beginning("r.json"), "{\n");
    expectDone({"compare", "in/a.png", "in/b.jpg", "-o", "r.CSV"});
    EXPECT_TRUE(content("r.CSV") == expectDone({"compare", "in/a.png", "in/b.jpg", "--csv"}).out);
    expectDone({"compare", "in/a.png", "in/b.jpg", "-o", "r.txt"});
    EXPECT_TRUE(content("r.txt") == expectDone({"compare", "in/a.png", "in/b.jpg"}).out);
    expectDone({"compare", "in/a.png", "in/b.jpg", "--json", "-o", "j.txt"});
    EXPECT_EQ(beginning("j.txt"), "{\n");
    expectRefused({"compare", "in/a.png", "in/b.jpg", "--csv", "-o", "n.json"},
                  "--output: 'n.json' is named .json, and --csv asks for another format");
    expectRefused({"compare", "in/a.png", "in/b.jpg", "--json", "-o", "n.csv"},
                  "--output: 'n.csv' is named .csv, and --json asks for another format");
}

TEST_F(ManyPhotographs, AppearanceTakesSeveralAndFolders) {
    ASSERT_EQ(darkroom({"appearance", "in/a.png", "-o", "."}).status, 0);
    const Outcome many = darkroom({"appearance", "in", "-o", "maps", "--recursive", "--json", "--jobs", "2"});
    EXPECT_EQ(many.status, 0) << many.err;
    EXPECT_NE(many.err.find("darkroom appearance: 3 photographs: 3 done\n"), std::string::npos) << many.err;
    EXPECT_TRUE(there("maps/a_hue.png"));
    EXPECT_TRUE(there("maps/b_brightness.tif"));
    EXPECT_TRUE(there("maps/sub/c_chroma.png"));
    EXPECT_TRUE(content("maps/a_lightness.tif") == content("a_lightness.tif"));
    const std::vector<std::string> lines = linesOf(many.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_NE(lines[0].find("\"path\":\"in/a.png\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[2].find("\"path\":\"in/sub/c.bmp\""), std::string::npos) << lines[2];
    const Outcome again = darkroom({"appearance", "in", "-o", "maps", "--recursive", "--json", "--resume"});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.out, "");
    EXPECT_NE(again.err.find("3 photographs: 0 done, 3 done before\n"), std::string::npos) << again.err;
    // A table for each, under its path, in their order; a bad file does not keep the others from it.
    write("bad.png", "no picture");
    const Outcome tables =
        darkroom({"appearance", "in/a.png", "bad.png", "in/b.jpg", "-o", "more", "--name", "x{stem}"});
    EXPECT_EQ(tables.status, 1);
    EXPECT_NE(tables.err.find("3 photographs: 2 done, 1 failed\n"), std::string::npos) << tables.err;
    EXPECT_EQ(tables.out.rfind("in/a.png\n", 0), 0U) << tables.out;
    EXPECT_NE(tables.out.find("\nin/b.jpg\n"), std::string::npos) << tables.out;
    EXPECT_TRUE(there("more/xb_saturation.png"));
}

TEST_F(ManyPhotographs, MapsOfOneNameAreToldApart) {
    fs::copy_file(output("in/a.png"), output("in/sub/a.png"));
    const std::vector<std::string> both = {"appearance", "in/a.png", "in/sub/a.png", "-o", "maps"};
    const Outcome outcome = darkroom(both);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("would both be written as 'maps/a_brightness.tif'; --name can tell them apart"),
              std::string::npos)
        << outcome.err;
    EXPECT_FALSE(there("maps"));
}

TEST_F(ManyPhotographs, InfoReadsStandardInput) {
    const Outcome named = darkroom({"info", "in/b.jpg"});
    const Outcome led = fed({"info", "-"}, "in/b.jpg");
    EXPECT_EQ(led.status, 0) << led.err;
    EXPECT_EQ(led.out, "-" + named.out.substr(named.out.find('\n')));
    const Outcome two = fed({"info", "--csv", "in/a.png", "-"}, "in/b.jpg");
    EXPECT_EQ(two.status, 0) << two.err;
    EXPECT_EQ(linesOf(two.out).size(), 3U);
    write("text", "text");
    const Outcome text = fed({"info", "-"}, "text");
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.err, "darkroom info: warning: cannot read '-': its content is of no image format that is known\n");
}

}  // namespace
}  // namespace likeness::testing
