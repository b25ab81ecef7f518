#include "limited_blocks.h"
#include "topology_oracles.h"

#include <array>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;

TEST(TopologyFailures, FollowTheOrderOfTheChecks) {
    const auto quad = id_matrix(4, {0, 1, 2, 3}), linked = id_matrix(4, {0, 0, 0, 0});
    const auto three_rows = id_matrix(3, {8, 8, 8}); // a shape that no output takes
    const dense2D<unsigned int> none, two_columns(4, 2, 0);
    const struct {
        dense2D<unsigned int> connectivity, neighbors;
        int type, all, outer, codes, links, edges;
    } cases[] = {
        {none, three_rows, ELEM_TRIA6, 0, 0, 0, 0, 0}, // empty input first
        {dense2D<unsigned int>(3, 0), three_rows, ELEM_QUAD4, 0, 0, 0, 0, 0},
        {id_matrix(3, {0, N, 2}), none, ELEM_SOLID_MIX, -1, -1, -1, -1, -1}, // malformed, neighbours missing
        {id_matrix(4, {0, 1, N, 2}), linked, ELEM_FACE_MIX, -1, -1, -1, -1, -1},
        {quad, none, ELEM_TRIA6, -2, -2, -2, -2, -1}, // the type before its rows
        {quad, none, 77, -2, -2, -2, -2, -3},
        {quad, none, ELEM_TRIA3, -1, -1, -1, -1, -1}, // the rows before the neighbours and the output
        {id_matrix(2, {0, 1}), none, ELEM_TRIA3, -1, -1, -1, -1, -1},
        {id_matrix(6, {0, 1, 2, 3, 4, N}), none, ELEM_SOLID_MIX, -1, -1, -1, -1, -3}, // faces want 8 rows
        {quad, three_rows, ELEM_QUAD4, -2, -2, -2, 0, -3}, // the neighbours before the output
        {quad, two_columns, ELEM_QUAD4, -2, -2, -2, 0, -3},
        {quad, linked, ELEM_QUAD4, -2, -3, 0, 0, -3}};
    for (const auto& c : cases) {
        const auto type = element_type(c.type);
        auto output = three_rows;
        id_list codes;
        dense2D<unsigned int> links(2, 5, 1);
        EXPECT_EQ(get_element_boundaries(c.connectivity, type, output), c.all) << type;
        EXPECT_EQ(get_mesh_boundaries(c.connectivity, c.neighbors, type, output), c.outer) << type;
        EXPECT_EQ(get_mesh_bounding_elements(c.connectivity, c.neighbors, type, codes), c.codes) << type;
        EXPECT_EQ(get_neighbors(c.connectivity, type, false, links), c.links) << type;
        EXPECT_EQ(copy_edges(c.connectivity, type, output), c.edges) << type;
        EXPECT_EQ(entries(output), (id_vector{8, 8, 8}));
        EXPECT_TRUE(codes.empty());
        EXPECT_EQ(links.rows() + links.cols(), c.links == 0 && !c.connectivity.empty() ? 5u : 0u);
    }
    auto one = quad, two = two_columns;
    id_list offsets(1, 7);
    EXPECT_EQ(get_subdomains(one, two, offsets), -2);
    EXPECT_EQ(one.cols() + two.cols() + offsets.size(), 4u);
}

struct scene {
    dense2D<unsigned int> elements, links = {3, elements.cols(), N}, matrix = id_matrix(2, {7, 8});
    id_list first = elements.as_vector(), second = ids({6});

    std::array<id_vector, 5> state() const {
        return {entries(elements), entries(links), entries(matrix), entries(first), entries(second)};
    }
};

scene scene_of(const dense2D<unsigned int>& mesh) {
    scene s{mesh};
    for (unsigned int e = 0; e < mesh.cols(); ++e) s.links(0, e) = mesh.cols() - 1 - e;
    EXPECT_TRUE(s.matrix.reserve(2, 5) && s.second.reserve(5));
    return s;
}

bool is_left_so(char how, const id_vector& before, const id_vector& after, const id_vector& result) {
    if (how == '<') {
        return after.size() > before.size() && after.size() <= result.size() &&
               std::equal(after.begin(), after.end(), result.begin());
    }
    return (how != '0' && after == before) || (how != '=' && after.empty());
}

TEST(TopologyFailures, LeaveTheArgumentsInADefinedStateWithoutMemory) {
    constexpr auto TRIA = ELEM_TRIA3;
    const struct {
        const char* left; // of each argument: = as before, 0 nothing, * either, < a beginning of the result
        int (*call)(scene&);
    } cases[] = {
        {"==0==", [](scene& s) { return get_neighbors(s.elements, TRIA, false, s.matrix); }},
        {"=====", [](scene& s) { return copy_edges(s.elements, TRIA, s.matrix); }},
        {"==<==", [](scene& s) { return get_element_boundaries(s.elements, TRIA, s.matrix); }},
        {"==<==", [](scene& s) { return get_mesh_boundaries(s.elements, s.links, TRIA, s.matrix); }},
        {"====<", [](scene& s) { return get_mesh_bounding_elements(s.elements, s.links, TRIA, s.second); }},
        {"===00", [](scene& s) { return get_subdomains(s.links, s.first, s.second); }},
        {"**==0", [](scene& s) { return get_subdomains(s.elements, s.links, s.second); }},
        {"===0=", [](scene& s) { return sort_elfes(s.elements, s.first); }},
        {"=====", [](scene& s) { return get_ancestors(s.elements, s.first); }},
        {"===0=", [](scene& s) { return s.first.clear(), get_ancestors(s.elements, s.first); }},
        {"===00", [](scene& s) { return get_connected_elements(s.elements, s.first, s.second); }},
        {"===00", [](scene& s) { return get_node_graph(s.elements, s.first, s.second); }}};
    dice random(51);
    const dense2D<unsigned int> meshes[] = {coincident_elements(random, TRIA, 600, 900, 4000000),
                                            coincident_elements(random, TRIA, 600, 20),
                                            coincident_elements(random, TRIA, 51000, 9000)};
    for (const auto& mesh : meshes) {
        // For IDs far apart not the last of them, tables by ID, which would take gigabytes.
        const std::size_t last = &mesh == meshes ? 8 : std::size(cases);
        for (std::size_t c = 0; c < last; ++c) {
            const auto& [left, call] = cases[c];
            scene whole = scene_of(mesh);
            ASSERT_EQ(call(whole), 0) << c;
            const auto result = whole.state();
            for (unsigned int blocks = 0;; ++blocks) {
                scene s = scene_of(mesh);
                const auto before = s.state();
                blocks_left = blocks;
                const int code = call(s);
                blocks_left = UINT_MAX;
                const auto after = s.state();
                if (code == 0 && blocks > 0) {
                    ASSERT_TRUE(after == result) << c;
                    break;
                }
                ASSERT_EQ(code, -199) << c;
                for (std::size_t k = 0; k < after.size(); ++k) {
                    ASSERT_TRUE(is_left_so(left[k], before[k], after[k], result[k])) << c << ' ' << k;
                }
            }
        }
    }
}

} // namespace
