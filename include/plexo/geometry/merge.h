#pragma once

#include <plexo/containers.h>

namespace qv7::plexo {

/// \file
/// Merging of nodes that lie within a distance of each other.
///
/// Two nodes are close when one lies in the axis-aligned box of half-width `tol` around the other, bounds
/// included, and their Euclidean distance, computed as the square root of the summed squares, is at most
/// `tol`. The closest pair merges first: of two nodes that are both still unmerged the second is absorbed by
/// the first. At equal distance the pair whose absorbing node stands first in the list goes first, so that
/// between nodes of one list the earlier one survives. A node that has absorbed others may be absorbed later,
/// by a pair further apart; chains are resolved to the final survivor.
///
/// The result is that of comparing all pairs, in time close to linear in the number of nodes however they are
/// spread (O(n log n) where clusters wider than the tolerance are dense), and in memory linear in the number
/// of nodes, not of pairs. `tol` = 0 merges nodes with equal coordinates (-0.0 equals 0.0) and runs in
/// expected O(n); a NaN tolerance, like a NaN coordinate, merges nothing. Nodes are never removed.
///
/// Results of all forms: the number of nodes merged, 0 when there is nothing to do, -199 when memory ran out,
/// or the code of the first failed check. On failure nothing has changed but `new_IDs`, which is emptied
/// before any check. Afterwards `new_IDs` has one entry per column of `pos`: the node's own ID where it
/// survives, else its final survivor. It may share storage with any argument; it gets its own before it is
/// filled.

/// Merges the nodes of `nodesA` onto those of `nodesB`: only the former are absorbed, only the latter absorb.
/// A node in both lists may do both. NO_ID entries are skipped, repeated ones count once, at their first
/// place. `new_IDs` stays empty when `pos` has no columns or `nodesB` no IDs.
/// \return the number of merges; -1 `pos` has neither 2 nor 3 rows; -2 `nodesA` or -3 `nodesB` holds an ID
/// that is not a column of `pos`; -4 `tol` < 0; -199
PLEXO_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodesA,
                    const dense1D<unsigned int, 16>& nodesB, dense1D<unsigned int, 16>& new_IDs, double tol);
/// The same with one list as both.
PLEXO_API int merge(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                    dense1D<unsigned int, 16>& new_IDs, double tol);

/// Merges nodes of the connectivity matrices [first, last) and renumbers the matrices in place; NO_ID entries
/// stay. The list is that of the distinct IDs in order of first appearance.
///
/// `mode` 0 merges all nodes that are close. `mode` 1 merges only nodes that share an element, so it
/// collapses short edges and diagonals but glues nothing; pairs of equal distance are taken in the order of
/// the elements and of the absorbing node's row. `mode` 2 repeats that on the renumbered elements until a
/// pass merges nothing. `new_IDs` stays empty when there are no columns, no matrices or no IDs.
/// \return the number of merges; -1 `pos` has neither 2 nor 3 rows; -3 `last` lies before `first`;
///         -5 `tol` < 0; -6 `mode` > 2; -2 an ID is neither NO_ID nor a column of `pos` (checked last); -199
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
                    dense1D<unsigned int, 16>& new_IDs, double tol, unsigned int mode);
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
                    double tol, unsigned int mode);
/// The range form on one matrix.
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM,
                    dense1D<unsigned int, 16>& new_IDs, double tol, unsigned int mode);
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM, double tol,
                    unsigned int mode);
/// The same with `tol` = 1e-6, an absolute length, and `mode` = 0.
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM);
/// The range form on two matrices, both of which are renumbered.
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA,
                    dense2D<unsigned int>& connectB, dense1D<unsigned int, 16>& new_IDs, double tol,
                    unsigned int mode);
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA,
                    dense2D<unsigned int>& connectB, double tol, unsigned int mode);
/// The same with `tol` = 1e-6, an absolute length, and `mode` = 0.
PLEXO_API int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA,
                    dense2D<unsigned int>& connectB);

/// Merges all nodes in column order and moves merged nodes onto their survivors; the number of nodes stays.
/// `pos` gets storage of its own, so other views of the coordinates keep their values. `new_IDs` stays empty
/// when `pos` has no columns.
/// \return the number of merges; -1 `pos` has neither 2 nor 3 rows; -3 `tol` < 0; -199
PLEXO_API int merge(dense2D<double>& pos, dense1D<unsigned int, 16>& new_IDs, double tol);
PLEXO_API int merge(dense2D<double>& pos, double tol);

} // namespace qv7::plexo
