#include "limited_memory.h"
#include "test_containers.h"

#include <plexo/node_detector.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <thread>

using namespace test;
using list = std::vector<unsigned int>;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr unsigned int N = NO_ID;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// The tree as its table of entries, filled one node at a time and searched by recursion.
struct literal_tree {
    struct entry {
        unsigned int node, child[2]; ///< the low one, the high one
    };
    const dense2D<double>& pos;
    std::vector<entry> table;

    unsigned int root() const { return table.empty() ? N : 0; }
    unsigned int after(unsigned int axis) const { return (axis + 1) % pos.rows(); }

    void insert(list nodes) {
        std::mt19937 random(1);
        for (unsigned int i = 1, mask = 1, j; i < nodes.size(); ++i) {
            while (mask < i) mask = 2 * mask + 1;
            do j = static_cast<unsigned int>(random()) & mask;
            while (j > i);
            std::swap(nodes[i], nodes[j]);
        }
        for (const unsigned int n : nodes) {
            if (n >= pos.cols()) continue;
            unsigned int top = root(), *link = &top;
            for (unsigned int axis = 0; *link != N; axis = after(axis))
                link = &table[*link].child[pos(axis, table[*link].node) <= pos(axis, n)];
            *link = static_cast<unsigned int>(table.size());
            table.push_back({n, {N, N}});
        }
    }

    double squared_distance(const double* P, unsigned int n) const {
        double sum = 0;
        for (unsigned int k = 0; k < pos.rows(); ++k) sum += (P[k] - pos(k, n)) * (P[k] - pos(k, n));
        return sum;
    }

    unsigned int closest(const double* P, unsigned int skipped) const {
        double d2 = std::numeric_limits<double>::max();
        unsigned int best = N;
        for (unsigned int t = root(), axis = 0; t != N; axis = after(axis)) {
            const entry& e = table[t];
            if (e.node != skipped && squared_distance(P, e.node) < d2) {
                d2 = squared_distance(P, e.node);
                best = e.node;
            }
            t = e.child[pos(axis, e.node) <= P[axis]];
        }
        double r = std::sqrt(d2);
        if (r > 0) search(root(), 0, P, skipped, r, best);
        return best;
    }

    void search(unsigned int t, unsigned int axis, const double* P, unsigned int skipped, double& r,
                unsigned int& best) const {
        if (t == N) return;
        const entry& e = table[t];
        const double* p = pos.col_data(e.node);
        bool inside = e.node != skipped;
        for (unsigned int k = 0; k < pos.rows(); ++k) inside &= P[k] - r <= p[k] && P[k] + r >= p[k];
        if (inside && std::sqrt(squared_distance(P, e.node)) < r) {
            r = std::sqrt(squared_distance(P, e.node));
            best = e.node;
        }
        if (P[axis] + r > p[axis]) search(e.child[1], after(axis), P, skipped, r, best);
        if (P[axis] - r < p[axis]) search(e.child[0], after(axis), P, skipped, r, best);
    }

    void box(unsigned int t, unsigned int axis, const double* lo, const double* hi, list& found) const {
        if (t == N) return;
        const entry& e = table[t];
        const double* p = pos.col_data(e.node);
        bool inside = true;
        for (unsigned int k = 0; k < pos.rows(); ++k) inside &= lo[k] <= p[k] && p[k] <= hi[k];
        if (inside) found.push_back(e.node);
        if (lo[axis] <= p[axis]) box(e.child[0], after(axis), lo, hi, found);
        if (!(hi[axis] < p[axis])) box(e.child[1], after(axis), lo, hi, found);
    }
};

/// Coordinates of clouds, each with its own kind of trouble.
using draw = double (*)(dice&);
constexpr draw CLOUDS[] = {
    [](dice& random) { return random.between(-1, 1); },
    [](dice& random) -> double { return random.below(6); },
    [](dice& random) { return 0.1 * random.below(12); },
    [](dice& random) { return random.one_in(4) ? -0.0 : random.below(2); },
    [](dice&) { return 0.3; },
    [](dice& random) { return random.below(5) * 1e-162 + random.below(2) * 4.9e-324; },
    [](dice& random) { return random.between(-1, 1) * (random.one_in(2) ? 1e154 : 1.7e308); },
    [](dice& random) { return 1e6 + random.between(0, 1e-9); },
    [](dice& random) { return std::ldexp(random.between(1, 2), -static_cast<int>(random.below(1000))); },
    [](dice& random) {
        const double odd[] = {NOT_A_NUMBER, INF, -INF, 0};
        return random.one_in(4) ? odd[random.below(4)] : random.between(-1, 1);
    }};

