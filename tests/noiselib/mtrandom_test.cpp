#include "noiselib/mtrandom.h"

#include <gtest/gtest.h>

// Published in the standard library's own requirements: the 10000th word of the default seed 5489.
TEST(MTRandom, GivesThePublishedWords) {
    MTRandom random(5489);
    EXPECT_EQ(random.next_uint32(), 3499211612U);
    for (int i = 2; i < 10000; ++i) random.next_uint32();
    EXPECT_EQ(random.next_uint32(), 4123659995U);
}
