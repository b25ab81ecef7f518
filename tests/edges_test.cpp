#include "topology_oracles.h"

#include "topology/edge_set.h"

#include <array>
#include <set>

using namespace test;

namespace {

/// The edges of connectivities behind those that a list starts with, first met, first listed.
struct edge_list {
    id_vector edges;
    std::set<std::pair<unsigned int, unsigned int>> met;

    void add(const dense2D<unsigned int>& connectivity, int type) {
        for (unsigned int e = 0; e < connectivity.cols(); ++e) {
            for (const id_vector& edge : parts_of(connectivity, e, type, &shape::edges)) {
                if (met.insert(std::minmax(edge[0], edge[1])).second) {
                    edges.insert(edges.end(), edge.begin(), edge.end());
                }
            }
        }
    }
};

TEST(CopyEdges, AppendsEachPairOfNodesWhereItIsFirstMet) {
    dice random(11);
    edge_set reused;
    for (int round = 0; round < 200; ++round) {
        const unsigned int most = round % 50 == 0 ? 2000 : 12;
        std::vector<dense2D<unsigned int>> range;
        dense1D<int, 16> types;
        edge_list of_range;
        for (int code = 0; code < ELEMENT_TYPE_COUNT; ++code) {
            auto type = element_type(code);
            const unsigned int nodes = 1 + random.below(round % 100 == 0 ? 100 : 5 * most);
            auto elements = any_elements(random, type, 1 + random.below(most), nodes);
            if (type == ELEM_SOLID_MIX) { // of fewer nodes, as the rows have room for
                elements =
                    elements.sub_matrix(0, 0, std::array{4u, 5u, 6u, 8u}[random.below(4)], elements.cols());
            }
            const id_vector before = entries(elements);
            // What is there is not looked at; it may be seen through the input, or be the input.
            auto edges = elements.rows() == 2 ? elements : id_matrix(2, {6, 7});
            const auto& input = elements.rows() == 2 && random.one_in(2) ? edges : elements;
            edge_list expected{entries(edges), {}};
            expected.add(elements, type);
            ASSERT_EQ(copy_edges(input, type, edges), 0);
            ASSERT_EQ(entries(edges), expected.edges) << type;
            ASSERT_EQ(entries(elements), before);

            dense2D<unsigned int> excluded(2, 0);
            for (unsigned int j = 0; j < edges.cols(); j += 3) { // as listed, and reversed
                const unsigned int pair[] = {edges(j % 2, j), edges(1 - j % 2, j)};
                ASSERT_TRUE(excluded.push_back_col(pair));
            }
            excluded = as_view(excluded);
            edge_list rest;
            rest.add(excluded, ELEM_EDGE2);
            rest.edges.clear();
            rest.add(elements, type);
            const int given = type;
            ASSERT_TRUE(reused.collect(&elements, &elements + 1, &given, &excluded));
            id_vector found;
            for (const auto& edge : reused) found.insert(found.end(), edge.begin(), edge.end());
            ASSERT_EQ(found, rest.edges) << type;

            if (!random.one_in(6)) continue;
            range.push_back(elements);
            types.push_back(type);
            of_range.add(elements, type);
        }
        dense2D<unsigned int> edges;
        ASSERT_EQ(copy_edges(range.data(), range.data() + range.size(), types, edges), 0);
        ASSERT_EQ(entries(edges), of_range.edges);
    }
}

TEST(CopyEdges, ChecksARangeInOrder) {
    const dense2D<unsigned int> range[] = {id_matrix(4, {0, 1, 2, 3}), id_matrix(3, {0, 1, 2})};
    const dense1D<int, 16> none, unknown(1, -1), quads(2, ELEM_QUAD4);
    auto three_rows = id_matrix(3, {8, 8, 8});
    EXPECT_EQ(copy_edges(range + 1, range, quads, three_rows), -2);
    EXPECT_EQ(copy_edges(range, range + 1, quads, three_rows), -3);
    EXPECT_EQ(copy_edges(range, range + 2, quads, three_rows), -4);
    EXPECT_EQ(copy_edges(range, range, none, three_rows), -4); // also for an empty range
    EXPECT_EQ(entries(three_rows), (id_vector{8, 8, 8}));
    dense2D<unsigned int> edges;
    EXPECT_EQ(copy_edges(range, range, unknown, edges), -3);
    EXPECT_EQ(copy_edges(range, range + 2, quads, edges), -1); // the second only
    EXPECT_EQ(copy_edges(range, range, none, edges), 0);
    EXPECT_EQ(copy_edges(range, range + 1, unknown, edges), 0); // a code without edges
    EXPECT_TRUE(edges.empty());
}

} // namespace
