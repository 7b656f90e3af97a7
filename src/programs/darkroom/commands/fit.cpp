// darkroom fit: opinion scores predicted from the results of comparisons.
#include "commands/subcommands.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "files/csv_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "pages/fit_report.hpp"
#include "photofile/image_input.hpp"
#include "scores/baselines.hpp"
#include "scores/fit_inputs.hpp"
#include "scores/score_fit.hpp"
#include "scores/score_model_file.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

constexpr const char* standardStream = "-";

struct FitArguments {
    std::string results;
    std::string scores;
    ScoreColumns columns;
    std::string direction;
    std::vector<std::string> dataset;  ///< name and folder
    bool printList = false;
    std::string form = "linear";
    std::string features;
    double penalty = -1;
    int observers = 0;
    int folds = 10;
    int resamples = 1000;
    std::uint64_t seed = 1;
    std::vector<std::string> against;
    bool baselines = false;
    std::string root;
    std::string output;
    std::string predictions;
    std::string report;
};

void checkCombination(const FitArguments& options) {
    if (options.dataset.empty() == options.scores.empty()) {
        throw Refusal(options.scores.empty() ? "--scores or --dataset is required"
                                             : "--scores and --dataset exclude each other");
    }
    if (options.printList && options.dataset.empty()) {
        throw Refusal("--print-list: there is no --dataset");
    }
    if (options.results.empty() && !options.printList) {
        throw Refusal("RESULTS is required");
    }
    if (options.dataset.empty()) {
        return;
    }
    const std::pair<const char*, bool> ofTables[] = {{"--score", options.columns.score != "score"},
                                                     {"--deviation", !options.columns.deviation.empty()},
                                                     {"--id", !options.columns.id.empty()},
                                                     {"--direction", !options.direction.empty()}};
    for (const auto& [option, given] : ofTables) {
        if (given) {
            throw Refusal(std::string(option) + ": --dataset knows it; the option is for --scores");
        }
    }
}

std::vector<std::string> featuresIn(const std::string& text) {
    std::vector<std::string> features;
    if (text.empty()) {
        return features;
    }
    for (const std::string& name : partsOf(text)) {
        if (name.empty() || std::find(features.begin(), features.end(), name) != features.end()) {
            throw Refusal("--features: '" + text + "' has a name that is " + (name.empty() ? "empty" : "there twice"));
        }
        features.push_back(name);
    }
    return features;
}

FitRequest requestOf(const FitArguments& options, ScoreForm form) {
    FitRequest request;
    request.results = options.results;
    request.scores = options.scores;
    if (!options.dataset.empty()) {
        request.dataSet.emplace(options.dataset[0], options.dataset[1]);
    }
    request.columns = options.columns;
    if (!options.direction.empty()) {
        request.direction =
            options.direction == "lower-better" ? ScoreDirection::lowerBetter : ScoreDirection::higherBetter;
    }
    request.features = featuresIn(options.features);
    request.form = form;
    return request;
}

/// Mean CIEDE2000 and PSNR of the joined pairs.
void addBaselines(const Console& console, const FitArguments& options, const FitInputs& inputs, ScoreFitOptions& fit) {
    std::vector<double> differences;
    std::vector<double> decibels;
    std::size_t unread = 0;
    std::string example;
    Progress progress(console, "reading photographs", static_cast<int>(inputs.joined.rows.size()));
    for (const JoinedScores::Row& row : inputs.joined.rows) {
        const RecordedPair& pair = inputs.pairs.pairs[row.pair];
        BaselineValues values;
        values.ciede2000 = values.psnr = std::numeric_limits<double>::quiet_NaN();
        try {
            const auto placed = [&](const std::string& path) {
                return options.root.empty() ? path : (fs::path(options.root) / path).string();
            };
            if (pair.first.empty()) {
                throw Refusal("'" + options.results + "' names no photographs");
            }
            const auto photographs = readPhotographPairAsCompared(console, placed(pair.first), placed(pair.second));
            checkSameSize(pair.first, photographs.first, pair.second, photographs.second);
            values = baselinesOf(photographs.first, photographs.second);
        } catch (const Refusal& refusal) {
            example = unread == 0 ? refusal.what() : example;
            ++unread;
        }
        differences.push_back(values.ciede2000);
        decibels.push_back(values.psnr);
        progress.step();
    }
    if (unread > 0) {
        console.warn(numberOf(unread, "pair") + " without baselines: " + example);
    }
    fit.baselines = {{"ciede2000", std::move(differences)}, {"psnr", std::move(decibels)}};
}

