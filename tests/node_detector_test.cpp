#include "test_containers.h"

#include <plexo/ids.h>
#include <plexo/node_detector.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <thread>

using namespace qv7::plexo;
using test::entries;
using test::id_matrix;
using test::ids;
using test::real_matrix;
using list = std::vector<unsigned int>;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr unsigned int N = NO_ID;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// The tree as its table of entries, filled one node at a time and searched by recursion.
class literal_tree {
public:
    explicit literal_tree(const dense2D<double>& pos) : pos_(pos), D_(pos.rows()) {}

    void insert(list nodes) {
        std::mt19937 random(1);
        for (unsigned int i = 1; i < nodes.size(); ++i) {
            unsigned int mask = 1;
            while (mask < i) mask = 2 * mask + 1;
            unsigned int j;
            do j = static_cast<unsigned int>(random()) & mask;
            while (j > i);
            std::swap(nodes[i], nodes[j]);
        }
        for (const unsigned int n : nodes) {
            if (n < pos_.cols()) insert_one(n);
        }
    }

    std::size_t size() const { return table_.size(); }

    unsigned int closest(const double* P, unsigned int skipped) const {
        if (table_.empty()) return N;
        double d2 = std::numeric_limits<double>::max();
        unsigned int best = N;
        for (unsigned int t = 0, axis = 0; t != N; axis = (axis + 1) % D_) {
            const unsigned int n = table_[t].node;
            const double here = squared(P, n);
            if (here < d2 && n != skipped) {
                d2 = here;
                best = n;
            }
            t = pos_(axis, n) <= P[axis] ? table_[t].high : table_[t].low;
        }
        double r = std::sqrt(d2);
        if (r > 0) search(0, 0, P, skipped, r, best);
        return best;
    }

    list box(const double* lo, const double* hi) const {
        list found;
        if (!table_.empty()) box(0, 0, lo, hi, found);
        return found;
    }

private:
    struct entry {
        unsigned int node, low, high;
    };

    void insert_one(unsigned int n) {
        const auto t = static_cast<unsigned int>(table_.size());
        table_.push_back({n, N, N});
        if (t == 0) return;
        for (unsigned int at = 0, axis = 0;; axis = (axis + 1) % D_) {
            entry& e = table_[at];
            unsigned int& next = pos_(axis, e.node) <= pos_(axis, n) ? e.high : e.low;
            if (next == N) {
                next = t;
                return;
            }
            at = next;
        }
    }

    double squared(const double* P, unsigned int n) const {
        double sum = 0;
        for (unsigned int k = 0; k < D_; ++k) sum += (P[k] - pos_(k, n)) * (P[k] - pos_(k, n));
        return sum;
    }

    void search(unsigned int t, unsigned int axis, const double* P, unsigned int skipped, double& r,
                unsigned int& best) const {
        const unsigned int n = table_[t].node;
        const double* p = pos_.col_data(n);
        bool inside = n != skipped;
        for (unsigned int k = 0; k < D_; ++k) inside = inside && P[k] - r <= p[k];
        for (unsigned int k = 0; k < D_; ++k) inside = inside && P[k] + r >= p[k];
        if (inside && std::sqrt(squared(P, n)) < r) {
            r = std::sqrt(squared(P, n));
            best = n;
        }
        const unsigned int next = (axis + 1) % D_;
        if (P[axis] + r > p[axis] && table_[t].high != N) search(table_[t].high, next, P, skipped, r, best);
        if (P[axis] - r < p[axis] && table_[t].low != N) search(table_[t].low, next, P, skipped, r, best);
    }

    void box(unsigned int t, unsigned int axis, const double* lo, const double* hi, list& found) const {
        const double* p = pos_.col_data(table_[t].node);
        const bool low = lo[axis] <= p[axis];
        const bool high = !(hi[axis] < p[axis]);
        bool inside = low && high;
        for (unsigned int k = 0; k < D_; ++k) inside = inside && lo[k] <= p[k] && p[k] <= hi[k];
        if (inside) found.push_back(table_[t].node);
        if (low && table_[t].low != N) box(table_[t].low, (axis + 1) % D_, lo, hi, found);
        if (high && table_[t].high != N) box(table_[t].high, (axis + 1) % D_, lo, hi, found);
    }

    const dense2D<double>& pos_;
    unsigned int D_;
    std::vector<entry> table_;
};

