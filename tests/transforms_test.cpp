#include "test_containers.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

using namespace qv7::plexo;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;
using ids = dense2D<unsigned int>;

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

template <unsigned int D>
vector_fixed<double, D> times(double k, vector_fixed<double, D> v) {
    for (double& component : v) component *= k;
    return v;
}
double times(double k, double angle) {
    return k * angle;
}

template <unsigned int D>
bool is_zero(const vector_fixed<double, D>& v) {
    return std::count(v.begin(), v.end(), 0.0) == D;
}

void expect_near(const dense2D<double>& pos, const dense2D<double>& expected, double tolerance) {
    ASSERT_EQ(pos.rows(), expected.rows());
    ASSERT_EQ(pos.cols(), expected.cols());
    const auto a = test::entries(pos), b = test::entries(expected);
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::isnan(a[i]) && std::isnan(b[i])) continue;
        ASSERT_NEAR(a[i], b[i], tolerance);
    }
}

/// Checks the three forms of a transform, move(pos), move(pos, list) and move(pos, elements), against the map
/// of one node of at least D coordinates.
template <unsigned int D, typename Move, typename Map>
void expect_moved(test::dice& random, bool is_identity, double rounding, Move move, Map map,
                  bool counts_lists = true) {
    const unsigned int cols = random.below(9);
    const auto source = test::filled<double>(random.below(5), cols, [&] { return random.between(-1, 1); });
    const auto some_id = [&] { return cols == 0 || random.one_in(3) ? NO_ID : random.below(cols); };
    const auto elements = test::as_view(test::filled<unsigned int>(2, random.below(5), some_id));
    test::id_list lists[3] = {test::id_list(cols), test::id_list(random.below(6)), {}};
    for (unsigned int j = 0; j < cols; ++j) lists[0][j] = j;
    for (unsigned int& node : lists[1]) node = random.one_in(5) ? cols + random.below(3) : some_id();
    unique_indices(lists[2], elements);
    for (const test::id_list& list : lists) {
        dense2D<double> expected;
        expected.copy(source);
        int applied = 0;
        if (!source.empty() && !is_identity && !list.empty()) {
            if (source.rows() < D) expected.resize(D, cols, 0.0);
            for (const unsigned int node : list) {
                if (node >= cols) continue;
                map(expected.col_data(node));
                ++applied;
            }
        }
        test::framed<double> moved(source);
        const int result = &list == lists       ? move(moved.view)
                           : &list == lists + 1 ? move(moved.view, list)
                                                : move(moved.view, elements);
        ASSERT_EQ(result, counts_lists || &list == lists ? applied : 0);
        expect_near(moved.view, expected, rounding);
        ASSERT_TRUE(moved.frame_intact());
    }
}

template <unsigned int D>
void expect_translation_and_scaling(test::dice& random, const vector_fixed<double, D>& v, double factor) {
    expect_moved<D>(
        random, is_zero(v), 0, [&](auto& pos, const auto&... nodes) { return translate(pos, v, nodes...); },
        [&](double* p) {
            for (unsigned int k = 0; k < D; ++k) p[k] += v[k];
        });
    expect_moved<D>(
        random, factor == 1, 0,
        [&](auto& pos, const auto&... nodes) { return zoom(pos, v, factor, nodes...); },
        [&](double* p) {
            for (unsigned int k = 0; k < D; ++k) p[k] = (p[k] - v[k]) * (factor - 1) + p[k];
        },
        false);
}

/// Turns d about the unit axis u: the part along u stays, the rest turns in its plane.
vec3 turned(const vec3& d, const vec3& R) {
    const double angle = std::hypot(R[0], R[1], R[2]);
    const vec3 u = times(1 / angle, R);
    const double along = u[0] * d[0] + u[1] * d[1] + u[2] * d[2];
    vec3 result;
    for (unsigned int k = 0; k < 3; ++k) {
        const unsigned int i = (k + 1) % 3, j = (k + 2) % 3;
        result[k] = along * u[k] + std::cos(angle) * (d[k] - along * u[k]) +
                    std::sin(angle) * (u[i] * d[j] - u[j] * d[i]);
    }
    return result;
}

