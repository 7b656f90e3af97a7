#include "darkroom/darkroom_program.hpp"
#include "support/built_modules.hpp"
#include "support/needed_package.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <filesystem>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class DarkroomSearch : public DarkroomProgram {
protected:
    static constexpr int photographs = 9;

    void SetUp() override {
        fs::create_directory(input("photos"));
        for (int k = 0; k < photographs; ++k) {
            const cv::Mat whole = examplePhotograph(examplePhotographNames()[static_cast<std::size_t>(k) % 4]);
            cv::imwrite(photograph(k), whole(cv::Rect(10 * k, 7 * k, 150 + 10 * k, 100)).clone());
        }
        expectDone({"index", input("photos"), "-o", "a", "--quiet"});
    }

    std::string photograph(int k) const { return input("photos/p" + std::to_string(k) + ".jpg"); }

    Json found(std::vector<std::string> further) const {
        further.insert(further.begin(), {"search", "a"});
        further.emplace_back("--json");
        return Json::parse(expectDone(further).out).at("results");
    }
};

TEST_F(DarkroomSearch, PrintsTheNumbersOfCompare) {
    const Json results = found({photo("cat.jpg"), photograph(2), "--top", "4"});
    ASSERT_EQ(results.size(), 8U);
    double before = 2;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const Json& result = results[i];
        EXPECT_EQ(result.at("query"), i < 4 ? photo("cat.jpg") : photograph(2));
        EXPECT_EQ(result.at("rank"), i % 4 + 1);
        before = i % 4 == 0 ? 2 : before;
        EXPECT_LE(result.at("score").get<double>(), before);
        before = result.at("score").get<double>();
        const Outcome compared = expectDone({"compare", result.at("query"), result.at("path"), "--json", "--quiet"});
        const Json coefficients = Json::parse(compared.out).at("coefficients");
        for (const auto& [name, value] : coefficients.items()) {
            EXPECT_EQ(result.at(name), value) << name;
        }
    }
    EXPECT_EQ(results[4].at("path"), photograph(2));
}

TEST_F(DarkroomSearch, TakesThePartThatCountsOfFiles) {
    expectDone({"index", input("photos"), "-o", "part", "--center-weighted", "--quiet"});
    const std::string query = photo("cat.jpg");
    const auto first = [&](const std::vector<std::string>& call) {
        return Json::parse(expectDone(call).out).at("results").at(0);
    };
    // A whole photograph is none of what the archive is made of.
    EXPECT_NE(darkroom({"search", "part", query}).err.find("was made with other parameters"), std::string::npos);
    const Json found = first({"search", "part", query, "--center-weighted", "--top", "1", "--json", "--quiet"});
    const Json compared =
        Json::parse(expectDone({"compare", query, found.at("path"), "--center-weighted", "--json", "--quiet"}).out)
            .at("coefficients");
    for (const auto& [name, value] : compared.items()) {
        EXPECT_EQ(found.at(name), value) << name;
    }
    // Entries are of the part already, named with it or without.
    EXPECT_EQ(first({"search", "part", photograph(2), "--json", "--quiet"}).at("path"), photograph(2));
    EXPECT_EQ(first({"search", "part", photograph(2), "--center-weighted", "--json", "--quiet"}).at("path"),
              photograph(2));
    EXPECT_NE(darkroom({"search", "part", query, "--region", "0,0,50%,50%"}).err.find("was made with other parameters"),
              std::string::npos);
    // Of whole photographs a part may be searched for, and that is said.
    const Outcome mixed = expectDone({"search", "a", photograph(2), query, "--region", "0,0,50%,50%", "--json"});
    EXPECT_NE(mixed.err.find("is of whole photographs, and a part is searched for"), std::string::npos) << mixed.err;
    const Json of = Json::parse(mixed.out).at("results").at(0);
    cv::Mat pixels = cv::imread(photograph(2));
    pixels = pixels(cv::Rect(0, 0, pixels.cols / 2, pixels.rows / 2)).clone();
    cv::imwrite(output("quarter.png"), pixels);
    const Json quarter =
        Json::parse(expectDone({"compare", "quarter.png", of.at("path"), "--json", "--quiet"}).out).at("coefficients");
    for (const auto& [name, value] : quarter.items()) {
        EXPECT_EQ(of.at(name), value) << name;
    }
}

