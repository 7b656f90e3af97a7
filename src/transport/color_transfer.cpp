#include <likeness/transport/color_transfer.hpp>

#include <likeness/transport/closed_form_map.hpp>
#include <likeness/transport/optimal_transport.hpp>
#include "color/image_library_lab.hpp"
#include "color/photograph_argument.hpp"
#include "transport/color_gaussian.hpp"

namespace likeness {
namespace {

cv::Mat labOf(const std::string& name, const cv::Mat& photograph) {
    const cv::Mat bgr = unitPhotograph(name, photograph);
    requireFinite(name, bgr);
    cv::Mat lab;
    labByImageLibrary(bgr, lab);
    return lab;
}

/// Chroma alone leaves the place of L* empty.
int firstChannel(int dims) {
    return dims == 2 ? 1 : 0;
}

cv::Mat withChroma(const cv::Mat& lab, const cv::Mat& chroma) {
    cv::Mat exchanged = lab.clone();
    const int places[] = {0, 1, 1, 2};
    cv::mixChannels(&chroma, 1, &exchanged, 1, places, 2);
    return exchanged;
}

constexpr int stepsOfStatistics = 2;
constexpr int stepsOfPlace = 3;

/// Tells the caller of the steps of a part, `before` of `total` being done.
Watch partOf(const Watch& watch, int before, int total) {
    Watch part = watch;
    if (watch.progress) {
        part.progress = [&watch, before, total](int done, int /*steps*/) {
            return watch.progress(before + done, total);
        };
    }
    return part;
}

/// Works in place.
cv::Mat bgrOf(cv::Mat lab) {
    bgrByImageLibrary(lab, lab);
    return lab;
}

}  // namespace

ColorTransfer::ColorTransfer(const cv::Mat& photograph, const cv::Mat& palette, const TransferOptions& options,
                             const Watch& watch)
    : ColorTransfer(PhotographPart{photograph, {}}, PhotographPart{palette, {}}, options, watch) {}

ColorTransfer::ColorTransfer(const PhotographPart& photograph, const PhotographPart& palette,
                             const TransferOptions& options, const Watch& watch)
    : form_(options.form), dims_(options.channels == TransferChannels::chroma ? 2 : 3) {
    if (form_ == TransferForm::bonneel && dims_ != 2) {
        refuseArgument("form", "Bonneel's is one of the chroma channels alone");
    }
    photograph.weights.require("photograph", photograph.photograph);
    palette.weights.require("palette", palette.photograph);
    lab_ = labOf("photograph", photograph.photograph);
    const cv::Mat paletteLab = labOf("palette", palette.photograph);
    watch.step(1, stepsOfStatistics);
    const auto [input, target] = gaussiansOf({lab_, photograph.weights}, {paletteLab, palette.weights}, dims_);
    const bool told = photograph.weights.areBinary() && palette.weights.areBinary();
    if (told && watch.receiver().wantsMessages()) {
        watch.receiver().print(transferMessage(input, target));
    }
    inputCovariance_ = input.covariance;
    targetCovariance_ = target.covariance;
    matrix_.create(dims_, dims_, CV_32F);
    closedFormMatrix(inputCovariance_, targetCovariance_, matrix_, dims_);
    inputMean_ = cv::Vec3f(input.means);
    targetMean_ = cv::Vec3f(target.means);
    watch.step(2, stepsOfStatistics);
}

ColorTransfer::Path ColorTransfer::pathTo(double t) const {
    requireBetween("t", t, 0, 1);
    if (form_ == TransferForm::bonneel && t != 1) {
        refuseArgument("t", "Bonneel's form goes the whole way, 1");
    }
    Path path{matrix_, inputMean_, targetMean_};
    const auto place = static_cast<float>(t);
    if (place != 1) {
        path.matrix = matrix_.clone();
        cv::Mat inputCovariance = inputCovariance_;  // read
        cv::Mat targetCovariance = targetCovariance_.clone();
        computeGeodesicPath(path.inputMean.val, path.targetMean.val, inputCovariance, targetCovariance, path.matrix,
                            place, dims_);
    }
    return path;
}

ColorMap ColorTransfer::map(double t) const {
    const Path path = pathTo(t);
    const int first = firstChannel(dims_);
    ColorMap map;
    for (int i = 0; i < dims_; ++i) {
        for (int j = 0; j < dims_; ++j) {
            map.matrix(first + i, first + j) = path.matrix.at<float>(i, j);
        }
        map.inputMean[first + i] = path.inputMean[i];
        map.targetMean[first + i] = path.targetMean[i];
    }
    return map;
}

cv::Mat ColorTransfer::mappedLab(const cv::Mat& lab, double t) const {
    Path path = pathTo(t);
    float* inputMeans = path.inputMean.val;
    float* targetMeans = path.targetMean.val;
    cv::Mat result(lab.size(), CV_32FC(dims_));
    if (dims_ == 2) {
        const auto mapping = form_ == TransferForm::bonneel ? computeMapping2DBonneel : computeMapping2D;
        mapping(lab, lab, inputMeans, targetMeans, path.matrix, result);
        return withChroma(lab, result);
    }
    computeMapping3D(lab, lab, inputMeans, targetMeans, path.matrix, result);
    return result;
}

cv::Mat ColorTransfer::apply(double t, const Watch& watch) const {
    constexpr int steps = 2;
    const cv::Mat lab = mappedLab(lab_, t);
    watch.step(1, steps);
    cv::Mat bgr = bgrOf(lab);
    watch.step(2, steps);
    return bgr;
}

Transfer ColorTransfer::at(double t, const Watch& watch) const {
    const ColorMap applied = map(t);
    const cv::Mat lab = mappedLab(lab_, t);
    watch.step(1, stepsOfPlace);
    const ClippedValues clipped = clippedValuesOfLab(lab);
    watch.step(2, stepsOfPlace);
    Transfer moved{bgrOf(lab), applied.matrix, applied.inputMean, applied.targetMean, clipped};
    watch.step(3, stepsOfPlace);
    return moved;
}

cv::Mat ColorTransfer::applyTo(const cv::Mat& photograph, double t, const Watch& watch) const {
    if (photograph.empty()) {
        return {};
    }
    constexpr int steps = 3;
    const cv::Mat lab = labOf("photograph", photograph);
    watch.step(1, steps);
    const cv::Mat mapped = mappedLab(lab, t);
    watch.step(2, steps);
    cv::Mat bgr = bgrOf(mapped);
    watch.step(3, steps);
    return bgr;
}

Transfer transferColors(const cv::Mat& photograph, const cv::Mat& palette, const TransferOptions& options,
                        const Watch& watch) {
    if (photograph.empty()) {
        return {};
    }
    requireBetween("t", options.t, 0, 1);
    constexpr int steps = stepsOfStatistics + stepsOfPlace;
    const ColorTransfer transfer(photograph, palette, options, partOf(watch, 0, steps));
    return transfer.at(options.t, partOf(watch, stepsOfStatistics, steps));
}

}  // namespace likeness
