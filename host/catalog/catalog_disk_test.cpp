// Disks that are full or may only be read.
#include <sys/mount.h>

#include <fstream>

#include "host/catalog/catalog_test_case.h"
#include "host/testing/private_mounts.h"

namespace tarnctl {
namespace {

class CatalogDisk : public CatalogTestCase {
  protected:
    void mountMemory(const char* size) const {
        const std::string options = std::string("mode=700,size=") + size;
        ASSERT_EQ(mount("tarnfi-test", folder_.path().c_str(), "tmpfs", 0, options.c_str()), 0);
    }
    void makeReadOnly() const {
        ASSERT_EQ(mount(nullptr, folder_.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    }
    void expectRefused(const std::string& part) const {
        const Result<Catalog> catalog = Catalog::open(file_);
        ASSERT_FALSE(catalog);
        EXPECT_EQ(catalog.failure().code, ExitCode::kFailed);
        EXPECT_NE(catalog.failure().cause.find(part), std::string::npos) << catalog.failure().cause;
    }
    // Writes until nothing more fits; the number of blobs written.
    static int fill(Catalog& catalog, const std::string& id) {
        const Blob blob{std::string(64 * 1024, 'b'), 1};
        for (int written = 0; written < 100; ++written) {
            const auto node = catalog.addNode(id, {});
            const Status status = node ? catalog.writeBlob(*node, blob) : Status(node.failure());
            if (!status) {
                EXPECT_NE(status.failure().cause.find("no space left"), std::string::npos) << status.failure().cause;
                return written;
            }
        }
        ADD_FAILURE() << "the disk never became full";
        return 0;
    }
};

TEST_F(CatalogDisk, aReadOnlyFolderIsToldSo) {
    TARN_RUN_IN_PRIVATE_MOUNTS([this] {
        mountMemory("1m");
        makeReadOnly();
        expectRefused("Read-only file system");
    });
}

TEST_F(CatalogDisk, aReadOnlyCatalogIsToldSo) {
    TARN_RUN_IN_PRIVATE_MOUNTS([this] {
        mountMemory("1m");
        {
            Catalog catalog = open();
            newSnapshot(catalog);
        }
        makeReadOnly();
        expectRefused("can only be read");
    });
}

TEST_F(CatalogDisk, aFullDiskFailsTheWriteAndKeepsTheRest) {
    TARN_RUN_IN_PRIVATE_MOUNTS([this] {
        mountMemory("1m");
        Catalog catalog = open();
        const std::string id = newSnapshot(catalog);
        const int written = fill(catalog, id);
        EXPECT_GT(written, 0);
        const auto nodes = catalog.nodes(id);
        ASSERT_TRUE(nodes);
        int kept = 0;
        for (const NodeRecord& node : *nodes) {
            kept += node.blob ? 1 : 0;
        }
        EXPECT_EQ(kept, written);
        EXPECT_TRUE(catalog.snapshot(id));
    });
}

TEST_F(CatalogDisk, aFullDiskTakesNoIntentAndOpensNoWindow) {
    TARN_RUN_IN_PRIVATE_MOUNTS([this] {
        mountMemory("1m");
        Catalog catalog = open();
        const std::string id = newSnapshot(catalog);
        std::ofstream(folder_.at("ballast")) << std::string(2 * 1024 * 1024, 'x');
        const std::string undo = "\"" + std::string(256 * 1024, 'u') + "\"";
        EXPECT_FALSE(catalog.windowIntent(id, {{"freeze", undo}}));
        EXPECT_FALSE(catalog.isWindowOpen());
        EXPECT_TRUE(catalog.steps(id)->empty());
        std::filesystem::remove(folder_.at("ballast"));
        EXPECT_TRUE(catalog.windowIntent(id, {{"freeze", undo}}));
    });
}

TEST_F(CatalogDisk, aDiskThatIsFullFromTheStartIsAFailure) {
    TARN_RUN_IN_PRIVATE_MOUNTS([this] {
        mountMemory("64k");
        std::ofstream(folder_.at("ballast")) << std::string(128 * 1024, 'x');
        const Result<Catalog> catalog = Catalog::open(file_);
        ASSERT_FALSE(catalog);
        EXPECT_EQ(catalog.failure().subject, file_);
        std::filesystem::remove(folder_.at("ballast"));
    });
}

}  // namespace
}  // namespace tarnctl
