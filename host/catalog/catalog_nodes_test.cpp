#include "host/catalog/catalog_test_case.h"

namespace tarnctl {
namespace {

using CatalogNodes = CatalogTestCase;

TEST_F(CatalogNodes, keepsTheTreeAndItsBlobs) {
    const Blob blob{std::string("<DEV_NAME>/dev/\xff\0tail\0", 22), 1};
    std::string id;
    {
        Catalog catalog = open();
        id = newSnapshot(catalog);
        const auto origin = catalog.addNode(id, {NodeRole::kOrigin, "tarnfi", "/da\nta\xfe", std::nullopt});
        ASSERT_TRUE(origin);
        const auto device = catalog.addNode(id, {NodeRole::kDevice, "tarnloop", "/dev/loop0", *origin});
        ASSERT_TRUE(device);
        ASSERT_TRUE(catalog.addNode(id, {NodeRole::kSnapshotDevice, "tarnloop", "/dev/loop1", *device}));
        ASSERT_TRUE(catalog.addNode(id, {NodeRole::kAlternate, "tarnfi", "/data_alt", *origin}));
        ASSERT_TRUE(catalog.writeBlob(*origin, {"first", 2}));
        ASSERT_TRUE(catalog.writeBlob(*origin, blob));
        ASSERT_TRUE(catalog.writeBlob(*device, {"", 0}));
    }
    const auto nodes = open().nodes(id);
    ASSERT_TRUE(nodes);
    ASSERT_EQ(nodes->size(), 4U);
    const NodeRecord& origin = nodes->at(0);
    EXPECT_EQ(origin.node.role, NodeRole::kOrigin);
    EXPECT_EQ(origin.node.provider, "tarnfi");
    EXPECT_EQ(origin.node.name, "/da\nta\xfe");
    EXPECT_EQ(origin.node.parent, std::nullopt);
    ASSERT_TRUE(origin.blob);
    EXPECT_EQ(origin.blob->bytes, blob.bytes);
    EXPECT_EQ(origin.blob->encoding, 1U);
    EXPECT_EQ(nodes->at(1).node.parent, origin.id);
    ASSERT_TRUE(nodes->at(1).blob);
    EXPECT_EQ(nodes->at(1).blob->bytes, "");
    EXPECT_EQ(nodes->at(2).node.role, NodeRole::kSnapshotDevice);
    EXPECT_FALSE(nodes->at(2).blob);
    EXPECT_EQ(nodes->at(3).node.role, NodeRole::kAlternate);
}

TEST_F(CatalogNodes, aParentMustBeOfTheSameSnapshot) {
    Catalog catalog = open();
    const std::string first = newSnapshot(catalog);
    const std::string second = newSnapshot(catalog);
    const auto parent = catalog.addNode(first, {});
    ASSERT_TRUE(parent);
    const auto stranger = catalog.addNode(second, {NodeRole::kDevice, "p", "n", *parent});
    ASSERT_FALSE(stranger);
    EXPECT_EQ(stranger.failure().code, ExitCode::kNotFound);
    EXPECT_FALSE(catalog.addNode(first, {NodeRole::kDevice, "p", "n", *parent + 100}));
    EXPECT_TRUE(catalog.nodes(second)->empty());
}

}  // namespace
}  // namespace tarnctl
