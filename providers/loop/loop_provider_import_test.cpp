// A snapshot file attached again, here or as on another host, and what is refused; needs root.
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "loop_framework.h"

namespace loopfi {
namespace {

namespace fs = std::filesystem;

class LoopImportTest : public LoopProviderTest {
  protected:
    struct Imported {
        int status = -1;
        std::string device;
    };

    // A snapshot whose device was detached again: its file, and the blob that tells of it.
    void makeAtRest(const std::string& options = "") {
        const std::string image = imageOf("disk");
        LoopTestBed::makeImage(image, 16 << 20, 6 << 20);
        Node& origin = node(bed_->attach(image, options));
        ASSERT_EQ(selectAndPrepare({&origin}, "s-1"), ZFI_OK);
        ASSERT_EQ(make({&origin}, "s-1").status, ZFI_OK);
        originDevice_ = origin.domain.objid->name;
        ASSERT_EQ(deport(origin), ZFI_OK);
        blob_ = save(origin);
        file_ = image + ".tarnfi-s-1";
        ASSERT_TRUE(exists(file_));
    }

    // The node of another process, or host, that has the blob only.
    Node& restored() {
        restored_ = std::make_unique<Node>("/dev/loop-of-another-host");
        EXPECT_EQ(restore(*restored_, blob_), ZFI_OK);
        return *restored_;
    }

    Imported import(Node& node, const std::string& file, const std::string& reference) {
        refer(node, reference);
        znfi_objid* named[] = {idOf(file)};
        znfi_objid* attached = nullptr;
        Imported imported;
        imported.status = file.empty() ? provider_->import_tree(&node.domain, nullptr, nullptr, 0, &attached)
                                       : provider_->import_tree(&node.domain, nullptr, named, 1, &attached);
        imported.device = attached == nullptr ? "" : attached->name;
        return imported;
    }

    int deport(Node& node, const std::string& reference = "") {
        refer(node, reference);
        zfi_accessnode access{nullptr, 1, 0};
        return provider_->deport_tree(&node.domain, nullptr, &access);
    }

    int check(Node& node) {
        return provider_->reaccess_altnode(&node.domain, nullptr, nullptr, nullptr, nullptr, nullptr, 0,
                                           ZFI_INTENT_READ);
    }

    // What cp makes: another file without the mark; cp -a keeps it.
    std::string copyOf(const std::string& options = "") {
        const std::string copy = bed_->directory() + "/elsewhere";
        EXPECT_TRUE(LoopTestBed::run("cp " + options + " '" + file_ + "' '" + copy + "'"));
        return copy;
    }

    void TearDown() override {
        if (restored_) {
            provider_->deinit_node(&restored_->domain);
        }
        LoopProviderTest::TearDown();
    }

    std::string originDevice_;
    std::string file_;
    std::string blob_;

  private:
    static znfi_objid* idOf(const std::string& name) {
        return znfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size() + 1), ZFI_OBJID_NAMED);
    }
    void refer(Node& node, const std::string& reference) {
        ids_[0] = node.domain.objid;
        ids_[1] = reference.empty() ? nullptr : idOf(reference);
        node.domain.objids = ids_;
        node.domain.objidCount = 2;
    }
    znfi_objid* ids_[2] = {nullptr, nullptr};
    std::unique_ptr<Node> restored_;
};

