#pragma once

/// \file
/// Size fields: single metrics, fields of sizes and metrics, and how fast a field varies along edges.
///
/// A metric is a symmetric positive definite matrix M whose eigenvalue λ along a unit direction prescribes
/// the size h = 1/√λ there; an isotropic size h is the metric I/h². M is packed as symmetric_fixed: (m00,
/// m01, m11) or (m00, m01, m11, m02, m12, m22). A size field holds one size per node; a metric field one
/// packed metric per column, 3 rows in 2-D and 6 in 3-D. A plane frame is a 3×2 matrix whose columns span the
/// plane; a field of frames has 6 rows, a frame stored column by column in each column. A size is valid when
/// it is positive and finite, a metric when it is finite and positive definite.
///
/// Frey & George, Mesh Generation, 2nd ed. (Wiley, 2008), chapter 10, is a source for the algebra; Alauzet,
/// "Size gradation control of anisotropic meshes", Finite Elements in Analysis and Design 46 (2010), for
/// gradation.

#include <plexo/containers.h>

namespace qv7::plexo {

// Single metrics. All are O(1) and allocate nothing; decisions are relative, so that results scale with
// powers of two.

/// True when M is positive definite: its smallest eigenvalue is above 0. False for a NaN or infinite entry.
PLEXO_API bool is_valid_metric(const symmetric_fixed<double, 2>& M);
PLEXO_API bool is_valid_metric(const symmetric_fixed<double, 3>& M);

/// Clamps the sizes of M to [hmin, hmax]: its eigenvalues to [1/hmax², 1/hmin²], hmax prevailing when
/// hmin > hmax. A bound that is not positive is absent; without hmax, negative eigenvalues rise to 0. A
/// metric inside the bounds keeps every bit. One that cannot be decomposed (NaN, infinity) becomes I/hmin²,
/// or the largest double times I without hmin.
PLEXO_API void bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax);
PLEXO_API void bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax);

/// Eigenvalues of M in ascending order, and unit eigenvectors as the columns of a matrix in the same order.
/// In 2-D a multiple of the identity gives the axes, and the second vector is the first one turned by +90°.
/// False for a NaN or infinite entry, without a vector written.
PLEXO_API bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& eigenvalues,
                           matrix_fixed<double, 2, 2>& eigenvectors);
PLEXO_API bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& eigenvalues,
                           matrix_fixed<double, 3, 3>& eigenvectors);

/// Solves M2·v = λ·M1·v: eigenvalues in ascending order and eigenvectors of unit Euclidean length as columns;
/// they are orthogonal in M1 and in M2, not in the usual sense. Reduction by the Cholesky factor of M1 (Golub
/// & Van Loan, Matrix Computations, 8.7). False when M1 is not positive definite, where an infinite diagonal
/// entry counts as positive, or M2 is not finite; in 3-D also when M2 is neither zero nor positive definite
/// (its last pivot may be 0).
PLEXO_API bool eigen_pairs(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                           vector_fixed<double, 2>& eigenvalues, matrix_fixed<double, 2, 2>& eigenvectors);
PLEXO_API bool eigen_pairs(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                           vector_fixed<double, 3>& eigenvalues, matrix_fixed<double, 3, 3>& eigenvectors);

/// M = I/h²; the zero matrix when h is not positive or NaN.
PLEXO_API void metric_iso_to_aniso(double h, symmetric_fixed<double, 2>& M);
PLEXO_API void metric_iso_to_aniso(double h, symmetric_fixed<double, 3>& M);

/// M = FᵀF/h², the isotropic size h seen in the plane frame F; zero when h is not positive, NaN or infinite.
PLEXO_API void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& F,
                                     symmetric_fixed<double, 2>& M);

/// M = FᵀM3F, the restriction of M3 to the plane of F in the frame's coordinates.
PLEXO_API void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3,
                                         const matrix_fixed<double, 3, 2>& F, symmetric_fixed<double, 2>& M);

/// The intersection of two valid metrics by simultaneous reduction: along each of their common conjugate
/// directions the smaller of the two sizes, so that M allows no larger size than M1 or M2 in any direction. M
/// may be M1 or M2. Metrics that cannot be reduced together (M1 invalid; in 3-D also M2) give M1.
PLEXO_API void minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                              symmetric_fixed<double, 2>& M);
PLEXO_API void minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                              symmetric_fixed<double, 3>& M);

/// The union of two valid metrics: as minimum_metric, with the larger of the two sizes.
PLEXO_API void maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                              symmetric_fixed<double, 2>& M);
PLEXO_API void maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                              symmetric_fixed<double, 3>& M);

// Fields. All are O(nodes), sequential in increasing index (or list) order. In-place operations write through
// to containers that share the storage of the field; but a field that shares storage with the other argument
// gets its own first (-199 when it cannot). Conversions empty their output and give it storage of its own.

/// True when every size is positive and finite; an empty field is valid.
PLEXO_API bool are_valid_metrics(const dense1D<double, 16>& sizes);
/// True when the size of every listed node is valid; false for an ID without a size. An empty list is valid.
PLEXO_API bool are_valid_metrics(const dense1D<unsigned int, 16>& nodes, const dense1D<double, 16>& sizes);

/// True when every column is a valid metric; false unless there are 3 or 6 rows.
PLEXO_API bool are_valid_metrics(const dense2D<double>& metrics);
/// True when the metric of every listed node is valid; false for an ID without a metric, and unless there are
/// 3 or 6 rows. An empty list with an empty matrix is valid whatever the rows.
PLEXO_API bool are_valid_metrics(const dense1D<unsigned int, 16>& nodes, const dense2D<double>& metrics);

