// Every operation refuses what it would read or write beyond its end, before it changes anything.
#include "numerics/argument_check.hpp"
#include "comparison/distinct_colors.hpp"
#include "filter/plane_block.hpp"

#include <likeness/likeness.hpp>
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {
namespace {

constexpr int rows = 9;
constexpr int cols = 8;

/// How an argument may differ from the table's.
enum class Role {
    size,    ///< its size is the one that counts: another type is refused
    room,    ///< also a smaller one; a larger one is as good
    exact,   ///< like `room`, but what happens to a larger one is the operation's affair
    element  ///< another type and an empty one are refused
};

struct Argument {
    const char* name;
    int type;
    Role role;
    cv::Size size{cols, rows};
};

using Mats = std::vector<cv::Mat>;

struct Operation {
    const char* name;
    std::vector<Argument> arguments;
    std::function<void(Mats&)> call;
};

constexpr int F = CV_32F;
constexpr int F2 = CV_32FC2;
constexpr int F3 = CV_32FC3;

Argument size(const char* name, int type) {
    return {name, type, Role::size};
}
Argument room(const char* name, int type) {
    return {name, type, Role::room};
}
Argument exact(const char* name, int type) {
    return {name, type, Role::exact};
}
Argument element(const char* name, int type = F3) {
    return {name, type, Role::element, {1, 1}};
}
Argument matrix(const char* name, int height, int width) {
    return {name, F, Role::room, {width, height}};
}
Argument square(const char* name, int side) {
    return {name, F, Role::exact, {side, side}};
}

const std::vector<Operation>& operations() {
    static cv::Mat unread;
    static const Diagnostics& quiet = dropAll();
    static float inputMeans[] = {1, 2, 3};
    static float targetMeans[] = {4, 5, 6};
    static float* input = inputMeans;
    static float* target = targetMeans;
    static float mean = 0.5F;
    static const std::vector<Operation> all = {
        // color
        {"getRGBtoXYZMatrix",
         {element("white")},
         [](Mats& m) {
             cv::Mat M;
             getRGBtoXYZMatrix(m[0], M);
         }},
        {"convertBGRtoXYZ",
         {size("bgr", F3), element("white"), room("xyz", F3)},
         [](Mats& m) { convertBGRtoXYZ(m[0], m[1], m[2]); }},
        {"convertXYZtoBGR",
         {size("xyz", F3), element("white"), room("bgr", F3)},
         [](Mats& m) { convertXYZtoBGR(m[0], m[1], m[2]); }},
        {"convertBGRToXYZDirect",
         {size("bgr", F3), room("xyz", F3)},
         [](Mats& m) { convertBGRToXYZDirect(m[0], m[1]); }},
        {"convertXYZToBGRDirect",
         {size("xyz", F3), room("bgr", F3)},
         [](Mats& m) { convertXYZToBGRDirect(m[0], m[1]); }},
        {"XYZtoxy", {element("XYZ"), element("xy", F2)}, [](Mats& m) { XYZtoxy(m[0], m[1]); }},
        {"xytoXYZ", {element("xy", F2), element("XYZ")}, [](Mats& m) { xytoXYZ(m[0], 1, m[1]); }},
        {"adaptXYZToNewWhitePoint",
         {element("white"), element("bgrWhite")},
         [](Mats& m) { adaptXYZToNewWhitePoint(m[0], m[1]); }},
        {"convertBGRToLab",
         {size("bgr", F3), element("bgrWhite"), room("lab", F3)},
         [](Mats& m) { convertBGRToLab(m[0], m[1], m[2]); }},
        {"convertLabToBGR",
         {size("lab", F3), element("bgrWhite"), room("bgr", F3)},
         [](Mats& m) { convertLabToBGR(m[0], m[1], m[2]); }},
        {"scaleLab", {size("lab", F3)}, [](Mats& m) { scaleLab(m[0]); }},
        {"rescaleLab", {size("lab", F3)}, [](Mats& m) { rescaleLab(m[0]); }},
        {"convertBGRtoLMS", {size("bgr", F3), room("lms", F3)}, [](Mats& m) { convertBGRtoLMS(m[0], m[1]); }},
        {"convertLMStoLab", {size("lms", F3), room("lab", F3)}, [](Mats& m) { convertLMStoLab(m[0], m[1]); }},
        {"convertLabtoLMS", {size("lms", F3), room("lab", F3)}, [](Mats& m) { convertLabtoLMS(m[1], m[0]); }},
        {"convertLMStoBGR", {size("bgr", F3), room("lms", F3)}, [](Mats& m) { convertLMStoBGR(m[1], m[0]); }},
        {"convertToSimpleOpponentSpace",
         {size("bgr", F3), room("opp", F2)},
         [](Mats& m) { convertToSimpleOpponentSpace(m[0], m[1]); }},
        {"PixelMatrix", {matrix("matrix", 3, 3)}, [](Mats& m) { PixelMatrix{m[0]}; }},
        {"dotProduct",
         {square("A", 3), matrix("B", 3, 3), matrix("C", 3, 3)},
         [](Mats& m) { dotProduct(m[0], m[1], m[2]); }},
        {"product", {element("triple"), matrix("M", 3, 3)}, [](Mats& m) { product(m[0], m[1], 2); }},
        {"multiplyImageByMatrixForward",
         {size("src", F3), room("dst", F3), matrix("M", 3, 3)},
         [](Mats& m) { multiplyImageByMatrixForward(m[0], m[1], m[2]); }},
        {"multiplyImageByMatrixBackward",
         {size("src", F3), room("dst", F3), matrix("M", 3, 3)},
         [](Mats& m) { multiplyImageByMatrixBackward(m[0], m[1], m[2]); }},
        {"conversion",
         {room("src", F3), room("dst", F3), matrix("M", 3, 3)},
         [](Mats& m) { conversion(m[0], m[1], m[2], rows, cols); }},
        {"convertXYZtoSharpenedBGR",
         {size("xyz", F3), room("out", F3)},
         [](Mats& m) { convertXYZtoSharpenedBGR(m[0], m[1]); }},
        {"convertSharpenedBGRtoXYZ",
         {size("in", F3), room("xyz", F3)},
         [](Mats& m) { convertSharpenedBGRtoXYZ(m[0], m[1]); }},
        {"convertBGRtoYUV", {size("bgr", F3), room("yuv", F3)}, [](Mats& m) { convertBGRtoYUV(m[0], m[1]); }},
        {"computeWhitePointFromGrayWorld",
         {size("img", F3), element("white"), element("previous")},
         [](Mats& m) { computeWhitePointFromGrayWorld(m[0], m[1], m[2], unread, quiet); }},
        // appearance
        {"computeAB", {size("nl", F3), room("a", F), room("b", F)}, [](Mats& m) { computeAB(m[0], m[1], m[2]); }},
        {"computeHue",
         {size("a", F), room("b", F), room("hue", F), room("eccentricity", F)},
         [](Mats& m) { computeHue(m[0], m[1], m[2], m[3]); }},
        {"computeLightness",
         {size("nl", F3), room("Nbb", F), room("z", F), room("J", F), room("A", F)},
         [](Mats& m) { computeLightness(m[0], m[1], m[2], m[3], m[4], quiet); }},
        {"computeBrightness",
         {size("J", F), room("FL", F), room("Q", F)},
         [](Mats& m) { computeBrightness(m[0], m[1], unread, m[2], 20, quiet); }},
        {"computeChroma",
         {size("a", F), room("nl", F3), room("b", F), room("J", F), room("eccentricity", F), room("Ncb", F),
          room("n", F), room("C", F)},
         [](Mats& m) { computeChroma(m[1], m[0], m[2], m[3], m[4], m[5], m[6], m[7], 0.8F, quiet); }},
        {"computeColorfulness",
         {size("C", F), room("FL", F), room("M", F)},
         [](Mats& m) { computeColorfulness(m[0], m[1], m[2]); }},
        {"computeSaturation",
         {size("M", F), room("Q", F), room("s", F)},
         [](Mats& m) { computeSaturation(m[0], m[1], m[2]); }},
        {"writeIntoFile", {room("map", F)}, [](Mats& m) { writeIntoFile(m[0], "map.txt", rows, cols, quiet); }},
        {"convertSharpenedBGRtoHPE",
         {size("sharpenedBGR", F3), room("hpe", F3)},
         [](Mats& m) { convertSharpenedBGRtoHPE(m[0], m[1]); }},
        {"computeNonLinearities",
         {size("hpe", F3), room("nl", F3), room("FL", F)},
         [](Mats& m) { computeNonLinearities(m[0], m[1], m[2]); }},
        {"brightness2Lightness",
         {size("J", F), room("Q", F), room("FL", F)},
         [](Mats& m) { brightness2Lightness(m[1], m[2], m[0], 20); }},
        {"lightness2A",
         {size("J", F), room("z", F), room("A", F)},
         [](Mats& m) { lightness2A(m[0], m[1], m[2], 20, quiet); }},
        {"chromaAndLightness2t",
         {size("C", F), room("J", F), room("n", F), room("t", F)},
         [](Mats& m) { chromaAndLightness2t(m[0], m[1], m[2], m[3], quiet); }},
        {"hue2AB",
         {size("A", F), room("hue", F), room("t", F), room("eccentricity", F), room("Nbb", F), room("a", F),
          room("b", F)},
         [](Mats& m) { hue2AB(m[0], m[1], m[2], m[3], m[4], m[5], m[6], 0.8F); }},
        {"AB2NonLinearities",
         {size("a", F), room("b", F), room("A", F), room("nl", F3), room("Nbb", F)},
         [](Mats& m) { AB2NonLinearities(m[0], m[1], m[2], m[3], m[4]); }},
        {"inverseNonLinearities",
         {size("hpe", F3), room("nl", F3), room("FL", F)},
         [](Mats& m) { inverseNonLinearities(m[1], m[0], m[2], quiet); }},
        {"convertHPEtoSharpenedRGB",
         {size("hpe", F3), room("sharpenedBGR", F3)},
         [](Mats& m) { convertHPEtoSharpenedRGB(m[0], m[1]); }},
        {"performGammaCorrectionByStyle",
         {size("src", F), room("dst", F)},
         [](Mats& m) { performGammaCorrectionByStyle(m[0], m[1], 1, 2, quiet); }},
        {"computeYback", {size("Yplane", F)}, [](Mats& m) { computeYback(m[0]); }},
        // adaptation
        {"iCAMCATByD65",
         {size("img", F3), room("white", F3)},
         [](Mats& m) { iCAMCATByD65(m[0], m[1], unread); }},
        {"inverseCATByD65",
         {size("img", F3), room("white", F3)},
         [](Mats& m) { inverseCATByD65(m[0], m[1], unread); }},
        {"inverseCAT",
         {size("adapted", F3), room("targetWhite", F3), room("sourceWhite", F3), room("out", F3)},
         [](Mats& m) { inverseCAT(m[0], m[1], m[2], m[3]); }},
        {"CAT",
         {size("img", F3), element("sourceWhite"), element("targetWhite")},
         [](Mats& m) { CAT(m[0], m[1], m[2], 0.5F, unread); }},
        {"performIlluminantAdaptation",
         {size("img", F3), size("target", F3)},
         [](Mats& m) { performIlluminantAdaptation(m[0], m[1], 0.5F, quiet); }},
        {"performIlluminantAdaptation",
         {exact("img", F3), size("target", F3), size("leftOut", CV_8U)},
         [](Mats& m) {
             performIlluminantAdaptation(m[0], m[1], 0.5F, m[2], quiet);
         }},
        {"iCAMCAT",
         {size("img", F3), size("sourceWhite", F3), size("targetWhite", F3)},
         [](Mats& m) { iCAMCAT(m[0], m[1], m[2], unread, unread, 0.5F, true); }},
        {"iCAMCAT",
         {size("img", F3), size("sourceWhite", F3), element("targetWhite")},
         [](Mats& m) { iCAMCAT(m[0], m[1], m[2], unread, unread, 0.5F, false); }},
        {"iCAMCATLocal",
         {size("img", F3), size("sourceWhite", F3), element("targetWhite"), size("mask", CV_8U)},
         [](Mats& m) { iCAMCATLocal(m[0], m[1], m[2], unread, unread, m[3], 0.5F, false); }},
        {"areImgsEqualivalent",
         {size("first", F3), size("second", F3)},
         [](Mats& m) { areImgsEqualivalent(m[0], m[1]); }},
        {"biCAT",
         {size("image", F3), size("sourceWhite", F3), size("target", F3)},
         [](Mats& m) { biCAT(m[0], m[1], unread, m[2], unread, quiet); }},
        {"biCATRegression",
         {size("guidance", F3), size("whiteGuidance", F3), size("input", F3), size("whiteInput", F3),
          size("weightMap", F)},
         [](Mats& m) { biCATRegression(m[0], m[1], m[2], unread, m[3], m[4], 10, quiet); }},
        {"computeCorrectedNonFlash",
         {exact("the exposure", F3), size("white", F3)},
         [](Mats& m) { computeCorrectedNonFlash(m.data(), m[1], unread, 0, 100, quiet); }},
        // exposure
        {"computeMean",
         {size("plane", F)},
         [](Mats& m) { computeMean(static_cast<cv::Mat&>(m[0]), quiet); }},
        {"computeStdDev", {size("plane", F)}, [](Mats& m) { computeStdDev(m[0], mean); }},
        {"lightnessStatistics", {exact("bgr", F3)}, [](Mats& m) { lightnessStatistics(m[0], quiet); }},
        {"alterNonFlashBrightness",
         {{"nonFlash", F3, Role::element}, {"target", F3, Role::element}},
         [](Mats& m) {
             cv::Mat result;
             alterNonFlashBrightness(m[0], m[1], result, quiet);
         }},
        {"toneMapDurand",
         {{"radiance", F3, Role::element}},
         [](Mats& m) {
             cv::Mat mapped;
             toneMapDurand(m[0], mapped);
         }},
        {"createBrightnessExposuresVs3",
         {size("flash", F3), size("nonFlash", F3)},
         [](Mats& m) { createBrightnessExposuresVs3(m[0], m[1], 12, 1, "", quiet); }},
        // structure
        {"computeStructuralTensor",
         {{"image", F3, Role::exact}, room("out", F)},
         [](Mats& m) { computeStructuralTensor(m[0], m[1], 3, quiet); }},
        // transport
        {"dot",
         {square("A", 3), matrix("B", 3, 3), matrix("C", 3, 3)},
         [](Mats& m) { dot(m[0], m[1], m[2]); }},
        {"matrixSquareRoot",
         {matrix("A", 3, 3), matrix("R", 3, 3)},
         [](Mats& m) { matrixSquareRoot(m[0], m[1], 3); }},
        {"closedFormMatrix",
         {matrix("sourceCov", 2, 2), matrix("targetCov", 2, 2), matrix("T", 2, 2)},
         [](Mats& m) { closedFormMatrix(m[0], m[1], m[2], 2); }},
        {"computeWeightedMean", {size("plane", F)}, [](Mats& m) { computeWeightedMean(m[0]); }},
        {"computeVariance", {size("plane", F)}, [](Mats& m) { computeVariance(m[0], mean); }},
        {"computeAlphaFromBetaDistr", {size("plane", F)}, [](Mats& m) { computeAlphaFromBetaDistr(m[0], quiet); }},
        {"computeBetaFromBetaDistr",
         {size("plane", F)},
         [](Mats& m) { computeBetaFromBetaDistr(m[0], 1, quiet); }},
        {"computeWeightedMeanVector",
         {size("img", F3)},
         [](Mats& m) { computeWeightedMeanVector(m[0], input, 2, quiet); }},
        {"computeCovarianceElement",
         {size("a", F), room("b", F)},
         [](Mats& m) { computeCovarianceElement(m[0], m[1], quiet); }},
        {"computeCovariance",
         {size("img", F3), matrix("cov", 3, 3)},
         [](Mats& m) { computeCovariance(m[0], m[1], 3, quiet); }},
        {"computeChannelCov",
         {room("other", F), matrix("cov", 3, 3)},
         [](Mats& m) { computeChannelCov(cv::Mat(rows, cols, F3, cv::Scalar(1, 2, 3)), m[0], m[1], 3, quiet); }},
        {"computeHue", {size("src", F3), room("hue", F)}, [](Mats& m) { computeHue(m[0], m[1], 1, 2); }},
        {"applyOptimalTransport",
         {size("inputImg", F3), size("targetImg", F3), room("result", F2), matrix("inpMeanRow", 1, 2),
          matrix("tarMeanRow", 1, 2), square("transportMat", 2)},
         [](Mats& m) {
             applyOptimalTransport(m[0], m[1], m[2], unread, m[3], unread, m[4], m[5], 0.5F, 2, quiet);
         }},
        {"applyOptimalTransportBonneel",
         {size("inputImg", F3), size("targetImg", F3), room("result", F3), matrix("inpMeanRow", 1, 3),
          matrix("tarCov2", 2, 2), matrix("tarMeanRow", 1, 2), square("transportMat", 3)},
         [](Mats& m) {
             cv::Mat inverse;
             applyOptimalTransportBonneel(m[0], m[1], m[2], inverse, m[3], m[4], m[5], m[6], 0.5F, 3, quiet);
         }},
        {"computeGeodesicPath",
         {square("inpCov", 3), square("tarCov", 3), square("T", 3)},
         [](Mats& m) { computeGeodesicPath(input, target, m[0], m[1], m[2], 0.5F, 3); }},
        {"computeMapping2D",
         {size("inputImg", F3), matrix("T", 2, 2), room("result", F2)},
         [](Mats& m) { computeMapping2D(m[0], unread, input, target, m[1], m[2]); }},
        {"computeMapping3D",
         {size("inputImg", F3), matrix("T", 3, 3), room("result", F3)},
         [](Mats& m) { computeMapping3D(m[0], unread, input, target, m[1], m[2]); }},
        {"computeMapping2DBonneel",
         {size("inputImg", F3), matrix("T", 2, 2), room("result", F2)},
         [](Mats& m) { computeMapping2DBonneel(m[0], unread, input, target, m[1], m[2]); }},
        {"computeNewValue2D",
         {room("img", F3), matrix("value", 1, 2), matrix("inpMean", 1, 2), matrix("tarMean", 1, 2),
          matrix("T", 2, 2)},
         [](Mats& m) { computeNewValue2D(m[0], m[1], m[2], m[3], m[4], rows - 1, cols - 1); }},
        {"computeNewValue2DBonneel",
         {room("img", F3), matrix("value", 1, 2), matrix("inpMean", 1, 2), matrix("tarMean", 1, 2),
          matrix("T", 2, 2)},
         [](Mats& m) { computeNewValue2DBonneel(m[0], m[1], m[2], m[3], m[4], rows - 1, cols - 1); }},
        // app
        {"expandColors",
         {size("indices", CV_32S)},
         [](Mats& m) {
             expandColors(cv::Mat(1, 2, CV_8U, cv::Scalar(9)), m[0]);
         }},
        {"BinCounts::add", {size("map", F)}, [](Mats& m) { BinCounts().add(m[0]); }},
        {"BinCounts::add",
         {{"map", F, Role::room, {cols, 1}}},
         [](Mats& m) { BinCounts().add(m[0], std::vector<std::uint32_t>(cols, 1)); }},
        {"computeFreqProbs",
         {size("map", F)},
         [](Mats& m) {
             BinProbabilities probabilities;
             computeFreqProbs(m[0], probabilities);
         }},
        {"getBhattacharyaCoeff",
         {size("first", F), size("second", F)},
         [](Mats& m) { getBhattacharyaCoeff(m[0], m[1]); }},
        {"normImg", {size("src", CV_8UC3), room("dst", F3)}, [](Mats& m) { normImg(m[0], m[1]); }},
        {"compute_cat", {size("src", F3), room("dst", F3)}, [](Mats& m) { compute_cat(m[0], m[1]); }},
        {"perceptualMetrics",
         {size("src", F3), room("Q", F), room("J", F), room("C", F), room("M", F), room("s", F)},
         [](Mats& m) { perceptualMetrics(m[0], m[1], m[2], m[3], m[4], m[5], quiet); }},
        {"perceptualMetricsUnderBackground",
         {size("src", F3), room("Q", F), room("J", F), room("C", F), room("M", F), room("s", F)},
         [](Mats& m) { perceptualMetricsUnderBackground(m[0], 20, m[1], m[2], m[3], m[4], m[5], quiet); }},
        {"appearanceMapsUnderBackground",
         {size("src", F3)},
         [](Mats& m) { appearanceMapsUnderBackground(m[0], 20, quiet); }},
        {"ColorCounter::count",
         {size("photograph", CV_8UC3)},
         [](Mats& m) { ColorCounter().count(m[0], true); }},
    };
    return all;
}

cv::Mat made(cv::Size size, int type, std::uint64_t seed) {
    cv::Mat image(size, type);
    cv::RNG random(seed);
    if (image.empty()) {
        return image;
    }
    random.fill(image, cv::RNG::UNIFORM, 0.1, CV_MAT_DEPTH(type) == CV_8U ? 200 : 0.9);
    return image;
}

Mats validArguments(const Operation& operation) {
    Mats mats;
    for (const Argument& argument : operation.arguments) {
        mats.push_back(made(argument.size, argument.type, mats.size() + 1));
    }
    return mats;
}

/// With argument k replaced the operation throws, names itself and the argument, and leaves all arguments alone.
void expectRefused(const Operation& operation, std::size_t k, const cv::Mat& replacement) {
    Mats mats = validArguments(operation);
    mats[k] = replacement;
    Mats before;
    for (const cv::Mat& mat : mats) {
        before.push_back(mat.clone());
    }
    try {
        operation.call(mats);
        ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument& error) {
        const std::string text = error.what();
        EXPECT_EQ(text.rfind(std::string(operation.name) + ": " + operation.arguments[k].name + " is ", 0), 0U) << text;
        EXPECT_NE(text.find(", expected "), std::string::npos) << text;
    }
    for (std::size_t i = 0; i < mats.size(); ++i) {
        if (before[i].empty()) {
            EXPECT_TRUE(mats[i].empty());
        } else {
            EXPECT_MAT_EQUAL(mats[i], before[i]);
        }
    }
}

TEST(Arguments, AreTakenAsTheTableHasThem) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        Mats mats = validArguments(operation);
        EXPECT_NO_THROW(operation.call(mats));
    }
}

