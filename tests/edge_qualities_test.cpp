#include <plexo/quality.h>
#include <plexo/topology.h>

#include "limited_memory.h"
#include "test_containers.h"
#include "test_elements.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <type_traits>
#include <utility>

using namespace test;
using qv7::misc::histogram;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double LARGEST = std::numeric_limits<double>::max();

double quality(double length, double h1, double h2) {
    double q = -1;
    EXPECT_EQ(edge_quality(length, h1, h2, q), 0);
    return q;
}

TEST(EdgeQuality, IsTheLengthOverTheLogarithmicMean) {
    EXPECT_EQ(quality(3, 2, 2), 1.5);
    EXPECT_EQ(quality(0, 1, 2), 0);
    EXPECT_DOUBLE_EQ(quality(5, 1, 2), 5 * std::log(2.0));
    for (const double ratio : {1.0005, 1.001, 1.0011, 1.5, 1e3, 1e100, 1 + 1e-13, 1 + 1e-11}) {
        const double mean = (ratio - 1) / std::log1p(ratio - 1);
        EXPECT_NEAR(quality(1, 1, ratio) * mean, 1, 1e-12) << ratio;
        EXPECT_EQ(quality(1, 1, ratio), quality(1, ratio, 1)) << ratio;
    }
    EXPECT_EQ(quality(1, NOT_A_NUMBER, 2), LARGEST);
    EXPECT_EQ(quality(1, 2, NOT_A_NUMBER), LARGEST);
    double q = 7;
    EXPECT_EQ(edge_quality(1, 0, 1, q), -2);
    EXPECT_EQ(edge_quality(1, -INF, -1, q), -2);
    EXPECT_EQ(edge_quality(1, NOT_A_NUMBER, 0, q), -3);
    EXPECT_EQ(q, 7);
}

const dense2D<unsigned int> NOTHING_EXCLUDED;

/// Ratings of the edges of elements, written out.
template <typename Field>
histogram by_definition(const dense2D<double>& pos, const dense2D<unsigned int>& elements, element_type type,
                        const Field& field, const dense2D<unsigned int>& excluded) {
    constexpr bool by_metric = std::is_same_v<Field, dense2D<double>>;
    std::set<std::pair<unsigned int, unsigned int>> left_out;
    for (unsigned int e = 0; e < excluded.cols(); ++e) {
        left_out.insert({excluded(0, e), excluded(1, e)});
        left_out.insert({excluded(1, e), excluded(0, e)});
    }
    dense2D<unsigned int> edges;
    EXPECT_EQ(copy_edges(elements, type, edges), 0);
    histogram result(0, 20, 1000);
    for (unsigned int e = 0; e < edges.cols(); ++e) {
        const unsigned int node[2] = {edges(0, e), edges(1, e)};
        if (left_out.count({node[0], node[1]}) != 0) continue;
        double v[3] = {}, square = 0, ends[2];
        for (unsigned int d = 0; d < pos.rows(); ++d) {
            v[d] = pos(d, node[1]) - pos(d, node[0]);
            square += v[d] * v[d];
        }
        for (unsigned int end = 0; end < 2; ++end) {
            if constexpr (by_metric) {
                double form = 0;
                for (unsigned int r = 0; r < pos.rows(); ++r) {
                    for (unsigned int c = 0; c < pos.rows(); ++c) {
                        const unsigned int low = std::min(r, c), high = std::max(r, c);
                        form += v[r] * v[c] * field(high * (high + 1) / 2 + low, node[end]);
                    }
                }
                ends[end] = form > 0 ? std::sqrt(1 / form) : 0;
            } else {
                ends[end] = field[node[end]];
            }
        }
        const double length = by_metric ? 1 : std::sqrt(square);
        const double ratio = std::max(ends[0], ends[1]) / std::min(ends[0], ends[1]);
        double q = length / ends[0];
        if (ratio > 1 + 1e-9) q = length * std::log(ratio) / std::abs(ends[0] - ends[1]);
        result.process(ends[0] > 0 && ends[1] > 0 ? q : LARGEST);
    }
    return result;
}

