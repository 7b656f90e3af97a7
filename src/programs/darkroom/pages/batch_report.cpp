#include "pages/batch_report.hpp"

#include <likeness/version.hpp>
#include "batch/result_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "pages/batch_report_page.hpp"
#include "pages/html_page.hpp"
#include "pages/round_scale.hpp"
#include "pages/svg_plot.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness::darkroom {
namespace {

using nlohmann::json;

/// 1234567 as "1,234,567".
std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

json numberOrNull(double value) {
    return std::isfinite(value) ? json(roundedToNineDigits(value)) : json(nullptr);
}

std::string sizeText(const PhotographFacts& photograph) {
    return photograph.width > 0 ? fmt::format("{} × {}", photograph.width, photograph.height) : "–";
}

std::string sizesText(const PairOutcome& outcome) {
    if (outcome.first.width == 0 && outcome.second.width == 0) {
        return "";
    }
    const std::string first = sizeText(outcome.first);
    const std::string second = sizeText(outcome.second);
    return first == second ? first : first + ", " + second;
}

/// What the page's script knows of a pair, by name. A row has the values alone; the names stand once, in "fields".
std::vector<std::pair<std::string, json>> fieldsOf(const ResultRecord& record, const std::vector<std::string>& columns,
                                                   bool hasHue) {
    const PairOutcome& outcome = record.outcome;
    std::vector<std::pair<std::string, json>> fields = {
        {"position", record.position},
        {"id", validUtf8(record.id)},
        {"first", validUtf8(record.first)},
        {"second", validUtf8(record.second)},
        {"size", sizesText(outcome)},
        {"error", outcome.compared() ? json(nullptr) : json(validUtf8(outcome.error))},
    };
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        fields.emplace_back(correlateNames[k].name, outcome.compared()
                                                        ? numberOrNull(static_cast<double>(outcome.coefficients[k]))
                                                        : json(nullptr));
    }
    if (hasHue) {
        fields.emplace_back(hueColumn, outcome.hue ? numberOrNull(static_cast<double>(*outcome.hue)) : json(nullptr));
    }
    json carried = json::array();
    for (const std::string& column : columns) {
        const CarriedValue* const value = carriedValue(record, column);
        carried.push_back(value == nullptr ? std::string() : validUtf8(value->text));
    }
    fields.emplace_back("carried", std::move(carried));
    return fields;
}

json rowOf(const ResultRecord& record, const BatchReport& report) {
    json row = json::array();
    for (auto& [name, value] : fieldsOf(record, report.columns, report.summary.hasHue())) {
        row.push_back(std::move(value));
    }
    return row;
}

/// What the page's script reads, as an element of the page. A data block ends at the next "</", so no < is left in it.
std::string dataElement(const BatchReport& report) {
    json data;
    data["coefficients"] = json::array();
    for (const NamedCoefficients& coefficient : report.summary.coefficients()) {
        data["coefficients"].push_back(coefficient.name);
    }
    data["fields"] = json::array();
    for (const auto& [name, value] : fieldsOf({}, {}, report.summary.hasHue())) {
        data["fields"].push_back(name);
    }
    data["columns"] = json::array();
    for (const std::string& column : report.columns) {
        data["columns"].push_back(validUtf8(column));
    }
    std::vector<const ResultRecord*> records;
    for (const ResultRecord& record : report.records) {
        records.push_back(&record);
    }
    std::sort(records.begin(), records.end(),
              [](const ResultRecord* a, const ResultRecord* b) { return a->position < b->position; });
    data["pairs"] = json::array();
    for (const ResultRecord* record : records) {
        data["pairs"].push_back(rowOf(*record, report));
    }
    data["pictures"] = json::array();
    data["places"] = json::object();
    for (const auto& [path, address] : report.pictures) {
        data["places"][validUtf8(path)] = data["pictures"].size();
        data["pictures"].push_back(address);
    }
    std::string text;
    for (const char c : data.dump()) {
        if (c == '<') {
            text += "\\u003c";
        } else {
            text += c;
        }
    }
    return "<script type=\"application/json\" id=\"data\">" + text + "</script>\n";
}