/// Raises every size below hmin to hmin, then lowers every size above hmax to hmax; here bounds that are not
/// positive bind like any other. NaN stays. \return 0
PLEXO_API int bound_metrics(dense1D<double, 16>& sizes, double hmin, double hmax);

/// Applies bound_metric to every column. Nothing happens to an empty field, nor when both bounds are
/// negative. \return 0; -1 neither 3 nor 6 rows
PLEXO_API int bound_metrics(dense2D<double>& metrics, double hmin, double hmax);

/// Replaces sizes[i] <= 0 by defaults[i] > 0, as far as both fields reach. NaN and infinite sizes stay.
/// \return 0; -199 out of memory
PLEXO_API int overwrite_invalid_metrics(dense1D<double, 16>& sizes, const dense1D<double, 16>& defaults);

/// Replaces every invalid metric by the isotropic metric of a positive default size, as far as both fields
/// reach. \return 0, also for an empty field; -1 neither 3 nor 6 rows; -199 out of memory
PLEXO_API int overwrite_invalid_metrics(dense2D<double>& metrics, const dense1D<double, 16>& defaults);

/// Replaces every invalid metric by its default where that is valid, as far as both fields reach.
/// \return 0, also for an empty field; -1 the field has neither 3 nor 6 rows; -2 the defaults have not, or
/// another number than the field; -199 out of memory
PLEXO_API int overwrite_invalid_metrics(dense2D<double>& metrics, const dense2D<double>& defaults);

/// metrics becomes the 3×n or 6×n field of metric_iso_to_aniso; unchanged when memory cannot be had.
PLEXO_API void metrics_iso_to_aniso2d(const dense1D<double, 16>& sizes, dense2D<double>& metrics);
PLEXO_API void metrics_iso_to_aniso3d(const dense1D<double, 16>& sizes, dense2D<double>& metrics);

/// metrics becomes the 3×n field of metric_iso_to_aniso2d in the node's own frame.
/// \return 0, also for an empty field; -2 the frames are not 6×n; -199 out of memory; the output is untouched
/// then
PLEXO_API int metrics_iso_to_aniso2d(const dense1D<double, 16>& sizes, const dense2D<double>& frames,
                                     dense2D<double>& metrics);

/// metrics2d becomes the 3×n field of metric_aniso3d_to_aniso2d in the node's own frame. Metrics are not
/// validated. \return 0, also for an empty field; -1 the metrics have not 6 rows; -2 the frames are not 6×n;
/// -199 out of memory; the output is untouched then
PLEXO_API int metrics_aniso3d_to_aniso2d(const dense2D<double>& metrics3d, const dense2D<double>& frames,
                                         dense2D<double>& metrics2d);

// Variation of a field along edges (2 rows, ELEM_EDGE2) over the coordinates pos (2 or 3 rows).

/// The size shock at every node: the largest growth rate of the size along an edge at the node, per unit of
/// length measured in the field. An edge of length L in the field (L = d / logarithmic mean of the end sizes)
/// between sizes h and H ≥ h has the shock (H/h)^(1/L) - 1, which is exp((H - h) / d) - 1; an edge of length
/// zero, or with an end size that is missing or not positive along it, has none. Nodes without edges have 0.
/// O(nodes + edges). \return 0, at once for no edges; -1 pos has neither 2 nor 3 rows; -2 the edges fail
/// check_IDs; -199 out of memory. shocks is overwritten on success only.
PLEXO_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                      const dense1D<double, 16>& sizes, dense1D<double, 16>& shocks);

/// The same for a metric field, with the sizes that the metrics at the two ends prescribe along the edge.
PLEXO_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                      const dense2D<double>& metrics, dense1D<double, 16>& shocks);

/// Lowers sizes until H_shock over the edges is at most max_shock at every node: along an edge of length d
/// the larger end size may exceed the smaller by d·ln(1 + max_shock). The result is the largest such field
/// that is nowhere above the given one, whatever the order of the edges. Invalid sizes, and the edges at
/// them, are passed over; an edge of length zero bounds nothing. A shortest-path sweep (Dijkstra) from small
/// sizes to large, O(E log V). \return the number of nodes changed, 0 at once for no edges; -1 pos has
/// neither 2 nor 3 rows; -2 the edges fail check_IDs; -3 not one size per node; -4 max_shock is negative or
/// NaN; -199 out of memory. sizes is changed on success only.
PLEXO_API int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                                     dense1D<double, 16>& sizes, double max_shock);

/// Shrinks metrics until H_shock over the edges is at most max_shock at every node: the metric at the end
/// with the larger size along an edge is intersected with the other end's, scaled so that its size along the
/// edge grows by what the bound allows, until nothing changes. Sizes never grow in any direction. Invalid
/// metrics, and the edges at them, are passed over. A sweep from small sizes to large, expected O(E log V) as
/// hardly any node comes up more than a few times; a connected region that still exceeds the bound after 64
/// rounds, which only bounds below the rounding of the metrics reach, and for max_shock = 0 at once, gets the
/// intersection of all its metrics. Results as above; -3 not one metric of 3 rows (2-D) or 6 (3-D) per node.
PLEXO_API int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                                     dense2D<double>& metrics, double max_shock);

} // namespace qv7::plexo
