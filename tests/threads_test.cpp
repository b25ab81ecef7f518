#include "test_containers.h"

#include <plexo/ids.h>

#include <thread>

using namespace test;

namespace {

constexpr std::size_t THREADS = 4;

template <typename Work>
void on_threads(Work work) {
    std::vector<std::thread> team;
    for (std::size_t t = 0; t < THREADS; ++t) team.emplace_back(work, t);
    for (std::thread& thread : team) thread.join();
}

TEST(Threads, SharersReadDetachAndReleaseWithoutDisturbingEachOther) {
    for (int round = 0; round < 200; ++round) {
        // The threads hold the last references to the matrix, not to the list.
        std::vector<dense2D<double>> tables(THREADS, dense2D<double>(3, 50, 1.0));
        const id_list shared(100, 7u);
        std::vector<id_list> lists(THREADS, shared);
        on_threads([&](std::size_t t) {
            id_list& mine = lists[t];
            for (unsigned int k = 0; k < 20; ++k) {
                const auto column = tables[t].col(k), view = tables[t].sub_matrix(1, 2, 2, 3).col(0);
                ASSERT_EQ(column[0] + view[0], 2);
                ASSERT_EQ(mine.sub_vector(k, 10)[9], 7u);
            }
            tables[t] = dense2D<double>();
            for (unsigned int k = 0; k < 100; ++k) ASSERT_TRUE(mine.push_back(unsigned(t)));
            mine = unsigned(t); // fills its own storage by now
        });
        ASSERT_TRUE(shared == id_list(100, 7u));
        for (std::size_t t = 0; t < THREADS; ++t) ASSERT_TRUE(lists[t] == id_list(200, unsigned(t)));
    }
}

TEST(Threads, TheLastOfTwoSharersMayGrowInPlace) {
    for (int round = 0; round < 300; ++round) {
        id_list keeps(8, 5u);
        ASSERT_TRUE(keeps.reserve(64));
        id_list gives_up = keeps;
        std::thread other([&] {
            ASSERT_EQ(gives_up[7], 5u);
            gives_up.clear_hard();
        });
        // Either the other still holds the block, or all its reads have happened: never a write under its
        // eyes.
        ASSERT_TRUE(keeps.push_back(6));
        keeps[7] = 9;
        other.join();
        ASSERT_EQ(keeps[7] + keeps[8], 15u);
    }
}

TEST(Threads, ReadOnlyFunctionsRunConcurrentlyOnTheSameMesh) {
    dense2D<double> pos(3, 3000);
    dense2D<unsigned int> triangles(3, 5000);
    for (unsigned int k = 0; k < pos.size(); ++k) pos.data()[k] = k % 101;
    for (unsigned int k = 0; k < triangles.size(); ++k) triangles.data()[k] = (k * 7) % 3000;
    on_threads([&pos = std::as_const(pos), &triangles = std::as_const(triangles)](std::size_t) {
        for (int k = 0; k < 5; ++k) {
            ASSERT_TRUE(check_IDs(triangles, ELEM_TRIA3, pos.cols()));
            ASSERT_EQ(max_ID(triangles), 2999u);
            ASSERT_EQ(count_unique_indices(triangles), 3000);
            id_list unique, there, back;
            ASSERT_EQ(unique_indices(unique, triangles.as_vector()), 0);
            ASSERT_EQ(get_IDs(triangles.as_vector(), unique, there, back), 0);
            vector_fixed<double, 3> low{1e9, 1e9, 1e9}, high{-1e9, -1e9, -1e9};
            ASSERT_EQ(inc_bounding_box(pos, triangles, low, high), 0);
            ASSERT_EQ(high[0] - low[0], 100);
        }
    });
}

} // namespace
