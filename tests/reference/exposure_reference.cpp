#include "reference/exposure_reference.hpp"

#include "reference/adaptation_reference.hpp"
#include "reference/appearance_reference.hpp"
#include "reference/color_reference.hpp"
#include "reference/filter_reference.hpp"
#include "reference/inverse_reference.hpp"
#include "reference/two_scale_reference.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <cmath>
#include <fstream>
#include <iostream>
#include <limits>

namespace likeness::reference {
namespace {

cv::Mat like(const cv::Mat& image) {
    return cv::Mat(image.size(), CV_32FC3);
}

cv::Mat computeWhiteImg(const cv::Mat& image) {
    return guidedFilterWithDumps(image, image, 16, 0.0001, -1, ".");
}

void tint(cv::Mat& sharp, const cv::Mat& white, const cv::Mat& target) {
    std::string printed;
    biCAT(sharp, white, target, ".", printed);
    std::cout << printed;
}

void writeResponse(const cv::Mat& response, const char* red, const char* green, const char* blue, const char* values) {
    std::cout << response << std::endl;
    std::ofstream R(red, std::ios::trunc);
    std::ofstream G(green, std::ios::trunc);
    std::ofstream B(blue, std::ios::trunc);
    std::ofstream V(values, std::ios::trunc);
    for (int k = 0; k < response.rows; ++k) {
        V << k << std::endl;
        R << response.at<cv::Vec3f>(k, 0)[2] << std::endl;
        G << response.at<cv::Vec3f>(k, 0)[1] << std::endl;
        B << response.at<cv::Vec3f>(k, 0)[0] << std::endl;
    }
}

void toneMapFuseAndWrite(const std::vector<cv::Mat>& images, const cv::Mat& hdr, const std::string& prefix) {
    cv::Mat ldr;
    toneMapDurand(hdr, ldr);
    cv::Mat fusion;
    cv::createMergeMertens(1.0F, 1.0F, 0.0F)->process(images, fusion);
    std::cout << prefix + ".hdr"
              << " " << prefix + ".jpg" << std::endl;
    cv::imwrite(prefix + ".hdr", hdr);
    cv::imwrite(prefix + ".jpg", ldr * 255);
    cv::imwrite(prefix + "fusion.jpg", fusion * 255);
}

std::vector<cv::Mat> sixImages(const cv::Mat& image) {
    std::vector<cv::Mat> images;
    for (int i = 0; i < 6; ++i) {
        images.push_back(like(image));
    }
    return images;
}

/// The serial tinting of the second and third version.
void tintFlash(cv::Mat& flash, cv::Mat& flashXyz, const cv::Mat& nonFlashXyz, int iterations) {
    cv::Mat target = like(flash);
    convertXYZtoSharpenedBGR(nonFlashXyz, target);
    for (int round = 0; round < iterations; ++round) {
        cv::Mat sharp = like(flash);
        convertXYZtoSharpenedBGR(flashXyz, sharp);
        const cv::Mat white = computeWhiteImg(flashXyz);
        cv::Mat whiteSharp = like(flash);
        convertXYZtoSharpenedBGR(white, whiteSharp);
        tint(sharp, whiteSharp, target);
        convertSharpenedBGRtoXYZ(sharp, flashXyz);
        convertXYZToBGRDirect(flashXyz, flash);
        cv::imwrite("0_" + std::to_string(round) + "_final.jpg", flash * 255);
    }
}

}  // namespace

void toneMapDurand(const cv::Mat& radiance, cv::Mat& toneMapped, float gamma, float contrast, float saturation,
                   float spaceSigma, float colorSigma) {
    double least = 0;
    double greatest = 0;
    cv::minMaxLoc(radiance.reshape(1), &least, &greatest);
    cv::Mat image = radiance.clone();
    if (greatest - least > std::numeric_limits<double>::epsilon()) {
        for (int i = 0; i < image.rows; ++i) {
            for (int j = 0; j < image.cols; ++j) {
                for (int c = 0; c < 3; ++c) {
                    float& value = image.at<cv::Vec3f>(i, j)[c];
                    value = static_cast<float>((static_cast<double>(value) - least) / (greatest - least));
                }
            }
        }
    }
    cv::Mat luminance;
    cv::cvtColor(image, luminance, cv::COLOR_RGB2GRAY);
    cv::Mat logLuminance(image.size(), CV_32F);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const float value = luminance.at<float>(i, j);
            logLuminance.at<float>(i, j) =
                static_cast<float>(std::log(static_cast<double>(value < 1e-4F ? 1e-4F : value)));
        }
    }
    cv::Mat base;
    cv::bilateralFilter(logLuminance, base, -1, static_cast<double>(colorSigma), static_cast<double>(spaceSigma));
    cv::minMaxLoc(base, &least, &greatest);
    const float scale = contrast / static_cast<float>(greatest - least);
    toneMapped = cv::Mat(image.size(), CV_32FC3);
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            const float exponent = base.at<float>(i, j) * (scale - 1) + logLuminance.at<float>(i, j);
            const auto mapped = static_cast<float>(std::exp(static_cast<double>(exponent)));
            for (int c = 0; c < 3; ++c) {
                const float old = luminance.at<float>(i, j);
                const float ratio = old == 0 ? 0 : image.at<cv::Vec3f>(i, j)[c] / old;
                const float value = std::pow(ratio, saturation) * mapped;
                toneMapped.at<cv::Vec3f>(i, j)[c] =
                    static_cast<float>(std::pow(static_cast<double>(value), static_cast<double>(1.0F / gamma)));
            }
        }
    }
}

