#include <plexo/ids.h>
#include <plexo/metrics.h>
#include <plexo/quality.h>
#include <plexo/topology.h>

#include "limited_memory.h"
#include "test_containers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>

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
    EXPECT_EQ(quality(1, 1, 1), 1);
    EXPECT_EQ(quality(3, 2, 2), 1.5);
    EXPECT_DOUBLE_EQ(quality(5, 1, 2), 5 * std::log(2.0));
    EXPECT_DOUBLE_EQ(quality(5, 2, 1), 5 * std::log(2.0));
    for (const double ratio : {1.0005, 1.001, 1.0011, 1.5, 1e3, 1e100, 1 + 1e-13, 1 + 1e-11}) {
        const double mean = (ratio - 1) / std::log1p(ratio - 1);
        EXPECT_NEAR(quality(1, 1, ratio) * mean, 1, 1e-12) << ratio;
        EXPECT_EQ(quality(1, 1, ratio), quality(1, ratio, 1)) << ratio;
    }
    EXPECT_EQ(quality(0, 1, 2), 0);
    EXPECT_EQ(quality(1, NOT_A_NUMBER, 2), LARGEST);
    EXPECT_EQ(quality(1, 2, NOT_A_NUMBER), LARGEST);
    EXPECT_EQ(quality(1, NOT_A_NUMBER, NOT_A_NUMBER), LARGEST);
}

TEST(EdgeQuality, RejectsSizesThatAreNotPositive) {
    double q = 7;
    EXPECT_EQ(edge_quality(1, 0, 1, q), -2);
    EXPECT_EQ(edge_quality(1, -INF, -1, q), -2);
    EXPECT_EQ(edge_quality(1, 1, -1, q), -3);
    EXPECT_EQ(edge_quality(1, NOT_A_NUMBER, 0, q), -3);
    EXPECT_EQ(q, 7);
}

/// A strip of triangles over random nodes with sizes and metrics.
struct scene {
    dense2D<double> pos;
    real_list sizes;
    dense2D<double> metrics;
};

scene random_scene(unsigned int dimension, unsigned int nodes, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    scene s{dense2D<double>(dimension, nodes), real_list(nodes),
            dense2D<double>(dimension == 2 ? 3 : 6, nodes)};
    for (unsigned int j = 0; j < nodes; ++j) {
        for (unsigned int d = 0; d < dimension; ++d) s.pos(d, j) = uniform(random);
        s.sizes[j] = std::exp(2 * uniform(random));
        for (unsigned int k = 0; k < s.metrics.rows(); ++k) s.metrics(k, j) = uniform(random);
        for (const unsigned int k : {0u, 2u, 5u}) {
            if (k < s.metrics.rows()) s.metrics(k, j) += 4;
        }
    }
    return s;
}

/// The statistics of ratings as a histogram with fine slices holds them.
void expect_same(const histogram& a, const histogram& b) {
    EXPECT_EQ(a.count(), b.count());
    if (a.count() != 0 && b.count() != 0) {
        EXPECT_EQ(a.min(), b.min());
        EXPECT_EQ(a.max(), b.max());
        EXPECT_DOUBLE_EQ(a.mean(), b.mean());
    }
    EXPECT_EQ(a.above(), b.above());
    for (unsigned int k = 0; k < a.bins(); ++k) EXPECT_EQ(a.bin(k), b.bin(k)) << k;
}

histogram fine() {
    return histogram(0, 20, 1000);
}

