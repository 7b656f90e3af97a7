// Viewing conditions and models as the Python classes hand them over.
#pragma once

#include <likeness/comparison/comparison_model.hpp>

#include <pybind11/pybind11.h>

namespace likeness::python {

/// @param conditions  (white X, Y, Z), L_A, Y_b or None, (F, c, N_c), discounting
ViewingConditions conditionsOf(const pybind11::tuple& conditions);

/// @param name  "likeness", "ciecam02" or "ciecam16"
AppearanceModelKind modelKindOf(const std::string& name);

/// @param model  kind, conditions, picture white, white, black, background or None
ComparisonModel comparisonModelOf(const pybind11::tuple& model);

}  // namespace likeness::python
