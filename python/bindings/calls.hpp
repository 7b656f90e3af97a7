// How an operation of the library is called from Python: without the interpreter's lock, with its progress told and with
// Ctrl-C heard at every step.
#pragma once

#include "arrays.hpp"

#include <likeness/color/white.hpp>
#include <likeness/diagnostics/watch.hpp>

#include <array>
#include <utility>

namespace likeness::python {

using Triple = std::array<double, 3>;

inline Triple tripleOf(const cv::Vec3d& v) {
    return {v[0], v[1], v[2]};
}

inline White whiteOf(const Triple& xyz) {
    return {{xyz[0], xyz[1], xyz[2]}};
}

/// @param progress  None, or what is called with the steps done and of all steps; False ends the operation
Watch watchOf(const pybind11::object& progress);

/// What the operation returns. Arguments in Python are converted before.
template <typename Operation>
auto unlocked(Operation&& operation) {
    const pybind11::gil_scoped_release release;
    return std::forward<Operation>(operation)();
}

/// An image of an operation, of three channels of float; where it is in B, G, R, as R, G, B.
template <typename Operation>
pybind11::array imageFrom(Channels channels, Operation&& operation) {
    cv::Mat image = unlocked([&operation, channels] {
        cv::Mat made = operation();
        if (channels == Channels::rgb) {
            reverseChannels(made);
        }
        return made;
    });
    if (image.empty()) {
        return pybind11::array(pybind11::dtype("f4"), std::array<pybind11::ssize_t, 3>{0, 0, 3});
    }
    return arrayOf(std::move(image));
}

/// An image that stands in a result, as R, G, B.
pybind11::array rgbArrayOf(cv::Mat image);

void bindArchives(pybind11::module_& module);
void bindBatches(pybind11::module_& module);
void bindColors(pybind11::module_& module);
void bindComparison(pybind11::module_& module);
void bindFiles(pybind11::module_& module);
void bindModels(pybind11::module_& module);
void bindOperations(pybind11::module_& module);
void bindScores(pybind11::module_& module);

}  // namespace likeness::python
