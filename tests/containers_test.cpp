#include "limited_memory.h"
#include "test_containers.h"

#include <cstdint>
#include <limits>
#include <random>
#include <type_traits>

using namespace test;

namespace {

constexpr unsigned int MOST = std::numeric_limits<unsigned int>::max();

TEST(Version, IsTheReleasedOne) {
    EXPECT_STREQ(version(), "4.3");
}

TEST(ElementTypes, TablesAgreeWithTheCodes) {
    const struct {
        int code;
        element_type type;
        unsigned int nodes, corners;
    } rows[] = {{0, ELEM_NONE, 0, 0},        {1, ELEM_NODE1, 1, 1},     {2, ELEM_EDGE_MIX, 0, 2},
                {3, ELEM_EDGE2, 2, 2},       {4, ELEM_EDGE3, 3, 2},     {5, ELEM_FACE_MIX, 0, 0},
                {6, ELEM_TRIA3, 3, 3},       {7, ELEM_QUAD4, 4, 4},     {8, ELEM_TRIA6, 6, 3},
                {9, ELEM_QUAD8, 8, 4},       {10, ELEM_QUAD9, 9, 4},    {11, ELEM_SOLID_MIX, 0, 0},
                {12, ELEM_TETRA4, 4, 4},     {13, ELEM_TETRA10, 10, 4}, {14, ELEM_PYRAMID5, 5, 5},
                {15, ELEM_PYRAMID14, 14, 5}, {16, ELEM_WEDGE6, 6, 6},   {17, ELEM_WEDGE18, 18, 6},
                {18, ELEM_HEXA8, 8, 8},      {19, ELEM_HEXA20, 20, 8},  {20, ELEM_HEXA27, 27, 8}};
    ASSERT_EQ(std::size(rows), std::size(NODES_PER_ELEMENT));
    for (const auto& row : rows) {
        EXPECT_EQ(int(row.type), row.code);
        EXPECT_EQ(NODES_PER_ELEMENT[row.code], row.nodes) << row.code;
        EXPECT_EQ(VERTICES_PER_ELEMENT[row.code], row.corners) << row.code;
    }
    static_assert(sizeof(element_type) == 4 && NO_ID == 4294967295u);
}

TEST(FixedSize, ArePlainValuesInTheDocumentedLayout) {
    static_assert(std::is_trivially_copyable_v<vector_fixed<double, 3>>);
    static_assert(std::is_trivially_copyable_v<matrix_fixed<double, 3, 2>>);
    static_assert(std::is_trivially_copyable_v<symmetric_fixed<double, 3>>);
    static_assert(sizeof(symmetric_fixed<double, 3>) == 6 * sizeof(double));

    vector_fixed<double, 3> v{1, 2, 3};
    EXPECT_EQ(v[2], 3);
    v = 5.0;
    for (const double entry : v) EXPECT_EQ(entry, 5);

    matrix_fixed<double, 3, 2> m{};
    m(2, 1) = 9;
    EXPECT_EQ(m.data()[5], 9); // column by column

    symmetric_fixed<double, 3> s{0, 1, 2, 3, 4, 5};
    const double full[3][3] = {{0, 1, 3}, {1, 2, 4}, {3, 4, 5}};
    for (unsigned int i = 0; i < 3; ++i) {
        for (unsigned int j = 0; j < 3; ++j) EXPECT_EQ(s(i, j), full[i][j]) << i << j;
    }
    const symmetric_fixed<double, 2> t{7, 8, 9};
    EXPECT_EQ(t(0, 1), 8);
    EXPECT_EQ(t(1, 0), 8);
    EXPECT_EQ(t(1, 1), 9);
}

TEST(Dense1D, ConstructsFillsAndCompares) {
    EXPECT_EQ(id_list().data(), nullptr);
    EXPECT_EQ(entries(real_list(3)), (std::vector<double>{0, 0, 0}));
    EXPECT_EQ(entries(dense1D<int, 16>(2, -1)), (std::vector<int>{-1, -1}));
    EXPECT_TRUE(ids({9, 1, 2, 9}).sub_vector(1, 2) == ids({1, 2}));
    EXPECT_FALSE(ids({1, 2}) == ids({1, 3}));
    EXPECT_FALSE(ids({1, 2}) == ids({1, 2, 3}));
    EXPECT_TRUE(id_list() == ids({1}).sub_vector(1, 0));
}

TEST(Dense1D, CopiesShareAndCopyIsDeep) {
    id_list a = ids({1, 2, 3});
    id_list shared = a;
    id_list assigned;
    assigned.shallow_copy(a);
    id_list deep;
    ASSERT_TRUE(deep.copy(a));
    a[1] = 20;
    EXPECT_EQ(shared[1], 20u);
    EXPECT_EQ(assigned[1], 20u);
    EXPECT_EQ(deep[1], 2u);
    shared = 4u; // a fill writes through as well
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{4, 4, 4}));
    a = *&a; // to itself
    EXPECT_EQ(a.size(), 3u);
}