TEST(Arguments, OfAnotherTypeAreRefused) {
    for (const Operation& operation : operations()) {
        for (std::size_t k = 0; k < operation.arguments.size(); ++k) {
            const Argument& argument = operation.arguments[k];
            for (const int type : {CV_8U, CV_8UC3, CV_32F, CV_32FC2, CV_32FC3, CV_32FC4, CV_64F, CV_64FC3, CV_16UC3}) {
                // Channels beyond those that a statistic asks for do no harm.
                const bool fits = type == argument.type ||
                                  (type == CV_32FC4 && std::string(argument.name) == "img" &&
                                   std::string(operation.name).find("computeW") + 1 != 0) ||
                                  (type == CV_32FC4 && std::string(operation.name) == "computeCovariance");
                if (!fits) {
                    SCOPED_TRACE(std::string(operation.name) + ' ' + argument.name + ' ' + cv::typeToString(type));
                    expectRefused(operation, k, made(argument.size, type, 99));
                }
            }
        }
    }
}

TEST(Arguments, ThatAreTooSmallAreRefused) {
    for (const Operation& operation : operations()) {
        for (std::size_t k = 0; k < operation.arguments.size(); ++k) {
            const Argument& argument = operation.arguments[k];
            SCOPED_TRACE(std::string(operation.name) + ' ' + argument.name);
            if (argument.role == Role::room) {
                const cv::Size& fit = argument.size;
                expectRefused(operation, k, made({fit.width - 1, fit.height}, argument.type, 99));
                expectRefused(operation, k, made({fit.width, fit.height - 1}, argument.type, 99));
                expectRefused(operation, k, made({fit.height * fit.width, fit.height - 1}, argument.type, 99));
            }
            if (argument.role != Role::size && argument.role != Role::exact) {
                expectRefused(operation, k, cv::Mat());
                expectRefused(operation, k, cv::Mat(0, 0, argument.type));
            }
        }
    }
}

