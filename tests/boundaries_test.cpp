#include "topology_oracles.h"

#include "topology/element_faces.h"

#include <gtest/gtest.h>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;
using list = std::vector<unsigned int>;

dense2D<unsigned int> neighbors_of(const dense2D<unsigned int>& connectivity, element_type type) {
    dense2D<unsigned int> neighbors;
    EXPECT_EQ(get_neighbors(connectivity, type, false, neighbors), 0);
    return neighbors;
}

TEST(ElementBoundaries, FollowTheTables) {
    const auto faces_of = [](const dense2D<unsigned int>& connectivity, element_type type) {
        dense2D<unsigned int> faces;
        EXPECT_EQ(get_element_boundaries(connectivity, type, faces), 0);
        return entries(faces);
    };
    EXPECT_EQ(faces_of(matrix(2, {5, 6}), ELEM_EDGE2), (list{6, 5}));
    EXPECT_EQ(faces_of(matrix(3, {5, 6, 7}), ELEM_TRIA3), (list{6, 7, 7, 5, 5, 6}));
    EXPECT_EQ(faces_of(matrix(3, {5, 6, 7}), ELEM_FACE_MIX), (list{6, 7, 7, 5, 5, 6}));
    EXPECT_EQ(faces_of(matrix(4, {5, 6, 7, N, 1, 2, 3, 4}), ELEM_FACE_MIX),
              (list{6, 7, 7, 5, 5, 6, 1, 2, 2, 3, 3, 4, 4, 1}));
    EXPECT_EQ(faces_of(matrix(8, {0, 1, 2, 3, N, N, N, N, 0, 1, 2, 3, 4, N, N, N}), ELEM_SOLID_MIX),
              (list{1, 2, 3, N, 2, 0, 3, N, 1, 3, 0, N, 2, 1, 0, N, //
                    0, 4, 1, N, 1, 4, 2, N, 2, 4, 3, N, 3, 4, 0, N, 0, 1, 2, 3}));

    oracle::dice random(7);
    for (const element_type type : oracle::FACED_TYPES) {
        const auto connectivity = oracle::random_mesh(random, type, 50, 40);
        list expected;
        for (unsigned int e = 0; e < connectivity.cols(); ++e) {
            for (const auto& face : oracle::faces_of_column(connectivity.col_data(e), type)) {
                expected.insert(expected.end(), face.begin(), face.end());
            }
        }
        EXPECT_EQ(faces_of(connectivity, type), expected) << type;
        EXPECT_EQ(faces_of(oracle::framed(connectivity), type), expected) << type;
    }
}

TEST(ElementBoundaries, OfAColumnWithTwoNodesAreTheFirstThreeSidesOfAQuadrangle) {
    const unsigned int column[4] = {3, 8, N, N}; // no checked connectivity holds one, but the table says it
    const shape_faces& shape = shape_of(FACE_MIX_TABLE, column);
    ASSERT_EQ(shape.count, 3u);
    EXPECT_EQ((face_nodes<2>(shape, 0, column)), (std::array<unsigned int, 2>{3, 8}));
    EXPECT_EQ((face_nodes<2>(shape, 1, column)), (std::array<unsigned int, 2>{8, N}));
    EXPECT_EQ((face_nodes<2>(shape, 2, column)), (std::array<unsigned int, 2>{N, N}));
}

TEST(MeshBoundaries, AreTheFacesWithoutNeighbour) {
    oracle::dice random(8);
    for (const element_type type : oracle::FACED_TYPES) {
        const unsigned int F = oracle::faces_of(type);
        const auto connectivity = oracle::random_mesh(random, type, 60, 60);
        auto neighbors = neighbors_of(connectivity, type);
        for (unsigned int i = 0; i < neighbors.size(); i += 7)
            neighbors.data()[i] = NO_ID - 1 - i; // no element
        list expected_faces;
        list expected_codes{11};
        for (unsigned int e = 0; e < connectivity.cols(); ++e) {
            const auto faces = oracle::faces_of_column(connectivity.col_data(e), type);
            for (unsigned int k = 0; k < faces.size(); ++k) {
                if (neighbors(k, e) != NO_ID) continue;
                expected_faces.insert(expected_faces.end(), faces[k].begin(), faces[k].end());
                expected_codes.push_back(e * F + k);
            }
        }
        for (const bool as_view : {false, true}) {
            dense2D<unsigned int> faces;
            dense1D<unsigned int, 16> codes(1, 11);
            const auto c = as_view ? oracle::framed(connectivity) : connectivity;
            const auto n = as_view ? oracle::framed(neighbors, NO_ID) : neighbors;
            EXPECT_EQ(get_mesh_boundaries(c, n, type, faces), 0);
            EXPECT_EQ(get_mesh_bounding_elements(c, n, type, codes), 0);
            EXPECT_EQ(entries(faces), expected_faces) << type;
            EXPECT_EQ(entries(codes), expected_codes) << type;
        }
    }
}