template <unsigned int D, typename Turn>
void expect_rotation(test::dice& random, const vector_fixed<double, D>& center, const Turn& turn,
                     const vec3& R) {
    expect_moved<D>(
        random, is_zero(R), 1e-14,
        [&](auto& pos, const auto&... nodes) { return rotate(pos, center, turn, nodes...); },
        [&](double* p) {
            vec3 d{0, 0, 0};
            for (unsigned int k = 0; k < D; ++k) d[k] = p[k] - center[k];
            for (unsigned int k = 0; k < D; ++k) p[k] = center[k] + turned(d, R)[k];
        });
}

TEST(Transforms, EqualTheirMapsInEveryForm) {
    test::dice random(2);
    for (int round = 0; round < 500 && !HasFailure(); ++round) {
        const double size = random.one_of({1.0, 1.0, 1e-3, 1e-170});
        const auto x = [&] { return random.between(-2, 2); };
        const auto step = [&] { return size * random.one_of({x(), x(), x(), 0.0, 0.0, -0.0, NOT_A_NUMBER}); };
        const double factor = random.one_of({x(), x(), 1.0, NOT_A_NUMBER});
        expect_translation_and_scaling(random, vec2{step(), step()}, factor);
        expect_translation_and_scaling(random, vec3{step(), step(), step()}, factor);
        const vec3 R{step(), step(), step()};
        expect_rotation(random, vec2{x(), x()}, R[2], vec3{0, 0, R[2]});
        expect_rotation(random, vec3{x(), x(), x()}, R, R);
    }
}

TEST(Transforms, TurnSmallAnglesWithFullPrecision) {
    // At the border between the closed form and the series both hold; far below only the series does.
    for (const double angle : {0.0005, 0.000999, 0.001001, 1e-9, 1e-160}) {
        auto pos = test::real_matrix(3, {1, 0, 0});
        ASSERT_EQ(rotate(pos, vec3{0, 0, 0}, vec3{0, 0, angle}), 1);
        EXPECT_DOUBLE_EQ(pos(0, 0), std::cos(angle));
        EXPECT_DOUBLE_EQ(pos(1, 0), std::sin(angle));
    }
}

// --- copies ---

struct mesh {
    dense2D<double> pos;
    ids connectC, connectS;
};

mesh deep(const mesh& m) {
    mesh result;
    result.pos.copy(m.pos);
    result.connectC.copy(m.connectC);
    result.connectS.copy(m.connectS);
    return result;
}

/// Elements with absent nodes and, now and then, with one that is no node.
mesh random_mesh(test::dice& random) {
    const unsigned int nodes = random.below(8), IDs = nodes + (random.one_in(10) ? 1 : 0);
    const auto x = [&] { return random.between(-1, 1); };
    const auto id = [&] { return IDs == 0 || random.one_in(5) ? NO_ID : random.below(IDs); };
    return {test::filled<double>(random.below(5), nodes, x),
            test::filled<unsigned int>(random.below(5), random.below(4), id),
            test::filled<unsigned int>(random.below(5), random.below(5), id)};
}

/// The plain copy step by step.
int copy_literally(mesh& m) {
    if (!check_IDs(m.connectS, m.pos.cols())) return -2;
    test::id_list nodes, new_IDs(m.pos.cols(), NO_ID);
    unique_indices(nodes, m.connectS);
    for (const unsigned int node : nodes) {
        new_IDs[node] = m.pos.cols();
        m.pos.push_back_col(m.pos.col_data(node));
    }
    m.connectC.copy(m.connectS);
    change_indices(m.connectC, new_IDs);
    return 0;
}

