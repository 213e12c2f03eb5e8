#include "host/transfer/document_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "host/testing/temporary_folder.h"
#include "host/transfer/strict_json.h"

namespace tarnctl {
namespace {

TEST(DocumentFile, IsForItsOwnerAndReadBack) {
    const TemporaryFolder folder;
    const std::string file = folder.at("export.json");
    ASSERT_TRUE(writeDocument(file, "{}\n"));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    const auto read = readDocument(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, "{}\n");
}

TEST(DocumentFile, IsNeverWrittenOver) {
    const TemporaryFolder folder;
    const std::string file = folder.at("export.json");
    std::ofstream(file) << "mine";
    const Status written = writeDocument(file, "{}");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.failure().code, ExitCode::kUnsupported);
    EXPECT_EQ(*readDocument(file), "mine");
    const std::string link = folder.at("link");
    std::filesystem::create_symlink(folder.at("target"), link);
    EXPECT_FALSE(writeDocument(link, "{}"));
    EXPECT_FALSE(std::filesystem::exists(folder.at("target")));
}

TEST(DocumentFile, WhatCannotBeReadIsAFailure) {
    const TemporaryFolder folder;
    EXPECT_EQ(readDocument(folder.at("missing")).failure().code, ExitCode::kNotFound);
    EXPECT_EQ(readDocument(folder.at(".")).failure().code, ExitCode::kUnsupported);
    const std::string pipe = folder.at("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(readDocument(pipe).failure().code, ExitCode::kUnsupported) << "it would wait for a writer";
    std::ofstream(folder.at("huge")) << std::string(kLargestDocument + 100, ' ');
    EXPECT_EQ(readDocument(folder.at("huge"))->size(), kLargestDocument + 1);
}

}  // namespace
}  // namespace tarnctl
