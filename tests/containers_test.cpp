#include "limited_memory.h"
#include "test_containers.h"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

using namespace test;

namespace {

constexpr unsigned int MOST = std::numeric_limits<unsigned int>::max();

TEST(Version, IsTheReleasedOne) {
    EXPECT_STREQ(version(), "4.3");
}

TEST(ElementTypes, TablesAgreeWithTheCodes) {
    const std::array<unsigned int, 3> table[ELEMENT_TYPE_COUNT] = {
        {ELEM_NONE, 0, 0},   {ELEM_NODE1, 1, 1},    {ELEM_EDGE_MIX, 0, 2}, {ELEM_EDGE2, 2, 2},
        {ELEM_EDGE3, 3, 2},  {ELEM_FACE_MIX, 0, 0}, {ELEM_TRIA3, 3, 3},    {ELEM_QUAD4, 4, 4},
        {ELEM_TRIA6, 6, 3},  {ELEM_QUAD8, 8, 4},    {ELEM_QUAD9, 9, 4},    {ELEM_SOLID_MIX, 0, 0},
        {ELEM_TETRA4, 4, 4}, {ELEM_TETRA10, 10, 4}, {ELEM_PYRAMID5, 5, 5}, {ELEM_PYRAMID14, 14, 5},
        {ELEM_WEDGE6, 6, 6}, {ELEM_WEDGE18, 18, 6}, {ELEM_HEXA8, 8, 8},    {ELEM_HEXA20, 20, 8},
        {ELEM_HEXA27, 27, 8}};
    static_assert(ELEMENT_TYPE_COUNT == 21 && sizeof(element_type) == 4 && NO_ID == 4294967295u);
    for (unsigned int code = 0; code < 21; ++code)
        EXPECT_EQ(table[code], (std::array{code, NODES_PER_ELEMENT[code], VERTICES_PER_ELEMENT[code]}));
}

TEST(FixedSize, ArePlainValuesInTheDocumentedLayout) {
    static_assert(std::is_trivially_copyable_v<vector_fixed<double, 3>> &&
                  std::is_trivially_copyable_v<matrix_fixed<double, 3, 2>> &&
                  std::is_trivially_copyable_v<symmetric_fixed<double, 3>> &&
                  sizeof(symmetric_fixed<double, 3>) == 6 * sizeof(double));
    vector_fixed<double, 3> v{1, 2, 3};
    matrix_fixed<double, 3, 2> m{0, 1, 2, 3, 4, 5};
    symmetric_fixed<double, 3> s{0, 1, 2, 3, 4, 5};
    const double full[3][3] = {{0, 1, 3}, {1, 2, 4}, {3, 4, 5}};
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_TRUE(v[i] == i + 1 && m(i, 1) == i + 3 && std::as_const(m)(i, 1) == i + 3);
        for (unsigned int j = 0; j < 3; ++j) EXPECT_EQ(s(i, j), full[i][j]) << i << j;
    }
    v = 5.0, m = 6.0, s = 7.0;
    EXPECT_EQ(std::vector(v.begin(), v.end()), std::vector(3, 5.0));
    EXPECT_EQ(std::vector(m.data(), m.data() + 6), std::vector(6, 6.0));
    EXPECT_EQ(std::vector(s.data(), s.data() + s.size()), std::vector(6, 7.0));
}

/// A container as a table of cells, one for each entry: containers share an entry where they hold the same
/// cell. A vector is a single row.
struct cells {
    unsigned int rows, cols;
    std::vector<std::shared_ptr<unsigned int>> at{};

    cells block(unsigned int i, unsigned int j, unsigned int m, unsigned int n) const {
        cells part{std::min(m, rows - std::min(i, rows)), std::min(n, cols - std::min(j, cols))};
        for (unsigned int k = 0; k < part.rows * part.cols; ++k)
            part.at.push_back(at[(j + k / part.rows) * rows + i + k % part.rows]);
        return part;
    }
    /// Cells of its own, which keep the values that still exist.
    cells own(unsigned int m, unsigned int n, unsigned int value) const {
        cells result{m, n};
        for (unsigned int k = 0; k < m * n; ++k) {
            const bool kept = k % m < rows && k / m < cols;
            result.at.push_back(std::make_shared<unsigned int>(kept ? *at[k / m * rows + k % m] : value));
        }
        return result;
    }
    cells as_row() const { return {1, rows * cols, at}; }
    void fill(unsigned int value) const {
        for (const auto& cell : at) *cell = value;
    }
};

