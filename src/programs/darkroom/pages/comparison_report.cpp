#include "pages/comparison_report.hpp"

#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/version.hpp>
#include "console/profile_result.hpp"
#include "diagnostics/number_text.hpp"
#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "pages/html_page.hpp"
#include "pages/svg_plot.hpp"
#include "pages/tile_viewer.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

namespace likeness::darkroom {
namespace {

/// The bins that the coefficient takes into account.
constexpr int firstBin = 0;
constexpr int lastBin = 999;

/// The first bin up to which at least `share` of the values in the bins that count lies; -1 where there are none.
int binOfShare(const BinProbabilities& distribution, double share) {
    const auto begin = distribution.lower_bound(firstBin);
    const auto end = distribution.upper_bound(lastBin);
    double total = 0;
    for (auto bin = begin; bin != end; ++bin) {
        total += static_cast<double>(bin->second);
    }
    double sum = 0;
    for (auto bin = begin; bin != end; ++bin) {
        sum += static_cast<double>(bin->second);
        if (sum >= share * total * (1 - 1e-9)) {
            return bin->first;
        }
    }
    return -1;
}

double shareOutside(const BinProbabilities& distribution, int low, int high) {
    double sum = 0;
    for (const auto& [bin, probability] : distribution) {
        sum += bin < low || bin > high ? static_cast<double>(probability) : 0.0;
    }
    return sum;
}

PlotSeries seriesOf(const std::string& name, const BinProbabilities& distribution, int low, int high) {
    PlotSeries series{name, {}, {}, ""};
    for (const auto& [bin, probability] : distribution) {
        if (bin >= low && bin <= high) {
            series.x.push_back(bin);
            series.y.push_back(100.0 * static_cast<double>(probability));
        }
    }
    return series;
}

std::string capitalized(std::string word) {
    word[0] = static_cast<char>(word[0] - 'a' + 'A');
    return word;
}

std::string histograms(const ComparedCorrelate& correlate, const BinProbabilities& first,
                       const BinProbabilities& second) {
    // A few pixels with far lesser or greater values would squeeze all others into a corner.
    const int high = std::max(binOfShare(first, 0.999), binOfShare(second, 0.999));
    int low = high;
    for (const BinProbabilities* const distribution : {&first, &second}) {
        const int least = binOfShare(*distribution, 0.001);
        low = least >= 0 ? std::min(low, least) : low;
    }
    std::string markup = "<div class=\"histogram\">" +
                         histogramPlot({capitalized(correlate.name) + " of the two photographs",
                                        labelOf(correlate) + ", in steps of 1", "share of the pixels, %", 400, 250},
                                       {seriesOf("first", first, low, high), seriesOf("second", second, low, high)}) +
                         "</div>";
    const double firstOutside = 100 * shareOutside(first, low, high);
    const double secondOutside = 100 * shareOutside(second, low, high);
    if (firstOutside > 0 || secondOutside > 0) {
        markup += fmt::format(
            "<p class=\"note\">Not shown: {:.2g} % of the pixels of the first photograph and {:.2g} % of those of the "
            "second, whose values are below {} or above {}.</p>",
            firstOutside, secondOutside, low, high);
    }
    return markup + '\n';
}

std::string mapFigure(const Correlate& correlate, const char* place, const cv::Mat& map, const MapScale& scale) {
    return fmt::format(
        "<figure><img src=\"{}\" alt=\"{} of the {} photograph as a map\"><figcaption>{}</figcaption></figure>",
        jpegUri(mapColors(map, scale), reportPictureSide, 88), capitalized(correlate.name), place, place);
}

std::string scaleLegend(const Correlate& correlate, const MapScale& scale) {
    std::string markup = fmt::format("<div class=\"scale\"><img src=\"{}\" alt=\"colours from {} to {}\"><div>",
                                     pngUri(scaleColors(scale, 256)), nineDigits(scale.low), nineDigits(scale.high));
    for (int i = 0; i <= 4; ++i) {
        markup += "<span>" + nineDigits(scale.low + (scale.high - scale.low) * i / 4) + "</span>";
    }
    return markup + "</div><p class=\"note\">" + labelOf(correlate) +
           "; lesser and greater values have the colours of the ends</p></div>\n";
}

std::string correlateSection(const ComparisonReport& report, std::size_t k) {
    const ComparedCorrelate& correlate = comparedCorrelates[k];
    const std::string name = correlate.name;
    std::string markup = "<section id=\"" + name + "\"><h2>" + capitalized(labelOf(correlate)) + "</h2>\n" +
                         histograms(correlate, report.first.distributions.*correlate.distribution,
                                    report.second.distributions.*correlate.distribution) +
                         "<div class=\"columns\">" +
                         mapFigure(correlate, "first", report.first.maps[k], report.scales[k]) +
                         mapFigure(correlate, "second", report.second.maps[k], report.scales[k]) + "</div>\n" +
                         scaleLegend(correlate, report.scales[k]);
    if (report.first.nanCounts[k] + report.second.nanCounts[k] > 0) {
        markup += fmt::format(
            "<p class=\"note\">Magenta: no value ({} pixels of the first photograph, {} of the second).</p>\n",
            report.first.nanCounts[k], report.second.nanCounts[k]);
    }
    return markup + "</section>\n";
}

std::string photographFigure(const ComparedPhotograph& photograph, const ReportedPhotograph& reported,
                             const std::string& place) {
    const std::string path = escapedMarkup(photograph.path);
    const std::string used = profileText(photograph.profile);
    const std::string profile =
        used.empty() ? "" : "Colour profile <span id=\"profile-" + place + "\">" + escapedMarkup(used) + "</span><br>";
    const std::string counted = photograph.part
                                    ? fmt::format("Counted <span id=\"counted-{}\">{}</span> pixels, {:.3g} %<br>",
                                                  place, nineDigits(photograph.part->countedPixels),
                                                  100 * photograph.part->countedPixels / photograph.size.area())
                                    : std::string();
    return fmt::format(
        "<figure><img src=\"{}\" alt=\"{} photograph\"><figcaption><strong>{}</strong><br><span class=\"long\" "
        "id=\"path-{}\">{}</span><br><span id=\"size-{}\">{} x {} pixels</span>, <span id=\"bytes-{}\">{} "
        "bytes</span><br>{}<span class=\"note\">SHA-256 <code class=\"long\" id=\"sha256-{}\">{}</code></span>"
        "</figcaption></figure>\n",
        reported.pictureUri, capitalized(place), capitalized(place), place, path, place, photograph.size.width,
        photograph.size.height, place, reported.fingerprint.bytes, profile + counted, place,
        reported.fingerprint.sha256);
}

std::string coefficientTable(const ComparisonResult& result) {
    std::string markup =
        "<div class=\"wide\"><table class=\"coefficients\"><thead><tr><th>correlate</th><th "
        "class=\"number\">coefficient</th>";
    const bool withIntervals = result.tiles && result.tiles->comparison.intervals;
    if (withIntervals) {
        markup += fmt::format("<th class=\"number interval\">{:g} % interval</th>",
                              100 * result.tiles->options.interval->level);
    }
    markup += result.limits.empty() ? "" : "<th class=\"number\">at least</th>";
    markup += "</tr></thead><tbody>\n";
    const auto interval = [&](const Correlate& correlate) {
        const PerCorrelate<CoefficientInterval>& intervals = *result.tiles->comparison.intervals;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            if (std::string_view(correlate.name) == correlateNames[k].name) {
                return fmt::format("{:.6g} to {:.6g}", intervals[k].low, intervals[k].high);
            }
        }
        return std::string();
    };
    const auto row = [&](const Correlate& correlate, float coefficient) {
        const auto limit = result.limits.find(correlate.name);
        const bool bad = limit != result.limits.end() && !reaches(coefficient, limit->second);
        markup += fmt::format(
            "<tr><th>{}<span class=\"bar\" style=\"--share:{:.4f}\"></span></th><td class=\"number{}\" "
            "id=\"coefficient-{}\">{}</td>",
            labelOf(correlate), std::clamp(coefficient >= 0 ? static_cast<double>(coefficient) : 0.0, 0.0, 1.0),
            bad ? " bad" : "", correlate.name, nineDigits(coefficient));
        if (withIntervals) {
            markup += fmt::format("<td class=\"number interval\" id=\"interval-{}\">{}</td>", correlate.name,
                                  interval(correlate));
        }
        if (!result.limits.empty()) {
            markup += fmt::format("<td class=\"number\" id=\"limit-{}\">{}</td>", correlate.name,
                                  limit == result.limits.end() ? "" : nineDigits(limit->second));
        }
        markup += "</tr>\n";
    };
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        row(correlate, result.coefficients.*correlate.coefficient);
    }
    if (result.hue) {
        row(hueCorrelate, *result.hue);
    }
    markup += "</tbody></table></div>\n";
    if (!result.limits.empty()) {
        const std::string below = result.shortfall();
        markup += below.empty()
                      ? "<p id=\"verdict\">Within the limits.</p>\n"
                      : "<p id=\"verdict\" class=\"bad\">Below the limits: " + escapedMarkup(below) + ".</p>\n";
    }
    return markup;
}

