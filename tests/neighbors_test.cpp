#include "topology_oracles.h"

#include <array>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;

/// The least of all turns of a face and of its reverse, behind the number of its nodes: what equal faces
/// share. Of a triangle in four rows the three nodes count.
std::array<unsigned int, 5> least_turn(const id_vector& nodes) {
    const std::size_t n = nodes.size() == 4 && nodes[3] == N ? 3 : nodes.size();
    std::array<unsigned int, 5> turned{unsigned(n)};
    std::copy_n(nodes.begin(), n, turned.begin() + 1);
    auto least = turned;
    const auto first = turned.begin() + 1;
    for (int reversed = 0; reversed < 2; ++reversed) {
        for (std::size_t turn = 0; turn < n; ++turn) {
            std::rotate(first, first + 1, first + std::ptrdiff_t(n));
            least = std::min(least, turned);
        }
        std::reverse(first, first + std::ptrdiff_t(n));
    }
    return least;
}

/// Compares with what the groups of equal faces, each in the order of face codes, must give.
void expect_linked(const dense2D<unsigned int>& connectivity, const faced_type& type) {
    std::vector<std::pair<std::array<unsigned int, 5>, unsigned int>> faces;
    for (unsigned int e = 0; e < connectivity.cols(); ++e) {
        unsigned int code = e * type.faces;
        for (const id_vector& face : parts_of(connectivity, e, type.type, &shape::faces)) {
            faces.emplace_back(least_turn(face), code++);
        }
    }
    std::sort(faces.begin(), faces.end());
    for (const bool flag : {false, true}) {
        id_vector expected(std::size_t(type.faces) * connectivity.cols(), N);
        for (std::size_t first = 0, next; first < faces.size(); first = next) {
            for (next = first + 1; next < faces.size() && faces[next].first == faces[first].first;) ++next;
            if (next - first == 1 || (next - first > 2 && !flag)) continue;
            expected[faces[first].second] = faces[next - 1].second / type.faces;
            for (std::size_t i = first + 1; i < next; ++i) {
                expected[faces[i].second] = faces[first].second / type.faces;
            }
        }
        dense2D<unsigned int> neighbors(2, 3, 1);
        ASSERT_EQ(get_neighbors(connectivity, type.type, flag, neighbors), 0);
        ASSERT_EQ(neighbors.rows(), type.faces);
        ASSERT_EQ(neighbors.cols(), connectivity.cols());
        ASSERT_TRUE(entries(neighbors) == expected)
            << "type " << type.type << ", flag " << flag << ", " << connectivity.cols() << " elements";
    }
}

TEST(Neighbors, LinkEqualFaces) {
    dice random(42);
    struct {
        unsigned int rounds, most_elements, most_nodes;
    } constexpr runs[] = {{12000, 8, 10}, {60, 60, 40}, {20, 400, 800}};
    for (const auto& run : runs) {
        for (unsigned int round = 0; round < run.rounds; ++round) {
            for (faced_type type : FACED_TYPES) {
                const bool mixed = type.type == ELEM_FACE_MIX || type.type == ELEM_SOLID_MIX;
                const unsigned int cols = 1 + random.below(run.most_elements);
                const unsigned int nodes = 2 + random.below(run.most_nodes - 1);
                auto elements = coincident_elements(random, type.type, cols, nodes, any_step(random, nodes));
                const bool has_hub = random.one_in(4), has_gaps = !mixed && random.one_in(6);
                for (unsigned int e = 0; e < cols; ++e) {
                    if (has_hub) elements(random.below(elements.rows()) % 3, e) = 0;
                    for (unsigned int i = 0; has_gaps && i < elements.rows(); ++i) {
                        if (random.one_in(3)) elements(i, e) = N; // a node like any other
                    }
                }
                if (type.type == ELEM_TRIA3 && !has_gaps && random.one_in(2)) type.type = ELEM_FACE_MIX;
                ASSERT_NO_FATAL_FAILURE(expect_linked(random.one_in(4) ? as_view(elements) : elements, type));
            }
        }
    }
}

TEST(Neighbors, LinkEqualFacesOfLargeMeshes) {
    dice random(43);
    for (const faced_type& type : FACED_TYPES) {
        const auto sparse = coincident_elements(random, type.type, 20000, 9000, 400000);
        ASSERT_NO_FATAL_FAILURE(expect_linked(sparse, type));
        auto elements = coincident_elements(random, type.type, 51000, 9000);
        ASSERT_NO_FATAL_FAILURE(expect_linked(elements, type));
        ASSERT_NO_FATAL_FAILURE(expect_linked(as_view(elements), type));
        for (unsigned int e = 0; e < elements.cols(); ++e) { // numbered along the mesh
            for (unsigned int i = 0; i < elements.rows(); ++i) {
                if (elements(i, e) != N) elements(i, e) = e / 8 + elements(i, e) % 16;
            }
        }
        ASSERT_NO_FATAL_FAILURE(expect_linked(elements, type));
    }
}