/// Points and boxes near the nodes, on them and far from them. In a query of the other dimension z is 0 or
/// left out.
void expect_equal(const node_detector& detector, const literal_tree& tree, draw coordinate, dice& random,
                  int queries) {
    const dense2D<double>& pos = tree.pos;
    ASSERT_EQ(detector.size(), tree.table.size());
    for (; queries > 0; --queries) {
        const bool plane = random.one_in(3), hit = random.one_in(4);
        const unsigned int node = random.below(pos.cols());
        vec3 P{0, 0, 0}, lo = P, hi = P;
        for (unsigned int k = 0; k < (plane ? 2 : 3); ++k) {
            const double a = coordinate(random), b = coordinate(random);
            P[k] = hit && k < pos.rows() ? pos(k, node) : random.one_in(6) ? (a + b) / 2 : a;
            lo[k] = random.one_in(9) ? b : std::min(a, b);
            hi[k] = random.one_in(5) ? P[k] : std::max(a, b);
        }
        const vec2 flat{P[0], P[1]};
        ASSERT_EQ(plane ? detector.find_closest(flat) : detector.find_closest(P), tree.closest(P.data(), N));
        ASSERT_EQ(detector.find_closest(node), tree.closest(pos.col_data(node), node));
        list expected = {5};
        tree.box(tree.root(), 0, lo.data(), hi.data(), expected);
        id_list found = ids({5});
        if (plane)
            detector.find_in_box(vec2{lo[0], lo[1]}, vec2{hi[0], hi[1]}, found);
        else
            detector.find_in_box(lo, hi, found);
        ASSERT_EQ(entries(found), expected);
    }
}

dense2D<double> make_cloud(draw coordinate, unsigned int rows, unsigned int cols, dice& random) {
    dense2D<double> pos(rows, cols);
    for (unsigned int i = 0; i < pos.size(); ++i) pos.data()[i] = coordinate(random);
    return as_view(pos);
}

literal_tree tree_of_all(const dense2D<double>& pos) {
    literal_tree tree{pos, {}};
    list nodes(pos.cols());
    std::iota(nodes.begin(), nodes.end(), 0u);
    tree.insert(nodes);
    return tree;
}

TEST(NodeDetector, AnswersLikeTheTreeBuiltNodeByNode) {
    dice random(31);
    node_detector detector;
    for (unsigned int round = 0; round < 2000; ++round) {
        const draw cloud = CLOUDS[round % std::size(CLOUDS)];
        const auto pos = make_cloud(cloud, 2 + random.below(2), 1 + random.below(300), random);
        const literal_tree nothing{pos, {}};
        literal_tree tree = random.one_in(2) ? tree_of_all(pos) : nothing;
        const node_detector start = tree.table.empty() ? node_detector(pos, id_list()) : node_detector(pos);
        expect_equal(start, tree, cloud, random, 40);
        detector = start; // in place of a tree of any dimension
        for (unsigned int batches = random.below(6); batches > 0; --batches) {
            list nodes(random.one_in(3) ? 1 : random.below(150));
            for (unsigned int& n : nodes)
                n = random.one_in(20) ? N - random.below(2) : random.below(pos.cols() + 10);
            node_detector copy(detector);
            const literal_tree before = tree;
            tree.insert(nodes);
            ASSERT_EQ(detector.insert(list_of(nodes)), tree.table.size() - before.table.size());
            expect_equal(copy, before, cloud, random, 5);
            node_detector& self = copy = detector;
            copy = self;
            copy = std::move(self);
            detector = std::move(copy);
            expect_equal(detector, tree, cloud, random, 10);
            expect_equal(copy, nothing, cloud, random, 1); // NOLINT(bugprone-use-after-move): it is empty
        }
        if (HasFatalFailure()) FAIL() << "in round " << round;
    }
}

TEST(NodeDetector, AnswersSeveralThreadsAtOnceAmongManyNodes) {
    dice random(32);
    for (const draw cloud : {CLOUDS[0], CLOUDS[1], CLOUDS[2], CLOUDS[7], CLOUDS[8]}) {
        for (const unsigned int rows : {2u, 3u}) {
            const auto pos = make_cloud(cloud, rows, 20000, random);
            const node_detector detector(pos);
            const literal_tree tree = tree_of_all(pos);
            const auto ask = [&](unsigned int seed) {
                dice own(seed);
                expect_equal(detector, tree, cloud, own, cloud == CLOUDS[0] ? 2000 : 150);
            };
            std::thread one(ask, 1), two(ask, 2);
            one.join();
            two.join();
            ASSERT_FALSE(HasFailure()) << rows;
        }
    }
}

TEST(NodeDetector, ChecksTheRowsBeforeTheNodesAndKeepsItsTreeButForAllNodes) {
    const auto pos = real_matrix(2, {0, 0, 5, 5});
    const auto outside = id_matrix(1, {2});
    for (const auto& wrong : {dense2D<double>(1, 4), dense2D<double>(4, 4)}) {
        node_detector detector(pos);
        EXPECT_EQ(detector.reinit(wrong, ids({9})), -1);
        EXPECT_EQ(detector.reinit(wrong, outside), -1);
        EXPECT_EQ(detector.reinit(wrong, &outside, nullptr), -1);
        EXPECT_EQ(detector.reinit(pos, ids({0, 2})), -2);
        EXPECT_EQ(detector.reinit(pos, outside), -2);
        EXPECT_EQ(detector.reinit(pos, nullptr, &outside), -2);
        EXPECT_EQ(detector.find_closest(vec2{4, 4}), 1u);
        EXPECT_EQ(detector.reinit(wrong), -1);
        EXPECT_EQ(detector.size(), 0u);
        EXPECT_EQ(detector.insert(ids({0})), 0u);
        EXPECT_EQ(detector.find_closest(vec2{4, 4}), N);
    }
    expect_survives_without_memory([&pos] {
        node_detector detector(pos);
        const id_list many(12000000, 1u);
        return detector.reinit(pos, many) == -199 && detector.insert(many) == 0 && detector.size() == 2;
    });
}

