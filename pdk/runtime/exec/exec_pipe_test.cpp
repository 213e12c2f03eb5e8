#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "cfiexecpipe.h"

namespace {

using Lines = std::vector<std::string>;

int exec(CFiExecPipeBase& runner, const std::string& command, Lines& output, unsigned long timeout = 60) {
    return runner.Exec(command, output, "", timeout, "", "", "");
}

// Catches every trace line, whatever its level, while it lives.
class TraceCatcher {
  public:
    TraceCatcher() : before_(znfi_trace_level()) {
        znfi_trace_sink([](void* context, int level, const char*,
                           const char* text) { static_cast<TraceCatcher*>(context)->caught.emplace_back(level, text); },
                        this);
        znfi_trace_set_level(7);
    }
    TraceCatcher(const TraceCatcher&) = delete;
    TraceCatcher& operator=(const TraceCatcher&) = delete;
    ~TraceCatcher() {
        znfi_trace_set_level(before_);
        znfi_trace_sink(nullptr, nullptr);
    }

    std::vector<std::pair<int, std::string>> caught;

  private:
    int before_;
};

TEST(ExecPipe, SuccessAppendsTheLinesAndLeavesNoRecord) {
    CFiExecPipePosix runner(1);
    Lines output{"kept"};
    EXPECT_EQ(exec(runner, "/bin/echo \"a b\"", output), ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(output, (Lines{"kept", "a b"}));
    const auto& [message, wide, code, status] = runner.getLastError();
    EXPECT_TRUE(message.empty());
    EXPECT_TRUE(wide.empty());
    EXPECT_EQ(code, 0);
    EXPECT_EQ(status, 0);
}

TEST(ExecPipe, FailureLeavesCommandCodeAndStatus) {
    CFiExecPipePosix runner(1);
    Lines output;
    EXPECT_EQ(exec(runner, "/bin/sh -c \"exit 42\"", output), ZFI_EXEC_PIPE_CMD_FAILED);
    const auto& [message, wide, code, status] = runner.getLastError();
    static_assert(std::is_same_v<decltype(code), const std::int32_t>);
    static_assert(std::is_same_v<decltype(status), const std::int64_t>);
    EXPECT_EQ(message, "/bin/sh -c \"exit 42\"");
    EXPECT_EQ(wide, L"/bin/sh -c \"exit 42\"");
    EXPECT_EQ(code, 11);
    EXPECT_EQ(status, 42);
}

TEST(ExecPipe, EveryRunStartsWithAnEmptyRecord) {
    CFiExecPipePosix runner(1);
    Lines output;
    EXPECT_EQ(exec(runner, "/bin/sh -c \"exit 42\"", output), ZFI_EXEC_PIPE_CMD_FAILED);
    EXPECT_EQ(exec(runner, "/nonexistent", output), ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST);
    EXPECT_EQ(runner.getLastError().message, "/nonexistent");
    EXPECT_EQ(runner.getLastError().code, 7);
    EXPECT_EQ(runner.getLastError().exitStatus, 0);
    EXPECT_EQ(exec(runner, "/bin/true", output), ZFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(runner.getLastError().code, 0);
    EXPECT_EQ(runner.getLastError().message, "");
}

TEST(ExecPipe, TimeOutIsFive) {
    CFiExecPipePosix runner(1);
    Lines output;
    EXPECT_EQ(exec(runner, "/bin/sleep 1000", output, 1), ZFI_EXEC_PIPE_READ_TIMEOUT);
    EXPECT_EQ(runner.getLastError().code, 5);
    EXPECT_EQ(runner.getLastError().exitStatus, 0);
}

TEST(ExecPipe, WideTextIsTheCommandReadAsUtf8) {
    CFiExecPipePosix runner(1);
    Lines output;
    exec(runner, "/nonexistent/\xc3\xa4\xf0\x9f\x98\x80\xff!", output);
    EXPECT_EQ(runner.getLastError().wideMessage, L"/nonexistent/\u00e4\U0001F600\uFFFD!");
    exec(runner, "", output);
    EXPECT_EQ(runner.getLastError().code, 6);
    EXPECT_EQ(runner.getLastError().wideMessage, L"");
}

TEST(ExecPipe, TextsWithoutMeaningAreRefusedInsteadOfIgnored) {
    CFiExecPipePosix runner(1);
    for (int position = 0; position < 4; ++position) {
        const auto text = [&](int at) { return std::string(at == position ? "somebody" : ""); };
        Lines output;
        EXPECT_EQ(runner.Exec("/bin/echo ran", output, text(0), 60, text(1), text(2), text(3)),
                  ZFI_EXEC_PIPE_ERROR_UNEXPECTED);
        EXPECT_EQ(runner.getLastError().code, 8);
        EXPECT_TRUE(output.empty());
    }
}

TEST(ExecPipe, OwnTraceLinesAreOfLevelSeven) {
    TraceCatcher catcher;
    CFiExecPipePosix runner(1);
    runner.traceLog = makeCounted<CFiTraceLog>();
    Lines output;
    exec(runner, "/bin/sh -c \"exit 42\"", output);
    ASSERT_FALSE(catcher.caught.empty());
    for (const auto& [level, text] : catcher.caught) {
        EXPECT_EQ(level, 7) << text;
    }
    EXPECT_NE(catcher.caught.back().second.find("ZFI_EXEC_PIPE_CMD_FAILED, exit status 42"), std::string::npos);
}

TEST(ExecPipe, ExceptionCarriesACopyOfTheRecord) {
    const ZfiExecPipeErrorRecord record{"/bin/false", L"/bin/false", 11, 1};
    try {
        throw EFiExecPipe(record);
    } catch (const EFiExecPipe& error) {
        EXPECT_EQ(error.message, record.message);
        EXPECT_EQ(error.wideMessage, record.wideMessage);
        EXPECT_EQ(error.code, record.code);
        EXPECT_EQ(error.exitStatus, record.exitStatus);
        EXPECT_STREQ(error.codeName(), "ZFI_EXEC_PIPE_CMD_FAILED");
    }
}

TEST(ExecPipeCodes, EveryCodeHasItsNameAndNoOtherNumberHasOne) {
    using znfi_pdk_4_4::execPipeErrorName;
    // Written out: the names are what messages and scripts know.
    constexpr const char* kNames[] = {"SUCCESS",
                                      "CREATE_PIPE_FAILED",
                                      "DUPLICATE_HANDLE_FAILED",
                                      "CLOSE_HANDLE_FAILED",
                                      "CREATE_CHILD_PROCESS_FAILED",
                                      "READ_TIMEOUT",
                                      "PARSE_COMMAND_FAILED",
                                      "EXE_DOES_NOT_EXIST",
                                      "ERROR_UNEXPECTED",
                                      "IMPERSONATION_TIMEOUT",
                                      "CANNOT_IMPERSONATE",
                                      "CMD_FAILED",
                                      "CMD_KILLED",
                                      "CMD_ERROR_UNEXPECTED"};
    static_assert(std::size(kNames) == std::size(znfi_pdk_4_4::ZFI_EXEC_PIPE_ERROR_STRINGS));
    for (std::size_t code = 0; code < std::size(kNames); ++code) {
        EXPECT_EQ(execPipeErrorName(static_cast<int>(code)), std::string("ZFI_EXEC_PIPE_") + kNames[code]);
    }
    for (const int code : {-1, 14, 1000, -2147483647 - 1, 2147483647}) {
        EXPECT_STREQ(execPipeErrorName(code), "unknown code") << code;
    }
}

}  // namespace
