#include "reference/transport_reference.hpp"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <iostream>
#include <limits>
#include <map>
#include <vector>

namespace likeness::reference {
namespace {

template <typename T>
void multiply(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    for (int i = 0; i < A.rows; ++i) {
        for (int j = 0; j < A.cols; ++j) {
            C.at<T>(i, j) = 0;
            for (int k = 0; k < A.rows; ++k) {
                C.at<T>(i, j) += A.at<T>(i, k) * B.at<T>(k, j);
            }
        }
    }
}

template <typename T>
void squareRoot(const cv::Mat& A, cv::Mat& R, int n) {
    cv::Mat D = cv::Mat::zeros(n, n, A.type());
    cv::Mat eigenvalues(1, n, A.type());
    cv::Mat V(n, n, A.type());
    cv::eigen(A, eigenvalues, V);
    for (int i = 0; i < n; ++i) {
        T& eigenvalue = eigenvalues.at<T>(i);
        if (eigenvalue < 0) {
            eigenvalue = 0;
        }
        D.at<T>(i, i) = std::sqrt(eigenvalue);
    }
    cv::Mat product(n, n, A.type());
    const cv::Mat transposed = V.t();
    multiply<T>(transposed, D, product);
    multiply<T>(product, V, R);
}

template <typename T>
void transportMap(const cv::Mat& sourceCov, const cv::Mat& targetCov, cv::Mat& map, int n) {
    cv::Mat S = sourceCov.clone();
    for (int i = 0; i < n; ++i) {
        if (S.at<T>(i, i) < 7.5) {
            S.at<T>(i, i) = static_cast<T>(7.5);
        }
    }
    cv::Mat A(n, n, S.type());
    cv::Mat product(n, n, S.type());
    cv::Mat M(n, n, S.type());
    cv::Mat E(n, n, S.type());
    cv::Mat F(n, n, S.type());
    squareRoot<T>(S, A, n);
    multiply<T>(A, targetCov, product);
    multiply<T>(product, A, M);
    squareRoot<T>(M, E, n);
    const cv::Mat inverse = A.inv(cv::DECOMP_SVD);
    multiply<T>(inverse, E, F);
    const cv::Mat inverseAgain = A.inv(cv::DECOMP_SVD);
    multiply<T>(F, inverseAgain, map);
}

}  // namespace

float computeMean(const cv::Mat& plane) {
    float sum = 0;
    int count = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            if (!std::isnan(plane.at<float>(i, j))) {
                sum += plane.at<float>(i, j);
                ++count;
            }
        }
    }
    std::cout << sum << " " << count << std::endl;
    if (count == 0) {
        return sum;
    }
    return sum / static_cast<float>(count);
}

float computeWeightedMean(const cv::Mat& plane) {
    const auto key = [](float x) { return static_cast<float>(std::round(static_cast<double>(x))); };
    std::map<float, float> frequencies;
    int n = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            const float x = plane.at<float>(i, j);
            if (!std::isnan(x)) {
                const auto found = frequencies.find(key(x));
                if (found != frequencies.end()) {
                    found->second += 1;
                } else {
                    frequencies[key(x)] = 1;
                }
                ++n;
            }
        }
    }
    float weightedSum = 0;
    float weightSum = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            const float x = plane.at<float>(i, j);
            if (!std::isnan(x)) {
                const float w = frequencies[key(x)] / static_cast<float>(n);
                weightedSum += w * x;
                weightSum += w;
            }
        }
    }
    return weightedSum / weightSum;
}

void computeWeightedMeanVector(const cv::Mat& img, float* means, int dims) {
    std::vector<cv::Mat> planes;
    cv::split(img, planes);
    for (int i = 0; i < dims; ++i) {
        means[i] = dims == 2 ? computeWeightedMean(planes[static_cast<std::size_t>(i + 1)])
                             : computeMean(planes[static_cast<std::size_t>(i)]);
    }
}

float computeVariance(const cv::Mat& plane, float mean) {
    float sum = 0;
    int count = 0;
    for (int i = 0; i < plane.rows; ++i) {
        for (int j = 0; j < plane.cols; ++j) {
            const float x = plane.at<float>(i, j);
            if (!std::isnan(x)) {
                sum = static_cast<float>(sum + (std::pow(x, 2) - std::pow(mean, 2)));
                ++count;
            }
        }
    }
    return sum / static_cast<float>(count);
}

float computeAlphaFromBetaDistr(const cv::Mat& plane) {
    const float mean = computeMean(plane);
    const float v = computeVariance(plane, mean);
    return ((1 - mean) / (v * v) - 1 / mean) * mean * mean;
}

