#include "pages/fit_report.hpp"

#include "files/markup_text.hpp"
#include "files/number_format.hpp"
#include "pages/html_page.hpp"
#include "pages/svg_plot.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace likeness::darkroom {
namespace {

constexpr const char* figureNames[] = {"Pearson", "Spearman", "Kendall", "RMSE", "outlier ratio"};

std::string cell(const std::string& text) {
    return "<td class=\"number\">" + text + "</td>";
}

std::string shortNumber(double value) {
    return std::isfinite(value) ? fmt::format("{:.4g}", value) : "-";
}

std::string agreementCells(const AgreementEstimate& agreement) {
    std::string cells;
    for (const auto& [name, figure] : agreementFigures) {
        cells += cell(estimateText(agreement.*figure));
    }
    return cells;
}

std::string agreementHeader(const std::string& first, const std::string& more = {}) {
    std::string header = "<thead><tr><th>" + first + "</th>";
    for (const char* const name : figureNames) {
        header += "<th class=\"number\">" + std::string(name) + "</th>";
    }
    return header + more + "</tr></thead>";
}

std::string wideTable(const std::string& id, const std::string& content) {
    return "<div class=\"wide\"><table id=\"" + id + "\">" + content + "</table></div>\n";
}

std::string overview(const ScoreFit& fit, const FitSources& sources) {
    const ScoreModel& model = fit.stored.model;
    std::string features;
    for (const std::string& feature : model.features) {
        features += (features.empty() ? "" : ", ") + feature;
    }
    std::string text = "<h1>Opinion scores from comparisons</h1>\n<p>The form <b>" + std::string(nameOf(model.form)) +
                       "</b> of " + escapedMarkup(features) + (takesMean(model.form) ? " (their mean)" : "") +
                       ", fitted to " + numberOf(fit.rows.size(), "score") + " (" +
                       (fit.stored.direction == ScoreDirection::higherBetter ? "higher is better" : "lower is better") +
                       ") of <span class=\"long\">" + escapedMarkup(sources.scores) +
                       "</span> and the results in <span class=\"long\">" + escapedMarkup(sources.results) +
                       "</span>.</p>\n";
    text += "<p>" +
            (fit.grouping.empty() ? std::string("The contents are not known: each row counts as one of its own")
                                  : numberOf(fit.groups, "content") + " by \"" + escapedMarkup(fit.grouping) + '"') +
            ". ";
    text +=
        fit.crossValidated
            ? fmt::format("Unseen: each score is predicted by a model that was fitted without its content, {} times. ",
                          fit.folds)
            : "There is no cross-validation: " + escapedMarkup(fit.noValidation) + ". ";
    text += fmt::format("Intervals are of {:.3g} %, over {} resamples of the contents (seed {}).</p>\n",
                        100 * fit.bootstrap.confidence, fit.bootstrap.resamples, fit.bootstrap.seed);
    for (const std::string& remark : fit.remarks) {
        text += "<p class=\"note\">" + escapedMarkup(remark) + ".</p>\n";
    }
    return text;
}

std::string agreementSection(const ScoreFit& fit) {
    std::string rows = "<tr><th>fitted</th>" + agreementCells(fit.performance) + "</tr>";
    if (fit.crossValidated) {
        rows += "<tr><th>unseen</th>" + agreementCells(*fit.crossValidated) + "</tr>";
    }
    std::string mapped =
        "<thead><tr><th>after a third-order mapping (ITU-T P.1401)</th><th class=\"number\">Pearson</th>"
        "<th class=\"number\">RMSE</th><th class=\"number\">RMSE*</th>"
        "<th class=\"number\">outlier ratio</th></tr></thead>";
    const auto addMapped = [&](const char* name, const MappedAgreement& its) {
        mapped += std::string("<tr><th>") + name + "</th>" + cell(shortNumber(its.pearson)) +
                  cell(shortNumber(its.rmse)) + cell(shortNumber(its.rmseStar)) + cell(shortNumber(its.outlierRatio)) +
                  "</tr>";
    };
    addMapped("fitted", fit.mapped);
    if (fit.crossValidated) {
        addMapped("unseen", fit.crossMapped);
    }
    const std::string outlier =
        !fit.hasDeviations  ? "The scores have no standard deviations: outliers are not known."
        : fit.observers > 1 ? fmt::format(
                                  "An outlier is off by more than the 95 % interval of a score of {} "
                                  "observers.",
                                  fit.observers)
                            : "An outlier is off by more than two standard deviations of its score. RMSE* needs "
                              "the number of observers.";
    return "<section><h2>Agreement</h2>\n" + wideTable("agreement", agreementHeader("") + rows) +
           wideTable("mapped", mapped) + "<p class=\"note\">" + outlier + "</p></section>\n";
}

PlotSeries diagonal(const ScoreFit& fit) {
    double low = fit.rows.front().score;
    double high = low;
    for (const FittedRow& row : fit.rows) {
        low = std::min(low, row.score);
        high = std::max(high, row.score);
    }
    constexpr int dots = 60;
    PlotSeries line{"equal", {}, {}, "var(--quiet)"};
    for (int k = 0; k <= dots; ++k) {
        line.x.push_back(low + (high - low) * k / dots);
        line.y.push_back(line.x.back());
    }
    return line;
}

/// @param cross  whether of the predictions of unseen contents
std::string plots(const ScoreFit& fit, bool cross) {
    const std::string which = cross ? "unseen" : "fitted";
    PlotSeries scores{which, {}, {}, ""};
    PlotSeries residuals{which, {}, {}, ""};
    for (const FittedRow& row : fit.rows) {
        const double predicted = cross ? row.crossValidated : row.prediction.score;
        scores.x.push_back(predicted);
        scores.y.push_back(row.score);
        residuals.x.push_back(predicted);
        residuals.y.push_back(row.score - predicted);
    }
    const std::string name = fit.stored.scoreName;
    return "<figure>" +
           scatterPlot({"Scores against predictions, " + which, "predicted, " + which, name}, {scores, diagonal(fit)}) +
           "</figure>\n<figure>" +
           scatterPlot({"Residuals against predictions, " + which, "predicted, " + which, name + " less predicted"},
                       {residuals}) +
           "</figure>\n";
}

std::string residualHistogram(const ScoreFit& fit) {
    std::vector<double> residuals;
    for (const FittedRow& row : fit.rows) {
        residuals.push_back(row.score - (fit.crossValidated ? row.crossValidated : row.prediction.score));
    }
    const auto [low, high] = std::minmax_element(residuals.begin(), residuals.end());
    const double span = *high - *low;
    if (!(span > 0)) {
        return "";
    }
    constexpr int bins = 24;
    const double width = span / bins;
    PlotSeries series{fit.crossValidated ? "unseen" : "fitted", {}, {}, ""};
    for (int k = 0; k < bins; ++k) {
        series.x.push_back(*low + (k + 0.5) * width);
        series.y.push_back(0);
    }
    for (const double residual : residuals) {
        ++series.y[static_cast<std::size_t>(std::min(bins - 1, static_cast<int>((residual - *low) / width)))];
    }
    return "<figure>" +
           histogramPlot({"Residuals", fit.stored.scoreName + " less predicted", "scores"}, {series}, width) +
           "</figure>\n";
}

std::string residualsByType(const ScoreFit& fit) {
    if (fit.types.empty()) {
        return "";
    }
    std::map<std::string, std::size_t> place;
    for (const TypeAgreement& type : fit.types) {
        place.emplace(type.type, place.size() + 1);
    }
    PlotSeries series{"types", {}, {}, ""};
    for (const FittedRow& row : fit.rows) {
        series.x.push_back(static_cast<double>(place[row.type]));
        series.y.push_back(row.score - (fit.crossValidated ? row.crossValidated : row.prediction.score));
    }
    return "<figure class=\"one\">" +
           scatterPlot({"Residuals by type of distortion", "number of the type in the table",
                        fit.stored.scoreName + " less predicted"},
                       {series}) +
           "</figure>\n";
}

std::string modelSection(const ScoreFit& fit) {
    const ScoreModel& model = fit.stored.model;
    std::string section = "<section><h2>Model</h2>\n";
    if (!model.parameters.empty()) {
        std::string rows = "<thead><tr><th>parameter</th><th class=\"number\">value and interval</th></tr></thead>";
        for (const ScoreParameter& parameter : model.parameters) {
            rows +=
                "<tr><th>" + escapedMarkup(parameter.name) + "</th>" + cell(estimateText(parameter.estimate)) + "</tr>";
        }
        section += wideTable("parameters", rows);
    } else {
        PlotSeries steps{"model", model.knotsX, model.knotsY, ""};
        section += "<figure>" +
                   linePlot({"The monotone function", "mean of the features", fit.stored.scoreName}, {steps}) +
                   "</figure>\n";
    }
    std::string rows =
        "<thead><tr><th>valid for</th><th class=\"number\">from</th><th class=\"number\">to</th></tr></thead>";
    for (std::size_t k = 0; k < model.features.size(); ++k) {
        rows += "<tr><th>" + escapedMarkup(model.features[k]) + "</th>" + cell(shortNumber(model.ranges[k].low)) +
                cell(shortNumber(model.ranges[k].high)) + "</tr>";
    }
    section += wideTable("validity", rows);
    return section + "<p class=\"note\">Comparisons: " +
           escapedMarkup(fit.stored.parameters.empty() ? "not recorded" : fit.stored.parameters) +
           ". Intervals of parameters take the scores' errors for independent.</p></section>\n";
}

std::string typeSection(const ScoreFit& fit) {
    if (fit.types.empty()) {
        return "";
    }
    std::string rows = agreementHeader("type", "<th class=\"number\">rows</th>");
    std::size_t number = 0;
    for (const TypeAgreement& type : fit.types) {
        rows += fmt::format("<tr><th>{}. {}</th>", ++number, escapedMarkup(type.type)) +
                agreementCells(type.agreement) + cell(std::to_string(type.rows)) + "</tr>";
    }
    return std::string("<section><h2>By type of distortion</h2>\n<p class=\"note\">") +
           (fit.crossValidated ? "Of unseen contents." : "Of the fitted scores.") + "</p>\n" +
           wideTable("types", rows) + residualsByType(fit) + "</section>\n";
}

std::string rivalSection(const ScoreFit& fit) {
    if (fit.rivals.empty()) {
        return "";
    }
    std::string rows = agreementHeader("", "<th class=\"number\">Pitman's p</th><th class=\"number\">rows</th>");
    for (const RivalPrediction& rival : fit.rivals) {
        rows += "<tr><th class=\"long\">" + escapedMarkup(rival.name) +
                (rival.name == rival.form ? "" : " (" + rival.form + ")") + "</th>" + agreementCells(rival.agreement) +
                cell(shortNumber(rival.pitman.p)) + cell(std::to_string(rival.rows)) +
                "</tr><tr><th>the model less this</th>" + agreementCells(rival.difference) + "<td></td><td></td></tr>";
    }
    return "<section><h2>Against others</h2>\n" + wideTable("rivals", rows) +
           "<p class=\"note\">Pitman's paired test takes rows for independent; the intervals of the differences "
           "resample "
           "whole contents. A model file is compared as it is, without cross-validation.</p></section>\n";
}

}  // namespace

std::string estimateText(const Estimate& estimate) {
    if (!std::isfinite(estimate.value)) {
        return "-";
    }
    return estimate.hasInterval() ? fmt::format("{:.4g} [{:.4g}, {:.4g}]", estimate.value, estimate.low, estimate.high)
                                  : fmt::format("{:.4g}", estimate.value);
}

std::string fitPage(const ScoreFit& fit, const FitSources& sources) {
    HtmlPage page;
    page.title = "Fit of " + sources.results;
    page.body = overview(fit, sources) + agreementSection(fit) + "<section><h2>Scores and residuals</h2>\n" +
                "<div class=\"plots\">" + plots(fit, false) + (fit.crossValidated ? plots(fit, true) : "") +
                residualHistogram(fit) + "</div></section>\n" + modelSection(fit) + typeSection(fit) +
                rivalSection(fit);
    page.styles = plotStyles() +
                  ".plots{display:grid;grid-template-columns:repeat(auto-fit,minmax(min(100%,20rem),1fr));gap:.9rem}\n"
                  "figure.one{max-width:32rem}\n";
    return htmlDocument(page);
}

}  // namespace likeness::darkroom