TEST_F(DarkroomSearch, ShowsNamesEscaped) {
    fs::copy_file(photograph(0), input("photos/a\x1b[31m\nforged.jpg"));
    expectDone({"index", input("photos"), "-o", "hostile", "--quiet"});
    const std::string text = expectDone({"search", "hostile", photograph(0), "--top", "2"}).out;
    EXPECT_NE(text.find("a\\x1b[31m\\nforged.jpg\n"), std::string::npos) << text;
    EXPECT_EQ(linesOf(text).size(), 3U);
}

TEST_F(DarkroomSearch, RanksAndLimitsAsAsked) {
    const Json all = found({photograph(0)});
    ASSERT_EQ(all.size(), static_cast<std::size_t>(photographs));
    for (const std::string by : {"chroma", "least"}) {
        double before = 2;
        for (const Json& result : found({photograph(0), "--by", by})) {
            double expected = result.at("chroma").get<double>();
            if (by == "least") {
                for (const char* const name : {"brightness", "lightness", "colorfulness", "saturation"}) {
                    expected = std::min(expected, result.at(name).get<double>());
                }
            }
            EXPECT_NEAR(result.at("score").get<double>(), expected, 1e-9);
            EXPECT_LE(result.at("score").get<double>(), before);
            before = result.at("score").get<double>();
        }
    }
    const Json weighted = found({photograph(0), "--weights", "brightness=2,chroma=1", "--top", "1", "--others"});
    ASSERT_EQ(weighted.size(), 1U);
    EXPECT_NE(weighted[0].at("path"), photograph(0));
    EXPECT_NEAR(weighted[0].at("score").get<double>(),
                (2 * weighted[0].at("brightness").get<double>() + weighted[0].at("chroma").get<double>()) / 3, 1e-8);
    const Json limited = found({photograph(0), "--min", "chroma=0.9"});
    EXPECT_EQ(limited.size(), static_cast<std::size_t>(std::count_if(
                                  all.begin(), all.end(), [](const Json& r) { return r.at("chroma") >= 0.9; })));
    EXPECT_EQ(found({photograph(0), "--where", "width>=200", "--where", "path=*p[5-8].jpg"}).size(), 4U);
    EXPECT_EQ(found({photograph(0), "--where", "width<200"}).size(), 5U);
}

TEST_F(DarkroomSearch, IsTheSameForAnyThreadsAndInEveryForm) {
    const std::vector<std::string> asked = {"search", "a", photograph(1), "--top", "3"};
    const std::string text = expectDone(asked).out;
    for (const std::string threads : {"1", "3"}) {
        std::vector<std::string> arguments = asked;
        arguments.insert(arguments.end(), {"--threads", threads});
        EXPECT_EQ(expectDone(arguments).out, text);
    }
    EXPECT_EQ(linesOf(text).size(), 4U);
    const std::vector<std::string> csv =
        linesOf(expectDone({"search", "a", photograph(1), "--csv", "--top", "1", "--report", "r.html"}).out);
    ASSERT_EQ(csv.size(), 2U);
    EXPECT_EQ(csv[0], "query,rank,path,brightness,lightness,chroma,colorfulness,saturation,score");
    EXPECT_EQ(csv[1].rfind(photograph(1) + ",1," + photograph(1) + ",1,0.99999994,1,1,1,0.99999998", 0), 0U) << csv[1];
    EXPECT_NE(contentOf(output("r.html")).find("data:image/jpeg"), std::string::npos);
}

TEST_F(DarkroomSearch, FollowsTheExtensionOfItsOutput) {
    const std::string query = photograph(2);
    const std::string json = expectDone({"search", "a", query, "--json"}).out;
    const std::string csv = expectDone({"search", "a", query, "--csv"}).out;
    expectDone({"search", "a", query, "-o", "n.json", "--quiet"});
    expectDone({"search", "a", query, "-o", "n.csv", "--quiet"});
    EXPECT_EQ(contentOf(output("n.json")), json);
    EXPECT_EQ(contentOf(output("n.csv")), csv);
    expectRefused({"search", "a", query, "-o", "n.csv", "--json"},
                  "--output: 'n.csv' is named .csv, and --json asks for another format");
}

TEST_F(DarkroomSearch, KnowsEntriesWhoseFilesAreGoneOrChanged) {
    const Json before = found({photograph(3), "--top", "2"});
    fs::remove(photograph(3));
    EXPECT_EQ(found({photograph(3), "--top", "2"}), before);
    ASSERT_TRUE(cv::imwrite(photograph(3), examplePhotograph("rocket.jpg")));
    const Outcome changed = expectDone({"search", "a", photograph(3), "--top", "1"});
    EXPECT_NE(changed.err.find("has changed since it was indexed: the file is analysed"), std::string::npos);
}

