// Parts of photographs on the command line: masks, alpha channels, regions, a weighting of the middle.
#include <likeness/likeness.hpp>
#include "console/part_options.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/refusal.hpp"
#include "photofile/part_text.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace likeness::testing {
namespace {

using nlohmann::json;

cv::Mat withAlpha(const cv::Mat& bgr, const cv::Mat& alpha) {
    cv::Mat bgra;
    cv::merge(std::vector<cv::Mat>{bgr, alpha}, bgra);
    return bgra;
}

class DarkroomPart : public DarkroomProgram {
protected:
    DarkroomPart() {
        mask(cv::Rect(3, 2, 10, 8)) = 255;
        save("first.png", first);
        save("second.png", second);
        save("mask.png", mask);
        save("white.png", cv::Mat(first.size(), CV_8U, cv::Scalar(255)));
        save("crop.png", first(cv::Rect(3, 2, 10, 8)));
        save("second_crop.png", second(cv::Rect(3, 2, 10, 8)));
    }

    std::string lineOf(const std::vector<std::string>& words) const {
        std::vector<std::string> all = {"compare"};
        all.insert(all.end(), words.begin(), words.end());
        return expectDone(all).out;
    }

    const cv::Mat first = randomPhotograph({24, 16}, 1);
    const cv::Mat second = randomPhotograph({24, 16}, 2);
    cv::Mat mask = cv::Mat(16, 24, CV_8U, cv::Scalar(0));
};

TEST_F(DarkroomPart, AllWhiteIsAsWithoutAMask) {
    EXPECT_EQ(lineOf({input("first.png"), input("second.png"), "--mask", input("white.png")}),
              lineOf({input("first.png"), input("second.png")}));
}

TEST_F(DarkroomPart, MaskAndRegionAreTheCutOutPhotograph) {
    const std::string a = input("first.png");
    const std::string b = input("second.png");
    const std::string expected = lineOf({input("crop.png"), input("second_crop.png")});
    EXPECT_EQ(lineOf({a, b, "--mask", input("mask.png")}), expected);
    EXPECT_EQ(lineOf({a, b, "--region", "3,2,10,8"}), expected);
    EXPECT_EQ(lineOf({a, b, "--region", "12.5%,12.5%,41.7%,50%"}), expected);
    EXPECT_EQ(lineOf({a, b, "--region=3,2,4,8", "--region", "7,2,6,8"}), expected);
    EXPECT_EQ(lineOf({a, b, "--first-mask", input("mask.png"), "--second-mask", input("mask.png")}), expected);
    EXPECT_EQ(lineOf({a, b, "--first-mask", input("mask.png")}), lineOf({input("crop.png"), b}));
    EXPECT_EQ(lineOf({a, b, "--mask", input("mask.png"), "--second-mask", input("white.png")}),
              lineOf({input("crop.png"), b}));
    EXPECT_EQ(lineOf({a, b, "--mask", input("white.png"), "--region", "3,2,10,8"}), expected);
    EXPECT_NE(lineOf({a, b, "--region", "ellipse:3,2,10,8"}), expected);
    EXPECT_NE(lineOf({a, b, "--center-weighted"}), lineOf({a, b}));
}

TEST_F(DarkroomPart, DeepAndFloatMasksAreTheSame) {
    cv::Mat wide;
    mask.convertTo(wide, CV_16U, 257);
    cv::Mat floats;
    mask.convertTo(floats, CV_32F, 1 / 255.0);
    cv::Mat three;
    cv::cvtColor(mask, three, cv::COLOR_GRAY2BGR);
    const std::string expected = lineOf({input("crop.png"), input("second_crop.png")});
    for (const std::string& file : {save("wide.png", wide), save("floats.tif", floats), save("three.png", three)}) {
        EXPECT_EQ(lineOf({input("first.png"), input("second.png"), "--mask", file}), expected) << file;
    }
}

TEST_F(DarkroomPart, JsonSaysWhatCounted) {
    const json result = json::parse(expectDone({"compare", input("first.png"), input("second.png"), "--json", "--mask",
                                                input("mask.png"), "--region", "0,0,50%,100%"})
                                        .out);
    EXPECT_EQ(result["first"]["mask"], (json{{"counted_pixels", 72},
                                             {"counted_share", 0.1875},
                                             {"file", input("mask.png")},
                                             {"regions", {"0,0,50%,100%"}}}));
    EXPECT_EQ(result["second"]["mask"]["counted_pixels"], 72);
    EXPECT_FALSE(
        json::parse(expectDone({"compare", input("first.png"), input("second.png"), "--json"}).out)["first"].contains(
            "mask"));
}

TEST_F(DarkroomPart, AlphaWeighsOrIsLaidOverAColor) {
    cv::Mat half = mask.clone();
    half(cv::Rect(0, 0, 24, 2)) = 51;
    const std::string a = save("alpha.png", withAlpha(first, half));
    const std::string b = input("second.png");
    const Outcome plain = expectDone({"compare", a, b});
    EXPECT_NE(plain.err.find("its alpha channel is left out"), std::string::npos);
    EXPECT_EQ(plain.out, lineOf({input("first.png"), b}));
    EXPECT_EQ(lineOf({a, b, "--alpha", "ignore"}), plain.out);
    save("half.png", half);
    const Outcome used = expectDone({"compare", a, b, "--alpha", "use"});
    EXPECT_EQ(used.out, lineOf({input("first.png"), b, "--first-mask", input("half.png")}));
    EXPECT_EQ(used.err.find("left out"), std::string::npos);
    cv::Mat laid = first.clone();
    for (int i = 0; i < laid.rows; ++i) {
        for (int j = 0; j < laid.cols; ++j) {
            const int alpha = half.at<uchar>(i, j);
            const int under[] = {30, 20, 255};
            for (int c = 0; c < 3; ++c) {
                uchar& value = laid.at<cv::Vec3b>(i, j)[c];
                value = static_cast<uchar>((2 * (alpha * value + (255 - alpha) * under[c]) + 255) / 510);
            }
        }
    }
    const std::string expected = lineOf({save("laid.png", laid), b});
    EXPECT_EQ(lineOf({a, b, "--alpha", "over 255,20,30"}), expected);
    EXPECT_EQ(lineOf({"--alpha", "over", "255,20,30", a, b}), expected);
    EXPECT_EQ(lineOf({"--alpha=over", "#ff141e", a, b}), expected);
    EXPECT_EQ(lineOf({a, b, "--alpha", "over:#FF141E"}), expected);
    EXPECT_NE(lineOf({a, b, "--alpha", "over", "white"}), expected);
    EXPECT_EQ(lineOf({input("first.png"), b, "--alpha", "use"}), plain.out);
}

TEST_F(DarkroomPart, AMaskIsOfTheUprightPhotograph) {
    cv::Mat tall;
    cv::rotate(first, tall, cv::ROTATE_90_COUNTERCLOCKWISE);
    std::vector<uchar> bytes;
    cv::imencode(".jpg", tall, bytes);
    const std::string jpeg = jpegWithOrientation(std::string(bytes.begin(), bytes.end()), 6);
    const std::string turned = saveText("turned.jpg", jpeg);
    const cv::Mat upright = cv::imread(turned);
    ASSERT_EQ(upright.size(), first.size());
    save("upright.png", upright(cv::Rect(3, 2, 10, 8)));
    EXPECT_EQ(lineOf({turned, input("second.png"), "--first-mask", input("mask.png")}),
              lineOf({input("upright.png"), input("second.png")}));
}

TEST_F(DarkroomPart, RefusalsNameTheFile) {
    const std::string a = input("first.png");
    const std::string b = input("second.png");
    const auto refused = [&](std::vector<std::string> words, const std::string& message) {
        words.insert(words.begin(), {"compare", a, b});
        expectRefused(words, message);
    };
    const std::string black = save("black.png", cv::Mat(16, 24, CV_8U, cv::Scalar(0)));
    refused({"--mask", black},
            "'" + a + "': no pixel of it counts: white of the mask '" + black + "' counts, black does not");
    const std::string small = save("small.png", cv::Mat(4, 5, CV_8U, cv::Scalar(0)));
    refused({"--mask", small},
            "the mask '" + small + "' is 5 x 4 pixels and '" + a + "' is 24 x 16: they must be of one size");
    refused({"--second-mask", small},
            "the mask '" + small + "' is 5 x 4 pixels and '" + b + "' is 24 x 16: they must be of one size");
    refused({"--mask", "none.png"}, "cannot read 'none.png': No such file or directory");
    const std::string colored = save("colored.png", second);
    refused({"--mask", colored},
            "'" + colored + "' cannot be a mask: its three channels differ at row 0, column 0: a mask is grey");
    const std::string transparent = save("transparent.png", withAlpha(first, mask));
    refused({"--mask", transparent},
            "'" + transparent + "' cannot be a mask: it has an alpha channel; a mask is grey and opaque");
    refused({"--region", "24,0,5,5"}, "--region 24,0,5,5: it holds no pixel of '" + a + "', which is 24 x 16 pixels");
    refused({"--mask", input("mask.png"), "--region", "20,0,4,4"},
            "'" + a + "': no pixel of it counts: white of the mask '" + input("mask.png") + "' counts, black does not");
}

TEST_F(DarkroomPart, AppearanceHasTheStatisticsOfThePart) {
    const json whole = json::parse(
        expectDone({"appearance", input("first.png"), "-o", folder(), "--json", "--mask", input("mask.png")}).out);
    const json crop = json::parse(expectDone({"appearance", input("crop.png"), "-o", folder(), "--json"}).out);
    EXPECT_EQ(whole["correlates"], crop["correlates"]);
    EXPECT_EQ(whole["input"]["mask"]["counted_pixels"], 80);
    EXPECT_EQ(imageLeft("first_lightness.tif").size(), first.size());
    const json weighted =
        json::parse(expectDone({"appearance", input("first.png"), "-o", folder(), "--json", "--center-weighted"}).out);
    EXPECT_NE(weighted["correlates"]["lightness"]["mean"], whole["correlates"]["lightness"]["mean"]);
    EXPECT_EQ(weighted["correlates"]["lightness"]["count"], 24 * 16);
}

TEST_F(DarkroomPart, WhiteIsThatOfThePart) {
    const std::string cat = photo("cat.jpg");
    const cv::Mat image = examplePhotograph("cat.jpg");
    const cv::Rect part(100, 60, 80, 70);
    const std::string crop = save("cat_crop.png", image(part));
    EXPECT_EQ(expectDone({"white", cat, "--region", "100,60,80,70"}).out, expectDone({"white", crop}).out);
    EXPECT_NE(expectDone({"white", cat, "--center-weighted"}).out, expectDone({"white", cat}).out);
    const json result = json::parse(expectDone({"white", cat, "--region", "100,60,80,70", "--json"}).out);
    EXPECT_EQ(result["input"]["mask"]["counted_pixels"], 5600);
}

TEST_F(DarkroomPart, TransferAndMatchTakeTheStatisticsOfTheParts) {
    const std::string cat = photo("cat.jpg");
    const std::string coffee = photo("coffee.jpg");
    const cv::Mat image = unitPhotograph("cat.jpg");
    const cv::Mat palette = unitPhotograph("coffee.jpg");
    const PixelWeights weights = PixelWeights::ofRegions(
        image.size(), {regionIn("10%,20%,30%,40%").region, regionIn("ellipse:40%,40%,40%,40%").region});
    const PixelWeights paletteWeights = PixelWeights::ofRegions(
        palette.size(), {regionIn("10%,20%,30%,40%").region, regionIn("ellipse:40%,40%,40%,40%").region});
    const std::vector<std::string> regions = {"--region", "10%,20%,30%,40%", "--region", "ellipse:40%,40%,40%,40%"};
    const auto run = [&](std::vector<std::string> words) {
        words.insert(words.end(), regions.begin(), regions.end());
        words.insert(words.end(), {"-o", output("out.tif"), "--depth", "float"});
        expectDone(words);
        cv::Mat left = imageLeft("out.tif");
        std::filesystem::remove(output("out.tif"));
        return left;
    };
    const ColorTransfer transfer(PhotographPart{image, weights}, PhotographPart{palette, paletteWeights});
    EXPECT_EQ(cv::norm(run({"transfer", cat, "--palette", coffee}), transfer.apply(), cv::NORM_INF), 0);
    const cv::Mat same = unitPhotograph("cat.jpg") * 0.7;
    const PixelWeights mine = PixelWeights::ofRegions(same.size(), {regionIn("10%,20%,30%,40%").region});
    const LightnessMatch match = matchLightness(PhotographPart{same, mine}, PhotographPart{image, mine});
    EXPECT_NEAR(match.reached.mean, match.wanted.mean, 0.5);
    EXPECT_EQ(match.wanted.mean, lightnessStatisticsOf(PhotographPart{image, mine}).mean);
    EXPECT_NE(match.wanted.mean, lightnessStatisticsOf(image).mean);
}

TEST_F(DarkroomPart, GreyStatisticsAreWeightedMeans) {
    // Two colours, of which one counts 1/5: as five pixels would, of which one has it.
    const cv::Mat two = (cv::Mat_<cv::Vec3f>(1, 2) << cv::Vec3f(0.2F, 0.5F, 0.7F), cv::Vec3f(0.6F, 0.3F, 0.4F));
    const cv::Mat weights = (cv::Mat_<ushort>(1, 2) << 65535, 13107);
    cv::Mat six(1, 6, CV_32FC3);
    six.colRange(0, 5) = cv::Scalar(0.2, 0.5, 0.7);
    six.at<cv::Vec3f>(0, 5) = two.at<cv::Vec3f>(0, 1);
    const PhotographPart part{two, PixelWeights::ofMask(weights)};
    EXPECT_NEAR(lightnessStatisticsOf(part).mean, lightnessStatisticsOf(six).mean, 1e-3);
    EXPECT_NEAR(lightnessStatisticsOf(part).deviation, lightnessStatisticsOf(six).deviation, 1e-2);
    const cv::Mat palette = exampleImage("coffee.jpg");
    const ColorMap found = ColorTransfer(part, PhotographPart{palette, {}}).map();
    const ColorMap expected = ColorTransfer(six, palette).map();
    EXPECT_NEAR(cv::norm(found.inputMean - expected.inputMean), 0, 1e-3);
}

TEST_F(DarkroomPart, BatchHasMasksInItsColumns) {
    const std::string list = saveText("list.csv",
                                      "id,first,second,first_mask,second_mask\n"
                                      "both,first.png,second.png,mask.png,mask.png\n"
                                      "one,first.png,second.png,mask.png,\n"
                                      "none,first.png,second.png,,\n"
                                      "wrong,first.png,second.png,missing.png,\n");
    const std::string root = std::filesystem::path(input("list.csv")).parent_path();
    const auto recordsOf = [&](std::vector<std::string> words, const std::string& name, int status) {
        words.insert(words.begin(), {"batch", list, "--root", root, "-o", output(name)});
        EXPECT_EQ(darkroom(words).status, status);
        std::vector<json> records;
        std::ifstream in(output(name));
        for (std::string line; std::getline(in, line);) {
            records.push_back(json::parse(line));
        }
        return records;
    };
    const std::vector<json> records = recordsOf({}, "plain.jsonl", 1);
    ASSERT_EQ(records.size(), 4U);
    const auto brightness = [&](const std::string& line) { return std::stod(line.substr(0, line.find(','))); };
    const std::string a = input("first.png");
    const std::string b = input("second.png");
    const auto recorded = [](const json& record) { return record.at("brightness").get<double>(); };
    EXPECT_NEAR(recorded(records[0]), brightness(lineOf({input("crop.png"), input("second_crop.png")})), 1e-6);
    EXPECT_NEAR(recorded(records[1]), brightness(lineOf({input("crop.png"), b})), 1e-6);
    EXPECT_NEAR(recorded(records[2]), brightness(lineOf({a, b})), 1e-6);
    EXPECT_NE(records[3].dump().find("missing.png"), std::string::npos);
    const std::vector<json> regions = recordsOf({"--region", "3,2,10,8"}, "regions.jsonl", 1);
    EXPECT_NEAR(recorded(regions[2]), recorded(records[0]), 1e-9);
    EXPECT_NE(regions[2].at("parameters"), records[2].at("parameters"));
    // A run with other parts does not go on with this one.
    EXPECT_EQ(
        darkroom({"batch", list, "--root", root, "-o", output("plain.jsonl"), "--resume", "--center-weighted"}).status,
        2);
}

TEST_F(DarkroomPart, BatchComparesAgainWhatHasOtherMasks) {
    const auto list = [&](const std::string& lines) { return saveText("list.csv", "id,first,second" + lines); };
    const std::string root = std::filesystem::path(input("first.png")).parent_path();
    for (const std::string extension : {"csv", "jsonl", "db"}) {
        const auto run = [&](const std::string& path, const std::string& name, bool resume) {
            std::vector<std::string> words{"batch", path, "--root", root, "-o", output(name + '.' + extension)};
            if (resume) {
                words.emplace_back("--resume");
            }
            return darkroom(words).status;
        };
        ASSERT_EQ(run(list("\nboth,first.png,second.png\n"), "resumed", false), 0);
        const std::string masked = list(",first_mask,second_mask\nboth,first.png,second.png,mask.png,mask.png\n");
        ASSERT_EQ(run(masked, "resumed", true), 0);
        ASSERT_EQ(run(masked, "anew", false), 0);
        if (extension != "db") {
            EXPECT_EQ(contentOf(output("resumed." + extension)), contentOf(output("anew." + extension)));
        }
        EXPECT_EQ(run(masked, "resumed", true), 0);
        // And when there are none any more.
        const std::string bare = list("\nboth,first.png,second.png\n");
        ASSERT_EQ(run(bare, "resumed", true), 0);
        ASSERT_EQ(run(bare, "bare", false), 0);
        if (extension != "db") {
            EXPECT_EQ(contentOf(output("resumed." + extension)), contentOf(output("bare." + extension)));
        }
    }
}

TEST_F(DarkroomPart, BatchFailsAPhotographThatIsThereTwiceForItsSecondMask) {
    const std::string list = saveText("list.csv",
                                      "id,first,second,first_mask,second_mask\n"
                                      "same,first.png,first.png,mask.png,missing.png\n");
    const std::string root = std::filesystem::path(input("list.csv")).parent_path();
    EXPECT_EQ(darkroom({"batch", list, "--root", root, "-o", output("r.jsonl")}).status, 1);
    const json record = json::parse(contentOf(output("r.jsonl")));
    EXPECT_EQ(record.at("status"), "failed");
    EXPECT_NE(record.at("error").get<std::string>().find("missing.png"), std::string::npos);
}

TEST_F(DarkroomPart, IndexKeepsPartsApart) {
    const std::string a = input("first.png");
    expectDone({"index", a, "-o", output("part.likeness"), "--mask", input("mask.png")});
    expectDone({"index", a, "-o", output("whole.likeness")});
    const std::string list = saveText("list.csv", "first,second\n" + a + "," + a + "\n");
    EXPECT_EQ(darkroom({"batch", list, "--archive", output("part.likeness"), "-o", output("r.csv")}).status, 2);
    EXPECT_EQ(darkroom({"batch", list, "--archive", output("whole.likeness"), "-o", output("r.csv")}).status, 0);
}

TEST(RegionIn, ReadsPixelsAndPercent) {
    const RegionChoice choice = regionIn("ellipse:-5,10%,20.5,30%");
    EXPECT_EQ(choice.region.shape, PhotographRegion::Shape::ellipse);
    EXPECT_EQ(choice.region.x.value, -5);
    EXPECT_FALSE(choice.region.x.percent);
    EXPECT_TRUE(choice.region.y.percent);
    EXPECT_EQ(choice.region.width.value, 20.5);
    EXPECT_EQ(choice.region.height.value, 30);
    for (const char* const text : {"", "1,2,3", "1,2,3,4,5", "a,2,3,4", "1,2,3,%", "1,2,-3,4", "1,2,0,4",
                                   "circle:1,2,3,4", "nan,0,1,1", "inf,0,1,1", "1, 2,3,4"}) {
        EXPECT_THROW(regionIn(text), Refusal) << text;
    }
}

TEST_F(DarkroomPart, WhereAndWhyLookAtWhatCounts) {
    const std::string a = input("first.png");
    const std::string b = input("second.png");
    std::filesystem::create_directory(output("maps"));
    const std::vector<std::string> asked = {
        "--explain", "--tiles", "2", "--interval", "--difference-maps", "maps", "--json", "--tile-table", "t.csv"};
    const auto resultOf = [&](const std::string& one, const std::string& other, std::vector<std::string> more) {
        more.insert(more.begin(), {one, other});
        more.insert(more.end(), asked.begin(), asked.end());
        return json::parse(lineOf(more));
    };
    const json whole = resultOf(a, b, {});
    const std::string table = contentOf(folder() / "t.csv");
    const json white = resultOf(a, b, {"--mask", input("white.png")});
    EXPECT_EQ(contentOf(folder() / "t.csv"), table);
    const json crop = resultOf(input("crop.png"), input("second_crop.png"), {});
    const json masked = resultOf(a, b, {"--mask", input("mask.png")});
    for (const char* const key : {"explanation", "tiles", "intervals", "differences", "coefficients"}) {
        EXPECT_EQ(white[key], whole[key]) << key;
    }
    EXPECT_EQ(masked["explanation"], crop["explanation"]);
    EXPECT_NE(masked["explanation"], whole["explanation"]);
    // 10 x 8 pixels from 3, 2 on, in tiles of 12 x 8.
    std::vector<int> pixels;
    for (const json& tile : masked["tiles"]) {
        EXPECT_EQ(tile["first_pixels"], tile["second_pixels"]);
        EXPECT_EQ(tile["few_pixels"], true);
        pixels.push_back(tile["first_pixels"]);
    }
    EXPECT_EQ(pixels, (std::vector<int>{54, 6, 18, 2}));
    EXPECT_NE(contentOf(folder() / "t.csv").find(",54,54,true\n"), std::string::npos);
    EXPECT_EQ(masked["differences"]["ciede2000"]["nan_pixels"], 24 * 16 - 80);
    EXPECT_EQ(masked["differences"]["ciede2000"]["mean"], crop["differences"]["ciede2000"]["mean"]);
    EXPECT_EQ(masked["differences"]["chroma"]["maximum"], crop["differences"]["chroma"]["maximum"]);
    const json weighted = resultOf(a, b, {"--center-weighted"});
    EXPECT_TRUE(weighted["tiles"][0]["first_pixels"].is_number_float());
    EXPECT_NE(weighted["explanation"], whole["explanation"]);
}

}  // namespace
}  // namespace likeness::testing
