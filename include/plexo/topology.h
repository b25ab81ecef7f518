#pragma once

/// \file
/// What touches what in a mesh: faces of elements, neighbours across faces, elements and edges at nodes,
/// connected parts.
///
/// Faces are known for the linear types ELEM_EDGE2, ELEM_TRIA3, ELEM_QUAD4, ELEM_FACE_MIX, ELEM_TETRA4,
/// ELEM_PYRAMID5, ELEM_WEDGE6, ELEM_HEXA8 and ELEM_SOLID_MIX; ELEM_FACE_MIX in 3 rows is taken for
/// ELEM_TRIA3. The rows of a connectivity, the faces per element F and the rows of a face are
///
///     type        EDGE2  TRIA3  QUAD4  FACE_MIX  TETRA4  PYRAMID5  WEDGE6  HEXA8  SOLID_MIX
///     rows            2      3      4         4       4         5       6      8          8
///     F               2      3      4         4       4         5       5      6          6
///     face rows       1      2      2         2       3         4       4      4          4
///
/// and the local faces, in the order of the rows of a neighbour matrix,
///
///     edge         (1) (0): face k lies opposite node k
///     triangle     (1,2) (2,0) (0,1): face k lies opposite node k
///     quadrangle   (0,1) (1,2) (2,3) (3,0)
///     tetrahedron  (1,2,3) (2,0,3) (1,3,0) (2,1,0): face k lies opposite node k, seen from outside
///                  counter-clockwise
///     pyramid      (0,4,1) (1,4,2) (2,4,3) (3,4,0) (0,1,2,3)
///     wedge        (0,1,2) (3,5,4) (2,1,4,5) (5,3,0,2) (0,3,4,1)
///     hexahedron   (0,3,7,4) (1,5,6,2) (0,4,5,1) (3,2,6,7) (0,1,2,3) (4,7,6,5)
///
/// where a triangle among faces of 4 rows has NO_ID in its last. The code of face k of element e is e * F +
/// k.
///
/// Outputs may share storage with inputs: they get storage of their own before anything is written.

#include <plexo/containers.h>

namespace qv7::plexo {

/// Appends to `faces` every face of every element as one column, element by element, in the order of the
/// tables above. Nothing is merged: an inner face comes once from each side, in the orientation of that
/// element. O(elements).
/// \return 0 (also for an empty connectivity, before any check); -1 the connectivity is not of the type's
///         shape; -2 a type without faces, or a non-empty `faces` with other rows than the type's faces;
///         -199 out of memory (`faces` holds what was appended until then)
PLEXO_API int get_element_boundaries(const dense2D<unsigned int>& connectivity, element_type type,
                                     dense2D<unsigned int>& faces);

/// Appends to `faces` the faces (k, e) whose entry in the F × elements matrix `neighbors` is NO_ID, as
/// get_element_boundaries would list them. O(elements).
/// \return 0 (also for an empty connectivity, before any check); -1 the connectivity is not of the type's
///         shape; -2 a type without faces, or `neighbors` is not F × elements; -3 a non-empty `faces` with
///         other rows than the type's faces; -199 out of memory (`faces` holds what was appended until then)
PLEXO_API int get_mesh_boundaries(const dense2D<unsigned int>& connectivity,
                                  const dense2D<unsigned int>& neighbors, element_type type,
                                  dense2D<unsigned int>& faces);

/// Appends to `codes` the codes e * F + k of the faces that get_mesh_boundaries lists. O(elements).
/// \return 0 (also for an empty connectivity, before any check); -1 the connectivity is not of the type's
///         shape; -2 a type without faces, or `neighbors` is not F × elements; -199 out of memory (`codes`
///         holds what was appended until then)
PLEXO_API int get_mesh_bounding_elements(const dense2D<unsigned int>& connectivity,
                                         const dense2D<unsigned int>& neighbors, element_type type,
                                         dense1D<unsigned int, 16>& codes);

/// Fills `neighbors`, F × elements: entry (k, e) is the element across face k of element e, NO_ID when there
/// is none.
///
/// Faces match when they have the same nodes in either orientation: edges the same pair, triangles the same
/// three nodes, quadrangles the same four in the same or the reverse cyclic order. Where three and more faces
/// match, `flag` false leaves all of them without a neighbour; `flag` true links the first of them, in the
/// order of face codes, to the last, and each of the others to the first. Faces of one element may match each
/// other. IDs may be as large as they like. Expected O(faces), however many elements meet at a node.
/// \return 0; -1 the connectivity is not of the type's shape; -2 a type without faces; -199 out of memory.
///         `neighbors` is 0 by 0 after a failure and for an empty connectivity.
PLEXO_API int get_neighbors(const dense2D<unsigned int>& connectivity, element_type type, bool flag,
                            dense2D<unsigned int>& neighbors);

/// Sets ancestors[n] to the last element that holds node n; NO_ID entries of `connectM` are skipped.
///
/// An empty `ancestors` is first given an entry for every node up to the largest, all NO_ID. A non-empty one
/// keeps its size, nodes beyond it being ignored, and the entries of nodes that no element holds.
/// O(entries + nodes).
/// \return 0 (for a connectivity without entries nothing is touched); -199 out of memory
PLEXO_API int get_ancestors(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& ancestors);

/// Appends to `edges`, 2 rows, the distinct edges between the corner nodes of the elements.
///
/// A pair of nodes counts once whatever direction it is met in, and is listed where and as it is first met:
/// element by element, in a triangle (1,2) (2,0) (0,1), in the other shapes round the base, then up the
/// sides, then round the top. Columns that `edges` held before are not consulted. Quadratic elements give the
/// edges of their corners; ELEM_HEXA20, and every code that has no edges, gives none. Expected O(entries).
/// \return 0 (also for an empty connectivity, before any check); -1 the connectivity is not of the type's
///         shape; -3 a non-empty `edges` with other than 2 rows; -199 out of memory (`edges` unchanged)
PLEXO_API int copy_edges(const dense2D<unsigned int>& connectivity, element_type type,
                         dense2D<unsigned int>& edges);

/// The same for the connectivities [begin, end), types[i] being the element_type of the i-th: an edge that
/// several of them have is listed once.
/// \return 0; -2 `begin` lies after `end`; -3 not as many types as connectivities; -4 a non-empty
///         `edges` with other than 2 rows; -1 a connectivity is not of its type's shape; -199 out of memory
///         (`edges` unchanged)
PLEXO_API int copy_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
                         const dense1D<int, 16>& types, dense2D<unsigned int>& edges);

