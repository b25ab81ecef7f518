#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <map>

using namespace qv7::plexo;
using test::entries;
using test::id_matrix;
using test::real_matrix;
using list = std::vector<unsigned int>;

namespace {

constexpr unsigned int N = NO_ID;

dense2D<double> numbered_nodes(unsigned int rows, unsigned int cols) {
    dense2D<double> pos(rows, cols);
    for (unsigned int j = 0; j < cols; ++j) {
        for (unsigned int i = 0; i < rows; ++i) pos(i, j) = 10 * j + i;
    }
    return pos;
}

TEST(Simplify, ChecksInOrderAndChangesNothingWhenItFails) {
    auto pos = numbered_nodes(3, 4);
    dense2D<unsigned int> range[2] = {id_matrix(2, {0, 1}), id_matrix(2, {1, 4})};
    dense1D<unsigned int, 16> new_IDs(3, 7);
    EXPECT_EQ(simplify(pos, range + 2, range, new_IDs, 0), -3); // reversed comes before the bad ID
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(simplify(pos, range, range, new_IDs, 0), 0);
    EXPECT_EQ(simplify(pos, range, range + 2, new_IDs, 9), -2); // a bad ID comes before nothing to remove
    EXPECT_EQ(simplify(pos, range, range + 2, new_IDs, 0), -2);
    EXPECT_EQ(entries(range[0]), (list{0, 1}));
    EXPECT_EQ(pos.cols(), 4u);
    EXPECT_TRUE(new_IDs.empty());

    dense2D<double> empty(3, 0);
    EXPECT_EQ(simplify(empty, range[0], new_IDs, 0), -2);
    auto padding = id_matrix(2, {N, N});
    EXPECT_EQ(simplify(empty, padding, new_IDs, 0), 0);
    EXPECT_EQ(simplify(pos, range[0], new_IDs, 4), 0);
    EXPECT_TRUE(new_IDs.empty());
}

TEST(Simplify, KeepsTheRowsWhenEveryNodeGoes) {
    auto pos = numbered_nodes(3, 5);
    auto padding = id_matrix(2, {N, N});
    EXPECT_EQ(simplify(pos, padding, 0), 5);
    EXPECT_EQ(pos.rows(), 3u);
    EXPECT_EQ(pos.cols(), 0u);
    EXPECT_EQ(entries(padding), (list{N, N}));
}

TEST(Simplify, RenumbersTwoConnectivitiesInPlace) {
    auto pos = numbered_nodes(2, 6);
    auto edges = id_matrix(2, {1, 3});
    auto faces = id_matrix(4, {5, 3, 1, N});
    const auto shared = edges;
    EXPECT_EQ(simplify(pos, edges, faces, 0), 3);
    EXPECT_EQ(entries(edges), (list{0, 1}));
    EXPECT_EQ(entries(shared), (list{0, 1}));
    EXPECT_EQ(entries(faces), (list{2, 1, 0, N}));
}

TEST(Simplify, EqualsItsStepsOnRandomMeshesAndViews) {
    test::dice random(5);
    for (int round = 0; round < 2000; ++round) {
        const unsigned int count = 1 + random.below(20);
        const unsigned int N0 = random.below(count + 2);
        std::vector<list> given;
        std::vector<test::framed<unsigned int>> views;
        std::map<unsigned int, unsigned int> used;
        for (unsigned int m = 0; m < 1 + random.below(3); ++m) {
            dense2D<unsigned int> connectivity(1 + random.below(4), random.below(5));
            for (unsigned int& id : given.emplace_back(connectivity.size())) {
                id = random.one_in(6) ? N : random.below(count);
                used[id] = 1;
            }
            std::copy(given.back().begin(), given.back().end(), connectivity.data());
            views.emplace_back(connectivity, count + 100);
        }
        list expected_IDs;
        std::vector<double> expected_pos;
        const auto source = numbered_nodes(3, count);
        for (unsigned int i = 0, k = 0; N0 < count && i < count; ++i) {
            const bool kept = i < N0 || used.count(i) != 0;
            expected_IDs.push_back(kept ? k++ : N);
        }
        for (unsigned int i = 0; i < count; ++i) {
            if (N0 >= count || expected_IDs[i] != N)
                expected_pos.insert(expected_pos.end(), source.col_data(i), source.col_data(i) + 3);
        }

        test::framed<double> pos(source, -1);
        std::vector<dense2D<unsigned int>> range;
        for (auto& v : views) range.push_back(v.view);
        dense1D<unsigned int, 16> new_IDs;
        const int removed = simplify(pos.view, range.data(), range.data() + range.size(), new_IDs, N0);
        ASSERT_EQ(removed, static_cast<int>(count - expected_pos.size() / 3));
        ASSERT_EQ(entries(new_IDs), expected_IDs);
        ASSERT_EQ(entries(pos.view), expected_pos);
        ASSERT_TRUE(pos.frame_intact());
        for (std::size_t m = 0; m < range.size(); ++m) {
            list expected = given[m];
            for (unsigned int& id : expected) {
                if (id != N && !expected_IDs.empty()) id = expected_IDs[id];
            }
            ASSERT_EQ(entries(range[m]), expected);
            ASSERT_TRUE(views[m].frame_intact());
        }
    }
}

TEST(RemoveDegenerated, NumbersElementsWithoutNodes) {
    dense2D<unsigned int> none;
    dense2D<unsigned int> hollow(0, 3);
    dense1D<unsigned int, 16> new_IDs(2, 5);
    EXPECT_EQ(remove_degenerated(none, new_IDs, true), 0);
    EXPECT_TRUE(new_IDs.empty());
    EXPECT_EQ(remove_degenerated(hollow, new_IDs, true), 0);
    EXPECT_EQ(entries(new_IDs), (list{0, 1, 2}));
}

TEST(RemoveDegenerated, EqualsItsStepsOnRandomElementsAndViews) {
    test::dice random(6);
    for (int round = 0; round < 4000; ++round) {
        const unsigned int rows = 1 + random.below(12); // on both sides of where sorting begins
        const unsigned int cols = random.below(6);
        const bool strict = random.one_in(2);
        dense2D<unsigned int> given(rows, cols);
        for (unsigned int i = 0; i < given.size(); ++i)
            given.data()[i] = random.one_in(5) ? N : random.below(rows * 3);
        list expected, expected_IDs;
        unsigned int k = 0;
        for (unsigned int j = 0; j < cols; ++j) {
            list sorted(given.col_data(j), given.col_data(j) + rows);
            std::sort(sorted.begin(), sorted.end());
            const auto pair = std::adjacent_find(sorted.begin(), sorted.end());
            const bool degenerate = pair != sorted.end() && (*pair != N || strict);
            expected_IDs.push_back(degenerate ? N : k++);
            if (!degenerate) expected.insert(expected.end(), given.col_data(j), given.col_data(j) + rows);
        }
        test::framed<unsigned int> block(given, 3);
        dense1D<unsigned int, 16> new_IDs = given.as_vector(); // shares storage with another container
        ASSERT_EQ(remove_degenerated(block.view, new_IDs, strict), static_cast<int>(cols - k));
        ASSERT_EQ(block.view.rows(), rows);
        ASSERT_EQ(entries(block.view), expected);
        ASSERT_EQ(entries(new_IDs), expected_IDs);
        ASSERT_TRUE(block.frame_intact());
    }
}

TEST(RemoveDegenerated, GivesItsTableStorageOfItsOwn) {
    auto triangles = id_matrix(3, {0, 1, 2, 3, 3, 4});
    dense1D<unsigned int, 16> new_IDs = triangles.as_vector();
    EXPECT_EQ(remove_degenerated(triangles, new_IDs, false), 1);
    EXPECT_EQ(entries(triangles), (list{0, 1, 2}));
    EXPECT_EQ(entries(new_IDs), (list{0, N}));
}

} // namespace
