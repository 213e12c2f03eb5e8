#include "alternate_name.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "znfi.h"

namespace {

znfi_objid* objectOf(const char* name) {
    return znfi_get_objid(name, static_cast<uint32_t>(std::string(name).size() + 1), ZFI_OBJID_SUBOBJECT);
}

std::string requested(std::vector<znfi_objid*> list, int count) {
    zfi_domain node = {};
    node.objid = objectOf("/data");
    node.objids = list.data();
    node.objidCount = count;
    const char* name = requestedAlternateName(node);
    return name == nullptr ? "(none)" : name;
}

TEST(RequestedAlternateName, IsTheSecondEntryWhenTheFirstIsTheNode) {
    EXPECT_EQ(requested({objectOf("/data"), objectOf("/other")}, 2), "/other");
    EXPECT_EQ(requested({objectOf("/data"), objectOf("no slash")}, 2), "no slash");
}

TEST(RequestedAlternateName, IsMissing) {
    EXPECT_EQ(requested({objectOf("/other"), objectOf("/data")}, 2), "(none)");
    EXPECT_EQ(requested({objectOf("/data"), objectOf("/other")}, 1), "(none)");
    EXPECT_EQ(requested({objectOf("/data"), nullptr}, 2), "(none)");
    EXPECT_EQ(requested({nullptr, objectOf("/other")}, 2), "(none)");
    EXPECT_EQ(requested({objectOf("/data"), objectOf("")}, 2), "(none)");
    EXPECT_EQ(requested({}, 0), "(none)");
}

TEST(FreeName, IsTheBaseWhenNothingIsMountedThere) {
    if (access("/etc/mtab", R_OK) != 0) {
        GTEST_SKIP() << "needs /etc/mtab";
    }
    std::string name;
    EXPECT_EQ(findFreeName("/nothing/is/mounted/here", 2, name), 0);
    EXPECT_EQ(name, "/nothing/is/mounted/here");
}

}  // namespace