TEST(Dense1D, ViewsWriteThroughAndGrowInTheirOwnStorage) {
    id_list a = ids({0, 1, 2, 3, 4});
    id_list view = a.sub_vector(1, 3);
    view[0] = 10;
    EXPECT_EQ(a[1], 10u);
    ASSERT_TRUE(view.push_back(99)); // a[4] lies right behind it
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{0, 10, 2, 3, 4}));
    EXPECT_EQ(entries(view), (std::vector<unsigned int>{10, 2, 3, 99}));

    const id_list& constant = a;
    EXPECT_EQ(constant.sub_vector(2, 2).data(), a.data() + 2);
    EXPECT_EQ(a.sub_vector(4, 10).size(), 1u); // clipped
    EXPECT_EQ(a.sub_vector(5, 1).size(), 0u);
    EXPECT_EQ(a.sub_vector(MOST, MOST).size(), 0u);

    id_list outlives;
    {
        id_list block = ids({5, 6, 7});
        outlives = block.sub_vector(2, 1);
    }
    EXPECT_EQ(entries(outlives), (std::vector<unsigned int>{7}));
    EXPECT_EQ(entries(outlives.sub_vector(0, 1)), (std::vector<unsigned int>{7}));
}

TEST(Dense1D, CopyOfItselfOrOfAViewOfItself) {
    id_list a = ids({0, 1, 2, 3});
    ASSERT_TRUE(a.copy(a));
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{0, 1, 2, 3}));
    ASSERT_TRUE(a.copy(a.sub_vector(1, 3)));
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{1, 2, 3}));
    id_list b = a.sub_vector(0, 2);
    ASSERT_TRUE(b.copy(a)); // the target shares with the source
    b[0] = 40;
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{1, 2, 3}));
    a = a.sub_vector(1, 2);
    EXPECT_EQ(entries(a), (std::vector<unsigned int>{2, 3}));
    ASSERT_TRUE(a.copy(id_list()));
    EXPECT_TRUE(a.empty());
}

/// Moves of the storage while a container takes n entries one by one.
template <typename Container, typename Append>
int moves_while_growing(Container& container, unsigned int n, Append append) {
    int moves = 0;
    const void* block = container.data();
    for (unsigned int i = 0; i < n; ++i) {
        append(container, i);
        if (container.data() != block) ++moves;
        block = container.data();
    }
    return moves;
}

TEST(Growth, IsGeometric) {
    id_list list;
    EXPECT_LE(moves_while_growing(list, 1000000, [](id_list& l, unsigned int i) { l.push_back(i); }), 45);
    for (unsigned int i = 0; i < list.size(); ++i) ASSERT_EQ(list[i], i);

    dense2D<unsigned int> matrix(3, 0);
    EXPECT_LE(moves_while_growing(matrix, 300000,
                                  [](dense2D<unsigned int>& m, unsigned int i) {
                                      const unsigned int column[] = {i, i + 1, i + 2};
                                      m.push_back_col(column);
                                  }),
              40);
    for (unsigned int j = 0; j < matrix.cols(); ++j) ASSERT_EQ(matrix(2, j), j + 2);

    dense2D<double> resized;
    EXPECT_LE(moves_while_growing(resized, 100000,
                                  [](dense2D<double>& m, unsigned int i) { m.resize(2, i + 1, i); }),
              40);
    for (unsigned int j = 0; j < resized.cols(); ++j) ASSERT_EQ(resized(1, j), j);
}

