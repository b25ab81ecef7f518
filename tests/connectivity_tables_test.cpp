#include "topology_oracles.h"

#include <set>

using namespace test;

namespace {

constexpr unsigned int N = NO_ID;
/// A row of any length for each node: the members of all rows, and where each begins and the last one ends.
struct table {
    id_vector members, offsets{0};
    bool operator==(const table&) const = default;
    void append(const std::set<unsigned int>& row) {
        members.insert(members.end(), row.begin(), row.end());
        offsets.push_back(unsigned(members.size()));
    }
};

/// Into outputs that share storage with the connectivity where they can.
template <typename Function>
table made_by(Function function, const dense2D<unsigned int>& connectM) {
    id_list members = connectM.contiguous() ? id_list(connectM.as_vector()) : ids({9, 9}), offsets = members;
    EXPECT_EQ(function(connectM, members, offsets), 0);
    return {entries(members), entries(offsets)};
}

TEST(ConnectivityTables, EqualSetsFilledElementByElement) {
    dice random(31);
    for (int round = 0; round < 2000; ++round) {
        dense2D<unsigned int> connectM(1 + random.below(9), random.below(12));
        const unsigned int IDs = 1 + random.below(30), absent = random.below(5);
        for (unsigned int i = 0; i < connectM.size(); ++i) {
            connectM.data()[i] = random.below(4) < absent ? N : random.below(IDs);
        }
        if (round % 3 == 0) connectM = as_view(connectM, 3u);
        const id_vector before = entries(connectM);
        unsigned int nodes = 0;
        for (const unsigned int n : before) nodes = std::max(nodes, n + 1); // 0 for NO_ID

        table elements, graph;
        id_vector last; // the last element of each node
        for (unsigned int n = 0; n < nodes; ++n) {
            std::set<unsigned int> at, around;
            for (unsigned int e = 0; e < connectM.cols(); ++e) {
                const id_list column = connectM.col(e);
                if (std::count(column.begin(), column.end(), n) == 0) continue;
                at.insert(e);
                around.insert(column.begin(), column.end());
            }
            around.erase(n);
            around.erase(N);
            elements.append(at);
            graph.append(around);
            last.push_back(at.empty() ? N : *at.rbegin());
        }
        ASSERT_EQ(made_by(get_connected_elements, connectM), elements);
        ASSERT_EQ(made_by(get_node_graph, connectM), graph);

        id_list ancestors;
        ASSERT_EQ(get_ancestors(connectM, ancestors), 0);
        if (last.empty() && !connectM.empty()) last = {N}; // the largest ID of padding alone is 0
        ASSERT_EQ(entries(ancestors), last);
        // A table that is given keeps its size and the entries that no element touches.
        const bool shared = connectM.contiguous() && connectM.size() > 1 && random.one_in(2);
        const unsigned int size = 1 + random.below(40);
        id_list given = shared ? id_list(connectM.as_vector().sub_vector(1, size)) : id_list(size, 77u);
        id_vector expected = entries(given);
        for (std::size_t n = 0; n < std::min(last.size(), expected.size()); ++n) {
            if (last[n] != N) expected[n] = last[n];
        }
        ASSERT_EQ(get_ancestors(connectM, given), 0);
        ASSERT_EQ(entries(given), expected);
        ASSERT_EQ(entries(connectM), before);
    }
}

TEST(ConnectivityTables, WithOffsetsBeyond32BitsAreRefused) {
    for (const auto function : {get_connected_elements, get_node_graph}) {
        id_list members(2, 9), offsets(2, 9);
        EXPECT_EQ(function(id_matrix(2, {1, N - 1}), members, offsets), -199);
        EXPECT_TRUE(members.empty() && offsets.empty());
    }
}

TEST(SortElfes, IsAStableSortByTheNodesOfTheColumns) {
    dice random(32);
    for (int round = 0; round < 1500; ++round) {
        dense2D<unsigned int> connectM(random.below(9), random.below(20));
        const unsigned int nodes = 1 + random.below(8), scale = round % 2 == 0 ? 1 : 500000000;
        for (unsigned int i = 0; i < connectM.size(); ++i) {
            connectM.data()[i] = random.one_in(8) ? N : scale * random.below(nodes);
        }
        if (round % 3 == 0) connectM = as_view(connectM);
        std::vector<std::pair<id_vector, unsigned int>> order; // equal keys by column
        for (unsigned int j = 0; j < connectM.cols(); ++j) {
            order.emplace_back(entries(connectM.sub_matrix(0, j, connectM.rows(), 1)), j);
            std::sort(order[j].first.begin(), order[j].first.end());
        }
        std::sort(order.begin(), order.end());

        const id_vector before = entries(connectM);
        auto sorted = connectM;
        id_list new_IDs = connectM.contiguous() ? id_list(connectM.as_vector()) : ids({1, 1});
        ASSERT_EQ(sort_elfes(sorted, new_IDs), 0);
        ASSERT_EQ(sorted.rows(), connectM.rows());
        ASSERT_EQ(sorted.cols(), connectM.cols());
        ASSERT_EQ(new_IDs.size(), connectM.cols());
        for (unsigned int j = 0; j < connectM.cols(); ++j) {
            const unsigned int old = order[j].second;
            ASSERT_EQ(new_IDs[old], j);
            ASSERT_TRUE(
                std::equal(sorted.col_data(j), sorted.col_data(j) + sorted.rows(), connectM.col_data(old)));
        }
        ASSERT_EQ(entries(connectM), before);
    }
}

} // namespace
