// darkroom report: what is in the page, and what a browser shows of it when a reader sorts and filters.
#include <likeness/version.hpp>
#include "batch/result_store.hpp"
#include "darkroom/darkroom_program.hpp"
#include "files/markup_text.hpp"
#include "pages/batch_report.hpp"
#include "support/browser.hpp"
#include "support/needed_package.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <random>

namespace likeness::testing {
namespace {
using nlohmann::json;

const std::string awkwardId = "</script><b>\"quoted\" & 'single' ünï</b>";

/// Records as a batch makes them; every 97th pair has failed.
std::vector<ResultRecord> madeRecords(int count) {
    std::mt19937 random(7);
    const auto share = [&random] { return static_cast<float>(random() % 1000000) / 1e6F; };
    const std::array<std::string, 3> photographs = {photo("cat.jpg"), photo("coffee.jpg"), photo("rocket.jpg")};
    std::vector<ResultRecord> records;
    for (int i = 1; i <= count; ++i) {
        ResultRecord record;
        record.position = static_cast<std::uint64_t>(i);
        record.pairs = static_cast<std::uint64_t>(count);
        record.id = i == 5 ? awkwardId : "pair " + std::to_string(i);
        record.first = photographs[static_cast<std::size_t>(i) % 3];
        record.second = photographs[static_cast<std::size_t>(i / 3) % 3];
        record.version = LIKENESS_VERSION;
        record.parameters = "0123456789abcdef";
        record.carried = {{"camera", CarriedValue::Kind::text, "model " + std::to_string(i % 4)}};
        record.outcome.first = {640, 480, {}};
        if (i % 97 == 0) {
            record.outcome.error = "cannot read 'x<" + std::to_string(i) + ">.jpg' as an image";
        } else {
            record.outcome.second = {640, 480, {}};
            const float base = 1 - share() * share() * 0.6F;
            for (float& coefficient : record.outcome.coefficients) {
                coefficient = base - share() * 0.1F;
            }
        }
        records.push_back(record);
    }
    return records;
}

class DarkroomReport : public DarkroomProgram {
protected:
    std::string saveResults(const std::string& name, const std::vector<ResultRecord>& records) const {
        const std::string path = input(name);
        const auto writer = writeResults({path, resultFormatOf("", path), {"camera"}, ""});
        writer->append(records);
        writer->finish();
        return path;
    }

    /// What the page's script reads.
    static json dataOf(const std::string& page) {
        const std::string opening = R"(<script type="application/json" id="data">)";
        const std::size_t begin = page.find(opening) + opening.size();
        return json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    }

    /// A row, by the names of its fields.
    static json pairOf(const json& data, const json& row) {
        EXPECT_EQ(row.size(), data["fields"].size());
        json pair;
        for (std::size_t k = 0; k < row.size(); ++k) {
            pair[data["fields"][k].get<std::string>()] = row[k];
        }
        return pair;
    }
};

TEST_F(DarkroomReport, HoldsEveryRecord) {
    const std::vector<ResultRecord> records = madeRecords(300);
    const std::string results = saveResults("results.jsonl", records);
    expectDone({"report", results, "-o", "page.html", "--thumbnails", "3"});
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"page.html"});
    const json data = dataOf(contentOf(folder() / "page.html"));
    ASSERT_EQ(data["pairs"].size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const json pair = pairOf(data, data["pairs"][i]);
        EXPECT_EQ(pair["position"], records[i].position);
        EXPECT_EQ(pair["id"], records[i].id);
        EXPECT_EQ(pair["first"], records[i].first);
        EXPECT_EQ(pair["second"], records[i].second);
        EXPECT_EQ(pair["carried"][0], records[i].carried[0].text);
        if (!records[i].outcome.compared()) {
            EXPECT_EQ(pair["error"], records[i].outcome.error);
            EXPECT_TRUE(pair["brightness"].is_null());
            continue;
        }
        EXPECT_TRUE(pair["error"].is_null());
        for (std::size_t k = 0; k < 5; ++k) {  // 9 digits tell floats apart
            EXPECT_EQ(pair[correlateNames[k].name].get<float>(), records[i].outcome.coefficients[k]);
        }
    }
}

