#include "calls.hpp"

#include <memory>

namespace likeness::python {
namespace {

namespace py = pybind11;

}  // namespace

Watch watchOf(const py::object& progress) {
    // Copied and destroyed by threads that do not have the lock.
    const std::shared_ptr<const py::object> shared(new py::object(progress), [](const py::object* object) {
        const py::gil_scoped_acquire acquire;
        delete object;
    });
    Watch watch;
    watch.progress = [shared](int done, int total) {
        const py::gil_scoped_acquire acquire;
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
        if (shared->is_none()) {
            return true;
        }
        const py::object answer = (*shared)(done, total);
        return answer.is_none() || !answer.is(py::bool_(false));
    };
    return watch;
}

py::array rgbArrayOf(cv::Mat image) {
    unlocked([&image] { reverseChannels(image); });
    return arrayOf(std::move(image));
}

}  // namespace likeness::python
