#include "platform/process.h"

#include <cerrno>
#include <cwchar>

#include "platform/fault.h"
#include "platform/windows/child_table.h"
#include "platform/windows/command_line.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"

namespace ombrel::platform {

namespace {

/// A handle that is closed at the end of the scope.
class owned_handle {
public:
    explicit owned_handle(HANDLE handle = nullptr) : handle_(handle) {}
    ~owned_handle() {
        if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE)
            CloseHandle(handle_);
    }
    owned_handle(const owned_handle&) = delete;
    owned_handle& operator=(const owned_handle&) = delete;

    HANDLE get() const { return handle_; }
    HANDLE release() {
        HANDLE const result = handle_;
        handle_ = nullptr;
        return result;
    }
    explicit operator bool() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }

private:
    HANDLE handle_;
};

/// What gives nothing and takes all.
HANDLE open_nothing() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       OPEN_EXISTING, 0, nullptr);
}

HANDLE inherited_stream(int descriptor) {
    HANDLE const handle = handle_of(descriptor);
    return handle != nullptr ? copy_handle(handle, true) : nullptr;
}

/// That of this process, which has none when it has no console and was given nothing.
HANDLE inherited_standard(DWORD which) {
    HANDLE const handle = GetStdHandle(which);
    const bool is_there = handle != nullptr && handle != INVALID_HANDLE_VALUE;
    HANDLE const copy = is_there ? copy_handle(handle, true) : nullptr;
    return copy != nullptr ? copy : open_nothing();
}

/// The handles that a child gets, and no others.
class stream_handles {
public:
    explicit stream_handles(const process_streams& streams)
        : input_(streams.input >= 0 ? inherited_stream(streams.input) : open_nothing()),
          output_(streams.output >= 0 ? inherited_stream(streams.output)
                                      : inherited_standard(STD_OUTPUT_HANDLE)),
          error_(inherited_standard(STD_ERROR_HANDLE)), all_{input_.get(), output_.get(), error_.get()} {}

    explicit operator bool() const { return input_ && output_ && error_; }
    HANDLE* all() { return all_; }
    static constexpr size_t bytes = 3 * sizeof(HANDLE);

private:
    owned_handle input_, output_, error_;
    HANDLE all_[3];
};

/// The attributes of a process that inherits these handles and nothing else.
class inheritance {
public:
    explicit inheritance(stream_handles& streams) : list_(needed_size()) {
        SIZE_T size = needed_size();
        is_made_ = list_ && InitializeProcThreadAttributeList(get(), 1, 0, &size);
        is_good_ =
            is_made_ && UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, streams.all(),
                                                  stream_handles::bytes, nullptr, nullptr);
        if (list_ && !is_good_)
            fail_by_last_error();
    }
    ~inheritance() {
        if (is_made_)
            DeleteProcThreadAttributeList(get());
    }
    inheritance(const inheritance&) = delete;
    inheritance& operator=(const inheritance&) = delete;

    explicit operator bool() const { return is_good_; }
    LPPROC_THREAD_ATTRIBUTE_LIST get() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list_.get()); }

private:
    static SIZE_T needed_size() {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        return size;
    }

    host_block<char> list_;
    bool is_made_, is_good_;
};

/// A program without a console would get a window for each child.
DWORD creation_flags() {
    constexpr DWORD always = CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT;
    return always | (GetConsoleCP() == 0 ? CREATE_NO_WINDOW : 0u);
}

/// Lets a new process, which waits in its first step, run within a job of its own.
int release_into_job(const PROCESS_INFORMATION& made) {
    owned_handle process(made.hProcess), thread(made.hThread), job(CreateJobObjectW(nullptr, nullptr));
    const bool is_held = job && AssignProcessToJobObject(job.get(), process.get());
    const int number = static_cast<int>(made.dwProcessId);
    owned_handle own(copy_handle(process.get(), false));
    if (!own || !note_child(number, own.release(), is_held ? job.release() : nullptr)) {
        TerminateProcess(process.get(), 1);
        return -1;
    }
    ResumeThread(thread.get());
    return number;
}

