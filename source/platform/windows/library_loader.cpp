#include "platform/library_loader.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "platform/host_block.h"
#include "platform/system.h"
#include "platform/thread.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

#include <psapi.h>

namespace ombrel::platform {

namespace {

/// What the loader refused a thread last, in words; told once.
struct complaint {
    const void* thread;
    uint64_t time;
    bool is_new;
    char text[512];
};

/// Those of the threads that complained last.
class complaint_book {
public:
    /// Replaces the thread's own, or the oldest one.
    void add(const char* text);
    /// Null when the thread has none, or was told it already.
    const char* take();

private:
    complaint* find_own();
    complaint* find_oldest();

    SRWLOCK lock_ = SRWLOCK_INIT;
    uint64_t time_ = 0;
    complaint complaints_[32] = {};
};
constinit complaint_book complaints;

complaint* complaint_book::find_own() {
    for (complaint& one : complaints_)
        if (one.thread == thread_mark())
            return &one;
    return nullptr;
}

complaint* complaint_book::find_oldest() {
    const auto is_older = [](const complaint& left, const complaint& right) {
        return left.time < right.time;
    };
    return std::min_element(std::begin(complaints_), std::end(complaints_), is_older);
}

void complaint_book::add(const char* text) {
    AcquireSRWLockExclusive(&lock_);
    complaint* const own = find_own();
    complaint& one = own != nullptr ? *own : *find_oldest();
    one.thread = thread_mark();
    one.time = ++time_;
    one.is_new = true;
    snprintf(one.text, sizeof one.text, "%s", text);
    ReleaseSRWLockExclusive(&lock_);
}

const char* complaint_book::take() {
    AcquireSRWLockExclusive(&lock_);
    complaint* const own = find_own();
    const char* const text = own != nullptr && own->is_new ? own->text : nullptr;
    if (own != nullptr)
        own->is_new = false;
    ReleaseSRWLockExclusive(&lock_);
    return text;
}

/// The system's words for an error, without the line's end; empty when it has none.
void write_host_words(DWORD error, char* text, size_t room) {
    wchar_t words[256];
    const DWORD units = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                       error, 0, words, sizeof words / sizeof *words, nullptr);
    words[units] = L'\0';
    words[wcscspn(words, L"\r\n")] = L'\0';
    const narrow_text narrow(words);
    snprintf(text, room, "%s", narrow ? narrow.get() : "");
}

/// To be called at once, as the error is the thread's last.
void complain(const char* about) {
    const DWORD error = GetLastError();
    char words[384], text[512];
    write_host_words(error, words, sizeof words);
    snprintf(text, sizeof text, "%.100s: %s (%lu)", about != nullptr ? about : "", words, error);
    complaints.add(text);
}

/// Keeps the system from showing a box about a library that lacks another one.
class silent_loader {
public:
    silent_loader() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before_); }
    ~silent_loader() { SetThreadErrorMode(before_, nullptr); }
    silent_loader(const silent_loader&) = delete;
    silent_loader& operator=(const silent_loader&) = delete;

private:
    DWORD before_;
};

