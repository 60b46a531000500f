// The list of processes and the load of the host, beside ps, pgrep and /proc.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <map>
#include <unistd.h>

#include <ombrel/fault.h>
#include <ombrel/process.h>
#include <ombrel/process_list.h>

#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/scratch_directory.h"
#include "system/shell.h"

using namespace ombrel_test;

namespace {

/// What a command of the host prints; nothing when it is not there.
std::string command_output(std::vector<const char*> arguments) {
    arguments.push_back(nullptr);
    ombrel_process_result_t result;
    ombrel_run_process(arguments.data(), nullptr, patience_ms, &result);
    const std::string text(result.m_output != nullptr ? result.m_output : "", result.m_output_size);
    ombrel_uninit_process_result(&result);
    return text;
}

#define SKIP_WITHOUT(...)                                                                                    \
    if (command_output({__VA_ARGS__}).empty())                                                               \
    GTEST_SKIP() << "the host has no " << #__VA_ARGS__

class list : no_copy {
public:
    explicit list(uint32_t flags = 0) : list_(ombrel_open_process_list(flags)) {
        EXPECT_NE(nullptr, list_) << ombrel_fault_text();
    }
    ~list() { EXPECT_EQ(0, ombrel_close_process_list(list_)); }
    operator ombrel_process_list_t*() const { return list_; }

