// darkroom report: a page of the results of a batch.
#include "batch/result_store.hpp"
#include "commands/subcommands.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "pages/batch_report.hpp"
#include "pages/html_page.hpp"
#include "photofile/image_input.hpp"

#include <algorithm>
#include <filesystem>
#include <memory>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

constexpr int thumbnailSide = 200;  // pixels: twice what the page shows, for fine screens
constexpr int thumbnailQuality = 72;

struct ReportArguments {
    std::string results;
    std::string output;
    std::string root;
    int rows = 20000;
    int thumbnails = 24;
};

void check(const ReportArguments& options, OutputPlan& plan) {
    plan.page("--output", options.output);
    checkReadFolder("--root", options.root);
}

/// Reads all results.
/// @return  the report but for the pictures, its records with the worst first
BatchReport read(const Console& console, const ReportArguments& options) {
    BatchReport report;
    report.source = options.results;
    const auto reader = openResults(options.results, resultFormatOf("RESULTS", options.results));
    WorstRecords worst(static_cast<std::size_t>(options.rows));
    const Progress progress(console, "reading results");
    ResultRecord record;
    while (reader->next(record)) {
        if (comparesHue(record)) {
            takeHue(record);
        }
        report.summary.add(record.outcome);
        report.versions.emplace(record.version, record.parameters);
        worst.add(record);
    }
    if (report.summary.pairs() == 0) {
        throw Refusal("'" + options.results + "' holds no results");
    }
    if (reader->tail().cutOff) {
        console.warn("the last record of '" + options.results + "' is cut off and left out");
    }
    report.columns = reader->columns();
    if (report.summary.hasHue() && !report.columns.empty() && report.columns.back() == hueColumn) {
        report.columns.pop_back();
    }
    report.records = worst.take();
    return report;
}

std::string placeOf(const ReportArguments& options, const std::string& path) {
    return options.root.empty() ? path : (fs::path(options.root) / path).string();
}

/// Adds small pictures of the worst pairs that were compared.
void addThumbnails(const Console& console, const ReportArguments& options, BatchReport& report) {
    std::vector<std::string> paths;
    int pairs = 0;
    for (const ResultRecord& record : report.records) {
        if (record.outcome.compared() && pairs < options.thumbnails) {
            paths.push_back(record.first);
            paths.push_back(record.second);
            ++pairs;
        }
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    if (paths.empty()) {
        return;
    }
    std::size_t unread = 0;
    std::string example;
    Progress progress(console, "reading photographs", static_cast<int>(paths.size()));
    for (const std::string& path : paths) {
        try {
            report.pictures[path] = jpegUri(pictureOf(readPhotographAsCompared(console, placeOf(options, path))),
                                            thumbnailSide, thumbnailQuality);
        } catch (const Refusal& refusal) {
            // The results may have outlived the photographs: the page does without.
            example = unread == 0 ? refusal.what() : example;
            ++unread;
        }
        progress.step();
    }
    if (unread > 0) {
        console.warn(std::to_string(unread) + " of " + std::to_string(paths.size()) +
                     " photographs are left out of the page: " + example);
    }
}

ExitStatus makeReport(const Console& console, const ReportArguments& options) {
    OutputPlan plan(console, {options.results}, InputKind::others);
    check(options, plan);
    BatchReport report = read(console, options);
    for (const ResultRecord& record : report.records) {
        plan.readsToo(placeOf(options, record.first));
        plan.readsToo(placeOf(options, record.second));
    }
    addThumbnails(console, options, report);
    writeResult(console, options.output, batchReportPage(report), numberOf(report.summary.pairs(), "pair"));
    return ExitStatus::done;
}

}  // namespace

Action declareReport(OptionParser& app) {
    auto options = std::make_shared<ReportArguments>();
    app.addOption("RESULTS", options->results, "Results of darkroom batch or merge")->required();
    app.addOption("-o,--output", options->output,
                  optionText("HTML page, one file that needs no network", "--output report.html"))
        ->typeName("FILE")
        ->required();
    app.addOption("--rows", options->rows,
                  optionText("How many pairs table and scatter hold at most, the worst ones, 1 to 200000; the "
                             "distributions are of all",
                             "--rows 5000"))
        ->typeName("PAIRS")
        ->check(integerBetween(1, 200000))
        ->showDefault();
    app.addOption("--thumbnails", options->thumbnails,
                  optionText("How many pairs are shown with small pictures of their photographs, those with the "
                             "lowest coefficients, 0 to 1000",
                             "--thumbnails 50"))
        ->typeName("PAIRS")
        ->check(integerBetween(0, 1000))
        ->showDefault();
    app.addOption("--root", options->root,
                  optionText("Folder that relative paths of the results start from; default: the working directory",
                             "--root /data/photographs"))
        ->typeName("DIR");
    return [options](const Console& console) { return makeReport(console, *options); };
}

}  // namespace likeness::darkroom