std::string overview(const BatchReport& report) {
    const BatchSummary& summary = report.summary;
    std::string text =
        "<h1>Batch report</h1>\n<p class=\"long\">" + escapedMarkup(report.source) +
        "</p>\n<p><strong id=\"pairs-recorded\">" + grouped(summary.pairs()) +
        "</strong> pairs: <strong id=\"pairs-compared\">" + grouped(summary.pairs() - summary.failed()) +
        "</strong> compared, <strong id=\"pairs-failed\"" + (summary.failed() > 0 ? " class=\"bad\"" : "") + ">" +
        grouped(summary.failed()) +
        "</strong> failed.</p>\n<p class=\"note\">A coefficient of 1 says that the distributions of the correlate over "
        "the two photographs are the same, 0 that they have nothing in common.</p>\n<p class=\"note long\">";
    for (const auto& [version, parameters] : report.versions) {
        text += "Compared by version " + escapedMarkup(version) + ", parameters <code>" + escapedMarkup(parameters) +
                "</code>. ";
    }
    return text + "Page by darkroom " LIKENESS_VERSION ".</p>\n";
}

/// Histogram of some 40 bins, their limits on round numbers.
std::string distributionPlot(std::string_view name, const std::vector<float>& values) {
    float least = std::numeric_limits<float>::infinity();
    float greatest = -least;
    for (const float value : values) {
        if (std::isfinite(value)) {
            least = std::min(least, value);
            greatest = std::max(greatest, value);
        }
    }
    if (!(least <= greatest)) {
        return "";
    }
    // The coefficients are floats: no finer bins than they can tell apart.
    const double range = std::max(static_cast<double>(greatest - least), 4e-5);
    const double width = roundStep(range, 40.0);
    std::map<std::int64_t, std::uint64_t> counts;
    for (const float value : values) {
        if (std::isfinite(value)) {
            // 1, and what is above it by a rounding, belongs to the last bin below it.
            const double place = std::min(static_cast<double>(value), 1 - 1e-9);
            ++counts[static_cast<std::int64_t>(std::floor(place / width))];
        }
    }
    PlotSeries series;
    for (const auto& [bin, count] : counts) {
        series.x.push_back((static_cast<double>(bin) + 0.5) * width);
        series.y.push_back(static_cast<double>(count));
    }
    PlotFrame frame;
    frame.title = std::string(name);
    frame.xLabel = std::string(name) + " coefficient";
    frame.yLabel = "pairs";
    return histogramPlot(frame, {series}, width);
}

std::string distributions(const BatchSummary& summary) {
    if (summary.pairs() == summary.failed()) {
        return "<section id=\"distributions\"><h2>Distributions</h2>\n<p>No pair was compared.</p></section>\n";
    }
    std::string table =
        "<div class=\"wide\"><table id=\"statistics\"><thead><tr><th></th><th class=\"number\">mean</th><th "
        "class=\"number\">least</th>"
        "<th class=\"number\">5 %</th><th class=\"number\">25 %</th><th class=\"number\">median</th><th "
        "class=\"number\">75 %</th>"
        "<th class=\"number\">95 %</th><th class=\"number\">greatest</th></tr></thead><tbody>\n";
    std::string plots;
    for (const auto& [name, values] : summary.coefficients()) {
        const CoefficientStatistics all = statisticsOf(values);
        table += fmt::format("<tr data-coefficient=\"{}\"><th scope=\"row\">{}</th><td class=\"number\">{:.5f}</td>",
                             name, name, all.mean);
        for (const float value :
             {all.least, all.fifth, all.lowerQuartile, all.median, all.upperQuartile, all.ninetyFifth, all.greatest}) {
            table += fmt::format("<td class=\"number\">{:.5f}</td>", value);
        }
        table += "</tr>\n";
        plots += "<figure>" + distributionPlot(name, values) + "</figure>\n";
    }
    return "<section id=\"distributions\"><h2>Distributions</h2>\n" + table +
           "</tbody></table></div>\n<div class=\"plots\">" + plots + "</div></section>\n";
}

/// The failed pairs with their errors. The longest list that a reader would read; the table has the others.
constexpr std::size_t listedFailures = 200;

