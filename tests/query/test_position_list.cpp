#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "query/Db_PositionList.h"

namespace {

// Insertions at the front, the back and random places, across many block
// splits, must leave the same sequence a flat vector holds, and every
// position must read back the vector's value.
TEST(PositionList, MatchesAFlatVector) {
    std::mt19937_64 random(7);
    for (const int pattern : {0, 1, 2}) {
        SCOPED_TRACE(pattern);
        korvan::PositionList list;
        std::vector<uint64_t> reference;
        for (uint64_t value = 0; value < 6000; ++value) {
            const size_t size = reference.size();
            const size_t pos = pattern == 0 ? 0 : pattern == 1 ? size : random() % (size + 1);
            list.insert(pos, value);
            reference.insert(reference.begin() + static_cast<std::ptrdiff_t>(pos), value);
            const size_t probe = static_cast<size_t>(random() % reference.size());
            ASSERT_EQ(list.at(probe), reference[probe]);
        }
        ASSERT_EQ(list.size(), reference.size());
        for (size_t i = 0; i < reference.size(); ++i) {
            ASSERT_EQ(list.at(i), reference[i]) << i;
        }
        EXPECT_EQ(list.ToVector(), reference);
    }
}

}  // namespace
