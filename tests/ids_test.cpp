#include "limited_memory.h"
#include "test_containers.h"

#include <plexo/ids.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>

using namespace test;

namespace {

constexpr unsigned int LAST_ID = NO_ID - 1;
constexpr double INF = std::numeric_limits<double>::infinity();
const double NOT_A_NUMBER = std::nan("");

/// Random IDs, some of them NO_ID. Few or many different ones, compact or scattered over all 32 bits, so that
/// both bit sets and hash tables are used.
class random_ids {
public:
    explicit random_ids(unsigned int seed) : random_(seed) {}

    std::vector<unsigned int> list(std::size_t n) {
        static constexpr unsigned int LARGEST[] = {3, 60, 1000, 1000000, LAST_ID};
        const unsigned int largest = LARGEST[random_() % std::size(LARGEST)];
        std::vector<unsigned int> pool(1 + n / (1 + random_() % 4));
        for (unsigned int& id : pool)
            id = static_cast<unsigned int>(random_() % (std::uint64_t(largest) + 1));
        pool[0] = largest;
        std::vector<unsigned int> ids(n);
        for (unsigned int& id : ids) id = random_() % 9 == 0 ? NO_ID : pool[random_() % pool.size()];
        return ids;
    }
    unsigned int below(unsigned int n) { return static_cast<unsigned int>(random_() % n); }

private:
    std::mt19937 random_;
};

TEST(MaxID, IgnoresAbsentIDs) {
    EXPECT_EQ(max_ID(id_list()), NO_ID);
    EXPECT_EQ(max_ID(ids({NO_ID, NO_ID})), 0u);
    EXPECT_EQ(max_ID(ids({3, NO_ID, 7, 0})), 7u);
    EXPECT_EQ(max_ID(ids({LAST_ID, 5})), LAST_ID);
    EXPECT_EQ(max_ID(dense2D<unsigned int>()), NO_ID);
    EXPECT_EQ(max_ID(dense2D<unsigned int>(3, 0)), NO_ID);
    EXPECT_EQ(max_ID(id_matrix(2, {NO_ID, NO_ID, NO_ID, NO_ID})), 0u);
    EXPECT_EQ(max_ID(as_view(id_matrix(2, {4, NO_ID, 9, 0}), 1000u)), 9u); // the frame does not count
}

/// The rules entry by entry, without any short cut.
bool literal_check(const dense2D<unsigned int>& m, int code, unsigned int nods) {
    if (m.rows() * m.cols() == 0) return true;
    if (code == 5 || code == 11) {
        const std::set<unsigned int> rows =
            code == 5 ? std::set<unsigned int>{3, 4} : std::set<unsigned int>{4, 5, 6, 8};
        if (!rows.count(m.rows())) return false;
        for (unsigned int j = 0; j < m.cols(); ++j) {
            for (unsigned int i = 0; i < m.rows(); ++i) {
                if (m(i, j) == NO_ID && (code == 5 ? i == 3 : i >= 4 && i <= 6)) {
                    for (unsigned int k = i; k < m.rows(); ++k) {
                        if (m(k, j) != NO_ID) return false;
                    }
                    break;
                }
                if (!(m(i, j) < nods)) return false;
            }
        }
        return true;
    }
    if (nods == NO_ID) return true;
    if (code < 0 || code > 20 || m.rows() != NODES_PER_ELEMENT[code]) return false;
    for (const unsigned int id : entries(m)) {
        if (!(id < nods)) return false;
    }
    return true;
}

TEST(CheckIDs, EveryCodeAgainstTheLiteralRules) {
    random_ids random(1);
    int accepted = 0;
    for (int code = -3; code <= 24; ++code) {
        for (unsigned int rows = 0; rows <= 28; ++rows) {
            for (int round = 0; round < 60; ++round) {
                std::vector<unsigned int> values(rows * (random.below(3) + 1));
                for (std::size_t k = 0; k < values.size(); ++k) {
                    // Mostly valid columns: a padded tail now and then, seldom anything else.
                    const bool padded = rows != 0 && k % rows != 0 && k % rows > 2 && random.below(3) == 0;
                    const bool tail = rows != 0 && k % rows != 0 && values[k - 1] == NO_ID && random.below(8);
                    values[k] = padded || tail ? NO_ID : random.below(random.below(40) ? 9 : 12);
                }
                const auto m = rows == 0 ? dense2D<unsigned int>(0, 2) : matrix_of(rows, values);
                for (const unsigned int nods : {0u, 9u, LAST_ID, NO_ID}) {
                    const bool expected = literal_check(m, code, nods);
                    ASSERT_EQ(check_IDs(m, element_type(code), nods), expected) << code << ' ' << rows;
                    ASSERT_EQ(check_IDs(as_view(m, NO_ID), element_type(code), nods), expected) << code;
                    accepted += expected;
                    const auto all = entries(m);
                    const bool untyped = m.empty() || nods == NO_ID ||
                                         std::all_of(all.begin(), all.end(), [=](unsigned int id) {
                                             return id == NO_ID || id < nods;
                                         });
                    ASSERT_EQ(check_IDs(list_of(all), nods), untyped);
                    ASSERT_EQ(check_IDs(as_view(m, NO_ID - 1), nods), untyped);
                }
            }
        }
    }
    EXPECT_GT(accepted, 1000);
    for (const int code : {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 1000000}) {
        EXPECT_FALSE(check_IDs(id_matrix(3, {0, 1, 2}), element_type(code), 3));
        EXPECT_TRUE(check_IDs(id_matrix(3, {0, 1, 2}), element_type(code), NO_ID));
    }
}

TEST(ShiftIndices, ListsSkipAbsentIDsAndMatricesOfFixedTypesDoNot) {
    id_list list = ids({0, NO_ID, 5});
    EXPECT_EQ(shift_indices(list, 10), 0);
    EXPECT_TRUE(list == ids({10, NO_ID, 15}));
    EXPECT_EQ(shift_indices(list, -11), 0);
    EXPECT_TRUE(list == ids({NO_ID, NO_ID, 4})); // modulo 2^32
    id_list none;
    EXPECT_EQ(shift_indices(none, 3), 0);

    auto edge = id_matrix(2, {0, NO_ID});
    EXPECT_EQ(shift_indices(edge, 10, ELEM_EDGE2), 0);
    EXPECT_EQ(entries(edge), (std::vector<unsigned int>{10, 9}));
    EXPECT_EQ(shift_indices(edge, 0, ELEM_EDGE2), 0);
    EXPECT_EQ(entries(edge), (std::vector<unsigned int>{10, 9}));
}

TEST(ShiftIndices, LongRunsAndViewsGetTheSameSums) {
    for (const element_type type : {ELEM_TRIA3, ELEM_FACE_MIX, ELEM_SOLID_MIX}) {
        // Columns of 4 and of 5000 entries: runs on both sides of the parallel limit, in blocks and in views.
        for (const auto& [rows, cols] :
             {std::pair(4u, 3000u), {5000u, 3u}, {4096u, 1u}, {4097u, 1u}, {3u, 2u}}) {
            dense2D<unsigned int> m(rows, cols);
            for (unsigned int k = 0; k < m.size(); ++k) m.data()[k] = k % 7 == 3 ? NO_ID : k;
            std::vector<unsigned int> expected = entries(m);
            for (unsigned int& id : expected) {
                if (type == ELEM_TRIA3 || id != NO_ID) id -= 5;
            }
            dense2D<unsigned int> view = as_view(m, 123u);
            EXPECT_EQ(shift_indices(m, -5, type), 0);
            EXPECT_EQ(shift_indices(view, -5, type), 0);
            ASSERT_EQ(entries(m), expected);
            ASSERT_EQ(entries(view), expected);
            EXPECT_EQ(view.col_data(1)[-1], 123u); // the frame between the columns
        }
    }
}

TEST(ChangeIndices, RenumbersWhatTheTableKnows) {
    id_list list = ids({0, 2, 3, NO_ID, 1});
    change_indices(list, ids({7, 8, NO_ID}));
    EXPECT_TRUE(list == ids({7, NO_ID, 3, NO_ID, 8}));
    change_indices(list, id_list());
    EXPECT_EQ(list[0], 7u);

    dense2D<unsigned int> block(4, 3, 1);
    dense2D<unsigned int> view = block.sub_matrix(1, 0, 2, 2);
    change_indices(view, ids({0, 5})); // through the view into the block, not beside it
    EXPECT_EQ(entries(block), (std::vector<unsigned int>{1, 5, 5, 1, 1, 5, 5, 1, 1, 1, 1, 1}));
    dense2D<unsigned int> none;
    change_indices(none, ids({1}));
    EXPECT_TRUE(none.empty());
}

TEST(ChangeIndices, TableThatSharesStorageIsReadAsItWas) {
    id_list list = ids({1, 2, 0});
    change_indices(list, list);
    EXPECT_TRUE(list == ids({2, 0, 1}));

    id_list table = ids({3, 2, 1, 0});
    id_list part = table.sub_vector(1, 2);
    change_indices(part, table);
    EXPECT_TRUE(part == ids({1, 2}));
    EXPECT_TRUE(table == ids({3, 2, 1, 0}));

    dense2D<unsigned int> m = id_matrix(2, {1, 2, 3, 0});
    const id_list column = m.col(0);
    change_indices(m, column);
    EXPECT_EQ(entries(m), (std::vector<unsigned int>{2, 2, 3, 1}));
    EXPECT_TRUE(column == ids({1, 2}));

    dense2D<unsigned int> whole = id_matrix(1, {1, 0, 2});
    change_indices(whole, whole.as_vector());
    EXPECT_EQ(entries(whole), (std::vector<unsigned int>{0, 1, 2}));
}

TEST(Permutation, Scatters) {
    real_list values = reals({1, 2, 3});
    const real_list bystander = values;
    EXPECT_EQ(permutation(values, ids({2, 0, 1})), 0);
    EXPECT_TRUE(values == reals({2, 3, 1}));
    EXPECT_TRUE(bystander == reals({1, 2, 3})); // the result has storage of its own

    id_list list = ids({10, 20, 30});
    EXPECT_EQ(permutation(list, ids({NO_ID, 0, 1})), 0);
    EXPECT_TRUE(list == ids({20, 30, 30}));
    EXPECT_EQ(permutation(list, ids({2})), 0); // shorter than the values
    EXPECT_TRUE(list == ids({20, 30, 20}));
    EXPECT_EQ(permutation(list, ids({0, 1, 3, 0, 0})), 0); // 3 is out of range; longer than the values
    EXPECT_TRUE(list == ids({20, 30, 20}));
    EXPECT_EQ(permutation(list, ids({1, 1})), 0); // the later one wins
    EXPECT_TRUE(list == ids({20, 30, 20}));
    id_list none;
    EXPECT_EQ(permutation(none, ids({1, 0})), 0);
    EXPECT_TRUE(none.empty());

    id_list itself = ids({1, 2, 0});
    EXPECT_EQ(permutation(itself, itself), 0);
    EXPECT_TRUE(itself == ids({0, 1, 2}));

    // The bound of a target position is the size of the values, not the shorter of the two sizes.
    id_list far = ids({1, 2, 3, 4});
    EXPECT_EQ(permutation(far, ids({3})), 0);
    EXPECT_TRUE(far == ids({1, 2, 3, 1}));
}

TEST(OutOfMemory, PermutationReportsItAndKeepsItsValues) {
    expect_survives_without_memory([] {
        dense1D<double, 16> values(40000000, 1.0); // 320 MB of 512
        values[0] = 5;
        const double* const block = values.data();
        return block && permutation(values, ids({1, 0})) == -199 && values.data() == block &&
               values[0] == 5 && values[1] == 1;
    });
}

TEST(UniqueIndices, EmptyInputAndReversedRanges) {
    id_list out(1, 3);
    EXPECT_EQ(unique_indices(out, id_list(), ids({2})), 0);
    EXPECT_EQ(out.size(), 1u);

    const dense2D<unsigned int> range[] = {id_matrix(2, {4, 2, 2, NO_ID}), dense2D<unsigned int>(),
                                           id_matrix(3, {9, 4, 1})};
    id_list all;
    EXPECT_EQ(unique_indices(all, range, range + 3), 0);
    EXPECT_TRUE(all == ids({4, 2, 9, 1}));
    EXPECT_EQ(count_unique_indices(range, range + 3), 4);
    EXPECT_EQ(unique_indices(all, range + 3, range), -3);
    EXPECT_EQ(count_unique_indices(range + 3, range), -2);
    EXPECT_EQ(unique_indices(all, range + 1, range + 1), 0);
    EXPECT_EQ(count_unique_indices(range + 1, range + 1), 0);
    EXPECT_EQ(all.size(), 4u);
    EXPECT_EQ(count_unique_indices(id_matrix(2, {NO_ID, NO_ID})), 0);
}

std::vector<unsigned int> literal_unique(const std::vector<unsigned int>& ids,
                                         const std::vector<unsigned int>& excluded) {
    std::set<unsigned int> seen(excluded.begin(), excluded.end());
    seen.insert(NO_ID);
    std::vector<unsigned int> out;
    for (const unsigned int id : ids) {
        if (seen.insert(id).second) out.push_back(id);
    }
    return out;
}

TEST(UniqueIndices, RandomListsAgainstASet) {
    random_ids random(2);
    for (int round = 0; round < 600; ++round) {
        const auto source = random.list(random.below(400));
        auto excluded = random.list(random.below(20));
        if (!source.empty() && round % 2) excluded.push_back(source[random.below(unsigned(source.size()))]);
        id_list out = ids({5, 5});
        ASSERT_EQ(unique_indices(out, list_of(source), list_of(excluded)), 0);
        auto expected = literal_unique(source, excluded);
        expected.insert(expected.begin(), 2, 5);
        ASSERT_EQ(entries(out), expected);

        id_list without;
        ASSERT_EQ(unique_indices(without, list_of(source)), 0);
        ASSERT_EQ(entries(without), literal_unique(source, {}));
    }
}

TEST(UniqueIndices, RandomConnectivitiesAgainstASet) {
    random_ids random(3);
    for (int round = 0; round < 400; ++round) {
        std::vector<unsigned int> all;
        std::vector<dense2D<unsigned int>> range;
        for (unsigned int k = random.below(4); k-- > 0;) {
            const unsigned int rows = 1 + random.below(5);
            const auto values = random.list(rows * random.below(50));
            all.insert(all.end(), values.begin(), values.end());
            range.push_back(matrix_of(rows, values));
            if (random.below(2)) range.back() = as_view(range.back(), 999u);
        }
        const auto* first = range.data();
        const auto expected = literal_unique(all, {});
        id_list out;
        ASSERT_EQ(unique_indices(out, first, first + range.size()), 0);
        ASSERT_EQ(entries(out), expected);
        ASSERT_EQ(count_unique_indices(first, first + range.size()), int(expected.size()));
        if (range.size() == 1) {
            id_list single;
            ASSERT_EQ(unique_indices(single, range[0]), 0);
            ASSERT_EQ(entries(single), expected);
            ASSERT_EQ(count_unique_indices(range[0]), int(expected.size()));
        }
    }
}

TEST(UniqueIndices, OutputMayBeAnyOfTheInputs) {
    id_list list = ids({4, 4, 1});
    EXPECT_EQ(unique_indices(list, list), 0);
    EXPECT_TRUE(list == ids({4, 4, 1, 4, 1}));

    id_list out = ids({1, 2});
    EXPECT_EQ(unique_indices(out, ids({2, 3, 1, 3}), out), 0); // append what is not there yet
    EXPECT_TRUE(out == ids({1, 2, 3}));

    dense2D<unsigned int> m = id_matrix(2, {5, 6, 6, 5});
    id_list column = m.col(0);
    EXPECT_EQ(unique_indices(column, m), 0);
    EXPECT_TRUE(column == ids({5, 6, 5, 6}));
    EXPECT_EQ(entries(m), (std::vector<unsigned int>{5, 6, 6, 5}));
}

TEST(GetIDs, RandomListsAgainstAMap) {
    random_ids random(4);
    for (int round = 0; round < 600; ++round) {
        const auto a = random.list(random.below(300));
        auto b = random.list(random.below(300));
        for (unsigned int& id : b) {
            if (!a.empty() && random.below(2)) id = a[random.below(unsigned(a.size()))];
        }
        std::map<unsigned int, unsigned int> position;
        for (unsigned int i = 0; i < a.size(); ++i) position[a[i]] = i;
        position.erase(NO_ID);
        std::vector<unsigned int> b_in_a(b.size(), NO_ID), a_in_b(a.size(), NO_ID);
        for (unsigned int j = 0; j < b.size(); ++j) {
            const auto found = position.find(b[j]);
            if (found == position.end()) continue;
            b_in_a[j] = found->second;
            a_in_b[found->second] = j;
        }
        id_list first = ids({1, 2, 3}), second; // leftovers go
        ASSERT_EQ(get_IDs(list_of(a), list_of(b), first, second), 0);
        ASSERT_EQ(entries(first), b_in_a);
        ASSERT_EQ(entries(second), a_in_b);

        id_list la = list_of(a), lb = list_of(b);
        ASSERT_EQ(get_IDs(la, lb, lb, la), 0); // the outputs are the inputs
        ASSERT_EQ(entries(lb), b_in_a);
        ASSERT_EQ(entries(la), a_in_b);
    }
}

TEST(GetIDs, OutputsInSharedStorageLeaveTheInputsAlone) {
    id_list a = ids({7, 8, 9});
    const id_list b = ids({9, 7});
    id_list b_in_a = a.sub_vector(0, 2), a_in_b = a;
    EXPECT_EQ(get_IDs(a, b, b_in_a, a_in_b), 0);
    EXPECT_TRUE(a == ids({7, 8, 9}));
    EXPECT_TRUE(b_in_a == ids({2, 0}));
    EXPECT_TRUE(a_in_b == ids({1, NO_ID, 0}));
}

TEST(GetIDs, ElementsOfDifferentSizeEmptyTheOutputs) {
    id_list b_in_a = ids({1}), a_in_b = ids({2});
    for (const bool oriented : {false, true}) {
        EXPECT_EQ(get_IDs(id_matrix(3, {4, 7, 9}), id_matrix(4, {4, 7, 9, 1}), b_in_a, a_in_b, oriented), -2);
        EXPECT_TRUE(b_in_a.empty() && a_in_b.empty());
    }
}

/// Turned to its first largest entry.
std::vector<unsigned int> turned(std::vector<unsigned int> column) {
    std::rotate(column.begin(), std::max_element(column.begin(), column.end()), column.end());
    return column;
}

bool literal_match(const std::vector<unsigned int>& a, const std::vector<unsigned int>& b, bool oriented) {
    if (oriented) return a == b;
    auto candidate = turned(a);
    if (candidate == turned(b)) return true;
    std::reverse(candidate.begin(), candidate.end());
    return turned(candidate) == turned(b);
}

TEST(GetIDs, RandomElementsAgainstAllPairs) {
    random_ids random(5);
    int matches = 0;
    for (int round = 0; round < 800; ++round) {
        const unsigned int rows = 1 + random.below(5);
        const auto some = [&] {
            std::vector<unsigned int> values(rows * random.below(25));
            const unsigned int base =
                random.below(2) ? 0 : NO_ID - 3; // reaches NO_ID, a value like any other
            for (unsigned int& id : values) id = base + random.below(4);
            return matrix_of(rows, values);
        };
        const bool oriented = random.below(2);
        const auto a = round % 3 ? some() : as_view(some());
        const auto b = round % 5 ? some() : as_view(some());
        id_list b_in_a, a_in_b;
        ASSERT_EQ(get_IDs(a, b, b_in_a, a_in_b, oriented), 0);
        ASSERT_EQ(b_in_a.size(), b.cols());
        std::vector<unsigned int> inverse(a.cols(), NO_ID);
        for (unsigned int j = 0; j < b.cols(); ++j) {
            const auto sought = entries(b.col(j));
            bool any = false;
            for (unsigned int i = 0; i < a.cols(); ++i)
                any |= literal_match(entries(a.col(i)), sought, oriented);
            ASSERT_EQ(b_in_a[j] != NO_ID, any);
            if (!any) continue;
            ASSERT_LT(b_in_a[j], a.cols());
            ASSERT_TRUE(literal_match(entries(a.col(b_in_a[j])), sought, oriented));
            inverse[b_in_a[j]] = j;
            ++matches;
        }
        ASSERT_EQ(entries(a_in_b), inverse);
    }
    EXPECT_GT(matches, 1000);
}

TEST(GetIDs, ManyElementsWithTheSameNodesOrNodeSum) {
    // All pairs of 700 nodes, given back to front: nearly half a million columns, but few different node
    // sums.
    std::vector<unsigned int> forward, backward;
    for (unsigned int p = 0; p < 700; ++p) {
        for (unsigned int q = p + 1; q < 700; ++q) {
            forward.insert(forward.end(), {p, q});
            backward.insert(backward.end(), {q, p});
        }
    }
    id_list b_in_a, a_in_b;
    ASSERT_EQ(get_IDs(matrix_of(2, forward), matrix_of(2, backward), b_in_a, a_in_b, false), 0);
    for (unsigned int j = 0; j < b_in_a.size(); ++j) ASSERT_EQ(b_in_a[j], j);
    ASSERT_TRUE(a_in_b == b_in_a);

    // One quadrangle a hundred thousand times, and the same nodes in another cyclic order: all pairs of them
    // would take minutes.
    std::vector<unsigned int> convex, crossed;
    for (unsigned int j = 0; j < 100000; ++j) {
        convex.insert(convex.end(), {0, 1, 2, 3});
        crossed.insert(crossed.end(), {0, 2, 1, 3});
    }
    ASSERT_EQ(get_IDs(matrix_of(4, convex), matrix_of(4, crossed), b_in_a, a_in_b, false), 0);
    ASSERT_TRUE(b_in_a == id_list(100000, NO_ID));
    ASSERT_TRUE(a_in_b == id_list(100000, NO_ID));
}

template <unsigned int D>
struct box {
    vector_fixed<double, D> min, max;
    box() {
        min = INF;
        max = -INF;
    }
    bool operator==(const box& other) const {
        return std::equal(min.begin(), min.end(), other.min.begin()) &&
               std::equal(max.begin(), max.end(), other.max.begin());
    }
};

TEST(BoundingBox, GrowsAndIsNeverReset) {
    const auto pos = real_matrix(2, {1, 5, -2, 3, NOT_A_NUMBER, 9});
    box<2> b;
    EXPECT_EQ(inc_bounding_box(pos, b.min, b.max), 0);
    EXPECT_EQ(inc_bounding_box(real_matrix(2, {0, 4}), b.min, b.max), 0);
    EXPECT_EQ(b.min[0], -2);
    EXPECT_EQ(b.max[1], 9); // the good coordinate of a node counts

    box<2> kept;
    kept.min = NOT_A_NUMBER; // nothing compares with it
    EXPECT_EQ(inc_bounding_box(pos, kept.min, kept.max), 0);
    EXPECT_TRUE(std::isnan(kept.min[0]));
    EXPECT_EQ(kept.max[0], 1);
}

TEST(BoundingBox, ChecksInOrderAndThenLeavesTheBoxAlone) {
    const auto pos = real_matrix(3, {1, 2, 3, 4, 5, 6});
    box<2> flat;
    box<3> solid;
    EXPECT_EQ(inc_bounding_box(pos, flat.min, flat.max), -1);
    EXPECT_EQ(inc_bounding_box(dense2D<double>(), flat.min, flat.max), -1);
    EXPECT_EQ(inc_bounding_box(pos, id_list(), flat.min, flat.max), 0);
    EXPECT_EQ(inc_bounding_box(pos, ids({7}), flat.min, flat.max), -1); // both wrong
    EXPECT_EQ(inc_bounding_box(pos, ids({0, 2}), solid.min, solid.max), -2);
    EXPECT_EQ(inc_bounding_box(pos, dense2D<unsigned int>(), flat.min, flat.max), 0);
    EXPECT_EQ(inc_bounding_box(pos, id_matrix(1, {NO_ID}), flat.min, flat.max), 0); // no node is left
    EXPECT_EQ(inc_bounding_box(pos, id_matrix(1, {5}), flat.min, flat.max), -1);
    EXPECT_EQ(inc_bounding_box(pos, id_matrix(1, {5}), solid.min, solid.max), -2);
    EXPECT_TRUE(flat == box<2>());
    EXPECT_TRUE(solid == box<3>());
    EXPECT_EQ(inc_bounding_box(dense2D<double>(3, 0), solid.min, solid.max), 0);
    EXPECT_TRUE(solid == box<3>());
}

template <unsigned int D>
void expect_the_three_forms_agree() {
    std::mt19937 random(6);
    for (int round = 0; round < 100; ++round) {
        std::vector<double> values(D * (1 + random() % 40));
        for (double& x : values) x = random() % 12 == 0 ? NOT_A_NUMBER : double(random() % 1000) - 500;
        const auto pos = matrix_of(D, values);
        std::vector<unsigned int> nodes(4 * (1 + random() % 10));
        for (unsigned int& node : nodes) node = random() % 9 == 0 ? NO_ID : unsigned(random() % pos.cols());

        box<D> expected;
        for (const unsigned int node : nodes) {
            for (unsigned int k = 0; node != NO_ID && k < D; ++k) {
                expected.min[k] = std::fmin(expected.min[k], pos(k, node));
                expected.max[k] = std::fmax(expected.max[k], pos(k, node));
            }
        }
        const auto frame = as_view(pos, 1e9);
        for (const dense2D<double>* p : {&pos, static_cast<const dense2D<double>*>(&frame)}) {
            box<D> by_list, by_elements, by_all;
            ASSERT_EQ(inc_bounding_box(*p, list_of(nodes), by_list.min, by_list.max), 0);
            ASSERT_TRUE(by_list == expected);
            const auto connectivity = as_view(matrix_of(4, nodes));
            ASSERT_EQ(inc_bounding_box(*p, connectivity, by_elements.min, by_elements.max), 0);
            ASSERT_TRUE(by_elements == expected);
            id_list every(pos.cols());
            for (unsigned int j = 0; j < pos.cols(); ++j) every[j] = j;
            box<D> by_every;
            ASSERT_EQ(inc_bounding_box(*p, every, by_every.min, by_every.max), 0);
            ASSERT_EQ(inc_bounding_box(*p, by_all.min, by_all.max), 0);
            ASSERT_TRUE(by_all == by_every);
        }
    }
}

TEST(BoundingBox, FormsAgreeOnViewsAndWithNaN) {
    expect_the_three_forms_agree<2>();
    expect_the_three_forms_agree<3>();
}

} // namespace
