#include "test_containers.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

using namespace qv7::plexo;
using test::entries;
using test::id_matrix;
using test::ids;
using test::real_matrix;
using reals = std::vector<double>;

const double PI = std::acos(-1.0);
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

void expect_near(const reals& values, const reals& expected, double tolerance = 1e-14) {
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], expected[i], tolerance) << i;
}

/// The three forms of one transform and the map they apply to a node.
struct transform {
    unsigned int dimensions;
    bool counts_lists; ///< zoom reports no count for lists
    std::function<int(dense2D<double>&)> whole;
    std::function<int(dense2D<double>&, const dense1D<unsigned int, 16>&)> listed;
    std::function<int(dense2D<double>&, const dense2D<unsigned int>&)> of_elements;
    std::function<reals(const reals&)> map;
};

template <unsigned int D>
transform translation_by(vector_fixed<double, D> T) {
    return {D,
            true,
            [=](auto& pos) { return translate(pos, T); },
            [=](auto& pos, auto& nodes) { return translate(pos, T, nodes); },
            [=](auto& pos, auto& connectivity) { return translate(pos, T, connectivity); },
            [=](reals p) {
                for (unsigned int k = 0; k < D; ++k) p[k] = p[k] + T[k];
                return p;
            }};
}

template <unsigned int D>
transform scaling_by(vector_fixed<double, D> center, double factor) {
    return {D,
            false,
            [=](auto& pos) { return zoom(pos, center, factor); },
            [=](auto& pos, auto& nodes) { return zoom(pos, center, factor, nodes); },
            [=](auto& pos, auto& connectivity) { return zoom(pos, center, factor, connectivity); },
            [=](reals p) {
                for (unsigned int k = 0; k < D; ++k) {
                    const double difference = p[k] - center[k];
                    const double growth = difference * (factor - 1);
                    p[k] = growth + p[k];
                }
                return p;
            }};
}

transform rotation_by(vec2 center, double angle) {
    return {2,
            true,
            [=](auto& pos) { return rotate(pos, center, angle); },
            [=](auto& pos, auto& nodes) { return rotate(pos, center, angle, nodes); },
            [=](auto& pos, auto& connectivity) { return rotate(pos, center, angle, connectivity); },
            [=](reals p) {
                const double x = p[0] - center[0], y = p[1] - center[1];
                p[0] = center[0] + (std::cos(angle) * x - std::sin(angle) * y);
                p[1] = center[1] + (std::sin(angle) * x + std::cos(angle) * y);
                return p;
            }};
}

/// Turns d about the unit axis u: the part along u stays, the rest turns in its plane.
transform rotation_by(vec3 center, vec3 R) {
    return {3,
            true,
            [=](auto& pos) { return rotate(pos, center, R); },
            [=](auto& pos, auto& nodes) { return rotate(pos, center, R, nodes); },
            [=](auto& pos, auto& connectivity) { return rotate(pos, center, R, connectivity); },
            [=](reals p) {
                const double angle = std::sqrt(R[0] * R[0] + R[1] * R[1] + R[2] * R[2]);
                const double u[3] = {R[0] / angle, R[1] / angle, R[2] / angle};
                const double d[3] = {p[0] - center[0], p[1] - center[1], p[2] - center[2]};
                const double along = u[0] * d[0] + u[1] * d[1] + u[2] * d[2];
                for (unsigned int k = 0; k < 3; ++k) {
                    const unsigned int i = (k + 1) % 3, j = (k + 2) % 3;
                    const double across = u[i] * d[j] - u[j] * d[i];
                    p[k] = center[k] + along * u[k] + std::cos(angle) * (d[k] - along * u[k]) +
                           std::sin(angle) * across;
                }
                return p;
            }};
}

std::vector<transform> some_transforms(test::dice& random) {
    const auto x = [&] { return random.between(-2, 2); };
    return {translation_by(vec2{x(), x()}),
            translation_by(vec3{x(), 0, x()}),
            scaling_by(vec2{x(), x()}, x()),
            scaling_by(vec3{x(), x(), x()}, x()),
            rotation_by(vec2{x(), x()}, x()),
            rotation_by(vec3{x(), x(), x()}, vec3{x(), x(), x()}),
            rotation_by(vec3{x(), x(), x()}, vec3{1e-4 * x(), 1e-4 * x(), 1e-4 * x()})};
}

std::vector<transform> identities() {
    return {translation_by(vec2{0, -0.0}), translation_by(vec3{0, 0, 0}),
            scaling_by(vec2{3, 4}, 1),     scaling_by(vec3{3, 4, 5}, 1),
            rotation_by(vec2{3, 4}, 0),    rotation_by(vec3{3, 4, 5}, vec3{0, 0, -0.0})};
}

dense2D<double> random_nodes(test::dice& random, unsigned int rows, unsigned int cols) {
    dense2D<double> pos(rows, cols);
    for (unsigned int i = 0; i < pos.size(); ++i) pos.data()[i] = random.between(-1, 1);
    return pos;
}

/// Nodes with the rows a transform adds, one vector each.
std::vector<reals> promoted(const dense2D<double>& pos, unsigned int dimensions) {
    std::vector<reals> result;
    for (unsigned int j = 0; j < pos.cols(); ++j) {
        reals& p = result.emplace_back(pos.col_data(j), pos.col_data(j) + pos.rows());
        if (p.size() < dimensions) p.resize(dimensions, 0.0);
    }
    return result;
}

reals flat(const std::vector<reals>& nodes) {
    reals result;
    for (const reals& p : nodes) result.insert(result.end(), p.begin(), p.end());
    return result;
}

