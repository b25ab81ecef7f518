#include "topology_oracles.h"

#include <gtest/gtest.h>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;
using list = std::vector<unsigned int>;

TEST(Ancestors, AreTheLastElementsAtTheirNodes) {
    const auto surface = matrix(4, {0, 5, 2, N, 2, 3, 5, 0, 7, 7, 3, N});
    dense1D<unsigned int, 16> ancestors;
    EXPECT_EQ(get_ancestors(surface, ancestors), 0);
    EXPECT_EQ(entries(ancestors), (list{1, N, 1, 2, N, 1, N, 2}));
    dense1D<unsigned int, 16> of_view;
    EXPECT_EQ(get_ancestors(oracle::framed(surface, 30), of_view), 0);
    EXPECT_EQ(entries(of_view), entries(ancestors));
}

TEST(Ancestors, KeepTheSizeAndTheUntouchedEntriesOfAGivenTable) {
    dense1D<unsigned int, 16> ancestors(5, 77);
    EXPECT_EQ(get_ancestors(matrix(3, {0, 5, 2, 2, 4294967294u, N}), ancestors), 0);
    EXPECT_EQ(entries(ancestors), (list{0, 77, 1, 77, 77}));
}

TEST(Ancestors, OfNoNodes) {
    dense1D<unsigned int, 16> ancestors(2, 77);
    EXPECT_EQ(get_ancestors(dense2D<unsigned int>(3, 0), ancestors), 0);
    EXPECT_EQ(entries(ancestors), (list{77, 77}));
    ancestors.clear_hard();
    EXPECT_EQ(get_ancestors(dense2D<unsigned int>(), ancestors), 0);
    EXPECT_TRUE(ancestors.empty());
    EXPECT_EQ(get_ancestors(matrix(2, {N, N}), ancestors), 0); // the largest ID of such a list is 0
    EXPECT_EQ(entries(ancestors), (list{N}));
}

TEST(Ancestors, LeaveAConnectivityAloneThatSharesTheirStorage) {
    const auto edges = matrix(2, {1, 0, 1, 3, 2, 1});
    dense1D<unsigned int, 16> ancestors = edges.as_vector().sub_vector(1, 4);
    EXPECT_EQ(get_ancestors(edges, ancestors), 0);
    EXPECT_EQ(entries(ancestors), (list{0, 2, 2, 1}));
    EXPECT_EQ(entries(edges), (list{1, 0, 1, 3, 2, 1}));
}

} // namespace
