// darkroom compare: five coefficients that say how alike two photographs look.
#include <likeness/comparison/analysis.hpp>
#include "batch/comparison_remarks.hpp"
#include "commands/subcommands.hpp"
#include "comparison/counted_rows.hpp"
#include "console/comparison_result.hpp"
#include "console/comparison_warnings.hpp"
#include "console/model_options.hpp"
#include "console/operation_watch.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "console/part_options.hpp"
#include "console/progress.hpp"
#include "console/text_output.hpp"
#include "console/tile_options.hpp"
#include "files/refusal.hpp"
#include "files/standard_input.hpp"
#include "pages/comparison_report.hpp"
#include "pages/html_page.hpp"
#include "pages/tile_picture.hpp"
#include "pages/tile_viewer.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/image_input.hpp"
#include "photofile/image_output.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

struct CompareArguments {
    std::string first;
    std::string second;
    std::string output;
    std::vector<std::string> limits;
    std::string maps;
    std::string report;
    bool json = false;
    bool csv = false;
    bool distances = false;
    TileTexts tiles;
    std::string tileMaps;
    std::string tileTable;
    bool interval = false;
    int resamples = IntervalOptions().resamples;
    std::optional<std::int64_t> seed;
    std::string differenceMaps;
    bool align = false;
    bool explain = false;
    std::string predict;
    bool sliced = false;
    ModelOptions model;
    PartOptions part;
    std::pair<OwnPicture, OwnPicture> pictures;
};

std::uint64_t seedOf(const CompareArguments& options) {
    return options.seed ? static_cast<std::uint64_t>(*options.seed) : IntervalOptions().seed;
}

/// File of a map in the folder that --maps names: "first_brightness.tif".
std::string mapPath(const CompareArguments& options, const char* place, const Correlate& correlate,
                    const char* extension) {
    return (fs::path(options.maps) / (std::string(place) + '_' + correlate.name + extension)).string();
}

std::vector<std::string> mapPaths(const CompareArguments& options) {
    std::vector<std::string> paths;
    for (const char* const place : {"first", "second"}) {
        for (const Correlate& correlate : comparedCorrelates) {
            for (const char* const extension : {".png", ".tif"}) {
                paths.push_back(mapPath(options, place, correlate, extension));
            }
        }
        if (options.model.hue) {
            for (const char* const extension : {".png", ".tif"}) {
                paths.push_back(mapPath(options, place, hueCorrelate, extension));
            }
        }
    }
    return paths;
}

/// Stem of the maps of tiles: a folder's, or what the names begin with.
std::string tileMapStem(const CompareArguments& options) {
    const fs::path given(options.tileMaps);
    std::error_code error;
    const bool folder = fs::is_directory(given, error) || given.filename().empty();
    return folder ? (given / "tiles").string() : options.tileMaps;
}

std::string tileMapPath(const CompareArguments& options, const Correlate& correlate, const char* extension) {
    return tileMapStem(options) + '_' + correlate.name + extension;
}

std::string differenceMapPath(const CompareArguments& options, const std::string& name, const char* extension) {
    return (fs::path(options.differenceMaps) / ("difference_" + name + extension)).string();
}

/// Refuses what a line of CSV would leave out in silence.
void checkCsv(const CompareArguments& options) {
    if (options.explain) {
        throw Refusal("--explain: CSV has no place for sentences; --json has them");
    }
    if (!options.tiles.tiles.empty() && !options.interval && options.tileTable.empty() && options.tileMaps.empty() &&
        options.report.empty()) {
        throw Refusal("--tiles: the line of CSV has no tiles; --tile-table writes a table of them");
    }
}

