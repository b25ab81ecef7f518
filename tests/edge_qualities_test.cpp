#include <plexo/quality.h>
#include <plexo/topology.h>

#include "limited_memory.h"
#include "test_containers.h"
#include "test_elements.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <tuple>
#include <utility>

using namespace test;
using qv7::misc::histogram;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double LARGEST = std::numeric_limits<double>::max();

double logarithmic_mean(double a, double b) {
    const double least = std::min(a, b), x = (std::max(a, b) - least) / least;
    return x > 0 ? least * x / std::log1p(x) : least;
}

TEST(EdgeQuality, IsTheLengthOverTheLogarithmicMean) {
    double q = 7;
    EXPECT_EQ(edge_quality(1, 0, -1, q), -2);
    EXPECT_EQ(edge_quality(1, -INF, 1, q), -2);
    EXPECT_EQ(edge_quality(1, NOT_A_NUMBER, 0, q), -3);
    EXPECT_EQ(q, 7);
    for (const double ratio : {1.0, 1.0005, 1.001, 1.0011, 1.5, 2.0, 1e3, 1e100, 1 + 1e-13, 1 + 1e-11}) {
        for (const auto& [h1, h2] : {std::pair(3.0, 3 * ratio), std::pair(3 * ratio, 3.0)}) {
            EXPECT_EQ(edge_quality(3, h1, h2, q), 0);
            EXPECT_NEAR(q * logarithmic_mean(1, ratio), 1, 1e-12) << ratio;
            EXPECT_EQ(edge_quality(0, h1, h2, q), 0);
            EXPECT_EQ(q, 0);
        }
    }
    for (const auto& [h1, h2] : {std::pair(NOT_A_NUMBER, 2.0), std::pair(2.0, NOT_A_NUMBER)}) {
        EXPECT_EQ(edge_quality(1, h1, h2, q), 0);
        EXPECT_EQ(q, LARGEST);
    }
}

using edge_vector = std::array<long double, 3>; // long, so that no square overflows

double length(const edge_vector& v) {
    return static_cast<double>(std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]));
}

double size_along(const edge_vector& v, const double* m, unsigned int dimension) {
    long double square = m[0] * v[0] * v[0] + 2 * m[1] * v[0] * v[1] + m[2] * v[1] * v[1];
    if (dimension == 3) square += 2 * m[3] * v[0] * v[2] + 2 * m[4] * v[1] * v[2] + m[5] * v[2] * v[2];
    return square > 0 ? static_cast<double>(1 / std::sqrt(square)) : 0;
}

/// Fields over nodes, sometimes wrong at the first nodes, and of more or fewer entries than there are nodes.
struct fields {
    dense2D<double> metrics;
    real_list sizes;
    unsigned int wrong_nodes;

    fields(unsigned int dimension, unsigned int count, double scale, dice& random)
        : metrics(dimension * (dimension + 1) / 2, count), sizes(count), wrong_nodes(5 * random.below(2)) {
        const double wrong[] = {0, -1, -INF, NOT_A_NUMBER, -0.0};
        for (unsigned int j = 0; j < count; ++j) {
            sizes[j] = j < wrong_nodes ? wrong[j] : std::exp(random.between(-2, 2)) * scale;
            for (unsigned int k = 0; k < metrics.rows(); ++k) {
                const bool diagonal = k == 0 || k == 2 || k == 5;
                metrics(k, j) = j < wrong_nodes ? wrong[j] : random.between(-1, 1) + (diagonal ? 4 : 0);
            }
        }
    }
    bool cover(unsigned int a, unsigned int b) const {
        return std::min(a, b) >= wrong_nodes && std::max(a, b) < sizes.size();
    }
};