/// Ratings of listed edges, written out.
histogram by_definition(const scene& s, const dense2D<unsigned int>& edges, bool by_metric) {
    histogram result = fine();
    for (unsigned int e = 0; e < edges.cols(); ++e) {
        const unsigned int i = edges(0, e), j = edges(1, e);
        const unsigned int dimension = s.pos.rows();
        double v[3] = {}, square = 0;
        for (unsigned int d = 0; d < dimension; ++d) {
            v[d] = s.pos(d, j) - s.pos(d, i);
            square += v[d] * v[d];
        }
        double ends[2] = {s.sizes[i], s.sizes[j]}, length = std::sqrt(square);
        if (by_metric) {
            length = 1;
            const unsigned int node[2] = {i, j};
            for (unsigned int end = 0; end < 2; ++end) {
                double form = 0;
                for (unsigned int r = 0; r < dimension; ++r) {
                    for (unsigned int c = 0; c < dimension; ++c) {
                        const unsigned int low = std::min(r, c), high = std::max(r, c);
                        form += v[r] * v[c] * s.metrics(high * (high + 1) / 2 + low, node[end]);
                    }
                }
                ends[end] = form > 0 ? std::sqrt(1 / form) : 0;
            }
        }
        const double ratio = std::max(ends[0], ends[1]) / std::min(ends[0], ends[1]);
        double q = length / ends[0];
        if (ratio > 1 + 1e-9) q = length * std::log(ratio) / std::abs(ends[0] - ends[1]);
        if (by_metric && !(ends[0] > 0 && ends[1] > 0)) q = LARGEST;
        result.process(q);
    }
    return result;
}

dense2D<unsigned int> random_elements(unsigned int rows, unsigned int n, unsigned int nodes,
                                      unsigned int seed) {
    std::mt19937 random(seed);
    dense2D<unsigned int> m(rows, n);
    for (unsigned int e = 0; e < n; ++e) {
        for (unsigned int k = 0; k < rows; ++k) m(k, e) = static_cast<unsigned int>(random() % nodes);
    }
    return m;
}

const dense2D<unsigned int> NOTHING_EXCLUDED;

TEST(EdgeQualities, RateTheEdgesOfEveryType) {
    for (const unsigned int dimension : {2u, 3u}) {
        const scene s = random_scene(dimension, 60, dimension);
        for (int code = ELEM_EDGE2; code < ELEMENT_TYPE_COUNT; ++code) {
            const auto type = static_cast<element_type>(code);
            const unsigned int rows = type == ELEM_FACE_MIX    ? 4
                                      : type == ELEM_SOLID_MIX ? 8
                                                               : NODES_PER_ELEMENT[type];
            const dense2D<unsigned int> elements = random_elements(rows, 40, 60, dimension);
            dense2D<unsigned int> edges;
            ASSERT_EQ(copy_edges(elements, type, edges), 0);
            EXPECT_EQ(edges.empty(), type == ELEM_HEXA20);

            histogram by_size = fine(), by_metric = fine();
            ASSERT_EQ(edge_qualities(s.pos, elements, type, s.sizes, by_size, NOTHING_EXCLUDED), 0);
            ASSERT_EQ(edge_qualities(s.pos, elements, type, s.metrics, by_metric, NOTHING_EXCLUDED), 0);
            const histogram expected[2] = {by_definition(s, edges, false), by_definition(s, edges, true)};
            EXPECT_EQ(by_size.count(), expected[0].count());
            EXPECT_EQ(by_metric.count(), expected[1].count());
            if (edges.empty()) continue;
            EXPECT_NEAR(by_size.mean(), expected[0].mean(), 1e-12);
            EXPECT_NEAR(by_metric.mean(), expected[1].mean(), 1e-12);
            EXPECT_NEAR(by_metric.min(), expected[1].min(), 1e-12);
            EXPECT_EQ(by_metric.above(), expected[1].above());
        }
    }
}

TEST(EdgeQualities, MetricsOfSizesRateLikeTheSizes) {
    for (const unsigned int dimension : {2u, 3u}) {
        scene s = random_scene(dimension, 50, 7);
        for (unsigned int j = 0; j < 50; ++j) {
            for (unsigned int k = 0; k < s.metrics.rows(); ++k) s.metrics(k, j) = 0;
            for (const unsigned int k : {0u, 2u, 5u}) {
                if (k < s.metrics.rows()) s.metrics(k, j) = 1 / (s.sizes[j] * s.sizes[j]);
            }
        }
        const dense2D<unsigned int> elements = random_elements(4, 80, 50, 1);
        histogram by_size, by_metric;
        dense2D<unsigned int> loops;
        for (unsigned int j = 0; j < 50; ++j) { // an edge from a node to itself is 0 long, but has no size
            const unsigned int loop[2] = {j, j};
            loops.resize(2, j);
            loops.push_back_col(loop);
        }
        ASSERT_EQ(edge_qualities(s.pos, elements, ELEM_TETRA4, s.sizes, by_size, loops), 0);
        ASSERT_EQ(edge_qualities(s.pos, elements, ELEM_TETRA4, s.metrics, by_metric, loops), 0);
        EXPECT_EQ(by_size.count(), by_metric.count());
        EXPECT_NEAR(by_size.mean(), by_metric.mean(), 1e-12);
        EXPECT_NEAR(by_size.max(), by_metric.max(), 1e-12);
        EXPECT_NEAR(by_size.standard_deviation(), by_metric.standard_deviation(), 1e-12);
    }
}

