/// @file
/// On how many threads the operations work. Their results are the same bits for any number.
#pragma once

#include <likeness/export.hpp>

namespace likeness {

/// How many threads an operation that is called now uses at most: what `setThreads` was told; else the environment
/// variable LIKENESS_THREADS, which is ignored where it is no number from 1; else what OpenCV (`cv::setNumThreads`) and
/// OpenMP (`omp_set_num_threads`, OMP_NUM_THREADS) both allow, which by default is the number of processors.
LIKENESS_API int threads();

/// From now on operations use at most `count` threads, from 1; 0 returns to the default. Holds for the whole process.
/// @throws std::invalid_argument  if `count` is below 0
LIKENESS_API void setThreads(int count);

}  // namespace likeness