TEST_F(LoopImportTest, AttachesItsOwnFileAgain) {
    makeAtRest("--offset 1048576 --sizelimit 8388608 --sector-size 4096");
    Node& node = restored();
    EXPECT_EQ(check(node), ZFI_OK);
    const Imported imported = import(node, "", "tarnfi-1");
    ASSERT_EQ(imported.status, ZFI_OK);
    EXPECT_TRUE(LoopTestBed::run("cmp " + originDevice_ + " " + imported.device)) << "the geometry was lost";
    EXPECT_EQ(LoopTestBed::output("blockdev --getss " + imported.device), "4096");
    EXPECT_EQ(LoopTestBed::output("blockdev --getro " + imported.device), "0");
    EXPECT_EQ(import(node, "", "tarnfi-1").device, imported.device) << "a repeated call attached it twice";
    EXPECT_EQ(dispose(node), ZFI_OK);
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

TEST_F(LoopImportTest, AFileOfAnotherHostIsDetachedAndNeverDeleted) {
    makeAtRest();
    for (const char* options : {"", "-a"}) {
        const std::string copy = copyOf(options);
        Node& node = restored();
        const Imported imported = import(node, copy, "tarnfi-2");
        ASSERT_EQ(imported.status, ZFI_OK) << options;
        EXPECT_TRUE(LoopTestBed::run("cmp " + originDevice_ + " " + imported.device));
        EXPECT_EQ(dispose(node), ZFI_OK);
        EXPECT_FALSE(isAttached(imported.device));
        EXPECT_TRUE(exists(copy)) << "it deleted a file that it did not make";
        EXPECT_TRUE(exists(file_)) << "it deleted the file that the other host's blob names";
        fs::remove(copy);
        provider_->deinit_node(&node.domain);
    }
    EXPECT_EQ(dispose(node(originDevice_), "s-1"), ZFI_OK);
}

TEST_F(LoopImportTest, WhatWasAttachedIsFoundByItsReferenceAlone) {
    makeAtRest();
    const Imported imported = import(restored(), copyOf(), "tarnfi-3");
    ASSERT_EQ(imported.status, ZFI_OK);
    Node nameless("/dev/loop-of-another-host-2");
    EXPECT_EQ(deport(nameless, "tarnfi-33"), ZFI_OK);
    EXPECT_TRUE(isAttached(imported.device)) << "another reference detached it";
    EXPECT_EQ(deport(nameless, "tarnfi-3"), ZFI_OK);
    EXPECT_FALSE(isAttached(imported.device));
    EXPECT_EQ(deport(nameless, "tarnfi-3"), ZFI_OK);
    EXPECT_EQ(dispose(node(originDevice_), "s-1"), ZFI_OK);
}

TEST_F(LoopImportTest, ADeviceInUseStaysAttached) {
    makeAtRest();
    Node& node = restored();
    const Imported imported = import(node, "", "tarnfi-4");
    ASSERT_EQ(imported.status, ZFI_OK);
    const int holder = ::open(imported.device.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    ASSERT_GE(holder, 0);
    EXPECT_EQ(deport(node, "tarnfi-4"), ZFI_ERR_BUSY);
    EXPECT_EQ(deport(node), ZFI_ERR_BUSY);
    ::close(holder);
    EXPECT_TRUE(isAttached(imported.device));
    EXPECT_EQ(deport(node), ZFI_OK);
    EXPECT_FALSE(isAttached(imported.device));
    EXPECT_EQ(dispose(node), ZFI_OK);
}

TEST_F(LoopImportTest, AFileThatIsAttachedInAnotherWayIsBusy) {
    makeAtRest();
    Node& node = restored();
    const std::string other = bed_->attach(file_);
    EXPECT_EQ(import(node, "", "tarnfi-5").status, ZFI_ERR_BUSY);
    EXPECT_EQ(import(node, file_, "tarnfi-5").status, ZFI_ERR_BUSY);
    EXPECT_EQ(import(node, imageOf("disk"), "tarnfi-5").status, ZFI_ERR_BUSY) << "that is the origin";
    EXPECT_TRUE(LoopTestBed::run("losetup --detach " + other));
    EXPECT_EQ(dispose(node), ZFI_OK);
}

TEST_F(LoopImportTest, RefusesWhatIsNotTheSnapshotsFile) {
    makeAtRest();
    Node& node = restored();
    const std::string other = copyOf();
    if (::setxattr(other.c_str(), "user.tarnfi.snapshot", "disk.tarnfi-s-2", 15, 0) == 0) {
        EXPECT_EQ(import(node, other, "tarnfi-6").status, ZFI_ERR_FAILED) << "it is marked as another snapshot";
    }
    EXPECT_EQ(import(node, file_ + ".missing", "tarnfi-6").status, ZFI_ERR_ALT_PATH_MISSING);
    EXPECT_EQ(import(node, bed_->directory(), "tarnfi-6").status, ZFI_ERR_FAILED);
    EXPECT_EQ(import(node, originDevice_, "tarnfi-6").status, ZFI_ERR_FAILED);
    fs::create_symlink(file_, bed_->directory() + "/link");
    EXPECT_EQ(import(node, bed_->directory() + "/link", "tarnfi-6").status, ZFI_ERR_FAILED);
    std::ofstream(bed_->directory() + "/empty");
    EXPECT_EQ(import(node, bed_->directory() + "/empty", "tarnfi-6").status, ZFI_ERR_FAILED);
    EXPECT_EQ(dispose(node), ZFI_OK);
    EXPECT_EQ(leftovers(), std::vector<std::string>{});
}

TEST_F(LoopImportTest, TheRecordedFileMustStillLieThere) {
    makeAtRest();
    Node& node = restored();
    fs::rename(file_, file_ + ".away");
    EXPECT_EQ(check(node), ZFI_ERR_ALT_PATH_MISSING);
    EXPECT_EQ(import(node, "", "tarnfi-7").status, ZFI_ERR_ALT_PATH_MISSING);
    LoopTestBed::makeImage(file_, 16 << 20, 6 << 20);
    EXPECT_EQ(check(node), ZFI_ERR_FAILED) << "another file lies there";
    EXPECT_EQ(import(node, "", "tarnfi-7").status, ZFI_ERR_FAILED);
    fs::rename(file_ + ".away", file_);
    EXPECT_EQ(check(node), ZFI_OK);
    EXPECT_EQ(dispose(node), ZFI_OK);
    EXPECT_EQ(check(node), ZFI_ERR_ALT_PATH_MISSING) << "it is gone";
}

}  // namespace
}  // namespace loopfi
