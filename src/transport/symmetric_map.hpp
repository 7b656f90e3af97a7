// Arithmetic of small symmetric matrices for the optimal transport map, one matrix at a time, on the stack, in double.
//
// Double is more than the float interface needs: a singular covariance loses half of the digits in its square root, so
// in float a map of a nearly flat colour distribution would be right to three digits only.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace likeness {

template <int N>
struct SquareMatrix {
    double m[N][N];

    double* operator[](int row) noexcept { return m[row]; }
    const double* operator[](int row) const noexcept { return m[row]; }

    bool isFinite() const noexcept {
        double probe = 0;
        for (const auto& row : m) {
            for (const double value : row) {
                probe += value * 0;
            }
        }
        return probe == 0;
    }

    void fill(double value) noexcept {
        for (auto& row : m) {
            std::fill(row, row + N, value);
        }
    }
};

/// A B.
template <int N>
inline SquareMatrix<N> times(const SquareMatrix<N>& a, const SquareMatrix<N>& b) noexcept {
    SquareMatrix<N> product;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < N; ++j) {
            double sum = a[i][0] * b[0][j];
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
template <int N>
inline void diagonalize(SquareMatrix<N>& a, SquareMatrix<N>& vectors) noexcept {
    constexpr double negligibleSquared = 0x1p-104;  // off-diagonal elements below the last bit of their diagonal ones
    constexpr int sweepLimit = 20;                  // four to six is usual; convergence is quadratic
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < N; ++j) {
            vectors[i][j] = i == j ? 1 : 0;
        }
    }
    bool rotated = true;
    for (int sweep = 0; rotated && sweep < sweepLimit; ++sweep) {
        rotated = false;
        for (int q = 1; q < N; ++q) {
            for (int p = 0; p < q; ++p) {
                const double off = a[q][p];
                if (off * off <= negligibleSquared * std::abs(a[p][p] * a[q][q])) {
                    continue;
                }
                rotated = true;
                // The smaller of the two angles: tan(2 angle) = 2 off / (a_qq - a_pp).
                const double difference = a[q][q] - a[p][p];
                const double hypotenuse = std::sqrt(difference * difference + 4 * (off * off));
                const double tangent = 2 * off / (difference + std::copysign(hypotenuse, difference));
                const double cosine = 1 / std::sqrt(1 + tangent * tangent);
                const double sine = tangent * cosine;
                a[p][p] -= tangent * off;
                a[q][q] += tangent * off;
                a[q][p] = 0;
                for (int k = 0; k < N; ++k) {
                    if (k != p && k != q) {
                        double& kp = a[std::max(k, p)][std::min(k, p)];
                        double& kq = a[std::max(k, q)][std::min(k, q)];
                        const double before = kp;
                        kp = cosine * before - sine * kq;
                        kq = sine * before + cosine * kq;
                    }
                    const double before = vectors[k][p];
                    vectors[k][p] = cosine * before - sine * vectors[k][q];
                    vectors[k][q] = sine * before + cosine * vectors[k][q];
                }
            }
        }
    }
}

/// Square root of an eigenvalue; a negative one, the rounding of a singular covariance, counts as 0.
inline double rootOfEigenvalue(double eigenvalue) noexcept {
    return eigenvalue < 0 ? 0 : std::sqrt(eigenvalue);
}

/// sum over k of weight[k] v_k v_k', v_k being column k of `vectors`: a matrix put together from its eigenvectors.
template <int N>
inline SquareMatrix<N> weightedOuterProducts(const SquareMatrix<N>& vectors, const double (&weight)[N]) noexcept {
    SquareMatrix<N> sum;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j <= i; ++j) {
            double element = 0;
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
template <int N>
struct CovarianceFactor {
    SquareMatrix<N> factor;
    SquareMatrix<N> inverse;
};

/// The lower triangular factor (Cholesky).
/// @return  false, and `result` is of no use, where the matrix is indefinite or close to singular
template <int N>
inline bool factorTriangular(const SquareMatrix<N>& s, CovarianceFactor<N>& result) noexcept {
    // In units of the variance. Above it the rounding of doubles, times the inverse, stays far below a float's step.
    constexpr double leastPivot = 1e-6;
    SquareMatrix<N>& l = result.factor;
    SquareMatrix<N>& inverse = result.inverse;
    l.fill(0);
    inverse.fill(0);
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < i; ++j) {
            double sum = s[i][j];
            for (int k = 0; k < j; ++k) {
                sum -= l[i][k] * l[j][k];
            }
            l[i][j] = sum * inverse[j][j];
        }
        double pivot = s[i][i];
        for (int k = 0; k < i; ++k) {
            pivot -= l[i][k] * l[i][k];
        }
        if (!(pivot > leastPivot * s[i][i])) {
            return false;
        }
        l[i][i] = std::sqrt(pivot);
        inverse[i][i] = 1 / l[i][i];
        for (int j = 0; j < i; ++j) {
            double sum = 0;
            for (int k = j; k < i; ++k) {
                sum += l[i][k] * inverse[k][j];
            }
            inverse[i][j] = -sum * inverse[i][i];
        }
    }
    return true;
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

/// The symmetric T with T S T = `target`, S being `source` with its variances raised to at least `leastSourceVariance`:
/// S^(-1/2) (S^(1/2) target S^(1/2))^(1/2) S^(-1/2). NaN throughout where an element is not finite.
template <int N>
inline SquareMatrix<N> transportMap(SquareMatrix<N> source, const SquareMatrix<N>& target) noexcept {
    if (!source.isFinite() || !target.isFinite()) {
        SquareMatrix<N> undefined;
        undefined.fill(std::numeric_limits<double>::quiet_NaN());
        return undefined;
    }
    for (int i = 0; i < N; ++i) {
        source[i][i] = std::max(source[i][i], leastSourceVariance);
    }
    // Any B with S = B B' gives the same T = B'^-1 (B' target B)^(1/2) B^-1, since B = S^(1/2) Q with Q orthogonal, and
    // Q cancels. The triangular one costs no eigenvectors.
    CovarianceFactor<N> b;
    if (!factorTriangular(source, b)) {
        factorSymmetric(source, b);
    }
    const SquareMatrix<N> targetTimesFactor = times(target, b.factor);
    SquareMatrix<N> middle;
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j <= i; ++j) {
            double sum = 0;
            for (int k = 0; k < N; ++k) {
                sum += b.factor[k][i] * targetTimesFactor[k][j];
            }
            middle[i][j] = sum;
        }
    }
    SquareMatrix<N> vectors;
    diagonalize(middle, vectors);
    double root[N];
    SquareMatrix<N> carried;  // B'^-1 times the eigenvectors
    for (int k = 0; k < N; ++k) {
        root[k] = rootOfEigenvalue(middle[k][k]);
        for (int i = 0; i < N; ++i) {
            double sum = 0;
            for (int j = 0; j < N; ++j) {
                sum += b.inverse[j][i] * vectors[j][k];
            }
            carried[i][k] = sum;
        }
    }
    return weightedOuterProducts(carried, root);
}

}  // namespace likeness
