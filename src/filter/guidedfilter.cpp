#include <likeness/filter/guidedfilter.hpp>

#include "filter/box_filter.hpp"
#include "filter/plane_block.hpp"
#include "filter/plane_quotient.hpp"
#include "numerics/argument_check.hpp"
#include "numerics/parallel.hpp"

// For the loops below: no step touches what another one touches, although planes are written in place.
#if defined(__clang__)
#define LIKENESS_INDEPENDENT_STEPS _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define LIKENESS_INDEPENDENT_STEPS _Pragma("GCC ivdep")
#else
#define LIKENESS_INDEPENDENT_STEPS
#endif

#include <functional>
#include <iterator>

namespace likeness {
namespace {

int storedDepth(const cv::Mat& guide) {
    return guide.depth() == CV_64F ? CV_64F : CV_32F;
}

/// `image` itself where it has the depth, otherwise a converted copy.
cv::Mat convertTo(const cv::Mat& image, int depth) {
    if (image.depth() == depth) {
        return image;
    }
    cv::Mat converted;
    image.convertTo(converted, depth);
    return converted;
}

const cv::Mat& requireGuide(const char* variant, const cv::Mat& guide, int channels) {
    requireType(variant, CV_MAKETYPE(guide.depth(), channels), {{"guide", guide}});
    return guide;
}

/// The loops below trust their planes: OpenCV's own arithmetic would take a 1 x 1 plane as a scalar.
void requireShapeOf(const cv::Mat& guidePlane, const cv::Mat& p) {
    if (p.size() != guidePlane.size() || p.type() != guidePlane.type()) {
        CV_Error(cv::Error::StsUnmatchedSizes,
                 "the input has another size, depth or number of channels than the guide");
    }
}

// The planes of a variant, and the window means it takes, are its own: equal in size and without gaps between rows. The
// loops below walk each as one long row; they do operation by operation what whole-plane arithmetic would do.

/// Calls steps(begin, end) for ranges that cover the elements of planes like `plane`, at the same time.
void forEachStep(const cv::Mat& plane, const std::function<void(std::size_t, std::size_t)>& steps) {
    numerics::inParallel(plane.total(), numerics::pixelsWorthAThread, steps);
}

template <typename T>
T covariance(T meanOfProduct, T meanX, T meanY) noexcept {
    return meanOfProduct - meanX * meanY;
}

/// Turns window means of a product into the covariance of its factors, in place.
template <typename T>
void subtractProductOfMeans(cv::Mat& meanOfProduct, const cv::Mat& meanX, const cv::Mat& meanY) {
    T* const plane = meanOfProduct.ptr<T>();
    const T* const x = meanX.ptr<T>();
    const T* const y = meanY.ptr<T>();
    forEachStep(meanOfProduct, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            plane[j] = covariance(plane[j], x[j], y[j]);
        }
    });
}

void toCovariance(cv::Mat& meanOfProduct, const cv::Mat& meanX, const cv::Mat& meanY) {
    meanOfProduct.depth() == CV_64F ? subtractProductOfMeans<double>(meanOfProduct, meanX, meanY)
                                    : subtractProductOfMeans<float>(meanOfProduct, meanX, meanY);
}

/// Slope a and intercept b of each window; a takes the place of `meanIp`, b that of `meanP`.
template <typename T>
void fitLines(cv::Mat& meanIp, cv::Mat& meanP, const cv::Mat& meanI, const cv::Mat& varI, T eps) {
    T* const a = meanIp.ptr<T>();
    T* const b = meanP.ptr<T>();
    const T* const guide = meanI.ptr<T>();
    const T* const variance = varI.ptr<T>();
    forEachStep(meanIp, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            const T slope = quotient(covariance(a[j], guide[j], b[j]), variance[j] + eps);
            a[j] = slope;
            b[j] = b[j] - slope * guide[j];
        }
    });
}

/// a I + b with the averaged coefficients; takes the place of `b`.
template <typename T>
void applyLine(const cv::Mat& a, const cv::Mat& guide, cv::Mat& b) {
    const T* const slope = a.ptr<T>();
    const T* const value = guide.ptr<T>();
    T* const out = b.ptr<T>();
    forEachStep(a, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            out[j] = slope[j] * value[j] + out[j];
        }
    });
}

