#pragma once

/// \file
/// Readers and writers of mesh files: MEDIT, NASTRAN bulk data, STL, legacy VTK, FEMAP neutral, EnSight and
/// Wavefront OBJ.
///
/// Coordinates have one column per node. A pair (first, last) is a half-open range of connectivity matrices
/// that follow one another in memory; `types` holds one element_type code for each of them. Paths name files
/// that writers create or truncate. Numbers are written and read with a decimal point whatever the locale.
///
/// All functions return 0 or a count on success and a negative code on failure. -1 always means that the file
/// could not be opened, and, where a function says so, that it could not be written to its end. -199 means
/// that memory ran out. Writing and reading take time linear in the size of the file.

#include <plexo/containers.h>

#include <cstdio>

namespace qv7::plexo {

// ---------------------------------------------------------------- MEDIT

/// Writes a MEDIT mesh file. Matrix k has the type types[k] and each of its elements the reference k;
/// vertices have the reference 0. There is one section per element type. Quadratic elements are written by
/// their corners, pyramids and wedges as degenerate hexahedra; points and the types without a keyword are
/// left out. The mixed types are split by the number of nodes. `pos` has 1 to 3 rows. Everything is checked
/// before the file is created; what fails when it is written later on is not reported.
/// \return 0; -2 `pos` has not 1 to 3 rows; -4 `last` lies before `first`; -5 not one type per matrix; -3 a
/// matrix is not valid for its type and the nodes; -1 the file could not be opened; -199
PLEXO_API int medit_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>* first,
                           const dense2D<unsigned int>* last, const dense1D<int, 16>& types);

/// Writes one connectivity, with the reference 0. Results as for a range.
PLEXO_API int medit_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectM, element_type type);

/// Writes two connectivities, with the references 0 and 1. Results as for a range.
PLEXO_API int medit_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectA, const dense2D<unsigned int>& connectB,
                           element_type typeA, element_type typeB);

/// Writes one connectivity whose element j has the reference refs[j], ordered by reference and then as given.
/// Elements with the reference NO_ID are left out. Time and memory do not depend on the references' values.
/// \return 0, for an empty connectivity before any other check and without creating a file; -5 not one
/// reference per element; -6 no memory for the reordered elements; else as for a range
PLEXO_API int medit_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectM, element_type type,
                           const dense1D<unsigned int, 16>& refs);

/// Writes a MEDIT solution file with one value per node; `dimension` is that of the mesh and written as
/// given. \return 0; -1 the file could not be opened
PLEXO_API int medit_scalar(const char* path, unsigned int dimension, const dense1D<double, 16>& values);

/// Writes a MEDIT solution file with one vector, a column of `values`, per node; `dimension` is written as
/// given and not compared with the rows. \return 0; -1 the file could not be opened
PLEXO_API int medit_vector(const char* path, unsigned int dimension, const dense2D<double>& values);

/// Writes a MEDIT solution file with one metric per node, 3 rows in two dimensions or 6 in three, in storage
/// order. \return 0; -1 the file could not be opened; -2 `metrics` has neither 3 nor 6 rows (the
/// file is then empty)
PLEXO_API int medit_tensor(const char* path, const dense2D<double>& metrics);

// ---------------------------------------------------------------- NASTRAN bulk data

/// Writes a NASTRAN bulk data deck: large-field GRID* points and free-field element cards, IDs counted from 0
/// as stored. Columns ranges[k] to ranges[k + 1] - 1 of `connectM` are a block of the type types[k];
/// `properties` has one property number per column. `pos` has 3 rows. Elements without a card are left out,
/// the mixed types resolved element by element.
/// \return 0, also for an empty connectivity (the file, where it could be created, is then empty); -1 the
/// file could not be opened or written; -2 `pos` has not 3 rows; -5 `ranges` has not one entry more than
/// `types`; -6 not one property per element; -3 a block is not valid for its type, or its range not one of
/// columns; -199. After a failed check the file is empty.
PLEXO_API int NASTRAN_output(const char* path, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connectM, const dense1D<unsigned int, 16>& ranges,
                             const dense1D<int, 16>& types, const dense1D<unsigned int, 16>& properties);

/// Writes one block, with the property 1. Results as for ranges.
PLEXO_API int NASTRAN_output(const char* path, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connectM, element_type type);

/// Writes two blocks, with the properties 1 and 2 and element IDs that run on. Results as for ranges.
PLEXO_API int NASTRAN_output(const char* path, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connectA, const dense2D<unsigned int>& connectB,
                             element_type typeA, element_type typeB);

