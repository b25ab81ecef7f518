#include "test_containers.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace qv7::plexo;
using test::entries;
using test::id_matrix;
using test::real_matrix;
using list = std::vector<unsigned int>;
using reals = std::vector<double>;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr unsigned int N = NO_ID;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// The plain copy step by step, for valid input.
void copy_literally(dense2D<double>& pos, dense2D<unsigned int>& connectC,
                    const dense2D<unsigned int>& connectS) {
    const unsigned int N0 = pos.cols();
    dense1D<unsigned int, 16> nodes, new_IDs(N0, N);
    unique_indices(nodes, connectS);
    for (const unsigned int node : nodes) {
        const reals column(pos.col_data(node), pos.col_data(node) + pos.rows());
        new_IDs[node] = pos.cols();
        ASSERT_TRUE(pos.push_back_col(column.data()));
    }
    ASSERT_TRUE(connectC.copy(connectS));
    change_indices(connectC, new_IDs);
}

void append_literally(dense2D<unsigned int>& connectC, const dense2D<unsigned int>& columns) {
    const unsigned int old_cols = connectC.cols();
    connectC.resize(std::max(connectC.rows(), columns.rows()), old_cols + columns.cols(), N);
    for (unsigned int j = 0; j < columns.cols(); ++j) {
        for (unsigned int i = 0; i < columns.rows(); ++i) connectC(i, old_cols + j) = columns(i, j);
    }
}

template <typename Turn, typename Shift>
void copy_along_literally(dense2D<double>& pos, dense2D<unsigned int>& connectC, unsigned int nc,
                          const dense2D<unsigned int>& connectS, Turn turn, Shift shift) {
    for (unsigned int k = 1; k <= nc; ++k) {
        dense2D<unsigned int> working;
        copy_literally(pos, working, connectS);
        turn(pos, double(k), working);
        shift(pos, double(k), working);
        append_literally(connectC, working);
    }
}

struct sample {
    dense2D<double> pos;
    dense2D<unsigned int> connectS, connectC;
};

sample random_sample(test::dice& random) {
    sample s{dense2D<double>(1 + random.below(4), 1 + random.below(8)),
             dense2D<unsigned int>(1 + random.below(4), random.below(5)),
             dense2D<unsigned int>(random.below(5), random.below(4))};
    for (unsigned int i = 0; i < s.pos.size(); ++i) s.pos.data()[i] = random.between(-1, 1);
    for (unsigned int i = 0; i < s.connectS.size(); ++i)
        s.connectS.data()[i] = random.one_in(5) ? N : random.below(s.pos.cols());
    for (unsigned int i = 0; i < s.connectC.size(); ++i) s.connectC.data()[i] = random.below(9);
    return s;
}

sample deep(const sample& s) {
    sample result;
    result.pos.copy(s.pos);
    result.connectS.copy(s.connectS);
    result.connectC.copy(s.connectC);
    return result;
}

sample views(const sample& s) {
    return {test::as_view(s.pos), test::as_view(s.connectS), test::as_view(s.connectC)};
}

void expect_same(const sample& result, const sample& expected) {
    ASSERT_TRUE(test::same(result.connectC, expected.connectC));
    ASSERT_TRUE(test::same(result.connectS, expected.connectS));
    ASSERT_EQ(result.pos.rows(), expected.pos.rows());
    ASSERT_EQ(result.pos.cols(), expected.pos.cols());
    const reals a = entries(result.pos), b = entries(expected.pos);
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_DOUBLE_EQ(a[i], b[i]);
}