void loadExposureSeq(cv::Mat* exposures, cv::Mat& nonFlash, float* times, std::vector<cv::Mat>& images,
                     std::vector<float>& imageTimes, int count) {
    nonFlash = nonFlash * 255;
    cv::Mat bytes(exposures[0].size(), CV_8UC3);
    nonFlash.convertTo(bytes, CV_8UC3, 1, 0);
    cv::imwrite("test2.jpg", bytes);
    for (int i = 0; i < count; ++i) {
        exposures[i] = exposures[i] * 255;
        cv::Mat image(exposures[i].size(), CV_8UC3);
        exposures[i].convertTo(image, CV_8UC3, 1, 0);
        images.push_back(image);
        if (i == 1) {
            cv::imwrite("test10.jpg", images[0]);
            cv::imwrite("test11.jpg", image);
        }
        imageTimes.push_back(1 / times[i + 1]);
        std::cout << imageTimes[static_cast<std::size_t>(i)] << " " << times[i + 1] << " " << count << std::endl;
    }
}

void recoverCRF(cv::Mat*& exposures, cv::Mat& nonFlash, int count, std::string prefix) {
    std::vector<float> times;
    for (int k = 0; k <= count; ++k) {
        times.push_back(static_cast<float>(1024 / std::pow(2, k)));
    }
    cv::imwrite("test.jpg", exposures[1] * 255);
    std::vector<cv::Mat> images;
    std::vector<float> imageTimes;
    loadExposureSeq(exposures, nonFlash, times.data(), images, imageTimes, count);
    cv::imwrite("test1.jpg", images[1]);
    const cv::Ptr<cv::CalibrateDebevec> calibrate = cv::createCalibrateDebevec(70, 10.0F, false);
    cv::Mat response;
    std::cout << "here i am" << std::endl;
    calibrate->process(images, response, imageTimes);
    std::cout << "here i am" << std::endl;
    cv::Mat hdr;
    cv::createMergeDebevec()->process(images, hdr, imageTimes, response);
    writeResponse(response, "Rreal.txt", "Greal.txt", "Breal.txt", "valuesReal.txt");
    toneMapFuseAndWrite(images, hdr, prefix);
}