TEST(Arguments, ThatAreLargerAreUsedAsFarAsTheyAreNeeded) {
    for (const Operation& operation : operations()) {
        for (std::size_t k = 0; k < operation.arguments.size(); ++k) {
            const Argument& argument = operation.arguments[k];
            if (argument.role != Role::room) {
                continue;
            }
            SCOPED_TRACE(std::string(operation.name) + ' ' + argument.name);
            const cv::Rect used(cv::Point(), argument.size);
            Mats fitting = validArguments(operation);
            Mats larger = validArguments(operation);
            cv::Mat wide = made(argument.size + cv::Size(3, 2), argument.type, 98);
            fitting[k].copyTo(wide(used));
            larger[k] = wide;
            operation.call(fitting);
            EXPECT_NO_THROW(operation.call(larger));
            for (std::size_t i = 0; i < larger.size(); ++i) {
                EXPECT_MAT_EQUAL(i == k ? larger[i](used).clone() : larger[i], fitting[i]);
            }
        }
    }
}

// An image of no pixels is no error where there is nothing to be read: nothing happens, or the image library says no.
TEST(Arguments, EmptyImagesDoNoHarm) {
    for (const Operation& operation : operations()) {
        for (std::size_t k = 0; k < operation.arguments.size(); ++k) {
            SCOPED_TRACE(std::string(operation.name) + ' ' + operation.arguments[k].name);
            Mats mats = validArguments(operation);
            mats[k] = cv::Mat();
            try {
                operation.call(mats);
            } catch (const std::invalid_argument&) {
            } catch (const cv::Exception&) {
            }
        }
    }
}

