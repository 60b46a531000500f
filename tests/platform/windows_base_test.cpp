// What only Windows has: events of its console, code pages, texts in UTF-16, faults of its own.
#if defined(_WIN32)

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <set>
#include <string>
#include <thread>

#include "platform/environment.h"
#include "platform/identity.h"
#include "platform/library_loader.h"
#include "platform/seam_support.h"
#include "platform/signal.h"
#include "platform/system.h"
#include "platform/terminal.h"
#include "plugin/search_list.h"
#include "support/pages.h"
#include "support/replaced_import.h"

using namespace ombrel_test;

namespace {

constexpr const wchar_t case_variable[] = L"OMBREL_TEST_CONSOLE_CASE";
constexpr char ready[] = "ready\n";
constexpr int no_console = 5;

void write_text(const char* text) {
    platform::write_error_text(text);
}

void tell_signal(int number, bool fault) {
    write_text(platform::signal_name(number));
    write_text(fault ? " fault\n" : "\n");
}

void raise_event(DWORD event) {
    if (GenerateConsoleCtrlEvent(event, 0) == 0)
        TerminateProcess(GetCurrentProcess(), no_console);
}

/// What a child catches and does; it says "ready" on standard error once it may be disturbed.
const struct {
    const char* name;
    int caught;
    DWORD event; ///< of its console, which is its own
    void (*act)(DWORD event);
    const char* told;
    int exit_code; ///< 9 by an earlier filter of faults; -1 for the system's own end of the process
} cases[] = {
    {"interruption", SIGINT, CTRL_C_EVENT, raise_event, "SIGINT\n", 7},
    {"break as itself", SIGBREAK, CTRL_BREAK_EVENT, raise_event, "SIGBREAK\n", 7},
    {"break as a polite end", SIGTERM, CTRL_BREAK_EVENT, raise_event, "SIGTERM\n", 7},
    {"break that nobody catches", SIGSEGV, CTRL_BREAK_EVENT, raise_event, "", -1},
    {"a fault", SIGSEGV, 0, [](DWORD) { *reinterpret_cast<volatile int*>(uintptr_t{16}) = 1; },
     "SIGSEGV fault\n", 9},
    {"a forbidden instruction", SIGILL, 0, [](DWORD) { __builtin_trap(); }, "SIGILL fault\n", 9},
    {"a fault that is given back", SIGSEGV, 0,
     [](DWORD) {
         platform::restore_signal(SIGSEGV);
         *reinterpret_cast<volatile int*>(uintptr_t{16}) = 1;
     },
     "", 9},
};

volatile std::sig_atomic_t is_told;

LONG WINAPI end_at_fault(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 9);
    return EXCEPTION_EXECUTE_HANDLER;
}

/// The new process ends here, before the test program's own main().
[[gnu::constructor]] void run_case() {
    wchar_t text[8];
    if (GetEnvironmentVariableW(case_variable, text, 8) == 0)
        return;
    SetUnhandledExceptionFilter(end_at_fault);
    const auto& one = cases[_wtoi(text)];
    platform::catch_signal(one.caught, [](int number, bool fault) {
        tell_signal(number, fault);
        is_told = 1;
    });
    write_text(ready);
    one.act(one.event);
    const uint64_t end = platform::moment_after(patience_ms / 2);
    while (is_told == 0 && platform::milliseconds_until(end) != 0)
        Sleep(5);
    TerminateProcess(GetCurrentProcess(), is_told != 0 ? 7 : 8);
}

/// A child with a console of its own that nobody sees, whose standard error is read here.
class console_child {
public:
    explicit console_child(size_t index) {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE writer;
        CreatePipe(&reader_, &writer, &inherited, 0);
        SetHandleInformation(reader_, HANDLE_FLAG_INHERIT, 0);
        SetEnvironmentVariableW(case_variable, std::to_wstring(index).c_str());
        wchar_t program[1024];
        GetModuleFileNameW(nullptr, program, 1024);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdError = writer;
        is_started_ = CreateProcessW(program, nullptr, nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                                     nullptr, &start, &process_) != 0;
        SetEnvironmentVariableW(case_variable, nullptr);
        CloseHandle(writer);
    }
    ~console_child() {
        TerminateProcess(process_.hProcess, 99);
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
        CloseHandle(reader_);
    }
    console_child(const console_child&) = delete;
    console_child& operator=(const console_child&) = delete;

    bool is_started() const { return is_started_; }