/// a0 I0 + a1 I1 + a2 I2 + b with the averaged coefficients; takes the place of `b`.
template <typename T>
void applyPlane(const cv::Mat (&a)[3], const std::vector<cv::Mat>& guide, cv::Mat& b) {
    const T* const a0 = a[0].ptr<T>();
    const T* const a1 = a[1].ptr<T>();
    const T* const a2 = a[2].ptr<T>();
    const T* const i0 = guide[0].ptr<T>();
    const T* const i1 = guide[1].ptr<T>();
    const T* const i2 = guide[2].ptr<T>();
    T* const out = b.ptr<T>();
    forEachStep(b, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            out[j] = a0[j] * i0[j] + a1[j] * i1[j] + a2[j] * i2[j] + out[j];
        }
    });
}

}  // namespace

cv::Mat GuidedFilterImpl::filter(const cv::Mat& p, int depth, const Diagnostics& diagnostics) const {
    const cv::Mat p2 = convertTo(p, guideDepth);
    cv::Mat result;
    if (p.channels() == 1) {
        result = filterSingleChannel(p2, diagnostics);
    } else {
        std::vector<cv::Mat> planes;
        cv::split(p2, planes);
        for (cv::Mat& plane : planes) {
            plane = filterSingleChannel(plane, diagnostics);
        }
        cv::merge(planes, result);
    }
    return convertTo(result, depth == -1 ? p.depth() : depth);
}

GuidedFilterMono::GuidedFilterMono(const cv::Mat& guide, int windowSide, double regularizer)
    : GuidedFilterImpl(storedDepth(requireGuide("GuidedFilterMono", guide, 1))),
      windowSize(windowSide),
      eps(regularizer) {
    const auto memory = std::make_shared<PlaneBlock>(guide.size(), storedDepth(guide), 3);
    for (cv::Mat* plane : {&I, &meanI, &varI}) {
        *plane = memory->take();
    }
    memory_ = memory;
    guide.convertTo(I, storedDepth(guide));
    numerics::forEachTask(I.total(), 2, [&](std::size_t task) {
        if (task == 0) {
            boxfilter(I, windowSize, meanI);
        } else {
            cv::multiply(I, I, varI);
            boxfilter(varI, windowSize, varI);
        }
    });
    toCovariance(varI, meanI, meanI);
}

cv::Mat GuidedFilterMono::filterSingleChannel(const cv::Mat& p, const Diagnostics& /*diagnostics*/) const {
    requireShapeOf(I, p);
    cv::Mat meanP;
    cv::Mat meanIp;
    numerics::forEachTask(p.total(), 2, [&](std::size_t task) {
        if (task == 0) {
            boxfilter(p, windowSize, meanP);
        } else {
            meanIp = I.mul(p);
            boxfilter(meanIp, windowSize, meanIp);
        }
    });
    const bool isDouble = I.depth() == CV_64F;
    isDouble ? fitLines<double>(meanIp, meanP, meanI, varI, eps)
             : fitLines<float>(meanIp, meanP, meanI, varI, static_cast<float>(eps));
    cv::Mat& a = meanIp;
    cv::Mat& b = meanP;
    numerics::forEachTask(p.total(), 2, [&](std::size_t task) {
        cv::Mat& coefficient = task == 0 ? a : b;
        boxfilter(coefficient, windowSize, coefficient);
    });
    isDouble ? applyLine<double>(a, I, b) : applyLine<float>(a, I, b);
    return b;
}

cv::Mat GuidedFilterMono::filterColorChannelsMK(const cv::Mat& p) const {
    return cv::Mat(p.rows, p.cols, CV_32FC3);
}