void recoverLightnessExposureCurve(cv::Mat*& exposures, int count) {
    for (int e = 0; e < count; ++e) {
        const cv::Size size = exposures[e].size();
        cv::Mat xyz(size, CV_32FC3);
        cv::Mat sharp(size, CV_32FC3);
        convertBGRToXYZDirect(exposures[e], xyz);
        convertXYZtoSharpenedBGR(xyz, sharp);
        iCAMCATByD65(sharp, sharp);
        cv::imwrite("test1.jpg", exposures[e] * 255);
        sharp.copyTo(exposures[e]);
        cv::imwrite("test.jpg", exposures[e] * 255);
        cv::Mat xyz2(size, CV_32FC3);
        convertSharpenedBGRtoXYZ(exposures[e], xyz2);
        cv::Mat white(size, CV_32FC3);
        for (int i = 0; i < size.height; ++i) {
            for (int j = 0; j < size.width; ++j) {
                for (int c = 0; c < 3; ++c) {
                    exposures[e].at<cv::Vec3f>(i, j)[c] *= 100;
                    xyz2.at<cv::Vec3f>(i, j)[c] *= 100;
                    white.at<cv::Vec3f>(i, j)[c] = 100;
                }
            }
        }
        std::vector<cv::Mat> planes;
        cv::split(white, planes);
        const float Yb = computeYback(planes[1]);
        const auto map = [size] { return cv::Mat(size, CV_32F); };
        cv::Mat FL = map();
        cv::Mat n = map();
        cv::Mat Nbb = map();
        cv::Mat z = map();
        for (int i = 0; i < size.height; ++i) {
            for (int j = 0; j < size.width; ++j) {
                const float Yw = white.at<cv::Vec3f>(i, j)[1];
                FL.at<float>(i, j) = computeFl(static_cast<float>(0.2 * static_cast<double>(Yw)));
                n.at<float>(i, j) = computeN(Yb, Yw);
                Nbb.at<float>(i, j) = computeNcb(Yb, Yw);
                z.at<float>(i, j) = computeZ(Yb, Yw);
            }
        }
        cv::Mat hpe(size, CV_32FC3);
        cv::Mat nonLinear(size, CV_32FC3);
        cv::Mat a = map();
        cv::Mat b = map();
        cv::Mat h = map();
        cv::Mat H = map();
        cv::Mat J = map();
        cv::Mat lightnessAux = map();
        cv::Mat Q = map();
        convertSharpenedBGRtoHPE(exposures[e], hpe);
        computeNonLinearities(hpe, nonLinear, FL);
        computeAB(nonLinear, a, b);
        computeHue(a, b, h, H);
        const float Aw = computeLightness(nonLinear, Nbb, z, J, lightnessAux);
        computeBrightness(J, FL, z, Q, Aw);
    }
}

void getFinalImg(cv::Mat& img, std::string name) {
    for (int i = 0; i < img.rows; ++i) {
        for (int j = 0; j < img.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                img.at<cv::Vec3f>(i, j)[c] *= 255;
            }
        }
    }
    cv::imwrite(name, img);
}

void unadaptExposures(cv::Mat* exposures, cv::Mat& white) {
    std::ofstream yValues("yValues.txt", std::ios::trunc);
    for (int i = 0; i < 6; ++i) {
        cv::Mat xyz = like(exposures[i]);
        inverseCATByD65(exposures[i], white);
        convertSharpenedBGRtoXYZ(exposures[i], xyz);
        convertXYZToBGRDirect(xyz, exposures[i]);
        cv::imwrite(std::to_string(i) + "_nonFlash.jpg", exposures[i] * 255);
        exposures[i] = exposures[i] * 255;
        exposures[i].copyTo(xyz);
        exposures[i] = exposures[i] / 255;
        xyz = xyz / 255;
        convertBGRToXYZDirect(xyz, exposures[i]);
        if (xyz.rows > 5 && xyz.cols > 5) {
            yValues << xyz.at<cv::Vec3f>(5, 5)[1] << std::endl;
        }
        convertXYZtoSharpenedBGR(exposures[i], xyz);
        xyz.copyTo(exposures[i]);
    }
}