TEST(Transforms, LeaveEverythingForEmptyInputAndIdentities) {
    test::dice random(1);
    const auto triangle = id_matrix(3, {0, 1, 2});
    for (const transform& t : identities()) {
        auto pos = real_matrix(1, {1, 2, 3}); // not even promoted
        EXPECT_EQ(t.whole(pos), 0);
        EXPECT_EQ(t.listed(pos, ids({0, 1})), 0);
        EXPECT_EQ(t.of_elements(pos, triangle), 0);
        EXPECT_TRUE(test::same(pos, real_matrix(1, {1, 2, 3})));
    }
    for (const transform& t : some_transforms(random)) {
        dense2D<double> empty(0, 4);
        EXPECT_EQ(t.whole(empty), 0);
        EXPECT_EQ(t.listed(empty, ids({0})), 0);
        EXPECT_EQ(t.of_elements(empty, triangle), 0);
        EXPECT_EQ(empty.rows(), 0u);
        auto pos = real_matrix(1, {1, 2, 3});
        EXPECT_EQ(t.listed(pos, ids({})), 0);
        EXPECT_EQ(t.of_elements(pos, id_matrix(2, {NO_ID, NO_ID})), 0);
        EXPECT_EQ(pos.rows(), 1u);
        EXPECT_EQ(t.listed(pos, ids({NO_ID, 3})), 0); // entries without nodes still promote
        EXPECT_EQ(pos.rows(), t.dimensions);
    }
}

TEST(Transforms, TakeNotANumberForAMove) {
    for (const transform& t :
         {translation_by(vec2{NOT_A_NUMBER, 0}), scaling_by(vec2{0, 0}, NOT_A_NUMBER),
          rotation_by(vec2{0, 0}, NOT_A_NUMBER), rotation_by(vec3{0, 0, 0}, vec3{0, 0, NOT_A_NUMBER})}) {
        auto pos = real_matrix(2, {1, 2});
        EXPECT_EQ(t.whole(pos), 1);
        EXPECT_TRUE(std::isnan(pos(0, 0)));
    }
}

TEST(Transforms, EqualTheirMapsInEveryFormOnMatricesAndViews) {
    test::dice random(2);
    for (int round = 0; round < 200; ++round) {
        for (const transform& t : some_transforms(random)) {
            const auto source = random_nodes(random, 1 + random.below(4), 1 + random.below(9));
            dense1D<unsigned int, 16> list(random.below(6));
            for (unsigned int& node : list) node = random.one_in(5) ? NO_ID : random.below(source.cols() + 2);
            dense2D<unsigned int> connectivity(2, random.below(5));
            for (unsigned int i = 0; i < connectivity.size(); ++i)
                connectivity.data()[i] = random.below(source.cols());

            auto moved = promoted(source, t.dimensions);
            for (reals& p : moved) p = t.map(p);
            test::framed<double> whole(source);
            EXPECT_EQ(t.whole(whole.view), static_cast<int>(source.cols()));
            expect_near(entries(whole.view), flat(moved));
            EXPECT_TRUE(whole.frame_intact());

            const unsigned int rows = list.empty() ? source.rows() : t.dimensions;
            moved = promoted(source, rows);
            int applied = 0;
            for (const unsigned int node : list) {
                if (node >= source.cols()) continue;
                moved[node] = t.map(moved[node]);
                ++applied;
            }
            test::framed<double> listed(source);
            EXPECT_EQ(t.listed(listed.view, list), t.counts_lists ? applied : 0);
            expect_near(entries(listed.view), flat(moved));
            EXPECT_TRUE(listed.frame_intact());

            dense1D<unsigned int, 16> nodes;
            unique_indices(nodes, connectivity);
            dense2D<double> by_list;
            by_list.copy(source);
            test::framed<double> by_elements(source);
            const auto view = test::as_view(connectivity);
            EXPECT_EQ(t.of_elements(by_elements.view, view), t.listed(by_list, nodes));
            EXPECT_TRUE(test::same(by_elements.view, by_list));
            EXPECT_TRUE(by_elements.frame_intact());
            if (HasFailure()) return;
        }
    }
}

TEST(Transforms, TurnSmallAnglesWithFullPrecision) {
    // At the border between the closed form and the series both hold; far below only the series does.
    for (const double angle : {0.0005, 0.000999, 0.001001, 1e-9, 1e-160}) {
        auto pos = real_matrix(3, {1, 0, 0});
        ASSERT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, 0, angle}), 1);
        EXPECT_DOUBLE_EQ(pos(0, 0), std::cos(angle));
        EXPECT_DOUBLE_EQ(pos(1, 0), std::sin(angle));
    }
}

TEST(Transforms, MoveKnownPointsToKnownPlaces) {
    auto pos = real_matrix(2, {2, 3, 1, 1});
    EXPECT_EQ(zoom(pos, vec2{1, 1}, 2), 2);
    EXPECT_EQ(entries(pos), (reals{3, 5, 1, 1}));
    EXPECT_EQ(translate(pos, vec2{1, 0}), 2);
    EXPECT_EQ(entries(pos), (reals{4, 5, 2, 1}));

    pos = real_matrix(2, {1, 0});
    EXPECT_EQ(rotate(pos, vec2{0, 0}, PI / 2), 1);
    expect_near(entries(pos), {0, 1});
    pos = real_matrix(2, {1, 0}); // gains a third row
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, 0, PI / 2}), 1);
    expect_near(entries(pos), {0, 1, 0});
    pos = real_matrix(3, {0, 1, 0});
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{PI / 2, 0, 0}), 1);
    expect_near(entries(pos), {0, 0, 1});
    pos = real_matrix(3, {0, 0, 1});
    EXPECT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, PI / 2, 0}), 1);
    expect_near(entries(pos), {1, 0, 0});
}

} // namespace
