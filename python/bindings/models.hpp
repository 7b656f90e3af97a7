// Viewing conditions and models as the Python classes hand them over.
#pragma once

#include <likeness/comparison/comparison_model.hpp>
#include "photofile/managed_colors.hpp"
#include "photofile/part_choice.hpp"

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

namespace likeness::python {

/// @param conditions  (white X, Y, Z), L_A, Y_b or None, (F, c, N_c), discounting
ViewingConditions conditionsOf(const pybind11::tuple& conditions);

/// @param name  "likeness", "ciecam02" or "ciecam16"
AppearanceModelKind modelKindOf(const std::string& name);

/// @param model  kind, conditions, picture white, white, black, background or None
ComparisonModel comparisonModelOf(const pybind11::tuple& model);

/// The inverse.
pybind11::tuple tupleOf(const ComparisonModel& model);

/// @param weights  "pixels", "chroma" or none
std::optional<HueWeights> hueWeightsOf(const std::optional<std::string>& weights);

/// @param profile  "embedded", "ignore", or a name or file for photographs without one
ProfileChoice profileChoiceOf(const std::string& profile);

/// @throws std::invalid_argument  naming the argument `alpha`
AlphaChoice alphaChoiceOf(const std::string& text);

/// @throws std::invalid_argument  naming the argument `regions`
RegionChoice regionChoiceOf(const std::string& text);

/// What counts of a photograph in a file.
/// @param part  None, or (mask file or "", alpha, [regions], centre weighted)
PartChoice partChoiceOf(const pybind11::object& part);

}  // namespace likeness::python