TEST(EdgeQualities, FollowTheDefinitionForEveryTypeAndView) {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> uniform(-1, 1);
    for (int code = ELEM_EDGE2; code < 2 * ELEMENT_TYPE_COUNT; ++code) {
        const auto type = static_cast<element_type>(code % ELEMENT_TYPE_COUNT);
        if (type < ELEM_EDGE2) continue;
        const unsigned int dimension = code < ELEMENT_TYPE_COUNT ? 2 : 3, nodes = 60;
        dense2D<double> pos(dimension, nodes), metrics(dimension == 2 ? 3 : 6, nodes);
        real_list sizes(nodes);
        for (unsigned int j = 0; j < nodes; ++j) {
            sizes[j] = std::exp(2 * uniform(random));
            for (unsigned int d = 0; d < dimension; ++d) pos(d, j) = uniform(random);
            for (unsigned int k = 0; k < metrics.rows(); ++k)
                metrics(k, j) = uniform(random) + (k == 0 || k == 2 || k == 5 ? 4 : 0);
        }
        const auto elements = random_elements(type, 40, nodes, random);
        const auto excluded = random_elements(ELEM_EDGE2, 300, nodes, random);
        const auto check = [&](const auto& field, const auto& field_view) {
            const histogram expected = by_definition(pos, elements, type, field, excluded);
            EXPECT_EQ(expected.count() == 0, type == ELEM_HEXA20) << type;
            histogram direct(0, 20, 1000), view = direct;
            EXPECT_EQ(edge_qualities(pos, elements, type, field, direct, excluded), 0);
            EXPECT_EQ(
                edge_qualities(as_view(pos), as_view(elements), type, field_view, view, as_view(excluded)),
                0);
            for (unsigned int k = 0; k < direct.bins(); ++k) ASSERT_EQ(direct.bin(k), view.bin(k));
            for (const histogram& histo : {direct, view}) {
                EXPECT_EQ(histo.count(), expected.count()) << type;
                EXPECT_EQ(histo.above(), expected.above());
                if (expected.count() == 0) continue;
                EXPECT_NEAR(histo.mean(), expected.mean(), 1e-12);
                EXPECT_NEAR(histo.min(), expected.min(), 1e-12);
            }
        };
        check(sizes, sizes);
        check(metrics, as_view(metrics));
    }
}

const dense2D<double> SQUARE = real_matrix(2, {0, 0, 1, 0, 1, 1, 0, 1});
const dense2D<unsigned int> RING = id_matrix(2, {0, 1, 1, 2, 2, 3, 3, 0});

TEST(EdgeQualities, EachPairCountsOnceInTheWholeRange) {
    const dense2D<unsigned int> matrices[] = {id_matrix(3, {0, 1, 2, 0, 2, 3}), id_matrix(2, {3, 0, 1, 3}),
                                              dense2D<unsigned int>()};
    const auto types = list_of(std::vector<int>({ELEM_TRIA3, ELEM_EDGE2, ELEM_NONE}));
    const real_list sizes(4, 1.0);
    histogram all, some;
    EXPECT_EQ(edge_qualities(SQUARE, matrices, matrices + 3, types, sizes, all, NOTHING_EXCLUDED), 0);
    EXPECT_EQ(all.count(), 6u);
    EXPECT_DOUBLE_EQ(all.max(), std::sqrt(2.0));
    const auto excluded = id_matrix(2, {2, 0, 1, 3, 1, 0});
    EXPECT_EQ(edge_qualities(SQUARE, matrices, matrices + 3, types, sizes, some, excluded), 0);
    EXPECT_EQ(some.count(), 3u);
    EXPECT_EQ(some.max(), 1);
}

TEST(EdgeQualities, BadFieldsSpareTheEdgesTheyDoNotTouch) {
    const auto rated = [](const auto& field, int code, const dense2D<unsigned int>& excluded) {
        histogram histo;
        EXPECT_EQ(edge_qualities(SQUARE, RING, ELEM_EDGE2, field, histo, excluded), code);
        EXPECT_TRUE(histo.count() == 0 || histo.mean() == 1);
        return histo.count();
    };
    for (const double bad : {0.0, -1.0, -INF, NOT_A_NUMBER}) {
        EXPECT_EQ(rated(reals({1, bad, 1, 1}), -5, NOTHING_EXCLUDED), 2u);
        EXPECT_EQ(rated(reals({1, 1, 1, bad}), 0, id_matrix(2, {2, 3, 0, 3})), 2u); // at excluded edges only
    }
    // An eigenvalue of 0, a negative one, an entry that is not finite.
    for (const auto& bad :
         {reals({1, 0, 0}), reals({1, 2, 1}), reals({NOT_A_NUMBER, 0, 1}), reals({INF, 0, 1})}) {
        dense2D<double> metrics = real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1});
        std::copy(bad.begin(), bad.end(), metrics.col_data(3));
        EXPECT_EQ(rated(metrics, -5, NOTHING_EXCLUDED), 2u);
    }
    const auto wrong_length = [&](const auto& field) {
        histogram histo; // also when there is no edge at all
        EXPECT_EQ(
            edge_qualities(SQUARE, dense2D<unsigned int>(20, 1), ELEM_HEXA20, field, histo, NOTHING_EXCLUDED),
            -5);
        EXPECT_EQ(edge_qualities(SQUARE, dense2D<unsigned int>(), ELEM_TRIA3, field, histo, NOTHING_EXCLUDED),
                  -5);
        return rated(field, -5, NOTHING_EXCLUDED);
    };
    EXPECT_EQ(wrong_length(real_list()), 0u);
    EXPECT_EQ(wrong_length(reals({1, 1, 1})), 2u);
    EXPECT_EQ(wrong_length(reals({1, 1, 1, 1, 1})), 4u);
    EXPECT_EQ(wrong_length(dense2D<double>()), 0u);
    EXPECT_EQ(wrong_length(real_matrix(3, {1, 0, 1, 1, 0, 1})), 1u);
    EXPECT_EQ(wrong_length(real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1})), 4u);
    EXPECT_EQ(rated(real_matrix(2, {1, 0, 1, 0, 1, 0, 1, 0}), -5, NOTHING_EXCLUDED), 0u); // too few rows
}