/// Reads a NASTRAN bulk data deck in free, small or large field, with continuations of any kind. Outputs are
/// emptied first. Grid ID i is column i of `pos` (3 rows); IDs that do not occur give nodes at the origin.
/// Consecutive elements of one type make a block, `ranges` having one entry more than there are blocks;
/// columns shorter than the tallest are padded with NO_ID. The type follows the keyword and the number of
/// nodes on the card. Node references are taken as they are, and not checked against the grid points. Cards
/// that are no grid point or element, and elements without nodes enough, are skipped. O(file size); memory in
/// use stays in proportion to the file, however sparse its IDs. \return the number of elements; -1 the file
/// could not be opened or read; -199 out of memory, or a grid ID above 99 999 999 that is also more than a
/// sixteenth of the bytes of the file. After a failure the outputs are empty
PLEXO_API int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                            dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                            dense1D<unsigned int, 16>& properties);

/// Reads a deck and keeps its first block, with NODES_PER_ELEMENT[type] rows; without any block `connectM` is
/// empty and `type` stays as it is. Results as for all blocks.
PLEXO_API int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                            element_type& type);

/// Reads a deck and keeps its first block and, where there is one, its second. Results as for all blocks.
PLEXO_API int NASTRAN_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectA,
                            dense2D<unsigned int>& connectB, element_type& typeA, element_type& typeB);

// ---------------------------------------------------------------- STL

/// Writes the triangles of `connectM` (3 rows) as an STL file, ASCII or little-endian binary with 4-byte
/// floats, with unit normals, zero for degenerate triangles. Nodes of two rows are written with z = 0.
/// \return 0; -1 the file could not be opened or written; -2 `pos` has neither 2 nor 3 rows; -3 `connectM` is
/// not a valid ELEM_TRIA3 connectivity. After -2 and -3 the file is empty.
PLEXO_API int STL_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                         bool ascii);

/// Reads an STL file, ASCII or binary, into a mesh with shared nodes: vertices nearer than a twentieth of the
/// smallest positive height of all facets become one, then degenerate triangles and unused nodes go. Outputs
/// are emptied first; `pos` and `connectM` get 3 rows. A file that is not readable as ASCII is read as
/// binary. Facets without any positive height are returned as they are, three nodes each. \return the number
/// of triangles; -1 the file could not be opened or is shorter than a binary header; -2 never (kept for an
/// ASCII file without "solid"); -3 a facet or the count is missing; -199
PLEXO_API int STL_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM);

// ---------------------------------------------------------------- legacy VTK

/// Appends the elements of `connectM` as VTK cells: to `cells` the node count and the nodes of each, to
/// `cell_types` its VTK type; `cell_count` grows by the number of cells. A quadratic element becomes its
/// linear cell and a cell of type 2 with the remaining nodes. The last two nodes of a tetrahedron are
/// swapped. \return 0, also for an empty matrix; -1 `connectM` is not valid for `type` or has fewer rows than
/// corners; -2 there is no VTK cell for `type` (the mixed types included); -199. After a failure nothing has
/// changed.
PLEXO_API int vtk_convert(const dense2D<unsigned int>& connectM, element_type type, unsigned int& cell_count,
                          dense1D<unsigned int, 16>& cells, dense1D<unsigned int, 16>& cell_types);

/// Writes a legacy VTK ASCII unstructured grid through an open stream, which stays open: nodes (of two rows
/// with z = 0) and the first `cell_count` cells of what vtk_convert made. \return 0; -1 the stream is null or
/// could not be written, or `cells` ends before its cells do; -2 `pos` has neither 2 nor 3 rows
PLEXO_API int vtk_output(std::FILE* stream, const dense2D<double>& pos, unsigned int cell_count,
                         const dense1D<unsigned int, 16>& cells, const dense1D<unsigned int, 16>& cell_types);

/// Writes a legacy VTK file. The mixed types are split by the number of nodes.
/// \return 0; -1 the file could not be opened or written, or a matrix has fewer rows than its type's corners;
/// -2 `pos` has neither 2 nor 3 rows, or there is no VTK cell for a type; -4 `last` lies before `first`; -5
/// not one type per matrix; -3 a matrix is not valid for its type and the nodes; -199. After a failed check
/// the file is empty.
PLEXO_API int vtk_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>* first,
                         const dense2D<unsigned int>* last, const dense1D<int, 16>& types);

/// Writes one connectivity. Results as for a range.
PLEXO_API int vtk_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                         element_type type);

/// Writes two connectivities. Results as for a range.
PLEXO_API int vtk_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectA,
                         const dense2D<unsigned int>& connectB, element_type typeA, element_type typeB);

// ---------------------------------------------------------------- FEMAP neutral

/// Writes a FEMAP neutral file with the data blocks 403 (nodes) and 404 (elements), IDs counted from 0 as
/// stored. Arguments and results are those of NASTRAN_output; elements without a topology code are left out.
PLEXO_API int FEMAP_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectM, const dense1D<unsigned int, 16>& ranges,
                           const dense1D<int, 16>& types, const dense1D<unsigned int, 16>& properties);

