// SPDX-License-Identifier: MIT
//
// Digests of a daemon that is compiled with -fno-rtti, as this file is: their classes have no type
// information.

#include <velutils++/digests.h>

#include <gtest/gtest.h>

namespace {

template <class Base>
class Counter : public Base {
  public:
    void hash(const unsigned char* data, unsigned long length) override {
        ++calls;
        Base::hash(data, broken ? 0 : length);
    }
    int calls = 0;
    bool broken = false;
};

TEST(DigestWithoutTypeInformation, TheSelfTestCallsItsOperations) {
    Counter<Md5HashContext> md5;
    EXPECT_EQ(0, md5.test());
    EXPECT_EQ(3, md5.calls);
    Counter<Sha1HashContext> sha1;
    EXPECT_EQ(0, sha1.test());
    EXPECT_EQ(1 + 53 + 1, sha1.calls);
    md5.broken = true;
    EXPECT_EQ(-1, md5.test());
}

}  // namespace
