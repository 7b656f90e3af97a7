/// @file
/// Everything that the library offers, in namespace `likeness`.
///
/// Images are `cv::Mat`. Each header below states its shapes, channel orders, units and ranges once, at its top.
#pragma once

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/degree_of_adaptation.hpp>
#include <likeness/adaptation/global_adaptation.hpp>
#include <likeness/adaptation/local_adaptation.hpp>
#include <likeness/adaptation/photograph_adaptation.hpp>
#include <likeness/adaptation/tint.hpp>
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/appearance/appearance_correlates.hpp>
#include <likeness/appearance/cone_responses.hpp>
#include <likeness/appearance/inverse_model.hpp>
#include <likeness/appearance/viewing_conditions.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/chromaticity.hpp>
#include <likeness/color/clip.hpp>
#include <likeness/color/clipped_values.hpp>
#include <likeness/color/correlated_color_temperature.hpp>
#include <likeness/color/lab.hpp>
#include <likeness/color/lab_range.hpp>
#include <likeness/color/lms_lalphabeta.hpp>
#include <likeness/color/opponent.hpp>
#include <likeness/color/pixel_matrix.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/color/srgb_companding.hpp>
#include <likeness/color/unit_image.hpp>
#include <likeness/color/white.hpp>
#include <likeness/color/white_point.hpp>
#include <likeness/color/yuv.hpp>
#include <likeness/comparison/analysis.hpp>
#include <likeness/comparison/histogram_similarity.hpp>
#include <likeness/comparison/metrics.hpp>
#include <likeness/comparison/per_correlate.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/name_text.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>
#include <likeness/exposure/bracket.hpp>
#include <likeness/exposure/brightening.hpp>
#include <likeness/exposure/brightness_alignment.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include <likeness/exposure/durand_tone_mapping.hpp>
#include <likeness/exposure/exposure_sequence.hpp>
#include <likeness/exposure/exposure_stack.hpp>
#include <likeness/exposure/response_recovery.hpp>
#include <likeness/filter/guidedfilter.hpp>
#include <likeness/filter/smoothing.hpp>
#include <likeness/structure/optical_flow_alignment.hpp>
#include <likeness/structure/structure_tensor.hpp>
#include <likeness/transport/closed_form_map.hpp>
#include <likeness/transport/color_transfer.hpp>
#include <likeness/transport/image_statistics.hpp>
#include <likeness/transport/optimal_transport.hpp>
#include <likeness/version.hpp>

/// Everything that the library offers.
namespace likeness {}
