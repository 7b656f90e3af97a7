#include "reference/structure_reference.hpp"

#ifdef __aarch64__
#include "structure/tensor_eigenvalues.hpp"
#endif

#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

#include <cmath>
#include <limits>
#include <sstream>

namespace likeness::reference {

StructuralTensor computeStructuralTensor(const cv::Mat& image, float size) {
    const int side = static_cast<int>(size);
    const int rows = image.rows;
    const int cols = image.cols;
    StructuralTensor result;

    cv::Mat blurred(image.size(), CV_32FC3);
    cv::GaussianBlur(image, blurred, cv::Size(side, side), 0, 0, cv::BORDER_REFLECT_101);
    result.images.emplace_back("inputGauss.jpg", blurred);

    std::vector<cv::Mat> planes;
    cv::split(blurred, planes);
    std::vector<cv::Mat> gradientX(3);
    std::vector<cv::Mat> gradientY(3);
    for (std::size_t c = 0; c < 3; ++c) {
        cv::Sobel(planes[c], gradientX[c], CV_32F, 1, 0, 3, 1.0, 0.0, cv::BORDER_REFLECT_101);
        cv::Sobel(planes[c], gradientY[c], CV_32F, 0, 1, 3, 1.0, 0.0, cv::BORDER_REFLECT_101);
    }
    result.images.emplace_back("sobel.jpg", gradientX[0].clone());

    std::vector<cv::Mat> tensors(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
    std::vector<cv::Mat> components(4);
    for (cv::Mat& component : components) {
        component = cv::Mat(image.size(), CV_32F);
    }
    for (std::size_t k = 0; k < tensors.size(); ++k) {
        const int row = static_cast<int>(k) / cols;
        const int col = static_cast<int>(k) % cols;
        cv::Mat& tensor = tensors[k];
        tensor = cv::Mat(2, 2, CV_32F, cv::Scalar(0));
        for (std::size_t c = 0; c < 3; ++c) {
            const float gx = gradientX[c].at<float>(row, col);
            const float gy = gradientY[c].at<float>(row, col);
            tensor.at<float>(0, 0) += gx * gx;
            tensor.at<float>(1, 1) += gy * gy;
            tensor.at<float>(1, 0) += gx * gy;
        }
        tensor.at<float>(0, 1) = tensor.at<float>(1, 0);
        components[0].at<float>(row, col) = tensor.at<float>(0, 0);
        components[1].at<float>(row, col) = tensor.at<float>(0, 1);
        components[2].at<float>(row, col) = tensor.at<float>(1, 0);
        components[3].at<float>(row, col) = tensor.at<float>(1, 1);
    }
    result.images.emplace_back("sobelMatr.jpg", components[2].clone());

    for (cv::Mat& component : components) {
        cv::GaussianBlur(component, component, cv::Size(side, side), 0, 0, cv::BORDER_REFLECT_101);
    }
    result.images.emplace_back("sobelGauss.jpg", components[2].clone());

    result.out = cv::Mat(image.size(), CV_32F);
    cv::Mat coherence(image.size(), CV_32F);
    for (std::size_t k = 0; k < tensors.size(); ++k) {
        const int row = static_cast<int>(k) / cols;
        const int col = static_cast<int>(k) % cols;
        cv::Mat& tensor = tensors[k];
        tensor.at<float>(0, 0) = components[0].at<float>(row, col);
        tensor.at<float>(0, 1) = components[1].at<float>(row, col);
        tensor.at<float>(1, 0) = components[2].at<float>(row, col);
        tensor.at<float>(1, 1) = components[3].at<float>(row, col);
        cv::Mat values(1, 2, CV_32F);
        cv::Mat vectors(2, 2, CV_32F);
        if (!cv::eigen(tensor, values, vectors)) {
            values.setTo(std::numeric_limits<float>::quiet_NaN());
            vectors = cv::Mat(2, 2, CV_32F, cv::Scalar(std::numeric_limits<float>::quiet_NaN()));
        }
#ifdef __aarch64__
        // The solver has fused multiply-adds there; the operation keeps the values of x86-64, which a test of their own
        // holds.
        const Eigenvalues unfused =
            symmetricEigenvalues(tensor.at<float>(0, 0), tensor.at<float>(1, 0), tensor.at<float>(1, 1));
        const float first = unfused.greater;
        const float second = unfused.lesser;
#else
        const float first = values.at<float>(0);
        const float second = values.at<float>(1);
#endif
        if (k == 0) {
            const float s = std::sqrt(tensor.at<float>(0, 0) + tensor.at<float>(1, 1));
            std::ostringstream line;
            line << vectors * s << "eig V" << values << " " << s << std::endl;
            result.text = line.str();
        }
        const float exponential = std::exp(-1e10F / ((first - second) * (first - second)));
        result.out.at<float>(row, col) = static_cast<float>(0.5 * static_cast<double>(exponential) + 0.5);
        const float ratio = (first - second) / (first + second);
        coherence.at<float>(row, col) = ratio * ratio;
    }
    result.images.emplace_back("tensorX.jpg", gradientX[0] * 255.0);
    result.images.emplace_back("tensor.jpg", result.out * 255.0);
    result.images.emplace_back("coherence.jpg", coherence * 255.0);
    return result;
}

cv::Mat opticalFlow(const cv::Mat& grayMoving, const cv::Mat& grayReference) {
    cv::Mat flow;
    cv::calcOpticalFlowFarneback(grayReference, grayMoving, flow, 0.5, 9, 15, 3, 5, 0.2, 0);
    return flow;
}

void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out) {
    cv::Mat grayMoving(moving.size(), CV_32F);
    cv::Mat grayReference(reference.size(), CV_32F);
    moving *= 255.0;
    reference *= 255.0;
    cv::cvtColor(moving, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(reference, grayReference, cv::COLOR_BGR2GRAY);
    const cv::Mat flow = opticalFlow(grayMoving, grayReference);
    cv::Mat map(flow.size(), CV_32FC2);
    for (int i = 0; i < map.rows; ++i) {
        for (int j = 0; j < map.cols; ++j) {
            const auto& displacement = flow.at<cv::Vec2f>(i, j);
            map.at<cv::Vec2f>(i, j) =
                cv::Vec2f(static_cast<float>(j) + displacement[0], static_cast<float>(i) + displacement[1]);
        }
    }
    cv::remap(moving, out, map, cv::Mat(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar(0));
    moving /= 255.0;
    reference /= 255.0;
    out /= 255.0;
}

}  // namespace likeness::reference