TEST(NodeDetector, TakesListsAndConnectivities) {
    dense2D<double> pos = real_matrix(2, {0, 0, 1, 0, 2, 0, 3, 0});
    const auto edges = id_matrix(2, {3, 1, 1, N}), points = id_matrix(1, {1, 2, 2});
    EXPECT_EQ(node_detector(pos, ids({1, 1, N, 2})).size(), 3u); // a node listed twice has two entries
    EXPECT_EQ(node_detector(pos, edges).size(), 2u);
    EXPECT_EQ(node_detector(pos, &edges, &points).size(), 3u);
    EXPECT_EQ(node_detector(pos, nullptr, &points).size(), 2u);
    EXPECT_EQ(node_detector(pos, nullptr, nullptr).size(), 0u);
    node_detector detector(pos, &edges, nullptr);
    EXPECT_EQ(detector.insert(points), 2u);
    EXPECT_EQ(detector.find_closest(1u), 2u); // not itself, which it has twice
    EXPECT_EQ(detector.find_closest(0u), 1u); // which it has not
    EXPECT_EQ(detector.find_closest(4u), N);
    ASSERT_TRUE(pos.push_back_col(vec2{0, 9}.data())); // columns may be appended while the detector lives
    EXPECT_EQ(detector.insert(ids({4, 5})), 1u);
    EXPECT_EQ(detector.find_closest(vec2{0, 8}), 4u);
}

void* probe_one_place(void*) {
    for (const double x : {0.5, NOT_A_NUMBER}) {
        dense2D<double> pos(3, 1000000, x);
        for (unsigned int j = 0; j < 10; ++j) pos(0, j) = 2; // a few go another way
        const node_detector built(pos);
        node_detector detector(built);
        id_list found;
        detector.find_in_box(vec3{0, 0, 0}, vec3{1, 1, 1}, found);
        EXPECT_EQ(found.size(), std::isnan(x) ? 0 : pos.cols() - 10);
        const unsigned int first = found.empty() ? N : found[0], second = found.empty() ? N : found[1];
        EXPECT_EQ(detector.find_closest(vec3{0.5, 0.5, 0.5}), first);
        EXPECT_EQ(detector.find_closest(vec3{0, 0, 0}), first);
        EXPECT_EQ(detector.find_closest(first == N ? 0 : first), second);
        EXPECT_EQ(detector.insert(found), found.size());
    }
    return nullptr;
}

TEST(NodeDetector, NeedsLittleTimeAndStackForAMillionNodesInTwoPlaces) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, probe_one_place, nullptr), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

/// Points among which every halving takes four steps: at each scale half of them stand in one corner of the
/// box, and on each axis one point lies beyond. A row of doubled distances keeps the cells of the first 40
/// steps from being halved at all.
dense2D<double> points_that_resist_halving(dice& random) {
    std::vector<double> points;
    const auto add = [&points](double x, double y, double z) { points.insert(points.end(), {x, y, z}); };
    for (int i = 0; i < 26; ++i) add(random.between(0, 1), random.between(0, 1), random.between(0, 1));
    double corner = 1.25;
    for (int scale = 0; scale < 11; ++scale, corner *= 4.375) {
        for (std::size_t count = points.size() / 3 + 4; count > 0; --count) add(corner, corner, corner);
        add(3 * corner, 0, 0);
        add(0, 3 * corner, 0);
        add(0, 0, 3 * corner);
    }
    for (int i = 1; i <= 41; ++i) add(std::ldexp(0.8 * corner, i), 0, 0);
    return matrix_of(3, points);
}

TEST(NodeDetector, AnswersAmongPointsThatResistHalving) {
    dice random(34);
    const auto pos = points_that_resist_halving(random);
    const node_detector detector(pos);
    const literal_tree distances{pos, {}};
    for (unsigned int i = 0; i < 26; ++i) { // about the innermost points, which stand deepest
        vec3 P{pos(0, i), pos(1, i), pos(2, i)};
        id_list found;
        detector.find_in_box(P, P, found);
        ASSERT_EQ(entries(found), list{i});
        for (double& x : P) x += random.between(0, 0.1);
        double least = INF;
        for (unsigned int n = 0; n < pos.cols(); ++n)
            least = std::min(least, distances.squared_distance(P.data(), n));
        ASSERT_EQ(distances.squared_distance(P.data(), detector.find_closest(P)), least);
    }
}

} // namespace