TEST(CopyMesh, EqualsItsStepsOnRandomMeshesAndViews) {
    test::dice random(11);
    for (int round = 0; round < 2000; ++round) {
        const sample given = random_sample(random);
        sample expected = deep(given);
        copy_literally(expected.pos, expected.connectC, expected.connectS);
        for (sample s : {deep(given), views(given)}) {
            ASSERT_EQ(copy_mesh(s.pos, s.connectC, s.connectS), 0);
            expect_same(s, expected);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(CopyMesh, AlongATransformEqualsItsSteps) {
    test::dice random(12);
    for (int round = 0; round < 2000; ++round) {
        const sample given = random_sample(random);
        const unsigned int nc = random.below(4);
        const auto x = [&] { return random.one_in(3) ? 0 : random.between(-2, 2); };
        const vec2 T2{x(), x()}, c2{x(), x()};
        const vec3 T3{x(), x(), x()}, c3{x(), x(), x()}, R{x(), x(), x()};
        const double angle = x();

        sample expected2 = deep(given), expected3 = deep(given);
        copy_along_literally(
            expected2.pos, expected2.connectC, nc, given.connectS,
            [&](auto& pos, double k, auto& c) { rotate(pos, c2, k * angle, c); },
            [&](auto& pos, double k, auto& c) {
                translate(pos, vec2{k * T2[0], k * T2[1]}, c);
            });
        copy_along_literally(
            expected3.pos, expected3.connectC, nc, given.connectS,
            [&](auto& pos, double k, auto& c) {
                rotate(pos, c3, vec3{k * R[0], k * R[1], k * R[2]}, c);
            },
            [&](auto& pos, double k, auto& c) {
                translate(pos, vec3{k * T3[0], k * T3[1], k * T3[2]}, c);
            });
        for (sample s : {deep(given), views(given)}) {
            ASSERT_EQ(copy_mesh(s.pos, s.connectC, T2, c2, angle, nc, s.connectS), 0);
            expect_same(s, expected2);
        }
        for (sample s : {deep(given), views(given)}) {
            ASSERT_EQ(copy_mesh(s.pos, s.connectC, T3, c3, R, nc, s.connectS), 0);
            expect_same(s, expected3);
        }
        if (HasFatalFailure()) return;
    }
}

TEST(CopyMesh, MayWriteOverItsOwnSource) {
    for (const bool along : {false, true}) {
        auto pos = real_matrix(2, {0, 0, 1, 0, 0, 1});
        auto elements = id_matrix(3, {2, 1, 0});
        const auto kept = elements;
        if (along) {
            EXPECT_EQ(copy_mesh(pos, elements, vec2{1, 0}, vec2{0, 0}, 0, 2, elements), 0);
            EXPECT_EQ(entries(elements), (list{2, 1, 0, 3, 4, 5, 6, 7, 8}));
        } else {
            EXPECT_EQ(copy_mesh(pos, elements, elements), 0);
            EXPECT_EQ(entries(elements), (list{3, 4, 5}));
        }
        EXPECT_EQ(entries(kept), (list{2, 1, 0}));
    }
    auto pos = real_matrix(2, {0, 0, 1, 0, 0, 1});
    auto block = id_matrix(2, {0, 1, 1, 2, 2, 0}); // the output is another part of the block of the source
    auto output = block.sub_matrix(0, 1, 2, 1);
    EXPECT_EQ(copy_mesh(pos, output, block), 0);
    EXPECT_EQ(entries(output), (list{3, 4, 4, 5, 5, 3}));
    EXPECT_EQ(entries(block), (list{0, 1, 1, 2, 2, 0}));
}

TEST(CopyMesh, ChecksInOrderAndChangesNothingWhenItFails) {
    auto pos = real_matrix(2, {0, 0, 1, 0});
    auto copies = id_matrix(2, {7, 8});
    const auto wrong = id_matrix(2, {0, 1, N, 2});
    EXPECT_EQ(copy_mesh(pos, copies, wrong), -2);
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 1, 2, wrong), -2);
    EXPECT_EQ(copy_mesh(pos, copies, vec3{1, 0, 0}, vec3{0, 0, 0}, vec3{0, 0, 1}, 2, wrong), -2);
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 1, 0, wrong), 0); // no copies come first
    EXPECT_EQ(copy_sym_mesh(pos, copies, vec2{0, 0}, vec2{0, 0}, wrong), -4);  // the normal comes first
    EXPECT_EQ(copy_sym_mesh(pos, copies, vec2{0, 0}, vec2{0, NOT_A_NUMBER}, wrong), -4);
    EXPECT_EQ(copy_sym_mesh(pos, copies, vec3{0, 0, 0}, vec3{0, 0, 1}, wrong), -2);
    dense2D<double> none(2, 0);
    EXPECT_EQ(copy_mesh(none, copies, vec2{1, 0}, vec2{0, 0}, 1, 2, wrong), 0);
    EXPECT_EQ(copy_sym_mesh(none, copies, vec2{0, 0}, vec2{0, 0}, wrong), 0);
    EXPECT_EQ(copy_mesh(none, copies, wrong), -2);
    EXPECT_TRUE(test::same(pos, real_matrix(2, {0, 0, 1, 0})));
    EXPECT_TRUE(test::same(copies, id_matrix(2, {7, 8})));
}