/// A vector with the interface of a matrix of one row.
struct row : id_list {
    row() = default;
    row(const id_list& list) : id_list(list) {}
    unsigned int rows() const { return 1; }
    unsigned int cols() const { return size(); }
    bool contiguous() const { return true; }
    unsigned int* col_data(unsigned int j) { return data() + j; }
    bool resize(unsigned int, unsigned int n, unsigned int value) {
        return n < size() || value % 2 ? id_list::resize(n, value) : push_back_n(n - size(), value);
    }
    bool resize_for_overwrite(unsigned int, unsigned int n) { return id_list::resize_for_overwrite(n); }
    bool reserve(unsigned int, unsigned int n) {
        return n % 2 ? id_list::reserve(n) : id_list::reserve(0, n);
    }
    bool push_back_col(const unsigned int* entry) { return push_back(*entry); }
    row sub_matrix(unsigned int, unsigned int j, unsigned int, unsigned int n) const {
        return sub_vector(j, n);
    }
};

template <typename Container>
struct modelled {
    Container real;
    cells model{real.rows(), 0};

    /// One operation on both; `other` may be the same or share with it.
    void change(modelled& other, dice& random, unsigned int value) {
        constexpr bool IS_ROW = std::is_same_v<Container, row>;
        const auto index = [&] { return random.one_in(40) ? MOST : random.below(3) * random.below(2); };
        const auto count = [&] { return random.one_in(2) ? MOST : random.below(6); };
        const auto size = [&](unsigned int n) { return random.one_in(9) ? 0 : 1 + random.below(n); };
        const unsigned int m = IS_ROW ? 1 : size(4), n = size(6);
        switch (random.below(7)) {
        case 0: // gaining entries ends the sharing
            ASSERT_TRUE(real.resize(m, n, value));
            model = m > model.rows || n > model.cols ? model.own(m, n, value) : model.block(0, 0, m, n);
            break;
        case 1: // writes through; a column of its own may be appended while the storage moves
            if (real.cols() == 0) break;
            std::fill_n(real.col_data(n % real.cols()), real.rows(), value);
            model.block(0, n % real.cols(), MOST, 1).fill(value);
            if (value % 2) break;
            ASSERT_TRUE(real.push_back_col(real.col_data(n % real.cols())));
            model = model.own(model.rows, model.cols + 1, value);
            break;
        case 2: { // what room was reserved for moves nothing
            ASSERT_TRUE(real.reserve(m, n));
            const unsigned int* const block = real.data();
            const unsigned int cols = std::max(model.cols, m * n / std::max(model.rows, 1u));
            ASSERT_TRUE(real.resize(model.rows, cols, value));
            ASSERT_EQ(real.data(), block);
            model = model.own(model.rows, cols, value);
            break;
        }
        case 3: {
            const unsigned int i = IS_ROW ? 0 : index(), j = index();
            const unsigned int rows = IS_ROW ? 1 : count(), cols = count();
            real.shallow_copy(value % 2 ? other.real.sub_matrix(i, j, rows, cols)
                                        : std::as_const(other.real).sub_matrix(i, j, rows, cols));
            model = other.model.block(i, j, rows, cols);
            break;
        }
        case 4:
            ASSERT_TRUE(real.copy(other.real) && real.contiguous());
            model = other.model.own(other.model.rows, other.model.cols, 0);
            break;
        case 5:
            ASSERT_TRUE(real.resize_for_overwrite(m, n));
            std::fill_n(real.data(), real.size(), value);
            model = model.own(m, n, 0);
            model.fill(value);
            break;
        default: { // keeps the storage
            if (value % 4 != 0) break;
            const unsigned int* const block = real.data();
            real.clear();
            ASSERT_EQ(real.data(), block);
            model = cells{IS_ROW, 0};
        }
        }
    }
    void expect_equal() const {
        std::vector<unsigned int> values;
        for (const auto& cell : model.at) values.push_back(*cell);
        ASSERT_EQ(entries(real), values);
        ASSERT_EQ(real.size(), values.size());
        ASSERT_TRUE(real.rows() == model.rows && real.cols() == model.cols);
    }
};

TEST(Containers, ShareViewAndDetachLikeTablesOfCells) {
    dice random(3);
    for (int round = 0; round < 200; ++round) {
        modelled<row> lists[3];
        modelled<dense2D<unsigned int>> tables[3];
        for (unsigned int value = 1; value <= 80; ++value) {
            lists[random.below(3)].change(lists[random.below(3)], random, value);
            tables[random.below(3)].change(tables[random.below(3)], random, value);
            id_list& list = lists[0].real;
            const auto& [table, model] = tables[random.below(3)];
            if (const unsigned int j = random.below(9); j < table.cols()) {
                list = table.col(j);
                lists[0].model = model.block(0, j, MOST, 1).as_row();
            } else if (j == 7) { // empty where the entries are no run
                list = table.as_vector();
                lists[0].model = table.contiguous() ? model.as_row() : cells{1, 0};
            } else if (j == 8) {
                list = value;
                lists[0].model.fill(value);
            }
            for (const auto& it : lists) it.expect_equal();
            for (const auto& it : tables) it.expect_equal();
        }
    }
}

