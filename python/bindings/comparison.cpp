// Analysis and comparison of photographs.
#include "calls.hpp"
#include "models.hpp"

#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/distances.hpp>
#include <likeness/comparison/explanation.hpp>
#include <likeness/comparison/pixel_differences.hpp>
#include <likeness/comparison/tile_comparison.hpp>

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

using Bins = py::array_t<std::int32_t, py::array::c_style | py::array::forcecast>;
using Probabilities = py::array_t<float, py::array::c_style | py::array::forcecast>;

py::tuple arraysOf(const BinProbabilities& histogram) {
    const auto size = static_cast<py::ssize_t>(histogram.size());
    Bins bins(size);
    Probabilities probabilities(size);
    py::ssize_t k = 0;
    for (const auto& [bin, probability] : histogram) {
        bins.mutable_at(k) = bin;
        probabilities.mutable_at(k) = probability;
        ++k;
    }
    return py::make_tuple(bins, probabilities);
}

BinProbabilities histogramOf(const py::handle& arrays) {
    const auto pair = arrays.cast<py::tuple>();
    const auto bins = pair[0].cast<Bins>();
    const auto probabilities = pair[1].cast<Probabilities>();
    if (bins.ndim() != 1 || probabilities.ndim() != 1 || bins.size() != probabilities.size()) {
        throw std::invalid_argument("a histogram has as many probabilities as bins");
    }
    BinProbabilities histogram;
    for (py::ssize_t k = 0; k < bins.size(); ++k) {
        histogram[bins.at(k)] = probabilities.at(k);
    }
    return histogram;
}

py::tuple stateOf(const AppearanceDistributions& distributions) {
    py::list histograms;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        histograms.append(arraysOf(distributions[k]));
    }
    const CorrelateShares& shares = distributions.nanShares;
    return py::make_tuple(histograms, std::array<double, 5>{shares[0], shares[1], shares[2], shares[3], shares[4]},
                          distributions.hue ? py::object(arraysOf(*distributions.hue)) : py::object(py::none()),
                          distributions.blackShare);
}

AppearanceDistributions distributionsOf(const py::tuple& state) {
    AppearanceDistributions distributions;
    const auto histograms = state[0].cast<py::list>();
    const auto shares = state[1].cast<std::array<double, 5>>();
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        distributions[k] = histogramOf(histograms[k]);
        distributions.nanShares[k] = shares[k];
    }
    if (!state[2].is_none()) {
        distributions.hue = histogramOf(state[2]);
    }
    distributions.blackShare = state[3].cast<double>();
    return distributions;
}

bool areEqual(const AppearanceDistributions& first, const AppearanceDistributions& second) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (first[k] != second[k] || first.nanShares[k] != second.nanShares[k]) {
            return false;
        }
    }
    return first.hue == second.hue && first.blackShare == second.blackShare;
}

std::array<float, 5> fiveOf(const LikenessCoefficients& coefficients) {
    return {coefficients[0], coefficients[1], coefficients[2], coefficients[3], coefficients[4]};
}

/// Keeps its tables from one call of a thread to the next, so that small photographs take microseconds. What `progress`
/// or a handler of a signal calls meanwhile on the same thread has tables of its own.
template <typename Use>
auto withComparer(const Use& use) {
    thread_local Comparer kept;
    thread_local bool isUsed = false;
    if (isUsed) {
        Comparer own;
        return use(own);
    }
    struct InUse {
        InUse() { isUsed = true; }
        ~InUse() { isUsed = false; }
        InUse(const InUse&) = delete;
        InUse& operator=(const InUse&) = delete;
    };
    const InUse inUse;
    return use(kept);
}

ChannelOrder orderOf(const OrderedImage& photograph) {
    return photograph.isRgb ? ChannelOrder::rgb : ChannelOrder::bgr;
}

/// Where they differ, the one in R, G, B becomes a copy in B, G, R.
void putInOneOrder(OrderedImage& first, OrderedImage& second) {
    if (first.isRgb != second.isRgb) {
        OrderedImage& other = first.isRgb ? first : second;
        other.image = other.image.clone();
        reverseChannels(other.image);
        other.isRgb = false;
    }
}