void checkOutputs(const Console& console, const CompareArguments& options) {
    const ResultText format = resultTextFor(options.output, options.json  ? ResultText::json
                                                            : options.csv ? ResultText::csv
                                                                          : ResultText::any);
    if (format == ResultText::csv) {
        checkCsv(options);
    }
    if (options.report == standardStream && options.output.empty()) {
        throw Refusal("--report: standard output has the result; --output can name a file for it");
    }
    OutputPlan plan(console, {options.first, options.second});
    plan.mayRead(options.model.viewing.conditions);
    for (const std::string& file : options.part.files()) {
        plan.mayRead(file);
    }
    plan.mayRead(options.predict);
    if (!options.output.empty()) {
        plan.data("--output", options.output);
    }
    if (!options.report.empty()) {
        plan.page("--report", options.report);
    }
    if (!options.maps.empty()) {
        checkFolder("--maps", options.maps);
        for (const std::string& path : mapPaths(options)) {
            plan.file("--maps", path);
        }
    }
    if (!options.tileTable.empty()) {
        if (options.tileTable == standardStream && options.output.empty()) {
            throw Refusal("--tile-table: standard output has the result; --output can name a file for it");
        }
        plan.data("--tile-table", options.tileTable);
    }
    if (!options.tileMaps.empty()) {
        if (fs::path(options.tileMaps).filename().empty()) {
            checkFolder("--tile-maps", options.tileMaps);
        }
        for (const Correlate& correlate : comparedCorrelates) {
            for (const char* const extension : {".png", ".tif"}) {
                plan.file("--tile-maps", tileMapPath(options, correlate, extension));
            }
        }
    }
    if (!options.differenceMaps.empty()) {
        checkFolder("--difference-maps", options.differenceMaps);
        for (const std::string& name : differenceNames()) {
            for (const char* const extension : {".png", ".tif"}) {
                plan.file("--difference-maps", differenceMapPath(options, name, extension));
            }
        }
    }
}

void writeMap(const Console& console, const CompareArguments& options, const char* place, const Correlate& correlate,
              const cv::Mat& map, const MapScale& scale) {
    const std::string what = labelOf(correlate) + " of the " + place + " photograph";
    writeImage(console, {mapPath(options, place, correlate, ".tif")}, map, 1.0, what);
    writePicture(console, {mapPath(options, place, correlate, ".png")}, mapPicture(map, scale),
                 what + ", " + rangeOf(scale));
}

/// The maps of one photograph, into files and onto the page.
void showMaps(const Console& console, const CompareArguments& options, const Analysis& analysis, const char* place,
              const std::array<MapScale, comparedCorrelates.size()>& scales, ReportedPhotograph& reported) {
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        const Correlate& correlate = comparedCorrelates[k];
        const cv::Mat map = analysis.map(correlate.map);
        if (!options.maps.empty()) {
            writeMap(console, options, place, correlate, map, scales[k]);
        }
        if (!options.report.empty()) {
            reported.maps[k] = reducedMap(map, reportPictureSide);
            reported.nanCounts[k] = static_cast<std::int64_t>(map.total()) - cv::countNonZero(map == map);
        }
    }
    if (!options.maps.empty() && options.model.hue) {
        const bool own = analysis.model().kind == AppearanceModelKind::likeness;
        writeMap(console, options, place, hueCorrelate, analysis.map(hueCorrelate.map),
                 degreesScale(labelOf(hueCorrelate) + ", degrees", own ? -180 : 0));
    }
}

/// What goes beyond the numbers: maps and page.
void show(const Console& console, const CompareArguments& options, const ComparisonResult& result,
          const std::pair<cv::Mat, cv::Mat>& photographs, const std::pair<Analysis, Analysis>& analyses) {
    ComparisonReport report;
    report.result = result;
    report.first.distributions = analyses.first.distributions();
    report.second.distributions = analyses.second.distributions();
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        report.scales[k] = commonScale(comparedCorrelates[k], report.first.distributions, report.second.distributions);
    }
    Progress progress(console, "drawing maps", 2);
    showMaps(console, options, analyses.first, "first", report.scales, report.first);
    progress.step();
    showMaps(console, options, analyses.second, "second", report.scales, report.second);
    progress.step();
    if (!options.report.empty()) {
        report.first.pictureUri = jpegUri(pictureOf(photographs.first), reportPictureSide);
        report.second.pictureUri = jpegUri(pictureOf(photographs.second), reportPictureSide);
        if (result.tiles && result.tiles->asked) {
            report.first.largePictureUri = jpegUri(pictureOf(photographs.first), viewerPictureSide);
            report.second.largePictureUri = jpegUri(pictureOf(photographs.second), viewerPictureSide);
        }
        report.first.fingerprint = fingerprintOf(placeOfInput(options.first));
        report.second.fingerprint = fingerprintOf(placeOfInput(options.second));
        writeResult(console, options.report, comparisonPage(report), "report");
    }
}

