// Everything that the library offers, in namespace `likeness`.
//
// Images are `cv::Mat`. Each header below states its shapes, channel orders, units and ranges once, at its top.
#pragma once

#include "adaptation/d65_adaptation.hpp"
#include "adaptation/degree_of_adaptation.hpp"
#include "app/histogram_similarity.hpp"
#include "app/metrics.hpp"
#include "app/perceptual_metrics.hpp"
#include "app/photograph_comparison.hpp"
#include "appearance/appearance_correlates.hpp"
#include "appearance/cone_responses.hpp"
#include "appearance/viewing_conditions.hpp"
#include "color/bgr_xyz.hpp"
#include "color/chromaticity.hpp"
#include "color/clip.hpp"
#include "color/lab.hpp"
#include "color/lab_range.hpp"
#include "color/lms_lalphabeta.hpp"
#include "color/name_text.hpp"
#include "color/opponent.hpp"
#include "color/pixel_matrix.hpp"
#include "color/sharpened_rgb.hpp"
#include "color/srgb_companding.hpp"
#include "color/white_point.hpp"
#include "color/yuv.hpp"
#include "diagnostics/diagnostics.hpp"
#include "filter/guidedfilter.hpp"
