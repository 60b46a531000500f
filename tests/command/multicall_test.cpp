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
    Multicall() { EXPECT_EQ(ombrel_register_multicall_command(&command), 0); }
    ~Multicall() override { EXPECT_EQ(ombrel_unregister_multicall_command(&command), 0); }
};

TEST_F(Multicall, names_are_taken_once_and_make_sense) {
    const char* const refused[] = {"remember", "cat", "", "a/b", "a\\b", nullptr};
    for (const char* const name : refused) {
        const ombrel_multicall_command_t other = {name, remember, nullptr, nullptr, nullptr};
        EXPECT_EQ(ombrel_register_multicall_command(&other), -1);
        EXPECT_EQ(ombrel_unregister_multicall_command(&other), -1);
    }
    EXPECT_EQ(ombrel_find_multicall_command("remember"), &command);
    EXPECT_EQ(ombrel_get_multicall_command(SIZE_MAX), nullptr);
}

TEST_F(Multicall, a_command_stays_while_somebody_is_at_its_name) {
    static constexpr ombrel_multicall_command_t added = {"added", remember, nullptr, nullptr, nullptr};
    const std::function<void()> walks[] = {
        [] { EXPECT_EQ(ombrel_find_multicall_command("none"), nullptr); },
        [] { EXPECT_EQ(ombrel_register_multicall_command(&added), 0); },
    };
    for (const auto& walk : walks) {
        stalling_text name("slow");
        const ombrel_multicall_command_t slow = {name.get(), remember, nullptr, nullptr, nullptr};
        EXPECT_EQ(ombrel_register_multicall_command(&slow), 0);
        name.stall();
        const waiting_call walking(walk);
        name.await_reader();
        const waiting_call leaving([&] { EXPECT_EQ(ombrel_unregister_multicall_command(&slow), 0); });
        EXPECT_TRUE(leaving.is_waiting());
        name.go_on();
    }
    EXPECT_EQ(ombrel_unregister_multicall_command(&added), 0);
}

// For the sanitizers.
TEST_F(Multicall, commands_are_found_while_others_come_and_go) {
    static constexpr ombrel_multicall_command_t other = {"other", remember, nullptr, nullptr, nullptr};
    in_threads(3, [](int i) {
        for (int round = 0; round < 2000; round++) {
            if (i == 0) {
                EXPECT_EQ(ombrel_register_multicall_command(&other), 0);
                EXPECT_EQ(ombrel_unregister_multicall_command(&other), 0);
            } else {
                EXPECT_EQ(ombrel_find_multicall_command("remember"), &command);
                EXPECT_EQ(ombrel_find_multicall_command("none"), nullptr);
                EXPECT_EQ(ombrel_get_multicall_command(100), nullptr);
            }
        }
    });
}

TEST_F(Multicall, contexts_run_commands) {
    char name[] = "remember", word[] = "word";
    char* arguments[] = {name, word, nullptr};
    const int ctx = ombrel_new_ctx();
    for (const char* const source : {"", "remember"}) {
        ombrel_ctx_set_option(ctx, "source", source);
        ASSERT_EQ(ombrel_open_ctx(ctx, "application/tuk_multicall"), 0);
        ombrel_multicall_execute_t record = {2, arguments, -1};
        // Where the source names the command, the first argument may be anything.
        arguments[0] = *source != '\0' ? word : name;
        EXPECT_EQ(ombrel_ctx_control(ctx, def_ombrel_multicall_control_execute, &record, sizeof record), 0);
        EXPECT_EQ(record.m_exit_code, 42);
        EXPECT_EQ(ombrel_close_ctx(ctx), 0);
    }
    ombrel_ctx_set_option(ctx, "source", "nothing");
    EXPECT_EQ(ombrel_open_ctx(ctx, "application/tuk_multicall_builtin"), -1);
    EXPECT_EQ(ombrel_ctx_get_last_error(ctx), def_ombrel_ctx_error_not_found);
    ombrel_ctx_set_option(ctx, "source", nullptr);
    ASSERT_EQ(ombrel_open_ctx(ctx, "application/tuk_multicall_builtin"), 0);
    arguments[0] = name;
    EXPECT_EQ(ombrel_ctx_execute_main(ctx, 2, arguments), 42);
    EXPECT_EQ(ombrel_destroy_ctx(ctx), 0);
}

TEST_F(Multicall, a_given_command_runs_and_tells_how_it_is_used) {
    char word[] = "word";
    char* arguments[] = {word, word, word, nullptr};
    EXPECT_EQ(ombrel_execute_multicall_command(&command, 3, arguments), 43);
    EXPECT_EQ(ombrel_execute_multicall_command(&command, 0, nullptr), 41) << "the name alone";
    EXPECT_EQ(ombrel_execute_multicall_command(nullptr, 1, arguments), def_ombrel_multicall_exit_unknown);
    const error_output errors;
    EXPECT_EQ(ombrel_refuse_multicall_arguments(&command), def_ombrel_multicall_exit_usage);
    EXPECT_NE(errors.text().find("remember [WORD...]"), std::string::npos) << errors.text();
}

} // namespace
} // namespace ombrel_test
