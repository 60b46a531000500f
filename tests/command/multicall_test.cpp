#include <functional>

#include <gtest/gtest.h>

#include <ombrel/ctx.h>
#include <ombrel/multicall.h>

#include "support/error_output.h"
#include "support/heap_balance.h"
#include "support/stalling_text.h"
#include "support/threads.h"
#include "support/waiting_call.h"

namespace ombrel_test {
namespace {

int remember(int argc, char** argv) {
    return argv[argc] == nullptr ? 40 + argc : 1;
}

constexpr ombrel_multicall_command_t command = {"remember", remember, "[WORD...]", "Remembers words.",
                                                nullptr};

class Multicall : public balanced_test {
protected:
    Multicall() { EXPECT_EQ(0, ombrel_register_multicall_command(&command)); }
    ~Multicall() override { EXPECT_EQ(0, ombrel_unregister_multicall_command(&command)); }
};

TEST_F(Multicall, NamesAreTakenOnceAndMakeSense) {
    const char* const refused[] = {"remember", "cat", "", "a/b", "a\\b", nullptr};
    for (const char* const name : refused) {
        const ombrel_multicall_command_t other = {name, remember, nullptr, nullptr, nullptr};
        EXPECT_EQ(-1, ombrel_register_multicall_command(&other));
        EXPECT_EQ(-1, ombrel_unregister_multicall_command(&other));
    }
    EXPECT_EQ(ombrel_find_multicall_command("remember"), &command);
    EXPECT_EQ(nullptr, ombrel_get_multicall_command(SIZE_MAX));
}

TEST_F(Multicall, ACommandStaysWhileSomebodyIsAtItsName) {
    static constexpr ombrel_multicall_command_t added = {"added", remember, nullptr, nullptr, nullptr};
    const std::function<void()> walks[] = {[] { EXPECT_EQ(nullptr, ombrel_find_multicall_command("none")); },
                                           [] { EXPECT_EQ(0, ombrel_register_multicall_command(&added)); }};
    for (const auto& walk : walks) {
        stalling_text name("slow");
        const ombrel_multicall_command_t slow = {name.get(), remember, nullptr, nullptr, nullptr};
        EXPECT_EQ(0, ombrel_register_multicall_command(&slow));
        name.stall();
        const waiting_call walking(walk);
        name.await_reader();
        const waiting_call leaving([&] { EXPECT_EQ(0, ombrel_unregister_multicall_command(&slow)); });
        EXPECT_TRUE(leaving.is_waiting());
        name.go_on();
    }
    EXPECT_EQ(0, ombrel_unregister_multicall_command(&added));
}

// For the sanitizers.
TEST_F(Multicall, CommandsAreFoundWhileOthersComeAndGo) {
    static constexpr ombrel_multicall_command_t other = {"other", remember, nullptr, nullptr, nullptr};
    in_threads(3, [](int i) {
        for (int round = 0; round < 2000; round++) {
            if (i == 0) {
                EXPECT_EQ(0, ombrel_register_multicall_command(&other));
                EXPECT_EQ(0, ombrel_unregister_multicall_command(&other));
            } else {
                EXPECT_EQ(ombrel_find_multicall_command("remember"), &command);
                EXPECT_EQ(nullptr, ombrel_find_multicall_command("none"));
                EXPECT_EQ(nullptr, ombrel_get_multicall_command(100));
            }
        }
    });
}

TEST_F(Multicall, ContextsRunCommands) {
    char name[] = "remember", word[] = "word";
    char* arguments[] = {name, word, nullptr};
    const int ctx = ombrel_new_ctx();
    for (const char* const source : {"", "remember"}) {
        ombrel_ctx_set_option(ctx, "source", source);
        ASSERT_EQ(0, ombrel_open_ctx(ctx, "application/tuk_multicall"));
        ombrel_multicall_execute_t record = {2, arguments, -1};
        // Where the source names the command, the first argument may be anything.
        arguments[0] = *source != '\0' ? word : name;
        EXPECT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_multicall_control_execute, &record, sizeof record));
        EXPECT_EQ(42, record.m_exit_code);
        EXPECT_EQ(0, ombrel_close_ctx(ctx));
    }
    ombrel_ctx_set_option(ctx, "source", "nothing");
    EXPECT_EQ(-1, ombrel_open_ctx(ctx, "application/tuk_multicall_builtin"));
    EXPECT_EQ(def_ombrel_ctx_error_not_found, ombrel_ctx_get_last_error(ctx));
    ombrel_ctx_set_option(ctx, "source", nullptr);
    ASSERT_EQ(0, ombrel_open_ctx(ctx, "application/tuk_multicall_builtin"));
    arguments[0] = name;
    EXPECT_EQ(42, ombrel_ctx_execute_main(ctx, 2, arguments));
    EXPECT_EQ(0, ombrel_destroy_ctx(ctx));
}

TEST_F(Multicall, AGivenCommandRunsAndTellsHowItIsUsed) {
    char word[] = "word";
    char* arguments[] = {word, word, word, nullptr};
    EXPECT_EQ(43, ombrel_execute_multicall_command(&command, 3, arguments));
    EXPECT_EQ(41, ombrel_execute_multicall_command(&command, 0, nullptr)) << "the name alone";
    EXPECT_EQ(def_ombrel_multicall_exit_unknown, ombrel_execute_multicall_command(nullptr, 1, arguments));
    const error_output errors;
    EXPECT_EQ(def_ombrel_multicall_exit_usage, ombrel_refuse_multicall_arguments(&command));
    EXPECT_NE(errors.text().find("remember [WORD...]"), std::string::npos) << errors.text();
}

} // namespace
} // namespace ombrel_test