float computeBetaFromBetaDistr(const cv::Mat& plane, float alpha) {
    const float mean = computeMean(plane);
    return (1 / mean - 1) * alpha;
}

float computeCovarianceElement(const cv::Mat& a, const cv::Mat& b) {
    const float meanA = computeMean(a);
    const float meanB = computeMean(b);
    std::cout << meanA << " " << meanB << std::endl;
    float sum = 0;
    int count = 0;
    for (int i = 0; i < a.rows; ++i) {
        for (int j = 0; j < a.cols; ++j) {
            if (!std::isnan(a.at<float>(i, j))) {
                sum += (b.at<float>(i, j) - meanB) * (a.at<float>(i, j) - meanA);
                ++count;
            }
        }
    }
    if (count <= 1) {
        return 0;
    }
    return sum / static_cast<float>(count - 1);
}

void computeCovariance(const cv::Mat& img, cv::Mat& cov, int dims) {
    std::vector<cv::Mat> planes;
    cv::split(img, planes);
    const int offset = dims == 2 ? 1 : 0;
    for (int i = 0; i < dims; ++i) {
        for (int j = 0; j < dims; ++j) {
            cov.at<float>(i, j) = computeCovarianceElement(planes[static_cast<std::size_t>(offset + i)],
                                                           planes[static_cast<std::size_t>(offset + j)]);
        }
    }
}

void computeChannelCov(const cv::Mat& img, const cv::Mat& other, cv::Mat& cov, int dims) {
    std::vector<cv::Mat> planes;
    cv::split(img, planes);
    for (int i = 0; i < dims; ++i) {
        for (int j = 0; j < dims; ++j) {
            cov.at<float>(i, j) = computeCovarianceElement(planes[0], other);
        }
    }
}

void computeHue(const cv::Mat& src, cv::Mat& hue, int first, int second) {
    for (int i = 0; i < src.rows; ++i) {
        for (int j = 0; j < src.cols; ++j) {
            const double a = src.at<cv::Vec3f>(i, j)[first] - 128.0;
            const double b = src.at<cv::Vec3f>(i, j)[second] - 128.0;
            float& angle = hue.at<float>(i, j);
            angle = static_cast<float>(std::atan2(b, a) * 57.29577957855229);
            if (angle < 0) {
                angle = static_cast<float>(angle + 360.0);
            }
            if (angle > 360.0) {
                angle = static_cast<float>(360.0 - angle);
            }
        }
    }
}

void dot(const cv::Mat& A, const cv::Mat& B, cv::Mat& C) {
    multiply<float>(A, B, C);
}

void matrixSquareRoot(const cv::Mat& A, cv::Mat& R, int n) {
    squareRoot<float>(A, R, n);
}

void closedFormMatrix(const cv::Mat& sourceCov, const cv::Mat& targetCov, cv::Mat& T, int n) {
    transportMap<float>(sourceCov, targetCov, T, n);
}

cv::Mat closedFormMatrixInDouble(const cv::Mat& sourceCov, const cv::Mat& targetCov) {
    cv::Mat source;
    cv::Mat target;
    sourceCov.convertTo(source, CV_64F);
    targetCov.convertTo(target, CV_64F);
    cv::Mat map(source.size(), CV_64F);
    transportMap<double>(source, target, map, source.rows);
    return map;
}

void computeGeodesicPath(float* inpMeans, float* tarMeans, const cv::Mat& inpCov, cv::Mat& tarCov, cv::Mat& T, float t,
                         int dims) {
    const cv::Mat identity3 = cv::Mat::eye(3, 3, CV_32F);
    const cv::Mat identity2 = cv::Mat::eye(2, 2, CV_32F);
    for (int i = 0; i < dims; ++i) {
        tarMeans[i] = tarMeans[i] * t + inpMeans[i] * (1 - t);
    }
    const cv::Mat M = t * T + (1 - t) * (dims == 3 ? identity3 : identity2);
    cv::Mat product(dims, dims, CV_32F);
    dot(M, inpCov, product);
    dot(product, M, tarCov);
    closedFormMatrix(inpCov, tarCov, T, dims);
}

void computeMapping2D(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                      cv::Mat& result) {
    for (int i = 0; i < inputImg.rows; ++i) {
        for (int j = 0; j < inputImg.cols; ++j) {
            const auto& x = inputImg.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 2; ++k) {
                if (std::isnan(x[k])) {
                    result.at<cv::Vec2f>(i, j)[k] = std::numeric_limits<float>::quiet_NaN();
                } else {
                    result.at<cv::Vec2f>(i, j)[k] = T.at<float>(k, 0) * (x[1] - inpMeans[0]) +
                                                    T.at<float>(k, 1) * (x[2] - inpMeans[1]) + tarMeans[k];
                }
            }
        }
    }
}