/// The conditions of a published model.
std::string publishedConditions(const ChosenModel& chosen) {
    const ViewingConditions& conditions = chosen.model.conditions;
    const PublishedModel model = publishedModelOf(chosen.model);
    const ConditionFactors& factors = model.factors();
    std::string markup = "<section><h2>Viewing conditions</h2>\n<p>Seen through <strong id=\"model\">" +
                         std::string(nameOf(chosen.model.kind)) + "</strong> under <strong id=\"conditions\">" +
                         escapedMarkup(chosen.conditions.name) + "</strong>. The white of the picture (<span " +
                         "id=\"picture-white\">" + nameOf(chosen.model.pictureWhite) +
                         "</span>) falls on that of the conditions.</p>\n<div class=\"wide\"><table><tbody>\n";
    const auto row = [&markup](const char* id, const char* name, const std::string& value) {
        markup +=
            fmt::format("<tr><th>{}</th><td class=\"number\" id=\"{}\">{}</td></tr>\n", name, id, escapedMarkup(value));
    };
    row("white", "white X, Y, Z",
        fmt::format("{:.7g}, {:.7g}, {:.7g}", conditions.white.x, conditions.white.y, conditions.white.z));
    row("adapting-luminance", "adapting luminance L<sub>A</sub>, cd/m²", nineDigits(conditions.adaptingLuminance));
    row("background", "background Y<sub>b</sub>", nineDigits(conditions.background.value_or(0)));
    row("surround", "surround", surroundText(conditions.surround));
    row("discounting", "illuminant discounted", conditions.discounting ? "yes" : "no");
    row("degree", "degree of adaptation D", nineDigits(factors.degreeOfAdaptation));
    row("level", "luminance-level adaptation F<sub>L</sub>", nineDigits(factors.luminanceLevel));
    row("n", "background induction n", nineDigits(factors.backgroundInduction));
    row("induction", "brightness and chromatic induction N<sub>bb</sub> = N<sub>cb</sub>",
        nineDigits(factors.brightnessInduction));
    row("z", "base exponential nonlinearity z", nineDigits(factors.baseExponent));
    row("white-response", "response of the white A<sub>w</sub>", nineDigits(factors.whiteResponse));
    return markup + "</tbody></table></div></section>\n";
}

