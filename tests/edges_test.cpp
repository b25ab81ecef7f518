#include "topology_oracles.h"

#include "topology/edge_set.h"

#include <gtest/gtest.h>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;
using list = std::vector<unsigned int>;

/// The local edges of a column, in the order in which they are met.
list local_edges(const unsigned int* c, unsigned int rows, int type) {
    const auto used = [&] { return unsigned(std::find(c, c + rows, N) - c); };
    switch (type) {
    case ELEM_EDGE2:
    case ELEM_EDGE3:
        return {0, 1};
    case ELEM_FACE_MIX:
        return local_edges(c, rows, used() == 3 ? ELEM_TRIA3 : ELEM_QUAD4);
    case ELEM_TRIA3:
    case ELEM_TRIA6:
        return {1, 2, 2, 0, 0, 1};
    case ELEM_QUAD4:
    case ELEM_QUAD8:
    case ELEM_QUAD9:
        return {0, 1, 1, 2, 2, 3, 3, 0};
    case ELEM_SOLID_MIX:
        switch (used()) {
        case 4:
            return local_edges(c, rows, ELEM_TETRA4);
        case 5:
            return local_edges(c, rows, ELEM_PYRAMID5);
        case 6:
            return local_edges(c, rows, ELEM_WEDGE6);
        default:
            return local_edges(c, rows, ELEM_HEXA8);
        }
    case ELEM_TETRA4:
    case ELEM_TETRA10:
        return {0, 1, 1, 2, 2, 0, 0, 3, 1, 3, 2, 3};
    case ELEM_PYRAMID5:
    case ELEM_PYRAMID14:
        return {0, 1, 1, 2, 2, 3, 3, 0, 0, 4, 1, 4, 2, 4, 3, 4};
    case ELEM_WEDGE6:
    case ELEM_WEDGE18:
        return {0, 1, 1, 2, 2, 0, 0, 3, 1, 4, 2, 5, 3, 4, 4, 5, 5, 3};
    case ELEM_HEXA8:
    case ELEM_HEXA27:
        return {0, 1, 1, 2, 2, 3, 3, 0, 0, 4, 1, 5, 2, 6, 3, 7, 4, 5, 5, 6, 6, 7, 7, 4};
    default:
        return {};
    }
}

bool contains(const list& edges, unsigned int a, unsigned int b) {
    for (std::size_t i = 0; i < edges.size(); i += 2) {
        if ((edges[i] == a && edges[i + 1] == b) || (edges[i] == b && edges[i + 1] == a)) return true;
    }
    return false;
}

/// Adds what a connectivity has and neither `edges` nor `excluded`, first met, first listed.
void collect(list& edges, const dense2D<unsigned int>& connectivity, int type, const list& excluded = {}) {
    for (unsigned int e = 0; e < connectivity.cols(); ++e) {
        const unsigned int* c = connectivity.col_data(e);
        const list local = local_edges(c, connectivity.rows(), type);
        for (std::size_t i = 0; i < local.size(); i += 2) {
            const unsigned int a = c[local[i]];
            const unsigned int b = c[local[i + 1]];
            if (!contains(edges, a, b) && !contains(excluded, a, b)) edges.insert(edges.end(), {a, b});
        }
    }
}

/// A random mesh of any type, quadratic ones included.
dense2D<unsigned int> any_mesh(oracle::dice& random, int type, unsigned int elements, unsigned int nodes,
                               unsigned int first = 0, unsigned int step = 1) {
    if (type == ELEM_FACE_MIX || type == ELEM_SOLID_MIX) {
        return oracle::random_mesh(random, element_type(type), elements, nodes, first, step);
    }
    dense2D<unsigned int> connectivity(std::max(1u, NODES_PER_ELEMENT[type]), elements);
    for (unsigned int i = 0; i < connectivity.size(); ++i) {
        connectivity.data()[i] = first + step * (random() % nodes);
    }
    return connectivity;
}

list edges_of(const dense2D<unsigned int>& connectivity, int type) {
    dense2D<unsigned int> edges;
    EXPECT_EQ(copy_edges(connectivity, element_type(type), edges), 0);
    return entries(edges);
}