// The libraries that it needs are looked for beside it, too, which the system does for whole paths alone.
HMODULE load_file(const wchar_t* path) {
    wchar_t whole[1024];
    const DWORD units = GetFullPathNameW(path, 1024, whole, nullptr);
    return units != 0 && units < 1024 ? LoadLibraryExW(whole, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
                                      : LoadLibraryExW(path, nullptr, 0);
}

/// Along PATH alone: a name without a directory is never looked for in the current one, where anybody may put
/// a file.
HMODULE load_along_path(const wchar_t* name) {
    constexpr DWORD longest = 32768;
    const host_block<wchar_t> places(longest);
    wchar_t found[1024];
    if (!places || GetEnvironmentVariableW(L"PATH", places.get(), longest) == 0)
        return nullptr;
    const DWORD units = SearchPathW(places.get(), name, L".dll", 1024, found, nullptr);
    if (units == 0 || units >= 1024)
        SetLastError(ERROR_MOD_NOT_FOUND);
    return units != 0 && units < 1024 ? load_file(found) : nullptr;
}

HMODULE load(const wchar_t* path) {
    if (wcspbrk(path, L"\\:") != nullptr)
        return load_file(path);
    HMODULE const library = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    return library != nullptr || GetLastError() != ERROR_MOD_NOT_FOUND ? library : load_along_path(path);
}

HMODULE program() {
    return GetModuleHandleW(nullptr);
}

/// The program's handle stands for all that is loaded.
FARPROC symbol_anywhere(const char* name) {
    HMODULE modules[512];
    DWORD bytes = 0;
    if (K32EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &bytes) == 0)
        return nullptr;
    const size_t count = (bytes < sizeof modules ? bytes : sizeof modules) / sizeof *modules;
    FARPROC symbol = nullptr;
    for (size_t i = 0; i < count && symbol == nullptr; i++)
        symbol = GetProcAddress(modules[i], name);
    return symbol;
}

} // namespace

const char* own_library_path() {
    static SRWLOCK lock = SRWLOCK_INIT;
    static char path[3 * MAX_PATH];
    constexpr DWORD how =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    wchar_t wide[1024];
    HMODULE own;
    if (GetModuleHandleExW(how, reinterpret_cast<const wchar_t*>(&own_library_path), &own) == 0)
        return nullptr;
    const DWORD units = GetModuleFileNameW(own, wide, 1024);
    const narrow_text narrow(wide, units);
    if (units == 0 || units == 1024 || !narrow || narrow.size() >= sizeof path)
        return nullptr;
    AcquireSRWLockExclusive(&lock);
    if (path[0] == '\0') // a file that is in use keeps its name
        memcpy(path, narrow.get(), narrow.size() + 1);
    ReleaseSRWLockExclusive(&lock);
    return path;
}

void* open_library(const char* path, int flags) {
    const silent_loader silence;
    HMODULE library = nullptr;
    if (path == nullptr)
        GetModuleHandleExW(0, nullptr, &library);
    else if (const wide_path wide(path); !wide)
        SetLastError(ERROR_INVALID_NAME);
    else
        library =
            flags != 0 ? LoadLibraryExW(wide.get(), nullptr, static_cast<DWORD>(flags)) : load(wide.get());
    if (library == nullptr)
        complain(path);
    return library;
}

int close_library(void* library) {
    if (FreeLibrary(static_cast<HMODULE>(library)) != 0)
        return 0;
    complain("FreeLibrary");
    return -1;
}

void* library_symbol(void* library, const char* name) {
    const FARPROC symbol =
        library == program() ? symbol_anywhere(name) : GetProcAddress(static_cast<HMODULE>(library), name);
    if (symbol == nullptr)
        complain(name);
    return reinterpret_cast<void*>(symbol);
}

// The linker's jump through the table of imports: relative on 64 bits, where processors have that.
void* behind_import(void* function) {
#if defined(__x86_64__) || defined(__i386__)
    unsigned char code[6];
    if (!copy_if_readable(code, function, sizeof code) || code[0] != 0xFF || code[1] != 0x25)
        return function;
    int32_t place;
    memcpy(&place, code + 2, sizeof place);
#if defined(__x86_64__)
    const uintptr_t entry =
        reinterpret_cast<uintptr_t>(function) + sizeof code + static_cast<uintptr_t>(intptr_t{place});
#else
    const auto entry = static_cast<uintptr_t>(place);
#endif
    void* imported;
    return copy_if_readable(&imported, reinterpret_cast<const void*>(entry), sizeof imported) ? imported
                                                                                              : function;
#else
    return function;
#endif
}

const char* library_error() {
    return complaints.take();
}

} // namespace ombrel::platform
