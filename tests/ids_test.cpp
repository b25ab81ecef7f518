#include "limited_memory.h"
#include "test_containers.h"

#include <plexo/ids.h>

#include <cmath>
#include <limits>
#include <new>
#include <set>

using namespace test;

namespace {

using id_vector = std::vector<unsigned int>;
constexpr unsigned int LAST_ID = NO_ID - 1;

/// Random IDs, some of them NO_ID. Few or many different ones, compact or scattered over all 32 bits, so that
/// both bit sets and hash tables are used.
id_vector random_IDs(dice& random, unsigned int n) {
    static constexpr unsigned int LARGEST[] = {3, 60, 1000, 1000000, LAST_ID};
    const unsigned int largest = LARGEST[random.below(5)];
    id_vector pool(1 + n / (1 + random.below(4)), largest), all(n);
    for (std::size_t k = 1; k < pool.size(); ++k) pool[k] = random.below(largest + 1);
    for (unsigned int& id : all) id = random.one_in(9) ? NO_ID : pool[random.below(unsigned(pool.size()))];
    return all;
}

/// An element has one of its type's counts of nodes, in the first rows, and NO_ID in the others.
bool literal_check(const dense2D<unsigned int>& m, int code, unsigned int nods) {
    std::set<std::ptrdiff_t> counts;
    if (code >= 0 && code <= 20) counts = {NODES_PER_ELEMENT[code]};
    if (code == ELEM_FACE_MIX) counts = {3, 4};
    if (code == ELEM_SOLID_MIX) counts = {4, 5, 6, 8};
    if (m.empty() || (nods == NO_ID && counts.size() < 2)) return true;
    bool valid = counts.count(m.rows()) != 0;
    for (unsigned int j = 0; j < m.cols(); ++j) {
        const id_vector column = entries(m.col(j));
        const auto end = std::find_if(column.begin(), column.end(), [=](auto id) { return id >= nods; });
        valid = valid && counts.count(end - column.begin()) != 0 &&
                std::count(end, column.end(), NO_ID) == column.end() - end;
    }
    return valid;
}

TEST(CheckIDs, FollowsTheLiteralRulesForEveryCode) {
    dice random(1);
    const unsigned int bounds[] = {0, 9, LAST_ID, NO_ID};
    const int foreign[] = {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 1000000};
    for (int round = 0; round < 60000; ++round) {
        const int code = random.one_in(50) ? foreign[random.below(3)] : int(random.below(28)) - 3;
        dense2D<unsigned int> m(random.below(29), 1 + random.below(3), 8u);
        for (unsigned int j = 0; j < m.cols(); ++j) {
            const unsigned int nodes = random.one_in(2) ? m.rows() : random.below(m.rows() + 1);
            std::fill(m.col_data(j) + nodes, m.col_data(j) + m.rows(), NO_ID);
        }
        if (!m.empty() && random.one_in(3)) m(random.below(m.rows()), 0) = bounds[random.below(4)];
        unsigned int bound = 0;
        for (const unsigned int id : entries(m)) bound = std::max(bound, id + 1); // 0 for NO_ID
        const unsigned int largest = m.empty() ? NO_ID : std::max(bound, 1u) - 1;
        ASSERT_EQ(max_ID(list_of(entries(m))), largest);
        for (const dense2D<unsigned int>& form : {m, as_view(m, LAST_ID)}) {
            ASSERT_EQ(max_ID(form), largest);
            for (const unsigned int nods : bounds) {
                ASSERT_EQ(check_IDs(form, element_type(code), nods), literal_check(m, code, nods)) << code;
                ASSERT_EQ(check_IDs(form, nods), bound <= nods);
                ASSERT_EQ(check_IDs(list_of(entries(m)), nods), bound <= nods);
            }
        }
    }
}

TEST(ShiftIndices, SkipsAbsentIDsInListsAndMixedTypesOnly) {
    // Runs on both sides of the parallel limit, in blocks and in views.
    using shape = std::pair<unsigned int, unsigned int>;
    for (const auto& [rows, cols] : {shape(4, 3000), {5000, 3}, {4096, 1}, {4097, 1}, {3, 2}, {0, 0}}) {
        dense2D<unsigned int> m(rows, cols);
        for (unsigned int k = 0; k < m.size(); ++k) m.data()[k] = k % 7 == 3 ? NO_ID : k;
        for (const element_type type : {ELEM_TRIA3, ELEM_FACE_MIX, ELEM_SOLID_MIX}) {
            for (const int shift : {-5, 0, 10}) {
                id_list list = list_of(entries(m));
                framed<unsigned int> view(m);
                id_vector padded = entries(m), all = padded;
                for (unsigned int& id : padded) id += id == NO_ID ? 0 : unsigned(shift);
                for (unsigned int& id : all) id += unsigned(shift);
                EXPECT_EQ(shift_indices(list, shift), 0);
                EXPECT_EQ(shift_indices(view.view, shift, type), 0);
                EXPECT_EQ(shift_indices(m, shift, type), 0);
                ASSERT_EQ(entries(list), padded);
                ASSERT_EQ(entries(m), type == ELEM_TRIA3 ? all : padded);
                ASSERT_TRUE(same(view.view, m) && view.frame_intact());
            }
        }
    }
}

template <typename Target>
void expect_renumbered(Target target, const id_list& table, bool in_place) {
    const auto bystander = target;
    const id_vector before = entries(target), new_IDs = entries(table);
    id_vector expected = before;
    for (unsigned int& id : expected) id = id < new_IDs.size() ? new_IDs[id] : id;
    change_indices(target, table);
    EXPECT_EQ(entries(target), expected);
    EXPECT_EQ(entries(table), new_IDs);
    EXPECT_EQ(entries(bystander), in_place ? expected : before);
}

TEST(ChangeIndices, ReadsTheTableAsItWasAndWritesInPlaceUnlessTheyShare) {
    dice random(3);
    for (int round = 0; round < 100; ++round) {
        const auto some_ID = [&random] { return random.one_in(5) ? NO_ID : random.below(22); };
        auto block = filled<unsigned int>(4, 5, some_ID);
        const id_list apart = list_of(random_IDs(random, random.below(22)));
        for (const id_list& table : {apart, block.col(3), block.as_vector()}) {
            framed<unsigned int> view(block);
            expect_renumbered(view.view, table, true);
            ASSERT_TRUE(view.frame_intact());
            expect_renumbered(block.sub_matrix(1, 1, 2, 3), table, table.data() == apart.data());
            expect_renumbered(block.as_vector(), table, table.data() == apart.data());
        }
    }
    id_list list = ids({1, 2, 0});
    change_indices(list, list);
    EXPECT_TRUE(list == ids({2, 0, 1}));
}

template <typename Values>
void expect_permuted(Values& values, const id_list& perm) {
    const auto bystander = values;
    const auto before = entries(values);
    auto expected = before;
    for (unsigned int i = 0; i < std::min(values.size(), perm.size()); ++i) {
        if (perm[i] < values.size()) expected[perm[i]] = before[i];
    }
    EXPECT_EQ(permutation(values, perm), 0);
    EXPECT_EQ(entries(values), expected);
    EXPECT_EQ(entries(bystander), before);
}

TEST(Permutation, ScattersIntoStorageOfItsOwn) {
    dice random(4);
    for (int round = 0; round < 500; ++round) {
        id_list perm(random.below(9)), values(random.below(9));
        for (unsigned int& id : perm) id = random.one_in(7) ? NO_ID : random.below(9);
        for (unsigned int& value : values) value = random.below(99);
        real_list sizes(values.size(), 0.5);
        std::copy(values.begin(), values.end(), sizes.begin());
        expect_permuted(values, perm);
        expect_permuted(sizes, perm);
        expect_permuted(perm, perm);
    }
}

TEST(UniqueIndices, AreAppendedAndCountedAsASetFindsThem) {
    dice random(5);
    for (int round = 0; round < 1200; ++round) {
        id_vector all;
        std::vector<dense2D<unsigned int>> range;
        for (unsigned int k = random.below(4); k-- > 0;) {
            const unsigned int rows = 1 + random.below(5);
            range.push_back(matrix_of(rows, random_IDs(random, rows * random.below(50))));
            for (const unsigned int id : entries(range.back())) all.push_back(id);
            if (random.one_in(2)) range.back() = as_view(range.back(), 999u);
        }
        const auto *first = range.data(), *last = first + range.size();
        const id_list list = list_of(all), shared = range.empty() ? ids({7}) : range[0].as_vector();
        id_list out = random.one_in(2) ? shared : list_of(random_IDs(random, random.below(6)));
        id_list more = list_of(random_IDs(random, random.below(20)));
        if (!all.empty()) more.push_back_n(random.below(2), all.back());
        const id_list& source = random.one_in(6) ? out : list; // the output may be either list
        const id_list& excluded = random.one_in(6) ? out : more;

        const bool lists = random.one_in(2), excludes = random.one_in(2),
                   single = range.size() == 1 && excludes;
        const id_vector sought = lists ? entries(source) : all, kept = entries(shared);
        std::set<unsigned int> seen{NO_ID};
        if (lists && excludes) seen.insert(excluded.begin(), excluded.end());
        id_vector expected = entries(out);
        for (const unsigned int id : sought) {
            if (seen.insert(id).second) expected.push_back(id);
        }
        if (lists) {
            ASSERT_EQ(excludes ? unique_indices(out, source, excluded) : unique_indices(out, source), 0);
        } else {
            ASSERT_EQ(single ? unique_indices(out, *first) : unique_indices(out, first, last), 0);
            const int count = single ? count_unique_indices(*first) : count_unique_indices(first, last);
            ASSERT_EQ(count, seen.size() - 1);
        }
        ASSERT_EQ(unique_indices(out, last, first), first == last ? 0 : -3);
        ASSERT_EQ(count_unique_indices(last, first), first == last ? 0 : -2);
        ASSERT_EQ(entries(out), expected);
        ASSERT_EQ(entries(shared), kept);
    }
}

TEST(GetIDs, OfListsAreThoseOfAllPairs) {
    dice random(7);
    for (int round = 0; round < 600; ++round) {
        const id_vector a = random_IDs(random, random.below(300));
        id_vector b = random_IDs(random, random.below(300)), b_in_a(b.size(), NO_ID), a_in_b(a.size(), NO_ID);
        for (unsigned int j = 0; j < b.size(); ++j) {
            if (!a.empty() && random.one_in(2)) b[j] = a[random.below(unsigned(a.size()))];
            for (unsigned int i = 0; i < a.size(); ++i) {
                if (a[i] == b[j] && a[i] != NO_ID) b_in_a[j] = i;
            }
            if (b_in_a[j] != NO_ID) a_in_b[b_in_a[j]] = j;
        }
        id_list first = ids({1, 2, 3}), second, list_a = list_of(a), list_b = list_of(b); // leftovers go
        const id_list keeps_a = list_a, keeps_b = list_b;
        ASSERT_EQ(get_IDs(list_a, list_b, first, second), 0);
        ASSERT_TRUE(entries(first) == b_in_a && entries(second) == a_in_b);
        ASSERT_EQ(get_IDs(list_a, list_b, list_b, list_a), 0); // the outputs are the inputs
        ASSERT_TRUE(entries(list_b) == b_in_a && entries(list_a) == a_in_b);
        ASSERT_TRUE(entries(keeps_a) == a && entries(keeps_b) == b);
    }
}

/// Turned to its first largest entry.
id_vector turned(id_vector column) {
    std::rotate(column.begin(), std::max_element(column.begin(), column.end()), column.end());
    return column;
}

TEST(GetIDs, OfElementsAreThoseOfAllPairs) {
    dice random(8);
    const auto some = [&random](unsigned int rows) {
        const unsigned int base = random.one_in(2) ? 0 : NO_ID - 3; // NO_ID is a value like any other
        const auto some_ID = [&random, base] { return base + random.below(4); };
        const auto columns = filled<unsigned int>(rows, random.below(25), some_ID);
        return random.one_in(3) ? as_view(columns) : columns;
    };
    for (int round = 0; round < 800; ++round) {
        const unsigned int rows = 1 + random.below(5);
        const bool oriented = random.one_in(2);
        const auto a = some(rows), b = some(rows);
        const id_vector all_of_a = entries(a), all_of_b = entries(b);
        id_list b_in_a = a.as_vector(), a_in_b = b.as_vector();
        ASSERT_EQ(get_IDs(a, b, b_in_a, a_in_b, oriented), 0);
        ASSERT_TRUE(entries(a) == all_of_a && entries(b) == all_of_b && b_in_a.size() == b.cols());
        id_vector inverse(a.cols(), NO_ID);
        for (unsigned int j = 0; j < b.cols(); ++j) {
            const auto matches = [&](unsigned int i) {
                const id_vector p = entries(a.col(i)), q = entries(b.col(j));
                if (oriented) return p == q;
                return turned(p) == turned(q) || turned(id_vector(p.rbegin(), p.rend())) == turned(q);
            };
            if (b_in_a[j] == NO_ID) {
                for (unsigned int i = 0; i < a.cols(); ++i) ASSERT_FALSE(matches(i));
            } else {
                ASSERT_TRUE(b_in_a[j] < a.cols() && matches(b_in_a[j]));
                inverse[b_in_a[j]] = j;
            }
        }
        ASSERT_EQ(entries(a_in_b), inverse);
        ASSERT_EQ(get_IDs(a, some(rows + 1), b_in_a, a_in_b, oriented), -2);
        ASSERT_TRUE(b_in_a.empty() && a_in_b.empty());
    }
}

TEST(GetIDs, TakeNoQuadraticTimeWhereManyElementsHaveTheSameNodesOrNodeSum) {
    // All pairs of 700 nodes, the other way round; then one quadrangle a hundred thousand times, against the
    // same nodes in another cyclic order.
    id_vector a, b, expected;
    for (unsigned int p = 1; p < 700; ++p) {
        for (unsigned int q = p + 1; q < 700; ++q) {
            a.insert(a.end(), {0, 0, p, q});
            b.insert(b.end(), {q, p, 0, 0});
            expected.push_back(unsigned(expected.size()));
        }
    }
    for (int k = 0; k < 100000; ++k) {
        a.insert(a.end(), {1, 2, 3, 4});
        b.insert(b.end(), {1, 3, 2, 4});
    }
    expected.resize(a.size() / 4, NO_ID);
    id_list b_in_a, a_in_b;
    ASSERT_EQ(get_IDs(matrix_of(4, a), matrix_of(4, b), b_in_a, a_in_b, false), 0);
    ASSERT_TRUE(entries(b_in_a) == expected && entries(a_in_b) == expected);
}

TEST(OutOfMemory, IsACodeOrAnExceptionAndLeavesValuesWhole) {
    expect_survives_without_memory([] {
        const dense2D<unsigned int> m(1, 50000000, LAST_ID); // 200 MB each: there is no room for a third
        const real_list sizes(25000000, 1.0);
        id_list list = m.as_vector(), out, back;
        real_list values = sizes;
        EXPECT_EQ(permutation(list, ids({1, 0})), -199);
        EXPECT_EQ(permutation(values, ids({1, 0})), -199);
        change_indices(list, list);
        EXPECT_TRUE(list.data() == m.data() && list[0] == LAST_ID);
        EXPECT_TRUE(values.data() == sizes.data() && values[0] == 1 && !sizes.empty());
        EXPECT_THROW(unique_indices(out, list), std::bad_alloc);
        EXPECT_THROW(unique_indices(out, m), std::bad_alloc);
        EXPECT_THROW(count_unique_indices(m), std::bad_alloc);
        EXPECT_THROW(get_IDs(list, out, out, back), std::bad_alloc);
        EXPECT_THROW(get_IDs(m, m, out, back, true), std::bad_alloc);
        return !testing::Test::HasFailure();
    });
}

/// The box (min, max) after `nodes` of any form have grown it.
template <unsigned int D, typename... Nodes>
std::vector<double> grown(int code, double start, const dense2D<double>& pos, const Nodes&... nodes) {
    vector_fixed<double, D> min, max;
    min = start, max = -start;
    EXPECT_EQ(inc_bounding_box(pos, nodes..., min, max), code);
    std::vector<double> box(min.begin(), min.end());
    box.insert(box.end(), max.begin(), max.end());
    return box;
}

constexpr double INF = std::numeric_limits<double>::infinity();
const double NOT_A_NUMBER = std::nan("");

TEST(BoundingBox, ChecksInOrderAndThenLeavesTheBoxAlone) {
    const auto pos = real_matrix(3, {1, 2, 3, 4, 5, 6});
    const std::vector<double> flat{INF, INF, -INF, -INF}, solid{INF, INF, INF, -INF, -INF, -INF};
    EXPECT_EQ(grown<2>(-1, INF, pos), flat);
    EXPECT_EQ(grown<2>(-1, INF, dense2D<double>()), flat);
    EXPECT_EQ(grown<3>(0, INF, dense2D<double>(3, 0)), solid);
    EXPECT_EQ(grown<2>(0, INF, pos, id_list()), flat);
    EXPECT_EQ(grown<2>(-1, INF, pos, ids({7})), flat);
    EXPECT_EQ(grown<3>(-2, INF, pos, ids({0, 2})), solid);
    EXPECT_EQ(grown<2>(0, INF, pos, id_matrix(1, {NO_ID})), flat); // no node is left
    EXPECT_EQ(grown<2>(-1, INF, pos, id_matrix(1, {5})), flat);
    EXPECT_EQ(grown<3>(-2, INF, pos, id_matrix(1, {5})), solid);
    for (const double corner : grown<3>(0, NOT_A_NUMBER, pos)) EXPECT_TRUE(std::isnan(corner));
}

template <unsigned int D>
void expect_all_forms_to_grow_the_box() {
    dice random(6);
    for (int round = 0; round < 100; ++round) {
        const auto coordinate = [&] { return random.one_in(12) ? NOT_A_NUMBER : random.between(-9, 9); };
        const auto pos = filled<double>(D, 1 + random.below(40), coordinate);
        id_list all(pos.cols()), some(4 * (1 + random.below(10)));
        for (unsigned int j = 0; j < pos.cols(); ++j) all[j] = j;
        for (unsigned int& node : some) node = random.one_in(9) ? NO_ID : random.below(pos.cols());
        const double start = random.one_in(2) ? INF : -2;
        std::vector<double> box(D, start);
        box.resize(2 * D, -start);
        for (const unsigned int node : some) {
            for (unsigned int k = 0; node != NO_ID && k < D; ++k) {
                box[k] = std::fmin(box[k], pos(k, node)); // of two values where one is NaN, the other
                box[D + k] = std::fmax(box[D + k], pos(k, node));
            }
        }
        for (const dense2D<double>& form : {pos, as_view(pos, 1e9)}) {
            ASSERT_EQ(grown<D>(0, start, form, some), box);
            ASSERT_EQ(grown<D>(0, start, form, as_view(matrix_of(4, entries(some)))), box);
            ASSERT_EQ(grown<D>(0, start, form), grown<D>(0, start, pos, all));
        }
    }
}

TEST(BoundingBox, GrowsByAllForms) {
    expect_all_forms_to_grow_the_box<2>();
    expect_all_forms_to_grow_the_box<3>();
}

} // namespace