/// The maps and the table of tiles.
void writeTiles(const Console& console, const CompareArguments& options, const ComparisonResult& result) {
    const TileComparison& comparison = result.tiles->comparison;
    if (!options.tileMaps.empty()) {
        const MapScale scale = tileScale(comparison);
        for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
            const Correlate& correlate = comparedCorrelates[k];
            const std::string what = labelOf(correlate) + ", coefficients by tile";
            writeImage(console, {tileMapPath(options, correlate, ".tif")}, comparison.map(k), 1.0, what);
            writePicture(console, {tileMapPath(options, correlate, ".png")},
                         tilePicture(comparison, k, result.first.size, scale), what + ", " + rangeOf(scale));
        }
    }
    if (!options.tileTable.empty()) {
        writeResult(console, options.tileTable, tileCsv(comparison), "table of tiles");
    }
}

/// A scale for differences, from the 1st to the 99th percentile of the magnitudes and around 0 where they have signs.
MapScale differenceScale(const DifferenceMap& difference, const MapStatistics& statistics) {
    const double greatest = std::max(std::abs(statistics.percentile(1)), std::abs(statistics.percentile(99)));
    MapScale scale = roundScale(difference.label, 0, greatest > 0 ? greatest : 1);
    if (difference.isSigned) {
        scale.low = -scale.high;
        scale.colors = MapScale::Colors::diverging;
    }
    return scale;
}

DifferenceSummaries differencesOf(const Console& console, const CompareArguments& options, const ComparisonModel& model,
                                  const std::pair<PhotographPart, PhotographPart>& photographs) {
    PixelDifferences differences;
    {
        Progress progress(console, "comparing pixels");
        differences =
            pixelDifferences(photographs.first, photographs.second, {model, options.align}, watchOf(console, progress));
    }
    const std::array<DifferenceMap, 7> maps = differenceMaps(differences);
    DifferenceSummaries summaries = summariesOf(maps, differences.uniformModel, options.align);
    for (std::size_t k = 0; k < maps.size(); ++k) {
        const MapScale scale = differenceScale(maps[k], summaries.maps[k].statistics);
        const std::string what = maps[k].label + (maps[k].isSigned ? ", second less first" : "");
        writeImage(console, {differenceMapPath(options, maps[k].name, ".tif")}, maps[k].map, 1.0, what);
        writePicture(console, {differenceMapPath(options, maps[k].name, ".png")}, mapPicture(maps[k].map, scale),
                     what + ", " + rangeOf(scale));
    }
    return summaries;
}

/// Refuses what pixels cannot be compared of.
void checkDifferences(const CompareArguments& options, const std::pair<cv::Mat, cv::Mat>& photographs) {
    const cv::Size first = photographs.first.size();
    const cv::Size second = photographs.second.size();
    if (first != second) {
        throw Refusal("--difference-maps: '" + options.first + "' has " + std::to_string(first.width) + " x " +
                      std::to_string(first.height) + " pixels and '" + options.second + "' has " +
                      std::to_string(second.width) + " x " + std::to_string(second.height) +
                      ": pixels are compared of one size; --tiles compares other sizes part by part");
    }
    if (options.align) {
        checkFinite(options.first, photographs.first);
        checkFinite(options.second, photographs.second);
    }
}

/// The options of tiles, where tiles or intervals are asked for.
std::optional<TileOptions> tileOptions(const CompareArguments& options, const ComparisonModel& model) {
    if (options.tiles.tiles.empty() && !options.interval) {
        return std::nullopt;
    }
    TileOptions tiles;
    tiles.layout = tileLayoutIn(options.tiles);
    tiles.model = model;
    if (options.interval) {
        tiles.interval = {options.resamples, seedOf(options)};
    }
    return tiles;
}