TEST(EdgeQualities, FollowTheDefinitionForEveryTypeAndField) {
    std::mt19937 engine(2);
    dice random(3);
    for (int round = 0; round < 30 * ELEMENT_TYPE_COUNT; ++round) {
        const auto type = static_cast<element_type>(round % ELEMENT_TYPE_COUNT);
        if (type < ELEM_EDGE2) continue;
        const unsigned int D = 2 + random.below(2), nodes = 60;
        const double scale = std::ldexp(1, 1000 * (static_cast<int>(random.below(3)) - 1));
        const fields given(D, nodes + 4 * random.below(3) - 4, scale, random);
        dense2D<double> pos(D, nodes);
        for (unsigned int i = 0; i < pos.size(); ++i) pos.data()[i] = random.between(-1, 1) * scale;
        if (random.one_in(4)) pos(random.below(D), 7) = random.one_in(2) ? INF : NOT_A_NUMBER;
        const dense2D<unsigned int> matrices[] = {as_view(random_elements(type, 40, nodes, engine)),
                                                  as_view(random_elements(ELEM_EDGE2, 10, nodes, engine)),
                                                  {}};
        const bool range = random.one_in(2);
        const auto types = range ? list_of<int>({type, ELEM_EDGE2, ELEM_NONE}) : list_of<int>({type});
        const auto excluded = as_view(random_elements(ELEM_EDGE2, 300, nodes, engine));
        std::set<std::pair<unsigned int, unsigned int>> left_out;
        for (unsigned int e = 0; e < excluded.cols(); ++e)
            left_out.insert({{excluded(0, e), excluded(1, e)}, {excluded(1, e), excluded(0, e)}});
        dense2D<unsigned int> edges;
        ASSERT_EQ(copy_edges(matrices, matrices + types.size(), types, edges), 0);
        ASSERT_EQ(edges.empty(), type == ELEM_HEXA20 && !range);

        const auto check = [&](const auto& field, const auto& rating) {
            histogram expected, histo;
            for (histogram* h : {&expected, &histo}) h->process(0.5); // stays
            bool all_rated = given.sizes.size() == nodes;
            for (unsigned int e = 0; e < edges.cols(); ++e) {
                const unsigned int a = edges(0, e), b = edges(1, e);
                if (left_out.count({a, b}) != 0) continue;
                edge_vector v{};
                for (unsigned int d = 0; d < D; ++d) v[d] = static_cast<long double>(pos(d, a)) - pos(d, b);
                if (given.cover(a, b)) expected.process(rating(v, a, b));
                all_rated &= given.cover(a, b);
            }
            const int code =
                range ? edge_qualities(as_view(pos), matrices, matrices + 3, types, field, histo, excluded)
                      : edge_qualities(as_view(pos), *matrices, type, field, histo, excluded);
            ASSERT_EQ(code, all_rated ? 0 : -5);
            ASSERT_EQ(histo.count(), expected.count());
            ASSERT_EQ(histo.above(), expected.above());
            ASSERT_EQ(histo.not_a_number(), expected.not_a_number());
            ASSERT_NEAR(histo.mean(), expected.mean(), 1e-12);
            ASSERT_NEAR(histo.standard_deviation(), expected.standard_deviation(), 1e-12);
        };
        check(given.sizes, [&](const edge_vector& v, unsigned int a, unsigned int b) {
            return length(v) / logarithmic_mean(given.sizes[a], given.sizes[b]);
        });
        const auto by_metrics = [&](const edge_vector& v, unsigned int a, unsigned int b) {
            const double at_a = size_along(v, given.metrics.col_data(a), D),
                         at_b = size_along(v, given.metrics.col_data(b), D);
            return at_a > 0 && at_b > 0 ? 1 / logarithmic_mean(at_a, at_b) : LARGEST;
        };
        if (scale == 1) check(as_view(given.metrics), by_metrics);
        if (HasFatalFailure()) FAIL() << "type " << type << " at scale " << scale;
    }
}

TEST(EdgeQualities, FailuresInTheirOrder) {
    const dense2D<double> good_pos = real_matrix(2, {0, 0, 1, 0, 1, 1}), four_rows(4, 3), none;
    const dense2D<unsigned int> matrices[] = {id_matrix(3, {0, 1, 2}), id_matrix(3, {0, 1, 3})}, fine,
                                bad = id_matrix(2, {0, 3}), padded = id_matrix(2, {0, NO_ID});
    const std::vector<int> triangle = {ELEM_TRIA3}, triangles = {ELEM_TRIA3, ELEM_TRIA3};
    // Code, coordinates, range, types, whether the field is good, excluded edges.
    const std::tuple<int, dense2D<double>, unsigned int, unsigned int, std::vector<int>, bool,
                     dense2D<unsigned int>>
        calls[] = {{0, good_pos, 0, 1, triangle, true, dense2D<unsigned int>(5, 0)},
                   {0, four_rows, 0, 0, {1, 2, 3}, false, bad}, // nothing to rate comes first
                   {-1, four_rows, 0, 2, {}, false, bad},
                   {-1, none, 0, 1, triangle, true, fine},
                   {-4, good_pos, 0, 2, triangle, false, bad},
                   {-4, good_pos, 1, 0, {}, true, bad},
                   {-2, good_pos, 0, 2, triangles, false, bad},
                   {-2, good_pos, 0, 1, {ELEM_QUAD4}, true, fine},
                   {-2, good_pos, 0, 1, {-1}, true, fine},
                   {-2, good_pos, 0, 1, {2}, true, fine},
                   {-2, good_pos, 0, 1, {21}, true, fine},
                   {-7, good_pos, 0, 1, triangle, false, bad},
                   {-7, good_pos, 0, 1, triangle, true, matrices[0]},
                   {-7, good_pos, 0, 1, triangle, true, padded},
                   {-5, good_pos, 0, 1, triangle, false, fine}};
    const auto check = [&](const auto& good_field, const auto& bad_field) {
        for (const auto& [code, pos, first, last, types, good, excluded] : calls) {
            histogram histo;
            const auto& field = good ? good_field : bad_field;
            EXPECT_EQ(edge_qualities(pos, matrices + first, matrices + last, list_of(types), field, histo,
                                     excluded),
                      code);
            EXPECT_EQ(histo.count(), code == 0 && first != last ? 3u : 0u) << code;
        }
    };
    check(reals({1, 1, 1}), real_list());
    check(real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1}), dense2D<double>());
    check(real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1}), real_matrix(2, {1, 0, 1, 0, 1, 0})); // too few rows
    expect_survives_without_memory([&] {
        const dense2D<unsigned int> many(3, 16u << 20);
        histogram histo;
        const int code = edge_qualities(good_pos, many, ELEM_TRIA3, real_list(3, 1.0), histo, fine);
        return code == -199 && histo.count() == 0;
    });
}

} // namespace
