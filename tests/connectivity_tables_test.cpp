#include "topology_oracles.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>

using namespace qv7::plexo;
using oracle::entries;
using oracle::matrix;

namespace {

constexpr unsigned int N = NO_ID;
using list = std::vector<unsigned int>;

struct table {
    list entries;
    list offsets;
    bool operator==(const table&) const = default;
};

table compressed(const std::vector<std::set<unsigned int>>& sets) {
    table result{{}, {0}};
    for (const auto& set : sets) {
        result.entries.insert(result.entries.end(), set.begin(), set.end());
        result.offsets.push_back(unsigned(result.entries.size()));
    }
    return result;
}

/// The two tables from sets, element by element.
std::pair<table, table> naive_tables(const dense2D<unsigned int>& connectM) {
    std::vector<std::set<unsigned int>> elements;
    std::vector<std::set<unsigned int>> nodes;
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        for (unsigned int i = 0; i < connectM.rows(); ++i) {
            const unsigned int n = connectM(i, e);
            if (n == NO_ID) continue;
            if (n >= elements.size()) elements.resize(n + 1);
            if (n >= nodes.size()) nodes.resize(n + 1);
            elements[n].insert(e);
            for (unsigned int k = 0; k < connectM.rows(); ++k) {
                if (connectM(k, e) != n && connectM(k, e) != NO_ID) nodes[n].insert(connectM(k, e));
            }
        }
    }
    return {compressed(elements), compressed(nodes)};
}

template <typename Function>
table made_by(Function function, const dense2D<unsigned int>& connectM) {
    dense1D<unsigned int, 16> members(2, 9);
    dense1D<unsigned int, 16> offsets(3, 9);
    EXPECT_EQ(function(connectM, members, offsets), 0);
    return {entries(members), entries(offsets)};
}

TEST(ConnectivityTables, EqualSetsFilledElementByElement) {
    oracle::dice random(31);
    for (int round = 0; round < 2000; ++round) {
        dense2D<unsigned int> connectM(1 + random() % 9, random() % 12);
        const unsigned int nodes = 1 + random() % 30;
        const unsigned int absent = random() % 4;
        for (unsigned int i = 0; i < connectM.size(); ++i) {
            connectM.data()[i] = random() % 4 < absent ? N : random() % nodes;
        }
        const auto [elements, graph] = naive_tables(connectM);
        ASSERT_EQ(made_by(get_connected_elements, connectM), elements);
        ASSERT_EQ(made_by(get_node_graph, connectM), graph);
        ASSERT_EQ(made_by(get_connected_elements, oracle::framed(connectM, 3)), elements);
        ASSERT_EQ(made_by(get_node_graph, oracle::framed(connectM, 3)), graph);
    }
}

TEST(ConnectivityTables, OfNoNodes) {
    const table empty{{}, {0}};
    for (const auto& connectM : {dense2D<unsigned int>(), dense2D<unsigned int>(3, 0), matrix(2, {N, N})}) {
        EXPECT_EQ(made_by(get_connected_elements, connectM), empty);
        EXPECT_EQ(made_by(get_node_graph, connectM), empty);
    }
    EXPECT_EQ(made_by(get_connected_elements, matrix(2, {0, N})), (table{{0}, {0, 1}}));
    EXPECT_EQ(made_by(get_node_graph, matrix(2, {0, 0})), (table{{}, {0, 0}}));
}

TEST(ConnectivityTables, ThatCannotBeIndexedAreRefused) {
    const auto connectM = matrix(2, {1, N - 1});
    for (const auto function : {get_connected_elements, get_node_graph}) {
        dense1D<unsigned int, 16> members(2, 9);
        dense1D<unsigned int, 16> offsets(2, 9);
        EXPECT_EQ(function(connectM, members, offsets), -199);
        EXPECT_TRUE(members.empty());
        EXPECT_TRUE(offsets.empty());
    }
}

TEST(ConnectivityTables, LeaveTheConnectivityAloneWhenStorageIsShared) {
    const auto connectM = matrix(2, {0, 1, 2, 1});
    for (const auto function : {get_connected_elements, get_node_graph}) {
        dense1D<unsigned int, 16> members = connectM.as_vector();
        dense1D<unsigned int, 16> offsets = connectM.as_vector();
        EXPECT_EQ(function(connectM, members, offsets), 0);
        EXPECT_EQ(members.size(), 4u);
        EXPECT_EQ(entries(connectM), (std::vector<unsigned int>{0, 1, 2, 1}));
    }
}

list sorted_column(const dense2D<unsigned int>& matrix, unsigned int j) {
    list column(matrix.col_data(j), matrix.col_data(j) + matrix.rows());
    std::sort(column.begin(), column.end());
    return column;
}

TEST(SortElfes, IsAStableSortByTheNodesOfTheColumns) {
    oracle::dice random(32);
    for (int round = 0; round < 1500; ++round) {
        const unsigned int cols = random() % 20;
        dense2D<unsigned int> connectM(1 + random() % 8, cols);
        const unsigned int nodes = 1 + random() % 8;
        const unsigned int scale = round % 2 == 0 ? 1 : 500000000;
        for (unsigned int i = 0; i < connectM.size(); ++i) {
            connectM.data()[i] = random() % 8 == 0 ? N : scale * (random() % nodes);
        }
        list order(cols);
        std::iota(order.begin(), order.end(), 0u);
        std::stable_sort(order.begin(), order.end(), [&](unsigned int a, unsigned int b) {
            return sorted_column(connectM, a) < sorted_column(connectM, b);
        });
        auto sorted = round % 3 == 0 ? oracle::framed(connectM) : connectM;
        const auto shared = sorted;
        dense1D<unsigned int, 16> new_IDs(4, 1);
        ASSERT_EQ(sort_elfes(sorted, new_IDs), 0);
        ASSERT_EQ(new_IDs.size(), cols);
        for (unsigned int j = 0; j < cols; ++j) {
            ASSERT_EQ(new_IDs[order[j]], j);
            ASSERT_EQ(entries(sorted.sub_matrix(0, j, sorted.rows(), 1)),
                      entries(connectM.sub_matrix(0, order[j], connectM.rows(), 1)));
        }
        ASSERT_EQ(entries(shared), entries(connectM));
    }
}

TEST(SortElfes, OfColumnsWithoutRowsKeepsThem) {
    dense2D<unsigned int> none(0, 3);
    dense1D<unsigned int, 16> new_IDs;
    EXPECT_EQ(sort_elfes(none, new_IDs), 0);
    EXPECT_EQ(none.cols(), 3u);
    EXPECT_EQ(entries(new_IDs), (list{0, 1, 2}));
}

} // namespace