std::string failures(const BatchReport& report) {
    std::vector<const ResultRecord*> failed;
    for (const ResultRecord& record : report.records) {
        if (!record.outcome.compared()) {
            failed.push_back(&record);
        }
    }
    if (failed.empty()) {
        return "<section id=\"failures\"><h2>Failures</h2>\n<p>None.</p></section>\n";
    }
    std::sort(failed.begin(), failed.end(),
              [](const ResultRecord* a, const ResultRecord* b) { return a->position < b->position; });
    const std::size_t listed = std::min(failed.size(), listedFailures);
    std::string text = "<section id=\"failures\"><h2>Failures</h2>\n";
    if (listed < report.summary.failed()) {
        text += "<p class=\"note\">The first " + grouped(listed) + " of " + grouped(report.summary.failed()) +
                "; the table above lists more under “failed”.</p>\n";
    }
    text +=
        "<div class=\"wide\"><table><thead><tr><th "
        "class=\"number\">#</th><th>pair</th><th>error</th></tr></thead><tbody>\n";
    for (std::size_t k = 0; k < listed; ++k) {
        text += "<tr><td class=\"number\">" + std::to_string(failed[k]->position) + "</td><td class=\"long\">" +
                escapedMarkup(failed[k]->id) + "</td><td class=\"long bad\">" +
                escapedMarkup(failed[k]->outcome.error) + "</td></tr>\n";
    }
    return text + "</tbody></table></div></section>\n";
}

constexpr const char* scatterSection = R"(<section id="scatter-section"><h2>One coefficient against another</h2>
<div class="controls"><label>across<select id="set-x"></select></label><label>up<select id="set-y"></select></label></div>
<svg id="scatter" class="plot" viewBox="0 0 460 320" role="img"></svg>
<p id="point" class="note long"></p></section>
)";

constexpr const char* tableControls = R"(<div class="controls">
<label class="grow">text in names and columns<input id="set-filter" type="search" autocomplete="off"></label>
<label>status<select id="set-status"><option>all</option><option>compared</option><option>failed</option></select></label>
<label>only where<select id="set-by"></select></label>
<label>is at least<input id="set-min" type="number" step="any"></label>
<label>and at most<input id="set-max" type="number" step="any"></label>
<button id="clear" type="button">show all</button></div>
<p id="shown" class="note" aria-live="polite"></p>
<div class="wide"><table id="table"><thead></thead><tbody></tbody></table></div>
<div class="pages"><button id="previous" type="button">previous</button><span id="page"></span>
<button id="next" type="button">next</button></div></section>
<noscript><p>Table and scatter need the page's script.</p></noscript>
)";

std::string tableSection(const BatchReport& report) {
    std::string text =
        "<section id=\"pairs\"><h2>Pairs</h2>\n<p class=\"note\">“lowest” is the least of a pair's five coefficients";
    if (!report.pictures.empty()) {
        text += "; the worst pairs are shown with their photographs, the first on the left";
    }
    text += ".</p>\n";
    if (report.records.size() < report.summary.pairs()) {
        text += "<p id=\"cut\">Table and scatter hold the worst " + grouped(report.records.size()) + " of all " +
                grouped(report.summary.pairs()) + " pairs; the distributions are of all.</p>\n";
    }
    return text + tableControls;
}

}  // namespace

std::optional<float> lowestCoefficient(const PairOutcome& outcome) {
    std::optional<float> lowest;
    if (outcome.compared()) {
        for (const float coefficient : outcome.coefficients) {
            if (std::isfinite(coefficient) && (!lowest || coefficient < *lowest)) {
                lowest = coefficient;
            }
        }
    }
    return lowest;
}

bool isWorse(const ResultRecord& one, const ResultRecord& other) {
    if (one.outcome.compared() != other.outcome.compared()) {
        return !one.outcome.compared();
    }
    // A pair without any number among its coefficients stands behind those with one.
    const float least = lowestCoefficient(one.outcome).value_or(std::numeric_limits<float>::infinity());
    const float otherLeast = lowestCoefficient(other.outcome).value_or(std::numeric_limits<float>::infinity());
    return least != otherLeast ? least < otherLeast : one.position < other.position;
}

void WorstRecords::add(ResultRecord record) {
    if (heap_.size() == limit_) {
        if (!isWorse(record, heap_.front())) {
            return;
        }
        std::pop_heap(heap_.begin(), heap_.end(), isWorse);
        heap_.pop_back();
    }
    heap_.push_back(std::move(record));
    std::push_heap(heap_.begin(), heap_.end(), isWorse);
}

std::vector<ResultRecord> WorstRecords::take() {
    std::sort_heap(heap_.begin(), heap_.end(), isWorse);
    return std::exchange(heap_, {});
}

std::string batchReportPage(const BatchReport& report) {
    HtmlPage page;
    page.title = "Batch report: " + report.source;
    page.body = overview(report) + distributions(report.summary) + scatterSection + tableSection(report) +
                failures(report) + dataElement(report);
    page.styles = batchReportStyles;
    page.script = batchReportScript;
    return htmlDocument(page);
}

}  // namespace likeness::darkroom