void tintTowardsExposures(cv::Mat& flash, cv::Mat& flashXyz, cv::Mat* exposures, int iterations,
                          const std::string& prefix) {
    for (int i = 0; i < 6; ++i) {
        cv::Mat adaptedXyz = flashXyz.clone();
        cv::Mat adaptedBgr = flash.clone();
        cv::Mat sharp = like(flash);
        cv::Mat whiteXyz = like(flash);
        cv::Mat whiteSharp = like(flash);
        for (int round = 0; round < iterations; ++round) {
            convertXYZtoSharpenedBGR(adaptedXyz, sharp);
            std::cout << prefix << " " << i << std::endl;
            adaptedXyz = computeWhiteImg(adaptedBgr);
            std::cout << prefix << " " << i << std::endl;
            convertBGRToXYZDirect(adaptedXyz, whiteXyz);
            convertXYZtoSharpenedBGR(whiteXyz, whiteSharp);
            tint(sharp, whiteSharp, exposures[i]);
            convertSharpenedBGRtoXYZ(sharp, adaptedXyz);
            convertXYZToBGRDirect(adaptedXyz, adaptedBgr);
            cv::imwrite(prefix + std::to_string(round) + "_0" + std::to_string(i) + "_final.jpg", adaptedBgr * 255);
        }
    }
}

void createBrightnessExposures(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                               std::string prefix) {
    float exposureTimes[7];
    for (int k = 0; k < 7; ++k) {
        exposureTimes[k] = static_cast<float>(1024 / std::pow(2, k));
        std::cout << exposureTimes[k] << std::endl;
    }
    const int diagonal =
        static_cast<int>(std::sqrt(static_cast<double>(flash.cols * flash.cols + flash.rows * flash.rows)));
    for (int i = 0; i < 6; ++i) {
        std::cout << iterations << std::endl;
    }
    flash = flash * 255;
    nonFlash = nonFlash * 255;
    cv::Mat smooth = guidedFilterWithDumps(nonFlash, nonFlash, 4, 0.0001 * 65025, -1, ".");
    for (int i = 0; i < smooth.rows; ++i) {
        for (int j = 0; j < smooth.cols; ++j) {
            for (int c = 0; c < 3; ++c) {
                if (smooth.at<cv::Vec3f>(i, j)[c] < 0) {
                    smooth.at<cv::Vec3f>(i, j) = nonFlash.at<cv::Vec3f>(i, j);
                }
            }
        }
    }
    std::cout << diagonal / 50 << std::endl;
    cv::imwrite("smoothBegin.jpg", smooth);
    flash = flash / 255;
    smooth.copyTo(nonFlash);
    nonFlash = nonFlash / 255;
    cv::Mat flashXyz = like(flash);
    cv::Mat nonFlashXyz = like(flash);
    convertBGRToXYZDirect(flash, flashXyz);
    convertBGRToXYZDirect(nonFlash, nonFlashXyz);
    cv::Mat flashXyzCopy = flashXyz.clone();
    cv::Mat nonFlashXyzCopy = nonFlashXyz.clone();
    cv::Mat nonFlashWhiteSharp = like(flash);
    cv::Mat nonFlashSharp = like(flash);
    convertXYZtoSharpenedBGR(nonFlashXyzCopy, nonFlashWhiteSharp);
    convertXYZtoSharpenedBGR(nonFlashXyz, nonFlashSharp);
    iCAMCATByD65(nonFlashSharp, nonFlashWhiteSharp);
    std::vector<cv::Mat> exposures = sixImages(flash);
    increaseBrightness(nonFlashSharp, exposures.data(), brightness);
    flash = flash * 255;
    unadaptExposures(exposures.data(), nonFlashWhiteSharp);
    flash = flash / 255;
    std::cout << "paralell" << std::endl;
    tintTowardsExposures(flash, flashXyzCopy, exposures.data(), iterations, prefix);
    std::vector<cv::Mat> images;
    std::vector<float> imageTimes;
    loadExposureSeq(exposures.data(), nonFlash, exposureTimes, images, imageTimes, 6);
    cv::Mat response;
    cv::createCalibrateDebevec(70, 10.0F, false)->process(images, response, imageTimes);
    cv::Mat hdr;
    cv::createMergeDebevec()->process(images, hdr, imageTimes, response);
    writeResponse(response, "R.txt", "G.txt", "B.txt", "values.txt");
    toneMapFuseAndWrite(images, hdr, prefix);
}

