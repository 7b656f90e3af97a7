// The page of a comparison, as a browser shows it.
#include "pages/comparison_report.hpp"

#include <likeness/version.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/browser.hpp"
#include "support/needed_package.hpp"
#include "support/test_images.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

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
            SKIP_WITHOUT_PACKAGE("there is no chromium");
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

TEST_F(ComparisonPage, FitsAPhoneWithEveryColumn) {
    makePage();
    fs::remove(folder() / "page.html");
    expectDone({"compare", first_, second_, "--interval", "--min",
                "brightness=0.000001,lightness=0.000001,chroma=0.000001,colorfulness=0.000001,saturation=0.000001",
                "--report", "page.html", "--quiet"});
    std::ofstream(output("frame.html")) << R"(<!DOCTYPE html><body><p id="result"></p>
<iframe id="phone" src="page.html" width="390" height="800" frameborder="0"></iframe><script>
window.onload = () => {
    const page = document.getElementById('phone').contentDocument;
    document.getElementById('result').textContent =
        [page.documentElement.scrollWidth, page.querySelectorAll('table.coefficients th.number').length].join(' ');
};
</script></body>)";
    EXPECT_EQ(textOf(Browser().domOf(output("frame.html")), "result"), "390 3");
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

/// The part of the page that shows tiles, which a page around it uses as a reader does.
class TilesOnPage : public ComparisonPage {
protected:
    void SetUp() override {
        ComparisonPage::SetUp();
        if (IsSkipped()) {
            return;
        }
        json_ =
            nlohmann::json::parse(expectDone({"compare", photo("cat.jpg"), photo("coffee.jpg"), "--tiles", "4x3",
                                              "--interval", "--explain", "--report", "page.html", "--json", "--quiet"})
                                      .out);
    }

    /// What a line of script gives after each step; `page` is the document, `key` presses one in the picture.
    std::string shownAfter(const std::vector<std::string>& steps, const std::string& noted, int width = 1200) const {
        std::ofstream frame(output("frame.html"));
        frame << R"(<!DOCTYPE html><body><p id="result"></p><iframe id="frame" src="page.html" height="900" width=")"
              << width << R"("></iframe><script>
window.onload = () => {
    const page = document.getElementById('frame').contentDocument;
    const view = document.getElementById('frame').contentWindow;
    const stage = page.getElementById('stage');
    const key = (name, shift) => stage.dispatchEvent(new view.KeyboardEvent('keydown', {key: name, shiftKey: !!shift,
        bubbles: true}));
    const set = (id, value) => {
        page.getElementById(id).value = value;
        page.getElementById(id).dispatchEvent(new view.Event('input'));
    };
    const layers = Array.from(page.querySelectorAll('.layer'));
    let text = '';
    const note = () => { text += ()"
              << noted << R"() + ';'; };
    note();
)";
        for (const std::string& step : steps) {
            frame << "    " << step << "\n    note();\n";
        }
        frame << "    document.getElementById('result').textContent = text;\n};\n</script></body>";
        frame.close();
        return textOf(Browser().domOf(output("frame.html")), "result");
    }
};

TEST_F(TilesOnPage, HasTheNumbersOfTheResult) {
    const std::string dom = Browser().domOf(output("page.html"));
    EXPECT_EQ(textOf(dom, "tile-count"), "4 × 3");
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        const std::string name = correlate.name;
        EXPECT_EQ(textOf(dom, "sentence-" + name), json_["explanation"][name]["sentence"]);
        const auto near = [&](const std::string& id, const char* key) {
            const double expected = json_["explanation"][name][key];
            EXPECT_NEAR(std::stod(textOf(dom, id + name)), expected, 1e-3 * std::abs(expected)) << id << name;
        };
        near("first-median-", "first_median");
        near("second-median-", "second_median");
        near("median-shift-", "median_shift");
        near("mean-shift-", "mean_shift");
        const std::string interval = textOf(dom, "interval-" + name);
        EXPECT_NEAR(std::stod(interval), json_["intervals"][name]["low"].get<double>(), 1e-5);
        EXPECT_NEAR(std::stod(interval.substr(interval.find("to ") + 3)),
                    json_["intervals"][name]["high"].get<double>(), 1e-5);
    }
    // The tile that is chosen at first is the worst, and the arrow keys choose its neighbours.
    const int column = json_["tile_grid"]["worst"]["column"];
    const int row = json_["tile_grid"]["worst"]["row"];
    const std::string told = shownAfter({"key('ArrowRight');", "key('ArrowDown');", "key('ArrowLeft');"},
                                        "page.getElementById('tile').textContent");
    std::string expected;
    const auto expectTile = [&](int x, int y) {
        const nlohmann::json& tile = json_["tiles"][static_cast<std::size_t>(y * 4 + x)];
        expected += "Tile in column " + std::to_string(x) + ", row " + std::to_string(y) + " (x " +
                    std::to_string(tile["first"]["x"].get<int>()) + ", y " +
                    std::to_string(tile["first"]["y"].get<int>()) + ", " +
                    std::to_string(tile["first"]["width"].get<int>()) + " × " +
                    std::to_string(tile["first"]["height"].get<int>()) + " pixels): ";
        for (const ComparedCorrelate& correlate : comparedCorrelates) {
            expected += fmt::format("{} {:.5f}{}", correlate.name, tile["coefficients"][correlate.name].get<double>(),
                                    correlate.name == std::string("saturation") ? ".;" : ", ");
        }
    };
    const int right = std::min(column + 1, 3);
    const int below = std::min(row + 1, 2);
    expectTile(column, row);
    expectTile(right, row);
    expectTile(right, below);
    expectTile(std::max(right - 1, 0), below);
    EXPECT_EQ(told, expected);
}

