#include "scsi_device_data.h"

#include <gtest/gtest.h>

namespace {

TEST(ScsiAddress, RoundTrips) {
    const auto address = CScsiAddress::parse("11:0:3:18446744073709551615");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->host, 11U);
    EXPECT_EQ(address->channel, 0U);
    EXPECT_EQ(address->target, 3U);
    EXPECT_EQ(address->lun, 18446744073709551615U);
    EXPECT_EQ(address->text(), "11:0:3:18446744073709551615");
}

TEST(ScsiAddress, OnlyAWholeAddressIsOne) {
    for (const char* text : {"", "1", "1:2:3", "1:2:3:", "1:2:3:4:", "1:2:3:4:5", "1:2:3:4 ", "a:0:0:0", "-1:0:0:0",
                             ":0:0:0", "1::0:0", "4294967296:0:0:0", "0:0:0:18446744073709551616"}) {
        EXPECT_FALSE(CScsiAddress::parse(text)) << text;
    }
}

TEST(ScsiAddress, OrderIsByNumber) {
    EXPECT_LT(*CScsiAddress::parse("5:0:0:2"), *CScsiAddress::parse("5:0:0:10"));
}

TEST(ScsiDeviceData, NameIsTheSecondMember) {
    const CScsiDeviceData device;
    const auto [address, name, vendor, model, revision, state, wwid, blockCount, blockSize, isGone, unanswered] =
        device;
    EXPECT_EQ(static_cast<const void*>(&device), static_cast<const void*>(&device.address));
    EXPECT_TRUE((std::is_same_v<decltype(name), const std::string>));
    EXPECT_GT(static_cast<const void*>(&device.name), static_cast<const void*>(&device.address));
    EXPECT_LT(static_cast<const void*>(&device.name), static_cast<const void*>(&device.vendor));
}

}  // namespace
