#include "limited_memory.h"
#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <limits>
#include <numeric>

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
        EXPECT_TRUE(test::same(pos, real_matrix(2, {1, 0, 2, 0})) && tall.rows() == 4 && none.cols() == 0);
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
    expect(simplify(none, m + 1, m + 1, new_IDs, 9), 0);
    expect(simplify(pos, m, m + 3, new_IDs, 9), -2);
    expect(simplify(none, m[0], new_IDs, 9), -2);
    expect(simplify(none, m[2], new_IDs, 0), 0);
    expect(simplify(pos, m[0], new_IDs, 2), 0);

    const vec3 zero{0, 0, 0}, along_z{0, 0, 1};
    const unsigned int many = 0xFFFFFFFEu;
    expect_same_data(copy_mesh(none, out, bad), -2);
    expect_same_data(copy_mesh(pos, out, along_z, zero, zero, 0, bad), 0);
    expect_same_data(copy_mesh(pos, out, along_z, zero, zero, many, bad), -2);
    expect_same_data(copy_mesh(pos, out, zero, zero, zero, many, good), -199);
    expect_same_data(copy_mesh(pos, out, vec2{0, 0}, vec2{0, 0}, 0, 0x60000000u, good), -199);
    expect_same_data(copy_sym_mesh(none, out, zero, zero, bad), 0);
    expect_same_data(copy_sym_mesh(pos, out, zero, vec3{0, NOT_A_NUMBER, 1}, bad), -4);
    expect_same_data(copy_sym_mesh(pos, out, zero, along_z, bad), -2);

    expect_same_data(clip(pos, elements(2, 0), zero, zero, out), 0);
    expect_same_data(clip(pos, bad, zero, zero, out), -2);
    expect_same_data(clip(pos, good, zero, vec3{0, 0, 1e-13}, out), -4);
    for (const vec3& shortest : {vec3{1e-12, 0, 0}, vec3{0, 1e-12, 0}, vec3{0, 0, 1e-12}})
        expect_same_data(clip(pos, good, zero, shortest, out), -5);
}

/// Every scene leaves less memory than its call needs.
TEST(Geometry, KeepsTheDataWhenMemoryRunsOut) {
    const auto fails = [](unsigned int rows, unsigned int nodes, unsigned int element_rows, unsigned int cols,
                          auto call) {
        dense2D<double> pos(rows, nodes);
        elements connectivity(element_rows, cols);
        pos(0, 1) = 0.5;
        for (unsigned int i = 1; i < connectivity.size(); i += 2) connectivity.data()[i] = 1;
        return call(pos, connectivity) == -199 && pos.rows() == rows && pos.cols() == nodes &&
               pos(0, 1) == 0.5 && pos.contiguous() && connectivity.rows() == element_rows &&
               connectivity.cols() == cols && connectivity.data()[1] == 1 && connectivity.contiguous();
    };
    constexpr unsigned int MILLION = 1000000;
    test::expect_survives_without_memory([&] {
        test::id_list table = ids({5});
        const vec3 step{1, 2, 3}, zero{0, 0, 0};
        elements edges(2, 4 * MILLION);
        std::iota(edges.data(), edges.data() + edges.size(), 0u);
        bool survives = true;
        for (const double tol : {0.0, 1.0}) {
            survives = survives &&
                       fails(2, 16 * MILLION, 1, 2, [&](auto& pos, auto&) { return merge(pos, table, tol); });
        }
        return survives && table.empty() &&
               fails(2, 2, 2, 6 * MILLION, [&](auto& pos, auto& m) { return merge(pos, m, table, 1, 2); }) &&
               fails(2, 14 * MILLION, 1, 2, [&](auto& pos, auto&) { return translate(pos, step); }) &&
               fails(2, 14 * MILLION, 1, 2, [&](auto& pos, auto& m) { return zoom(pos, step, 2, m); }) &&
               fails(3, 8 * MILLION, 1, 2, [&](auto& pos, auto& m) { return copy_mesh(pos, m, edges); }) &&
               fails(3, 8 * MILLION, 1, 2,
                     [&](auto& pos, auto& m) { return copy_mesh(pos, m, step, zero, step, 1, edges); }) &&
               fails(3, 8 * MILLION, 1, 2,
                     [&](auto& pos, auto& m) { return copy_sym_mesh(pos, m, zero, step, edges); }) &&
               fails(1, 45 * MILLION, 1, 2, [&](auto& pos, auto& m) { return simplify(pos, m, 0); }) &&
               fails(1, 2, 1, 70 * MILLION,
                     [&](auto&, auto& m) { return remove_degenerated(m, table, true); }) &&
               fails(1, 2, 1, 70 * MILLION, [&](auto& pos, auto& m) { return clip(pos, m, zero, step, m); });
    });
}

} // namespace