/// Refuses tiles that the photographs do not have.
void checkTiles(const CompareArguments& options, const TileOptions& tiles,
                const std::pair<cv::Mat, cv::Mat>& photographs) {
    const std::string option = options.tiles.tiles.empty() ? "--interval: " : "--tiles: ";
    try {
        const TileGrid grid = tileGridOf(photographs.first.size(), photographs.second.size(), tiles.layout);
        if (tiles.interval && grid.count().area() < 4) {
            throw Refusal("--interval: " + std::to_string(grid.count().area()) +
                          " tiles are too few; it takes at least 4, as in --tiles 8");
        }
        if (tiles.interval && grid.overlaps()) {
            throw Refusal("--interval: it draws from tiles that do not overlap; leave out --stride");
        }
        const auto count = static_cast<std::size_t>(grid.count().area());
        if (!options.report.empty() && !options.tiles.tiles.empty() && count > mostTilesOnPage) {
            throw Refusal("--report: a page shows at most " + std::to_string(mostTilesOnPage) +
                          " tiles, and these are " + std::to_string(count) +
                          "; --tile-table and --tile-maps take more");
        }
    } catch (const std::invalid_argument& problem) {
        throw Refusal(option + problem.what());
    }
}

void give(const Console& console, const CompareArguments& options, const ComparisonResult& result) {
    const ResultText format = resultTextFor(options.output, options.json  ? ResultText::json
                                                            : options.csv ? ResultText::csv
                                                                          : ResultText::any);
    const std::string text = format == ResultText::json  ? comparisonJson(result)
                             : format == ResultText::csv ? comparisonCsv(result)
                                                         : comparisonLine(result);
    writeResult(console, options.output.empty() ? standardStream : options.output, text, "result");
    std::cout.flush();  // before what is said on standard error
}

/// How many pixels count: the sum of their weights.
double pixelsOf(const PhotographPart& part) {
    return part.weights.countAll() ? static_cast<double>(part.photograph.total()) : part.weights.pixels();
}

AppearanceMaps countedOf(AppearanceMaps maps, const PixelWeights& weights) {
    for (std::size_t k = 0; k < comparedCorrelates.size(); ++k) {
        maps[k] = weights.countedOf(maps[k]);
    }
    maps.hueDegrees = weights.countedOf(maps.hueDegrees);
    return maps;
}

/// What a prediction may need of a comparison.
ComparedNumbers numbersOf(const ComparisonResult& result, const AppearanceDistributions& first,
                          const AppearanceDistributions& second, const ScorePredictor& predictor) {
    ComparedNumbers numbers;
    for (const ComparedCorrelate& correlate : comparedCorrelates) {
        numbers.coefficients[static_cast<std::size_t>(&correlate - comparedCorrelates.data())] =
            static_cast<double>(result.coefficients.*correlate.coefficient);
    }
    if (result.hue) {
        numbers.hue = static_cast<double>(*result.hue);
    }
    if (predictor.needsDistances()) {
        numbers.distances = distancesOf(first, second);
    }
    numbers.uniform = result.uniform;
    return numbers;
}

/// @throws Refusal  if the model cannot see the photograph
void refuseUnseen(const std::string& path, const SeenPhotograph& photograph, const AnalysisOptions& options) {
    try {
        analyzePair(photograph, photograph, options, {});
    } catch (const std::invalid_argument& problem) {
        throw Refusal("'" + path + '\'' + pictureProblem(problem.what(), options.model));
    }
}

/// What is refused before a photograph is read.
void checkForm(const Console& console, const CompareArguments& options, const ComparisonResult& result, bool whole) {
    if (result.limits.count(hueCorrelate.name) > 0 && !options.model.hue) {
        throw Refusal("--min: the hue has a coefficient with --hue only");
    }
    if (console.diagnostics().wantsFiles() && !result.model.isDefault()) {
        throw Refusal(
            "--dumps: the diagnostic files are those of the default model; leave out --hue and the options "
            "of the model");
    }
    if (console.diagnostics().wantsFiles() && !whole) {
        throw Refusal(
            "--dumps: the diagnostic files are those of whole photographs; leave out the options that say "
            "what counts");
    }
    checkOutputs(console, options);
}

