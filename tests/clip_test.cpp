#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <limits>

using namespace qv7::plexo;
using test::entries;
using test::id_matrix;
using test::real_matrix;
using list = std::vector<unsigned int>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr unsigned int N = NO_ID;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
const vec3 ORIGIN{0, 0, 0};

TEST(Clip, ChecksInOrderAndLeavesTheOutput) {
    const auto pos = real_matrix(3, {1, 0, 0, 2, 0, 0});
    const auto wrong = id_matrix(2, {0, 2});
    const auto edge = id_matrix(2, {0, 1});
    auto out = id_matrix(3, {4, 5, 6});
    EXPECT_EQ(clip(pos, dense2D<unsigned int>(2, 0), ORIGIN, ORIGIN, out), 0);
    EXPECT_EQ(clip(pos, wrong, ORIGIN, ORIGIN, out), -2);
    EXPECT_EQ(clip(pos, edge, ORIGIN, vec3{0, 0, 1e-13}, out), -4);
    EXPECT_EQ(clip(pos, edge, ORIGIN, vec3{0, 0, 1e-12}, out), -5);
    EXPECT_TRUE(test::same(out, id_matrix(3, {4, 5, 6})));
    out = dense2D<unsigned int>(3, 0);
    EXPECT_EQ(clip(pos, edge, ORIGIN, vec3{1e-12, 0, 0}, out), 0);
    EXPECT_TRUE(test::same(out, edge));
    // A normal that is not a number selects nothing but what has no node in front of its padding.
    out = dense2D<unsigned int>(2, 0);
    EXPECT_EQ(clip(pos, id_matrix(2, {0, 1, N, 1}), ORIGIN, vec3{NOT_A_NUMBER, 0, 0}, out), 0);
    EXPECT_EQ(entries(out), (list{N, 1}));
}

TEST(Clip, MayAppendToItsInput) {
    const auto pos = real_matrix(2, {1, 0, -1, 0});
    auto points = id_matrix(1, {0, 1});
    const auto kept = points;
    EXPECT_EQ(clip(pos, points, ORIGIN, vec3{1, 0, 0}, points), 0);
    EXPECT_EQ(entries(points), (list{0, 1, 0}));
    EXPECT_EQ(entries(kept), (list{0, 1}));
}

TEST(Clip, EqualsItsRuleOnRandomMeshesAndViews) {
    test::dice random(21);
    for (int round = 0; round < 3000; ++round) {
        dense2D<double> pos(random.below(5), 1 + random.below(8));
        for (unsigned int i = 0; i < pos.size(); ++i)
            pos.data()[i] = random.one_in(20) ? NOT_A_NUMBER : int(random.below(5)) - 1;
        dense2D<unsigned int> elements(1 + random.below(4), random.below(8));
        for (unsigned int i = 0; i < elements.size(); ++i)
            elements.data()[i] = random.one_in(6) ? N : random.below(pos.cols());
        const vec3 P{double(random.below(2)), 0, double(random.below(2))};
        const vec3 n{double(random.below(3)), double(random.below(2)), 1};
        dense2D<unsigned int> start(elements.rows(), random.below(3), 99);

        list expected = entries(start);
        for (unsigned int j = 0; j < elements.cols(); ++j) {
            bool inside = true;
            for (unsigned int i = 0; i < elements.rows() && elements(i, j) != N && inside; ++i) {
                double d = 0;
                for (unsigned int k = 0; k < std::min(3u, pos.rows()); ++k)
                    d += (pos(k, elements(i, j)) - P[k]) * n[k];
                inside = d > 0;
            }
            const unsigned int* column = elements.col_data(j);
            if (inside) expected.insert(expected.end(), column, column + elements.rows());
        }
        auto out = test::as_view(start);
        ASSERT_EQ(clip(test::as_view(pos), test::as_view(elements), P, n, out), 0);
        ASSERT_EQ(entries(out), expected);
        ASSERT_EQ(clip(pos, elements, P, n, start), 0);
        ASSERT_EQ(entries(start), expected);
    }
}

} // namespace