TEST(CopyEdges, ListsEachPairOfNodesWhereItIsFirstMet) {
    oracle::dice random(11);
    for (int round = 0; round < 300; ++round) {
        for (int type = 0; type < ELEMENT_TYPE_COUNT; ++type) {
            const unsigned int nodes = 1 + random() % 60;
            const unsigned int step = round % 3 == 0 ? 1 + random() % 70000000 : 1;
            const unsigned int first = step == 1 ? 0 : NO_ID - 1 - step * (nodes - 1);
            const auto connectivity = any_mesh(random, type, 1 + random() % 12, nodes, first, step);
            list expected;
            collect(expected, connectivity, type);
            ASSERT_EQ(edges_of(connectivity, type), expected) << type;
            ASSERT_EQ(edges_of(oracle::framed(connectivity), type), expected) << type;
        }
    }
}

TEST(CopyEdges, OfATriangleAndOfRowsThatMixedTypesMayHave) {
    EXPECT_EQ(edges_of(matrix(3, {5, 6, 7}), ELEM_TRIA3), (list{6, 7, 7, 5, 5, 6}));
    EXPECT_EQ(edges_of(matrix(3, {5, 6, 7}), ELEM_FACE_MIX), (list{6, 7, 7, 5, 5, 6}));
    EXPECT_EQ(edges_of(matrix(4, {5, 6, 7, 8}), ELEM_SOLID_MIX).size(), 12u);
    EXPECT_EQ(edges_of(matrix(5, {5, 6, 7, 8, N, 1, 2, 3, 4, 0}), ELEM_SOLID_MIX).size(), 12u + 16u);
    EXPECT_EQ(edges_of(matrix(6, {0, 1, 2, 3, 4, 5, 0, 1, 2, 3, 4, N}), ELEM_SOLID_MIX).size(), 18u + 2 * 3u);
    EXPECT_EQ(edges_of(matrix(2, {3, 3, 3, 3, 3, 4, 4, 3}), ELEM_EDGE2), (list{3, 3, 3, 4}));
}

TEST(CopyEdges, TakesAbsentNodesOfFixedTypesForNodes) {
    EXPECT_EQ(edges_of(matrix(2, {N, 1, 1, N, N, N, 1, 0}), ELEM_EDGE2), (list{N, 1, N, N, 1, 0}));
}

TEST(CopyEdges, OfNodesWithMoreEdgesThanAnyLineHolds) {
    oracle::dice random(12);
    for (const unsigned int nodes : {20u, 90u}) { // all tetrahedra meet at a few nodes: long lines overflow
        const auto tetrahedra = any_mesh(random, ELEM_TETRA4, 900, nodes);
        list expected;
        collect(expected, tetrahedra, ELEM_TETRA4);
        EXPECT_EQ(edges_of(tetrahedra, ELEM_TETRA4), expected);
    }
    dense2D<unsigned int> fan(3, 3000);
    for (unsigned int e = 0; e < fan.cols(); ++e)
        std::copy_n(list{0, e + 1, e + 2}.data(), 3, fan.col_data(e));
    const list edges = edges_of(fan, ELEM_TRIA3);
    EXPECT_EQ(edges.size(), 2u * (3000 + 3001));
    EXPECT_EQ(list(edges.begin(), edges.begin() + 10), (list{1, 2, 2, 0, 0, 1, 2, 3, 3, 0}));
}

TEST(CopyEdges, OfARangeListsSharedEdgesOnce) {
    oracle::dice random(13);
    for (int round = 0; round < 200; ++round) {
        std::vector<dense2D<unsigned int>> range;
        dense1D<int, 16> types;
        list expected;
        for (unsigned int i = random() % 4; i > 0; --i) {
            const int type = int(random() % 23) - 1; // also codes that there are not
            const bool known = type >= 0 && type < ELEMENT_TYPE_COUNT;
            range.push_back(any_mesh(random, known ? type : 0, random() % 6, 2 + random() % 12));
            types.push_back(type);
            collect(expected, range.back(), type);
        }
        dense2D<unsigned int> edges = matrix(2, {9, 9});
        ASSERT_EQ(copy_edges(range.data(), range.data() + range.size(), types, edges), 0);
        expected.insert(expected.begin(), {9, 9});
        ASSERT_EQ(entries(edges), expected);
    }
}

