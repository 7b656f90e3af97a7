// The extension module behind the Python package `likeness`: thin, with positional arguments; what users call, and its
// documentation, stands in python/likeness/.
#include "calls.hpp"

#include <likeness/threads.hpp>
#include <likeness/version.hpp>

PYBIND11_MODULE(_core, module) {
    namespace py = pybind11;
    using namespace likeness;

    py::options options;
    options.disable_function_signatures();
    py::register_exception<Cancelled>(module, "Cancelled", PyExc_RuntimeError).doc() =
        "A call that its `progress` has ended. Its arguments are unchanged.";
    module.attr("version") = LIKENESS_VERSION;
    module.def("threads", threads, py::doc("How many threads an operation uses at most."));
    module.def("set_threads", setThreads, py::arg("count"),
               py::doc("From now on operations use at most so many threads, from 1; 0 returns to the default."));
    python::bindColors(module);
    python::bindModels(module);
    python::bindComparison(module);
    python::bindOperations(module);
    python::bindFiles(module);
    python::bindBatches(module);
    python::bindScores(module);
    python::bindArchives(module);
}