/// Copies, each turned and moved further than the one before, one behind the other.
template <typename Vector, typename Turn>
int copy_along_literally(mesh& m, const Vector& T, const Vector& center, const Turn& turn, unsigned int nc) {
    for (unsigned int k = 1; k <= nc && !m.pos.empty(); ++k) {
        mesh one = {m.pos, {}, m.connectS};
        if (const int error = copy_literally(one)) return error;
        rotate(one.pos, center, times(k, turn), one.connectC);
        translate(one.pos, times(k, T), one.connectC);
        m.pos = one.pos;
        const unsigned int rows = one.connectC.rows(), cols = one.connectC.cols(), old = m.connectC.cols();
        m.connectC.resize(std::max(m.connectC.rows(), rows), old + cols, NO_ID);
        for (unsigned int j = 0; j < cols; ++j)
            std::copy_n(one.connectC.col_data(j), rows, m.connectC.col_data(old + j));
    }
    return 0;
}

template <unsigned int D>
int mirror_literally(mesh& m, const vector_fixed<double, D>& P, const vector_fixed<double, D>& N) {
    const unsigned int old_nodes = m.pos.cols();
    double norm2 = 0;
    for (const double component : N) norm2 += component * component;
    if (m.pos.empty()) return 0;
    if (!(norm2 > 0)) return -4;
    if (const int error = copy_literally(m)) return error;
    if (m.pos.rows() < D) m.pos.resize(D, m.pos.cols(), 0.0);
    for (unsigned int j = old_nodes; j < m.pos.cols(); ++j) {
        double height = 0;
        for (unsigned int k = 0; k < D; ++k) height += (m.pos(k, j) - P[k]) * N[k];
        for (unsigned int k = 0; k < D; ++k) m.pos(k, j) += N[k] * (-2 / norm2) * height;
    }
    return 0;
}

/// Calls copy(pos, connectC, connectS) on matrices of their own, on views, and with one matrix, or matrices
/// that share storage, as both connectivities; other holders of the source keep it.
template <typename Copy, typename Literally>
void expect_equal(const mesh& given, Copy copy, Literally literally) {
    for (unsigned int sharing = 0; sharing < 4; ++sharing) {
        mesh m = deep(given);
        if (sharing == 1) m = {test::as_view(m.pos), test::as_view(m.connectC), test::as_view(m.connectS)};
        if (sharing >= 2) m.connectC = m.connectS;
        mesh expected = deep(m);
        const int code = literally(expected);
        const ids source = m.connectS;
        ASSERT_EQ(copy(m.pos, m.connectC, sharing == 3 ? m.connectC : m.connectS), code);
        ASSERT_TRUE(test::same(m.connectC, expected.connectC));
        ASSERT_TRUE(test::same(source, given.connectS));
        expect_near(m.pos, expected.pos, 0);
    }
}

template <typename Vector, typename Turn>
void expect_copies(const mesh& given, const Vector& T, const Vector& center, const Turn& turn,
                   unsigned int nc) {
    expect_equal(
        given, [&](auto& pos, auto& C, auto& S) { return copy_mesh(pos, C, T, center, turn, nc, S); },
        [&](mesh& m) { return copy_along_literally(m, T, center, turn, nc); });
    expect_equal(
        given, [&](auto& pos, auto& C, auto& S) { return copy_sym_mesh(pos, C, center, T, S); },
        [&](mesh& m) { return mirror_literally(m, center, T); });
}

TEST(Copies, EqualTheirSteps) {
    test::dice random(11);
    for (int round = 0; round < 3000 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const mesh given = random_mesh(random);
        const auto x = [&] { return random.one_in(3) ? 0 : random.between(-2, 2); };
        const unsigned int nc = random.below(4);
        expect_equal(
            given, [](auto& pos, auto& C, auto& S) { return copy_mesh(pos, C, S); }, copy_literally);
        expect_copies(given, vec2{x(), x()}, vec2{x(), x()}, x(), nc);
        expect_copies(given, vec3{x(), x(), x()}, vec3{x(), x(), x()}, vec3{x(), x(), x()}, nc);
    }
}

} // namespace
