#pragma once

namespace qv7::lapack {

/// Eigen-pairs of a finite symmetric 3×3 matrix, its upper triangle packed by columns: eigenvalues in
/// ascending order, unit eigenvectors as columns with leading dimension ld. Residuals |Mv - λv| / |M| and
/// departures from orthonormality stay below 4 ulp. False when the result would be less accurate than that;
/// nothing is written then.
///
/// Nearly diagonal matrices, and those with an axis of their own, go through Jacobi rotations, which keep the
/// digits of small eigenvalues beside large ones (Demmel & Veselić, SIAM J. Matrix Anal. Appl. 13 (1992)).
/// The rest is solved without iteration: the eigenvalue farthest from the others as a root of the
/// characteristic polynomial (Smith, Comm. ACM 4 (1961)), its vector from the adjugate and improved by one
/// step in the basis that it is completed to, and a rotation for what remains in the plane of the other two.
bool eigen_pairs_of_order_3(const double* packed, double* values, double* vectors, int ld) noexcept;

} // namespace qv7::lapack