py::tuple mapsOf(const Analysis& analysis) {
    const AppearanceMaps maps = unlocked([&analysis] { return analysis.maps(); });
    return py::make_tuple(python::arrayOf(maps.brightness), python::arrayOf(maps.lightness),
                          python::arrayOf(maps.chroma), python::arrayOf(maps.colorfulness),
                          python::arrayOf(maps.saturation), python::arrayOf(maps.hueDegrees));
}

/// Maps as `mapsOf` gives them; NaN where a pixel does not count.
/// @throws std::invalid_argument  if a pixel counts in part
AppearanceMaps countedMapsOf(const py::tuple& maps, const PixelWeights& weights) {
    if (!weights.areBinary()) {
        throw std::invalid_argument(
            "mask: distances of the uniform space count pixels or do not, and cannot weigh them; a mask of black and "
            "white is wanted");
    }
    AppearanceMaps counted;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        counted[k] = weights.countedOf(planeOf(maps[k].cast<py::array>(), "maps"));
    }
    counted.hueDegrees = weights.countedOf(planeOf(maps[correlateNames.size()].cast<py::array>(), "maps"));
    return counted;
}

/// A layout: tiles across and down, or their sides, and whether they are sides; a stride as a share, and in pixels or None.
TileLayout layoutOf(const py::tuple& layout) {
    TileLayout result;
    const cv::Size size(layout[0].cast<int>(), layout[1].cast<int>());
    if (layout[2].cast<bool>()) {
        result.pixels = size;
    } else {
        result.count = size;
    }
    result.stride = layout[3].cast<double>();
    result.stridePixels = layout[4].cast<std::optional<int>>();
    return result;
}

/// Rows x columns x 4: x, y, width, height.
py::array rectsOf(const TileComparison& comparison, cv::Rect ComparedTile::*rect) {
    const cv::Size count = comparison.grid.count();
    py::array_t<std::int32_t> rects({count.height, count.width, 4});
    std::int32_t* out = rects.mutable_data();
    for (const ComparedTile& tile : comparison.tiles) {
        const cv::Rect& its = tile.*rect;
        for (const int value : {its.x, its.y, its.width, its.height}) {
            *out++ = value;
        }
    }
    return rects;
}

py::tuple tuplesOf(const TileComparison& comparison) {
    const cv::Size count = comparison.grid.count();
    py::array_t<bool> few({count.height, count.width});
    std::transform(comparison.tiles.begin(), comparison.tiles.end(), few.mutable_data(),
                   [](const ComparedTile& tile) { return tile.few; });
    py::list maps;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        maps.append(python::arrayOf(comparison.map(k)));
    }
    py::object intervals = py::none();
    if (comparison.intervals) {
        py::list pairs;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            pairs.append(py::make_tuple((*comparison.intervals)[k].low, (*comparison.intervals)[k].high));
        }
        intervals = pairs;
    }
    return py::make_tuple(fiveOf(comparison.coefficients), maps, rectsOf(comparison, &ComparedTile::first),
                          rectsOf(comparison, &ComparedTile::second), few, intervals, comparison.worst());
}

py::object binOf(const std::optional<BinCost>& bin) {
    return bin ? py::object(py::make_tuple(bin->bin, bin->firstShare, bin->secondShare, bin->cost))
               : py::object(py::none());
}

py::tuple tupleOf(const DistributionChange& change, std::size_t correlate) {
    return py::make_tuple(
        change.firstMedian, change.secondMedian, change.medianShift, change.firstSpread, change.secondSpread,
        change.spreadChange, change.meanShift, py::make_tuple(change.firstLeast, change.firstGreatest),
        py::make_tuple(change.secondLeast, change.secondGreatest), change.gainedBelow, change.gainedAbove,
        change.lostBelow, change.lostAbove, binOf(change.lost), binOf(change.gained), sentenceOf(change, correlate));
}