ScoreFitOptions fitOptions(const FitArguments& options, ScoreForm form, const RecordedPairs& pairs) {
    ScoreFitOptions fit;
    fit.fit.form = form;
    fit.fit.folds = options.folds;
    fit.fit.seed = options.seed;
    if (options.penalty >= 0) {
        fit.fit.penalty = options.penalty;
    }
    fit.bootstrap.resamples = options.resamples;
    fit.bootstrap.seed = options.seed;
    fit.observers = options.observers;
    for (const std::string& name : options.against) {
        if (const std::optional<ScoreForm> other = scoreFormOf(name)) {
            fit.forms.push_back(*other);
            continue;
        }
        StoredScoreModel stored = readScoreModel("--against", name);
        if (stored.parameters != pairs.parameters) {
            throw Refusal("--against: '" + name + "' was fitted to results of the parameters " + stored.parameters +
                          ", and '" + pairs.source + "' holds " + pairs.parameters);
        }
        fit.models.emplace_back(name, std::move(stored));
    }
    return fit;
}

std::string predictionTable(const ScoreFit& fit) {
    const auto number = [](double value) { return std::isfinite(value) ? fmt::format("{}", value) : std::string(); };
    std::string table = csvLine({"id", "score", "predicted", "low", "high", "cross_validated", "group", "type"});
    for (const FittedRow& row : fit.rows) {
        table += csvLine({row.id, number(row.score), number(row.prediction.score), number(row.prediction.low),
                          number(row.prediction.high), number(row.crossValidated), row.content, row.type});
    }
    return table;
}

