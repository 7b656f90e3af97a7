// `darkroom info` as a user meets it.
#include "darkroom/darkroom_program.hpp"
#include "support/built_modules.hpp"
#include "support/needed_package.hpp"
#include "support/process.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

using nlohmann::json;
using DarkroomInfo = DarkroomProgram;

TEST_F(DarkroomInfo, TellsWhatAFileHolds) {
    const std::string cat = photo("cat.jpg");
    const Outcome outcome = expectDone({"info", cat});
    EXPECT_EQ(outcome.err, "");
    const std::vector<std::string> lines = linesOf(outcome.out);
    ASSERT_GE(lines.size(), 7U);
    EXPECT_EQ(lines[0], cat);
    EXPECT_EQ(lines[1], "  format: JPEG");
    EXPECT_NE(outcome.out.find("  size: 451 x 300 pixels, "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("  values: 8 bits\n  channels: 3\n  alpha: no\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("  read as: B, G, R, 8 bits\n"), std::string::npos) << outcome.out;
}

TEST_F(DarkroomInfo, JsonHasEveryFactOfEveryFile) {
    cv::Mat deep(3, 4, CV_16UC4, cv::Scalar(1, 2, 3, 4));
    const std::string png = save("a.png", deep);
    const std::string pfm = save("a.pfm", cv::Mat(3, 4, CV_32FC3, cv::Scalar(0.5, 0.5, 0.5)));
    const json files = json::parse(expectDone({"info", "--json", png, pfm}).out)["files"];
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0]["path"], png);
    EXPECT_EQ(files[0]["error"], nullptr);
    EXPECT_EQ(files[0]["format"], "PNG");
    EXPECT_EQ(files[0]["width_pixels"], 4);
    EXPECT_EQ(files[0]["height_pixels"], 3);
    EXPECT_EQ(files[0]["bits"], 16);
    EXPECT_EQ(files[0]["floats"], false);
    EXPECT_EQ(files[0]["channels"], 4);
    EXPECT_EQ(files[0]["alpha"], true);
    EXPECT_EQ(files[0]["transfer_curve"], "sRGB");
    EXPECT_EQ(files[0]["read_as"], "B, G, R, 16 bits, without alpha");
    EXPECT_EQ(files[1]["floats"], true);
    EXPECT_EQ(files[1]["transfer_curve"], "linear");
    EXPECT_EQ(files[1]["read_as"], "B, G, R, floats, encoded for sRGB");
}

TEST_F(DarkroomInfo, GoesOnAfterAFileThatCannotBeReadAndSaysWhy) {
    const std::string whole = save("a.png", cv::Mat(30, 40, CV_8UC3, cv::Scalar(1, 2, 3)));
    const std::string cut = saveText("cut.png", contentOf(whole).substr(0, 60));
    const std::string text = saveText("text.jpg", "text");
    const std::string empty = saveText("empty.jpg", "");
    const Outcome outcome = darkroom({"info", "missing.jpg", ".", empty, text, cut, whole});
    EXPECT_EQ(outcome.status, 1);
    const std::string begin = "darkroom info: warning: cannot read '";
    EXPECT_EQ(outcome.err, begin + "missing.jpg': No such file or directory\n" + begin + ".': it is a folder\n" +
                               begin + empty + "': it is empty\n" + begin + text +
                               "': its content is of no image format that is known\n" + begin + cut +
                               "': it is cut off at byte 60\n");
    EXPECT_NE(outcome.out.find(whole + "\n  format: PNG\n"), std::string::npos) << outcome.out;
    const Outcome limited = darkroom({"info", whole, "--max-pixels", "1199"});
    EXPECT_EQ(limited.status, 1);
    EXPECT_EQ(limited.err, begin + whole + "': it is 40 x 30 pixels, and the limit (--max-pixels) is 1199 in all\n");
}

TEST_F(DarkroomInfo, RefusesPagesWhereReadingDoes) {
    const std::string png = save("a.png", cv::Mat(3, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
    const std::string jpeg = save("a.jpg", cv::Mat(3, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
    const std::string bmp = save("a.bmp", cv::Mat(3, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
    const Outcome outcome = darkroom({"info", png, jpeg, bmp, "--page", "2"});
    EXPECT_EQ(outcome.status, 1);
    const std::string begin = "darkroom info: warning: cannot read '";
    EXPECT_EQ(outcome.err, begin + png + "': --page: PNG is read without pages\n" + begin + jpeg +
                               "': --page: JPEG is read without pages\n" + begin + bmp +
                               "': --page: BMP is read without pages\n");
    expectRefused({"smooth", png, "-o", "b.png", "--page", "2"},
                  "cannot read '" + png + "': --page: PNG is read without pages");
}

TEST_F(DarkroomInfo, SaysHowFarACutOffJpegGoes) {
    const std::string bytes = contentOf(photo("cat.jpg"));
    const std::string cut = saveText("cut.jpg", bytes.substr(0, 30000));
    const json file = json::parse(expectDone({"info", "--json", cut}).out)["files"][0];
    EXPECT_EQ(file["error"], nullptr);
    EXPECT_NE(file["remarks"].dump().find("it is cut off at byte 30000, and is read as far as it goes"),
              std::string::npos)
        << file["remarks"];
    const std::string gif = saveText(
        "a.gif", std::string("GIF89a\x01\0\x01\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\x01\0\x01\0\0\x02", 30));
    const Outcome refused = darkroom({"info", gif});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "darkroom info: warning: cannot read '" + gif + "': it is cut off at byte 30\n");
}

TEST_F(DarkroomInfo, ATableHasALineForEachFile) {
    const std::vector<std::string> lines = linesOf(expectDone({"info", "--csv", photo("cat.jpg")}).out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].rfind("path,error,format,codec,size_bytes,width_pixels,height_pixels,bits,", 0), 0U) << lines[0];
    EXPECT_NE(lines[1].find(",JPEG,baseline,"), std::string::npos) << lines[1];
}

TEST_F(DarkroomInfo, TellsWhatTheCameraNoted) {
    const std::string path = saveText("a.jpg", jpegWithOrientation(contentOf(photo("cat.jpg")), 6));
    const json file = json::parse(expectDone({"info", "--json", path}).out)["files"][0];
    const std::string remarks = file["remarks"].dump();
    if (!isModuleBuilt("metadata")) {
        SKIP_WITHOUT_PACKAGE("the module that reads metadata was not built: its library is not installed");
    }
    EXPECT_EQ(remarks, "[]");
    EXPECT_EQ(file["orientation"], 6);
}

TEST_F(DarkroomInfo, NamesAModuleThatIsMissing) {
    const std::string jxl = saveText("a.jxl", std::string("\xFF\x0A\x00\x00", 4));
    const Outcome outcome =
        run({"/usr/bin/env", "LIKENESS_MODULES=/nowhere", LIKENESS_DARKROOM, "info", jxl}, folder());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("cannot read '" + jxl + "': the module likeness_jxl.so cannot be loaded"),
              std::string::npos)
        << outcome.err;
}

}  // namespace
}  // namespace likeness::testing
