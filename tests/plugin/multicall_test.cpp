#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/ctx.h>
#include <ombrel/multicall.h>

#include "support/capture.h"
#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

std::vector<std::string> seen;

int remember(int argc, char** argv) {
    seen.assign(argv, argv + argc);
    return argv[argc] == nullptr ? 40 + argc : 1;
}

constexpr ombrel_multicall_command_t command = {"remember", remember, "[WORD...]", "Remembers words.",
                                                nullptr};

class Multicall : public balanced_test {
protected:
    Multicall() { EXPECT_EQ(ombrel_register_multicall_command(&command), 0); }
    ~Multicall() override { EXPECT_EQ(ombrel_unregister_multicall_command(&command), 0); }

    static int execute(std::vector<const char*> words) {
        words.push_back(nullptr);
        return ombrel_execute_multicall(static_cast<int>(words.size()) - 1, const_cast<char**>(words.data()));
    }
};

TEST_F(Multicall, names_are_taken_once_and_make_sense) {
    const char* const refused[] = {"remember", "cat", "", "a/b", "a\\b", nullptr};
    for (const char* const name : refused) {
        const ombrel_multicall_command_t other = {name, remember, nullptr, nullptr, nullptr};
        EXPECT_EQ(ombrel_register_multicall_command(&other), -1);
        EXPECT_EQ(ombrel_unregister_multicall_command(&other), -1);
    }
    const ombrel_multicall_command_t empty = {"empty", nullptr, nullptr, nullptr, nullptr};
    EXPECT_EQ(ombrel_register_multicall_command(&empty), -1);
    EXPECT_EQ(ombrel_register_multicall_command(nullptr), -1);
    EXPECT_EQ(ombrel_find_multicall_command("remember"), &command);
    size_t count = 0;
    while (ombrel_get_multicall_command(count) != nullptr)
        count++;
    EXPECT_EQ(ombrel_get_multicall_command(count - 1), &command);
    EXPECT_EQ(ombrel_get_multicall_command(SIZE_MAX), nullptr);
}

TEST_F(Multicall, the_name_or_the_first_argument_chooses) {
    const struct {
        std::vector<const char*> words;
        int exit_code;
        std::vector<std::string> seen;
    } cases[] = {
        {{"remember"}, 41, {"remember"}},
        {{"/usr/bin/remember", "a"}, 42, {"/usr/bin/remember", "a"}},
        {{"c:\\bin\\remember.EXE", "a"}, 42, {"c:\\bin\\remember.EXE", "a"}},
        {{"tool", "remember", "--help", "b"}, 43, {"remember", "--help", "b"}},
        {{"tool", "Remember"}, 127, {}},
        {{"tool", "-x"}, 2, {}},
    };
    for (const auto& test : cases) {
        seen.clear();
        capture silenced(stderr);
        EXPECT_EQ(execute(test.words), test.exit_code) << test.words[0];
        EXPECT_EQ(seen, test.seen);
    }
    EXPECT_EQ(ombrel_execute_multicall_command(&command, 0, nullptr), 41);
    EXPECT_EQ(ombrel_execute_multicall_command(nullptr, 0, nullptr), 127);
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
        EXPECT_EQ(ombrel_ctx_xcontrol(ctx, "Execute", &record, sizeof record), 0);
        EXPECT_EQ(ombrel_ctx_read(ctx, word, 1), -1);
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

} // namespace
} // namespace ombrel_test