void checkSeeds(const CompareArguments& options, const ChosenModel& model) {
    if (options.sliced && !model.isPublished()) {
        throw Refusal(
            "--sliced: there is a uniform space under a published model only; give --model ciecam16 or ciecam02");
    }
    if (options.seed && !options.interval && !options.sliced) {
        throw Refusal("--seed: there is neither --interval nor --sliced");
    }
}

CoefficientLimits limitsOf(const CompareArguments& options) {
    CoefficientLimits all;
    for (const std::string& limits : options.limits) {
        addCoefficientLimits(all, limits);
    }
    return all;
}

/// One comparison: the photographs are read, counted, compared, and looked at as the options say.
class PairComparison {
public:
    PairComparison(const Console& console, const CompareArguments& options)
        : console_(console), options_(options), parts_(chosenParts(options.part)) {
        result_.model = chosenModel(options.model);
        result_.limits = limitsOf(options);
        checkForm(console, options, result_, whole());
        tiles_ = tileOptions(options, result_.model.model);
        takePredictor();
        warnOfModel(console, result_.model);
        checkSeeds(options, result_.model);
        uniform_ = (options.distances || options.sliced || (predictor_ && predictor_->needsUniform())) &&
                   result_.model.isPublished();
    }

    ExitStatus run() {
        read();
        checkPhotographs();
        analyze();
        measure();
        look();
        give(console_, options_, result_);
        return tell();
    }

private:
    bool whole() const { return parts_.first.isWhole() && parts_.second.isWhole(); }
    bool shown() const { return !options_.maps.empty() || !options_.report.empty(); }
    bool wantsFiles() const { return console_.diagnostics().wantsFiles(); }

    void takePredictor() {
        if (options_.predict.empty()) {
            return;
        }
        // As a batch has them: its parameters hold regions, and masks are what it compares.
        PartChoice withoutMask = parts_.first;
        withoutMask.mask.clear();
        predictor_.emplace("--predict", options_.predict, result_.model.analysis(false),
                           profilesWith(withoutMask, console_.profiles()),
                           [this](const std::string& line) { console_.warn(line); });
        if (!parts_.first.mask.empty() || !parts_.second.mask.empty()) {
            console_.warn(predictor_->maskRemark());
        }
    }

    void read() {
        const bool pixelsWanted = shown() || uniform_ || !whole() || tiles_.has_value() || options_.explain ||
                                  !options_.differenceMaps.empty() || wantsFiles();
        const bool converts = !dependsOnOrder(result_.model.analysis(false));
        firstRows_.emplace(converts);
        secondRows_.emplace(converts);
        std::pair<ProfileUse, ProfileUse> profiles;
        auto read =
            readPhotographPairInRows(PartAccess(console_, parts_.first, result_.model.whiteLuminance), options_.first,
                                     options_.second, &profiles, pixelsWanted ? nullptr : &*firstRows_,
                                     pixelsWanted ? nullptr : &*secondRows_, options_.pictures);
        first_ = firstRows_->seen(read.first.bgr, read.first.rowsOf);
        second_ = secondRows_->seen(read.second.bgr, read.second.rowsOf);
        first_.weights = countedPart(console_, options_.first, read.first.bgr, parts_.first, options_.pictures.first);
        // One mask for two photographs of a size is read once.
        const bool sameWeights = parts_.first.mask == parts_.second.mask &&
                                 parts_.first.alpha.use == AlphaChoice::Use::dropped &&
                                 read.first.size() == read.second.size();
        second_.weights = sameWeights ? first_.weights
                                      : countedPart(console_, options_.second, read.second.bgr, parts_.second,
                                                    options_.pictures.second);
        photographs_ = {read.first.bgr, read.second.bgr};
        counted_ = {{photographs_.first, first_.weights}, {photographs_.second, second_.weights}};
        result_.first = {options_.first, read.first.size(), profiles.first};
        result_.second = {options_.second, read.second.size(), profiles.second};
    }

