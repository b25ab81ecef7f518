#pragma once

/// \file
/// Editing meshes: moving and scaling nodes, copying elements, merging nodes, dropping unused nodes and
/// degenerate elements, clipping by a plane.
///
/// Coordinates hold one node per column, connectivities one element per column. Every function gives the same
/// result on a view with ld() > rows() as on a contiguous matrix, and writes coordinates in place, so other
/// containers that share the storage see them move, unless the matrix has to grow.

#include <plexo/containers.h>
#include <plexo/geometry/merge.h>

namespace qv7::plexo {

// Transforms in D = 2 or 3 dimensions.
//
// All of them return 0 and touch nothing when `pos` has no entries, when the transform is the identity (every
// component of T or R exactly 0, an angle of exactly 0, a factor of exactly 1; NaN is none of these), and
// when a given list of nodes is empty. Otherwise a matrix of fewer than D rows first gains the missing ones,
// filled with 0; rows beyond D stay as they are. A node list may be in any order and is applied entry by
// entry, so a node listed twice moves twice; the element forms move every node of the elements once, as the
// list of unique_indices does.
// Every form returns -199, with `pos` unchanged, when memory runs out.

/// Moves every node by T. \return the number of nodes moved. O(nodes)
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T);
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T);

/// Moves the listed nodes by T; IDs that are no nodes are skipped. \return the number of entries applied.
/// O(entries)
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T,
                        const dense1D<unsigned int, 16>& nodes);
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T,
                        const dense1D<unsigned int, 16>& nodes);

/// Moves the nodes of the elements by T. \return the number of nodes moved. Expected O(entries)
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& T,
                        const dense2D<unsigned int>& connectivity);
PLEXO_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& T,
                        const dense2D<unsigned int>& connectivity);

/// Turns every node about `center`: in 2-D by `angle` radians, counter-clockwise; in 3-D right-handed about
/// the axis R by |R| radians (Rodrigues' formula, by its Taylor series up to |R| = 0.001).
/// \return the number of nodes moved. O(nodes)
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle);
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                     const vector_fixed<double, 3>& R);

/// Turns the listed nodes; IDs that are no nodes are skipped. \return the number of entries applied.
/// O(entries)
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                     const dense1D<unsigned int, 16>& nodes);
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                     const vector_fixed<double, 3>& R, const dense1D<unsigned int, 16>& nodes);

/// Turns the nodes of the elements. \return the number of nodes moved. Expected O(entries)
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                     const dense2D<unsigned int>& connectivity);
PLEXO_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                     const vector_fixed<double, 3>& R, const dense2D<unsigned int>& connectivity);

/// Scales every node about `center` by `factor`. \return the number of nodes moved. O(nodes)
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor);
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor);

/// Scales the listed nodes; IDs that are no nodes are skipped. \return 0. O(entries)
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                   const dense1D<unsigned int, 16>& nodes);
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                   const dense1D<unsigned int, 16>& nodes);

/// Scales the nodes of the elements. \return 0. Expected O(entries)
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                   const dense2D<unsigned int>& connectivity);
PLEXO_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                   const dense2D<unsigned int>& connectivity);

/// Copies the elements `connectS` together with their nodes: the k-th distinct node of `connectS`, in order
/// of first appearance, is appended to `pos` as node N0 + k, where N0 is the old number of nodes, and
/// `connectC` becomes a deep copy of `connectS` with these nodes; NO_ID stays. `connectC` may be or share
/// storage with `connectS`, whose entries as seen by other containers never change. Expected O(entries).
/// \return 0; -2 an ID of `connectS` is neither NO_ID nor a node; -199 out of memory or of IDs. Nothing has
///         changed after a negative result.
PLEXO_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                        const dense2D<unsigned int>& connectS);