TEST(CopyMesh, RefusesMoreThanFits32BitsBeforeMakingAnyCopy) {
    auto pos = real_matrix(2, {0, 0, 1, 0});
    auto copies = id_matrix(2, {7, 8});
    const auto edge = id_matrix(2, {0, 1});
    const unsigned int many = 0xFFFFFFFEu;
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 0, many, edge), -199);
    EXPECT_EQ(copy_mesh(pos, copies, vec3{1, 0, 0}, vec3{0, 0, 0}, vec3{0, 0, 0}, 0x60000000u, edge), -199);
    EXPECT_TRUE(test::same(pos, real_matrix(2, {0, 0, 1, 0})));
    EXPECT_TRUE(test::same(copies, id_matrix(2, {7, 8})));
    EXPECT_EQ(copy_mesh(pos, copies, vec2{1, 0}, vec2{0, 0}, 0, many, dense2D<unsigned int>(3, 0)), 0);
    EXPECT_TRUE(test::same(copies, id_matrix(3, {7, 8, N})));
}

TEST(CopySymMesh, MirrorsAtTheLineOrPlane) {
    auto pos = real_matrix(2, {1, 2, 3, 4});
    dense2D<unsigned int> copies;
    EXPECT_EQ(copy_sym_mesh(pos, copies, vec2{0, 0}, vec2{1, 0}, id_matrix(2, {1, 0})), 0);
    EXPECT_EQ(entries(pos), (reals{1, 2, 3, 4, -3, 4, -1, 2}));
    EXPECT_EQ(entries(copies), (list{2, 3}));

    pos = real_matrix(2, {1, 2});
    EXPECT_EQ(copy_sym_mesh(pos, copies, vec3{0, 0, 1}, vec3{0, 0, 0.5}, id_matrix(1, {0})), 0);
    EXPECT_EQ(entries(pos), (reals{1, 2, 0, 1, 2, 2})); // promoted to the plane z = 0, mirrored at z = 1
}

TEST(CopySymMesh, EqualsItsStepsOnRandomMeshesAndViews) {
    test::dice random(13);
    for (int round = 0; round < 1000; ++round) {
        const sample given = random_sample(random);
        const vec3 P{random.between(-1, 1), random.between(-1, 1), random.between(-1, 1)};
        const vec3 n{random.between(-1, 1), random.between(-1, 1), random.between(1, 2)};
        sample expected = deep(given);
        copy_literally(expected.pos, expected.connectC, given.connectS);
        if (expected.pos.rows() < 3) expected.pos.resize(3, expected.pos.cols(), 0.0);
        const double norm2 = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
        for (unsigned int j = given.pos.cols(); j < expected.pos.cols(); ++j) {
            double height = 0;
            for (unsigned int k = 0; k < 3; ++k) height += (expected.pos(k, j) - P[k]) * n[k];
            for (unsigned int k = 0; k < 3; ++k) expected.pos(k, j) += n[k] * (-2 / norm2) * height;
        }
        for (sample s : {deep(given), views(given)}) {
            ASSERT_EQ(copy_sym_mesh(s.pos, s.connectC, P, n, s.connectS), 0);
            expect_same(s, expected);
            if (HasFatalFailure()) return;
        }
    }
}

} // namespace