void computeMapping3D(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                      cv::Mat& result) {
    for (int i = 0; i < inputImg.rows; ++i) {
        for (int j = 0; j < inputImg.cols; ++j) {
            const auto& x = inputImg.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 3; ++k) {
                if (std::isnan(x[k])) {
                    result.at<cv::Vec3f>(i, j)[k] = std::numeric_limits<float>::quiet_NaN();
                } else {
                    result.at<cv::Vec3f>(i, j)[k] = T.at<float>(k, 0) * (x[0] - inpMeans[0]) +
                                                    T.at<float>(k, 1) * (x[1] - inpMeans[1]) +
                                                    T.at<float>(k, 2) * (x[2] - inpMeans[2]) + tarMeans[k];
                }
            }
        }
    }
}

void computeMapping2DBonneel(const cv::Mat& inputImg, const float* inpMeans, const float* tarMeans, const cv::Mat& T,
                             cv::Mat& result) {
    for (int i = 0; i < inputImg.rows; ++i) {
        for (int j = 0; j < inputImg.cols; ++j) {
            const auto& x = inputImg.at<cv::Vec3f>(i, j);
            for (int k = 0; k < 2; ++k) {
                if (std::isnan(x[k])) {
                    result.at<cv::Vec2f>(i, j)[k] = std::numeric_limits<float>::quiet_NaN();
                } else {
                    result.at<cv::Vec2f>(i, j)[k] =
                        T.at<float>(k, 0) * x[1] + T.at<float>(k, 1) * x[2] - inpMeans[k] + tarMeans[k];
                }
            }
        }
    }
}

namespace {

void transfer(const cv::Mat& inputImg, const cv::Mat& inpCov, cv::Mat& tarCov, float* inpMeans, float* tarMeans,
              cv::Mat& transportMat, float t, int dims, cv::Mat& result) {
    cv::Mat T(dims, dims, CV_32F);
    closedFormMatrix(inpCov, tarCov, T, dims);
    closedFormMatrix(inpCov, tarCov, transportMat, dims);
    if (std::isnan(t) || t != 1) {
        computeGeodesicPath(inpMeans, tarMeans, inpCov, tarCov, T, t, dims);
    }
    if (dims == 2) {
        computeMapping2D(inputImg, inpMeans, tarMeans, T, result);
    } else {
        computeMapping3D(inputImg, inpMeans, tarMeans, T, result);
    }
}

}  // namespace

void applyOptimalTransport(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result, cv::Mat& inpMeanRow,
                           cv::Mat& tarMeanRow, cv::Mat& transportMat, float t, int dims) {
    cv::Mat inpCov(dims, dims, CV_32F);
    cv::Mat tarCov(dims, dims, CV_32F);
    computeCovariance(inputImg, inpCov, dims);
    computeCovariance(targetImg, tarCov, dims);
    float inpMeans[3];
    float tarMeans[3];
    computeWeightedMeanVector(inputImg, inpMeans, dims);
    computeWeightedMeanVector(targetImg, tarMeans, dims);
    std::vector<cv::Mat> planes;
    cv::split(inputImg, planes);
    for (int i = 0; i < dims && i + 1 < 3; ++i) {
        inpMeanRow.at<float>(0, i) = computeWeightedMean(planes[static_cast<std::size_t>(i + 1)]);
    }
    cv::split(targetImg, planes);
    for (int i = 0; i < dims && i + 1 < 3; ++i) {
        tarMeanRow.at<float>(0, i) = computeWeightedMean(planes[static_cast<std::size_t>(i + 1)]);
    }
    transfer(inputImg, inpCov, tarCov, inpMeans, tarMeans, transportMat, t, dims, result);
}