/// Splits a mesh into the parts that hang together across faces.
///
/// Part p is elements[offsets[p]] … elements[offsets[p + 1] - 1]. Parts come in the order of their lowest
/// element, and each is listed breadth-first from there, neighbours in the order of the rows of `neighbors`.
/// Links are followed in the direction in which they stand; entries that are no element are skipped. Both
/// outputs are emptied first; without elements `offsets` is {0}. O(entries).
/// \return 0; -199 out of memory (outputs empty)
PLEXO_API int get_subdomains(const dense2D<unsigned int>& neighbors, dense1D<unsigned int, 16>& elements,
                             dense1D<unsigned int, 16>& offsets);

/// The same, with the elements renumbered in that order: part p is columns offsets[p] … offsets[p + 1] - 1 of
/// both matrices, and `neighbors` refers to the new numbers. Both matrices get new storage, so containers
/// that shared the old one keep their values. O(entries).
/// \return 0; -2 the matrices differ in columns (nothing is changed); -199 out of memory: `offsets` is
///         emptied and, once the parts have been listed, so are both matrices, deliberately
PLEXO_API int get_subdomains(dense2D<unsigned int>& connectM, dense2D<unsigned int>& neighbors,
                             dense1D<unsigned int, 16>& offsets);

/// Lists the elements at each node: node n belongs to elements[offsets[n]] … elements[offsets[n + 1] - 1],
/// ascending, each element once.
///
/// `offsets` has one entry more than there are nodes up to the largest ID; without any node it is {0}. NO_ID
/// entries are skipped. Outputs are emptied first. O(entries + nodes).
/// \return 0; -199 out of memory, or a table that cannot be indexed in 32 bits (outputs empty)
PLEXO_API int get_connected_elements(const dense2D<unsigned int>& connectM,
                                     dense1D<unsigned int, 16>& elements, dense1D<unsigned int, 16>& offsets);

/// Lists the nodes around each node: nodes[offsets[n]] … nodes[offsets[n + 1] - 1] are the other nodes that
/// share an element with node n, ascending, each once.
///
/// The layout is that of get_connected_elements. O(nodes + sum of (entries per element)^2 over the elements).
/// \return 0; -199 out of memory, or a table that cannot be indexed in 32 bits (outputs empty)
PLEXO_API int get_node_graph(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& nodes,
                             dense1D<unsigned int, 16>& offsets);

/// Reorders the columns of a list of elements, faces or edges so that columns with the same nodes stand
/// together: columns are compared by their node IDs sorted ascending, lexicographically (NO_ID is the largest
/// ID), and equal ones keep their order. The order of the nodes within a column is kept.
///
/// `new_IDs` is emptied first; afterwards it maps old columns to new ones. `connectM` gets new storage, so
/// containers that shared the old one keep their values. O(entries + columns log columns).
/// \return 0; -199 out of memory (`connectM` unchanged, `new_IDs` empty)
PLEXO_API int sort_elfes(dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs);

} // namespace qv7::plexo
