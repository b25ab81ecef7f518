#include "test_containers.h"

#include <plexo/geometry.h>

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

using namespace qv7::plexo;
using test::entries;
using list = std::vector<unsigned int>;
using vec3 = vector_fixed<double, 3>;

namespace {

constexpr unsigned int N = NO_ID;

dense2D<unsigned int> random_elements(test::dice& random, unsigned int rows, unsigned int nodes) {
    return test::filled<unsigned int>(rows, random.below(8),
                                      [&] { return random.one_in(5) ? N : random.below(nodes); });
}

TEST(Simplify, EqualsItsSteps) {
    for (unsigned int seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        test::dice random(seed);
        const unsigned int count = 1 + random.below(20), N0 = random.below(count + 2);
        std::vector<test::framed<unsigned int>> blocks;
        std::vector<dense2D<unsigned int>> matrices;
        std::vector<list> renumbered;
        std::set<unsigned int> used;
        for (unsigned int m = 1 + random.below(3); m > 0; --m) {
            blocks.emplace_back(random_elements(random, 1 + random.below(4), count), count + 100);
            matrices.push_back(blocks.back().view);
            renumbered.push_back(entries(matrices.back()));
            used.insert(renumbered.back().begin(), renumbered.back().end());
        }
        std::vector<double> kept;
        list expected;
        for (unsigned int i = 0; i < count; ++i) {
            const bool stays = i < N0 || N0 >= count || used.count(i) != 0;
            expected.push_back(stays ? unsigned(kept.size() / 2) : N);
            if (stays) kept.insert(kept.end(), {double(i), i + 0.5});
        }
        double next = -0.5;
        test::framed<double> pos(test::filled<double>(2, count, [&next] { return next += 0.5; }), -1);
        dense2D<unsigned int>& first = matrices[0];
        test::id_list new_IDs = first.col(0); // sharing storage
        bool has_table = random.one_in(2);
        int removed;
        if (matrices.size() == 2 && !has_table) {
            removed = simplify(pos.view, first, matrices[1], N0);
        } else if (matrices.size() == 1) {
            removed = has_table ? simplify(pos.view, first, new_IDs, N0) : simplify(pos.view, first, N0);
        } else {
            has_table = true;
            removed = simplify(pos.view, &first, &first + matrices.size(), new_IDs, N0);
        }
        ASSERT_EQ(removed, int(count - kept.size() / 2));
        if (has_table) {
            ASSERT_EQ(entries(new_IDs), N0 < count ? expected : list());
        }
        ASSERT_EQ(entries(pos.view), kept);
        ASSERT_EQ(pos.view.rows(), 2u);
        ASSERT_TRUE(pos.frame_intact());
        for (std::size_t m = 0; m < blocks.size(); ++m) { // in place
            for (unsigned int& id : renumbered[m]) id = id == N ? N : expected[id];
            ASSERT_EQ(entries(blocks[m].view), renumbered[m]);
            ASSERT_TRUE(blocks[m].frame_intact());
        }
    }
}

TEST(RemoveDegenerated, EqualsItsSteps) {
    test::dice random(6);
    for (int round = 0; round < 4000; ++round) {
        const unsigned int rows = random.below(13); // on both sides of where sorting begins
        const dense2D<unsigned int> given = random_elements(random, rows, rows * 3);
        const bool strict = random.one_in(2);
        list expected, expected_IDs;
        unsigned int kept = 0;
        for (unsigned int j = 0; j < given.cols(); ++j) {
            const list column = entries(given.col(j));
            list sorted = column;
            std::sort(sorted.begin(), sorted.end());
            const auto pair = std::adjacent_find(sorted.begin(), sorted.end());
            const bool degenerate = pair != sorted.end() && (*pair != N || strict);
            expected_IDs.push_back(degenerate ? N : kept++);
            if (!degenerate) expected.insert(expected.end(), column.begin(), column.end());
        }
        test::framed<unsigned int> block(given, 3);
        test::id_list new_IDs = block.view.col(0); // sharing storage
        ASSERT_EQ(remove_degenerated(block.view, new_IDs, strict), int(given.cols() - kept));
        ASSERT_EQ(block.view.rows(), rows);
        ASSERT_EQ(entries(block.view), expected);
        ASSERT_EQ(entries(new_IDs), expected_IDs);
        ASSERT_TRUE(block.frame_intact());
    }
}

TEST(Clip, EqualsItsRule) {
    test::dice random(21);
    for (int round = 0; round < 4000; ++round) {
        const auto coordinate = [&] {
            return random.one_in(20) ? std::numeric_limits<double>::quiet_NaN() : random.below(5) - 1.0;
        };
        const auto pos = test::filled<double>(random.below(5), 1 + random.below(8), coordinate);
        auto elements = random_elements(random, 1 + random.below(4), pos.cols());
        const vec3 P{coordinate(), 0, coordinate()}, normal{coordinate(), coordinate(), 3};
        const auto is_inside = [&](unsigned int node) {
            double d = 0;
            for (unsigned int k = 0; k < std::min(3u, pos.rows()); ++k)
                d += (pos(k, node) - P[k]) * normal[k];
            return d > 0;
        };
        // Behind columns that are there, behind the input itself, or in an output that has no entries.
        dense2D<unsigned int> out(elements.rows(), random.below(3), 99u);
        if (random.one_in(4))
            out = random.one_in(2) ? dense2D<unsigned int>(0, 3) : dense2D<unsigned int>(9, 0);
        const bool onto_itself = random.one_in(3);
        list expected = entries(onto_itself ? elements : out);
        for (unsigned int j = 0; j < elements.cols(); ++j) {
            const list column = entries(elements.col(j));
            const auto padding = std::find(column.begin(), column.end(), N);
            if (std::all_of(column.begin(), padding, is_inside))
                expected.insert(expected.end(), column.begin(), column.end());
        }
        const auto source = test::as_view(elements), kept = elements;
        if (onto_itself) out = source;
        ASSERT_EQ(clip(test::as_view(pos), onto_itself ? out : source, P, normal, out), 0);
        ASSERT_EQ(entries(out), expected);
        ASSERT_TRUE(test::same(source, kept));
    }
}

} // namespace