unsigned int closest(const node_detector& detector, const double* P, unsigned int rows) {
    return rows == 2 ? detector.find_closest(vec2{P[0], P[1]})
                     : detector.find_closest(vec3{P[0], P[1], P[2]});
}

list in_box(const node_detector& detector, const double* lo, const double* hi, unsigned int rows) {
    dense1D<unsigned int, 16> found;
    if (rows == 2)
        detector.find_in_box(vec2{lo[0], lo[1]}, vec2{hi[0], hi[1]}, found);
    else
        detector.find_in_box(vec3{lo[0], lo[1], lo[2]}, vec3{hi[0], hi[1], hi[2]}, found);
    return entries(found);
}

/// One coordinate of a family of point sets, each with its own kind of trouble.
enum class cloud { random, grid, fine_grid, few_places, one_place, tiny, huge, offset, clustered, broken };
constexpr cloud CLOUDS[] = {cloud::random, cloud::grid, cloud::fine_grid, cloud::few_places, cloud::one_place,
                            cloud::tiny,   cloud::huge, cloud::offset,    cloud::clustered,  cloud::broken};

double coordinate(cloud kind, test::dice& random) {
    switch (kind) {
    case cloud::random:
        return random.between(-1, 1);
    case cloud::grid:
        return random.below(6);
    case cloud::fine_grid:
        return 0.1 * random.below(12);
    case cloud::few_places:
        return random.one_in(4) ? -0.0 : random.below(2);
    case cloud::one_place:
        return 0.3;
    case cloud::tiny:
        return random.below(5) * 1e-162 + random.below(2) * 4.9e-324;
    case cloud::huge:
        return random.between(-1, 1) * (random.one_in(2) ? 1e154 : 1.7e308);
    case cloud::offset:
        return 1e6 + random.between(0, 1e-9);
    case cloud::clustered:
        return std::ldexp(random.between(1, 2), -static_cast<int>(random.below(1000)));
    case cloud::broken:
        break;
    }
    const double odd[] = {NOT_A_NUMBER, INF, -INF, 0};
    return random.one_in(4) ? odd[random.below(4)] : random.between(-1, 1);
}

dense2D<double> make_cloud(cloud kind, unsigned int rows, unsigned int cols, test::dice& random) {
    dense2D<double> pos(rows, cols);
    for (unsigned int i = 0; i < pos.size(); ++i) pos.data()[i] = coordinate(kind, random);
    return pos;
}

/// All queries about a cloud: near and on its nodes, and far from them.
void expect_equal(const node_detector& detector, const literal_tree& tree, const dense2D<double>& pos,
                  cloud kind, test::dice& random, int rounds) {
    const unsigned int D = pos.rows();
    ASSERT_EQ(detector.size(), tree.size());
    for (int round = 0; round < rounds; ++round) {
        double P[3] = {0, 0, 0}, lo[3] = {0, 0, 0}, hi[3] = {0, 0, 0};
        const unsigned int node = random.below(pos.cols());
        for (unsigned int k = 0; k < D; ++k) {
            const double a = coordinate(kind, random), b = coordinate(kind, random);
            P[k] = random.one_in(6) ? (a + b) / 2 : a;
            lo[k] = random.one_in(9) ? b : std::min(a, b);
            hi[k] = random.one_in(5) ? P[k] : std::max(a, b);
        }
        if (random.one_in(4)) std::copy_n(pos.col_data(node), D, P);
        if (random.one_in(30)) P[random.below(D)] = coordinate(cloud::broken, random);
        ASSERT_EQ(closest(detector, P, D), tree.closest(P, N)) << P[0] << ' ' << P[1] << ' ' << P[2];
        ASSERT_EQ(detector.find_closest(node), tree.closest(pos.col_data(node), node));
        ASSERT_EQ(in_box(detector, lo, hi, D), tree.box(lo, hi));
    }
}

TEST(NodeDetector, AnswersLikeTheTreeBuiltNodeByNode) {
    test::dice random(31);
    for (int round = 0; round < 40; ++round) {
        for (const cloud kind : CLOUDS) {
            for (const unsigned int rows : {2u, 3u}) {
                const auto pos = test::as_view(make_cloud(kind, rows, 1 + random.below(300), random));
                const node_detector detector(pos);
                literal_tree tree(pos);
                list all(pos.cols());
                std::iota(all.begin(), all.end(), 0u);
                tree.insert(all);
                expect_equal(detector, tree, pos, kind, random, 40);
                if (HasFatalFailure()) FAIL() << "cloud " << int(kind) << " of " << pos.cols();
            }
        }
    }
}

