// console_event EVENT PROGRAM [ARGUMENT...]: runs the program and, once its own input ends, raises the
// console's event of that number in it. Its exit code is the program's, 99 where there was none.
#include <cwchar>

#include <windows.h>

namespace {

FARPROC find(const char* library, const char* name) {
    return GetProcAddress(GetModuleHandleA(library), name);
}

bool is_wine() {
    return find("ntdll.dll", "wine_get_version") != nullptr;
}

/// As the system does: a thread begins there, whose address is one in all processes.
bool play(HANDLE process, DWORD event) {
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(find("kernelbase.dll", "CtrlRoutine")));
    void* const number = reinterpret_cast<void*>(static_cast<UINT_PTR>(event));
    HANDLE const thread =
        routine != nullptr ? CreateRemoteThread(process, nullptr, 0, routine, number, 0, nullptr) : nullptr;
    return thread != nullptr && CloseHandle(thread);
}

/// Programs may raise one of those that are left, and wine does not raise it in a group of processes.
bool raise_event(const PROCESS_INFORMATION& child, DWORD event) {
    return event == CTRL_BREAK_EVENT && !is_wine() ? GenerateConsoleCtrlEvent(event, child.dwProcessId) != 0
                                                   : play(child.hProcess, event);
}

void wait_for_end_of_input() {
    char byte;
    for (DWORD got; ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &got, nullptr) != 0 && got == 1;) {
    }
}

} // namespace

int main() {
    constexpr int failed = 99;
    wchar_t* line = GetCommandLineW();
    line = wcschr(*line == L'"' ? line + 1 : line, *line == L'"' ? L'"' : L' ') + 1;
    const DWORD event = wcstoul(line, &line, 10);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION child;
    if (!CreateProcessW(nullptr, line + 1, nullptr, nullptr, TRUE, is_wine() ? 0 : CREATE_NEW_PROCESS_GROUP,
                        nullptr, nullptr, &start, &child))
        return failed;
    wait_for_end_of_input();
    constexpr DWORD patience_ms = 60'000;
    DWORD code = failed;
    if (!raise_event(child, event) || WaitForSingleObject(child.hProcess, patience_ms) != WAIT_OBJECT_0)
        TerminateProcess(child.hProcess, failed);
    WaitForSingleObject(child.hProcess, patience_ms);
    GetExitCodeProcess(child.hProcess, &code);
    return static_cast<int>(code);
}