TEST(EdgeQualities, EachPairCountsOnceAndExcludedPairsNot) {
    const dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 1, 1, 0, 1});
    const real_list sizes(4, 1.0);
    const dense2D<unsigned int> triangles = id_matrix(3, {0, 1, 2, 0, 2, 3}); // (0, 2) in both directions
    histogram all, some, none;
    EXPECT_EQ(edge_qualities(pos, triangles, ELEM_TRIA3, sizes, all, NOTHING_EXCLUDED), 0);
    EXPECT_EQ(all.count(), 5u);
    EXPECT_DOUBLE_EQ(all.max(), std::sqrt(2.0));
    EXPECT_EQ(edge_qualities(pos, triangles, ELEM_TRIA3, sizes, some, id_matrix(2, {2, 0, 1, 3, 1, 0})), 0);
    EXPECT_EQ(some.count(), 3u);
    EXPECT_EQ(some.max(), 1);
    EXPECT_EQ(
        edge_qualities(pos, triangles, ELEM_TRIA3, sizes, none, id_matrix(2, {0, 1, 1, 2, 2, 3, 3, 0, 0, 2})),
        0);
    EXPECT_EQ(none.count(), 0u);

    const dense2D<unsigned int> matrices[] = {triangles, id_matrix(2, {3, 0, 1, 3}), dense2D<unsigned int>()};
    const auto types = list_of(std::vector<int>({ELEM_TRIA3, ELEM_EDGE2, ELEM_NONE}));
    histogram range;
    EXPECT_EQ(edge_qualities(pos, matrices, matrices + 3, types, sizes, range, NOTHING_EXCLUDED), 0);
    EXPECT_EQ(range.count(), 6u); // shared by the matrices: (3, 0)
}

TEST(EdgeQualities, BadSizesSpareTheOtherEdges) {
    const dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 1, 1, 0, 1});
    const dense2D<unsigned int> ring = id_matrix(2, {0, 1, 1, 2, 2, 3, 3, 0});
    for (const double bad : {0.0, -1.0, -INF, NOT_A_NUMBER}) {
        histogram histo;
        EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, reals({1, bad, 1, 1}), histo, NOTHING_EXCLUDED), -5);
        EXPECT_EQ(histo.count(), 2u);
        EXPECT_EQ(histo.mean(), 1);
    }
    // An invalid metric: an eigenvalue of 0, a negative one, an entry that is not finite.
    for (const auto& m :
         {reals({1, 0, 0}), reals({1, 2, 1}), reals({NOT_A_NUMBER, 0, 1}), reals({INF, 0, 1})}) {
        dense2D<double> metrics = real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1});
        std::copy(m.begin(), m.end(), metrics.col_data(3));
        histogram histo;
        EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, metrics, histo, NOTHING_EXCLUDED), -5);
        EXPECT_EQ(histo.count(), 2u);
        EXPECT_EQ(histo.mean(), 1);
    }
    // A bad size away from all edges, or at excluded ones only, does no harm.
    histogram histo;
    const dense2D<unsigned int> one = id_matrix(2, {0, 1});
    EXPECT_EQ(edge_qualities(pos, one, ELEM_EDGE2, reals({1, 1, 0, 0}), histo, NOTHING_EXCLUDED), 0);
    EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, reals({1, 1, 1, 0}), histo, id_matrix(2, {2, 3, 0, 3})),
              0);
    EXPECT_EQ(histo.count(), 3u);
}