TEST(Storage, IsAlignedWhateverItsSize) {
    for (const unsigned int n : {1u, 3u, 17u, 1000u, 100000u, 3000000u}) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(real_list(n).data()) % 16, 0u) << n;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(dense2D<unsigned int>(1, n).data()) % 16, 0u) << n;
    }
}

TEST(Dense2D, ConstructsAndAddressesByColumn) {
    const dense2D<double> none;
    EXPECT_EQ(none.data(), nullptr);
    EXPECT_TRUE(none.empty() && none.contiguous());
    const dense2D<double> m = real_matrix(2, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(m.ld(), 2u);
    EXPECT_EQ(m(1, 2), 6);
    EXPECT_EQ(m.col_data(1), m.data() + 2);
    EXPECT_EQ(entries(dense2D<double>(2, 2)), std::vector<double>(4, 0.0));
    EXPECT_EQ(entries(dense2D<double>(2, 2, 1.5)), std::vector<double>(4, 1.5));
    const dense2D<double> flat(3, 0);
    EXPECT_EQ(flat.rows(), 3u);
    EXPECT_EQ(flat.cols(), 0u);
}

TEST(Dense2D, ViewsShareAndNest) {
    dense2D<unsigned int> m(5, 6);
    for (unsigned int k = 0; k < 30; ++k) m.data()[k] = k;
    dense2D<unsigned int> block = m.sub_matrix(1, 2, 3, 3);
    EXPECT_EQ(block.ld(), 5u);
    EXPECT_FALSE(block.contiguous());
    EXPECT_EQ(block.size(), 9u);
    dense2D<unsigned int> inner = block.sub_matrix(1, 1, 2, 2);
    inner(0, 0) = 100;
    EXPECT_EQ(m(2, 3), 100u);
    dense1D<unsigned int, 16> column = inner.col(1);
    EXPECT_EQ(column.size(), 2u);
    column[1] = 200;
    EXPECT_EQ(m(3, 4), 200u);

    const dense2D<unsigned int>& constant = m;
    EXPECT_EQ(constant.col(5).data(), m.col_data(5));
    EXPECT_EQ(constant.sub_matrix(4, 5, 1, 1)(0, 0), 29u);
    EXPECT_EQ(constant.sub_matrix(4, 5, 9, 9).size(), 1u); // clipped
    EXPECT_TRUE(constant.sub_matrix(5, 6, 1, 1).empty());
    EXPECT_TRUE(constant.sub_matrix(MOST, MOST, MOST, MOST).empty());

    EXPECT_EQ(m.as_vector().size(), 30u);
    EXPECT_EQ(m.as_vector().data(), m.data());
    EXPECT_TRUE(block.as_vector().empty()); // its entries are no run
    EXPECT_EQ(m.sub_matrix(0, 2, 5, 2).as_vector().data(), m.col_data(2));
}

TEST(Dense2D, PushBackOfAnOwnColumn) {
    dense2D<unsigned int> m = id_matrix(2, {1, 2, 3, 4});
    for (int k = 0; k < 20; ++k) ASSERT_TRUE(m.push_back_col(m.col_data(1))); // moves several times
    for (unsigned int j = 1; j < m.cols(); ++j) ASSERT_EQ(m(1, j), 4u);

    dense2D<unsigned int> view = as_view(id_matrix(2, {1, 2, 3, 4}));
    ASSERT_TRUE(view.push_back_col(view.col_data(0)));
    EXPECT_EQ(entries(view), (std::vector<unsigned int>{1, 2, 3, 4, 1, 2}));

    dense2D<unsigned int> rowless; // columns without entries are counted all the same
    ASSERT_TRUE(rowless.push_back_col(nullptr));
    EXPECT_EQ(rowless.cols(), 1u);
}

TEST(Dense2D, CopyIsDeepAndContiguousAlsoOfItself) {
    dense2D<double> m = real_matrix(2, {1, 2, 3, 4, 5, 6});
    dense2D<double> view = as_view(m);
    dense2D<double> deep;
    ASSERT_TRUE(deep.copy(view));
    EXPECT_TRUE(deep.contiguous());
    EXPECT_TRUE(same(deep, m));
    deep(0, 0) = 9;
    EXPECT_EQ(view(0, 0), 1);

    ASSERT_TRUE(m.copy(m));
    EXPECT_EQ(entries(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    ASSERT_TRUE(m.copy(m.sub_matrix(1, 0, 1, 3)));
    EXPECT_EQ(entries(m), (std::vector<double>{2, 4, 6}));
    ASSERT_TRUE(m.copy(dense2D<double>(3, 0)));
    EXPECT_EQ(m.rows(), 3u);
    EXPECT_EQ(m.cols(), 0u);

    dense2D<double> target = real_matrix(1, {1, 2, 3, 4, 5, 6});
    const dense2D<double> bystander = target;
    ASSERT_TRUE(target.copy(real_matrix(1, {8})));
    EXPECT_EQ(bystander(0, 0), 1);
}

TEST(Overflow, SizesThatDoNotFit32BitsChangeNothing) {
    dense2D<unsigned int> m = id_matrix(2, {1, 2, 3, 4});
    const unsigned int* const block = m.data();
    EXPECT_FALSE(m.resize(65536, 65537));
    EXPECT_FALSE(m.resize(65536, 65536)); // 2^32: would be 0 in 32 bits
    EXPECT_FALSE(m.resize(MOST, MOST, 3));
    EXPECT_FALSE(m.resize_for_overwrite(65536, 65537));
    EXPECT_FALSE(m.reserve(65536, 65537));
    EXPECT_FALSE(m.reserve(MOST, 2));
    EXPECT_EQ(m.data(), block);
    EXPECT_EQ(m.rows(), 2u);
    EXPECT_EQ(m.ld(), 2u);
    EXPECT_EQ(entries(m), (std::vector<unsigned int>{1, 2, 3, 4}));
    EXPECT_TRUE(dense2D<double>(65536, 65537).empty());
    EXPECT_EQ(dense2D<double>(65536, 65537).rows(), 0u);

    id_list list = ids({1, 2, 3});
    EXPECT_FALSE(list.push_back_n(MOST, 1));
    EXPECT_FALSE(list.push_back_n(MOST - 2, 1));
    EXPECT_EQ(entries(list), (std::vector<unsigned int>{1, 2, 3}));

    dense2D<unsigned int> wide(0, MOST); // no entries, no storage, but no column more
    EXPECT_EQ(wide.cols(), MOST);
    EXPECT_FALSE(wide.push_back_col(nullptr));
    EXPECT_EQ(wide.cols(), MOST);
}

TEST(OutOfMemory, LeavesAVectorWhole) {
    expect_survives_without_memory([] {
        real_list list = reals({1, 2, 3});
        const double* const block = list.data();
        const bool refused = !list.resize(MOST) && !list.resize(MOST, 1.0) && !list.reserve(MOST) &&
                             !list.reserve(0, MOST) && !list.push_back_n(MOST - 3, 1.0) &&
                             !list.resize_for_overwrite(MOST);
        return refused && list.data() == block && entries(list) == std::vector<double>{1, 2, 3} &&
               real_list(MOST).empty() && real_list(MOST, 2.0).data() == nullptr;
    });
}

TEST(OutOfMemory, LeavesAMatrixWhole) {
    expect_survives_without_memory([] {
        dense2D<double> m = as_view(real_matrix(2, {1, 2, 3, 4}));
        const double* const block = m.data();
        const bool refused = !m.resize(2, MOST / 2) && !m.resize(65535, 65535, 1.0) &&
                             !m.reserve(2, MOST / 2) && !m.resize_for_overwrite(1, MOST);
        return refused && m.data() == block && m.ld() == 5 && entries(m) == std::vector<double>{1, 2, 3, 4} &&
               dense2D<double>(2, MOST / 2).rows() == 0;
    });
}

TEST(OutOfMemory, LeavesTheTargetOfACopyAndOfAnAppendWhole) {
    expect_survives_without_memory([] {
        dense2D<double> large(2, 20000000); // 320 MB: there is no room for another, nor for its growth
        real_list target = reals({1, 2});
        dense2D<double> matrix = real_matrix(1, {3, 4});
        const double column[] = {1, 2};
        return large.cols() == 20000000 && !target.copy(large.as_vector().sub_vector(0, 40000000)) &&
               entries(target) == std::vector<double>{1, 2} && !matrix.copy(large) &&
               entries(matrix) == std::vector<double>{3, 4} && !large.push_back_col(column) &&
               large.cols() == 20000000 && large(1, 19999999) == 0;
    });
}

// Containers under random operations, against standard vectors that share nothing. A snapshot shares the
// storage and must keep the entries and the size that it saw: nothing below writes to entries that it has.

TEST(Dense1D, RandomOperationsAgainstAModel) {
    std::mt19937 random(3);
    const auto below = [&](unsigned int n) { return static_cast<unsigned int>(random() % n); };
    for (int round = 0; round < 300; ++round) {
        id_list list, snapshot;
        std::vector<unsigned int> model, seen;
        for (unsigned int step = 1; step <= 40; ++step) {
            const unsigned int n = below(9);
            switch (below(8)) {
            case 0:
                ASSERT_TRUE(list.resize(n, step));
                model.resize(n, step);
                break;
            case 1:
                ASSERT_TRUE(list.push_back(step));
                model.push_back(step);
                break;
            case 2:
                ASSERT_TRUE(list.push_back_n(n, step));
                model.insert(model.end(), n, step);
                break;
            case 3: { // room for more than is there means that pushing up to it moves nothing
                ASSERT_TRUE(list.reserve(n, 20));
                const unsigned int* const block = list.data();
                for (; list.size() < 20; model.push_back(step)) ASSERT_TRUE(list.push_back(step));
                ASSERT_EQ(list.data(), block);
                break;
            }
            case 4: {
                const unsigned int start = below(list.size() + 1);
                list = list.sub_vector(start, n);
                model.erase(model.begin(), model.begin() + start);
                model.resize(std::min<std::size_t>(model.size(), n));
                break;
            }
            case 5:
                ASSERT_TRUE(list.resize_for_overwrite(n));
                std::fill(list.begin(), list.end(), step);
                model.assign(n, step);
                break;
            case 6:
                n % 2 ? list.clear() : list.clear_hard();
                model.clear();
                break;
            default:
                snapshot = list;
                seen = model;
            }
            ASSERT_EQ(entries(list), model);
            ASSERT_EQ(entries(snapshot), seen);
        }
    }
}

TEST(Dense2D, RandomOperationsAgainstAModel) {
    std::mt19937 random(4);
    const auto below = [&](unsigned int n) { return static_cast<unsigned int>(random() % n); };
    for (int round = 0; round < 300; ++round) {
        dense2D<unsigned int> m;
        std::vector<std::vector<unsigned int>> model; // columns
        unsigned int rows = 0, stamp = 0;
        dense2D<unsigned int> snapshot; // shares with m; must keep what it saw unless written through
        std::vector<unsigned int> seen;
        for (int step = 0; step < 30; ++step) {
            const unsigned int value = ++stamp;
            switch (below(6)) {
            case 0: {
                const unsigned int r = below(5), c = below(6);
                ASSERT_TRUE(m.resize(r, c, value));
                for (auto& column : model) column.resize(r, value);
                model.resize(c, std::vector<unsigned int>(r, value));
                rows = r;
                break;
            }
            case 1: {
                const std::vector<unsigned int> column(rows + 1, value); // never an empty block of memory
                ASSERT_TRUE(m.push_back_col(column.data()));
                model.emplace_back(rows, value);
                break;
            }
            case 2:
                ASSERT_TRUE(m.reserve(below(5), below(9)));
                break;
            case 3: {
                const unsigned int i = below(rows + 1), j = below(m.cols() + 1), r = below(5), c = below(5);
                m = m.sub_matrix(i, j, r, c);
                model.erase(model.begin(), model.begin() + j);
                model.resize(std::min<std::size_t>(model.size(), c));
                rows = std::min(r, rows - i);
                for (auto& column : model)
                    column = std::vector(column.begin() + i, column.begin() + i + rows);
                break;
            }
            case 4:
                snapshot = m;
                seen = entries(m);
                break;
            default: {
                dense2D<unsigned int> deep;
                ASSERT_TRUE(deep.copy(m));
                m = deep;
            }
            }
            ASSERT_EQ(m.rows(), rows);
            ASSERT_EQ(m.cols(), model.size());
            ASSERT_EQ(m.size(), rows * m.cols());
            std::vector<unsigned int> expected;
            for (const auto& column : model) expected.insert(expected.end(), column.begin(), column.end());
            ASSERT_EQ(entries(m), expected);
            ASSERT_EQ(entries(snapshot), seen); // nothing above writes to entries that are shared
        }
    }
}

} // namespace
