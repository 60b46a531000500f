// The system's variables are those that count: the C library has a copy of them, which is kept alike, as
// programs read theirs from it and hand it on.
#include "platform/environment.h"

#include <cerrno>
#include <cstring>
#include <cwchar>

#include "platform/fault.h"
#include "platform/host_block.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

namespace {

/// The system's variables at one time: texts one behind the other, an empty one behind the last.
class system_variables {
public:
    system_variables() : first_(GetEnvironmentStringsW()) {}
    ~system_variables() {
        if (first_ != nullptr)
            FreeEnvironmentStringsW(first_);
    }
    system_variables(const system_variables&) = delete;
    system_variables& operator=(const system_variables&) = delete;

    /// Calls `use` for each that is a variable: those that begin with "=" are the drives' directories.
    template<typename Use>
    void for_each(Use use) const {
        for (const wchar_t* text = first_; text != nullptr && *text != L'\0'; text += wcslen(text) + 1)
            if (*text != L'=')
                use(text);
    }

private:
    wchar_t* first_;
};

size_t bytes_of(const wchar_t* text) {
    return static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr));
}

/// Pointers to the assignments, a null one, the assignments; freed as one.
char** make_array(const system_variables& variables, size_t& size) {
    size_t count = 0, bytes = 0;
    variables.for_each([&](const wchar_t* text) {
        count++;
        bytes += bytes_of(text);
    });
    size = (count + 1) * sizeof(char*) + bytes;
    auto** const array = static_cast<char**>(malloc(size));
    if (array == nullptr)
        return nullptr;
    char** entry = array;
    char* at = reinterpret_cast<char*>(array + count + 1);
    variables.for_each([&](const wchar_t* text) {
        *entry++ = at;
        at +=
            WideCharToMultiByte(CP_UTF8, 0, text, -1, at, static_cast<int>(bytes_of(text)), nullptr, nullptr);
    });
    *entry = nullptr;
    return array;
}

/// The array that was given out last. It stays where it is as long as no variable changes.
struct {
    SRWLOCK lock = SRWLOCK_INIT;
    char** array = nullptr;
    size_t size = 0;
} given_out;

bool is_given_out(char* const* array, size_t size) {
    const char* const texts = array[0];
    const auto before = static_cast<size_t>(texts - reinterpret_cast<const char*>(array));
    const char* const old = reinterpret_cast<const char*>(given_out.array);
    return size == given_out.size && given_out.array[0] == old + before &&
           memcmp(texts, old + before, size - before) == 0;
}

/// Takes it over.
char** give_out(char** array, size_t size) {
    if (given_out.array != nullptr && array[0] != nullptr && is_given_out(array, size)) {
        free(array);
        return given_out.array;
    }
    free(given_out.array);
    given_out.array = array;
    given_out.size = size;
    return array;
}

bool is_name(const char* text) {
    return *text != '\0' && strchr(text, '=') == nullptr;
}

/// A copy in UTF-8 for free(); null, with its fault, when there is no memory.
char* copy_narrow(const wchar_t* text) {
    const size_t bytes = bytes_of(text);
    auto* const copy = static_cast<char*>(malloc(bytes));
    if (copy == nullptr)
        leave_fault(fault_code::no_memory);
    else
        WideCharToMultiByte(CP_UTF8, 0, text, -1, copy, static_cast<int>(bytes), nullptr, nullptr);
    return copy;
}

/// Both the system and the C library; an empty value removes the variable.
int set_everywhere(const wchar_t* name, const wchar_t* value) {
    const tolerant_c_library guard;
    const errno_t error = _wputenv_s(name, value);
    errno = error != 0 ? error : errno;
    return error != 0 ? -1 : 0;
}

// To the C library a variable without text is none. The system knows such, and hands them to child processes.
int set(const wide_text& name, const wide_text& value) {
    if (!name || !value || set_everywhere(name.get(), value.get()) != 0)
        return -1;
    return value.size() != 0 || SetEnvironmentVariableW(name.get(), L"") != 0 ? 0 : fail_by_last_error();
}

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

} // namespace

char** environment() {
    const system_variables variables;
    size_t size;
    char** const array = make_array(variables, size);
    if (array == nullptr)
        return nullptr;
    AcquireSRWLockExclusive(&given_out.lock);
    char** const result = give_out(array, size);
    ReleaseSRWLockExclusive(&given_out.lock);
    return result;
}

variable_text environment_variable(const char* name) {
    constexpr DWORD longest = 32768; // with its end
    const wide_text wide(name);
    const host_block<wchar_t> value(longest);
    if (!is_name(name) || !wide || !value)
        return {nullptr, nullptr};
    SetLastError(ERROR_SUCCESS); // an empty value is told from none by it
    if (GetEnvironmentVariableW(wide.get(), value.get(), longest) == 0 && GetLastError() != ERROR_SUCCESS)
        return {nullptr, nullptr};
    char* const copy = copy_narrow(value.get());
    return {copy, copy};
}

// Programs that are given more rights are given an environment of their own, too.
variable_text trusted_environment_variable(const char* name) {
    return environment_variable(name);
}

int set_environment_variable(const char* name, const char* value) {
    return is_name(name) ? set(wide_text(name), wide_text(value)) : refuse();
}

// A name alone removes the variable.
int put_environment(const char* text) {
    const char* const equals = strchr(text, '=');
    if (equals == text || *text == '\0')
        return refuse();
    if (equals != nullptr)
        return set(wide_text(text, static_cast<size_t>(equals - text)), wide_text(equals + 1));
    const wide_text name(text);
    if (!name)
        return -1;
    SetEnvironmentVariableW(name.get(),
                            nullptr); // one without text is none to the C library, which leaves it
    return set_everywhere(name.get(), L"");
}

} // namespace ombrel::platform