TEST(Neighbors, OfAFewElements) {
    const struct {
        element_type type;
        dense2D<unsigned int> connectivity;
        bool flag;
        id_vector expected;
    } examples[] = {
        {ELEM_TRIA3, id_matrix(3, {0, 1, 2, 2, 1, 3}), false, {1, N, N, N, N, 0}},
        {ELEM_TRIA3, id_matrix(3, {0, 1, 2, 1, 0, 3, 0, 1, 4}), false, id_vector(9, N)},
        {ELEM_TRIA3, id_matrix(3, {0, 1, 2, 1, 0, 3, 0, 1, 4}), true, {N, N, 2, N, N, 0, N, N, 0}},
        {ELEM_TRIA3, id_matrix(3, {4, 4, 9}), false, {0, 0, N}}, // its own neighbour
        {ELEM_TRIA3, id_matrix(3, {4, 4, 4}), false, {N, N, N}},
        {ELEM_TRIA3, id_matrix(3, {4, 4, 4}), true, {0, 0, 0}},
        {ELEM_FACE_MIX, id_matrix(4, {0, 1, 2, N, 0, 2, 3, 4}), false, {N, 1, N, N, 0, N, N, N}},
        // The top of a hexahedron turned and reversed, then with the same nodes crossed over.
        {ELEM_HEXA8,
         id_matrix(8, {0, 1, 2, 3, 4, 5, 6, 7, 5, 4, 7, 6, 10, 11, 12, 13}),
         false,
         {N, N, N, N, N, 1, N, N, N, N, 0, N}},
        {ELEM_HEXA8, id_matrix(8, {0, 1, 2, 3, 4, 5, 6, 7, 5, 7, 4, 6, 10, 11, 12, 13}), false,
         id_vector(12, N)},
        // A pyramid on a hexahedron, a tetrahedron on the pyramid.
        {ELEM_SOLID_MIX,
         id_matrix(8, {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, N, N, N, 8, 5, 4, 9, N, N, N, N}),
         false,
         {N, N, N, N, N, 1, 2, N, N, N, 0, N, N, N, N, 1, N, N}}};
    for (const auto& [type, connectivity, flag, expected] : examples) {
        dense2D<unsigned int> neighbors;
        EXPECT_EQ(get_neighbors(connectivity, type, flag, neighbors), 0);
        EXPECT_EQ(entries(neighbors), expected);
    }
}

TEST(Neighbors, LeaveTheConnectivityAloneWhenStorageIsShared) {
    const auto triangles = id_matrix(3, {0, 1, 2, 2, 1, 3});
    dense2D<unsigned int> sharing = triangles, both = triangles;
    EXPECT_EQ(get_neighbors(triangles, ELEM_TRIA3, false, sharing), 0);
    EXPECT_EQ(get_neighbors(both, ELEM_TRIA3, false, both), 0);
    for (const auto& neighbors : {sharing, both})
        EXPECT_EQ(entries(neighbors), (id_vector{1, N, N, N, N, 0}));
    EXPECT_EQ(entries(triangles), (id_vector{0, 1, 2, 2, 1, 3}));
}

TEST(Neighbors, EmptyTheOutputWhateverFollows) {
    const struct {
        dense2D<unsigned int> connectivity;
        element_type type;
        int code;
    } cases[] = {
        {{}, ELEM_TRIA6, 0},
        {dense2D<unsigned int>(3, 0), ELEM_TRIA3, 0},
        {id_matrix(4, {0, 1, 2, 3}), ELEM_TRIA3, -1},
        {id_matrix(4, {0, 1, 2, 3}), ELEM_TRIA6, -2}, // also of the wrong shape: the type comes first
        {id_matrix(4, {0, 1, 2, 3}), element_type(77), -2},
        {id_matrix(5, {0, 1, 2, 3, 4}), ELEM_FACE_MIX, -1},
        {id_matrix(4, {0, 1, N, 3}), ELEM_FACE_MIX, -1},
        {id_matrix(8, {0, 1, 2, 3, 4, N, 6, N}), ELEM_SOLID_MIX, -1},
        {id_matrix(6, {0, 1, 2, 3, 4, N}), ELEM_SOLID_MIX, -1}}; // well-formed, but faces want 8 rows
    for (const auto& [connectivity, type, code] : cases) {
        dense2D<unsigned int> neighbors(2, 5, 1);
        EXPECT_EQ(get_neighbors(connectivity, type, false, neighbors), code);
        EXPECT_EQ(neighbors.rows() + neighbors.cols(), 0u);
    }
}

} // namespace