/// What is printed where no file is named for the model, and beside one.
std::string summary(const ScoreFit& fit) {
    const ScoreModel& model = fit.stored.model;
    std::string text = fmt::format("{} of ", nameOf(model.form));
    for (std::size_t k = 0; k < model.features.size(); ++k) {
        text += (k == 0 ? "" : ", ") + model.features[k];
    }
    text += fmt::format(
        "; {}, {}, {}\n", numberOf(fit.rows.size(), "row"),
        fit.grouping.empty() ? "contents not known" : numberOf(fit.groups, "content") + " by " + fit.grouping,
        nameOf(fit.stored.direction));
    text += fmt::format("{:<14} {:<28} {}\n", "", "fitted",
                        fit.crossValidated ? fmt::format("unseen, {} folds", fit.folds) : "");
    for (const auto& [name, figure] : agreementFigures) {
        text += fmt::format("{:<14} {:<28} {}", name, estimateText(fit.performance.*figure),
                            fit.crossValidated ? estimateText((*fit.crossValidated).*figure) : "");
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    const auto mapped = [&](double MappedAgreement::*figure) {
        const auto one = [](double value) { return std::isfinite(value) ? fmt::format("{:.4g}", value) : "-"; };
        return fmt::format("{:<28} {}", one(fit.mapped.*figure),
                           fit.crossValidated ? one(fit.crossMapped.*figure) : "");
    };
    text += fmt::format("{:<14} {}\n{:<14} {}\n", "rmse, mapped", mapped(&MappedAgreement::rmse), "rmse*, mapped",
                        mapped(&MappedAgreement::rmseStar));
    for (const ScoreParameter& parameter : model.parameters) {
        text += fmt::format("{:<14} {}\n", parameter.name, estimateText(parameter.estimate));
    }
    for (const RivalPrediction& rival : fit.rivals) {
        text += fmt::format(
            "against {}{}: rmse {}, less by {}, Pitman p {:.3g}; {}\n", rival.name,
            rival.name == rival.form ? "" : " (" + rival.form + ")", estimateText(rival.agreement.rmse),
            estimateText({-rival.difference.rmse.value, -rival.difference.rmse.high, -rival.difference.rmse.low}),
            rival.pitman.p, numberOf(rival.rows, "row"));
    }
    for (const TypeAgreement& type : fit.types) {
        text += fmt::format("type {}: {}, spearman {}, rmse {}\n", type.type, numberOf(type.rows, "row"),
                            estimateText(type.agreement.spearman), estimateText(type.agreement.rmse));
    }
    return text;
}

ExitStatus printList(const FitArguments& options) {
    const OpinionScores scores = readScoreSet(options.dataset[0], options.dataset[1]);
    std::string list = csvLine({"id", "first", "second"});
    for (const OpinionScore& score : scores.scores) {
        list += csvLine({score.id, score.first, score.second});
    }
    std::cout << list;
    return ExitStatus::done;
}

ExitStatus fitResults(const Console& console, const FitArguments& options) {
    checkCombination(options);
    if (options.printList) {
        return printList(options);
    }
    const ScoreForm form = *scoreFormOf(options.form);
    if (options.penalty >= 0 && form != ScoreForm::ridge) {
        throw Refusal("--penalty: the form " + options.form + " has none; it is for ridge");
    }
    checkReadFolder("--root", options.root);
    if (!options.root.empty() && !options.baselines) {
        throw Refusal("--root: there are no --baselines, which alone read photographs");
    }
    std::vector<std::string> inputs = {options.results, options.scores};
    for (const std::string& name : options.against) {
        if (!scoreFormOf(name)) {
            inputs.push_back(name);
        }
    }
    OutputPlan plan(console, inputs, InputKind::others);
    for (const auto& [option, path] : {std::pair("--output", options.output), {"--predictions", options.predictions}}) {
        if (!path.empty()) {
            plan.data(option, path);
        }
    }
    if (!options.report.empty()) {
        plan.page("--report", options.report);
    }
    const FitInputs read = readFitInputs(requestOf(options, form));
    for (const std::string& remark : read.remarks) {
        console.warn(remark);
    }
    ScoreFitOptions fitting = fitOptions(options, form, read.pairs);
    if (options.baselines) {
        addBaselines(console, options, read, fitting);
    }
    ScoreFit fit;
    try {
        const Progress progress(console, "fitting");
        fit = fitOpinionScores(read.pairs, read.scores, read.joined, fitting);
    } catch (const FitProblem& problem) {
        throw Refusal("'" + options.results + "': " + problem.what());
    }
    for (const std::string& remark : fit.remarks) {
        console.warn(remark);
    }
    if (!options.predictions.empty()) {
        writeResult(console, options.predictions, predictionTable(fit), "predictions");
    }
    if (!options.report.empty()) {
        writeResult(console, options.report, fitPage(fit, read.sources), "report");
    }
    if (!options.output.empty()) {
        writeResult(console, options.output, scoreModelJson(fit, read.sources), "model");
    }
    const bool taken =
        options.output == standardStream || options.predictions == standardStream || options.report == standardStream;
    if (!taken) {
        console.give(summary(fit));
    }
    return ExitStatus::done;
}

}  // namespace