    /// So many bytes, or all that there are until it ends.
    std::string read(size_t most) const {
        std::string text;
        char byte;
        for (DWORD got; text.size() < most && ReadFile(reader_, &byte, 1, &got, nullptr) != 0 && got == 1;)
            text += byte;
        return text;
    }
    int exit_code() const {
        DWORD code = 0;
        WaitForSingleObject(process_.hProcess, patience_ms);
        GetExitCodeProcess(process_.hProcess, &code);
        return static_cast<int>(code);
    }

private:
    HANDLE reader_ = nullptr;
    PROCESS_INFORMATION process_{};
    bool is_started_;
};

TEST(WindowsSignal, EventsOfTheConsoleAndFaultsAreSignals) {
    std::string left_out;
    for (size_t i = 0; i < std::size(cases); i++) {
        SCOPED_TRACE(cases[i].name);
        const console_child child(i);
        ASSERT_TRUE(child.is_started());
        ASSERT_EQ(ready, child.read(sizeof ready - 1));
        const std::string told = child.read(SIZE_MAX);
        const int exit_code = child.exit_code();
        if (exit_code == no_console) {
            left_out += std::string(" ") + cases[i].name + ";";
            continue;
        }
        EXPECT_EQ(cases[i].told, told.substr(0, strlen(cases[i].told)));
        EXPECT_TRUE(cases[i].exit_code == exit_code ||
                    (cases[i].exit_code < 0 && (exit_code > 8 || exit_code < 0)))
            << exit_code;
    }
    if (!left_out.empty())
        GTEST_SKIP() << "the system does not raise these events:" << left_out;
}

PHANDLER_ROUTINE played_handler;

BOOL WINAPI note_handler(PHANDLER_ROUTINE handler, BOOL is_added) {
    played_handler = is_added ? handler : nullptr;
    return TRUE;
}

constexpr DWORD slept_for_ever = 42;

void WINAPI end_sleep(DWORD milliseconds) {
    ExitThread(milliseconds == INFINITE ? slept_for_ever : 0);
}

DWORD WINAPI play_event(void* event) {
    return static_cast<DWORD>(played_handler(*static_cast<const DWORD*>(event)));
}

