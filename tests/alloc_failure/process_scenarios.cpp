// Child processes and the list of processes.
#include <ombrel/process.h>
#include <ombrel/process_list.h>

#include "alloc_failure/injection.h"
#include "support/descriptor_balance.h"
#include "support/patience.h"

namespace ombrel_test {

namespace {

void end(ombrel_process_t* process) {
    ombrel_process_stop(process, 0);
    ombrel_close_process(process);
}

OMBREL_FAILURES(Process, open) {
    const descriptor_balance balance;
    const char* const arguments[] = {"sleep", "600", nullptr};
    const char* const variables[] = {"A=b", nullptr};
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_directory = "/";
    options.m_environment = variables;
    options.m_input.m_kind = options.m_output.m_kind = def_ombrel_process_pipe;
    null_when_hit(fail, end, [&] { return ombrel_open_process(arguments, &options); });
    null_when_hit(fail, end, [&] { return ombrel_open_command("exec sleep 600", nullptr); });
}

OMBREL_FAILURES(Process, run) {
    const descriptor_balance balance;
    const char* const arguments[] = {"/bin/sh", "-c", "echo error >&2; cat", nullptr};
    const std::string fed(5000, 'x');
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_input.m_kind = options.m_output.m_kind = options.m_error.m_kind = def_ombrel_process_pipe;
    options.m_feed = fed.data();
    options.m_feed_size = fed.size();
    ombrel_process_result_t result;
    const int done =
        fail.during([&] { return ombrel_run_process(arguments, &options, patience_ms, &result); });
    EXPECT_EQ(fail.hit() ? -1 : 1, done);
    EXPECT_TRUE(done == -1 || (result.m_output == fed && std::string(result.m_error) == "error\n"));
    ombrel_uninit_process_result(&result);
}

OMBREL_FAILURES(Process, list) {
    const descriptor_balance balance;
    ombrel_process_list_t* const list =
        fail.during([] { return ombrel_open_process_list(def_ombrel_process_list_arguments); });
    EXPECT_EQ(fail.hit(), list == nullptr);
    ombrel_process_info_t info;
    for (int i = 0, found = list != nullptr; i < 5 && found != 0; i++) {
        found = fail.during([&] { return ombrel_process_list_next(list, &info); });
        EXPECT_TRUE(found >= 0 || fail.hit()) << found;
    }
    ombrel_close_process_list(list);
    const auto count = fail.during([] { return ombrel_find_processes("*", nullptr, 0); });
    EXPECT_TRUE(fail.hit() ? count == -1 : count > 1) << count;
    const auto sent =
        fail.during([] { return ombrel_signal_processes("no such name", 0, nullptr, nullptr); });
    EXPECT_TRUE(sent == 0 || (fail.hit() && sent == -1)) << sent;
}

} // namespace

} // namespace ombrel_test
