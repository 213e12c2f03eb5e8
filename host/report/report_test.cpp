#include "host/report/report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

Failure freezeFailure() {
    Failure failure{ExitCode::kBusy, "freeze", "/data", "somebody else froze it"};
    failure.messages = {"TARN-6001 freeze failed"};
    failure.traceLines = {"command failed\nwith two lines\n"};
    Failure undoing{ExitCode::kFailed, "remove the snapshot file", "/images/x", "No such file or directory"};
    undoing.traceLines = {"inner"};
    failure.undoing.push_back(undoing);
    return failure;
}

TEST(Report, tellsPeopleCauseMessagesTraceAndWhatUndoingFailedOn) {
    EXPECT_EQ(failureText(freezeFailure()),
              "tarnctl: freeze: /data: somebody else froze it\n"
              "    message: TARN-6001 freeze failed\n"
              "    trace: command failed\n"
              "        with two lines\n"
              "    undoing: remove the snapshot file: /images/x: No such file or directory\n"
              "        trace: inner\n");
}

TEST(Report, leavesOutAnEmptySubjectAndNeverAnEmptyCause) {
    EXPECT_EQ(failureText({ExitCode::kUsage, "read the arguments", "", ""}),
              "tarnctl: read the arguments: no cause given\n");
}

TEST(Report, aTextCannotPassForAnotherLine) {
    const Failure failure{ExitCode::kFailed, "mount", "/a\ntarnctl: all is well", "x\ntarnctl: all is well"};
    EXPECT_EQ(failureText(failure), "tarnctl: mount: /a\\ntarnctl: all is well: x\n    tarnctl: all is well\n");
}

TEST(Report, escapesWhatATerminalActsOn) {
    EXPECT_EQ(terminalText("\x1b[31mred\x7f\r\t"), "\\x1b[31mred\\x7f\\x0d\\t");
    EXPECT_EQ(terminalText("\xc2\x9b"
                           "31m"),
              "\\u{009b}31m");
    EXPECT_EQ(terminalText("a\xe2\x80\xae"
                           "b"),
              "a\\u{202e}b");
    EXPECT_EQ(terminalText("\xff\xfe/x"), "\\xff\\xfe/x");
    EXPECT_EQ(terminalText("/größe/# €"), "/größe/# €");
}

TEST(Report, jsonHasTheShapeThatProgramsRead) {
    EXPECT_EQ(jsonText(failureJson(freezeFailure())),
              R"({"ok":false,"exitCode":5,"operation":"freeze","subject":"/data","cause":"somebody else froze it",)"
              R"("messages":["TARN-6001 freeze failed"],"trace":["command failed\nwith two lines\n"],)"
              R"("undoing":[{"operation":"remove the snapshot file","subject":"/images/x",)"
              R"("cause":"No such file or directory","messages":[],"trace":["inner"],"undoing":[]}]})");
}

TEST(Report, bytesThatAreNoUtf8KeepJsonWholeAndAreGivenBesideIt) {
    Failure failure{ExitCode::kNotFound, "claim", "/d\xff", "bad\xfe"};
    failure.messages = {"\xc3"};
    const std::string text = jsonText(failureJson(failure));
    const Json parsed = Json::parse(text);
    EXPECT_EQ(parsed["subject"], "/d\xef\xbf\xbd");
    EXPECT_EQ(parsed["subjectBytes"], "2f64ff");
    EXPECT_EQ(parsed["cause"], "bad\xef\xbf\xbd");
    EXPECT_EQ(parsed["messages"][0], "\xef\xbf\xbd");
    EXPECT_FALSE(failureJson(freezeFailure()).contains("subjectBytes"));
}

TEST(Report, bytesComeBackAsTheyWentIn) {
    for (const std::string& bytes :
         {std::string("/plain"), std::string("/d\xff\xc3"), std::string("a\0\xfe", 3), std::string()}) {
        Json object = Json::object();
        putBytes(object, "path", bytes);
        EXPECT_EQ(getBytes(Json::parse(jsonText(object)), "path"), bytes) << testing::PrintToString(bytes);
    }
    for (const char* text : {"{}", "[]", "7", R"({"path":7})", R"({"path":"x","pathBytes":"7"})",
                             R"({"pathBytes":"zz"})", R"({"pathBytes":"-1"})", R"({"pathBytes":[]})"}) {
        EXPECT_EQ(getBytes(Json::parse(text), "path"), std::nullopt) << text;
    }
}

TEST(Report, jsonIsOneLineThatNoTerminalActsOn) {
    Json value = Json::object();
    value["x"] = std::string("\x1b\x7f\n\xc2\x9b\xe2\x80\xae\0", 10);
    const std::string text = jsonText(value);
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) << text;
    EXPECT_EQ(Json::parse(text), value);
}

TEST(Report, systemFailuresCarryTheSystemsText) {
    const Failure failure = systemFailure(ExitCode::kFailed, "open", "/x", "cannot open it", ENOENT);
    EXPECT_EQ(failure.cause, "cannot open it: No such file or directory");
    EXPECT_EQ(systemErrorText(123456), "error 123456");
}

}  // namespace
}  // namespace tarnctl
