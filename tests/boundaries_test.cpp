#include "topology_oracles.h"

#include "topology/element_faces.h"

#include <array>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;

TEST(Boundaries, AreAppendedElementByElementInTheOrderOfTheTables) {
    for_any_elements(dice(7), 400, [](const dense2D<unsigned int>& elements, const faced_type& t) {
        dense2D<unsigned int> neighbors;
        ASSERT_EQ(get_neighbors(elements, t.type, false, neighbors), 0);
        for (unsigned int i = 0; i < neighbors.size(); i += 7) neighbors.data()[i] = N - 1 - i; // no element
        if (!elements.contiguous()) neighbors = as_view(neighbors, N);
        const id_vector elements_before = entries(elements), neighbors_before = entries(neighbors);

        // The outputs hold columns that are seen through the inputs as well.
        auto all = dense2D<unsigned int>(elements).sub_matrix(0, 0, t.face_rows, 1);
        auto outer = neighbors.sub_matrix(0, 0, t.face_rows, 1);
        id_list codes = neighbors.col(0);
        id_vector expected_all = entries(all), expected_outer = entries(outer),
                  expected_codes = entries(codes);
        for (unsigned int e = 0; e < elements.cols(); ++e) {
            unsigned int k = 0;
            for (id_vector face : parts_of(elements, e, t.type, &shape::faces)) {
                face.resize(t.face_rows, N);
                expected_all.insert(expected_all.end(), face.begin(), face.end());
                if (neighbors(k++, e) != N) continue;
                expected_outer.insert(expected_outer.end(), face.begin(), face.end());
                expected_codes.push_back(e * t.faces + k - 1);
            }
        }
        ASSERT_EQ(get_element_boundaries(elements, t.type, all), 0);
        ASSERT_EQ(get_mesh_boundaries(elements, neighbors, t.type, outer), 0);
        ASSERT_EQ(get_mesh_bounding_elements(elements, neighbors, t.type, codes), 0);
        ASSERT_EQ(entries(all), expected_all) << t.type;
        ASSERT_EQ(entries(outer), expected_outer) << t.type;
        ASSERT_EQ(entries(codes), expected_codes) << t.type;
        ASSERT_EQ(entries(elements), elements_before);
        ASSERT_EQ(entries(neighbors), neighbors_before);
    });
}

TEST(Boundaries, ReshapeAnOutputWithoutEntriesOnlyToAppend) {
    const auto quad = id_matrix(4, {0, 1, 2, 3});
    for (auto faces : {dense2D<unsigned int>(3, 0), dense2D<unsigned int>(0, 5)}) {
        const unsigned int rows = faces.rows();
        EXPECT_EQ(get_mesh_boundaries(quad, id_matrix(4, {0, 0, 0, 0}), ELEM_QUAD4, faces), 0);
        EXPECT_EQ(faces.rows(), rows);
        EXPECT_EQ(get_element_boundaries(quad, ELEM_QUAD4, faces), 0);
        EXPECT_EQ(entries(faces), (id_vector{0, 1, 1, 2, 2, 3, 3, 0}));
    }
}

TEST(Boundaries, OfAColumnWithTwoNodesAreTheFirstThreeSidesOfAQuadrangle) {
    const unsigned int column[4] = {3, 8, N, N}; // no checked connectivity holds one, but the table says it
    constexpr std::array<unsigned int, 2> sides[] = {{3, 8}, {8, N}, {N, N}};
    const shape_faces& open = shape_of(FACE_MIX_TABLE, column);
    ASSERT_EQ(open.count, 3u);
    for (unsigned int k = 0; k < 3; ++k) EXPECT_EQ(face_nodes<2>(open, k, column), sides[k]);
}

} // namespace