TEST(NodeDetector, AnswersLikeTheTreeBuiltNodeByNodeAmongManyNodes) {
    test::dice random(32);
    for (const cloud kind : {cloud::random, cloud::grid, cloud::fine_grid, cloud::offset, cloud::clustered}) {
        for (const unsigned int rows : {2u, 3u}) {
            const auto pos = make_cloud(kind, rows, 20000, random);
            const node_detector detector(pos);
            literal_tree tree(pos);
            list all(pos.cols());
            std::iota(all.begin(), all.end(), 0u);
            tree.insert(all);
            expect_equal(detector, tree, pos, kind, random, kind == cloud::random ? 4000 : 300);
            if (HasFatalFailure()) FAIL() << "cloud " << int(kind);
        }
    }
}

TEST(NodeDetector, ContinuesFromTheTreeItHas) {
    test::dice random(33);
    for (int round = 0; round < 60; ++round) {
        for (const cloud kind : CLOUDS) {
            const auto pos = make_cloud(kind, 2 + random.below(2), 200, random);
            node_detector detector(pos, dense1D<unsigned int, 16>());
            literal_tree tree(pos);
            for (unsigned int batch = 0; batch < 2 + random.below(6); ++batch) {
                list nodes(random.one_in(3) ? 1 : random.below(150));
                for (unsigned int& n : nodes) n = random.one_in(20) ? N - random.below(2) : random.below(210);
                const std::size_t old_size = tree.size();
                tree.insert(nodes);
                ASSERT_EQ(detector.insert(test::list_of(nodes)), tree.size() - old_size);
                expect_equal(detector, tree, pos, kind, random, 10);
                if (HasFatalFailure()) FAIL() << "cloud " << int(kind);
            }
        }
    }
}

TEST(NodeDetector, IsEmptyUntilItHasATree) {
    node_detector detector;
    auto found = ids({5});
    EXPECT_EQ(detector.size(), 0u);
    EXPECT_EQ(detector.insert(ids({0})), 0u);
    EXPECT_EQ(detector.find_closest(vec2{0, 0}), N);
    EXPECT_EQ(detector.find_closest(vec3{0, 0, 0}), N);
    EXPECT_EQ(detector.find_closest(0u), N);
    detector.find_in_box(vec2{-1, -1}, vec2{1, 1}, found);
    EXPECT_EQ(entries(found), list{5});

    dense2D<double> pos(2, 0);
    EXPECT_EQ(detector.reinit(pos), 0);
    EXPECT_EQ(detector.find_closest(vec2{0, 0}), N);
    ASSERT_TRUE(pos.push_back_col(vec2{1, 2}.data())); // columns may be appended while the detector lives
    EXPECT_EQ(detector.insert(ids({0, 1})), 1u);
    EXPECT_EQ(detector.find_closest(vec2{0, 0}), 0u);
}

TEST(NodeDetector, KeepsItsTreeWhenAListOrConnectivityFails) {
    const auto pos = real_matrix(2, {0, 0, 5, 5});
    const dense2D<double> flat(1, 4), deep(4, 4);
    node_detector detector(pos);
    const auto outside = id_matrix(1, {2});
    for (const auto& wrong : {flat, deep}) {
        EXPECT_EQ(detector.reinit(wrong, ids({9})), -1); // the rows come before the IDs
        EXPECT_EQ(detector.reinit(wrong, outside), -1);
        EXPECT_EQ(detector.reinit(wrong, &outside, nullptr), -1);
    }
    EXPECT_EQ(detector.reinit(pos, ids({0, 2})), -2);
    EXPECT_EQ(detector.reinit(pos, outside), -2);
    EXPECT_EQ(detector.reinit(pos, nullptr, &outside), -2);
    EXPECT_EQ(detector.size(), 2u);
    EXPECT_EQ(detector.find_closest(vec2{4, 4}), 1u);
    EXPECT_EQ(detector.reinit(flat), -1);
    EXPECT_EQ(detector.size(), 0u);
    EXPECT_EQ(detector.find_closest(vec2{4, 4}), N);
}

