// The page of a comparison, as a browser shows it.
#include "pages/comparison_report.hpp"

#include <likeness/version.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/browser.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <fstream>
#include <regex>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

/// Markup between the tags of the element with an id; it holds no element of its own.
std::string textOf(const std::string& dom, const std::string& id) {
    const std::regex element("id=\"" + id + "\"[^>]*>([^<]*)<");
    std::smatch match;
    if (!std::regex_search(dom, match, element)) {
        ADD_FAILURE() << "no element with the id " << id;
        return "";
    }
    return match[1];
}

class ComparisonPage : public DarkroomProgram {
protected:
    void SetUp() override {
        if (!Browser::isHere()) {
            GTEST_SKIP() << "there is no chromium";
        }
    }

    /// Compares two photographs, one with a name that has a meaning in markup, and keeps page and JSON.
    void makePage() {
        first_ = save("a <b> & \"c\" 'd'.png", examplePhotograph("rocket.jpg"));
        second_ = photo("coffee.jpg");
        const Outcome outcome = darkroom({"compare", first_, second_, "--report", "page.html", "--json", "--min",
                                          "brightness=0.99,chroma=0.01", "--quiet"});
        ASSERT_EQ(outcome.status, 1) << outcome.err;
        json_ = nlohmann::json::parse(outcome.out);
        page_ = contentOf(folder() / "page.html");
        EXPECT_EQ(filesLeft(), std::vector<std::string>{"page.html"});
    }

    std::string first_;
    std::string second_;
    nlohmann::json json_;
    std::string page_;
};

TEST_F(ComparisonPage, ShowsTheNumbersOfTheResult) {
    makePage();
    const Browser browser;
    const std::string dom = browser.domOf(folder() / "page.html");
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        const std::string text = textOf(dom, std::string("coefficient-") + correlate.name);
        EXPECT_EQ(std::stod(text), json_["coefficients"][correlate.name].get<double>()) << correlate.name;
    }
    EXPECT_EQ(textOf(dom, "limit-brightness"), "0.99");
    EXPECT_EQ(textOf(dom, "limit-lightness"), "");
    EXPECT_EQ(textOf(dom, "verdict").rfind("Below the limits: brightness ", 0), 0U);
    EXPECT_EQ(textOf(dom, "path-second"), second_);
    // As the browser writes text: quotes need no escape.
    EXPECT_NE(textOf(dom, "path-first").find("a &lt;b&gt; &amp; \"c\" 'd'.png"), std::string::npos);
    EXPECT_EQ(textOf(dom, "size-first"), "640 x 427 pixels");
    EXPECT_EQ(textOf(dom, "bytes-first"), std::to_string(fs::file_size(first_)) + " bytes");
    EXPECT_EQ(textOf(dom, "bytes-second"), std::to_string(fs::file_size(second_)) + " bytes");
    for (const auto& [place, path] : {std::pair("first", first_), std::pair("second", second_)}) {
        const std::string sum = run({"/usr/bin/env", "sha256sum", "--zero", path}, folder()).out;
        EXPECT_EQ(textOf(dom, std::string("sha256-") + place), sum.substr(0, 64));
        EXPECT_EQ(std::stod(textOf(dom, std::string("background-") + place)),
                  json_[place]["background_luminance"].get<double>());
    }
    EXPECT_EQ(textOf(dom, "adapting-luminance-first"), "20");
    EXPECT_EQ(textOf(dom, "white-second"), "100");
    EXPECT_EQ(textOf(dom, "program"), "darkroom " LIKENESS_VERSION);
}

TEST_F(ComparisonPage, AsksForNothingFromElsewhere) {
    makePage();
    EXPECT_EQ(page_.find("http:"), std::string::npos);
    EXPECT_EQ(page_.find("https:"), std::string::npos);
    EXPECT_EQ(page_.find("url("), std::string::npos);
    EXPECT_EQ(page_.find("<script"), std::string::npos);
    EXPECT_EQ(page_.find("<link"), std::string::npos);
    EXPECT_EQ(page_.find("href="), std::string::npos);
    int images = 0;
    for (std::size_t i = page_.find("src=\""); i != std::string::npos; i = page_.find("src=\"", i + 1)) {
        EXPECT_EQ(page_.compare(i + 5, 11, "data:image/"), 0) << page_.substr(i, 60);
        ++images;
    }
    EXPECT_EQ(images, 2 + 5 * 3) << "two photographs, and two maps and a scale for each correlate";
    // The same page under the same names, whenever it is made.
    expectDone({"compare", first_, second_, "--report", "again.html", "--quiet"});
    expectDone({"compare", first_, second_, "--report", "more.html", "--quiet"});
    EXPECT_TRUE(contentOf(folder() / "again.html") == contentOf(folder() / "more.html"));
}

TEST_F(ComparisonPage, FitsAPhoneAndADesk) {
    makePage();
    std::ofstream(output("frame.html")) << R"(<!DOCTYPE html><body><p id="result"></p>
<iframe id="phone" src="page.html" width="390" height="800" frameborder="0"></iframe>
<iframe id="desk" src="page.html" width="1200" height="800" frameborder="0"></iframe><script>
window.onload = () => {
    let text = '';
    for (const name of ['phone', 'desk']) {
        const page = document.getElementById(name).contentDocument;
        const images = Array.from(page.images).filter(image => image.naturalWidth > 0).length;
        const plots = Array.from(page.querySelectorAll('svg.plot .area')).filter(area => area.getBBox().width > 0).length;
        const maps = Array.from(page.querySelectorAll('#chroma figure')).map(map => map.getBoundingClientRect().top);
        text += [page.documentElement.clientWidth, page.documentElement.scrollWidth, images, plots,
                 maps.length == 2 && maps[0] == maps[1] ? 'beside' : 'below'].join(' ') + ';';
    }
    document.getElementById('result').textContent = text;
};
</script></body>)";
    const Browser browser;
    // Width of the window and of the content, pictures that are shown, histograms that are drawn, and the two maps.
    EXPECT_EQ(textOf(browser.domOf(output("frame.html")), "result"), "390 390 17 10 beside;1200 1200 17 10 beside;");
}

TEST_F(ComparisonPage, IsLightOrDarkAsTheReaderPrefers) {
    makePage();
    const Browser browser;
    for (const cv::Size window : {cv::Size(390, 844), cv::Size(1200, 900)}) {
        const cv::Mat light = browser.screenshotOf(output("page.html"), window, Browser::Colors::light);
        const cv::Mat dark = browser.screenshotOf(output("page.html"), window, Browser::Colors::dark);
        ASSERT_EQ(light.size(), window);
        ASSERT_EQ(dark.size(), window);
        const auto cornerOf = [](const cv::Mat& picture) {
            return cv::mean(cv::mean(picture(cv::Rect(0, 0, 4, 4))).val[0])[0];
        };
        EXPECT_GT(cornerOf(light), 240);
        EXPECT_LT(cornerOf(dark), 30);
        // The headline in the top quarter stands out from the ground in both.
        for (const cv::Mat& picture : {light, dark}) {
            cv::Mat grey;
            cv::cvtColor(picture.rowRange(0, 60), grey, cv::COLOR_BGR2GRAY);
            double least = 0;
            double greatest = 0;
            cv::minMaxLoc(grey, &least, &greatest);
            EXPECT_GT(greatest - least, 150);
        }
    }
}

}  // namespace
}  // namespace likeness::testing