TEST_F(DarkroomSearch, Refuses) {
    expectRefused({"search", "a", input("none.jpg")},
                  "QUERY: cannot read '" + input("none.jpg") + "': No such file or directory");
    expectRefused({"search", photo("cat.jpg"), photo("cat.jpg")}, "'" + photo("cat.jpg") + "' is no archive");
    expectRefused({"search", "a", photograph(0), "--weights", "brightness=2,hue=x"},
                  "--weights: 'hue=x': a weight from 0 to 1000000 is expected");
    expectRefused({"search", "a", photograph(0), "--by", "hue"},
                  "--by, --weights, --min: the archive has no hue; darkroom index --hue makes one that has");
    expectRefused({"search", "a", photograph(0), "--where", "depth>3"},
                  "--where: 'depth>3' is not COLUMN<=NUMBER, >= or = with width, height, pixels or bytes, or "
                  "path=PATTERN");
    const Outcome profiles = darkroom({"search", "a", photo("cat.jpg"), "--ignore-profile"});
    EXPECT_EQ(profiles.status, 2);
    EXPECT_NE(profiles.err.find("was made with other parameters"), std::string::npos) << profiles.err;
}

TEST_F(DarkroomSearch, HasDistancesWhereTheyAreAskedFor) {
    const Json results = found({photograph(0), "--top", "2", "--distances"});
    const Json compared = Json::parse(
        expectDone({"compare", photograph(0), results[1].at("path"), "--distances", "--json", "--quiet"}).out);
    EXPECT_EQ(results[1].at("distances"), compared.at("distances"));
    const std::vector<std::string> csv =
        linesOf(expectDone({"search", "a", photograph(0), "--top", "2", "--distances", "--csv"}).out);
    EXPECT_NE(csv.at(0).find(",score,brightness_wasserstein,"), std::string::npos);
    EXPECT_EQ(std::count(csv.at(1).begin(), csv.at(1).end(), ','), std::count(csv[0].begin(), csv[0].end(), ','));
    EXPECT_EQ(linesOf(expectDone({"search", "a", photograph(0), "--top", "2", "--distances"}).out).size(), 13U);
}

TEST_F(DarkroomSearch, TakesQueriesFromAList) {
    const std::string list = saveText("queries.txt", photograph(3) + "\n\n" + photograph(1) + "\r\n");
    EXPECT_EQ(expectDone({"search", "a", photograph(0), "--list", list}).out,
              expectDone({"search", "a", photograph(0), photograph(3), photograph(1)}).out);
}

TEST_F(DarkroomSearch, IsApproximateByAnIndex) {
    if (!isModuleBuilt("nearest")) {
        SKIP_WITHOUT_PACKAGE("the module that builds the graph was not built: hnswlib is not installed");
    }
    expectRefused(
        {"search", "a", photograph(0), "--approximate"},
        "--approximate: cannot read 'a.nearest': No such file or directory; darkroom index --approximate makes it");
    const Outcome made = darkroom({"index", input("photos"), "-o", "a", "--update", "--approximate"});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_NE(made.err.find("approximate index: recall at 10 1.000, measured on 9 photographs"), std::string::npos)
        << made.err;
    const Outcome found = expectDone({"search", "a", photograph(0), photo("cat.jpg"), "--approximate"});
    EXPECT_EQ(found.out, expectDone({"search", "a", photograph(0), photo("cat.jpg")}).out);
    EXPECT_NE(found.err.find("approximate: recall at 10 1.000, measured on 9 photographs when the index was made"),
              std::string::npos)
        << found.err;
    EXPECT_EQ(filesLeft(), (std::vector<std::string>{"a", "a.nearest"}));
    expectRefused({"search", "a", photograph(0), "--approximate", "--by", "chroma"},
                  "--approximate: the index leads to what is near by the mean; leave out --by and --weights");
    fs::remove(photograph(8));
    expectDone({"index", input("photos"), "-o", "a", "--update", "--quiet"});
    expectRefused(
        {"search", "a", photograph(0), "--approximate", "--quiet"},
        "--approximate: 'a.nearest' is stale: the archive has changed since; darkroom index --approximate makes "
        "it anew");
}

}  // namespace
}  // namespace likeness::testing
