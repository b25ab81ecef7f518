#pragma once

/// \file
/// Inspecting and rewriting lists and connectivities of node and element IDs.
///
/// A pair (first, last) is a half-open range of connectivity matrices that follow one another in memory.
/// NO_ID stands for an absent ID and is never treated as a large valid one.

#include <plexo/containers.h>

namespace qv7::plexo {

/// The largest ID that is not NO_ID: NO_ID for an empty container, 0 when every entry is NO_ID. O(entries).
PLEXO_API unsigned int max_ID(const dense1D<unsigned int, 16>& ids);
PLEXO_API unsigned int max_ID(const dense2D<unsigned int>& connectivity);

/// True when every entry is NO_ID or below `nods`, when there is no entry, and when `nods` is NO_ID.
/// O(entries).
PLEXO_API bool check_IDs(const dense1D<unsigned int, 16>& ids, unsigned int nods);
PLEXO_API bool check_IDs(const dense2D<unsigned int>& connectivity, unsigned int nods);

/// True when `connectivity` is a well-formed matrix of the given type over `nods` nodes. O(entries).
///
/// A matrix without entries is valid. ELEM_FACE_MIX wants 3 or 4 rows, of which only the fourth may hold
/// NO_ID; ELEM_SOLID_MIX wants 4, 5, 6 or 8 rows, where NO_ID may start in row 4, 5 or 6 and must then fill
/// the column; every other entry must be below `nods`. Any other type is valid whatever the rows when `nods`
/// is NO_ID, and else wants NODES_PER_ELEMENT[type] rows with every entry below `nods`; a code outside 0 … 20
/// is then invalid.
PLEXO_API bool check_IDs(const dense2D<unsigned int>& connectivity, element_type type, unsigned int nods);

/// Adds `shift`, modulo 2^32, to every entry that is not NO_ID. Returns 0.
PLEXO_API int shift_indices(dense1D<unsigned int, 16>& ids, int shift);

/// Adds `shift`, modulo 2^32, to every entry: NO_ID stays as it is in the mixed types, and wraps around like
/// any other value in the rest. Parallel (OpenMP) over runs of more than 4096 entries. Returns 0.
PLEXO_API int shift_indices(dense2D<unsigned int>& connectivity, int shift, element_type type);

/// Replaces every entry v below new_IDs.size() by new_IDs[v]; others, NO_ID among them, stay. O(entries).
/// An argument that shares storage with `new_IDs` gets its own first, or stays unchanged if memory runs out.
PLEXO_API void change_indices(dense1D<unsigned int, 16>& ids, const dense1D<unsigned int, 16>& new_IDs);
PLEXO_API void change_indices(dense2D<unsigned int>& connectivity, const dense1D<unsigned int, 16>& new_IDs);

/// Scatters: the old value at i moves to position perm[i]. Positions outside `values` are skipped, and so is
/// what lies beyond the shorter of the two. `values` gets new storage. O(entries). \return 0, or -199 (out of
/// memory, `values` unchanged)
PLEXO_API int permutation(dense1D<unsigned int, 16>& values, const dense1D<unsigned int, 16>& perm);
PLEXO_API int permutation(dense1D<double, 16>& values, const dense1D<unsigned int, 16>& perm);

/// Appends to `out` the distinct entries of `ids` that are neither NO_ID nor in `excluded`, in order of first
/// appearance. What `out` holds is kept and not consulted; `excluded` may be `out` itself. Expected
/// O(entries). Throws std::bad_alloc when memory runs out. \return 0
PLEXO_API int unique_indices(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids,
                             const dense1D<unsigned int, 16>& excluded);
PLEXO_API int unique_indices(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids);

/// Appends to `out` the distinct IDs of the matrices, NO_ID left out, in order of first appearance: matrix by
/// matrix, column by column, row by row. Expected O(entries). Throws std::bad_alloc when memory runs out.
/// \return 0, or -3 when `last` lies before `first`
PLEXO_API int unique_indices(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>* first,
                             const dense2D<unsigned int>* last);
PLEXO_API int unique_indices(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>& connectivity);

/// The number of distinct IDs, NO_ID left out. Expected O(entries). Throws std::bad_alloc when memory runs
/// out. \return the count, or -2 when `last` lies before `first`
PLEXO_API int count_unique_indices(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last);
PLEXO_API int count_unique_indices(const dense2D<unsigned int>& connectivity);

/// Matches the IDs of two lists: B_in_A[j] is the last position of B[j] in A, A_in_B[i] the last position in
/// B that was matched to i; NO_ID where there is none, and for entries that are NO_ID. Outputs are
/// overwritten. Expected O(entries). Throws std::bad_alloc when memory runs out. \return 0
PLEXO_API int get_IDs(const dense1D<unsigned int, 16>& A, const dense1D<unsigned int, 16>& B,
                      dense1D<unsigned int, 16>& B_in_A, dense1D<unsigned int, 16>& A_in_B);

/// Matches whole columns: B_in_A[j] is a column of A equal to column j of B, and A_in_B its inverse; NO_ID
/// where there is none. With `oriented` false, columns also match when one is a cyclic shift of the other or
/// of its reverse: both are turned so that their (first) largest entry leads before they are compared. NO_ID
/// is a value like any other here. Outputs are emptied first. Expected O(entries). Throws std::bad_alloc when
/// memory runs out. \return 0, or -2 when the row counts differ (outputs stay empty)
PLEXO_API int get_IDs(const dense2D<unsigned int>& A, const dense2D<unsigned int>& B,
                      dense1D<unsigned int, 16>& B_in_A, dense1D<unsigned int, 16>& A_in_B, bool oriented);

/// Grows the box [min, max] by the coordinates of every node. The box is never reset; NaN coordinates do not
/// count. \return 0, or -1 when `pos` has not as many rows as the box has dimensions
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min,
                               vector_fixed<double, 2>& max);
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min,
                               vector_fixed<double, 3>& max);

/// Grows the box by the listed nodes; NO_ID entries are skipped.
/// \return 0 (also for an empty list, before any check); -1 `pos` has not as many rows as the box has
/// dimensions;
///         -2 an ID is neither NO_ID nor a node
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                               vector_fixed<double, 2>& min, vector_fixed<double, 2>& max);
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                               vector_fixed<double, 3>& min, vector_fixed<double, 3>& max);

/// Grows the box by the nodes of the elements; results as for a list. Throws std::bad_alloc when memory runs
/// out.
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                               vector_fixed<double, 2>& min, vector_fixed<double, 2>& max);
PLEXO_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                               vector_fixed<double, 3>& min, vector_fixed<double, 3>& max);

} // namespace qv7::plexo
