#include "tarn_priv_data.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "trace_capture.h"

namespace {

using Data = CFiSmartPtr<CTARNPrivData>;

// A blob and its buffer.
class Blob {
  public:
    Blob() = default;
    explicit Blob(const std::string& text) {
        record.length = text.size() + 1;
        record.data = static_cast<char*>(znfi_alloc_buf(text.size() + 1));
        text.copy(record.data, text.size());
        record.encoding = ZFI_BLOB_TEXT;
    }
    Blob(const Blob&) = delete;
    Blob& operator=(const Blob&) = delete;
    ~Blob() { znfi_free_buf(record.data, record.length); }

    zfi_blob record = {};
};

Data newData() {
    return makeCounted<CTARNPrivData>(nullptr, false);
}

std::string fieldsOf(const CTARNPrivData& data) {
    return data.devName + '|' + data.fsType + '|' + data.fsVersion + '|' + data.mntOpts + '|' + data.altName;
}

TEST(NodeState, IsWrittenByteForByte) {
    const Data data = newData();
    data->setDevName("/dev/sdb1");
    data->setFsType("ext3");
    data->setMntOpts("rw");
    data->setAltName("/mnt/x_alt");
    Blob blob;
    EXPECT_EQ(data->getNodeState(&blob.record), 0);
    const std::string expected =
        "<DEV_NAME>/dev/sdb1</DEV_NAME>\n"
        "<FS_TYPE>ext3</FS_TYPE>\n"
        "<FS_VERSION></FS_VERSION><MNT_OPTS>rw</MNT_OPTS>\n"
        "<ALT_NAME>/mnt/x_alt</ALT_NAME>\n";
    EXPECT_STREQ(blob.record.data, expected.c_str());
    EXPECT_EQ(blob.record.length, expected.size() + 1);
    EXPECT_EQ(blob.record.encoding, 1);
}

TEST(NodeState, IsTraced) {
    const Data data = newData();
    data->mntOpts = "rw";
    const TraceCapture trace;
    Blob blob;
    data->getNodeState(&blob.record);
    const std::string text = blob.record.data;
    EXPECT_EQ(trace.lines(),
              (std::vector<std::string>{"3 getNodeState: [" + text + "] [" + std::to_string(text.size()) + "]:[" +
                                        text + "] [" + std::to_string(text.size() + 1) + "], mnt_opts=[rw]"}));
}

TEST(NodeState, ComesBack) {
    const Data from = newData();
    from->devName = "filer:/export/a b";
    from->fsType = "nfs";
    from->fsVersion = "3";
    from->altName = "/mnt/<odd>";
    Blob blob;
    from->getNodeState(&blob.record);
    const Data to = newData();
    to->mntOpts = "old";
    EXPECT_EQ(to->setNodeState(&blob.record), 0);
    EXPECT_EQ(fieldsOf(*to), "filer:/export/a b|nfs|3||/mnt/<odd>");
}

TEST(NodeState, TagsMayComeInAnyOrder) {
    const Data data = newData();
    Blob blob(
        "<ALT_NAME>a</ALT_NAME><MNT_OPTS>o</MNT_OPTS> <FS_VERSION>v</FS_VERSION><FS_TYPE>t</FS_TYPE>\n\n"
        "<DEV_NAME>d</DEV_NAME>");
    EXPECT_EQ(data->setNodeState(&blob.record), 0);
    EXPECT_EQ(fieldsOf(*data), "d|t|v|o|a");
}

TEST(NodeState, AValueEndsAtTheFirstClosingTag) {
    const Data data = newData();
    Blob blob(
        "<DEV_NAME>a</DEV_NAME>b</DEV_NAME><FS_TYPE></FS_TYPE><FS_VERSION></FS_VERSION><MNT_OPTS></MNT_OPTS>"
        "<ALT_NAME></ALT_NAME>");
    data->setNodeState(&blob.record);
    EXPECT_EQ(data->devName, "a");
}

TEST(NodeState, AClosingTagBeforeItsOpeningReachesToTheEnd) {
    const Data data = newData();
    Blob blob(
        "</ALT_NAME><DEV_NAME>d</DEV_NAME><FS_TYPE></FS_TYPE><FS_VERSION></FS_VERSION><MNT_OPTS></MNT_OPTS>"
        "<ALT_NAME>rest");
    data->setNodeState(&blob.record);
    EXPECT_EQ(data->altName, "rest");
}

TEST(NodeState, WithoutOpeningTagAValueStartsAtTheTagsLengthLessOne) {
    const Data data = newData();
    Blob blob(
        "0123456789</DEV_NAME><FS_TYPE></FS_TYPE><FS_VERSION></FS_VERSION><MNT_OPTS></MNT_OPTS><ALT_NAME>"
        "</ALT_NAME>");
    data->setNodeState(&blob.record);
    EXPECT_EQ(data->devName, "9");
}

TEST(NodeState, ATextThatEndsBeforeAValueIsARangeError) {
    const Data data = newData();
    data->fsType = "kept";
    Blob blob("<DEV_NAME>d</DEV_NAME>");
    blob.record.data[5] = '\0';
    EXPECT_THROW(data->setNodeState(&blob.record), std::out_of_range);
    EXPECT_EQ(data->fsType, "kept");
}

TEST(NodeState, FieldsBeforeARangeErrorKeepTheirNewValues) {
    const Data data = newData();
    data->devName = "old";
    Blob blob("0123456789");
    EXPECT_THROW(data->setNodeState(&blob.record), std::out_of_range);
    EXPECT_EQ(data->devName, "9");
}

TEST(NodeState, AnotherEncodingChangesNothing) {
    const Data data = newData();
    data->devName = "old";
    Blob blob("<DEV_NAME>d</DEV_NAME>");
    blob.record.encoding = 2;
    const TraceCapture trace;
    EXPECT_EQ(data->setNodeState(&blob.record), 0);
    EXPECT_EQ(data->devName, "old");
    EXPECT_EQ(trace.lines(), std::vector<std::string>{"2 setNodeState() Blob uses non-string encoding."});
}

TEST(NodeState, AnEmptyBlobChangesNothing) {
    const Data data = newData();
    data->devName = "old";
    const TraceCapture trace;
    zfi_blob empty = {};
    EXPECT_EQ(data->setNodeState(&empty), 0);
    Blob noLength("<DEV_NAME>d</DEV_NAME>");
    zfi_blob alias = noLength.record;
    alias.length = 0;
    alias.encoding = 2;
    EXPECT_EQ(data->setNodeState(&alias), 0);
    EXPECT_EQ(data->devName, "old");
    EXPECT_TRUE(trace.lines().empty());
}

TEST(NodeState, ANullBlobIsAnInvalidArgument) {
    EXPECT_EQ(newData()->getNodeState(nullptr), 3);
    EXPECT_EQ(newData()->setNodeState(nullptr), 3);
}

TEST(Setters, ANullTextKeepsTheOldValue) {
    const Data data = newData();
    data->setDevName("a");
    data->setDevName(nullptr);
    EXPECT_EQ(data->devName, "a");
    data->setDevName("");
    EXPECT_EQ(data->devName, "");
}

TEST(Setters, OpenAScope) {
    const Data data = newData();
    const TraceCapture trace;
    data->setFsVersion("4");
    ASSERT_EQ(trace.lines().size(), 2u);
    EXPECT_TRUE(trace.lines()[0].starts_with("6 Entering Function setFsVersion ["));
    EXPECT_TRUE(trace.lines()[0].ends_with(", tarn_plugin]"));
}

}  // namespace
