#include <plexo/plexo.h>

#include <gtest/gtest.h>

using namespace qv7::plexo;

namespace {

TEST(UniqueIndices, ListsFirstAppearancesWithoutExcludedAndAbsent) {
    dense1D<unsigned int, 16> ids(5);
    const unsigned int values[] = {3, 1, 3, NO_ID, 2};
    std::copy(std::begin(values), std::end(values), ids.begin());
    dense1D<unsigned int, 16> out(1, 7);
    EXPECT_EQ(unique_indices(out, ids, dense1D<unsigned int, 16>(1, 2)), 0);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0], 7u);
    EXPECT_EQ(out[1], 3u);
    EXPECT_EQ(out[2], 1u);
}

} // namespace
