// Every test of the program must give back what it took.
#include <gtest/gtest.h>

#include "znfi.h"

namespace {

class OutstandingBuffers : public testing::Environment {
  public:
    void TearDown() override { EXPECT_EQ(znfi_outstanding_bufs(), 0); }
};

[[maybe_unused]] testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(std::make_unique<OutstandingBuffers>().release());

}  // namespace
