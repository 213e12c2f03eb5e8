// The test program moves to its private machine before the first test; listing the tests needs none.
#include <gtest/gtest.h>

#include "machine/private_machine.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        road::enterPrivateMachine();
    }
    return RUN_ALL_TESTS();
}
