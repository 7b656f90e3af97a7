#include "reference/filter_reference.hpp"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace likeness::reference {
namespace {

cv::Mat boxfilter(const cv::Mat& I, int r) {
    cv::Mat result;
    cv::blur(I, result, cv::Size(r, r), cv::Point(-1, -1), 4);
    return result;
}

cv::Mat convertTo(const cv::Mat& mat, int depth) {
    if (mat.depth() == depth) {
        return mat;
    }
    cv::Mat result;
    mat.convertTo(result, depth, 1.0, 0.0);
    return result;
}

cv::Mat storedGuide(const cv::Mat& I) {
    return I.depth() == CV_32F || I.depth() == CV_64F ? I.clone() : convertTo(I, CV_32F);
}

/// `directory` is null where nothing is to be written.
void dump(const std::string* directory, const char* name, const cv::Mat& image) {
    if (directory != nullptr) {
        cv::imwrite(*directory + "/" + name, image);
    }
}

cv::Mat filterUnderMono(const cv::Mat& I, const cv::Mat& p, int w, double eps) {
    const cv::Mat meanI = boxfilter(I, w);
    const cv::Mat meanII = boxfilter(I.mul(I), w);
    const cv::Mat varI = meanII - meanI.mul(meanI);
    const cv::Mat meanP = boxfilter(p, w);
    const cv::Mat meanIp = boxfilter(I.mul(p), w);
    const cv::Mat covIp = meanIp - meanI.mul(meanP);
    const cv::Mat a = dividePlanes(covIp, varI + eps);
    const cv::Mat b = meanP - a.mul(meanI);
    const cv::Mat meanA = boxfilter(a, w);
    const cv::Mat meanB = boxfilter(b, w);
    return meanA.mul(I) + meanB;
}

cv::Mat filterUnderColor(const std::vector<cv::Mat>& I, const cv::Mat& p, int w, const std::string* directory) {
    const cv::Mat meanI0 = boxfilter(I[0], w);
    dump(directory, "0R.jpg", meanI0);
    const cv::Mat meanI1 = boxfilter(I[1], w);
    dump(directory, "0G.jpg", meanI1);
    const cv::Mat meanI2 = boxfilter(I[2], w);
    dump(directory, "0B.jpg", meanI2);
    const cv::Mat cov00 = boxfilter(I[0].mul(I[0]), w) - meanI0.mul(meanI0);
    const cv::Mat cov01 = boxfilter(I[0].mul(I[1]), w) - meanI0.mul(meanI1);
    const cv::Mat cov02 = boxfilter(I[0].mul(I[2]), w) - meanI0.mul(meanI2);
    const cv::Mat cov11 = boxfilter(I[1].mul(I[1]), w) - meanI1.mul(meanI1);
    const cv::Mat cov12 = boxfilter(I[1].mul(I[2]), w) - meanI1.mul(meanI2);
    const cv::Mat cov22 = boxfilter(I[2].mul(I[2]), w) - meanI2.mul(meanI2);
    cv::Mat invCov00 = cov11.mul(cov22) - cov12.mul(cov12);
    cv::Mat invCov01 = cov12.mul(cov02) - cov01.mul(cov22);
    cv::Mat invCov02 = cov01.mul(cov12) - cov11.mul(cov02);
    cv::Mat invCov11 = cov00.mul(cov22) - cov02.mul(cov02);
    cv::Mat invCov12 = cov02.mul(cov01) - cov00.mul(cov12);
    cv::Mat invCov22 = cov00.mul(cov11) - cov01.mul(cov01);
    const cv::Mat covDet = invCov00.mul(cov00) + invCov01.mul(cov01) + invCov02.mul(cov02);
    invCov00 = dividePlanes(invCov00, covDet);
    invCov01 = dividePlanes(invCov01, covDet);
    invCov02 = dividePlanes(invCov02, covDet);
    invCov11 = dividePlanes(invCov11, covDet);
    invCov12 = dividePlanes(invCov12, covDet);
    invCov22 = dividePlanes(invCov22, covDet);

    const cv::Mat meanP = boxfilter(p, w);
    const cv::Mat meanIp0 = boxfilter(I[0].mul(p), w);
    const cv::Mat meanIp1 = boxfilter(I[1].mul(p), w);
    const cv::Mat meanIp2 = boxfilter(I[2].mul(p), w);
    const cv::Mat covIp0 = meanIp0 - meanI0.mul(meanP);
    const cv::Mat covIp1 = meanIp1 - meanI1.mul(meanP);
    const cv::Mat covIp2 = meanIp2 - meanI2.mul(meanP);
    dump(directory, "cov_a_r.jpg", covIp0);
    const cv::Mat a0 = invCov00.mul(covIp0) + invCov01.mul(covIp1) + invCov02.mul(covIp2);
    const cv::Mat a1 = invCov01.mul(covIp0) + invCov11.mul(covIp1) + invCov12.mul(covIp2);
    const cv::Mat a2 = invCov02.mul(covIp0) + invCov12.mul(covIp1) + invCov22.mul(covIp2);
    dump(directory, "a_r.jpg", a0 * 255.0);
    dump(directory, "a_g.jpg", a1 * 255.0);
    dump(directory, "a_b.jpg", a2 * 255.0);
    const cv::Mat b = meanP - a0.mul(meanI0) - a1.mul(meanI1) - a2.mul(meanI2);
    dump(directory, "b.jpg", b);
    return boxfilter(a0, w).mul(I[0]) + boxfilter(a1, w).mul(I[1]) + boxfilter(a2, w).mul(I[2]) + boxfilter(b, w);
}

cv::Mat filterUnder(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth, const std::string* directory) {
    const cv::Mat guide = storedGuide(I);
    const cv::Mat p2 = convertTo(p, guide.depth());
    std::vector<cv::Mat> guidePlanes;
    cv::split(guide, guidePlanes);
    std::vector<cv::Mat> planes = {p2};
    if (p.channels() != 1) {
        cv::split(p2, planes);
    }
    for (cv::Mat& plane : planes) {
        plane = guide.channels() == 1 ? filterUnderMono(guide, plane, 2 * r + 1, eps)
                                      : filterUnderColor(guidePlanes, plane, 2 * r + 1, directory);
    }
    cv::Mat result;
    cv::merge(planes, result);
    return convertTo(result, depth == -1 ? p.depth() : depth);
}

template <typename T>
void divide(const cv::Mat& a, const cv::Mat& b, cv::Mat& result) {
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            result.at<T>(i, j) = b.at<T>(i, j) != 0 ? a.at<T>(i, j) / b.at<T>(i, j) : 0;
        }
    }
}

}  // namespace

cv::Mat dividePlanes(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat result(a.size(), a.type());
    a.depth() == CV_64F ? divide<double>(a, b, result) : divide<float>(a, b, result);
    return result;
}

cv::Mat guidedFilter(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth) {
    return filterUnder(I, p, r, eps, depth, nullptr);
}

cv::Mat guidedFilterWithDumps(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth,
                              const std::string& directory) {
    return filterUnder(I, p, r, eps, depth, &directory);
}

cv::Mat boxFiltersOfGuidedFilter(const cv::Mat& I, const cv::Mat& p, int r) {
    // Mono guide: its mean and its square's; then p, I p, a, b. Colour guide: three means and six products; then p,
    // three products, three a, b.
    const int ofGuide = I.channels() == 1 ? 2 : 9;
    const int ofPlane = I.channels() == 1 ? 4 : 8;
    cv::Mat plane;
    cv::extractChannel(storedGuide(I), plane, 0);
    cv::Mat mean;
    for (int k = 0; k < ofGuide + ofPlane * p.channels(); ++k) {
        cv::blur(plane, mean, cv::Size(2 * r + 1, 2 * r + 1));
    }
    return mean;
}

}  // namespace likeness::reference