GuidedFilterColor::GuidedFilterColor(const cv::Mat& guide, int windowSide, double regularizer,
                                     const Diagnostics& diagnostics)
    : GuidedFilterImpl(storedDepth(requireGuide("GuidedFilterColor", guide, 3))),
      Ichannels(3),
      windowSize(windowSide),
      eps(regularizer) {
    const auto memory = std::make_shared<PlaneBlock>(guide.size(), storedDepth(guide), 18);
    for (cv::Mat* plane :
         {&Ichannels[0], &Ichannels[1], &Ichannels[2], &meanI0, &meanI1, &meanI2, &invCov00, &invCov01, &invCov02,
          &invCov11, &invCov12, &invCov22, &cov00, &cov01, &cov02, &cov11, &cov12, &cov22}) {
        *plane = memory->take();
    }
    memory_ = memory;
    cv::split(convertTo(guide, storedDepth(guide)), Ichannels);
    cv::Mat* const means[] = {&meanI0, &meanI1, &meanI2};
    const char* const names[] = {"0R.jpg", "0G.jpg", "0B.jpg"};
    struct Product {
        std::size_t i;
        std::size_t j;
        cv::Mat* mean;
    };
    const Product products[] = {{0, 0, &cov00}, {0, 1, &cov01}, {0, 2, &cov02},
                                {1, 1, &cov11}, {1, 2, &cov12}, {2, 2, &cov22}};
    numerics::forEachTask(guide.total(), 3 + std::size(products), [&](std::size_t task) {
        if (task < 3) {
            boxfilter(Ichannels[task], windowSize, *means[task]);
        } else {
            const Product& product = products[task - 3];
            cv::multiply(Ichannels[product.i], Ichannels[product.j], *product.mean);
            boxfilter(*product.mean, windowSize, *product.mean);
        }
    });
    if (diagnostics.wantsFiles()) {
        for (std::size_t c = 0; c < 3; ++c) {
            diagnostics.writeImage(names[c], *means[c]);
        }
    }
    cov00.depth() == CV_64F ? invertCovariance<double>() : invertCovariance<float>();
}

/// Turns the window means of products in cov00 ... cov22 into covariances and fills invCov00 ... invCov22.
template <typename T>
void GuidedFilterColor::invertCovariance() {
    const T* const mean0 = meanI0.ptr<T>();
    const T* const mean1 = meanI1.ptr<T>();
    const T* const mean2 = meanI2.ptr<T>();
    T* const row00 = cov00.ptr<T>();
    T* const row01 = cov01.ptr<T>();
    T* const row02 = cov02.ptr<T>();
    T* const row11 = cov11.ptr<T>();
    T* const row12 = cov12.ptr<T>();
    T* const row22 = cov22.ptr<T>();
    T* const inverse00 = invCov00.ptr<T>();
    T* const inverse01 = invCov01.ptr<T>();
    T* const inverse02 = invCov02.ptr<T>();
    T* const inverse11 = invCov11.ptr<T>();
    T* const inverse12 = invCov12.ptr<T>();
    T* const inverse22 = invCov22.ptr<T>();
    forEachStep(cov00, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            // Nothing is added to the diagonal (departure 11): `eps` plays no part in this variant.
            const T c00 = row00[j] = covariance(row00[j], mean0[j], mean0[j]);
            const T c01 = row01[j] = covariance(row01[j], mean0[j], mean1[j]);
            const T c02 = row02[j] = covariance(row02[j], mean0[j], mean2[j]);
            const T c11 = row11[j] = covariance(row11[j], mean1[j], mean1[j]);
            const T c12 = row12[j] = covariance(row12[j], mean1[j], mean2[j]);
            const T c22 = row22[j] = covariance(row22[j], mean2[j], mean2[j]);
            const T adjugate00 = c11 * c22 - c12 * c12;
            const T adjugate01 = c12 * c02 - c01 * c22;
            const T adjugate02 = c01 * c12 - c11 * c02;
            const T adjugate11 = c00 * c22 - c02 * c02;
            const T adjugate12 = c02 * c01 - c00 * c12;
            const T adjugate22 = c00 * c11 - c01 * c01;
            const T determinant = adjugate00 * c00 + adjugate01 * c01 + adjugate02 * c02;
            inverse00[j] = quotient(adjugate00, determinant);
            inverse01[j] = quotient(adjugate01, determinant);
            inverse02[j] = quotient(adjugate02, determinant);
            inverse11[j] = quotient(adjugate11, determinant);
            inverse12[j] = quotient(adjugate12, determinant);
            inverse22[j] = quotient(adjugate22, determinant);
        }
    });
}

