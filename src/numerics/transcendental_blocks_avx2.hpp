// The block functions for x86-64 processors with AVX2 and FMA; called only after the processor was asked.
#pragma once

#include <cstddef>

namespace likeness::numerics::avx2 {

void powBlock(const double* base, double exponent, double* out, std::size_t count);
void exp10Block(const double* exponent, double* out, std::size_t count);
void log10Block(const double* value, double* out, std::size_t count);
void atan2Block(const double* y, const double* x, double* out, std::size_t count);
void cosBlock(const double* angle, double* out, std::size_t count);
void sinBlock(const double* angle, double* out, std::size_t count);
void tanBlock(const double* angle, double* out, std::size_t count);

}  // namespace likeness::numerics::avx2
