// SPDX-License-Identifier: MIT

#include <velutils++/text.h>

#include <gtest/gtest.h>

#include "tests/support/allocations.h"

namespace {

TEST(StringAllocation, RefusedConstructionGivesTheEmptyText) {
    const long before = allocations::outstanding();
    {
        allocations::Refusal refusal(1);
        const String s("some text");
        EXPECT_TRUE(refusal.happened());
        EXPECT_EQ(0, s.length());
        EXPECT_EQ(String().buffer(), s.buffer());
    }
    EXPECT_EQ(before, allocations::outstanding());
}

}  // namespace