TEST_F(DarkroomReport, IsTheSameFromEveryFormat) {
    const std::vector<ResultRecord> records = madeRecords(200);
    std::vector<std::string> pages;
    for (const char* name : {"results.jsonl", "results.csv", "results.db"}) {
        const std::string results = saveResults(name, records);
        expectDone({"report", results, "-o", "page.html"});
        std::string page = contentOf(folder() / "page.html");
        for (std::size_t at = page.find(results); at != std::string::npos; at = page.find(results)) {
            page.erase(at, results.size());
        }
        pages.push_back(page);
    }
    EXPECT_TRUE(pages[0] == pages[1]);
    EXPECT_TRUE(pages[0] == pages[2]);
}

TEST_F(DarkroomReport, AsksForNothingFromElsewhere) {
    const std::string results = saveResults("results.jsonl", madeRecords(100));
    expectDone({"report", results, "-o", "page.html"});
    std::string page = contentOf(folder() / "page.html");
    const std::string svgName = "\"http://www.w3.org/2000/svg\"";  // a name, which nothing is loaded from
    page.erase(page.find(svgName), svgName.size());
    for (const char* address : {"http:", "https:", "url(", "<link", "href=", "import ", "fetch("}) {
        EXPECT_EQ(page.find(address), std::string::npos) << address;
    }
    EXPECT_EQ(page.find("<b>"), std::string::npos) << "markup from a name";
    EXPECT_NE(page.find(escapedMarkup("cannot read 'x<97>.jpg' as an image")), std::string::npos);
}

TEST_F(DarkroomReport, KeepsTheWorstWhereRowsAreLimited) {
    std::vector<ResultRecord> records = madeRecords(500);
    const std::string results = saveResults("results.jsonl", records);
    expectDone({"report", results, "-o", "page.html", "--rows", "20", "--thumbnails", "0"});
    const std::string page = contentOf(folder() / "page.html");
    std::stable_sort(records.begin(), records.end(), [](const ResultRecord& a, const ResultRecord& b) {
        const auto least = [](const ResultRecord& record) {
            const auto& values = record.outcome.coefficients;
            return record.outcome.compared() ? *std::min_element(values.begin(), values.end()) : -1.0F;
        };
        return least(a) < least(b);
    });
    std::vector<std::uint64_t> expected;
    for (std::size_t i = 0; i < 20; ++i) {
        expected.push_back(records[i].position);
    }
    std::sort(expected.begin(), expected.end());
    const json data = dataOf(page);
    std::vector<std::uint64_t> positions;
    for (const json& row : data["pairs"]) {
        positions.push_back(pairOf(data, row)["position"]);
    }
    EXPECT_EQ(positions, expected);
    EXPECT_TRUE(data["pictures"].empty());
    EXPECT_NE(page.find("the worst 20 of all 500 pairs"), std::string::npos);
    EXPECT_NE(page.find("id=\"pairs-compared\">495<"), std::string::npos);
}

TEST_F(DarkroomReport, ShowsThePhotographsOfTheWorstThatAreThere) {
    std::vector<ResultRecord> records = madeRecords(4);
    for (ResultRecord& record : records) {
        record.first = "cat.jpg";
        record.second = "gone.jpg";
    }
    const std::string results = saveResults("results.jsonl", records);
    const std::string root = std::filesystem::path(photo("cat.jpg")).parent_path();
    const Outcome outcome = expectDone({"report", results, "-o", "page.html", "--root", root});
    EXPECT_EQ(outcome.err, "darkroom report: warning: 1 of 2 photographs are left out of the page: cannot read '" +
                               root +
                               "/gone.jpg': No such file or directory\ndarkroom report: wrote 'page.html': 4 pairs\n");
    const json data = dataOf(contentOf(folder() / "page.html"));
    EXPECT_EQ(data["places"], json({{"cat.jpg", 0}}));
    EXPECT_EQ(data["pictures"][0].get<std::string>().rfind("data:image/jpeg;base64,", 0), 0U);
}

