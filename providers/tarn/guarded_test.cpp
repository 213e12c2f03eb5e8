#include "guarded.h"

#include <gtest/gtest.h>

#include <new>

#include "cfierrormanager.h"

namespace {

class Guarded : public testing::Test {
  protected:
    Guarded() : errors_(CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(false)) { errors_->clear(); }
    ~Guarded() override { errors_->clear(); }

    // The one message, as "severity id(argument;argument)".
    std::string message() const {
        const auto messages = errors_->newestFirst();
        if (messages.size() != 1) {
            return std::to_string(messages.size()) + " messages";
        }
        std::string text = std::to_string(messages[0]->getSeverity()) + ' ' + messages[0]->getMessageId() + '(';
        for (const icu::Formattable& argument : messages[0]->getArguments()) {
            std::string value;
            if (argument.getType() == icu::Formattable::kString) {
                argument.getString().toUTF8String(value);
            } else {
                value = '#' + std::to_string(argument.getLong());
            }
            text += value + ';';
        }
        return text + ')';
    }
    int messageLine() const { return errors_->newestFirst().at(0)->getLineNumber(); }

    CFiSmartPtr<CFiErrorManager> errors_;
};

TEST_F(Guarded, HandsTheStatusOn) {
    EXPECT_EQ(guarded(6, [] { return 1084; }), 1084);
    EXPECT_EQ(message(), "0 messages");
}

TEST_F(Guarded, ACommandThatFailed) {
    ZfiExecPipeErrorRecord record;
    record.message = "/bin/mount  \"/dev/a\" \"/a\"";
    record.code = ZFI_EXEC_PIPE_CMD_FAILED;
    EXPECT_EQ(guarded(
                  6, [&]() -> int { throw EFiExecPipe(record); }, 77),
              6);
    EXPECT_EQ(message(),
              "3 MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION(ZFI_EXEC_PIPE_CMD_FAILED;/bin/mount  \"/dev/a\" \"/a\";"
              "providers/tarn/tarn_plugin;#77;)");
    EXPECT_EQ(errors_->newestFirst()[0]->getFileName(), "providers/tarn/tarn_plugin");
    EXPECT_EQ(messageLine(), 77);
}

TEST_F(Guarded, AnErrorOfTheFramework) {
    EXPECT_EQ(guarded(0, []() -> int { throw CFiError(3, "text", "file", 12, "function"); }), 0);
    EXPECT_EQ(message(), "3 MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION(text;function;file;#12;)");
}

TEST_F(Guarded, ADiskId) {
    EXPECT_EQ(guarded(6, []() -> int { throw CFiUdidException("id", 4); }), 6);
    EXPECT_EQ(message(), "3 MSG_ERROR_UDID_PARSING_EXCEPTION(id;#4;)");
}

TEST_F(Guarded, ARunTimeError) {
    EXPECT_EQ(guarded(
                  6, []() -> int { throw std::range_error("what"); }, 5),
              6);
    EXPECT_EQ(message(),
              "3 MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION(std::runtime_error;what;providers/tarn/tarn_plugin;#5;)");
}

TEST_F(Guarded, AnInteger) {
    EXPECT_EQ(guarded(
                  6, []() -> int { throw 42; }, 5),
              6);
    EXPECT_EQ(message(), "3 MSG_ERROR_UNHANDLED_INT_EXCEPTION(#42;providers/tarn/tarn_plugin;#5;)");
}

TEST_F(Guarded, AnythingElseLeavesTheMethod) {
    EXPECT_THROW(guarded(6, []() -> int { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_THROW(guarded(6, []() -> int { throw std::out_of_range("x"); }), std::out_of_range);
    EXPECT_EQ(message(), "0 messages");
}

TEST_F(Guarded, TheFailureStatusIsReadAfterTheBody) {
    int failure = 6;
    EXPECT_EQ(guarded(failure,
                      [&]() -> int {
                          failure = 1070;
                          throw 1;
                      }),
              1070);
}

TEST_F(Guarded, TheLineIsThatOfTheCall) {
    const int line = __LINE__ + 1;
    guarded(6, []() -> int {
        // more lines
        throw 1;
    });
    EXPECT_EQ(messageLine(), line);
}

TEST_F(Guarded, AFailedInitialisation) {
    reportInitializationFailed(9);
    EXPECT_EQ(message(), "2 MSG_ERROR_INITIALIZATION_FAILED()");
    EXPECT_EQ(messageLine(), 9);
}

}  // namespace