TEST(NodeDetector, TakesListsAndConnectivities) {
    const auto pos = real_matrix(2, {0, 0, 1, 0, 2, 0, 3, 0});
    const auto edges = id_matrix(2, {3, 1, 1, N});
    const auto points = id_matrix(1, {1, 2, 2});
    EXPECT_EQ(node_detector(pos, ids({1, 1, N, 2})).size(), 3u); // a node listed twice has two entries
    EXPECT_EQ(node_detector(pos, edges).size(), 2u);
    EXPECT_EQ(node_detector(pos, &edges, &points).size(), 3u);
    EXPECT_EQ(node_detector(pos, nullptr, &points).size(), 2u);
    EXPECT_EQ(node_detector(pos, nullptr, nullptr).size(), 0u);
    node_detector detector(pos, &edges, nullptr);
    EXPECT_EQ(detector.insert(points), 2u);
    EXPECT_EQ(detector.size(), 4u);
    EXPECT_EQ(in_box(detector, vec3{1, 0, 0}.data(), vec3{1, 0, 0}.data(), 2), (list{1, 1}));
}

TEST(NodeDetector, FindsTheOtherNodeOfAPair) {
    const auto pos = real_matrix(3, {0, 0, 0, 1, 0, 0, 0, 0, 0});
    EXPECT_EQ(node_detector(pos, ids({0})).find_closest(0u), N);
    EXPECT_EQ(node_detector(pos, ids({0, 1})).find_closest(0u), 1u);
    EXPECT_EQ(node_detector(pos).find_closest(0u), 2u);
    EXPECT_EQ(node_detector(pos, ids({1})).find_closest(2u), 1u); // the node asked about need not be an entry
    EXPECT_EQ(node_detector(pos).find_closest(3u), N);
}

TEST(NodeDetector, MeetsQueriesOfTheOtherDimension) {
    const auto space = real_matrix(3, {0, 0, 5, 3, 0, 0});
    const auto plane = real_matrix(2, {0, 0, 3, 0});
    const node_detector in_space(space), in_plane(plane);
    EXPECT_EQ(in_space.find_closest(vec2{0, 0}), 1u);
    EXPECT_EQ(in_plane.find_closest(vec3{1, 0, NOT_A_NUMBER}), 0u);
    dense1D<unsigned int, 16> found;
    in_space.find_in_box(vec2{-9, -9}, vec2{9, 9}, found);
    EXPECT_EQ(entries(found), list{1});
    in_plane.find_in_box(vec3{-9, -9, 1}, vec3{1, 9, -1}, found); // appends
    EXPECT_EQ(entries(found), (list{1, 0}));
    in_plane.find_in_box(vec3{1, -9, 0}, vec3{-1, 9, 0}, found);
    EXPECT_EQ(found.size(), 2u);
}

TEST(NodeDetector, CopiesAreDeepOverTheSameCoordinates) {
    const auto pos = real_matrix(2, {0, 0, 5, 0, 9, 0});
    node_detector detector(pos, ids({0, 1}));
    node_detector copy(detector);
    EXPECT_EQ(copy.insert(ids({2})), 1u);
    EXPECT_EQ(detector.find_closest(vec2{9, 0}), 1u);
    EXPECT_EQ(copy.find_closest(vec2{9, 0}), 2u);
    const node_detector& same = copy;
    copy = same;
    EXPECT_EQ(copy.size(), 3u);
    detector = std::move(copy);
    EXPECT_EQ(detector.size(), 3u);
    EXPECT_EQ(copy.size(), 0u); // NOLINT(bugprone-use-after-move): a moved-from detector is an empty one
    EXPECT_EQ(copy.find_closest(vec2{0, 0}), N);
    detector = copy;
    EXPECT_EQ(detector.size(), 0u);
    const auto space = real_matrix(3, {0, 0, 0});
    detector = node_detector(space);
    copy = detector;
    copy = node_detector(pos);
    EXPECT_EQ(detector.find_closest(vec3{0, 0, 9}), 0u);
    EXPECT_EQ(copy.find_closest(vec3{8, 0, 9}), 2u);
}

void probe_one_place(unsigned int count) {
    for (const double x : {0.5, NOT_A_NUMBER}) {
        dense2D<double> pos(3, count, x);
        node_detector detector(pos);
        ASSERT_EQ(detector.size(), count);
        dense1D<unsigned int, 16> found;
        detector.find_in_box(vec3{0, 0, 0}, vec3{1, 1, 1}, found);
        ASSERT_EQ(found.size(), std::isnan(x) ? 0 : count);
        ASSERT_EQ(detector.find_closest(vec3{0.5, 0.5, 0.5}), std::isnan(x) ? N : found[0]);
        ASSERT_EQ(detector.find_closest(vec3{0, 0, 0}), std::isnan(x) ? N : found[0]);
        ASSERT_EQ(detector.find_closest(found.empty() ? 0 : found[0]), std::isnan(x) ? N : found[1]);
        const node_detector copy(detector);
        ASSERT_EQ(detector.insert(found), found.size());
    }
}