TEST(EdgeQualities, FieldsOfTheWrongLengthRateWhatTheyReach) {
    const dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 1, 1, 0, 1});
    const dense2D<unsigned int> ring = id_matrix(2, {0, 1, 1, 2, 2, 3, 3, 0});
    const dense2D<unsigned int> hexa20(20, 1);
    const auto rated = [&](auto field) {
        histogram histo;
        EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, field, histo, NOTHING_EXCLUDED), -5);
        // also when there is no edge at all
        EXPECT_EQ(edge_qualities(pos, hexa20, ELEM_HEXA20, field, histo, NOTHING_EXCLUDED), -5);
        EXPECT_EQ(edge_qualities(pos, dense2D<unsigned int>(), ELEM_TRIA3, field, histo, NOTHING_EXCLUDED),
                  -5);
        return histo.count();
    };
    EXPECT_EQ(rated(reals({1, 1, 1})), 2u);
    EXPECT_EQ(rated(reals({1, 1, 1, 1, 1})), 4u);
    EXPECT_EQ(rated(real_list()), 0u);
    EXPECT_EQ(rated(real_matrix(3, {1, 0, 1, 1, 0, 1})), 1u);
    EXPECT_EQ(rated(real_matrix(3, {1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1, 1, 0, 1})), 4u);
    EXPECT_EQ(rated(dense2D<double>()), 0u);
    histogram histo;
    const dense2D<double> too_few_rows(2, 4, 1.0);
    EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, too_few_rows, histo, NOTHING_EXCLUDED), -5);
    EXPECT_EQ(histo.count(), 0u);
}

