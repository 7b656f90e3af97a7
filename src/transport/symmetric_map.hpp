// Arithmetic of small symmetric matrices for the optimal transport map, on the stack, in double: one matrix, or one in
// each lane of a vector (`Real`), with the same operations in the same order, so that a lane has the bits of a single
// matrix.
//
// Double is more than the float interface needs: a singular covariance loses half of the digits in its square root, so
// in float a map of a nearly flat colour distribution would be right to three digits only.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {

// What the templates below ask of a `Real`, for one number. A choice is a bool here, and a mask of the lanes in a vector.
inline double rootOf(double value) noexcept {
    return std::sqrt(value);
}
inline double magnitudeOf(double value) noexcept {
    return std::abs(value);
}
inline double withSignOf(double magnitude, double sign) noexcept {
    return std::copysign(magnitude, sign);
}
inline double chosen(bool choice, double yes, double no) noexcept {
    return choice ? yes : no;
}
inline bool noneOf(bool choice) noexcept {
    return !choice;
}

template <int N, typename Real = double>
struct SquareMatrix {
    Real m[N][N];

    Real* operator[](int row) noexcept { return m[row]; }
    const Real* operator[](int row) const noexcept { return m[row]; }

    bool isFinite() const noexcept {
        double probe = 0;
        for (const auto& row : m) {
            for (const double value : row) {
                probe += value * 0;
            }
        }
        return probe == 0;
    }

    void fill(Real value) noexcept {
        for (auto& row : m) {
            for (Real& element : row) {
                element = value;
            }
        }
    }
};

/// A B.
template <int N, typename Real>
inline SquareMatrix<N, Real> times(const SquareMatrix<N, Real>& a, const SquareMatrix<N, Real>& b) noexcept {
    SquareMatrix<N, Real> product;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < N; ++j) {
            Real sum = a[i][0] * b[0][j];
            for (int k = 1; k < N; ++k) {
                sum += a[i][k] * b[k][j];
            }
            product[i][j] = sum;
        }
    }
    return product;
}

/// Brings a symmetric matrix, of which the lower triangle is read, into diagonal form by cyclic Jacobi rotations (Golub
/// and Van Loan, "Matrix Computations", 8.5). The eigenvalues are left on the diagonal, in no order; column k of
/// `vectors` belongs to element k. Small eigenvalues of a graded matrix keep their relative accuracy.
/// @pre  all elements are finite
template <int N, typename Real>
inline void diagonalize(SquareMatrix<N, Real>& a, SquareMatrix<N, Real>& vectors) noexcept {
    const Real negligibleSquared =
        Real{} + 0x1p-104;          // off-diagonal elements below the last bit of their diagonal ones
    constexpr int sweepLimit = 20;  // four to six is usual; convergence is quadratic
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < N; ++j) {
            vectors[i][j] = Real{} + (i == j ? 1.0 : 0.0);
        }
    }
    bool rotated = true;
    for (int sweep = 0; rotated && sweep < sweepLimit; ++sweep) {
        rotated = false;
        for (int q = 1; q < N; ++q) {
            for (int p = 0; p < q; ++p) {
                const Real off = a[q][p];
                const auto counts = !(off * off <= negligibleSquared * magnitudeOf(a[p][p] * a[q][q]));
                if (noneOf(counts)) {
                    continue;
                }
                rotated = true;
                // The smaller of the two angles: tan(2 angle) = 2 off / (a_qq - a_pp).
                const Real difference = a[q][q] - a[p][p];
                const Real hypotenuse = rootOf(difference * difference + 4.0 * (off * off));
                const Real tangent = 2.0 * off / (difference + withSignOf(hypotenuse, difference));
                const Real cosine = 1.0 / rootOf(1.0 + tangent * tangent);
                const Real sine = tangent * cosine;
                // A lane that does not count keeps what it has.
                const auto rotate = [&](Real& first, Real& second) {
                    const Real before = first;
                    first = chosen(counts, cosine * before - sine * second, before);
                    second = chosen(counts, sine * before + cosine * second, second);
                };
                a[p][p] = chosen(counts, a[p][p] - tangent * off, a[p][p]);
                a[q][q] = chosen(counts, a[q][q] + tangent * off, a[q][q]);
                a[q][p] = chosen(counts, Real{}, off);
                for (int k = 0; k < N; ++k) {
                    if (k != p && k != q) {
                        rotate(k > p ? a[k][p] : a[p][k], k > q ? a[k][q] : a[q][k]);
                    }
                    rotate(vectors[k][p], vectors[k][q]);
                }
            }
        }
    }
}

/// Square root of an eigenvalue; a negative one, the rounding of a singular covariance, counts as 0.
template <typename Real>
inline Real rootOfEigenvalue(Real eigenvalue) noexcept {
    return chosen(eigenvalue < 0.0, Real{}, rootOf(eigenvalue));
}

/// sum over k of weight[k] v_k v_k', v_k being column k of `vectors`: a matrix put together from its eigenvectors.
template <int N, typename Real>
inline SquareMatrix<N, Real> weightedOuterProducts(const SquareMatrix<N, Real>& vectors,
                                                   const Real (&weight)[N]) noexcept {
    SquareMatrix<N, Real> sum;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j <= i; ++j) {
            Real element{};
            for (int k = 0; k < N; ++k) {
                element += weight[k] * (vectors[i][k] * vectors[j][k]);
            }
            sum[i][j] = sum[j][i] = element;
        }
    }
    return sum;
}

