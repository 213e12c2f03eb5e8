// The test program enters its private host before the first test; listing the tests needs none.
#include <gtest/gtest.h>

#include "bed.h"
#include "private_host.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    char why[256];
    if (!GTEST_FLAG_GET(list_tests) && bedEnterPrivateHost(BED_RECORDER, why, sizeof why) != 0) {
        bed::reasonToSkip() = why;
    }
    return RUN_ALL_TESTS();
}