void createBrightnessExposuresVs2(cv::Mat& flash, cv::Mat& nonFlash, float brightness, int iterations,
                                  std::string prefix) {
    float exposureTimes[7];
    for (int k = 0; k < 7; ++k) {
        exposureTimes[k] = static_cast<float>(30 / std::pow(2, k));
    }
    flash = flash * 255;
    nonFlash = nonFlash * 255;
    const cv::Mat smooth = guidedFilterWithDumps(flash, nonFlash, 8, 0.0004 * 65025, -1, ".");
    cv::imwrite("smoothBegin.jpg", smooth);
    flash = flash / 255;
    smooth.copyTo(nonFlash);
    nonFlash = nonFlash / 255;
    cv::Mat flashXyz = like(flash);
    cv::Mat nonFlashXyz = like(flash);
    convertBGRToXYZDirect(flash, flashXyz);
    convertBGRToXYZDirect(nonFlash, nonFlashXyz);
    tintFlash(flash, flashXyz, nonFlashXyz, iterations);
    cv::Mat sharpCopy = like(flash);
    cv::Mat sharp = like(flash);
    convertXYZtoSharpenedBGR(flashXyz, sharpCopy);
    convertXYZtoSharpenedBGR(flashXyz, sharp);
    iCAMCATByD65(sharp, sharpCopy);
    std::vector<cv::Mat> exposures = sixImages(flash);
    increaseBrightness(sharp, exposures.data(), brightness);
    for (int i = 0; i < 6; ++i) {
        cv::Mat& exposure = exposures[static_cast<std::size_t>(i)];
        cv::Mat xyz = like(flash);
        inverseCATByD65(exposure, sharpCopy);
        convertSharpenedBGRtoXYZ(exposure, xyz);
        convertXYZToBGRDirect(xyz, exposure);
        cv::imwrite(std::to_string(i) + "_nonFlash.jpg", exposure * 255);
        std::cout << "here" << std::endl;
        if (i == 0) {
            cv::imwrite("test18.jpg", exposure * 255);
        }
    }
    std::vector<cv::Mat> images;
    std::vector<float> imageTimes;
    loadExposureSeq(exposures.data(), nonFlash, exposureTimes, images, imageTimes, 6);
    cv::imwrite("nonflash.jpg", nonFlash);
    cv::Mat response;
    cv::createCalibrateDebevec(70, 10.0F, false)->process(images, response, imageTimes);
    cv::Mat hdr;
    cv::createMergeDebevec()->process(images, hdr, imageTimes, response);
    toneMapFuseAndWrite(images, hdr, prefix);
}

void createBrightnessExposuresVs3(cv::Mat& flash, cv::Mat& nonFlash, float /*brightness*/, int iterations,
                                  std::string /*prefix*/) {
    for (int k = 0; k < 7; ++k) {
        std::cout << static_cast<float>(30 / std::pow(2, k)) << std::endl;
    }
    cv::Mat flashXyz = like(flash);
    cv::Mat nonFlashXyz = like(flash);
    convertBGRToXYZDirect(flash, flashXyz);
    convertBGRToXYZDirect(nonFlash, nonFlashXyz);
    tintFlash(flash, flashXyz, nonFlashXyz, iterations);
}

}  // namespace likeness::reference
