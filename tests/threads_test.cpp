#include "test_containers.h"

#include <plexo/ids.h>

#include <memory>
#include <thread>

using namespace test;

namespace {

constexpr int THREADS = 4;

template <typename Work>
void on_threads(Work work) {
    std::vector<std::thread> team;
    for (int t = 0; t < THREADS; ++t) team.emplace_back(work, t);
    for (std::thread& thread : team) thread.join();
}

TEST(Threads, StorageIsReleasedOnceByWhoeverIsLast) {
    for (int round = 0; round < 200; ++round) {
        auto m = std::make_unique<dense2D<double>>(3, 50, 1.0);
        const auto list = std::make_unique<id_list>(100, 7u);
        std::vector<dense2D<double>> held(THREADS, *m);
        std::vector<id_list> lists(THREADS, *list);
        m.reset(); // the threads hold the last references
        on_threads([&](int t) {
            for (int k = 0; k < 20; ++k) {
                const auto column = held[std::size_t(t)].col(unsigned(k));
                const auto part = held[std::size_t(t)].sub_matrix(1, 2, 2, 3);
                ASSERT_EQ(column[0] + part(0, 0), 2);
                const id_list view = lists[std::size_t(t)].sub_vector(unsigned(k), 10);
                ASSERT_EQ(view[9], 7u);
            }
            held[std::size_t(t)] = dense2D<double>();
            lists[std::size_t(t)].clear_hard();
        });
    }
}

TEST(Threads, SharersDetachWithoutDisturbingEachOther) {
    for (int round = 0; round < 100; ++round) {
        const id_list shared = ids({1, 2, 3});
        std::vector<id_list> own(THREADS, shared);
        on_threads([&](int t) {
            id_list& mine = own[std::size_t(t)];
            for (unsigned int k = 0; k < 100; ++k) ASSERT_TRUE(mine.push_back(unsigned(t)));
            mine = unsigned(t); // fills its own storage by now
        });
        ASSERT_TRUE(shared == ids({1, 2, 3}));
        for (int t = 0; t < THREADS; ++t) ASSERT_TRUE(own[std::size_t(t)] == id_list(103, unsigned(t)));
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
    for (unsigned int k = 0; k < pos.size(); ++k) pos.data()[k] = k % 101;
    dense2D<unsigned int> triangles(3, 5000);
    for (unsigned int k = 0; k < triangles.size(); ++k) triangles.data()[k] = (k * 7) % 3000;
    const id_list nodes = triangles.as_vector();
    const dense2D<double>& fixed_pos = pos;
    const dense2D<unsigned int>& fixed = triangles;
    on_threads([&](int) {
        for (int k = 0; k < 5; ++k) {
            ASSERT_TRUE(check_IDs(fixed, ELEM_TRIA3, fixed_pos.cols()));
            ASSERT_EQ(max_ID(fixed), 2999u);
            ASSERT_EQ(count_unique_indices(fixed), 3000);
            id_list unique, there, back;
            ASSERT_EQ(unique_indices(unique, nodes), 0);
            ASSERT_EQ(get_IDs(nodes, unique, there, back), 0);
            vector_fixed<double, 3> low{1e9, 1e9, 1e9}, high{-1e9, -1e9, -1e9};
            ASSERT_EQ(inc_bounding_box(fixed_pos, fixed, low, high), 0);
            ASSERT_EQ(high[0] - low[0], 100);
        }
    });
}

} // namespace