TEST_F(DarkroomReport, Refuses) {
    const std::string results = saveResults("results.jsonl", madeRecords(3));
    expectRefused({"report", results, "-o", "page.txt"}, "--output: 'page.txt' has none of the extensions .html, .htm");
    expectRefused({"report", results, "-o", "none/page.html"},
                  "--output: 'none/page.html' cannot be written: the folder 'none' does not exist");
    expectRefused({"report", results, "-o", "page.html", "--root", "none"}, "--root: 'none' does not exist");
    expectRefused({"report", results, "-o", "page.html", "--root", results},
                  "--root: '" + results + "' is not a folder");
    expectRefused({"report", results, "-o", "page.html", "--rows", "0"},
                  "--rows: '0' is not a whole number from 1 to 200000");
    expectRefused({"report", results, "-o", "page.html", "--thumbnails", "1001"},
                  "--thumbnails: '1001' is not a whole number from 0 to 1000");
    const std::string empty = saveText("empty.jsonl", "");
    expectRefused({"report", empty, "-o", "page.html"}, "'" + empty + "' holds no results");
    expectRefused({"report", "none.jsonl", "-o", "page.html"}, "cannot read 'none.jsonl': No such file or directory");
    const std::string other = saveText("other.jsonl", "{\"a\": 1}\n");
    EXPECT_EQ(darkroom({"report", other, "-o", "page.html"}).status, 2);
    expectRefused(
        {"report", saveText("results.txt", ""), "-o", "page.html"},
        "RESULTS: '" + input("results.txt") + "' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv");
}

/// The page of ten thousand pairs in a browser. A page around it does what a reader does and notes what is shown.
class DarkroomReportInBrowser : public DarkroomReport {
protected:
    void SetUp() override {
        if (!Browser::isHere()) {
            SKIP_WITHOUT_PACKAGE("there is no chromium");
        }
        records_ = madeRecords(10000);
        expectDone({"report", saveResults("results.jsonl", records_), "-o", "page.html"});
    }

    /// What is shown after each of the steps, lines of script in which `page` is the page's document.
    json shownAfter(const std::vector<std::string>& steps, const std::string& address = "") const {
        std::ofstream frame(output("frame.html"));
        frame << R"(<!DOCTYPE html><body><p id="result"></p>
<iframe id="frame" src="page.html)"
              << address << R"(" width="1200" height="900"></iframe><script>
window.onload = () => {
    const frame = document.getElementById('frame');
    const page = frame.contentDocument;
    const set = (id, value) => {
        page.getElementById(id).value = value;
        page.getElementById(id).dispatchEvent(new Event('input'));
    };
    const noted = [];
    const note = () => {
        const rows = Array.from(page.querySelectorAll('#table tbody tr'));
        const dots = page.getElementById('dots').getAttribute('d');
        noted.push({
            positions: rows.map((row) => Number(row.dataset.position)),
            cells: rows.map((row) => Array.from(row.querySelectorAll('td.number')).map((cell) => cell.textContent)),
            names: rows.map((row) => row.querySelector('strong').textContent),
            pictures: rows.map((row) => row.querySelectorAll('img').length),
            shown: page.getElementById('shown').textContent,
            page: page.getElementById('page').textContent,
            dots: dots.split('M').length - 1,
            point: page.getElementById('point').textContent,
            address: frame.contentWindow.location.hash,
        });
    };
    note();
)";
        for (const std::string& step : steps) {
            frame << "    " << step << "\n    note();\n";
        }
        frame << R"(    document.getElementById('result').textContent = encodeURIComponent(JSON.stringify(noted));
};
</script></body>)";
        frame.close();
        const std::string dom = Browser().domOf(output("frame.html"));
        const std::string opening = R"(<p id="result">)";
        const std::size_t begin = dom.find(opening) + opening.size();
        const std::string encoded = dom.substr(begin, dom.find('<', begin) - begin);
        std::string text;
        for (std::size_t i = 0; i < encoded.size(); ++i) {
            if (encoded[i] == '%') {
                text += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
                i += 2;
            } else {
                text += encoded[i];
            }
        }
        return text.empty() ? json() : json::parse(text);
    }

    static double lowest(const ResultRecord& record) {
        const auto& values = record.outcome.coefficients;
        return static_cast<double>(*std::min_element(values.begin(), values.end()));
    }

    /// Positions of a page of the records that fulfil a condition, sorted by a value; without one they stand last.
    template <typename Condition, typename Value>
    std::vector<int> expected(Condition condition, Value value, bool descending = false, std::size_t page = 1) const {
        std::vector<const ResultRecord*> chosen;
        for (const ResultRecord& record : records_) {
            if (condition(record)) {
                chosen.push_back(&record);
            }
        }
        std::stable_sort(chosen.begin(), chosen.end(), [&](const ResultRecord* a, const ResultRecord* b) {
            if (!a->outcome.compared() || !b->outcome.compared()) {
                return a->outcome.compared() && !b->outcome.compared();
            }
            return descending ? value(*a) > value(*b) : value(*a) < value(*b);
        });
        std::vector<int> positions;
        for (std::size_t i = (page - 1) * 50; i < std::min(chosen.size(), page * 50); ++i) {
            positions.push_back(static_cast<int>(chosen[i]->position));
        }
        return positions;
    }

    std::vector<ResultRecord> records_;
};

