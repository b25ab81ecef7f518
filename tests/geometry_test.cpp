#include "limited_blocks.h"
#include "limited_memory.h"
#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <limits>

using namespace qv7::plexo;
using test::id_matrix;
using test::ids;
using test::real_matrix;
using vec2 = vector_fixed<double, 2>;
using vec3 = vector_fixed<double, 3>;
using elements = dense2D<unsigned int>;

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// Each call breaks the checks from the expected one on.
TEST(Geometry, ChecksInOrderAndChangesNothingWhenItFails) {
    dense2D<double> none(5, 0), no_rows(0, 3), tall(4, 4, 1.0), pos = real_matrix(2, {1, 0, 2, 0});
    elements m[3] = {id_matrix(2, {0, 1}), id_matrix(2, {NO_ID, 2}), id_matrix(2, {NO_ID, NO_ID})};
    elements out = id_matrix(3, {7, 8, 9});
    const elements good = m[0], bad = m[1];
    const auto nodes = ids({0, 1}), absent = ids({NO_ID}), wrong = ids({5});
    test::id_list new_IDs = ids({9, 9});
    int calls = 0;
    const auto expect_same_data = [&](int result, int code) {
        EXPECT_EQ(result, code) << "call " << calls;
        ++calls;
        EXPECT_TRUE(test::same(pos, real_matrix(2, {1, 0, 2, 0})) && no_rows.cols() == 3);
        EXPECT_TRUE(test::same(m[0], id_matrix(2, {0, 1})) && test::same(m[1], id_matrix(2, {NO_ID, 2})));
        EXPECT_TRUE(test::same(out, id_matrix(3, {7, 8, 9})));
    };
    const auto expect = [&](int result, int code) { // with the table emptied
        EXPECT_TRUE(new_IDs.empty()) << "call " << calls;
        expect_same_data(result, code);
        new_IDs = ids({9, 9});
    };

    expect(merge(none, wrong, wrong, new_IDs, -1), 0);
    expect(merge(tall, wrong, wrong, new_IDs, -1), -1);
    expect(merge(no_rows, wrong, wrong, new_IDs, -1), -1);
    expect(merge(pos, wrong, wrong, new_IDs, -1), -2);
    expect(merge(pos, nodes, wrong, new_IDs, -1), -3);
    expect(merge(pos, nodes, absent, new_IDs, -1), -4);
    expect(merge(pos, nodes, absent, new_IDs, 1), 0);

    expect(merge(none, m + 3, m, new_IDs, -1, 3), 0);
    expect(merge(tall, m, m, new_IDs, -1, 3), 0);
    expect(merge(tall, m + 3, m, new_IDs, -1, 3), -1);
    expect(merge(pos, m + 3, m, new_IDs, -1, 3), -3);
    expect(merge(pos, m, m + 3, new_IDs, -1, 3), -5);
    expect(merge(pos, m, m + 3, new_IDs, 1, 3), -6);
    for (const unsigned int mode : {0u, 1u, 2u}) {
        expect(merge(pos, m, m + 3, new_IDs, 1, mode), -2);
        expect(merge(pos, m[2], new_IDs, 1, mode), 0);
    }
    expect(merge(none, new_IDs, -1), 0);
    expect(merge(tall, new_IDs, -1), -1);
    expect(merge(pos, new_IDs, -1), -3);

    expect(simplify(pos, m + 3, m, new_IDs, 9), -3);
    expect(simplify(pos, m + 1, m + 1, new_IDs, 0), 0);
    expect(simplify(pos, m, m + 3, new_IDs, 9), -2);
    expect(simplify(none, m[0], new_IDs, 9), -2);
    expect(simplify(none, m[2], new_IDs, 0), 0);
    expect(simplify(no_rows, m[0], new_IDs, 0), 0);
    expect(simplify(pos, m[0], new_IDs, 2), 0);

    const vec3 zero{0, 0, 0}, along_z{0, 0, 1};
    const unsigned int many = 0x80000001u; // twice that is 2 in 32 bits
    expect_same_data(copy_mesh(none, out, bad), -2);
    expect_same_data(copy_mesh(pos, out, along_z, zero, zero, 0, bad), 0);
    expect_same_data(copy_mesh(pos, out, along_z, zero, zero, many, bad), -2);
    expect_same_data(copy_mesh(pos, out, zero, zero, zero, many, elements(2, 2, NO_ID)), -199);
    expect_same_data(copy_mesh(pos, out, vec2{0, 0}, vec2{0, 0}, 0, 0x50000000u, good), -199);
    expect_same_data(copy_sym_mesh(none, out, zero, zero, bad), 0);
    expect_same_data(copy_sym_mesh(pos, out, zero, vec3{0, NOT_A_NUMBER, 1}, bad), -4);
    expect_same_data(copy_sym_mesh(pos, out, zero, along_z, bad), -2);

    expect_same_data(clip(pos, elements(2, 0), zero, zero, out), 0);
    expect_same_data(clip(pos, bad, zero, zero, out), -2);
    expect_same_data(clip(pos, good, zero, vec3{0, 0, 1e-13}, out), -4);
    for (const vec3& shortest : {vec3{1e-12, 0, 0}, vec3{0, 1e-12, 0}, vec3{0, 0, 1e-12}})
        expect_same_data(clip(pos, good, zero, shortest, out), -5);
}

