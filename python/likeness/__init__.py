"""Compares photographs by how they look, and the operations on photographs around that.

Photographs are arrays (H, W, 3) in the order R, G, B, uint8, uint16, float32 or float64, or the paths of files. Results are
R, G, B too, float32 on 0..1 unless said. Nothing is printed or written, and arguments are not modified. Long calls take
`progress`, and Ctrl-C ends them.

>>> import likeness, numpy as np
>>> photograph = np.full((8, 8, 3), 200, np.uint8)
>>> likeness.compare(photograph, photograph).brightness
1.0
"""

from __future__ import annotations

from . import (
    adaptation,
    agreements,
    archives,
    batches,
    color,
    comparison,
    distances,
    explanation,
    exposure,
    files,
    filters,
    models,
    opinion,
    sweeps,
    transfer,
)
from ._core import Cancelled
from ._core import version as __version__
from ._threads import set_threads, threads
from ._arrays import PhotographWarning
from .adaptation import (
    WhiteEstimate,
    adapt_to,
    adapt_to_d65,
    gray_world_white,
    local_white,
    tint,
    undo_adaptation,
    undo_d65_adaptation,
)
from .agreements import (
    Agreement,
    CubicMapping,
    Estimate,
    MappedAgreement,
    PairedTest,
    agreement,
    compare_agreement,
    mapped_agreement,
    monotone_cubic,
    opinion_interval,
    pitman_test,
)
from .archives import AlikePair, Archive, ArchiveCluster, ArchivedPhotograph, IndexSummary, Neighbor, index
from .batches import BatchSummary, batch, merge_results
from .color import (
    ColorTemperature,
    White,
    cie_lab_from_xyz,
    ciede2000,
    correlated_color_temperature,
    daylight_chromaticity,
    illuminants,
    lab255_from_lab,
    lab_from_lab255,
    lab_from_rgb,
    lab_white_from_rgb,
    lalphabeta_from_rgb,
    linear_from_rgb,
    log_lms_from_rgb,
    opponent_from_rgb,
    planckian_chromaticity,
    rgb_from_lab,
    rgb_from_lalphabeta,
    rgb_from_linear,
    rgb_from_log_lms,
    rgb_from_sharpened,
    rgb_from_xyz,
    rgb_from_yuv,
    sharpened_from_rgb,
    sharpened_from_xyz,
    srgb_from_xyz,
    to_unit,
    xyz_from_cie_lab,
    xyz_from_rgb,
    xyz_from_sharpened,
    xyz_from_srgb,
    yuv_from_rgb,
)
from .comparison import (
    Analysis,
    AppearanceMaps,
    Coefficients,
    Histogram,
    PairResult,
    analyze,
    appearance_maps,
    compare,
    compare_pairs,
    hue_coefficient,
)
from .distances import BinDistances, Distances, UniformDistances, compare_distances
from .explanation import (
    BinCost,
    DistributionChange,
    ExplainedWhite,
    Explanation,
    Interval,
    Intervals,
    MapPlace,
    PixelDifferences,
    TileComparison,
    compare_tiles,
    explain,
    pixel_differences,
    worst_places,
)
from .exposure import (
    Bracket,
    ExposureStack,
    ClippedValues,
    FusionWeights,
    LightnessMatch,
    ToneMapping,
    brighten,
    brighten_in_passes,
    exposure_stack,
    fuse_exposures,
    lightness_statistics,
    match_lightness,
    merge_bracket,
    merge_radiance,
    recover_camera_response,
    tone_map,
)
from .files import Photograph, read, read_photograph, write
from .filters import Alignment, Structure, align_to, oriented_structure, smooth
from .models import (
    AppearanceModel,
    ComparisonModel,
    ConditionFactors,
    Correlates,
    Surround,
    ViewingConditions,
    condition_presets,
    correlates_of_uniform,
    hue_composition,
    hue_degrees,
    hue_quadrature,
    surrounds,
    uniform_colors,
    uniform_difference,
)
from .opinion import FittedRow, FitWarning, PredictedScore, ScoreModel, fit, predict
from .sweeps import SweepPoint, sweep
from .transfer import ColorMap, ColorTransfer, Transfer, transfer_colors

__all__ = [name for name in dir() if not name.startswith("_") and name != "annotations"]