    /// What the photographs do not allow.
    void checkPhotographs() const {
        if (uniform_ && !(first_.weights.areBinary() && second_.weights.areBinary())) {
            throw Refusal(std::string(options_.distances ? "--distances"
                                      : options_.sliced  ? "--sliced"
                                                         : "--predict") +
                          ": distances of the uniform space count pixels or do not, and cannot weigh them; give masks "
                          "of black and "
                          "white, or leave out --model");
        }
        if (!options_.differenceMaps.empty()) {
            checkDifferences(options_, photographs_);
        }
        if (tiles_) {
            checkTiles(options_, *tiles_, photographs_);
        }
    }

    void analyze() {
        // Tiles bring the distributions of the whole along.
        const bool tilesAlone = tiles_ && !shown() && !uniform_ && !result_.model.hue && !wantsFiles() &&
                                !console_.diagnostics().wantsMessages();
        const AnalysisOptions analysis = result_.model.analysis(shown() || uniform_);
        Progress progress(console_, "comparing");
        try {
            if (!tilesAlone) {
                analyses_ = analyzePair(first_, second_, analysis, watchOf(console_, progress));
                distributions_ = {analyses_.first.distributions(), analyses_.second.distributions()};
            }
            if (tiles_) {
                Watch watch = watchOf(console_, progress);
                watch.diagnostics = nullptr;
                result_.tiles = {compareTiles(counted_.first, counted_.second, *tiles_, watch), *tiles_,
                                 !options_.tiles.tiles.empty()};
            }
            if (tilesAlone) {
                distributions_ = {result_.tiles->comparison.first, result_.tiles->comparison.second};
            }
        } catch (const std::invalid_argument&) {
            // Which of the two it is does not matter before one of them fails.
            refuseUnseen(options_.first, first_, analysis);
            refuseUnseen(options_.second, second_, analysis);
            throw;
        }
        result_.coefficients = compareDistributions(distributions_.first, distributions_.second);
        result_.hue = hueCoefficient(distributions_.first, distributions_.second);
        if (!whole()) {
            result_.first.part = PartOfPhotograph{parts_.first, pixelsOf(counted_.first)};
            result_.second.part = PartOfPhotograph{parts_.second, pixelsOf(counted_.second)};
        }
        checkAppearance(console_, options_.first, distributions_.first);
        checkAppearance(console_, options_.second, distributions_.second);
    }

    /// The distances that are wanted.
    void measure() {
        if (options_.distances) {
            result_.distances = distancesOf(distributions_.first, distributions_.second);
        }
        if (uniform_ && analyses_.first.hasMaps() && analyses_.second.hasMaps()) {
            const AppearanceMaps firstMaps = countedOf(analyses_.first.maps(), first_.weights);
            const AppearanceMaps secondMaps = countedOf(analyses_.second.maps(), second_.weights);
            result_.uniform = uniformDistances(firstMaps, secondMaps);
            if (options_.sliced) {
                result_.sliced = slicedWasserstein(firstMaps, secondMaps, seedOf(options_));
            }
        }
    }

    /// Where, why, and what people would say; maps and the report.
    void look() {
        if (options_.explain) {
            result_.explanation =
                likeness::explain(counted_.first, counted_.second, distributions_.first, distributions_.second);
        }
        if (!options_.differenceMaps.empty()) {
            result_.differences = differencesOf(console_, options_, result_.model.model, counted_);
        }
        if (result_.tiles) {
            writeTiles(console_, options_, result_);
        }
        if (predictor_) {
            result_.predicted =
                predictor_->predict(numbersOf(result_, distributions_.first, distributions_.second, *predictor_));
        }
        if (!options_.distances) {
            result_.uniform.reset();  // it was needed for something else
        }
        if (shown()) {
            show(console_, options_, result_, photographs_, analyses_);
        }
    }

    ExitStatus tell() const {
        if (!result_.model.isDefault()) {
            console_.tell(lineOf(result_.model));
        }
        for (const ComparedPhotograph* photograph : {&result_.first, &result_.second}) {
            if (photograph->part) {
                console_.tell(lineOfPart(photograph->path, photograph->part->countedPixels, photograph->size.area()));
            }
        }
        const std::string backgrounds =
            backgroundRemark(result_.first.backgroundPixels(), result_.second.backgroundPixels());
        if (!result_.model.isPublished() && !result_.model.model.background && !backgrounds.empty()) {
            console_.warn(backgrounds + ": this alone moves the coefficients; --background 20 gives both the same");
        }
        const std::string below = result_.shortfall();
        if (below.empty()) {
            return ExitStatus::done;
        }
        console_.tell("below the limits: " + below);
        return ExitStatus::outsideLimits;
    }