/// What of the comparison's own model is not as by default.
std::string ownVariant(const ComparisonModel& model) {
    std::string markup;
    if (model.white == WhiteResponse::fixed) {
        markup += "<p id=\"variant-white\">The white is that of the encoding, not the brightest pixel.</p>\n";
    }
    if (model.black == BlackAdaptation::continuous) {
        markup += "<p id=\"variant-black\">Black is adapted as other colours are.</p>\n";
    }
    if (model.background) {
        markup += "<p id=\"variant-background\">The background is the one that was asked for and does not drift.</p>\n";
    }
    return markup;
}

std::string viewingConditions(const ComparisonResult& result) {
    if (result.model.isPublished()) {
        return publishedConditions(result.model);
    }
    const std::optional<double>& fixedBackground = result.model.model.background;
    const auto background = [&fixedBackground](const ComparedPhotograph& photograph) {
        return fixedBackground ? static_cast<float>(*fixedBackground)
                               : backgroundLuminanceOf(photograph.backgroundPixels());
    };
    const float first = background(result.first);
    const float second = background(result.second);
    std::string markup =
        "<section><h2>Viewing conditions</h2>\n<p>Both photographs are adapted to D65, each pixel's own colour being "
        "taken for its white, and seen in a dark surround (c = " +
        numberText(darkSurroundImpact) + ", N<sub>c</sub> = " + numberText(darkSurroundInduction) +
        "). The background is a fifth of the mean white; the mean is summed in single precision and falls a little "
        "with the number of pixels.</p>\n<div class=\"wide\"><table><thead><tr><th></th><th "
        "class=\"number\">first</th><th class=\"number\">second</th></tr></thead><tbody>\n";
    const auto row = [&markup](const char* id, const char* name, double firstValue, double secondValue) {
        markup += fmt::format(
            "<tr><th>{}</th><td class=\"number\" id=\"{}-first\">{}</td><td class=\"number\" "
            "id=\"{}-second\">{}</td></tr>\n",
            name, id, nineDigits(firstValue), id, nineDigits(secondValue));
    };
    const float white = whiteLuminance;
    row("adapting-luminance", "adapting luminance L<sub>A</sub>, cd/m²", adaptingLuminance, adaptingLuminance);
    row("white", "white Y<sub>w</sub>", white, white);
    row("background", "background Y<sub>b</sub>", first, second);
    row("level", "luminance-level adaptation F<sub>L</sub>", computeFl(adaptingLuminance),
        computeFl(adaptingLuminance));
    row("n", "background induction n", computeN(first, white), computeN(second, white));
    row("induction", "brightness and chromatic induction N<sub>bb</sub> = N<sub>cb</sub>", computeNcb(first, white),
        computeNcb(second, white));
    row("z", "base exponential nonlinearity z", computeZ(first, white), computeZ(second, white));
    return markup + "</tbody></table></div>" + ownVariant(result.model.model) + "</section>\n";
}

