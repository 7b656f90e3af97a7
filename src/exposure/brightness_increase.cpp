#include <likeness/exposure/brightness_increase.hpp>

#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/inverse_model.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include "codecs/image_codecs.hpp"
#include "diagnostics/message_lines.hpp"
#include "diagnostics/number_text.hpp"
#include "filter/bilateral_filter.hpp"
#include "numerics/image_walk.hpp"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace likeness {
namespace {

float nextFactor(float factor) {
    return static_cast<float>(static_cast<double>(factor) - 0.7);
}

/// Calls body(element) for every element of a CV_32FC3 image.
template <typename Body>
void forEachElement(cv::Mat& image, Body body) {
    const ImageWalk walk = walkOver(image);
    for (int i = 0; i < walk.rows; ++i) {
        float* const values = image.ptr<float>(i);
        const std::size_t count = 3 * static_cast<std::size_t>(walk.cols);
        for (std::size_t e = 0; e < count; ++e) {
            body(values[e]);
        }
    }
}

/// The photograph is copied and not otherwise used; looked for first, because the reader complains about a missing
/// file.
void copyFlashPhotograph(const Diagnostics& diagnostics) {
    const std::string path = "Images/flash-nonFlash+multiExp/set06/Scaled/flash.JPG";
    std::error_code unreadable;
    if (diagnostics.wantsFiles() && std::filesystem::is_regular_file(path, unreadable)) {
        diagnostics.writeImage("tmpFlash.jpg", decodedFile(path, cv::IMREAD_COLOR));
    }
}

}  // namespace

float brightnessFactor(float first, int pass) {
    for (; pass > 0; --pass) {
        first = nextFactor(first);
    }
    return first;
}

namespace {

/// Makes passes of the increase. `pictureOf(pass, hpe)` gives the image that a pass goes into, which may be that of the
/// cone responses where nothing is dumped; `done(pass, picture)` gets it back.
template <typename PictureOf, typename Done>
void makePasses(cv::Mat& src, float firstFactor, const std::vector<int>& passes, PictureOf pictureOf, Done done,
                const Diagnostics& diagnostics) {
    const bool dumps = diagnostics.wantsFiles();
    copyFlashPhotograph(diagnostics);

    forEachElement(src, [](float& element) { element *= 100.0F; });
    const cv::Size size = src.size();
    const float Yb = backgroundOfUniformWhite(static_cast<std::int64_t>(src.rows) * src.cols, whiteLuminance);
    auto [FL, n, Ncb, z] = uniformViewingConditions(size, Yb);

    cv::Mat hpe(size, CV_32FC3);
    cv::Mat nl(size, CV_32FC3);
    cv::Mat a(size, CV_32F);
    cv::Mat b(size, CV_32F);
    cv::Mat hue(size, CV_32F);
    cv::Mat eccentricity(size, CV_32F);
    cv::Mat A(size, CV_32F);
    cv::Mat J(size, CV_32F);
    cv::Mat Q(size, CV_32F);
    cv::Mat C(size, CV_32F);
    convertSharpenedBGRtoHPE(src, hpe);
    computeNonLinearities(hpe, nl, FL);
    computeAB(nl, a, b);
    computeHue(a, b, hue, eccentricity);
    const float Aw = computeLightness(nl, Ncb, z, J, A, diagnostics);
    const float Qmax = computeBrightness(J, FL, z, Q, Aw, diagnostics);
    computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, darkSurroundInduction, diagnostics);
    if (dumps) {
        diagnostics.writeImage("rgba_before.jpg", nl);
        diagnostics.writeImage("lms_before.jpg", hpe);
        diagnostics.writeImage("a_before.jpg", a * 255);
        diagnostics.writeImage("b_before.jpg", b * 255);
        diagnostics.writeImage("lightness_before.jpg", J);
        diagnostics.writeImage("brightness_before.jpg", Q / Qmax * 100);
    }

    cv::Mat smoothedQ(size, CV_32F);
    bilateralFilter(Q, smoothedQ, 5, static_cast<double>(Qmax / 50), 40.0);
    diagnostics.writeImage("brightness_before_filtered.jpg", smoothedQ);

    // Nothing is ever written to it (departure 26): the empty file belongs to the set of dumps.
    const std::unique_ptr<TextDump> pValues = diagnostics.openText("pValues.txt");
    cv::Mat t(size, CV_32F);
    for (const int pass : passes) {
        const float factor = brightnessFactor(firstFactor, pass);
        const float low = factor * Qmax / 10;
        performGammaCorrectionByStyle(smoothedQ, Q, low, Qmax, diagnostics);
        writeIntoFile(Q, "10_out.txt", Q.rows, Q.cols, diagnostics);
        diagnostics.print("Already out !\n");

        brightness2Lightness(Q, FL, J, Aw);
        chromaAndLightness2t(C, J, n, t, diagnostics);
        lightness2A(J, z, A, Aw, diagnostics);
        hue2AB(A, hue, t, eccentricity, Ncb, a, b, darkSurroundInduction);
        AB2NonLinearities(a, b, A, nl, Ncb);
        inverseNonLinearities(nl, hpe, FL, diagnostics);
        cv::Mat picture = pictureOf(pass, hpe);
        convertHPEtoSharpenedRGB(hpe, picture);
        if (dumps) {
            diagnostics.writeImage("brightness_after.jpg", Q);
            diagnostics.writeImage("z_after.jpg", z * 255);
            diagnostics.writeImage("lightness_after.jpg", J);
            diagnostics.writeImage("A_after.jpg", A);
            diagnostics.writeImage("a_after.jpg", a * 255);
            diagnostics.writeImage("b_after.jpg", b * 255);
            diagnostics.writeImage("rgba_after.jpg", nl);
            diagnostics.writeImage("lms_after.jpg", hpe);
            diagnostics.writeImage("dst.jpg", picture);
        }

        {
            MessageLines messages(diagnostics);
            forEachElement(picture, [&messages](float& element) {
                element /= 100.0F;
                if (std::isnan(element)) {
                    messages.add(element);
                }
            });
            messages.add(nextFactor(factor));
        }
        done(pass, picture);
    }

    MessageLines messages(diagnostics);
    forEachElement(src, [&messages](float& element) {
        element /= 100.0F;
        if (element > 1.0F) {
            messages.add(element);
        }
    });
}

}  // namespace

void increaseBrightness(cv::Mat& src, cv::Mat* dst, float factor, const Diagnostics& diagnostics) {
    std::vector<int> all(brightnessPasses);
    std::iota(all.begin(), all.end(), 0);
    makePasses(
        src, factor, all, [dst](int pass, const cv::Mat&) { return dst[pass]; }, [](int, cv::Mat&) {}, diagnostics);
}

void increaseBrightnessByPasses(cv::Mat& src, float factor, const std::vector<int>& passes,
                                const std::function<void(int pass, cv::Mat& picture)>& take,
                                const Diagnostics& diagnostics) {
    const bool ascending = std::adjacent_find(passes.begin(), passes.end(), std::greater_equal<>()) == passes.end();
    if (!ascending || (!passes.empty() && (passes.front() < 0 || passes.back() >= brightnessPasses))) {
        throw std::invalid_argument("increaseBrightnessByPasses: passes are 0 to 5, each once, in ascending order");
    }
    makePasses(
        src, factor, passes,
        [&](int, const cv::Mat& hpe) { return diagnostics.wantsFiles() ? cv::Mat(hpe.size(), CV_32FC3) : hpe; }, take,
        diagnostics);
}

}  // namespace likeness