TEST(Arguments, OfMoreThanTwoDimensionsAreRefused) {
    const int sizes[] = {3, 4, 5};
    cv::Mat cube(3, sizes, CV_32FC3, cv::Scalar::all(0));
    cv::Mat out(9, 9, CV_32FC3);
    EXPECT_THROW(convertBGRToXYZDirect(cube, out), std::invalid_argument);
    EXPECT_THROW(convertBGRToXYZDirect(out, cube), std::invalid_argument);
}

TEST(Arguments, NullPointersAndNumbersOutOfRangeAreRefused) {
    float means[] = {1, 2, 3};
    float* there = means;
    float* none = nullptr;
    cv::Mat image(rows, cols, CV_32FC3, cv::Scalar(1, 2, 3));
    cv::Mat result(rows, cols, CV_32FC3);
    cv::Mat T = cv::Mat::eye(3, 3, CV_32F);
    cv::Mat pair(1, 2, CV_32F, cv::Scalar(1));
    EXPECT_THROW(computeWeightedMeanVector(image, none, 3, dropAll()), std::invalid_argument);
    EXPECT_THROW(computeMapping3D(image, image, none, there, T, result), std::invalid_argument);
    EXPECT_THROW(computeMapping2D(image, image, there, none, T, result), std::invalid_argument);
    EXPECT_THROW(computeGeodesicPath(none, there, T, T, T, 1, 3), std::invalid_argument);
    EXPECT_THROW(computeNewValue2D(image, pair, pair, pair, T, rows, 0), std::invalid_argument);
    EXPECT_THROW(computeNewValue2D(image, pair, pair, pair, T, 0, -1), std::invalid_argument);
    EXPECT_THROW(product(image, T, 3), std::invalid_argument);
    EXPECT_THROW(product(image, T, -1), std::invalid_argument);
    cv::Mat hue(rows, cols, CV_32F);
    EXPECT_THROW(computeHue(image, hue, 1, 3), std::invalid_argument);
    EXPECT_THROW(computeHue(image, hue, -1, 2), std::invalid_argument);
    EXPECT_THROW(computeCorrectedNonFlash(nullptr, image, image, 0, 100, dropAll()), std::invalid_argument);
    EXPECT_THROW(computeCorrectedNonFlash(&image, image, image, -1, 100, dropAll()), std::invalid_argument);
    EXPECT_THROW(writeIntoFile(hue, nullptr, rows, cols, dropAll()), std::invalid_argument);

    std::vector<cv::Mat> images;
    std::vector<float> imageTimes;
    EXPECT_THROW(loadExposureSeq(nullptr, image, means, images, imageTimes, 1, dropAll()), std::invalid_argument);
    EXPECT_THROW(loadExposureSeq(&image, image, nullptr, images, imageTimes, 1, dropAll()), std::invalid_argument);
    cv::Mat* noExposures = nullptr;
    cv::Mat* exposures = &image;
    EXPECT_THROW(recoverLightnessExposureCurve(noExposures, 1, dropAll()), std::invalid_argument);
    EXPECT_THROW(recoverCRF(noExposures, image, 2, "out", dropAll()), std::invalid_argument);
    EXPECT_THROW(recoverCRF(exposures, image, 1, "out", dropAll()), std::invalid_argument);
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(image.at<cv::Vec3f>(0, 0), cv::Vec3f(1, 2, 3));
}