    const Console& console_;
    const CompareArguments& options_;
    std::pair<PartChoice, PartChoice> parts_;
    ComparisonResult result_;
    std::optional<TileOptions> tiles_;
    std::optional<ScorePredictor> predictor_;
    bool uniform_ = false;  ///< whether distances in the uniform space are wanted
    std::optional<CountedPhotographRows> firstRows_;
    std::optional<CountedPhotographRows> secondRows_;
    SeenPhotograph first_;
    SeenPhotograph second_;
    std::pair<cv::Mat, cv::Mat> photographs_;  ///< empty where they are counted while they are read
    std::pair<PhotographPart, PhotographPart> counted_;
    std::pair<Analysis, Analysis> analyses_;
    std::pair<AppearanceDistributions, AppearanceDistributions> distributions_;
};

ExitStatus compare(const Console& console, const CompareArguments& options) {
    return PairComparison(console, options).run();
}

/// Whether `read` takes a text.
OptionCheck layoutCheck(void (*read)(const std::string&, TileLayout&)) {
    return OptionCheck(
        [read](std::string& text) {
            try {
                TileLayout layout;
                read(text, layout);
                return std::string();
            } catch (const Refusal& refusal) {
                return std::string(refusal.what());
            }
        },
        "");
}

/// Adds --first-page and --first-layer, --second-page and --second-layer.
void addPictureOptions(OptionParser& app, std::pair<OwnPicture, OwnPicture>& pictures) {
    const auto add = [&app](const std::string& which, const std::string& photograph, OwnPicture& picture) {
        app.addOption(
               "--" + which + "-page", picture.page,
               optionText("Page that is read of " + photograph + ", in place of --page", "--" + which + "-page 2"))
            ->typeName("N")
            ->check(integerBetween(1, 65535));
        app.addOption("--" + which + "-layer", picture.layer,
                      optionText("Layer that is read of " + photograph + ", in place of --layer",
                                 "--" + which + "-layer diffuse"))
            ->typeName("NAME");
    };
    add("first", "FIRST", pictures.first);
    add("second", "SECOND", pictures.second);
}

}  // namespace