/// Coefficients a0, a1, a2 and intercept b of each window; they take the places of `meanIp` and `meanP`.
template <typename T>
void GuidedFilterColor::solveForCoefficients(cv::Mat (&meanIp)[3], cv::Mat& meanP) const {
    const T* const mean0 = meanI0.ptr<T>();
    const T* const mean1 = meanI1.ptr<T>();
    const T* const mean2 = meanI2.ptr<T>();
    const T* const inverse00 = invCov00.ptr<T>();
    const T* const inverse01 = invCov01.ptr<T>();
    const T* const inverse02 = invCov02.ptr<T>();
    const T* const inverse11 = invCov11.ptr<T>();
    const T* const inverse12 = invCov12.ptr<T>();
    const T* const inverse22 = invCov22.ptr<T>();
    T* const row0 = meanIp[0].ptr<T>();
    T* const row1 = meanIp[1].ptr<T>();
    T* const row2 = meanIp[2].ptr<T>();
    T* const intercept = meanP.ptr<T>();
    forEachStep(meanP, [=](std::size_t begin, std::size_t end) {
        LIKENESS_INDEPENDENT_STEPS
        for (std::size_t j = begin; j < end; ++j) {
            const T mean = intercept[j];
            const T c0 = covariance(row0[j], mean0[j], mean);
            const T c1 = covariance(row1[j], mean1[j], mean);
            const T c2 = covariance(row2[j], mean2[j], mean);
            const T a0 = inverse00[j] * c0 + inverse01[j] * c1 + inverse02[j] * c2;
            const T a1 = inverse01[j] * c0 + inverse11[j] * c1 + inverse12[j] * c2;
            const T a2 = inverse02[j] * c0 + inverse12[j] * c1 + inverse22[j] * c2;
            row0[j] = a0;
            row1[j] = a1;
            row2[j] = a2;
            intercept[j] = mean - a0 * mean0[j] - a1 * mean1[j] - a2 * mean2[j];
        }
    });
}

cv::Mat GuidedFilterColor::filterSingleChannel(const cv::Mat& p, const Diagnostics& diagnostics) const {
    requireShapeOf(Ichannels[0], p);
    cv::Mat meanP;
    PlaneBlock memory(p.size(), p.type(), 3);
    cv::Mat meanIp[] = {memory.take(), memory.take(), memory.take()};
    numerics::forEachTask(p.total(), 4, [&](std::size_t task) {
        if (task == 3) {
            boxfilter(p, windowSize, meanP);
        } else {
            cv::multiply(Ichannels[task], p, meanIp[task]);
            boxfilter(meanIp[task], windowSize, meanIp[task]);
        }
    });
    const bool isDouble = meanP.depth() == CV_64F;
    if (diagnostics.wantsFiles()) {
        cv::Mat covIp0 = meanIp[0].clone();
        toCovariance(covIp0, meanI0, meanP);
        diagnostics.writeImage("cov_a_r.jpg", covIp0);
    }
    isDouble ? solveForCoefficients<double>(meanIp, meanP) : solveForCoefficients<float>(meanIp, meanP);
    cv::Mat(&a)[3] = meanIp;
    cv::Mat& b = meanP;
    if (diagnostics.wantsFiles()) {
        diagnostics.writeImage("a_r.jpg", a[0] * 255.0);
        diagnostics.writeImage("a_g.jpg", a[1] * 255.0);
        diagnostics.writeImage("a_b.jpg", a[2] * 255.0);
        diagnostics.writeImage("b.jpg", b);
    }
    numerics::forEachTask(p.total(), 4, [&](std::size_t task) {
        cv::Mat& coefficient = task == 3 ? b : a[task];
        boxfilter(coefficient, windowSize, coefficient);
    });
    isDouble ? applyPlane<double>(a, Ichannels, b) : applyPlane<float>(a, Ichannels, b);
    return b;
}

GuidedFilter::GuidedFilter(const cv::Mat& I, int r, double eps, const Diagnostics& diagnostics) {
    if (I.channels() != 1 && I.channels() != 3) {
        // Callers may tell this error by these texts and this line, so they do not follow the source.
        cv::error(cv::Error::StsAssert, "I.channels() == 1 || I.channels() == 3", "GuidedFilter", "guidedfilter", 325);
    }
    const int windowSide = 2 * r + 1;
    if (I.channels() == 1) {
        variant_ = std::make_unique<GuidedFilterMono>(I, windowSide, eps);
    } else {
        variant_ = std::make_unique<GuidedFilterColor>(I, windowSide, eps, diagnostics);
    }
}

cv::Mat GuidedFilter::filter(const cv::Mat& p, int depth, const Diagnostics& diagnostics) const {
    return variant_->filter(p, depth, diagnostics);
}

cv::Mat guidedFilter(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth, const Diagnostics& diagnostics) {
    return GuidedFilter(I, r, eps, diagnostics).filter(p, depth, diagnostics);
}

}  // namespace likeness