// Those that do more than their table could tell.
TEST(Arguments, OfWholeProceduresAreRefused) {
    cv::Mat image = made({cols, rows}, CV_32FC3, 1);
    const cv::Mat before = image.clone();
    cv::Mat bytes = made({cols, rows}, CV_16UC3, 2);
    cv::Mat gray = made({cols, rows}, CV_32F, 3);
    for (cv::Mat* const other : {&bytes, &gray}) {
        EXPECT_THROW(performLocalCAMCA(*other, image, 0.5F, dropAll()), std::invalid_argument);
        EXPECT_THROW(performLocalCAMCA(image, *other, 0.5F, dropAll()), std::invalid_argument);
        EXPECT_THROW(createBrightnessExposures(image, *other, 12, 1, "out", dropAll()), std::invalid_argument);
        EXPECT_THROW(createBrightnessExposures(*other, image, 12, 1, "out", dropAll()), std::invalid_argument);
        EXPECT_THROW(createBrightnessExposuresVs2(image, *other, 12, 1, "out", dropAll()), std::invalid_argument);
        EXPECT_THROW(createBrightnessExposuresVs2(*other, image, 12, 1, "out", dropAll()), std::invalid_argument);
        cv::Mat* exposures = other;
        EXPECT_THROW(recoverLightnessExposureCurve(exposures, 1, dropAll()), std::invalid_argument);
    }
    cv::Mat smaller = image(cv::Rect(0, 0, cols - 1, rows)).clone();
    EXPECT_THROW(createBrightnessExposures(image, smaller, 12, 1, "out", dropAll()), std::invalid_argument);
    EXPECT_THROW(dumpResponse(gray, {"r", "g", "b", "v"}, dropAll()), std::invalid_argument);
    EXPECT_MAT_EQUAL(image, before);

    EXPECT_THROW(GuidedFilterColor(gray, 3, 0.1, dropAll()), std::invalid_argument);
    EXPECT_THROW(GuidedFilterMono(image, 3, 0.1), std::invalid_argument);
    EXPECT_THROW(GuidedFilterColor(cv::Mat(), 3, 0.1, dropAll()), std::exception);
    EXPECT_THROW(GuidedFilterColor(cv::Mat(0, 0, CV_8UC3), 3, 0.1, dropAll()), std::exception);
    EXPECT_THROW(GuidedFilterMono(cv::Mat(), 3, 0.1), std::exception);
    EXPECT_THROW(guidedFilter(cv::Mat(), cv::Mat(), 3, 0.1, -1, dropAll()), std::exception);
    PlaneBlock block({4, 4}, CV_32F, 1);
    block.take();
    EXPECT_THROW(block.take(), std::out_of_range);
    EXPECT_THROW(PlaneBlock().take(), std::out_of_range);
}