Action declareFit(OptionParser& app) {
    auto options = std::make_shared<FitArguments>();
    app.addOption("RESULTS", options->results,
                  "Results of darkroom batch, merge or pairs, or a report For_fit.txt of five lines a run");
    app.addOption("--scores", options->scores,
                  optionText("Table of opinion scores (CSV, .tsv) with a header; rows and results of one id belong "
                             "together",
                             "--scores scores.csv"))
        ->typeName("FILE");
    app.addOption("--dataset", options->dataset,
                  optionText("In place of --scores: a published set of scores (tid2013, kadid10k, csiq, live, spcd), "
                             "and the folder in which it lies as it is published",
                             "--dataset tid2013 tid2013"))
        ->typeName("NAME DIR")
        ->expected(2);
    app.addOption("--score", options->columns.score, optionText("Column of the scores", "--score mos"))
        ->typeName("COLUMN")
        ->showDefault();
    app.addOption("--deviation", options->columns.deviation,
                  optionText("Column of the scores' standard deviations, for the outlier ratio", "--deviation std"))
        ->typeName("COLUMN");
    app.addOption("--group", options->columns.content,
                  optionText("Column of the contents, of the scores or the results: no content is fitted and "
                             "validated at the same time; by default the first photograph, where several pairs have it",
                             "--group content"))
        ->typeName("COLUMN");
    app.addOption("--type", options->columns.type,
                  optionText("Column of the types of distortion, for a table by type", "--type distortion"))
        ->typeName("COLUMN");
    app.addOption("--id", options->columns.id, optionText("Column of the ids; default: id", "--id pair"))
        ->typeName("COLUMN");
    app.addOption("--direction", options->direction,
                  optionText("Which scores mean that the photographs look more alike; required with --scores. A data "
                             "set knows its own",
                             "--direction higher-better"))
        ->typeName("WHICH")
        ->check(oneOf({"higher-better", "lower-better"}));
    app.addOption("--form", options->form,
                  optionText("How the score follows from the features: each with a weight (linear, ridge) or an "
                             "exponent (product), or from their mean (monotone, logistic4, logistic5)",
                             "--form logistic5"))
        ->typeName("FORM")
        ->check(oneOf({"linear", "monotone", "logistic4", "logistic5", "product", "ridge"}))
        ->showDefault();
    app.addOption("--features", options->features,
                  optionText("What the score is predicted from: coefficients, hue, columns of the results that hold "
                             "numbers; by default the five coefficients, for linear, ridge and product the hue and "
                             "distances too, where all results have them",
                             "--features lightness,chroma"))
        ->typeName("NAME,...");
    app.addOption("--penalty", options->penalty,
                  optionText("Of ridge, on the sum of the squared weights of standardised features, 0 to 1e12; by "
                             "default the best in cross-validation",
                             "--penalty 10"))
        ->typeName("VALUE")
        ->check(numberBetween(0, 1e12));
    app.addOption("--observers", options->observers,
                  optionText("How many people gave each score, 2 to 1000000: the outlier ratio and RMSE* of ITU-T "
                             "P.1401 then take the scores' confidence intervals, in place of two standard deviations",
                             "--observers 24"))
        ->typeName("N")
        ->check(integerBetween(2, 1000000));
    app.addOption(
           "--folds", options->folds,
           optionText("Parts of the cross-validation, 2 to 1000; at most as many as there are contents", "--folds 5"))
        ->typeName("N")
        ->check(integerBetween(2, 1000))
        ->showDefault();
    app.addOption("--resamples", options->resamples,
                  optionText("Of the contents, for the intervals, 20 to 100000", "--resamples 10000"))
        ->typeName("N")
        ->check(integerBetween(20, 100000))
        ->showDefault();
    app.addOption(
           "--seed", options->seed,
           optionText("Of folds and resamples, 0 to 4294967295: the same seed gives the same numbers", "--seed 7"))
        ->typeName("N")
        ->check(integerBetween(0, 4294967295))
        ->showDefault();
    app.addOption("--against", options->against,
                  optionText("Another form, or the file of another model, to hold this one against: Pitman's paired "
                             "test and intervals of the differences. May be given again",
                             "--against linear"))
        ->typeName("FORM|MODEL.json")
        ->expected(1)
        ->takeAll();
    app.addFlag("--baselines", options->baselines,
                optionText("Compute mean CIEDE2000 and PSNR of the photographs, and hold the model against them",
                           "--baselines"));
    app.addOption("--root", options->root,
                  optionText("Folder that relative paths of the results start from; by default the working directory",
                             "--root /data/photographs"))
        ->typeName("DIR");
    app.addOption(
           "-o,--output", options->output,
           optionText("File for the model (JSON), which compare and batch take with --predict", "--output model.json"))
        ->typeName("MODEL.json");
    app.addOption("--predictions", options->predictions,
                  optionText("Table of what is predicted for each row: id, score, predicted, interval, prediction of "
                             "the unseen content, group, type",
                             "--predictions predictions.csv"))
        ->typeName("FILE.csv");
    app.addOption("--report", options->report,
                  optionText("Page with tables, plots of scores and residuals, in one file", "--report fit.html"))
        ->typeName("FILE.html");
    app.addFlag(
        "--print-list", options->printList,
        optionText("Print the pairs of --dataset as a list for darkroom batch, and fit nothing", "--print-list"));
    return [options](const Console& console) { return fitResults(console, *options); };
}

}  // namespace likeness::darkroom