TEST(CopyEdges, OfTheHexahedronWithMidEdgeNodesIsEmpty) {
    EXPECT_TRUE(edges_of(dense2D<unsigned int>(20, 3, 1), ELEM_HEXA20).empty());
    EXPECT_EQ(edges_of(dense2D<unsigned int>(27, 3, 1), ELEM_HEXA27), (list{1, 1}));
}

TEST(CopyEdges, AppendsWithoutLookingAtWhatIsThere) {
    auto edges = oracle::framed(matrix(2, {6, 7}), 50);
    EXPECT_EQ(copy_edges(matrix(3, {5, 6, 7}), ELEM_TRIA3, edges), 0);
    EXPECT_EQ(copy_edges(matrix(3, {5, 6, 7}), ELEM_TRIA3, edges), 0);
    EXPECT_EQ(entries(edges), (list{6, 7, 6, 7, 7, 5, 5, 6, 6, 7, 7, 5, 5, 6}));
    auto both = matrix(2, {1, 0, 0, 1});
    const auto sharing = both;
    EXPECT_EQ(copy_edges(both, ELEM_EDGE2, both), 0);
    EXPECT_EQ(entries(both), (list{1, 0, 0, 1, 1, 0}));
    EXPECT_EQ(entries(sharing), (list{1, 0, 0, 1}));
}

TEST(CopyEdges, ChecksInOrder) {
    dense2D<unsigned int> three_rows(3, 1, 8);
    EXPECT_EQ(copy_edges(dense2D<unsigned int>(), ELEM_TRIA3, three_rows), 0);
    EXPECT_EQ(copy_edges(matrix(4, {0, 1, N, 3}), ELEM_FACE_MIX, three_rows), -1);
    EXPECT_EQ(copy_edges(matrix(4, {0, 1, 2, 3}), ELEM_TRIA3, three_rows), -1); // too many rows
    EXPECT_EQ(copy_edges(matrix(2, {0, 1}), ELEM_TRIA3, three_rows), -1);       // too few
    EXPECT_EQ(copy_edges(matrix(3, {0, 1, 2}), ELEM_TRIA3, three_rows), -3);

    const dense2D<unsigned int> range[2] = {matrix(3, {0, 1, 2}), matrix(3, {0, 1, 2})};
    dense1D<int, 16> types(1, ELEM_QUAD4);
    EXPECT_EQ(copy_edges(range + 1, range, types, three_rows), -2);
    EXPECT_EQ(copy_edges(range, range + 2, types, three_rows), -3);
    EXPECT_EQ(copy_edges(range, range + 1, types, three_rows), -4);
    dense2D<unsigned int> edges;
    EXPECT_EQ(copy_edges(range, range + 1, types, edges), -1);
    EXPECT_EQ(copy_edges(range, range, types, edges), -3);
    EXPECT_EQ(copy_edges(range, range, dense1D<int, 16>(), three_rows), -4); // also for an empty range
    EXPECT_EQ(copy_edges(range, range, dense1D<int, 16>(), edges), 0);
    EXPECT_TRUE(edges.empty());
    EXPECT_EQ(entries(three_rows), (list{8, 8, 8}));
}

TEST(EdgeSet, LeavesExcludedEdgesOutInEitherDirection) {
    oracle::dice random(14);
    for (int round = 0; round < 300; ++round) {
        const unsigned int scale = round % 2 == 0 ? 1 : 100000000;
        const auto triangles = any_mesh(random, ELEM_TRIA3, 1 + random() % 15, 8, 0, scale);
        const auto excluded = any_mesh(random, ELEM_EDGE2, random() % 12, 8, 0, scale);
        const int type = ELEM_TRIA3;
        list expected;
        collect(expected, triangles, type, entries(excluded));
        edge_set edges;
        const auto view = oracle::framed(excluded);
        for (int repeat = 0; repeat < 2; ++repeat) {
            ASSERT_TRUE(edges.collect(&triangles, &triangles + 1, &type, &view));
            list found;
            for (const auto& edge : edges) found.insert(found.end(), edge.begin(), edge.end());
            ASSERT_EQ(found, expected);
        }
    }
}

} // namespace
