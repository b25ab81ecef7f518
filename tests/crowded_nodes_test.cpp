#include "geometry/crowded_nodes.h"

#include "geometry/close_nodes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace qv7::plexo;

namespace {

using id_list = dense1D<unsigned int, 16>;

constexpr double INF = std::numeric_limits<double>::infinity();

bool has_close_node(const dense2D<double>& pos, unsigned int i, double tol) {
    const node_positions at{pos.data(), pos.ld(), pos.rows() == 3};
    for (unsigned int j = 0; j < pos.cols(); ++j) {
        if (j != i && (reaches(at[i], at[j], tol) || reaches(at[j], at[i], tol))) return true;
    }
    return false;
}

} // namespace

TEST(CrowdedNodes, NoneWithACloseNodeIsLeftOut) {
    std::mt19937 random(1);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    for (int round = 0; round < 3000; ++round) {
        const unsigned int rows = 2 + unsigned(round % 2), n = 1 + unsigned(random() % 60);
        const double tol = std::pow(10.0, uniform(-12, 3)) * (round % 7 == 0 ? 1e-310 : 1);
        const double centre = random() % 3 == 0 ? uniform(-1, 1) * 1e6 : 0;
        const double spread = tol * std::pow(10.0, uniform(0, 4));
        dense2D<double> matrix(5, n + 2);
        const dense2D<double> pos = matrix.sub_matrix(1, 2, rows, n);
        for (unsigned int i = 0; i < n; ++i) {
            const bool near_other = i > 0 && random() % 4 == 0;
            const unsigned int other = near_other ? unsigned(random() % i) : 0;
            for (unsigned int k = 0; k < rows; ++k) {
                double x = near_other ? pos(k, other) + tol * double(int(random() % 5) - 2) / 2
                                      : centre + uniform(-spread, spread);
                // on the faces of cells
                if (random() % 4 == 0) x = std::round(x / (16 * tol)) * (16 * tol);
                if (random() % 200 == 0) x = random() % 2 ? INF : std::nan("");
                if (random() % 500 == 0) x = 1e300;
                matrix(1 + k, 2 + i) = x;
            }
        }
        id_list crowded;
        ASSERT_TRUE(list_crowded_nodes(pos, tol, crowded));
        ASSERT_TRUE(std::is_sorted(crowded.begin(), crowded.end()));
        ASSERT_EQ(std::adjacent_find(crowded.begin(), crowded.end()), crowded.end());
        for (unsigned int i = 0; i < n; ++i) {
            if (std::binary_search(crowded.begin(), crowded.end(), i)) continue;
            ASSERT_FALSE(has_close_node(pos, i, tol)) << "node " << i << " in round " << round;
        }
    }
}

TEST(CrowdedNodes, FewNodesOfAGridAreListed) {
    constexpr unsigned int SIDE = 300;
    dense2D<double> pos(3, SIDE * SIDE);
    for (unsigned int i = 0; i < pos.cols(); ++i) {
        pos(0, i) = i % SIDE;
        pos(1, i) = i / SIDE;
        pos(2, i) = std::sin(0.01 * i);
    }
    pos(0, 77) = pos(0, 5000) + 0.01;
    pos(1, 77) = pos(1, 5000);
    pos(2, 77) = pos(2, 5000);
    id_list crowded;
    ASSERT_TRUE(list_crowded_nodes(pos, 0.03, crowded));
    EXPECT_LT(crowded.size(), pos.cols() / 4);
    EXPECT_TRUE(std::binary_search(crowded.begin(), crowded.end(), 77u));
    EXPECT_TRUE(std::binary_search(crowded.begin(), crowded.end(), 5000u));
}