/// Writes one block of one element with the property 1: there is one property number per block here, so more
/// elements give -6.
PLEXO_API int FEMAP_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectM, element_type type);

/// Writes two blocks of two elements in all, with the properties 1 and 2: there is one property number per
/// block here, so another number of elements gives -6.
PLEXO_API int FEMAP_output(const char* path, const dense2D<double>& pos,
                           const dense2D<unsigned int>& connectA, const dense2D<unsigned int>& connectB,
                           element_type typeA, element_type typeB);

/// Reads the nodes and elements of a FEMAP neutral file, from any number of blocks 403 and 404 in any order;
/// other data blocks, elements of other topologies and records that cannot be read are skipped. Node ID i is
/// column i of `pos`; outputs and results are those of NASTRAN_input.
PLEXO_API int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                          dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types,
                          dense1D<unsigned int, 16>& properties);

/// Reads a file and keeps its first block. Results as for all blocks.
PLEXO_API int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectM,
                          element_type& type);

/// Reads a file and keeps its first block and, where there is one, its second. Results as for all blocks.
PLEXO_API int FEMAP_input(const char* path, dense2D<double>& pos, dense2D<unsigned int>& connectA,
                          dense2D<unsigned int>& connectB, element_type& typeA, element_type& typeB);

// ---------------------------------------------------------------- EnSight

/// Writes an EnSight ASCII geometry file with node and element IDs given, counted from 1. Matrix k is part
/// k + 1; one that is empty, or of a type without an EnSight element (points, pyramids, mixed), writes
/// nothing but keeps its number. `pos` has 1 to 3 rows, missing ones are written as 0. \return 0; -1 the file
/// could not be opened or written; -2 `pos` has not 1 to 3 rows; -4 `last` lies before `first`; -5 not one
/// type per matrix; -3 a matrix is not valid for its type. After a failed check the file is empty.
PLEXO_API int ensight_output(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>* first,
                             const dense2D<unsigned int>* last, const dense1D<int, 16>& types);

/// Writes one connectivity as the only part. Results as for a range.
PLEXO_API int ensight_output(const char* path, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connectM, element_type type);

/// Writes two connectivities as parts 1 and 2. Results as for a range.
PLEXO_API int ensight_output(const char* path, const dense2D<double>& pos,
                             const dense2D<unsigned int>& connectA, const dense2D<unsigned int>& connectB,
                             element_type typeA, element_type typeB);

// ---------------------------------------------------------------- Wavefront OBJ

/// Writes a Wavefront OBJ surface. `pos` has 2 or 3 rows; `normals` (3 rows) and `texture` (2 rows) are empty
/// or have one column per node; `triangles` has 3 rows and `quads` 4. \return 0; -1 the file could not be
/// opened or written; -2 the rows of `pos`; -3 the shape of `normals`; -4 the shape of `texture`; -5
/// `triangles` has fewer than 3 rows; -6 `quads` has fewer than 4
PLEXO_API int WavefrontOBJ_output(const char* path, const dense2D<double>& pos,
                                  const dense2D<double>& normals, const dense2D<double>& texture,
                                  const dense2D<unsigned int>& triangles, const dense2D<unsigned int>& quads);

/// Writes triangles or quadrangles; for any type but ELEM_TRIA3 and ELEM_QUAD4 only the nodes are written.
/// Results as for the full form.
PLEXO_API int WavefrontOBJ_output(const char* path, const dense2D<double>& pos,
                                  const dense2D<unsigned int>& connectM, element_type type);

/// Writes two connectivities, each as its type says; two of one type follow one another. Results as for the
/// full form.
PLEXO_API int WavefrontOBJ_output(const char* path, const dense2D<double>& pos,
                                  const dense2D<unsigned int>& connectA,
                                  const dense2D<unsigned int>& connectB, element_type typeA,
                                  element_type typeB);

/// Reads a Wavefront OBJ surface; outputs are emptied first. `pos` and `normals` get 3 rows, `texture` 2;
/// numbers that a record does not give are zero. Faces of more than four corners become fans of triangles,
/// those of fewer than three are skipped; corners count by their vertex index, negative ones from the last
/// vertex so far. Records other than v, vt, vn and f are skipped. O(file size), memory in proportion to the
/// outputs. \return 0; -1 the file could not be opened or read, a record is malformed or a face names a
/// vertex that is not there; -199. After a failure the outputs are empty
PLEXO_API int WavefrontOBJ_input(const char* path, dense2D<double>& pos, dense2D<double>& normals,
                                 dense2D<double>& texture, dense2D<unsigned int>& triangles,
                                 dense2D<unsigned int>& quads);

} // namespace qv7::plexo