py::tuple tupleOf(const ExplainedWhite& white) {
    return py::make_tuple(white.chromaticity[0], white.chromaticity[1], white.nearest.kelvin, white.nearest.duv);
}

}  // namespace

void bindComparison(py::module_& module) {
    py::class_<AppearanceDistributions>(module, "Distributions")
        .def("histogram",
             [](const AppearanceDistributions& distributions, std::size_t k) { return arraysOf(distributions[k]); })
        .def("hue_histogram",
             [](const AppearanceDistributions& distributions) {
                 return distributions.hue ? py::object(arraysOf(*distributions.hue)) : py::object(py::none());
             })
        .def_property_readonly("nan_shares",
                               [](const AppearanceDistributions& distributions) {
                                   const CorrelateShares& shares = distributions.nanShares;
                                   return std::array<double, 5>{shares[0], shares[1], shares[2], shares[3], shares[4]};
                               })
        .def_property_readonly("black_share",
                               [](const AppearanceDistributions& distributions) { return distributions.blackShare; })
        .def("__eq__", areEqual, py::is_operator())
        .def(py::pickle([](const AppearanceDistributions& distributions) { return stateOf(distributions); },
                        [](const py::tuple& state) { return distributionsOf(state); }));

    module.def("compare_distributions",
               [](const AppearanceDistributions& first, const AppearanceDistributions& second) {
                   return fiveOf(compareDistributions(first, second));
               });
    module.def("hue_coefficient", hueCoefficient);
    module.def("distances", [](const AppearanceDistributions& first, const AppearanceDistributions& second) {
        py::list found;
        const PerCorrelate<BinDistances> distances = distancesOf(first, second);
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            const BinDistances& its = distances[k];
            found.append(py::make_tuple(its.wasserstein, its.meanShift, its.kolmogorovSmirnov, its.jensenShannon));
        }
        return found;
    });
    module.def("uniform_distances",
               [](const py::tuple& firstMaps, const py::tuple& secondMaps, const py::object& firstMask,
                  const py::object& secondMask, const std::optional<std::pair<std::uint64_t, int>>& sliced) {
                   const AppearanceMaps first = countedMapsOf(firstMaps, weightsOf(firstMask));
                   const AppearanceMaps second = countedMapsOf(secondMaps, weightsOf(secondMask));
                   UniformDistances uniform;
                   std::optional<double> distance;
                   unlocked([&] {
                       uniform = uniformDistances(first, second);
                       if (sliced) {
                           distance = slicedWasserstein(first, second, sliced->first, sliced->second);
                       }
                   });
                   return py::make_tuple(
                       py::make_tuple(uniform.lightness, uniform.colorfulness, uniform.hue, uniform.total), distance);
               });

    module.def("analyze", [](const py::array& array, const py::tuple& model, const std::optional<std::string>& hue,
                             bool maps, const py::object& mask, const py::object& progress) {
        const OrderedImage photograph = orderedImageOf(array, "photograph");
        AnalysisOptions options;
        options.order = orderOf(photograph);
        options.model = comparisonModelOf(model);
        options.hue = hueWeightsOf(hue);
        options.maps = maps;
        options.weights = weightsOf(mask);
        const Watch watch = watchOf(progress);
        const Analysis analysis = unlocked([&] {
            return withComparer([&](Comparer& comparer) { return comparer.analyze(photograph.image, options, watch); });
        });
        return py::make_tuple(
            analysis.distributions(), analysis.size().height, analysis.size().width, analysis.backgroundLuminance(),
            analysis.hasMaps() ? py::object(mapsOf(analysis)) : py::object(py::none()), analysis.countedPixels());
    });
    module.def("compare", [](const py::array& first, const py::array& second, const py::tuple& model,
                             const py::object& firstMask, const py::object& secondMask, const py::object& progress) {
        OrderedImage firstPhotograph = orderedImageOf(first, "first");
        OrderedImage secondPhotograph = orderedImageOf(second, "second");
        putInOneOrder(firstPhotograph, secondPhotograph);
        const PhotographPart firstPart{firstPhotograph.image, weightsOf(firstMask)};
        const PhotographPart secondPart{secondPhotograph.image, weightsOf(secondMask)};
        AnalysisOptions options;
        options.order = orderOf(firstPhotograph);
        options.model = comparisonModelOf(model);
        const Watch watch = watchOf(progress);
        return fiveOf(unlocked([&] {
            const auto [one, other] = withComparer(
                [&](Comparer& comparer) { return comparer.analyzePair(firstPart, secondPart, options, watch); });
            return compareDistributions(one.distributions(), other.distributions());
        }));
    });
    module.def("compare_tiles",
               [](const py::array& first, const py::array& second, const py::tuple& layout, const py::tuple& model,
                  std::int64_t leastPixels, const std::optional<std::tuple<int, std::uint64_t, double>>& interval,
                  const py::object& firstMask, const py::object& secondMask, const py::object& progress) {
                   const PhotographPart firstPart{imageOf(first, "first", Channels::rgb), weightsOf(firstMask)};
                   const PhotographPart secondPart{imageOf(second, "second", Channels::rgb), weightsOf(secondMask)};
                   TileOptions options;
                   options.layout = layoutOf(layout);
                   options.model = comparisonModelOf(model);
                   options.leastPixels = leastPixels;
                   if (interval) {
                       options.interval = {std::get<0>(*interval), std::get<1>(*interval), std::get<2>(*interval)};
                   }
                   const Watch watch = watchOf(progress);
                   return tuplesOf(unlocked([&] { return compareTiles(firstPart, secondPart, options, watch); }));
               });
    module.def("pixel_differences",
               [](const py::array& first, const py::array& second, const py::tuple& model, bool align,
                  const py::object& firstMask, const py::object& secondMask, const py::object& progress) {
                   const PhotographPart firstPart{imageOf(first, "first", Channels::rgb), weightsOf(firstMask)};
                   const PhotographPart secondPart{imageOf(second, "second", Channels::rgb), weightsOf(secondMask)};
                   const DifferenceOptions options = {comparisonModelOf(model), align};
                   const Watch watch = watchOf(progress);
                   const PixelDifferences differences =
                       unlocked([&] { return pixelDifferences(firstPart, secondPart, options, watch); });
                   py::list maps;
                   for (std::size_t k = 0; k < correlateNames.size(); ++k) {
                       maps.append(python::arrayOf(differences.correlates[k]));
                   }
                   maps.append(python::arrayOf(differences.uniform));
                   maps.append(python::arrayOf(differences.ciede2000));
                   return py::make_tuple(maps, std::string(nameOf(differences.uniformModel)));
               });
    module.def("worst_places", [](const py::array& map, int count) {
        cv::Mat plane;
        planeOf(map, "map").convertTo(plane, CV_32F);
        py::list places;
        for (const MapPlace& place : worstPlaces(plane, count)) {
            const cv::Rect& its = place.pixels;
            places.append(py::make_tuple(its.x, its.y, its.width, its.height, place.mean));
        }
        return places;
    });
    module.def("explain", [](const py::array& first, const py::array& second,
                             const AppearanceDistributions& firstDistributions,
                             const AppearanceDistributions& secondDistributions, const py::object& firstMask,
                             const py::object& secondMask) {
        const PhotographPart firstPart{imageOf(first, "first", Channels::rgb), weightsOf(firstMask)};
        const PhotographPart secondPart{imageOf(second, "second", Channels::rgb), weightsOf(secondMask)};
        const Explanation explanation =
            unlocked([&] { return explain(firstPart, secondPart, firstDistributions, secondDistributions); });
        py::list changes;
        for (std::size_t k = 0; k < correlateNames.size(); ++k) {
            changes.append(tupleOf(explanation.changes[k], k));
        }
        return py::make_tuple(changes, tupleOf(explanation.firstWhite), tupleOf(explanation.secondWhite),
                              sentenceOf(explanation.firstWhite, explanation.secondWhite));
    });
}

}  // namespace likeness::python