bool any(const ResultRecord& /*record*/) {
    return true;
}
bool compared(const ResultRecord& record) {
    return record.outcome.compared();
}
bool ofModel3(const ResultRecord& record) {
    return record.carried[0].text == "model 3";
}
float chroma(const ResultRecord& record) {
    return record.outcome.coefficients[2];
}

TEST_F(DarkroomReportInBrowser, ShowsTheWorstFirstWithTheNumbersOfTheResults) {
    const json noted = shownAfter({});
    ASSERT_EQ(noted.size(), 1U);
    const json& shown = noted[0];
    EXPECT_EQ(shown["positions"], expected(any, lowest));
    EXPECT_EQ(shown["shown"], "1–50 of 10,000 pairs");
    EXPECT_EQ(shown["page"], "page 1 of 200");
    EXPECT_EQ(shown["dots"], std::count_if(records_.begin(), records_.end(), compared));
    EXPECT_EQ(shown["address"], "");
    for (std::size_t row = 0; row < 50; ++row) {
        const ResultRecord& record = records_[shown["positions"][row].get<std::size_t>() - 1];
        std::vector<std::string> cells = {std::to_string(record.position), fmt::format("{:.5f}", lowest(record))};
        for (const float coefficient : record.outcome.coefficients) {
            cells.push_back(fmt::format("{:.5f}", static_cast<double>(coefficient)));
        }
        EXPECT_EQ(shown["cells"][row], cells);
        EXPECT_EQ(shown["pictures"][row], 2) << "three photographs, so every pair has its pictures";
    }
}

TEST_F(DarkroomReportInBrowser, SortsAndTurnsPages) {
    const std::string clickChroma = "page.querySelector('[data-sort=chroma]').click();";
    const json noted = shownAfter({clickChroma, clickChroma, "page.getElementById('next').click();",
                                   "page.querySelector('[data-sort=id]').click();"});
    ASSERT_EQ(noted.size(), 5U);
    EXPECT_EQ(noted[1]["positions"], expected(any, chroma));
    EXPECT_EQ(noted[2]["positions"], expected(any, chroma, true));
    EXPECT_EQ(noted[3]["positions"], expected(any, chroma, true, 2));
    EXPECT_EQ(noted[3]["page"], "page 2 of 200");
    EXPECT_EQ(noted[3]["shown"], "51–100 of 10,000 pairs");
    EXPECT_EQ(noted[3]["address"], "#sort=chroma&order=desc&page=2");
    // Names in the order of the numbers in them: "pair 2" before "pair 10".
    EXPECT_EQ(noted[4]["names"][0], awkwardId) << "as plain text";
    EXPECT_EQ(noted[4]["names"][1], "pair 1");
    EXPECT_EQ(noted[4]["names"][9], "pair 10");
}

