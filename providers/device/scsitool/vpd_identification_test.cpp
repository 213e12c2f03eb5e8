#include "vpd_identification.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

void append(Bytes& made, const Bytes& more) {
    std::ranges::copy(more, std::back_inserter(made));
}

Bytes designator(unsigned association, std::uint8_t type, const Bytes& identifier) {
    Bytes made = {1, static_cast<std::uint8_t>(association << 4U | type), 0};
    made.push_back(static_cast<std::uint8_t>(identifier.size()));
    append(made, identifier);
    return made;
}

Bytes page(const std::vector<Bytes>& designators) {
    Bytes body;
    for (const Bytes& one : designators) {
        append(body, one);
    }
    Bytes made = {0, 0x83};
    made.push_back(static_cast<std::uint8_t>(body.size() >> 8U));
    made.push_back(static_cast<std::uint8_t>(body.size()));
    append(made, body);
    return made;
}

const Bytes kNaa6 = {0x60, 0x01, 0x40, 0x51, 0xa2, 0xb3, 0xc4, 0xd5, 0xe6, 0xf7, 0x08, 0x19, 0x2a, 0x3b, 0x4c, 0x5d};
const Bytes kNaa5 = {0x50, 0x01, 0x40, 0x51, 0xa2, 0xb3, 0xc4, 0xd5};
const Bytes kText = {'M', 'A', 'K', 'E', 'R', ' ', ' ', ' ', 'x', '1', ' ', 0, 'z'};

TEST(VpdIdentification, NaaIsPreferredAndAmongThemTheLongest) {
    EXPECT_EQ(
        wwidFromIdentificationPage(page({designator(0, 1, kText), designator(0, 3, kNaa5), designator(0, 2, kNaa5),
                                         designator(0, 3, kNaa6), designator(0, 8, kText)})),
        "naa.60014051a2b3c4d5e6f708192a3b4c5d");
}

TEST(VpdIdentification, OtherKindsAreTakenInTheirOrder) {
    EXPECT_EQ(wwidFromIdentificationPage(page({designator(0, 1, kText), designator(0, 2, kNaa5)})),
              "eui.50014051a2b3c4d5");
    EXPECT_EQ(wwidFromIdentificationPage(page({designator(0, 1, kText), designator(0, 8, {'i', 'q', 'n', 0})})), "iqn");
    EXPECT_EQ(wwidFromIdentificationPage(page({designator(0, 1, kText)})), "t10.MAKER   x1");
}

TEST(VpdIdentification, WhatNamesThePortOrTheTargetIsNotTheUnit) {
    EXPECT_EQ(wwidFromIdentificationPage(page({designator(1, 3, kNaa6), designator(2, 3, kNaa6)})), "");
    EXPECT_EQ(wwidFromIdentificationPage(page({designator(1, 3, kNaa6), designator(0, 3, kNaa5)})),
              "naa.50014051a2b3c4d5");
}

TEST(VpdIdentification, ADesignatorThatIsCutOffIsNotRead) {
    Bytes cut = page({designator(0, 3, kNaa5), designator(0, 3, kNaa6)});
    cut.pop_back();
    EXPECT_EQ(wwidFromIdentificationPage(cut), "naa.50014051a2b3c4d5");
    EXPECT_EQ(wwidFromIdentificationPage(Bytes{}), "");
    EXPECT_EQ(wwidFromIdentificationPage(Bytes{0, 0x80, 0, 0}), "");
}

// Exactly sized memory: one byte too far is seen by the sanitizer.
TEST(VpdIdentification, AnyBytesAreReadWithinTheirEnd) {
    EXPECT_TRUE(rc::check([](Bytes bytes) {
        if (bytes.size() > 1) {
            bytes[1] = 0x83;
        }
        bytes.shrink_to_fit();
        const std::string wwid = wwidFromIdentificationPage(bytes);
        RC_ASSERT(wwid.size() <= 2 * bytes.size() + 4);
    }));
}

}  // namespace
