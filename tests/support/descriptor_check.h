// SPDX-License-Identifier: MIT
//
// Checks for its scope that no descriptor stays open.

#ifndef VELUTILS_TESTS_DESCRIPTOR_CHECK_H
#define VELUTILS_TESTS_DESCRIPTOR_CHECK_H

#include <gtest/gtest.h>

#include "tests/support/files.h"

class DescriptorCheck {
  public:
    ~DescriptorCheck() { EXPECT_EQ(before_, openDescriptors()); }

  private:
    const int before_ = openDescriptors();
};

#endif