TEST(Arguments, TheErrorSaysWhatCameAndWhatWasExpected) {
    const auto textOf = [](auto call) -> std::string {
        try {
            call();
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "";
    };
    cv::Mat bgr(20, 30, CV_32FC3, cv::Scalar::all(0.5));
    cv::Mat white(1, 1, CV_32FC3, cv::Scalar::all(1));
    cv::Mat lab;
    EXPECT_EQ(textOf([&] { convertBGRToLab(bgr, white, lab); }),
              "convertBGRToLab: lab is empty, expected at least 20 x 30 CV_32FC3");
    cv::Mat bytes(20, 30, CV_8UC3);
    lab.create(20, 29, CV_32FC3);
    EXPECT_EQ(textOf([&] { convertBGRToLab(bytes, white, lab); }),
              "convertBGRToLab: bgr is 20 x 30 CV_8UC3, expected CV_32FC3");
    EXPECT_EQ(textOf([&] { convertBGRToLab(bgr, white, lab); }),
              "convertBGRToLab: lab is 20 x 29 CV_32FC3, expected at least 20 x 30 CV_32FC3");
    EXPECT_EQ(textOf([&] {
                  cv::Mat hue(20, 30, CV_32F);
                  computeHue(bgr, hue, 1, 3);
              }),
              "computeHue: second is 3, expected a number from 0 to 2");
    float* none = nullptr;
    EXPECT_EQ(textOf([&] { computeWeightedMeanVector(bgr, none, 2, dropAll()); }),
              "computeWeightedMeanVector: means is a null pointer, expected an array");
    EXPECT_EQ(textOf([&] { product(white, cv::Mat::eye(3, 3, CV_32F), 3); }),
              "product: M is 3 x 3 CV_32FC1, expected at least 4 x 3 CV_32FC1");
    EXPECT_EQ(textOf([&] {
                  cv::Mat cov(3, 3, CV_32F);
                  computeCovariance(cv::Mat(2, 2, CV_32F), cov, 3, dropAll());
              }),
              "computeCovariance: img is 2 x 2 CV_32FC1, expected CV_32F of at least 3 channels");
}

}  // namespace
}  // namespace likeness
