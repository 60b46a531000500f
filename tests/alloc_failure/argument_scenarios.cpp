// Command lines, expansion, help, and the registry of instances.
#include <vector>

#include <ombrel/argument_manual.h>
#include <ombrel/fault.h>
#include <ombrel/instance.h>

#include "alloc_failure/injection.h"
#include "support/error_output.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Argument, command_lines) {
    null_when_hit(fail, free_block, [] {
        return ombrel_alloc_arguments("a 'b c'", def_ombrel_argument_quoting_posix, nullptr, nullptr);
    });
    const char* const words[] = {"a", "b c", nullptr};
    null_when_hit(fail, free_block,
                  [&] { return ombrel_alloc_command_line(words, def_ombrel_argument_quoting_windows); });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
}

OMBREL_FAILURES(Argument, expanded_text) {
    ombrel_value_t values;
    ombrel_init_value(&values);
    const std::string large(1000, 'x');
    ombrel_set_value_string(&values, def_ombrel_value_append, 1, "A", large.c_str());
    const std::string expected = "1" + large + large + "2";
    text_or_null(fail, expected.c_str(),
                 [&] { return ombrel_alloc_expanded_text("1${A}${A}2", &values, 0, 0, nullptr); });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
    ombrel_destroy_value(&values);
}

// A complaint needs memory for no more than how to do it right.
OMBREL_FAILURES(Argument, help_and_complaints) {
    const ombrel_argument_table_t table = {"tool", nullptr, nullptr, 0, 0, "Does it."};
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_argument_help(&table, 80); });
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_argument_manual(&table, nullptr); });
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_argument_completion(&table); });
    EXPECT_TRUE(!fail.hit() || ombrel_last_fault() == def_ombrel_fault_no_memory);
    char name[] = "tool", help[] = "--help", wrong[] = "-x";
    ombrel_arguments_t arguments;
    char* asking[] = {name, help, nullptr};
    const int outcome =
        fail.during([&] { return ombrel_take_arguments(&table, 2, asking, nullptr, &arguments); });
    EXPECT_EQ(outcome == -1 ? 1 : 0, arguments.m_exit_code);
    EXPECT_TRUE(fail.hit() || outcome == def_ombrel_argument_help_wanted);
    const error_output errors;
    char* failing[] = {name, wrong, nullptr};
    EXPECT_EQ(-1,
              fail.during([&] { return ombrel_take_arguments(&table, 2, failing, nullptr, &arguments); }));
    EXPECT_EQ(2, arguments.m_exit_code);
    EXPECT_STREQ("unknown option \"-x\"", arguments.m_message);
}

// The registry's chunks stay for good, so that only the first round needs one.
OMBREL_FAILURES(Argument, instances) {
    constexpr ombrel_instance_type_t type = {"test/failing", nullptr, nullptr};
    std::vector<int32_t> handles;
    for (int i = 0; i < 1100; i++) {
        const int32_t handle = fail.during([&] { return ombrel_register_instance(&type, &handles); });
        EXPECT_TRUE(handle > 0 || (fail.hit() && ombrel_last_fault() == def_ombrel_fault_no_memory));
        handles.push_back(handle);
    }
    for (const int32_t handle : handles)
        ombrel_retire_instance(&type, handle);
}

} // namespace
} // namespace ombrel_test