Action declareCompare(OptionParser& app) {
    auto options = std::make_shared<CompareArguments>();
    app.addOption("FIRST", options->first, "Photograph")->required();
    app.addOption("SECOND", options->second, "Photograph to compare it with")->required();
    auto* const json = app.addFlag("--json", options->json, optionText("Give the result as JSON", "--json"));
    app.addFlag("--csv", options->csv, optionText("Give the result as CSV, a header and a line", "--csv"))
        ->excludes(json);
    app.addOption("-o,--output", options->output,
                  optionText("File for the result instead of standard output, which - is too; .json and .csv give the "
                             "format as --json and --csv do",
                             "--output result.json"))
        ->typeName("FILE");
    app.addOption("--min", options->limits,
                  optionText("Least values, 0 to 1, of coefficients (brightness, lightness, chroma, colorfulness, "
                             "saturation); exit status 1 and a line on standard error where one is below. Given "
                             "again, it adds limits",
                             "--min brightness=0.9,chroma=0.8"))
        ->typeName("NAME=VALUE,...")
        ->expected(1)
        ->takeAll()
        ->check(OptionCheck(
            [](std::string& text) {
                try {
                    coefficientLimitsIn(text);
                    return std::string();
                } catch (const Refusal& refusal) {
                    return std::string(refusal.what());
                }
            },
            ""));
    app.addOption("--maps", options->maps,
                  optionText("Existing folder for the maps of every correlate: first_NAME and second_NAME, as .png "
                             "(colours on one scale for both photographs, with a legend) and .tif (32-bit float)",
                             "--maps maps"))
        ->typeName("DIR");
    app.addOption("--report", options->report,
                  optionText("Page that shows photographs, coefficients, histograms, maps and viewing conditions, in "
                             "one file",
                             "--report report.html"))
        ->typeName("FILE.html");
    app.addFlag(
        "--distances", options->distances,
        optionText("Give distances of the distributions too: by correlate, and under a published model in units "
                   "of its uniform space, with one total",
                   "--distances"));
    addPartOptions(app, options->part);
    addMaskOption(app, "--first-mask", options->part.firstMask, "the first photograph, in place of --mask");
    addMaskOption(app, "--second-mask", options->part.secondMask, "the second photograph, in place of --mask");
    auto* const tiles =
        app.addOption("--tiles", options->tiles.tiles,
                      optionText("Compare tile by tile too: N across and N down, NxM, or tiles of so many pixels of "
                                 "the first photograph, Npx. Tiles are at the same relative places of both "
                                 "photographs; white and background are those of the whole",
                                 "--tiles 16, --tiles 16x12, --tiles 64px"))
            ->typeName("N|NxM|Npx")
            ->check(layoutCheck(readTiles));
    app.addOption("--stride", options->tiles.stride,
                  optionText("Step from one tile to the next, for tiles that overlap: pixels of the first photograph, "
                             "or a share of the tile's side",
                             "--stride 32px, --stride 50%"))
        ->typeName("PIXELS|SHARE")
        ->needs(tiles)
        ->check(layoutCheck(readStride));
    app.addOption("--tile-maps", options->tileMaps,
                  optionText("Existing folder, or stem of file names, for maps of the coefficients by tile: "
                             "tiles_NAME, or STEM_NAME, as .png (at the places of the tiles, with a legend; hatched "
                             "where a tile has few pixels) and .tif (32-bit float, a pixel for each tile)",
                             "--tile-maps maps"))
        ->typeName("DIR|PREFIX")
        ->needs(tiles);
    app.addOption("--tile-table", options->tileTable,
                  optionText("File for a table of the tiles, as CSV", "--tile-table tiles.csv"))
        ->typeName("FILE.csv")
        ->needs(tiles);
    auto* const interval = app.addFlag(
        "--interval", options->interval,
        optionText("Give each coefficient a 95 % interval: the tiles, 8 x 8 where --tiles does not say, are "
                   "drawn anew with replacement (block bootstrap)",
                   "--interval"));
    app.addOption("--resamples", options->resamples,
                  optionText("How often --interval draws, 100 to 1000000", "--resamples 2000"))
        ->typeName("NUMBER")
        ->check(integerBetween(100, 1'000'000))
        ->needs(interval);
    app.addOption(
           "--seed", options->seed,
           optionText("Seed of what --interval draws and of the directions of --sliced, a whole number; the same "
                      "seed gives the same numbers",
                      "--seed 7"))
        ->typeName("NUMBER")
        ->check(integerBetween(0, std::int64_t{1} << 53))
        ->defaultText(std::to_string(IntervalOptions().seed));
    auto* const differences = app.addOption(
        "--difference-maps", options->differenceMaps,
        optionText(
            "Existing folder for maps of the differences pixel by pixel, of photographs of one size: of every "
            "correlate (second less first), Delta E' of the model's uniform space (of ciecam16 under the default "
            "model) and CIEDE2000, as difference_NAME.png and .tif",
            "--difference-maps maps"));
    differences->typeName("DIR");
    app.addFlag("--align", options->align,
                optionText("Compare each pixel with the one that the optical flow finds for it in SECOND", "--align"))
        ->needs(differences);
    app.addFlag("--explain", options->explain,
                optionText("Say in a sentence for each correlate what moved between the two distributions, and give "
                           "the whites of both",
                           "--explain"));
    addPredictOption(app, options->predict);
    app.addFlag(
        "--sliced", options->sliced,
        optionText("Under a published model: give the sliced Wasserstein distance of the colours in J', a', b', "
                   "the mean over 64 directions",
                   "--sliced --model ciecam16"));
    addPictureOptions(app, options->pictures);
    addModelOptions(app, options->model);
    addHueOptions(app, options->model);
    return [options](const Console& console) { return compare(console, *options); };
}

}  // namespace likeness::darkroom
