#include <gtest/gtest.h>

#include "cfisession.h"

namespace {

struct SplitNode {
    SplitNode(const char* name, const char* splitType, int budget) {
        domain.objid = znfi_get_objid(name, static_cast<uint32_t>(std::string(name).size() + 1), ZFI_OBJID_NAMED);
        node.domain = &domain;
        node.splitType = splitType;
        node.freezeBudgetMs = budget;
    }
    SplitNode(const SplitNode&) = delete;
    SplitNode& operator=(const SplitNode&) = delete;
    zfi_domain domain{};
    zfi_splitnode node{};
};

TEST(SessionManager, OneIdIsOneSession) {
    CFiSessionManager sessions;
    const auto session = sessions.getSession("s1");
    ASSERT_TRUE(session);
    EXPECT_EQ(session->getId(), "s1");
    EXPECT_EQ(sessions.getSession("s1"), session);
    EXPECT_FALSE(sessions.getSession("s2") == session);
    EXPECT_TRUE(sessions.getSession(""));
}

TEST(SessionManager, ANullIdIsNullAndMakesNothing) {
    CFiSessionManager sessions;
    EXPECT_FALSE(sessions.getSession(nullptr));
    EXPECT_EQ(sessions.getSession("")->getCount(), 2);
}

TEST(SessionManager, ASessionStaysWhenNobodyElseRefersToIt) {
    CFiSessionManager sessions;
    sessions.getSession("s1")->node("/data").snapshotName = "kept";
    EXPECT_EQ(sessions.getSession("s1")->node("/data").snapshotName, "kept");
}

TEST(Session, RecordsEachNodeUnderItsName) {
    CFiSession session("s1");
    SplitNode data("/data", "snapshot", 500);
    SplitNode home("/home", nullptr, 0);
    zfi_splitnode* nodes[] = {&data.node, &home.node};
    session.addNodes(nodes, 2);
    ASSERT_EQ(session.nodes().size(), 2U);
    const CFiSplitNode& entry = session.nodes().at("/data");
    EXPECT_EQ(entry.name, "/data");
    EXPECT_EQ(entry.splitType, "snapshot");
    EXPECT_EQ(entry.domain, &data.domain);
    EXPECT_EQ(entry.freezeBudgetMs, 500);
    EXPECT_EQ(entry.snapshotName, "");
    EXPECT_EQ(entry.attempts, 0);
    EXPECT_EQ(session.nodes().at("/home").splitType, "");
}

TEST(Session, TheFirstNodeOfANameWins) {
    CFiSession session("s1");
    SplitNode first("/data", "first", 1);
    SplitNode second("/data", "second", 2);
    zfi_splitnode* nodes[] = {&first.node, &second.node};
    session.addNodes(nodes, 2);
    session.addNodes(&nodes[1], 1);
    ASSERT_EQ(session.nodes().size(), 1U);
    EXPECT_EQ(session.node("/data").splitType, "first");
}

TEST(Session, WhatIsMissingIsPassedOver) {
    CFiSession session("s1");
    SplitNode data("/data", nullptr, 0);
    zfi_splitnode withoutDomain{};
    zfi_domain withoutId{};
    zfi_splitnode withoutName{};
    withoutName.domain = &withoutId;
    znfi_objid nameless{};
    zfi_domain withNamelessId{};
    withNamelessId.objid = &nameless;
    zfi_splitnode withNamelessNode{};
    withNamelessNode.domain = &withNamelessId;
    zfi_splitnode* nodes[] = {nullptr, &withoutDomain, &withoutName, &withNamelessNode, &data.node};
    session.addNodes(nodes, 5);
    session.addNodes(nullptr, 3);
    session.addNodes(nodes, -1);
    EXPECT_EQ(session.nodes().size(), 1U);
}

TEST(Session, AnEntryThatIsAskedForIsMadeWithItsNameOnly) {
    CFiSession session("s1");
    EXPECT_EQ(session.node("/new").name, "/new");
    EXPECT_EQ(session.node("/new").domain, nullptr);
    EXPECT_EQ(session.nodes().size(), 1U);
}

}  // namespace