void applyOptimalTransportBonneel(const cv::Mat& inputImg, const cv::Mat& targetImg, cv::Mat& result,
                                  cv::Mat& inpCovInv, cv::Mat& inpMeanRow, cv::Mat& tarCov2, cv::Mat& tarMeanRow,
                                  cv::Mat& transportMat, float t, int dims) {
    cv::Mat inpCov(dims, dims, CV_32F);
    cv::Mat tarCov(dims, dims, CV_32F);
    computeCovariance(inputImg, inpCov, dims);
    computeCovariance(targetImg, tarCov, dims);
    std::cout << inpCov << " inpCovs" << std::endl;
    std::cout << tarCov << " tarCovs" << std::endl;
    computeCovariance(inputImg, inpCovInv, 3);
    computeCovariance(targetImg, tarCov2, 2);
    inpCovInv = inpCovInv.inv(cv::DECOMP_LU);
    float inpMeans[3];
    float tarMeans[3];
    computeWeightedMeanVector(inputImg, inpMeans, dims);
    computeWeightedMeanVector(targetImg, tarMeans, dims);
    std::vector<cv::Mat> planes;
    cv::split(inputImg, planes);
    for (int i = 0; i < 3; ++i) {
        inpMeanRow.at<float>(0, i) = computeWeightedMean(planes[static_cast<std::size_t>(i)]);
    }
    cv::split(targetImg, planes);
    for (int i = 0; i < 2; ++i) {
        tarMeanRow.at<float>(0, i) = computeWeightedMean(planes[static_cast<std::size_t>(i + 1)]);
    }
    transfer(inputImg, inpCov, tarCov, inpMeans, tarMeans, transportMat, t, dims, result);
}

cv::Mat filterColorChannelsMK(const cv::Mat& guide, const cv::Mat& p, int windowSide, MapPrecision precision) {
    const auto boxfilter = [windowSide](const cv::Mat& image) {
        cv::Mat mean;
        cv::blur(image, mean, cv::Size(windowSide, windowSide), cv::Point(-1, -1), 4);
        return mean;
    };
    const auto covariances = [&boxfilter](const std::vector<cv::Mat>& c, const std::vector<cv::Mat>& mean) {
        std::vector<cv::Mat> planes;
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = i; j < 3; ++j) {
                planes.push_back(boxfilter(c[i].mul(c[j])) - mean[i].mul(mean[j]));
            }
        }
        return planes;
    };
    const auto matrixAt = [](const std::vector<cv::Mat>& planes, int i, int j, cv::Mat& matrix) {
        std::size_t element = 0;
        for (int r = 0; r < 3; ++r) {
            for (int c = r; c < 3; ++c) {
                matrix.at<float>(r, c) = matrix.at<float>(c, r) = planes[element++].at<float>(i, j);
            }
        }
    };
    std::vector<cv::Mat> I;
    std::vector<cv::Mat> P;
    cv::split(guide, I);
    cv::split(p, P);
    const std::vector<cv::Mat> meanI = {boxfilter(I[0]), boxfilter(I[1]), boxfilter(I[2])};
    const std::vector<cv::Mat> meanP = {boxfilter(P[0]), boxfilter(P[1]), boxfilter(P[2])};
    const std::vector<cv::Mat> covI = covariances(I, meanI);
    const std::vector<cv::Mat> covP = covariances(P, meanP);
    std::vector<cv::Mat> t(6);
    for (cv::Mat& plane : t) {
        plane.create(p.size(), CV_32F);
    }
    cv::Mat source(3, 3, CV_32F);
    cv::Mat target(3, 3, CV_32F);
    for (int i = 0; i < p.rows; ++i) {
        for (int j = 0; j < p.cols; ++j) {
            cv::Mat T = cv::Mat::zeros(3, 3, CV_32F);
            matrixAt(covP, i, j, target);
            matrixAt(covI, i, j, source);
            if (precision == MapPrecision::single) {
                closedFormMatrix(source, target, T, 3);
            } else {
                closedFormMatrixInDouble(source, target).convertTo(T, CV_32F);
            }
            t[0].at<float>(i, j) = T.at<float>(0, 0);
            t[1].at<float>(i, j) = T.at<float>(0, 1);
            t[2].at<float>(i, j) = T.at<float>(0, 2);
            t[3].at<float>(i, j) = T.at<float>(1, 1);
            t[4].at<float>(i, j) = T.at<float>(1, 2);
            t[5].at<float>(i, j) = T.at<float>(2, 2);
        }
    }
    const cv::Mat d0 = I[0] - meanI[0];
    const cv::Mat d1 = I[1] - meanI[1];
    const cv::Mat d2 = I[2] - meanI[2];
    const std::vector<cv::Mat> out = {t[0].mul(d0) + t[1].mul(d1) + t[2].mul(d2) + meanP[0],
                                      t[2].mul(d0) + t[3].mul(d1) + t[4].mul(d2) + meanP[1],
                                      t[2].mul(d0) + t[4].mul(d1) + t[5].mul(d2) + meanP[2]};
    cv::Mat result;
    cv::merge(out, result);
    return result;
}

}  // namespace likeness::reference