    template<typename Use>
    void for_each(Use use) const {
        ombrel_process_info_t info;
        int step;
        while ((step = ombrel_process_list_next(list_, &info)) == 1)
            use(info);
        EXPECT_EQ(0, step) << ombrel_fault_text();
    }

private:
    ombrel_process_list_t* list_;
};

/// A program that runs under a name of its own until the end of the scope.
class named_child : no_copy {
public:
    explicit named_child(std::vector<const char*> arguments) {
        ombrel_process_options_t options;
        ombrel_init_process_options(&options);
        options.m_input.m_kind = options.m_output.m_kind = def_ombrel_process_pipe;
        options.m_flags = def_ombrel_process_own_group;
        arguments.push_back(nullptr);
        process_ = ombrel_open_process(arguments.data(), &options);
        char up;
        EXPECT_EQ(1, ombrel_process_read(process_, def_ombrel_process_output, &up, 1, patience_ms));
    }
    ~named_child() {
        ombrel_process_stop(process_, 0);
        ombrel_close_process(process_);
    }
    int id() const { return ombrel_process_get_id(process_); }
    int signal_of_end() const {
        ombrel_process_end_t end{};
        EXPECT_EQ(1, ombrel_process_wait(process_, patience_ms, &end));
        return end.m_signal;
    }

private:
    ombrel_process_t* process_;
};

int parent_of_this() {
    ombrel_process_info_t info{};
    EXPECT_EQ(0, ombrel_process_list_find(list(), static_cast<int>(getpid()), &info));
    return info.m_parent;
}

class ProcessListTest : public balanced_test {};

TEST_F(ProcessListTest, ThisProcessIsToldAsItIs) {
    ombrel_instant_t now;
    ombrel_process_info_t info;
    const list all(def_ombrel_process_list_arguments);
    ASSERT_EQ(0, ombrel_process_list_find(all, static_cast<int>(getpid()), &info));
    ASSERT_EQ(0, ombrel_get_instant(&now));
    EXPECT_EQ(getpid(), info.m_id);
    EXPECT_LE(1, info.m_threads);
    EXPECT_LT(0, info.m_resident);
    EXPECT_LE(info.m_resident, info.m_virtual);
    EXPECT_TRUE(info.m_start.m_seconds > 1'500'000'000 && info.m_start.m_seconds <= now.m_seconds);
    EXPECT_TRUE(info.m_start.m_nanoseconds >= 0 && info.m_start.m_nanoseconds < 1'000'000'000);
    EXPECT_EQ(nullptr, info.m_arguments[info.m_argument_count]);
    EXPECT_LE(has_shell ? 1u : 0u, info.m_argument_count) << "older systems do not tell";
    EXPECT_EQ(-1, ombrel_process_list_find(all, 0, &info));
    EXPECT_EQ(-1, ombrel_process_list_find(all, 0x7FFFFFFF, &info));
    EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
}

TEST_F(ProcessListTest, AgreesWithPs) {
    SKIP_WITHOUT("ps", "-o", "pid=");
    std::map<int, std::string> seen;
    const list all(def_ombrel_process_list_arguments);
    all.for_each([&](const ombrel_process_info_t& info) {
        EXPECT_EQ(0u, seen.count(info.m_id)) << "told twice";
        std::string arguments;
        for (size_t i = 0; i < info.m_argument_count; i++)
            arguments += (i > 0 ? " " : "") + std::string(info.m_arguments[i]);
        seen[info.m_id] = std::to_string(info.m_parent) + " " + std::to_string(info.m_group) + " " +
                          info.m_name + " " + arguments;
    });
    // What changes meanwhile, and what rewrites its arguments, is left aside.
    const auto expect = [&](int process) {
        const std::string number = std::to_string(process);
        std::string told;
        for (const char* const column : {"ppid=", "pgid=", "comm=", "args="}) {
            std::string text = command_output({"ps", "-ww", "-o", column, "-p", number.c_str()});
            text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
            told +=
                (told.empty() ? "" : " ") + text.substr(std::min(text.find_first_not_of(' '), text.size()));
        }
        EXPECT_EQ(told, seen[process]);
    };
    expect(static_cast<int>(getpid()));
    expect(parent_of_this());
    EXPECT_LE(2u, seen.size());
}

TEST_F(ProcessListTest, NamesAreFoundAsUsersKnowThem) {
    NEEDS_A_SHELL();
    const scratch_directory folder;
    const std::string number = std::to_string(getpid()), name = "ombrel_" + number + "_a_long.name";
    const std::string script = folder.file(name, "#!/bin/sh\necho up; read line\n");
    const auto find = [](const std::string& pattern) {
        int ids[4];
        const int64_t count = ombrel_find_processes(pattern.c_str(), ids, 4);
        return count == 1 ? ids[0] : static_cast<int>(-count);
    };
    EXPECT_EQ(0, find(name));
    for (const bool is_direct : {true, false}) {
        chmod(script.c_str(), is_direct ? 0700 : 0600);
        const named_child child(is_direct ? std::vector<const char*>{script.c_str()}
                                          : std::vector<const char*>{"/bin/sh", script.c_str()});
        for (const std::string& pattern :
             std::vector<std::string>{name, name.substr(0, 12) + "*", "*" + name.substr(9),
                                      "*_?_lon[a-g].name", "*_[!b]_[l]ong.n*e"})
            EXPECT_EQ(child.id(), find(pattern)) << pattern;
        for (const std::string& pattern : std::vector<std::string>{
                 name + "x", name.substr(1), "*_[!a]_long.name", script, name + "[", std::string()})
            EXPECT_EQ(0, find(pattern)) << pattern;
        EXPECT_EQ(is_direct ? child.id() : 0, find(name.substr(0, 15))) << "as the host cuts it";
    }
    const std::string stars = std::string(2000, '*') + "x";
    EXPECT_EQ(0, find(std::string(2000, '*') + number + stars));
}

TEST_F(ProcessListTest, AllOfANameAreSignalledButNotTheCaller) {
    NEEDS_A_SHELL();
    const scratch_directory folder;
    const std::string name = "ombrel_s_" + std::to_string(getpid()),
                      script = folder.file(name, "echo up; read line\n");
    const named_child one({"/bin/sh", script.c_str()}), other({"/bin/sh", script.c_str()});
    std::vector<int> told;
    const auto note = [](const ombrel_process_info_t* info, int fault, void* context) {
        EXPECT_EQ(def_ombrel_fault_none, fault);
        static_cast<std::vector<int>*>(context)->push_back(info->m_id);
        return 0;
    };
    EXPECT_EQ(2, ombrel_signal_processes(name.c_str(), 0, note, &told));
    EXPECT_EQ(-7, ombrel_signal_processes(
                      name.c_str(), 0, [](auto, auto, auto) { return -7; }, nullptr));
    EXPECT_EQ(2, ombrel_signal_processes(name.c_str(), SIGINT, note, &told));
    EXPECT_EQ((std::vector<int>{one.id(), other.id(), one.id(), other.id()}), told);
    EXPECT_EQ(SIGINT, one.signal_of_end());
    EXPECT_EQ(SIGINT, other.signal_of_end());
    ombrel_process_info_t info;
    const list all;
    for (const int spared : {static_cast<int>(getpid()), parent_of_this()}) { // its own ancestors
        ASSERT_EQ(0, ombrel_process_list_find(all, spared, &info));
        const std::string own = info.m_name;
        EXPECT_LE(1, ombrel_find_processes(own.c_str(), nullptr, 0));
        told.clear();
        ombrel_signal_processes(own.c_str(), 0, note, &told);
        EXPECT_EQ(0, std::count(told.begin(), told.end(), spared));
    }
}

TEST(SystemLoad, AgreesWithTheHost) {
    ombrel_processor_ticks_t before{}, first{}, after{};
    ASSERT_EQ(0, ombrel_get_processor_ticks(-1, &before));
    ASSERT_EQ(0, ombrel_get_processor_ticks(0, &first));
    EXPECT_LE(first.m_idle, before.m_idle + before.m_waiting + 1000);
    EXPECT_EQ(-1, ombrel_get_processor_ticks(100000, &after));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_LT(0u, ombrel_get_ticks_per_second());
    ombrel_system_load_t load{};
    const std::string proc_load = read_file("/proc/loadavg"), proc_stat = read_file("/proc/stat");
    if (!has_shell || proc_load.empty()) {
        EXPECT_EQ(-1, ombrel_get_system_load(&load));
        EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
        GTEST_SKIP() << "the host tells no load";
    }
    ASSERT_EQ(0, ombrel_get_processor_ticks(-1, &after));
    unsigned long long user, nice, system, idle;
    ASSERT_EQ(4, sscanf(proc_stat.c_str(), "cpu %llu %llu %llu %llu", &user, &nice, &system, &idle));
    EXPECT_TRUE(before.m_user <= user + nice && user + nice <= after.m_user);
    EXPECT_TRUE(before.m_idle <= idle + 100 && idle <= after.m_idle + 100) << "hosts count some back";
    ASSERT_EQ(0, ombrel_get_system_load(&load));
    char text[16];
    snprintf(text, sizeof text, "%u.%02u", load.m_hundredths[2] / 100, load.m_hundredths[2] % 100);
    EXPECT_NE(std::string::npos, (proc_load + read_file("/proc/loadavg")).find(text)) << text;
    EXPECT_LE(1u, load.m_threads);
}

TEST(SystemLoad, UseIsCountedInThousandths) {
    const struct {
        ombrel_processor_ticks_t before, after;
        int use;
    } cases[] = {{{}, {}, 0},
                 {{}, {10, 20, 60, 5, 5, 10, 20}, 300},
                 {{5, 5, 5, 0, 0, 0, 0}, {6, 5, 5, 0, 0, 0, 0}, 1000},
                 {{5, 5, 9, 0, 0, 0, 0}, {6, 5, 5, 0, 0, 0, 0}, 1000},
                 {{}, {UINT64_MAX / 4, 0, UINT64_MAX / 4, 0, 0, 0, 0}, 500}};
    for (const auto& one : cases)
        EXPECT_NEAR(one.use, ombrel_get_processor_use(&one.before, &one.after), 1);
    EXPECT_EQ(0, ombrel_get_processor_use(nullptr, nullptr));
}

TEST(ProcessList, NonsenseIsRefused) {
    ombrel_process_info_t info;
    int id;
    EXPECT_EQ(nullptr, ombrel_open_process_list(2));
    EXPECT_EQ(-1, ombrel_process_list_next(nullptr, &info));
    EXPECT_EQ(-1, ombrel_process_list_find(nullptr, 1, &info));
    EXPECT_EQ(-1, ombrel_check_process_name(nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_find_processes(nullptr, &id, 1));
    EXPECT_EQ(-1, ombrel_find_processes("a", nullptr, 1));
    EXPECT_EQ(-1, ombrel_signal_processes(nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_get_system_load(nullptr));
    EXPECT_EQ(-1, ombrel_get_processor_ticks(-2, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_process_list(nullptr));
}

} // namespace
