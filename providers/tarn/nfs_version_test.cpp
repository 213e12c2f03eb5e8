#include "nfs_version.h"

#include <gtest/gtest.h>

namespace {

TEST(NfsVersion, OneDigitBehindTheTag) {
    EXPECT_EQ(nfsVersionOf("rw,vers=3,proto=tcp"), 3);
    EXPECT_EQ(nfsVersionOf("rw,relatime,vers=4.2,proto=tcp"), 4);
    EXPECT_EQ(nfsVersionOf("rw,nfsvers=4"), 4);
    EXPECT_EQ(nfsVersionOf("rw,vers=10"), 1);
    EXPECT_EQ(nfsVersionOf("rw,rsize=65536,vers=3,mountvers=2"), 3);
}

TEST(NfsVersion, ATagWithoutNumberIsZero) {
    EXPECT_EQ(nfsVersionOf("rw,vers="), 0);
    EXPECT_EQ(nfsVersionOf("rw,vers=,x3"), 0);
    EXPECT_EQ(nfsVersionOf("rw,vers==3"), 0);
    EXPECT_EQ(nfsVersionOf("rw,vers=x"), 0);
}

TEST(NfsVersion, WithoutTagTheSecondOption) {
    EXPECT_EQ(nfsVersionOf("rw,x2"), 2);
    EXPECT_EQ(nfsVersionOf("rw,v12,hard"), 12);
    EXPECT_EQ(nfsVersionOf("rw,hard,v3"), 0);
    EXPECT_EQ(nfsVersionOf(",rw,,v3"), 3);
}

TEST(NfsVersion, WithoutSecondOptionItIsZero) {
    EXPECT_EQ(nfsVersionOf("rw"), 0);
    EXPECT_EQ(nfsVersionOf("rw,"), 0);
    EXPECT_EQ(nfsVersionOf(",,"), 0);
    EXPECT_EQ(nfsVersionOf(""), 0);
}

}  // namespace