/// What the system is told: that the program goes on, that its end is nobody's matter here, or nothing at
/// all.
TEST(WindowsSignal, EventsOfTheConsoleGoToWhoCatchesThem) {
    const replaced_import handler("kernel32.dll", "SetConsoleCtrlHandler", note_handler);
    const replaced_import sleep("kernelbase.dll", "Sleep", end_sleep);
    const struct {
        DWORD event;
        std::set<int> caught;
        std::string told;
        DWORD answer;
    } table[] = {
        {CTRL_C_EVENT, {SIGINT, SIGTERM}, "SIGINT", TRUE},
        {CTRL_C_EVENT, {SIGTERM}, "", FALSE},
        {CTRL_BREAK_EVENT, {SIGINT, SIGBREAK, SIGTERM}, "SIGBREAK", TRUE},
        {CTRL_BREAK_EVENT, {SIGINT, SIGTERM}, "SIGTERM", TRUE},
        {CTRL_BREAK_EVENT, {SIGINT}, "", FALSE},
        {CTRL_CLOSE_EVENT, {SIGINT}, "", FALSE},
        {CTRL_LOGOFF_EVENT, {SIGINT}, "", FALSE},
        {99, {SIGINT, SIGBREAK, SIGTERM}, "", FALSE},
        {CTRL_CLOSE_EVENT, {SIGTERM}, "SIGTERM", slept_for_ever},
        {CTRL_SHUTDOWN_EVENT, {SIGBREAK, SIGTERM}, "SIGTERM", slept_for_ever},
    };
    static std::string told;
    bool is_ending = false;
    for (const auto& one : table) {
        told.clear();
        for (const int number : one.caught)
            platform::catch_signal(number, [](int caught, bool) { told += platform::signal_name(caught); });
        ASSERT_NE(nullptr, played_handler);
        DWORD event = one.event, answer = 0;
        HANDLE const thread = CreateThread(nullptr, 0, play_event, &event, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        GetExitCodeThread(thread, &answer);
        CloseHandle(thread);
        EXPECT_EQ(one.told, told) << one.event;
        EXPECT_EQ(one.answer, answer) << one.event;
        for (const int number : one.caught)
            platform::restore_signal(number);
        // The list of handlers stays as it is from the program's own end on.
        is_ending = is_ending || one.answer == slept_for_ever;
        EXPECT_EQ(!is_ending, played_handler == nullptr) << one.event;
    }
}

TEST(WindowsSignal, OthersThanTheCLibrarysAreNone) {
    const auto catcher = [](int, bool) {};
    for (const int number : {1, 3, 10, 12, 13, 17, 64})
        EXPECT_FALSE(platform::catch_signal(number, catcher)) << number;
    for (const int number : {SIGINT, SIGBREAK, SIGTERM, SIGABRT, SIGSEGV, SIGILL, SIGFPE}) {
        EXPECT_TRUE(platform::catch_signal(number, catcher)) << number;
        platform::restore_signal(number);
        EXPECT_EQ(SIG_DFL, std::signal(number, SIG_DFL)) << number;
    }
}

TEST(WindowsEnvironment, IsInUtf8OutsideAndSharedWithTheSystemAndTheCLibrary) {
    const char* const name = "OMBREL_\xCE\xA9"; // a capital omega
    const struct {
        const char* value;
        const wchar_t* wide;
    } values[] = {{"gr\xC3\xBC\xC3\x9F", L"gr\u00FC\u00DF"},
                  {"\xE6\xBC\xA2\xF0\x9F\x98\x80", L"\u6F22\U0001F600"},
                  {"", L""}};
    for (const auto& one : values) {
        EXPECT_EQ(0, platform::set_environment_variable(name, one.value));
        EXPECT_STREQ(one.value, platform::environment_variable(name).get());
        wchar_t wide[16] = L"not set";
        GetEnvironmentVariableW(L"OMBREL_\u03A9", wide, 16);
        EXPECT_STREQ(one.wide, wide);
        const wchar_t* const own = _wgetenv(L"OMBREL_\u03A9");
        EXPECT_STREQ(*one.wide != 0 ? one.wide : nullptr, own) << "an empty one is none to the C library";
        bool is_listed = false;
        for (char** entry = platform::environment(); *entry != nullptr; entry++)
            is_listed |= std::string(name) + "=" + one.value == *entry;
        EXPECT_TRUE(is_listed);
        EXPECT_EQ(platform::environment(), platform::environment()) << "it stays while nothing changes";
    }
    SetEnvironmentVariableW(L"OMBREL_OTHER", L"by the system");
    EXPECT_STREQ("by the system", platform::environment_variable("ombrel_other").get())
        << "case does not count";
    EXPECT_EQ(0, platform::put_environment("OMBREL_OTHER"));
    EXPECT_EQ(0, platform::put_environment(name));
    EXPECT_EQ(nullptr, platform::environment_variable("OMBREL_OTHER").get());
    EXPECT_EQ(nullptr, platform::environment_variable(name).get());
    for (const char* const bad : {"bad\x80", "=C:", ""}) {
        EXPECT_EQ(-1, platform::set_environment_variable(bad, "x")) << bad;
        EXPECT_EQ(fault_code::invalid, last_code()) << bad;
        EXPECT_EQ(nullptr, platform::environment_variable(bad).get()) << bad;
    }
    EXPECT_EQ(-1, platform::set_environment_variable("OMBREL_OTHER", "\xFF"));
    for (char** entry = platform::environment(); *entry != nullptr; entry++)
        EXPECT_NE('=', **entry) << "drives' directories are no variables";
}

TEST(WindowsIdentity, CodesetsAreThoseOfTheLocale) {
    const struct {
        const char *locale, *codeset;
    } locales[] = {{"C", "ANSI_X3.4-1968"}, {".1252", "CP1252"}, {".932", "CP932"}, {".utf8", "UTF-8"}};
    for (const auto& one : locales) {
        const bool is_known = setlocale(LC_CTYPE, one.locale) != nullptr;
        EXPECT_STREQ(is_known ? one.codeset : platform::locale_codeset(), platform::locale_codeset());
    }
    setlocale(LC_CTYPE, "C");
    EXPECT_STREQ("ANSI_X3.4-1968", platform::locale_codeset());
}

/// Standard output is the console's screen in a scope, whose cells can be read.
class on_screen : no_copy {
public:
    on_screen() {
        fflush(stdout);
        saved_ = _dup(1);
        screen_ = CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            nullptr, CONSOLE_TEXTMODE_BUFFER, nullptr);
        const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(screen_), _O_TEXT);
        is_open_ = descriptor >= 0 && _dup2(descriptor, 1) == 0;
        if (descriptor >= 0)
            _close(descriptor);
    }
    ~on_screen() {
        _dup2(saved_, 1);
        _close(saved_);
    }

    bool is_open() const { return is_open_; }
    std::wstring first_row(DWORD units) const {
        std::wstring row(units, L'?');
        DWORD got = 0;
        ReadConsoleOutputCharacterW(reinterpret_cast<HANDLE>(_get_osfhandle(1)), row.data(), units, {0, 0},
                                    &got);
        return row.substr(0, got);
    }