/// The hue's distributions.
std::string hueSection(const ComparisonReport& report) {
    const bool weighted = report.result.model.hue == HueWeights::chroma;
    return "<section id=\"hue\"><h2>Hue h</h2>\n<div class=\"histogram\">" +
           histogramPlot({"Hue of the two photographs", "hue h, in steps of 1 degree",
                          weighted ? "share of the chroma, %" : "share of the pixels that have a hue, %", 400, 250},
                         {seriesOf("first", *report.first.distributions.hue, 0, 359),
                          seriesOf("second", *report.second.distributions.hue, 0, 359)}) +
           "</div></section>\n";
}

/// What moved, in numbers and in sentences.
std::string explanationSection(const ComparisonResult& result) {
    const Explanation& explanation = *result.explanation;
    std::string markup =
        "<section id=\"why\"><h2>What moved</h2>\n<div class=\"wide\"><table id=\"explanations\"><thead><tr><th></th>";
    for (const char* const heading : {"median, first", "second", "shift", "middle half, first", "second",
                                      "shift of mean", "below the first", "above the first"}) {
        markup += fmt::format("<th class=\"number\">{}</th>", heading);
    }
    markup += "</tr></thead><tbody>\n";
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        const DistributionChange& change = explanation.changes[k];
        const std::string name = comparedCorrelates[k].name;
        markup += "<tr><th>" + labelOf(comparedCorrelates[k]) + "</th>";
        const auto cell = [&](const char* id, double value, const char* unit = "") {
            markup += fmt::format("<td class=\"number\" id=\"{}-{}\">{:.4g}{}</td>", id, name, value, unit);
        };
        cell("first-median", change.firstMedian);
        cell("second-median", change.secondMedian);
        cell("median-shift", change.medianShift);
        cell("first-spread", change.firstSpread);
        cell("second-spread", change.secondSpread);
        cell("mean-shift", change.meanShift);
        cell("share-below", 100 * change.gainedBelow, " %");
        cell("share-above", 100 * change.gainedAbove, " %");
        markup += "</tr>\n";
    }
    markup += "</tbody></table></div>\n<ul>";
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        markup += fmt::format("<li id=\"sentence-{}\">{}</li>\n", comparedCorrelates[k].name,
                              escapedMarkup(sentenceOf(explanation.changes[k], k)));
    }
    markup += "<li id=\"sentence-white\">" +
              escapedMarkup(sentenceOf(explanation.firstWhite, explanation.secondWhite)) + "</li></ul>\n";
    for (const std::string& what : notMeasured(result)) {
        markup += "<p class=\"note\">Not measured: " + escapedMarkup(what) + ".</p>\n";
    }
    return markup + "</section>\n";
}