TEST(Containers, StartEmptyOrFilled) {
    EXPECT_TRUE(real_list(2) == reals({0, 0}) && same(dense2D<double>(1, 2), real_matrix(1, {0, 0})));
    EXPECT_EQ(entries(dense1D<int, 16>(2, -1)), std::vector(2, -1));
    EXPECT_EQ(entries(dense2D<int>(2, 2, -1)), std::vector(4, -1));
    EXPECT_EQ(dense2D<int>(5, 6).sub_matrix(1, 2, 3, 3).ld(), 5u);
    EXPECT_TRUE(ids({1, 2}) != ids({1, 3}) && ids({1, 2}) != ids({1, 2, 3}) && !(ids({1}) != ids({1})));
    const dense2D<double> none, flat(3, 0);
    EXPECT_TRUE(none.empty() && none.contiguous() && !none.data() && flat.empty() && flat.rows() == 3);
    id_list list = ids({1, 2});
    list.clear_hard();
    EXPECT_TRUE(list.empty() && !list.data());
}

TEST(Growth, IsGeometric) {
    id_list list;
    dense2D<unsigned int> appended(3, 0);
    dense2D<double> resized;
    int moves[3] = {};
    for (unsigned int i = 0; i < 300000; ++i) {
        const void* const blocks[] = {list.data(), appended.data(), resized.data()};
        const unsigned int column[] = {i, i + 1, i + 2};
        ASSERT_TRUE(list.push_back(i) && appended.push_back_col(column) && resized.resize(2, i + 1, i));
        moves[0] += list.data() != blocks[0];
        moves[1] += appended.data() != blocks[1];
        moves[2] += resized.data() != blocks[2];
    }
    for (const int count : moves) EXPECT_LE(count, 40);
    for (unsigned int i = 0; i < list.size(); ++i)
        ASSERT_TRUE(list[i] == i && appended(2, i) == i + 2 && resized(1, i) == i);
}

TEST(Storage, StartsOnACacheLineWhateverItsSize) {
    for (const unsigned int n : {1u, 3u, 17u, 1000u, 100000u, 3000000u}) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(real_list(n).data()) % 64, 0u) << n;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(dense2D<unsigned int>(1, n).data()) % 64, 0u) << n;
    }
}

/// No operation gives a matrix this shape, nor changes it.
bool refuses(dense2D<double>& m, unsigned int rows, unsigned int cols) {
    const dense2D<double> before = m;
    return !m.resize(rows, cols, 3) && !m.resize_for_overwrite(rows, cols) && !m.reserve(rows, cols) &&
           m.data() == before.data() && m.ld() == before.ld() && same(m, before) &&
           dense2D<double>(rows, cols).rows() == 0;
}

TEST(Overflow, SizesThatDoNotFit32BitsChangeNothing) {
    dense2D<double> m = real_matrix(2, {1, 2, 3, 4});
    EXPECT_TRUE(refuses(m, 65536, 65536)); // 2^32: would be 0 in 32 bits
    EXPECT_TRUE(refuses(m, 65536, 65537) && refuses(m, MOST, MOST) && refuses(m, MOST, 2));
    id_list list = ids({1, 2, 3});
    EXPECT_FALSE(list.push_back_n(MOST, 1) || list.push_back_n(MOST - 2, 1));
    EXPECT_TRUE(list == ids({1, 2, 3}));
    dense2D<unsigned int> wide(0, MOST); // no entries, no storage, but no column more
    EXPECT_TRUE(!wide.push_back_col(nullptr) && wide.cols() == MOST);
}

TEST(OutOfMemory, LeavesContainersWhole) {
    expect_survives_without_memory([] {
        real_list list = reals({1, 2, 3});
        const real_list before = list;
        dense2D<double> m = as_view(real_matrix(2, {1, 2, 3, 4}));
        dense2D<double> large(2, 20000000); // 320 MB: there is no room for another, nor for its growth
        const double column[] = {1, 2};
        return refuses(m, 2, MOST / 2) && refuses(m, 65535, 65535) && !m.copy(large) && m.ld() == 5 &&
               same(m, real_matrix(2, {1, 2, 3, 4})) && !large.push_back_col(column) &&
               large.cols() == 20000000 && large(1, 19999999) == 0 && !list.resize(MOST, 1.0) &&
               !list.reserve(MOST) && !list.reserve(0, MOST) && !list.push_back_n(MOST - 3, 1.0) &&
               !list.resize_for_overwrite(MOST) && !list.copy(large.as_vector()) && list == before &&
               list.data() == before.data() && real_list(MOST).empty() && !real_list(MOST, 2.0).data();
    });
}

} // namespace