TEST_F(DarkroomReportInBrowser, Filters) {
    const json noted = shownAfter({"set('set-filter', 'MODEL 3');", "page.getElementById('clear').click();",
                                   "set('set-status', 'failed');",
                                   "page.getElementById('clear').click(); set('set-by', 'chroma'); "
                                   "set('set-min', '0.7'); set('set-max', '0.75');",
                                   "set('set-filter', 'no such pair');"});
    ASSERT_EQ(noted.size(), 6U);
    EXPECT_EQ(noted[1]["positions"], expected(ofModel3, lowest));
    EXPECT_EQ(noted[1]["dots"], std::count_if(records_.begin(), records_.end(), [](const ResultRecord& record) {
                  return compared(record) && ofModel3(record);
              }));
    EXPECT_EQ(noted[2]["positions"], noted[0]["positions"]);
    EXPECT_EQ(noted[3]["positions"], expected([](const ResultRecord& record) { return !compared(record); }, lowest));
    EXPECT_EQ(noted[3]["shown"], "1–50 of 103 pairs");
    EXPECT_EQ(noted[3]["dots"], 0);
    // The numbers are kept with 9 digits, so that a limit in decimal falls between the same floats.
    const auto between = [](const ResultRecord& record) {
        return compared(record) && chroma(record) >= 0.7F && chroma(record) <= 0.75F;
    };
    EXPECT_EQ(noted[4]["positions"], expected(between, lowest));
    EXPECT_EQ(noted[4]["dots"], std::count_if(records_.begin(), records_.end(), between));
    EXPECT_EQ(noted[5]["shown"], "No pair is like this.");
    EXPECT_TRUE(noted[5]["positions"].empty());
}

TEST_F(DarkroomReportInBrowser, TellsThePairOfADotAndShowsItAfterAClick) {
    // The events of a reader's pointer over the first dot that is drawn, and far from any.
    const std::string pointAt = R"(
        const svg = page.getElementById('scatter');
        const at = (type, x, y) => {
            const place = new DOMPoint(x, y).matrixTransform(svg.getScreenCTM());
            const options = {clientX: place.x, clientY: place.y, bubbles: true};
            svg.dispatchEvent(type === 'click' ? new MouseEvent(type, options) : new PointerEvent(type, options));
        };
        const [, x, y] = /^M([0-9.]+) ([0-9.]+)h/.exec(page.getElementById('dots').getAttribute('d')).map(Number);
)";
    const json noted = shownAfter(
        {"set('set-filter', 'MODEL 3'); set('set-min', '0.5');", "{" + pointAt + "at('pointermove', -500, -500); }",
         "{" + pointAt + "at('pointermove', x + 1, y - 1); }", "{" + pointAt + "at('click', x + 1, y - 1); }"});
    ASSERT_EQ(noted.size(), 5U);
    const std::string untouched = noted[1]["point"];
    EXPECT_NE(untouched.find("Point at one to see which it is"), std::string::npos);
    EXPECT_EQ(noted[2]["point"], untouched) << "nothing is near";
    const std::string told = noted[3]["point"];
    const std::string id = told.substr(0, told.find(':'));
    const auto record = std::find_if(records_.begin(), records_.end(),
                                     [&id](const ResultRecord& candidate) { return candidate.id == id; });
    ASSERT_NE(record, records_.end()) << told;
    EXPECT_TRUE(ofModel3(*record));
    EXPECT_EQ(told, fmt::format("{}: brightness {:.5f}, chroma {:.5f}", id, record->outcome.coefficients[0],
                                chroma(*record)));
    ASSERT_FALSE(noted[4]["names"].empty());
    const auto& names = noted[4]["names"];
    EXPECT_NE(std::find(names.begin(), names.end(), id), names.end()) << "among the pairs whose names hold this one";
}

TEST_F(DarkroomReportInBrowser, OpensAtAnAddress) {
    const json noted = shownAfter({"set('set-y', 'lowest'); set('set-x', 'chroma');"},
                                  "#sort=chroma&order=desc&filter=model+3&page=2");
    ASSERT_EQ(noted.size(), 2U);
    EXPECT_EQ(noted[0]["positions"], expected(ofModel3, chroma, true, 2));
    EXPECT_EQ(noted[1]["address"], "#sort=chroma&order=desc&filter=model+3&page=2&x=chroma&y=lowest");
    EXPECT_EQ(noted[1]["positions"], noted[0]["positions"]);
}

TEST_F(DarkroomReportInBrowser, FitsAPhone) {
    std::ofstream(output("frame.html")) << R"(<!DOCTYPE html><body><p id="result"></p>
<iframe id="frame" src="page.html" width="390" height="800" frameborder="0"></iframe><script>
window.onload = () => {
    const page = document.getElementById('frame').contentDocument;
    document.getElementById('result').textContent = page.documentElement.clientWidth + ' ' +
        page.documentElement.scrollWidth;
};
</script></body>)";
    EXPECT_NE(Browser().domOf(output("frame.html")).find("<p id=\"result\">390 390</p>"), std::string::npos);
}

}  // namespace
}  // namespace likeness::testing