/// Makes `nc` copies of the elements `connectS`: copy k = 1 … nc has nodes of its own, turned about `center`
/// by k times the angle (2-D, radians) or the rotation vector R (3-D), then moved by k·T. The nodes are
/// appended to `pos` and the elements to `connectC`, copy after copy. When the row counts of `connectC` and
/// `connectS` differ, the larger one is taken and missing entries are NO_ID. `connectC` may be `connectS`. A
/// `pos` of fewer rows than dimensions gains them, filled with 0, when nodes are moved. Expected O(entries of
/// the result). \return 0 (at once when `pos` has no entries or `nc` is 0); -2 an ID of `connectS` is neither
///         NO_ID nor a node; -199 out of memory or of IDs. Nothing has changed after a negative result.
PLEXO_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                        const vector_fixed<double, 2>& T, const vector_fixed<double, 2>& center, double angle,
                        unsigned int nc, const dense2D<unsigned int>& connectS);
PLEXO_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                        const vector_fixed<double, 3>& T, const vector_fixed<double, 3>& center,
                        const vector_fixed<double, 3>& R, unsigned int nc,
                        const dense2D<unsigned int>& connectS);

/// Makes a plain copy of the elements and mirrors its nodes at the line (2-D) or plane (3-D) through P with
/// the normal N of any length. The node order of the elements is kept, so their orientation is reversed. A
/// `pos` of fewer rows than dimensions gains them, filled with 0. Expected O(entries).
/// \return 0 (at once when `pos` has no entries); -4 |N|² is 0 or NaN; -2 and -199 as for the plain copy.
///         Nothing has changed after a negative result.
PLEXO_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                            const vector_fixed<double, 2>& P, const vector_fixed<double, 2>& N,
                            const dense2D<unsigned int>& connectS);
PLEXO_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                            const vector_fixed<double, 3>& P, const vector_fixed<double, 3>& N,
                            const dense2D<unsigned int>& connectS);

/// Removes the nodes from `N0` on that no element references; the others keep their order. The connectivities
/// [first, last) are renumbered in place (NO_ID stays), and `new_IDs`, which is emptied first, maps old nodes
/// to new ones, NO_ID for a removed node. The matrices must not overlap: shared entries would be renumbered
/// twice. O(nodes + entries).
/// \return the number of nodes removed, 0 with `new_IDs` left empty when the range or `pos` is empty or `N0`
///         is not below the number of nodes; -3 `last` lies before `first`; -2 an ID is neither NO_ID nor a
///         node; -199 out of memory. Nothing but `new_IDs` has changed after a negative result.
PLEXO_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
                       dense1D<unsigned int, 16>& new_IDs, unsigned int N0);

/// The same for one connectivity, with and without the renumbering, and for two that share no entry.
PLEXO_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectM,
                       dense1D<unsigned int, 16>& new_IDs, unsigned int N0);
PLEXO_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectM, unsigned int N0);
PLEXO_API int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB,
                       unsigned int N0);

/// Removes the elements that reference a node twice and, when `strict`, those with two or more NO_ID entries
/// (which the mixed types use as padding). The others keep their order; `new_IDs`, which is emptied first,
/// maps old elements to new ones, NO_ID for a removed element. O(entries) up to eight rows, beyond
/// O(entries · log rows).
/// \return the number of elements removed, or -199 (out of memory, `connectM` unchanged)
PLEXO_API int remove_degenerated(dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs,
                                 bool strict);

/// Appends to `connectC` the elements of `connectM` whose nodes all lie strictly on the positive side of the
/// plane through P with the normal N, where (x - P)·N > 0; elements are not cut. The sum runs over the first
/// three rows of `pos`, or over two for a mesh in the plane z = 0. A column is read up to its first NO_ID. A
/// node on the plane, and one whose side is not a number, counts as outside. `connectC` may be `connectM`; it
/// takes the rows of `connectM` when it has no entries. O(entries of connectM).
/// \return 0 (at once when `connectM` has no entries); -2 an ID is neither NO_ID nor a node; -4 |N| is below
///         1e-12; -5 `connectC` has entries and other rows than `connectM`; -199 out of memory, `connectC`
///         unchanged
PLEXO_API int clip(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                   const vector_fixed<double, 3>& P, const vector_fixed<double, 3>& N,
                   dense2D<unsigned int>& connectC);

} // namespace qv7::plexo
