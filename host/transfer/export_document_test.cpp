#include "host/transfer/export_document.h"

#include <gtest/gtest.h>

#include <functional>

#include "host/report/report.h"

namespace tarnctl {
namespace {

ExportDocument sample() {
    ExportDocument document;
    document.id = "1k9x4m2ph-7q3d";
    document.host = "alpha";
    document.createdNs = 1'700'000'000'000'000'000;
    document.windowNs = 31'000'000;
    document.origin = {"/mnt/data", "/dev/loop3", "xfs"};
    document.restrictions = {true, false, true};
    document.superblock = {"xfs", "0b5c7d0e-1111-4222-8333-944445555666"};
    document.fileSystem = {"tarnfi", "<DEV_NAME>/dev/loop3</DEV_NAME>\n"};
    document.volume = {"loopfi", "loop-snapshot 1\n"};
    return document;
}

// The reason for which the sample is refused once it was edited; empty when it is taken.
std::string refusalAfter(const std::function<void(Json&)>& edit) {
    Json json = Json::parse(textOf(sample()));
    edit(json);
    const auto read = exportDocumentOf(jsonText(json), "f");
    EXPECT_TRUE(read || read.failure().code == ExitCode::kUnsupported);
    return read ? "" : read.failure().cause;
}

TEST(ExportDocument, ComesBackAsItWas) {
    const ExportDocument document = sample();
    const auto read = exportDocumentOf(textOf(document), "f");
    ASSERT_TRUE(read) << read.failure().cause;
    EXPECT_EQ(textOf(*read), textOf(document));
    EXPECT_EQ(read->origin.mountPoint, "/mnt/data");
    EXPECT_EQ(read->restrictions.noDev, false);
    EXPECT_EQ(read->restrictions.noExec, true);
    EXPECT_EQ(read->windowNs, document.windowNs);
    EXPECT_EQ(read->volume.state, document.volume.state);
}

TEST(ExportDocument, NamesThatAreNoUtf8ComeBackByteForByte) {
    ExportDocument document = sample();
    document.origin.mountPoint = "/mnt/\xff\xfe#";
    document.fileSystem.state = "<DEV_NAME>/dev/\xff</DEV_NAME>";
    document.windowNs.reset();
    document.superblock.uuid.clear();
    const auto read = exportDocumentOf(textOf(document), "f");
    ASSERT_TRUE(read) << read.failure().cause;
    EXPECT_EQ(read->origin.mountPoint, document.origin.mountPoint);
    EXPECT_EQ(read->fileSystem.state, document.fileSystem.state);
    EXPECT_FALSE(read->windowNs);
}

TEST(ExportDocument, BothFormsOfANameMustSayTheSame) {
    EXPECT_NE(refusalAfter([](Json& json) { json["mountPointBytes"] = "2f6574632fff"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["mountPointBytes"] = "2f6d6e742f64617461"; }), "") << "it is UTF-8";
    EXPECT_NE(refusalAfter([](Json& json) { json["mountPointBytes"] = 1; }), "");
}

TEST(ExportDocument, OnlyAPictureOfOneInstantIsTaken) {
    EXPECT_EQ(refusalAfter([](Json& json) { json["consistency"] = "crash"; }), "");
    for (const char* name : {"broken", "undecided"}) {
        const std::string cause = refusalAfter([&](Json& json) { json["consistency"] = name; });
        EXPECT_NE(cause.find(std::string("consistency is ") + name), std::string::npos) << cause;
    }
    EXPECT_NE(refusalAfter([](Json& json) { json["consistency"] = "perfect"; }).find("unknown"), std::string::npos);
}

TEST(ExportDocument, OtherFormatsAndVersionsAreRefused) {
    EXPECT_NE(refusalAfter([](Json& json) { json["version"] = 2; }).find("version is 2"), std::string::npos);
    for (const Json& version : {Json(0), Json(-1), Json("1"), Json(1.0), Json(nullptr), Json(18446744073709551615u)}) {
        EXPECT_NE(refusalAfter([&](Json& json) { json["version"] = version; }), "") << version;
    }
    EXPECT_NE(refusalAfter([](Json& json) { json["format"] = "other"; }), "");
    EXPECT_FALSE(exportDocumentOf("[]", "f"));
    EXPECT_FALSE(exportDocumentOf("{}", "f"));
}

TEST(ExportDocument, EveryMemberIsNeededAndNoOtherIsTaken) {
    const Json whole = Json::parse(textOf(sample()));
    for (const auto& [key, value] : whole.items()) {
        EXPECT_NE(refusalAfter([&key = key](Json& json) { json.erase(key); }).find(key), std::string::npos) << key;
        EXPECT_NE(refusalAfter([&key = key](Json& json) { json[key] = Json::array(); }), "") << key;
        if (!value.is_object()) {
            continue;
        }
        for (const auto& [inner, ignored] : value.items()) {
            EXPECT_NE(refusalAfter([&, &key = key, &inner = inner](Json& json) { json[key].erase(inner); }), "")
                << key << "." << inner;
        }
        EXPECT_NE(refusalAfter([&key = key](Json& json) { json[key]["more"] = 1; }), "") << key;
    }
    EXPECT_NE(refusalAfter([](Json& json) { json["more"] = 1; }).find("more"), std::string::npos);
    EXPECT_NE(refusalAfter([](Json& json) { json["versionBytes"] = "00"; }), "");
}

TEST(ExportDocument, NamesThatCommandsCannotTakeAreRefused) {
    for (const char* name : {"", "relative", "/a b", "/a\nb", "/a\"b", "-x", "/a\tb"}) {
        EXPECT_NE(refusalAfter([&](Json& json) { json["mountPoint"] = name; }), "") << name;
    }
    EXPECT_NE(refusalAfter([](Json& json) { json["mountPoint"] = "/" + std::string(300, 'x'); }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["mountPoint"] = std::string("/a\0b", 4); }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["device"] = "/dev/loop 3"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["id"] = "../../etc/x"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["type"] = "xfs,nouuid"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["superblock"]["uuid"] = "x y"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["fileSystem"]["provider"] = "../tarnfi"; }), "");
}

TEST(ExportDocument, OneProviderCannotBeBothLayers) {
    EXPECT_NE(refusalAfter([](Json& json) { json["volume"]["provider"] = "tarnfi"; }).find("tarnfi"),
              std::string::npos);
}

TEST(ExportDocument, StatesAreTextOfAReasonableLength) {
    EXPECT_NE(refusalAfter([](Json& json) { json["volume"]["encoding"] = 2; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["volume"]["state"] = ""; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["volume"]["state"] = std::string(65537, 'x'); }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["volume"]["state"] = std::string("a\0b", 3); }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["createdNs"] = -1; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["windowNs"] = "1"; }), "");
    EXPECT_NE(refusalAfter([](Json& json) { json["restrictions"]["nosuid"] = 1; }), "");
}

}  // namespace
}  // namespace tarnctl
