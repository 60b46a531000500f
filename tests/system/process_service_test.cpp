// Services in processes of their own.
#include <ombrel/process_service.h>

#include <csignal>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "support/child.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"

namespace {

using namespace ombrel_test;

class ProcessService : public ::testing::Test {
protected:
    ProcessService() {
        ombrel_init_process_service_options(&options);
        options.m_error = words;
        options.m_error_size = sizeof words;
    }

    ombrel_process_service_t* open(const char* what, const char* name = "worker") {
        const char* const arguments[] = {OMBREL_TEST_SERVICE, what, nullptr};
        return ombrel_open_process_service(name, arguments, &options);
    }

    heap_balance heap;
    descriptor_balance descriptors;
    ombrel_process_service_options_t options;
    char words[def_ombrel_process_service_text_max + 1] = "unchanged";
};

TEST_F(ProcessService, AcknowledgesWorksAndStopsWhenAsked) {
    for (const bool is_closed_at_once : {false, true}) {
        ombrel_process_service_t* const service = open("work");
        ASSERT_NE(nullptr, service) << words;
        EXPECT_STREQ("", words);
        EXPECT_EQ(1, ombrel_process_service_check(service));
        EXPECT_GT(ombrel_process_service_get_id(service), 0);
        EXPECT_EQ(-1, ombrel_process_service_ack(service));
        EXPECT_EQ(-1, ombrel_process_service_error(service, "only the child says so"));
        EXPECT_EQ(-1, ombrel_process_service_get_descriptor(service));
        EXPECT_EQ(-1, ombrel_process_service_break(service, -1));
        ombrel_process_end_t end{-1, 0};
        if (!is_closed_at_once) {
            EXPECT_EQ(0, ombrel_process_service_wait(service, 0, &end));
            EXPECT_EQ(0, ombrel_process_service_stop(service));
            EXPECT_EQ(0, ombrel_process_service_stop(service));
            EXPECT_EQ(1, ombrel_process_service_wait(service, patience_ms, &end));
            EXPECT_EQ(7, end.m_exit_code);
            EXPECT_EQ(0, ombrel_process_service_check(service));
        }
        EXPECT_EQ(0, ombrel_close_process_service(service));
    }
}

TEST_F(ProcessService, TellsWhyItCannotRun) {
    const struct {
        const char* what;
        const char* name;
        int fault;
        const char* words;
    } cases[] = {
        {"refuse", "worker", def_ombrel_fault_refused, "no work today"},
        {"say nothing", "worker", def_ombrel_fault_closed, ""},
        {"work", "another name", def_ombrel_fault_closed, ""},
        {"hang", "worker", def_ombrel_fault_timed_out, ""},
        {"work", "", def_ombrel_fault_invalid, ""},
        {"work", nullptr, def_ombrel_fault_invalid, ""},
    };
    for (const auto& one : cases) {
        options.m_start_timeout_ms = one.fault == def_ombrel_fault_timed_out ? 100 : patience_ms;
        EXPECT_EQ(nullptr, open(one.what, one.name)) << one.what;
        EXPECT_EQ(one.fault, ombrel_last_fault()) << one.what;
        EXPECT_STREQ(one.words, words) << one.what;
    }
    const char* const missing[] = {"there is no such program", nullptr};
    EXPECT_EQ(nullptr, ombrel_open_process_service("worker", missing, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_process_service_check(nullptr));
    EXPECT_EQ(0, ombrel_close_process_service(nullptr));
    EXPECT_EQ(-1, ombrel_init_process_service_options(nullptr));
    EXPECT_EQ(nullptr, ombrel_get_process_service_name());
    EXPECT_EQ(-1, ombrel_run_process_service([](auto...) { return 0; }, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
}

TEST_F(ProcessService, EndsWhatCrashesOrDoesNotListen) {
    for (const char* const what : {"crash", "be deaf"}) {
        options.m_grace_ms = what[0] == 'c' ? patience_ms : 50;
        ombrel_process_service_t* const service = open(what);
        ASSERT_NE(nullptr, service);
        ombrel_process_end_t end{-1, 0};
        if (what[0] == 'c') {
            EXPECT_EQ(1, ombrel_process_service_wait(service, patience_ms, &end));
            EXPECT_NE(0, end.m_exit_code);
        }
        EXPECT_EQ(0, ombrel_close_process_service(service));
    }
}

#if !defined(_WIN32)

TEST_F(ProcessService, StopsWhenItsOpenerIsGone) {
    int until_end[2];
    ASSERT_EQ(0, pipe(until_end));
    in_child([&] {
        // The service's standard output is what tells here that it lives.
        dup2(until_end[1], 1);
        ::close(until_end[1]);
        if (open("work") != nullptr)
            (void)!write(1, "+", 1);
        raise(SIGKILL);
        return false;
    });
    ::close(until_end[1]);
    char byte;
    EXPECT_EQ(1, read(until_end[0], &byte, 1));
    EXPECT_EQ(0, read(until_end[0], &byte, 1));
    ::close(until_end[0]);
}

#endif

} // namespace