struct arguments {
    dense2D<double> pos;
    elements source, out;
    test::id_list from, onto, table;
};

arguments some_arguments() {
    test::dice random(7);
    const auto id = [&] { return random.below(400); };
    return {test::filled<double>(2, 400, [&] { return random.below(9) / 8.0; }),
            test::filled<unsigned int>(9, 70, id),
            test::filled<unsigned int>(2, 9, id),
            ids({5, 7, 5}),
            ids({8, 7}),
            ids({9, 9})};
}

template <typename T>
bool same_layout(const dense2D<T>& a, const dense2D<T>& b) {
    return test::same(a, b) && a.ld() == b.ld();
}

bool same_data(const arguments& a, const arguments& b) {
    return same_layout(a.pos, b.pos) && same_layout(a.source, b.source) && same_layout(a.out, b.out);
}

/// Each block of memory in turn is the one that cannot be had.
TEST(Geometry, KeepsTheDataWhenMemoryRunsOut) {
    static const vec3 step{1, 2, 3}, zero{0, 0, 0};
    int (*const calls[])(arguments&) = {
        [](arguments& a) { return merge(a.pos, a.table, 0); },
        [](arguments& a) { return merge(a.pos, a.table, 0.2); },
        [](arguments& a) { return merge(a.pos, a.source, a.table, 0.2, 0); },
        [](arguments& a) { return merge(a.pos, a.source, a.table, 0.2, 2); },
        [](arguments& a) { return merge(a.pos, a.from, a.onto, a.table, 0.2); },
        [](arguments& a) { return translate(a.pos, step); },
        [](arguments& a) { return rotate(a.pos, step, step, a.source); },
        [](arguments& a) { return zoom(a.pos, step, 2, a.source); },
        [](arguments& a) { return copy_mesh(a.pos, a.out, a.source); },
        [](arguments& a) { return copy_mesh(a.pos, a.out, step, zero, step, 3, a.source); },
        [](arguments& a) { return copy_sym_mesh(a.pos, a.out, zero, step, a.source); },
        [](arguments& a) { return simplify(a.pos, a.source, a.table, 9); },
        [](arguments& a) { return remove_degenerated(a.source, a.table, true); },
        [](arguments& a) { return clip(a.pos, a.source, zero, step, a.source); }};
    for (const auto& call : calls) {
        int code = -199;
        for (unsigned int blocks = 0; code == -199; ++blocks) {
            arguments a = some_arguments();
            test::blocks_left = blocks;
            code = call(a);
            test::blocks_left = UINT_MAX;
            EXPECT_TRUE(code == -199 ? same_data(a, some_arguments()) : blocks > 0) << &call - calls;
        }
        EXPECT_GE(code, 0);
    }
}

TEST(Geometry, MergesWithinElementsWithoutMemory) {
    test::expect_survives_without_memory([] {
        dense2D<double> pos(2, 2);
        elements edges = test::filled<unsigned int>(2, 6000000, [i = 1u]() mutable { return i ^= 1; });
        return merge(pos, edges, 1, 1) == -199 && edges(1, 0) == 1;
    });
}

} // namespace