private:
    int saved_;
    HANDLE screen_;
    bool is_open_;
};

TEST(WindowsTerminal, ShowsUtf8WhateverTheCodePage) {
    if (GetConsoleCP() == 0 && AllocConsole() == 0)
        GTEST_SKIP() << "no console can be had";
    const UINT before = GetConsoleOutputCP();
    for (const UINT code_page : {437u, 1252u}) {
        SetConsoleOutputCP(code_page);
        const on_screen screen;
        ASSERT_TRUE(screen.is_open());
        EXPECT_TRUE(platform::is_terminal(1) && platform::has_own_encoding(1));
        EXPECT_FALSE(platform::write_terminal(1, "no UTF-8: \xFF"));
        EXPECT_TRUE(platform::write_terminal(1, "\xCE\xA9\xC3\xBC\xD0\x96"));
        EXPECT_EQ(L"\u03A9\u00FC\u0416", screen.first_row(3));
        EXPECT_EQ(code_page, GetConsoleOutputCP()) << "it is the user's";
        int columns = 0, rows = 0;
        EXPECT_TRUE(platform::terminal_size(columns, rows) && columns > 0 && rows > 0);
    }
    SetConsoleOutputCP(before);
}

TEST(WindowsTerminal, TheNullDeviceIsNone) {
    const int null_device = _open("NUL", _O_WRONLY);
    EXPECT_TRUE(_isatty(null_device)) << "to the C library it is one";
    EXPECT_FALSE(platform::is_terminal(null_device));
    _close(null_device);
    EXPECT_FALSE(platform::terminal_renders_escapes());
}

TEST(WindowsLibraries, SearchListsKnowDrives) {
    const struct {
        const char *list, *directories;
    } lists[] = {{R"(C:\a:d:/b:c)", R"(C:\a|d:/b|c|)"},
                 {"a;b:;C:/", "a|b||C:/|"},
                 {"x:y", "x|y|"},
                 {R"(\\host\share;C:)", R"(\\host\share|C|)"},
                 {"", ""}};
    for (const auto& one : lists) {
        ombrel::plugin::search_list list(one.list);
        std::string directories;
        for (std::string_view directory; list.next(directory);)
            directories.append(directory) += '|';
        EXPECT_EQ(one.directories, directories);
    }
}

TEST(WindowsLibraries, ComplaintsAreEachThreadsOwnAndNamesAreUtf8) {
    EXPECT_EQ(nullptr, platform::open_library("C:/\xCE\xA9/none.dll", 0));
    std::thread([] { EXPECT_EQ(nullptr, platform::library_error()); }).join();
    const char* const error = platform::library_error();
    ASSERT_NE(nullptr, error);
    EXPECT_EQ(0u, std::string(error).find("C:/\xCE\xA9/none.dll: ")) << error;
    EXPECT_EQ(nullptr, platform::open_library("bad\x80.dll", 0));
    void* const program = platform::open_library(nullptr, 0);
    EXPECT_NE(nullptr, platform::library_symbol(program, "GetTickCount64")) << "of all that is loaded";
    EXPECT_EQ(nullptr, platform::library_symbol(program, "ombrel_there_is_no_such_symbol"));
    EXPECT_EQ(0, platform::close_library(program));
}

TEST(WindowsSystem, PagesThatGuardOthersAreLeftAlone) {
    const pages memory(2);
    char copy[4] = "abc";
    memory.close(1);
    EXPECT_FALSE(platform::copy_if_readable(copy, memory.page(1) - 2, sizeof copy));
    EXPECT_TRUE(platform::copy_if_readable(copy, memory.page(1) - 4, sizeof copy));
    DWORD before, after;
    VirtualProtect(memory.page(1), 1, PAGE_READWRITE | PAGE_GUARD, &before);
    EXPECT_FALSE(platform::copy_if_readable(copy, memory.page(1), sizeof copy));
    VirtualProtect(memory.page(1), 1, PAGE_READWRITE, &after);
    EXPECT_EQ(DWORD{PAGE_READWRITE | PAGE_GUARD}, after);
}

} // namespace

#endif