TEST(NodeDetector, NeedsLittleStackForTwentyThousandCoincidentNodes) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    pthread_t thread;
    const auto probe = [](void*) -> void* {
        probe_one_place(20000);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, probe, nullptr), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

TEST(NodeDetector, BuildsAMillionNodesInOneOrTwoPlaces) {
    probe_one_place(1000000);
    dense2D<double> pos(3, 1000000, 0.0);
    for (unsigned int j = 0; j < pos.cols(); j += 100000) pos(0, j) = 1; // a few that follow all the others
    const node_detector detector(pos);
    EXPECT_EQ(in_box(detector, vec3{0.5, 0, 0}.data(), vec3{2, 0, 0}.data(), 3).size(), 10u);
}

/// Points among which every halving takes four steps: at each scale half of them stand in one corner of the
/// box, and on each axis one point lies beyond. A row of doubled distances keeps the cells of the first 40
/// steps from being halved at all.
dense2D<double> points_that_resist_halving(test::dice& random) {
    std::vector<vec3> points;
    for (int i = 0; i < 26; ++i)
        points.push_back({random.between(0, 1), random.between(0, 1), random.between(0, 1)});
    double size = 1;
    for (int scale = 0; scale < 11; ++scale) {
        const double corner = 1.25 * size;
        points.insert(points.end(), points.size() + 4, vec3{corner, corner, corner});
        for (const vec3& beyond : {vec3{1, 0, 0}, vec3{0, 1, 0}, vec3{0, 0, 1}})
            points.push_back({3 * corner * beyond[0], 3 * corner * beyond[1], 3 * corner * beyond[2]});
        size = 3.5 * corner;
    }
    for (int i = 1; i <= 41; ++i) points.push_back({std::ldexp(size, i), 0, 0});
    dense2D<double> pos(3, static_cast<unsigned int>(points.size()));
    for (unsigned int j = 0; j < pos.cols(); ++j) std::copy_n(points[j].data(), 3, pos.col_data(j));
    return pos;
}

TEST(NodeDetector, AnswersAmongPointsThatResistHalving) {
    test::dice random(34);
    const auto pos = points_that_resist_halving(random);
    const node_detector detector(pos);
    const auto squared_distance = [&pos](const vec3& P, unsigned int n) {
        const double* p = pos.col_data(n);
        return (P[0] - p[0]) * (P[0] - p[0]) + (P[1] - p[1]) * (P[1] - p[1]) + (P[2] - p[2]) * (P[2] - p[2]);
    };
    for (unsigned int i = 0; i < 26; ++i) { // about the innermost points, which stand deepest
        vec3 P;
        for (unsigned int k = 0; k < 3; ++k) P[k] = pos(k, i) + random.between(0, 0.1);
        double least = INF;
        for (unsigned int n = 0; n < pos.cols(); ++n) least = std::min(least, squared_distance(P, n));
        ASSERT_EQ(squared_distance(P, detector.find_closest(P)), least);
        ASSERT_EQ(in_box(detector, pos.col_data(i), pos.col_data(i), 3), list{i});
    }
}

TEST(NodeDetector, AnswersSeveralThreadsAtOnce) {
    test::dice random(34);
    const auto pos = make_cloud(cloud::random, 3, 5000, random);
    const node_detector detector(pos);
    std::vector<list> answers(4);
    std::vector<std::thread> threads;
    for (list& answer : answers) {
        threads.emplace_back([&] {
            test::dice own(35);
            for (int i = 0; i < 500; ++i) {
                const vec3 P{own.between(-1, 1), own.between(-1, 1), own.between(-1, 1)};
                answer.push_back(detector.find_closest(P));
                answer.push_back(detector.find_closest(own.below(pos.cols())));
                dense1D<unsigned int, 16> found;
                detector.find_in_box(P, vec3{P[0] + 0.1, P[1] + 0.1, P[2] + 0.1}, found);
                answer.insert(answer.end(), found.begin(), found.end());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const list& answer : answers) EXPECT_EQ(answer, answers[0]);
}

} // namespace