/// A file that is no program is one without the right to be run: there is no other sign of that here.
int fail_to_start() {
    const int result = fail_by_last_error();
    if (errno == ENOEXEC)
        errno = EACCES;
    return result;
}

int start(const wchar_t* program, const command_line& line, const process_streams& streams) {
    stream_handles handles(streams);
    if (!handles)
        return fail_by_last_error();
    inheritance attributes(handles);
    if (!attributes)
        return -1;
    STARTUPINFOEXW information{};
    information.StartupInfo.cb = sizeof information;
    information.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    information.StartupInfo.hStdInput = handles.all()[0];
    information.StartupInfo.hStdOutput = handles.all()[1];
    information.StartupInfo.hStdError = handles.all()[2];
    information.lpAttributeList = attributes.get();
    PROCESS_INFORMATION made;
    if (!CreateProcessW(program, line.get(), nullptr, nullptr, TRUE, creation_flags(), nullptr, nullptr,
                        &information.StartupInfo, &made))
        return fail_to_start();
    return release_into_job(made);
}

/// Where a program is, by its name or along the search path. The folders of this program and of the moment,
/// where Windows looks too, do not count.
class program_path {
public:
    explicit program_path(const char* name) : path_(room) {
        const wide_text wide(name);
        if (!wide || !path_)
            return;
        if (wide.size() == 0 || !find(wide.get()))
            leave_fault(fault_code::not_found);
        else if (is_folder(path_.get()))
            leave_fault(fault_code::access_denied);
        else if (is_script(path_.get()))
            leave_fault(fault_code::invalid);
        else
            is_found_ = true;
    }

    explicit operator bool() const { return is_found_; }
    const wchar_t* get() const { return path_.get(); }

private:
    static constexpr DWORD room = 32768;

    bool find(const wchar_t* name) {
        const bool has_folder = wcspbrk(name, L"\\/:") != nullptr;
        return has_folder ? find_file(name) : find_along_path(name);
    }

    bool search(const wchar_t* folders, const wchar_t* name) {
        const DWORD size = SearchPathW(folders, name, L".exe", room, path_.get(), nullptr);
        return size > 0 && size < room;
    }

    bool find_along_path(const wchar_t* name) {
        const host_block<wchar_t> folders(room);
        const DWORD size = folders ? GetEnvironmentVariableW(L"PATH", folders.get(), room) : 0;
        return size > 0 && size < room && search(folders.get(), name);
    }

    bool find_file(const wchar_t* name) {
        const DWORD size = GetFullPathNameW(name, room, path_.get(), nullptr);
        if (size == 0 || size + 4 >= room)
            return false;
        if (GetFileAttributesW(path_.get()) == INVALID_FILE_ATTRIBUTES)
            wcscpy(path_.get() + size, L".exe");
        return true;
    }

    static bool is_folder(const wchar_t* path) {
        const DWORD attributes = GetFileAttributesW(path);
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }

    /// Its arguments would be taken apart by the command interpreter, by rules that nothing can be quoted
    /// safely for.
    static bool is_script(const wchar_t* path) {
        const wchar_t* const suffix = wcsrchr(path, L'.');
        return suffix != nullptr && (_wcsicmp(suffix, L".bat") == 0 || _wcsicmp(suffix, L".cmd") == 0);
    }

    host_block<wchar_t> path_;
    bool is_found_ = false;
};

} // namespace

int start_process(const char* const* arguments, const process_streams& streams) {
    const program_path program(arguments[0]);
    command_line line;
    return program && line.set_arguments(arguments) ? start(program.get(), line, streams) : -1;
}

int start_command(const char* text, const process_streams& streams) {
    wchar_t interpreter[MAX_PATH + 16];
    const UINT size = GetSystemDirectoryW(interpreter, MAX_PATH);
    if (size == 0 || size >= MAX_PATH)
        return fail_by_last_error();
    wcscpy(interpreter + size, L"\\cmd.exe");
    command_line line;
    return line.set_command(interpreter, text) ? start(interpreter, line, streams) : -1;
}

} // namespace ombrel::platform
