// The transcendental block functions of one instruction set; `transcendental_blocks.hpp` says what each does.
#pragma once

#include <stddef.h>

namespace likeness::numerics {

struct BlockFunctions {
    const char* name;
    void (*pow)(const double* base, double exponent, double* out, size_t count);
    void (*exp10)(const double* exponent, double* out, size_t count);
    void (*log10)(const double* value, double* out, size_t count);
    void (*atan2)(const double* y, const double* x, double* out, size_t count);
    void (*cos)(const double* angle, double* out, size_t count);
    void (*sin)(const double* angle, double* out, size_t count);
    void (*tan)(const double* angle, double* out, size_t count);
    /// @return  whether a relative error of `bound` could not have changed the rounding of one to float
    bool (*roundAll)(const double* approximate, float* rounded, size_t count, double bound);
};

/// For x86-64 processors that have these instructions; to be called only after the processor was asked.
extern const BlockFunctions avx2Functions;    // and FMA
extern const BlockFunctions avx512Functions;  // the foundation (F) alone

}  // namespace likeness::numerics