/// Principal square root of a symmetric matrix, negative eigenvalues taken as 0; NaN throughout where an element is not
/// finite.
template <int N>
inline SquareMatrix<N> symmetricRoot(SquareMatrix<N> matrix) noexcept {
    if (!matrix.isFinite()) {
        matrix.fill(std::numeric_limits<double>::quiet_NaN());
        return matrix;
    }
    SquareMatrix<N> vectors;
    diagonalize(matrix, vectors);
    double root[N];
    for (int k = 0; k < N; ++k) {
        root[k] = rootOfEigenvalue(matrix[k][k]);
    }
    return weightedOuterProducts(vectors, root);
}

/// A factor B of a covariance S = B B', and its inverse.
template <int N, typename Real = double>
struct CovarianceFactor {
    SquareMatrix<N, Real> factor;
    SquareMatrix<N, Real> inverse;
};

/// The lower triangular factor (Cholesky).
/// @return  false where the matrix is indefinite or close to singular; `result` is then of no use
template <int N, typename Real>
inline auto factorTriangular(const SquareMatrix<N, Real>& s, CovarianceFactor<N, Real>& result) noexcept {
    // In units of the variance. Above it the rounding of doubles, times the inverse, stays far below a float's step.
    constexpr double leastPivot = 1e-6;
    SquareMatrix<N, Real>& l = result.factor;
    SquareMatrix<N, Real>& inverse = result.inverse;
    l.fill(Real{});
    inverse.fill(Real{});
    auto regular = Real{} <= Real{};
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < i; ++j) {
            Real sum = s[i][j];
            for (int k = 0; k < j; ++k) {
                sum -= l[i][k] * l[j][k];
            }
            l[i][j] = sum * inverse[j][j];
        }
        Real pivot = s[i][i];
        for (int k = 0; k < i; ++k) {
            pivot -= l[i][k] * l[i][k];
        }
        regular = regular & (pivot > leastPivot * s[i][i]);
        if (noneOf(regular)) {
            break;
        }
        l[i][i] = rootOf(pivot);
        inverse[i][i] = 1.0 / l[i][i];
        for (int j = 0; j < i; ++j) {
            Real sum{};
            for (int k = j; k < i; ++k) {
                sum += l[i][k] * inverse[k][j];
            }
            inverse[i][j] = -sum * inverse[i][i];
        }
    }
    return regular;
}

/// The symmetric factor, S^(1/2), and its pseudo-inverse: a direction without variance has none in either.
template <int N>
inline void factorSymmetric(SquareMatrix<N> s, CovarianceFactor<N>& result) noexcept {
    SquareMatrix<N> vectors;
    diagonalize(s, vectors);
    double root[N];
    double inverse[N];
    double sum = 0;
    for (int k = 0; k < N; ++k) {
        root[k] = rootOfEigenvalue(s[k][k]);
        sum += root[k];
    }
    for (int k = 0; k < N; ++k) {
        inverse[k] = root[k] > 2 * std::numeric_limits<double>::epsilon() * sum ? 1 / root[k] : 0;
    }
    result.factor = weightedOuterProducts(vectors, root);
    result.inverse = weightedOuterProducts(vectors, inverse);
}

/// Variance below which a source channel is taken to vary this much, in squared units of the colour values.
inline constexpr double leastSourceVariance = 7.5;

/// Raises the variances of a source to at least `leastSourceVariance`.
template <int N, typename Real>
inline void raiseVariances(SquareMatrix<N, Real>& source) noexcept {
    for (int i = 0; i < N; ++i) {
        source[i][i] = chosen(source[i][i] < leastSourceVariance, Real{} + leastSourceVariance, source[i][i]);
    }
}

/// The symmetric T with T S T = `target` for S = B B': T = B'^-1 (B' target B)^(1/2) B^-1. Any B gives the same T, since
/// B = S^(1/2) Q with Q orthogonal, and Q cancels.
template <int N, typename Real>
inline SquareMatrix<N, Real> mapFromFactor(const CovarianceFactor<N, Real>& b,
                                           const SquareMatrix<N, Real>& target) noexcept {
    const SquareMatrix<N, Real> targetTimesFactor = times(target, b.factor);
    SquareMatrix<N, Real> middle;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j <= i; ++j) {
            Real sum{};
            for (int k = 0; k < N; ++k) {
                sum += b.factor[k][i] * targetTimesFactor[k][j];
            }
            middle[i][j] = sum;
        }
    }
    SquareMatrix<N, Real> vectors;
    diagonalize(middle, vectors);
    Real root[N];
    SquareMatrix<N, Real> carried;  // B'^-1 times the eigenvectors
    for (int k = 0; k < N; ++k) {
        root[k] = rootOfEigenvalue(middle[k][k]);
        for (int i = 0; i < N; ++i) {
            Real sum{};
            for (int j = 0; j < N; ++j) {
                sum += b.inverse[j][i] * vectors[j][k];
            }
            carried[i][k] = sum;
        }
    }
    return weightedOuterProducts(carried, root);
}

/// The symmetric T with T S T = `target`, S being `source` with its variances raised to at least `leastSourceVariance`:
/// S^(-1/2) (S^(1/2) target S^(1/2))^(1/2) S^(-1/2). NaN throughout where an element is not finite.
template <int N>
inline SquareMatrix<N> transportMap(SquareMatrix<N> source, const SquareMatrix<N>& target) noexcept {
    if (!source.isFinite() || !target.isFinite()) {
        SquareMatrix<N> undefined;
        undefined.fill(std::numeric_limits<double>::quiet_NaN());
        return undefined;
    }
    raiseVariances(source);
    // The triangular factor costs no eigenvectors.
    CovarianceFactor<N> b;
    if (!factorTriangular(source, b)) {
        factorSymmetric(source, b);
    }
    return mapFromFactor(b, target);
}

}  // namespace likeness