TEST_F(TilesOnPage, BothPhotographsMoveTogether) {
    const std::string both =
        "layers.map((layer) => layer.style.transform).join(' and ') + ' ' + stage.className + ' ' + "
        "page.querySelector('.second').style.clipPath";
    EXPECT_EQ(shownAfter({"set('divider', 25);", "set('mode', 'side');", "set('zoom', 2);", "key('ArrowRight', true);",
                          "key('0');"},
                         both),
              "translate(0%, 0%) scale(1) and translate(0%, 0%) scale(1) slide inset(0px 0px 0px 50%);"
              "translate(0%, 0%) scale(1) and translate(0%, 0%) scale(1) slide inset(0px 0px 0px 25%);"
              "translate(0%, 0%) scale(1) and translate(0%, 0%) scale(1) side none;"
              "translate(-50%, -50%) scale(2) and translate(-50%, -50%) scale(2) side zoomed none;"
              "translate(-60%, -50%) scale(2) and translate(-60%, -50%) scale(2) side zoomed none;"
              "translate(0%, 0%) scale(1) and translate(0%, 0%) scale(1) side none;");
}

TEST_F(TilesOnPage, ShowsTheTilesOfTheChosenCorrelate) {
    const std::string shown =
        "page.querySelectorAll('.first rect').length + ' ' + page.querySelectorAll('.second rect.chosen').length + ' ' "
        "+ "
        "(page.querySelector('.first svg').style.display || 'shown')";
    EXPECT_EQ(shownAfter({"set('quantity', '');", "set('quantity', 'chroma');",
                          "page.querySelector('#worst-tiles button').click();"},
                         shown),
              "12 1 shown;12 1 none;12 1 shown;12 1 shown;");
}

TEST_F(TilesOnPage, FitsAPhoneAndAGreatScreen) {
    for (const int width : {390, 1200, 3840}) {
        EXPECT_EQ(
            shownAfter({"set('mode', 'side');"},
                       "page.documentElement.scrollWidth + ' ' + (stage.getBoundingClientRect().width > 300)", width),
            std::to_string(width) + " true;" + std::to_string(width) + " true;");
    }
}

TEST_F(TilesOnPage, AsksForNothingFromElsewhereAndNamesItsControls) {
    const std::string page = contentOf(folder() / "page.html");
    const std::string svgName = "\"http://www.w3.org/2000/svg\"";  // a name, which nothing is loaded from
    for (std::size_t at = page.find("http"); at != std::string::npos; at = page.find("http", at + 1)) {
        const bool isPolicy = page.compare(at, 10, "http-equiv") == 0;
        EXPECT_TRUE(isPolicy || page.compare(at - 1, svgName.size(), svgName) == 0) << page.substr(at, 40);
    }
    EXPECT_EQ(page.find("url("), std::string::npos);
    EXPECT_EQ(page.find("<link"), std::string::npos);
    EXPECT_EQ(page.find("href="), std::string::npos);
    // Each control has a label around it or a text of its own.
    EXPECT_EQ(shownAfter({},
                         "Array.from(page.querySelectorAll('#where input, #where select')).filter((its) => "
                         "!its.labels.length).length + ' ' + Array.from(page.querySelectorAll('#where "
                         "button')).filter((its) => !its.textContent).length + ' ' + stage.tabIndex + ' ' + "
                         "page.getElementById('tile').getAttribute('role') + ' ' + "
                         "Array.from(page.images).filter((its) => !its.alt).length"),
              "0 0 0 status 0;");
}

}  // namespace
}  // namespace likeness::testing
