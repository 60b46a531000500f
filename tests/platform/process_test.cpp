// Child processes.
#include <cstring>

#include "platform/process_support.h"
#include "platform/seam_support.h"
#include "platform/system.h"
#include "support/emulator.h"

using namespace ombrel_test;
using platform::process_end;

namespace {

std::string read_all(int descriptor) {
    std::string text;
    char part[64];
    for (int got; (got = platform::read_descriptor(descriptor, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(got));
    return text;
}

process_end end_of(int process) {
    process_end end{-7, -7};
    EXPECT_TRUE(holds_soon([&] { return platform::collect_process(process, end); }));
    return end;
}

/// Quoted as the interpreters of all hosts understand it.
const std::string copy_command = std::string("\"") + OMBREL_TEST_CHILD + "\" copy";
const char* const copy[] = {OMBREL_TEST_CHILD, "copy", nullptr};

TEST(Process, CommandsEndWithTheirCode) {
    for (const int code : {0, 3, 255}) {
        const int process = start_child("exit " + std::to_string(code));
        ASSERT_LT(0, process);
        const process_end end = end_of(process);
        EXPECT_EQ(code, end.exit_code);
        EXPECT_EQ(0, end.signal_number);
    }
    if (starts_missing_programs())
        GTEST_SKIP() << "starting a missing program is no error to this emulator";
    const char* const missing[] = {"ombrel_there_is_no_such_program", nullptr};
    EXPECT_EQ(-1, start_child(missing));
    EXPECT_EQ(fault_code::not_found, last_code());
}

TEST(Process, StandardStreamsAreTheGivenOnes) {
    pipe_ends input = open_pipe(), output = open_pipe();
    const int process = start_child(copy, input.reader, output.writer);
    ASSERT_LT(0, process);
    input.reader.close();
    output.writer.close();
    process_end end{};
    EXPECT_FALSE(platform::collect_process(process, end)) << "it waits for its input";
    EXPECT_TRUE(platform::is_child(process));
    EXPECT_EQ(4, platform::write_descriptor(input.writer, "b\na\n", 4));
    input.writer.close();
    EXPECT_EQ("b\na\n", read_all(output.reader));
    EXPECT_EQ(0, end_of(process).exit_code);
    EXPECT_FALSE(platform::is_child(process)) << "its number is void";
    end = end_of(process);
    EXPECT_TRUE(end.exit_code == -1 && end.signal_number == 0) << "nobody can tell";

    const int idle = start_child(copy);
    EXPECT_EQ(0, end_of(idle).exit_code) << "its input is empty";
}

TEST(Process, ArgumentsArriveAsTheyAre) {
    const char* const arguments[] = {OMBREL_TEST_CHILD,
                                     "arguments",
                                     "",
                                     "a b",
                                     "\"",
                                     "a\"b",
                                     "\\",
                                     "a\\",
                                     "a b\\",
                                     "a b\\\\",
                                     "\\\"",
                                     "\\\\\" x",
                                     "\\\\host\\share",
                                     "a\\b c\\\"d\\",
                                     "tab\t",
                                     "two\nlines",
                                     "'a b'",
                                     "*",
                                     "?",
                                     "%PATH%",
                                     "^&|<>()!",
                                     "/c",
                                     "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82",
                                     nullptr};
    pipe_ends output = open_pipe();
    const int process = start_child(arguments, -1, output.writer);
    ASSERT_LT(0, process);
    output.writer.close();
    std::string expected;
    for (size_t i = 2; arguments[i] != nullptr; i++)
        expected.append(arguments[i], strlen(arguments[i]) + 1);
    EXPECT_EQ(expected, read_all(output.reader));
    EXPECT_EQ(0, end_of(process).exit_code);
}

TEST(Process, DescriptorsTellTheEnd) {
    using platform::child_state;
    if (!platform::can_open_processes()) {
        EXPECT_EQ(-1, platform::open_process(platform::process_id()));
        GTEST_SKIP() << "the host has no descriptors of processes";
    }
    pipe_ends input = open_pipe();
    const int process = start_child(copy_command, input.reader);
    const owned descriptor(platform::open_process(process));
    ASSERT_LE(0, descriptor);
    process_end end{};
    EXPECT_EQ(0u, poll_once(descriptor, platform::poll_read, 0));
    EXPECT_EQ(child_state::running, platform::look_at_child(descriptor));
    EXPECT_EQ(child_state::running, platform::collect_child(descriptor, end));
    input.writer.close();
    EXPECT_EQ(platform::poll_read, poll_once(descriptor, platform::poll_read, patience_ms));
    for (const child_state state : {child_state::ended, child_state::unknown}) {
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(state, platform::look_at_child(descriptor)) << "it stays what it is";
        EXPECT_EQ(state, platform::collect_child(descriptor, end));
        EXPECT_EQ(state == child_state::ended ? 0 : -1, end.exit_code);
        EXPECT_EQ(0, end.signal_number);
    }
    EXPECT_EQ(-1, platform::open_process(process)) << "nobody has the number";
}

TEST(Process, ChildrenInheritNothingElseAndCanBeStopped) {
    for (const int signal_number : {platform::terminate_signal, platform::kill_signal}) {
        pipe_ends input = open_pipe(), other = open_pipe();
        connected_pair pair = connect_pair();
        const int process = start_child(copy_command, input.reader);
        ASSERT_LT(0, process);
        other.writer.close();
        pair.client.close();
        char byte;
        EXPECT_EQ(0, platform::read_descriptor(other.reader, &byte, 1)) << "nobody else can write";
        EXPECT_EQ(0, platform::receive(pair.server, &byte, 1, 0, nullptr, nullptr));
        EXPECT_TRUE(platform::group_runs(process));
        EXPECT_TRUE(platform::signal_group(process, signal_number));
        EXPECT_NE(0, end_of(process).exit_code);
    }
}

} // namespace
