#include <likeness/exposure/response_recovery.hpp>

#include <likeness/exposure/exposure_sequence.hpp>
#include "diagnostics/number_text.hpp"
#include "exposure/exposure_merging.hpp"
#include "exposure/exposure_times.hpp"
#include "exposure/result_image.hpp"
#include "modules/module_loader.hpp"
#include "modules/photo.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

#include <cmath>
#include <limits>
#include <sstream>

namespace likeness {
namespace {

constexpr int gridPoints = 70;
constexpr float smoothness = 10.0F;

}  // namespace

bool hasResponseGrid(cv::Size size) {
    // The image library's own grid: as many columns of points as make the meshes square, and rows for the rest.
    if (size.empty()) {
        return false;
    }
    const auto columns = static_cast<int>(std::sqrt(static_cast<double>(gridPoints) * size.width / size.height));
    return columns > 0 && columns <= size.width && gridPoints / columns > 0 && gridPoints / columns <= size.height;
}

cv::Mat recoverResponse(const std::vector<cv::Mat>& images, const std::vector<float>& times) {
    // The image library solves one channel after the other; each knows nothing of the rest.
    constexpr std::size_t channels = 3;
    cv::Mat responses[channels];
    const auto calibrate = reinterpret_cast<CalibrateDebevecEntry>(moduleEntry("photo", "likeness_calibrate_debevec"));
    numerics::inParallel(channels, 1, [&](std::size_t first, std::size_t last) {
        for (std::size_t c = first; c < last; ++c) {
            std::vector<cv::Mat> planes(images.size());
            for (std::size_t k = 0; k < images.size(); ++k) {
                cv::extractChannel(images[k], planes[k], static_cast<int>(c));
            }
            calibrate(planes, times, gridPoints, smoothness, responses[c]);
        }
    });
    cv::Mat response;
    cv::merge(responses, channels, response);
    return response;
}

void dumpResponse(const cv::Mat& response, const ResponseFiles& files, const Diagnostics& diagnostics) {
    requireType("dumpResponse", CV_32FC3, {{"response", response}});
    if (diagnostics.wantsMessages()) {
        std::ostringstream text;
        text << response << '\n';
        diagnostics.print(text.str());
    }
    if (!diagnostics.wantsFiles()) {
        return;
    }
    const auto dump = [&](const std::string& name, const auto& textOfRow) {
        std::string text;
        for (int k = 0; k < response.rows; ++k) {
            text += textOfRow(k) + '\n';
        }
        diagnostics.openText(name)->write(text);
    };
    const auto channel = [&response](int c) {
        return [&response, c](int k) { return numberText(response.at<cv::Vec3f>(k)[c]); };
    };
    dump(files.red, channel(2));
    dump(files.green, channel(1));
    dump(files.blue, channel(0));
    dump(files.values, [](int k) { return std::to_string(k); });
}

void writeMerged(const MergedExposures& merged, const std::string& prefix) {
    writeResultImage(prefix + ".hdr", merged.radiance);
    writeResultImage(prefix + ".jpg", merged.toneMapped * 255);
    writeResultImage(prefix + "fusion.jpg", merged.fused * 255);
}

void mergeAndFuse(const std::vector<cv::Mat>& images, const std::vector<float>& times, const cv::Mat& response,
                  const std::string& prefix, const Diagnostics& diagnostics) {
    const MergedExposures merged = mergedOf(images, times, response, {}, [] {});
    diagnostics.print(prefix + ".hdr " + prefix + ".jpg\n");
    writeMerged(merged, prefix);
}

void recoverCRF(cv::Mat*& exposures, cv::Mat& nonFlash, int count, std::string prefix, const Diagnostics& diagnostics) {
    requireThere("recoverCRF", {{"exposures", exposures}});
    requireWithin("recoverCRF", "count", count, 2, std::numeric_limits<int>::max() - 1);
    std::vector<float> times = halvingTimes(1024, count + 1);
    if (diagnostics.wantsFiles()) {
        diagnostics.writeImage("test.jpg", exposures[1] * 255);
    }
    std::vector<cv::Mat> images;
    std::vector<float> imageTimes;
    loadExposureSeq(exposures, nonFlash, times.data(), images, imageTimes, count, diagnostics);
    diagnostics.writeImage("test1.jpg", images[1]);

    diagnostics.print("here i am\n");
    const cv::Mat response = recoverResponse(images, imageTimes);
    diagnostics.print("here i am\n");
    dumpResponse(response, bracketResponseFiles(), diagnostics);
    mergeAndFuse(images, imageTimes, response, prefix, diagnostics);
}

}  // namespace likeness
