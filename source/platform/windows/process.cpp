#include "platform/process.h"

#include <cerrno>
#include <cstring>
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

/// Sockets are no streams to the programs of this host.
HANDLE inherited_descriptor(int descriptor) {
    if (kind_of(descriptor) == descriptor_kind::socket) {
        leave_fault(fault_code::not_supported);
        return nullptr;
    }
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
class child_handles {
public:
    explicit child_handles(const process_plan& plan)
        : count_(plan.console != nullptr ? 0 : plan.descriptor_count) {
        while (made_ < count_ && (all_[made_] = open(plan.descriptors[made_])) != nullptr)
            made_++;
    }
    ~child_handles() {
        while (made_ > 0)
            CloseHandle(all_[--made_]);
    }
    child_handles(const child_handles&) = delete;
    child_handles& operator=(const child_handles&) = delete;

    explicit operator bool() const { return made_ == count_; }
    HANDLE* all() { return all_; }
    size_t count() const { return count_; }
    size_t bytes() const { return count_ * sizeof(HANDLE); }

private:
    HANDLE open(int descriptor) const {
        static constexpr DWORD standard[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
        if (descriptor >= 0)
            return inherited_descriptor(descriptor);
        HANDLE const handle =
            descriptor == kept_stream ? inherited_standard(standard[made_]) : open_nothing();
        if (handle != nullptr && handle != INVALID_HANDLE_VALUE)
            return handle;
        fail_by_last_error();
        return nullptr;
    }

    size_t count_, made_ = 0;
    HANDLE all_[most_child_descriptors];
};

/// What the C run-time of a program takes its numbers from: how many, a byte of flags each, a handle each.
/// The first three it takes from the process's own.
class number_table {
public:
    explicit number_table(child_handles& handles)
        : count_(handles.count()), bytes_(sizeof(int) + count_ * (1 + sizeof(HANDLE))) {
        if (!bytes_)
            return;
        const int count = static_cast<int>(count_);
        memcpy(bytes_.get(), &count, sizeof count);
        unsigned char* const flags = bytes_.get() + sizeof count;
        memcpy(flags + count_, handles.all(), handles.bytes());
        for (size_t i = 0; i < count_; i++)
            flags[i] = i < 3 ? 0 : flags_of(handles.all()[i]);
    }

    explicit operator bool() const { return static_cast<bool>(bytes_); }
    BYTE* get() const { return bytes_.get(); }
    WORD size() const { return static_cast<WORD>(sizeof(int) + count_ * (1 + sizeof(HANDLE))); }

private:
    static unsigned char flags_of(HANDLE handle) {
        constexpr unsigned char open = 0x01, pipe = 0x08, device = 0x40;
        const DWORD kind = GetFileType(handle);
        return static_cast<unsigned char>(open | (kind == FILE_TYPE_PIPE   ? pipe
                                                  : kind == FILE_TYPE_CHAR ? device
                                                                           : 0));
    }

    size_t count_;
    host_block<unsigned char> bytes_;
};

/// The attributes of a process that inherits these handles and nothing else, or of one in a console.
class inheritance {
public:
    inheritance(child_handles& handles, void* console) : list_(needed_size()) {
        constexpr DWORD_PTR pseudo_console = 0x20016; // newer than some headers
        SIZE_T size = needed_size();
        is_made_ = list_ && InitializeProcThreadAttributeList(get(), 1, 0, &size);
        if (is_made_ && console != nullptr)
            is_good_ = UpdateProcThreadAttribute(get(), 0, pseudo_console, console, sizeof console, nullptr,
                                                 nullptr);
        else
            is_good_ =
                is_made_ && UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                      handles.all(), handles.bytes(), nullptr, nullptr);
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

/// The variables of a process as the system takes them: sorted, each ended by 0, and an empty one. Null for
/// those of this process.
class variable_block {
public:
    explicit variable_block(const char* const* variables)
        : is_own_(variables == nullptr), units_(is_own_ ? 0 : room_for(variables)) {
        is_whole_ = units_ && (is_own_ || put_all(variables));
    }

    explicit operator bool() const { return is_whole_; }
    wchar_t* get() const { return is_own_ ? nullptr : units_.get(); }

private:
    static size_t room_for(const char* const* variables) {
        size_t room = 2;
        for (; *variables != nullptr; variables++)
            room += strlen(*variables) + 1;
        return room;
    }

    bool put_all(const char* const* variables) {
        for (; *variables != nullptr; variables++) {
            const wide_text text(*variables);
            if (!text)
                return false;
            put(text.get(), text.size() + 1);
        }
        units_[size_] = units_[size_ + 1] = L'\0';
        return true;
    }

    void put(const wchar_t* text, size_t size) {
        size_t place = 0;
        while (place < size_ && is_before(units_.get() + place, text))
            place += wcslen(units_.get() + place) + 1;
        wmemmove(units_.get() + place + size, units_.get() + place, size_ - place);
        wmemcpy(units_.get() + place, text, size);
        size_ += size;
    }

    static bool is_before(const wchar_t* one, const wchar_t* other) {
        return CompareStringOrdinal(one, name_size(one), other, name_size(other), TRUE) != CSTR_GREATER_THAN;
    }
    static int name_size(const wchar_t* text) { return static_cast<int>(wcscspn(text, L"=")); }

    bool is_own_, is_whole_;
    host_block<wchar_t> units_;
    size_t size_ = 0;
};

/// The directory that a process starts in; null for that of this process.
class start_directory {
public:
    explicit start_directory(const char* path) : is_own_(path == nullptr), wide_(is_own_ ? "" : path) {
        if (is_own_ || !wide_)
            return;
        const DWORD attributes = GetFileAttributesW(wide_.get());
        is_there_ = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (attributes == INVALID_FILE_ATTRIBUTES)
            fail_by_last_error();
        else if (!is_there_)
            leave_fault(fault_code::not_directory);
    }

    explicit operator bool() const { return is_own_ || is_there_; }
    const wchar_t* get() const { return is_own_ ? nullptr : wide_.get(); }

private:
    bool is_own_, is_there_ = false;
    wide_path wide_;
};

/// A program without a console would get a window for each child.
DWORD creation_flags(const process_plan& plan) {
    constexpr DWORD always = CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT | CREATE_UNICODE_ENVIRONMENT;
    const DWORD console = plan.console != nullptr ? 0u
                          : plan.own_session      ? DETACHED_PROCESS
                          : GetConsoleCP() == 0   ? CREATE_NO_WINDOW
                                                  : 0u;
    return always | console | (plan.own_group || plan.own_session ? CREATE_NEW_PROCESS_GROUP : 0u);
}

/// Lets a new process, which waits in its first step, run, within a job of its own when it leads a group.
int release(const PROCESS_INFORMATION& made, bool leads_group) {
    owned_handle process(made.hProcess), thread(made.hThread);
    owned_handle job(leads_group ? CreateJobObjectW(nullptr, nullptr) : nullptr);
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

int start(const wchar_t* program, const command_line& line, const process_plan& plan, process_part& failed) {
    const start_directory directory(plan.directory);
    if (!directory) {
        failed = process_part::directory;
        return -1;
    }
    child_handles handles(plan);
    const number_table numbers(handles);
    const variable_block variables(plan.environment);
    if (!handles || !numbers || !variables)
        return -1;
    inheritance attributes(handles, plan.console);
    if (!attributes)
        return -1;
    STARTUPINFOEXW information{};
    STARTUPINFOW& start = information.StartupInfo;
    start.cb = sizeof information;
    start.dwFlags = STARTF_USESTDHANDLES; // in a console there are none, and none of this process's
    if (handles.count() > 0) {
        start.hStdInput = handles.all()[0];
        start.hStdOutput = handles.all()[1];
        start.hStdError = handles.all()[2];
    }
    start.cbReserved2 = handles.count() > 3 ? numbers.size() : 0;
    start.lpReserved2 = handles.count() > 3 ? numbers.get() : nullptr;
    information.lpAttributeList = attributes.get();
    PROCESS_INFORMATION made;
    if (!CreateProcessW(program, line.get(), nullptr, nullptr, handles.count() > 0, creation_flags(plan),
                        variables.get(), directory.get(), &start, &made))
        return fail_to_start();
    return release(made, plan.own_group || plan.own_session);
}

/// Where a program is, by its name or along the search path. The folders of this program and of the moment,
/// where Windows looks too, do not count.
class program_path {
public:
    program_path(const char* name, bool searches) : path_(room), searches_(searches) {
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
        const bool is_path = !searches_ || wcspbrk(name, L"\\/:") != nullptr;
        return is_path ? find_file(name) : find_along_path(name);
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
    bool searches_, is_found_ = false;
};

} // namespace

int start_process(const process_plan& plan, process_part& failed) {
    failed = process_part::program;
    const program_path program(plan.arguments[0], plan.searches);
    command_line line;
    return program && line.set_arguments(plan.arguments) ? start(program.get(), line, plan, failed) : -1;
}

int start_command(const char* text, const process_plan& plan, process_part& failed) {
    failed = process_part::program;
    wchar_t interpreter[MAX_PATH + 16];
    const UINT size = GetSystemDirectoryW(interpreter, MAX_PATH);
    if (size == 0 || size >= MAX_PATH)
        return fail_by_last_error();
    wcscpy(interpreter + size, L"\\cmd.exe");
    command_line line;
    return line.set_command(interpreter, text) ? start(interpreter, line, plan, failed) : -1;
}

} // namespace ombrel::platform