TEST(EdgeQualities, FailuresInTheirOrder) {
    const dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 1, 1}), four_rows(4, 3);
    const dense2D<unsigned int> matrices[] = {id_matrix(3, {0, 1, 2}), id_matrix(3, {0, 1, 3})};
    const dense2D<unsigned int> bad_edge = id_matrix(2, {0, 3});
    const auto check_all = [&](const auto& field, const auto& wrong_field) {
        using field_type = std::decay_t<decltype(field)>;
        const auto code = [&](const dense2D<double>& nodes, unsigned int first, unsigned int last,
                              const std::vector<int>& types, const field_type& values,
                              const dense2D<unsigned int>& excluded) {
            histogram histo;
            const int result = edge_qualities(nodes, matrices + first, matrices + last, list_of(types),
                                              values, histo, excluded);
            EXPECT_EQ(histo.count(), result == 0 && first != last ? 3u : 0u);
            return result;
        };
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, field, NOTHING_EXCLUDED), 0);
        EXPECT_EQ(code(four_rows, 0, 0, {1, 2, 3}, wrong_field, bad_edge), 0); // nothing to rate comes first
        EXPECT_EQ(code(four_rows, 0, 2, {}, wrong_field, bad_edge), -1);
        EXPECT_EQ(code(dense2D<double>(), 0, 1, {ELEM_TRIA3}, field, NOTHING_EXCLUDED), -1);
        EXPECT_EQ(code(pos, 0, 2, {ELEM_TRIA3}, wrong_field, bad_edge), -4);
        EXPECT_EQ(code(pos, 1, 0, {}, field, bad_edge), -4);
        EXPECT_EQ(code(pos, 0, 2, {ELEM_TRIA3, ELEM_TRIA3}, wrong_field, bad_edge), -2);
        EXPECT_EQ(code(pos, 0, 1, {ELEM_QUAD4}, field, NOTHING_EXCLUDED), -2);
        for (const int type : {-1, 0, 2, 21})
            EXPECT_EQ(code(pos, 0, 1, {type}, field, NOTHING_EXCLUDED), -2) << type;
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, wrong_field, bad_edge), -7);
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, field, id_matrix(3, {0, 1, 2})), -7);
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, field, id_matrix(2, {0, NO_ID})), -7);
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, wrong_field, NOTHING_EXCLUDED), -5);
        EXPECT_EQ(code(pos, 0, 1, {ELEM_TRIA3}, field, dense2D<unsigned int>(5, 0)), 0);
    };
    check_all(reals({1, 1, 1}), real_list());
    check_all(real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1}), dense2D<double>());
}

TEST(EdgeQualities, ExtremeCoordinatesAreCounted) {
    const dense2D<unsigned int> ring = id_matrix(2, {0, 1, 1, 2, 2, 0});
    const auto rated = [&](const dense2D<double>& pos, double size) {
        histogram histo;
        EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, real_list(3, size), histo, NOTHING_EXCLUDED), 0);
        return histo;
    };
    for (const double size : {1e-300, 1e-200, 1e200, 1e300}) {
        const histogram histo = rated(real_matrix(3, {0, 0, 0, size, 0, 0, 0, size, 0}), size);
        EXPECT_EQ(histo.count(), 3u);
        EXPECT_NEAR(histo.max(), std::sqrt(2.0), 1e-15) << size;
    }
    // Infinite lengths rate infinitely and NaN stays NaN, whichever coordinate they come from.
    for (const unsigned int component : {0u, 1u, 3u, 4u, 5u}) {
        dense2D<double> broken(component < 3 ? 2 : 3, 3);
        broken(component % 3, 0) = NOT_A_NUMBER;
        broken(component % 3, 1) = INF;
        const histogram histo = rated(broken, 1);
        EXPECT_EQ(histo.not_a_number(), 2u);
        EXPECT_EQ(histo.above(), 1u);
        EXPECT_EQ(histo.min(), INF);
    }
}

TEST(EdgeQualities, HugeCountsWithoutMemoryGiveOutOfMemory) {
    expect_survives_without_memory([] {
        const dense2D<double> pos(2, 3);
        const dense2D<unsigned int> many(3, 16u << 20);
        histogram histo;
        return edge_qualities(pos, many, ELEM_TRIA3, real_list(3, 1.0), histo, NOTHING_EXCLUDED) == -199 &&
               histo.count() == 0;
    });
}

} // namespace
