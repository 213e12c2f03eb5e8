// Loading, starting, ending and unloading the plug-in again and again leaves nothing behind.
#include <dirent.h>

#include <fstream>
#include <set>
#include <string>

#include "bed/bed.h"
#include "bed/row.h"

namespace {

using namespace bed;

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define IS_SANITIZED 1
#endif
#endif
#ifdef IS_SANITIZED
constexpr int kRounds = 50;  // what leaks is found when the program ends
#else
constexpr int kRounds = 1000;
#endif
constexpr int kWarmUp = 10;

int mappings(const std::string& of = "") {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += of.empty() || line.find(of) != std::string::npos;
    }
    return count;
}

int descriptors() {
    DIR* folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

// A provider's life with something of everything in it: nodes, messages, lists, a session, commands.
void oneRound() {
    Bed bed;
    Node& node = bed.initialised("/data", "/dev/sdb1 /data xfs rw 0 0\n");
    bed.call().quiesce(node->quiesce, nullptr, 0, nullptr);
    bed.call().unquiesce(node->quiesce, nullptr, 0);
    bed.stateOf(node);
    bed.subObjectsOf(node);
    bed.call().init_altnode(nullptr, nullptr, nullptr);
    renderMessages(bed.call());
    zfi_splitnode split{};
    split.domain = node;
    bed.call().select(&split, bed.text("session"), nullptr, 0);
    bed.call().make(&split, bed.text("session"), nullptr, 0, &bed.outObjects, &bed.outInt);
    zfi_provider_list* list = nullptr;
    bed.call().get_provider_info(&list);
    znfi_free_providerlist(list);
}

TEST(Load, a_thousand_rounds_leave_no_mapping_descriptor_or_buffer) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    for (int i = 0; i < kWarmUp; ++i) {
        oneRound();
    }
    const int mappingsBefore = mappings();
    const int descriptorsBefore = descriptors();
    for (int i = 0; i < kRounds; ++i) {
        oneRound();
    }
#ifndef IS_SANITIZED
    EXPECT_EQ(mappings(), mappingsBefore);
    EXPECT_EQ(mappings("libtarnfi"), 0) << "the plug-in is still mapped after dlclose";
#else
    (void)mappingsBefore;
#endif
    EXPECT_EQ(descriptors(), descriptorsBefore);
    EXPECT_EQ(znfi_outstanding_bufs(), 0);
}

TEST(Load, fini_twice_and_a_call_after_fini_work_on_a_fresh_object) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    shapeHost({});
    recordTrace();
    Provider provider(TARNFI_LIBRARY, "tarnfi");
    provider.call().fini();
    provider.call().fini();
    Node node("/data", {});
    int answer = -1;
    node->fiTypeResult = &answer;
    char type[] = "xfs_freeze";
    EXPECT_EQ(provider.call().supports_fitype(node, type), 1);
    zfi_version version{};
    EXPECT_EQ(provider.call().init(nullptr, &version, nullptr), ZFI_OK);
    EXPECT_EQ(version.major, 7);
    provider.call().fini();
}

TEST(Load, init_without_version_record_answers_7_and_traces_nothing) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.begin({});
    EXPECT_EQ(bed.call().init(nullptr, nullptr, "fim"), ZFI_ERR_NO_VERSION_RECORD);
    EXPECT_EQ(takeTrace().render(), "");
}

TEST(Load, init_writes_the_version_and_traces_the_methods_scope_only) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.begin({});
    zfi_version version{1, 2, 3, 4};
    EXPECT_EQ(bed.call().init(nullptr, &version, "fim"), ZFI_OK);
    EXPECT_EQ(takeTrace().render(), method("init").render());
    EXPECT_EQ(version.major, 7);
    EXPECT_EQ(version.minor + version.update + version.build, 0);
}

TEST(Load, trace_lines_carry_the_plug_ins_name) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    std::set<std::string> names;
    znfi_trace_sink([](void* kept, int, const char* plugin,
                       const char*) { static_cast<std::set<std::string>*>(kept)->emplace(plugin); },
                    &names);
    bed.call().supports_fitype(nullptr, nullptr);
    znfi_trace_sink(nullptr, nullptr);
    EXPECT_EQ(names, (std::set<std::string>{"tarnfi"}));
}

TEST(Load, a_second_init_replaces_the_private_data_factory) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    Node& first = bed.restored("/data", {.device = "/dev/sdb1"});
    zfi_version version{};
    ASSERT_EQ(bed.call().init(&bed.receiver().init, &version, "fim"), ZFI_OK);
    EXPECT_EQ(bed.stateOf(bed.node("/data")), State{}.text()) << "the new factory knows no node";
    EXPECT_EQ(bed.stateOf(first), State{.device = "/dev/sdb1"}.text()) << "an attached node keeps its data";
}

TEST(Load, private_data_made_before_init_cannot_be_had_and_harms_nobody) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    shapeHost({.mountTable = "/dev/sdb1 /data xfs rw 0 0\n"});
    recordTrace();
    Provider provider(TARNFI_LIBRARY, "tarnfi");
    Node node("/data", {});
    EXPECT_NE(provider.call().init_node(node, nullptr, 0, nullptr), ZFI_OK);
    EXPECT_EQ(provider.call().cache_disable(node), ZFI_ERR_INVALID_ARGUMENT);
    provider.call().deinit_node(node);
    provider.call().fini();
    EXPECT_EQ(znfi_outstanding_bufs(), 0);
}

}  // namespace
