#pragma once

/// \file
/// Rating the edges of a mesh against a size field, and the shapes of its elements.

#include <plexo/containers.h>
#include <plexo/histogram.h>

namespace qv7::plexo {

/// Rates one edge of length L between nodes of sizes h1 and h2: q = L / m, 1 for an edge as long as the field
/// asks for. m = (h1 - h2) / ln(h1 / h2) is the logarithmic mean, which makes q the exact length in the field
/// where the size varies geometrically along the edge. q is the largest finite double when m is not positive
/// (or a size is NaN).
/// \return 0; -2 h1 <= 0; -3 h2 <= 0 (q is then left alone)
PLEXO_API int edge_quality(double L, double h1, double h2, double& q);

/// Rates every edge of a range of connectivities against a size field and counts each rating into `histo`,
/// which is not cleared before.
///
/// The edges are those that copy_edges lists, once each whatever their direction, without those that are a
/// column of `excluded` (2 rows) in either direction; ELEM_HEXA20 has none. An edge with a size at an end
/// that is not positive, or that `sizes` does not reach, is not rated. Expected O(entries).
///
/// \param pos coordinates, 2 or 3 rows
/// \param first, last the connectivities, which follow one another in memory
/// \param types an element_type code for each of them
/// \param sizes one size per node
/// \return 0 (also for an empty range, before any check); -1 `pos` has neither 2 nor 3 rows; -4 `types` has
///         not one entry per connectivity; -2 a connectivity fails check_IDs for its type; -7 `excluded`
///         fails check_IDs as ELEM_EDGE2 (checked in this order); -5 `sizes` has not one entry per node or
///         some edge had a size that is not positive, all other edges being rated nevertheless; -199 out of
///         memory
PLEXO_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                             const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                             const dense1D<double, 16>& sizes, misc::histogram& histo,
                             const dense2D<unsigned int>& excluded);

/// The same against a metric field, one packed metric per column (3 entries for 2-D coordinates, 6 for 3-D):
/// along an edge with vector e the metric M at an end has the size 1 / √(eᵀMe), in units of the edge's own
/// length. An edge with a metric at an end that is_valid_metric rejects, or that `metrics` does not reach, is
/// not rated; one that is not positive along a valid metric (an edge of length 0) rates the largest finite
/// double. Metrics I/h² give the ratings of the sizes h.
/// \return as above, -5 standing for a field that has not one metric per node, or an invalid metric at an
///         edge
PLEXO_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                             const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                             const dense2D<double>& metrics, misc::histogram& histo,
                             const dense2D<unsigned int>& excluded);

/// The same for one connectivity. \return as above
PLEXO_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                             element_type type, const dense1D<double, 16>& sizes, misc::histogram& histo,
                             const dense2D<unsigned int>& excluded);
PLEXO_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                             element_type type, const dense2D<double>& metrics, misc::histogram& histo,
                             const dense2D<unsigned int>& excluded);

/// Rates the shape of every element: 1 for the ideal shape (equilateral triangle, square, regular
/// tetrahedron, pyramid of eight equal edges, prism with an equilateral base and square sides, cube), less
/// for distorted elements, 0 for flat ones, negative down to -1 for inverted ones. Ratings do not depend on
/// position, orientation in space or size. Only linear elements are rated:
///
/// - ELEM_EDGE2: 1.
/// - ELEM_TRIA3: 2√3 · A / (Lmax · ΣL), A twice the area, signed in 2-D (clockwise is negative).
/// - ELEM_QUAD4: 4√2 · c / (Lmax · ΣL), c the smallest corner value, ΣL the sum of the sides and Lmax the
///   longest side or diagonal. A corner value is the cross product of the incoming and the outgoing side; in
///   3-D its norm, with the sign that it has against the mean normal (P2 - P0) × (P3 - P1). Re-entrant
///   corners give at most 0; in 3-D a quadrangle whose mean normal vanishes rates 0.
/// - ELEM_FACE_MIX: each column as the triangle or quadrangle that it is.
/// - ELEM_TETRA4: 2√6 · det / (Lmax · F), det six times the volume, positive when P0, P1, P2 turn
///   counter-clockwise seen from the side away from P3, F twice the surface.
/// - ELEM_PYRAMID5: 12√3 · J / (Σ lateral L² + ½ Σ base L²)^1.5, J the smallest corner product over the four
///   base corners. A corner product is the determinant of the three edges that leave a corner.
/// - ELEM_WEDGE6: 18√3 · J / (ΣL²)^1.5, J the smallest corner product over the six corners, ΣL² over the nine
///   edges.
/// - ELEM_HEXA8: 24√3 · J / (ΣL²)^1.5 over eight corners and twelve edges.
/// - ELEM_SOLID_MIX: every column as the solid that has as many nodes as the matrix has rows (4, 5, 6, 8);
///   padding with NO_ID is not accepted.
///
/// A pyramid, wedge or hexahedron whose rating exceeds 1e-12 is also tested for validity, and where the least
/// of its validity tetrahedra rates below 1e-12 (as a tetrahedron above, at most 1), that rating replaces the
/// element's own: for a pyramid the corner tetrahedra (P_k, P_(k+2), P_(k+1), P4); for a wedge or hexahedron,
/// on every quadrangular face F0 … F3, counter-clockwise seen from outside, (F_(k-1), F_k, F_(k+1), G), with
/// G the mean of the corners: negative where the face folds over the centre; and for a wedge also
/// (P1, P0, P2, P3) and (P5, P3, P4, P0).
///
/// Finite coordinates never give NaN, whatever their magnitude; nodes that all coincide rate 0. An element
/// with a coordinate that is not finite rates NaN, except that a tetrahedron then rates 0.
///
/// `pos` has 2 or 3 rows, solids want 3. `qualities` is overwritten with one rating per column, and left
/// empty on failure; it may share storage with `pos`. O(elements).
/// \return 0 (for a matrix without entries, of a rated type, before any other check); -2 `pos` has the wrong
///         number of rows, or `connectM` fails check_IDs for its type; -3 `type` is not rated; -199 out of
///         memory
/// \see Knupp, "Algebraic mesh quality metrics", SIAM J. Sci. Comput. 23 (2001); Frey and George, "Mesh
///      Generation" (2008), chapter 18.
PLEXO_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                              element_type type, dense1D<double, 16>& qualities);

/// Rates the elements of the matrices [first, last), which follow one another in memory, matrix by matrix,
/// each of the type that `types` lists for it (as element_type codes). Matrices without entries are not
/// looked at.
/// \return as above, the first code of a matrix that fails; -3 also when `last` lies before `first`; -4
///         `types` has not one entry per matrix
PLEXO_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                              const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                              dense1D<double, 16>& qualities);

/// The same ratings counted into `histo`, which is not touched on failure.
PLEXO_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                              const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                              misc::histogram& histo);

/// The same for one matrix. A matrix without entries gives 0 whatever its type.
PLEXO_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                              element_type type, misc::histogram& histo);

} // namespace qv7::plexo