constexpr const char* pageStyles = R"(.coefficients th:first-child{width:55%}.histogram{max-width:34rem;margin:0 auto}
.scale{margin:.7rem auto 0;max-width:34rem}.scale img{display:block;width:100%;height:.8rem;border-radius:.2rem}
.scale div{display:flex;justify-content:space-between;font-size:.875rem;font-variant-numeric:tabular-nums}
.scale .note{text-align:center;margin:0}
)";

}  // namespace

MapScale commonScale(const ComparedCorrelate& correlate, const AppearanceDistributions& first,
                     const AppearanceDistributions& second) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    double low = none;
    double high = none;
    for (const BinProbabilities* const distribution :
         {&(first.*correlate.distribution), &(second.*correlate.distribution)}) {
        const int least = binOfShare(*distribution, 0.01);
        if (least >= 0) {
            low = std::fmin(low, least);  // a NaN gives way
            high = std::fmax(high, binOfShare(*distribution, 0.99));
        }
    }
    return roundScale(labelOf(correlate), low, high);
}

std::string comparisonPage(const ComparisonReport& report) {
    HtmlPage page;
    page.title = "Likeness of " + report.result.first.path + " and " + report.result.second.path;
    page.styles = pageStyles;
    if (report.result.tiles && report.result.tiles->comparison.intervals) {
        page.styles +=
            ".coefficients th:first-child{width:40%}.coefficients .interval{white-space:normal}\n";  // two numbers are wide for a phone
    }
    page.body =
        "<h1>How alike two photographs look</h1>\n<section><div class=\"columns\">\n" +
        photographFigure(report.result.first, report.first, "first") +
        photographFigure(report.result.second, report.second, "second") +
        "</div></section>\n<section><h2>Coefficients</h2>\n" + coefficientTable(report.result) +
        "<p class=\"note\">The Bhattacharyya coefficient of the distributions of an appearance correlate over the "
        "pixels "
        "of the two photographs: 0 where they do not overlap, 1 where they are equal. Where things are in the picture "
        "does not matter.</p></section>\n";
    if (report.result.explanation) {
        page.body += explanationSection(report.result);
    }
    if (report.result.tiles && report.result.tiles->asked) {
        page.body += tileViewer(report.result, {report.first.largePictureUri, report.second.largePictureUri});
        page.styles += tileViewerStyles;
        page.script = tileViewerScript;
    }
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        page.body += correlateSection(report, k);
    }
    if (report.first.distributions.hue && report.second.distributions.hue) {
        page.body += hueSection(report);
    }
    page.body += viewingConditions(report.result) +
                 "<p class=\"note\">Made by <span id=\"program\">darkroom " LIKENESS_VERSION "</span>.</p>\n";
    return htmlDocument(page);
}

}  // namespace likeness::darkroom
