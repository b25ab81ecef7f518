#pragma once

#include <plexo/export.h>

namespace qv7::lapack {

/// Eigenvalues (job 'N') or eigen-pairs (job 'V') of the symmetric matrix of order n whose upper (triangle
/// 'U') or lower ('L') triangle is packed column by column: LAPACK's routine of this name, except that upper
/// triangles of order 3 are solved here, faster and more accurately than by a general algorithm, with LAPACK
/// behind it.
///
/// \param packed n(n+1)/2 entries, overwritten
/// \param values n eigenvalues, ascending
/// \param vectors n columns of unit eigenvectors with leading dimension ld; may be null for job 'N'
/// \param work 3n doubles
/// \param info 0 success; -4 an entry is NaN or infinite, which LAPACK itself may take for a success; other
/// values as LAPACK gives them
/// \return info
PLEXO_API int dspev(char job, char triangle, int n, double* packed, double* values, double* vectors, int ld,
                    double* work, int& info) noexcept;

} // namespace qv7::lapack