TEST(EdgeQualities, FailuresInTheirOrder) {
    const dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 1, 1});
    const dense2D<double> four_rows(4, 3);
    const dense2D<unsigned int> good = id_matrix(3, {0, 1, 2});
    const dense2D<unsigned int> bad = id_matrix(3, {0, 1, 3});
    const dense2D<unsigned int> bad_edge = id_matrix(2, {0, 3});
    const dense2D<unsigned int> matrices[] = {good, bad};
    const auto code = [&](const dense2D<double>& nodes, unsigned int first, unsigned int last,
                          const std::vector<int>& types, const auto& field,
                          const dense2D<unsigned int>& excluded) {
        histogram histo;
        const int result =
            edge_qualities(nodes, matrices + first, matrices + last, list_of(types), field, histo, excluded);
        EXPECT_EQ(histo.count(), result == 0 && first != last ? 3u : 0u);
        return result;
    };
    const auto check_all = [&](const auto& field, const auto& wrong_field) {
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

TEST(EdgeQualities, ViewsRateLikeCopies) {
    for (const unsigned int dimension : {2u, 3u}) {
        const scene s = random_scene(dimension, 90, 3);
        const dense2D<unsigned int> elements = random_elements(8, 50, 90, 4);
        const dense2D<unsigned int> excluded = random_elements(2, 200, 90, 4);
        histogram sizes[2] = {fine(), fine()}, metrics[2] = {fine(), fine()};
        EXPECT_EQ(edge_qualities(s.pos, elements, ELEM_HEXA8, s.sizes, sizes[0], excluded), 0);
        EXPECT_EQ(edge_qualities(s.pos, elements, ELEM_HEXA8, s.metrics, metrics[0], excluded), 0);
        const dense2D<double> pos = as_view(s.pos);
        const dense2D<unsigned int> view = as_view(elements);
        EXPECT_EQ(edge_qualities(pos, view, ELEM_HEXA8, s.sizes, sizes[1], as_view(excluded)), 0);
        EXPECT_EQ(edge_qualities(pos, view, ELEM_HEXA8, as_view(s.metrics), metrics[1], as_view(excluded)),
                  0);
        expect_same(sizes[0], sizes[1]);
        expect_same(metrics[0], metrics[1]);
    }
}

TEST(EdgeQualities, ExtremeCoordinatesAreCounted) {
    const dense2D<unsigned int> ring = id_matrix(2, {0, 1, 1, 2, 2, 0});
    for (const double size : {1e-300, 1e-200, 1e200, 1e300}) {
        const dense2D<double> pos = real_matrix(3, {0, 0, 0, size, 0, 0, 0, size, 0});
        histogram histo;
        EXPECT_EQ(edge_qualities(pos, ring, ELEM_EDGE2, real_list(3, size), histo, NOTHING_EXCLUDED), 0);
        EXPECT_EQ(histo.count(), 3u);
        EXPECT_NEAR(histo.max(), std::sqrt(2.0), 1e-15) << size;
    }
    // Infinite lengths rate infinitely and NaN stays NaN, whichever coordinate they come from.
    for (const unsigned int dimension : {2u, 3u}) {
        for (unsigned int d = 0; d < dimension; ++d) {
            dense2D<double> broken(dimension, 3);
            broken(d, 0) = NOT_A_NUMBER;
            broken(d, 1) = INF;
            histogram histo;
            EXPECT_EQ(edge_qualities(broken, ring, ELEM_EDGE2, real_list(3, 1.0), histo, NOTHING_EXCLUDED),
                      0);
            EXPECT_EQ(histo.not_a_number(), 2u);
            EXPECT_EQ(histo.above(), 1u);
            EXPECT_EQ(histo.min(), INF);
        }
    }
}

TEST(EdgeQualities, HostileInputGivesACodeAndNothingElse) {
    std::mt19937 random(78);
    const auto below = [&](unsigned int n) { return static_cast<unsigned int>(random() % n); };
    const double values[] = {0, 1, -1, 0.5, 1e-320, 1e300, -1.7e308, INF, NOT_A_NUMBER};
    for (int repetition = 0; repetition < 4000; ++repetition) {
        const auto value = [&] { return below(3) == 0 ? values[below(std::size(values))] : 1.0 + below(5); };
        dense2D<double> pos(1 + below(4), below(9));
        dense2D<double> metrics(below(8), pos.cols() + below(3) / 2);
        real_list sizes(pos.cols() + below(3) / 2);
        for (auto* matrix : {&pos, &metrics}) {
            for (unsigned int j = 0; j < matrix->cols(); ++j) {
                for (unsigned int d = 0; d < matrix->rows(); ++d) (*matrix)(d, j) = value();
            }
        }
        for (double& size : sizes) size = value();
        const auto random_ids = [&](unsigned int rows, unsigned int cols) {
            dense2D<unsigned int> ids(rows, cols);
            const unsigned int limit = std::max(1u, pos.cols() + (below(4) == 0));
            for (unsigned int e = 0; e < cols; ++e) {
                for (unsigned int k = 0; k < rows; ++k) ids(k, e) = below(200) == 0 ? NO_ID : below(limit);
            }
            return ids;
        };
        const auto type = static_cast<element_type>(int(below(24)) - 1);
        const bool right_rows = below(4) != 0 && type > 0 && type < ELEMENT_TYPE_COUNT;
        const dense2D<unsigned int> elements =
            random_ids(right_rows ? NODES_PER_ELEMENT[type] : below(10), below(20));
        const dense2D<unsigned int> excluded = random_ids(2, below(6));
        histogram by_size, by_metric;
        const int codes[] = {
            edge_qualities(as_view(pos), elements, type, sizes, by_size, excluded),
            edge_qualities(pos, as_view(elements), type, as_view(metrics), by_metric, as_view(excluded))};
        for (const int code : codes) {
            ASSERT_TRUE(code == 0 || code == -1 || code == -2 || code == -5 || code == -7) << code;
        }
        ASSERT_EQ(codes[0] == 0 || codes[0] == -5, codes[1] == 0 || codes[1] == -5);
        if (codes[0] != 0 && codes[0] != -5) {
            ASSERT_EQ(by_size.count() + by_metric.count(), 0u);
        }
        if (codes[0] == 0 && codes[1] == 0) {
            ASSERT_EQ(by_size.count() + by_size.not_a_number(), by_metric.count() + by_metric.not_a_number());
        }
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