TEST(MeshBoundaries, LeaveOutAFaceThatTwoTetrahedraShare) {
    const auto tetrahedra = matrix(4, {0, 1, 2, 3, 4, 1, 2, 3});
    dense2D<unsigned int> all;
    dense2D<unsigned int> outer;
    EXPECT_EQ(get_element_boundaries(tetrahedra, ELEM_TETRA4, all), 0);
    EXPECT_EQ(get_mesh_boundaries(tetrahedra, neighbors_of(tetrahedra, ELEM_TETRA4), ELEM_TETRA4, outer), 0);
    EXPECT_EQ(all.cols(), 8u);
    EXPECT_EQ(outer.cols(), 6u);
    EXPECT_EQ(entries(all.sub_matrix(0, 0, 3, 1)), entries(all.sub_matrix(0, 4, 3, 1)));
}

TEST(Boundaries, AreAppendedBehindWhatIsThere) {
    const auto triangle = matrix(3, {5, 6, 7});
    auto faces = oracle::framed(matrix(2, {1, 2, 3, 4}), 99);
    EXPECT_EQ(get_element_boundaries(triangle, ELEM_TRIA3, faces), 0);
    EXPECT_EQ(get_mesh_boundaries(triangle, neighbors_of(triangle, ELEM_TRIA3), ELEM_TRIA3, faces), 0);
    EXPECT_EQ(entries(faces), (list{1, 2, 3, 4, 6, 7, 7, 5, 5, 6, 6, 7, 7, 5, 5, 6}));
}

TEST(Boundaries, LeaveInputsAloneThatShareStorageWithTheOutput) {
    const auto quads = matrix(4, {0, 1, 2, 3, 3, 2, 4, 5});
    const auto neighbors = neighbors_of(quads, ELEM_QUAD4);
    const list quads_before = entries(quads);
    const list neighbors_before = entries(neighbors);
    dense2D<unsigned int> faces = dense2D<unsigned int>(quads).sub_matrix(0, 0, 2, 1);
    EXPECT_EQ(get_element_boundaries(quads, ELEM_QUAD4, faces), 0);
    EXPECT_EQ(faces.cols(), 9u);
    faces = dense2D<unsigned int>(neighbors).sub_matrix(0, 0, 2, 1);
    EXPECT_EQ(get_mesh_boundaries(quads, neighbors, ELEM_QUAD4, faces), 0);
    EXPECT_EQ(faces.cols(), 7u);
    dense1D<unsigned int, 16> codes = dense2D<unsigned int>(neighbors).col(0);
    EXPECT_EQ(get_mesh_bounding_elements(quads, neighbors, ELEM_QUAD4, codes), 0);
    EXPECT_EQ(codes.size(), 10u);
    EXPECT_EQ(entries(quads), quads_before);
    EXPECT_EQ(entries(neighbors), neighbors_before);
}

TEST(Boundaries, CheckInOrder) {
    dense2D<unsigned int> three_rows(3, 1, 8);
    dense2D<unsigned int> faces = three_rows;
    dense1D<unsigned int, 16> codes;
    const auto expect = [&](const dense2D<unsigned int>& connectivity, const dense2D<unsigned int>& neighbors,
                            element_type type, int element, int boundary, int codes_result) {
        EXPECT_EQ(get_element_boundaries(connectivity, type, faces), element);
        EXPECT_EQ(get_mesh_boundaries(connectivity, neighbors, type, faces), boundary);
        EXPECT_EQ(get_mesh_bounding_elements(connectivity, neighbors, type, codes), codes_result);
        EXPECT_EQ(entries(faces), (list{8, 8, 8}));
        EXPECT_TRUE(codes.empty());
    };
    const dense2D<unsigned int> none;
    const auto quad = matrix(4, {0, 1, 2, 3});
    const auto linked = matrix(4, {0, 0, 0, 0});
    expect(none, three_rows, ELEM_TRIA6, 0, 0, 0);                    // empty input first
    expect(matrix(3, {0, N, 2}), none, ELEM_SOLID_MIX, -1, -1, -1);   // malformed, neighbours missing
    expect(matrix(4, {0, 1, N, 2}), none, ELEM_FACE_MIX, -1, -1, -1); // padding where none may be
    expect(quad, none, ELEM_TRIA6, -2, -2, -2);                       // type before rows
    expect(quad, none, element_type(-1), -2, -2, -2);
    expect(quad, none, ELEM_TRIA3, -1, -1, -1);                        // rows before neighbours
    expect(matrix(4, {0, 1, 2, 3}), none, ELEM_SOLID_MIX, -1, -1, -1); // well-formed, but faces want 8 rows
    expect(quad, none, ELEM_QUAD4, -2, -2, -2);                        // neighbours before the output
    expect(quad, matrix(3, {0, 0, 0}), ELEM_QUAD4, -2, -2, -2);
    expect(quad, matrix(4, {0, 0, 0, 0, 0, 0, 0, 0}), ELEM_QUAD4, -2, -2, -2);
    expect(quad, linked, ELEM_QUAD4, -2, -3, 0);
    // An output without entries has no wrong shape, and is reshaped only when something is appended.
    dense2D<unsigned int> empty(3, 0);
    EXPECT_EQ(get_mesh_boundaries(quad, linked, ELEM_QUAD4, empty), 0);
    EXPECT_EQ(empty.rows(), 3u);
    EXPECT_EQ(get_element_boundaries(quad, ELEM_QUAD4, empty), 0);
    EXPECT_EQ(entries(empty), (list{0, 1, 1, 2, 2, 3, 3, 0}));
}

} // namespace
