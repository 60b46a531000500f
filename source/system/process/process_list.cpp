#include <ombrel/process_list.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include <ombrel/argument.h>
#include <ombrel/fault.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/process_list.h"
#include "platform/system.h"
#include "text/slice.h"

struct ombrel_process_list_ts {
    ombrel::platform::process_walk* m_walk;
    uint32_t m_flags;
    const char** m_arguments; ///< with room for so many and a null
    size_t m_room;
    ombrel::call_site m_opener;
};

namespace ombrel::system {

namespace {

constexpr const char* no_arguments[] = {nullptr};

template<typename Result>
Result fail(fault_code code, Result result) {
    leave_fault(code);
    return result;
}

std::string_view base_name(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    return path;
}

bool make_room(ombrel_process_list_t& list, size_t count) {
    if (list.m_arguments != nullptr && count <= list.m_room)
        return true;
    const size_t room = std::max<size_t>(count, 2 * list.m_room + 16);
    void* const larger = ombrel_realloc_tag(list.m_arguments, (room + 1) * sizeof(const char*),
                                            list.m_opener.tag, list.m_opener.line);
    if (larger == nullptr)
        return fail(fault_code::no_memory, false);
    list.m_arguments = static_cast<const char**>(larger);
    list.m_room = room;
    return true;
}

/// Arguments that stand one behind the other, each with its end.
bool point_to_arguments(ombrel_process_list_t& list, const platform::argument_text& text,
                        ombrel_process_info_t& info) {
    const auto count = static_cast<size_t>(std::count(text.text, text.text + text.size, '\0'));
    if (!make_room(list, count))
        return false;
    const char* next = text.text;
    for (size_t i = 0; i < count; i++, next += strlen(next) + 1)
        list.m_arguments[i] = next;
    list.m_arguments[count] = nullptr;
    info.m_arguments = list.m_arguments;
    info.m_argument_count = count;
    return true;
}

/// A command line, as some hosts have it; the block of its arguments becomes the list's.
bool split_line(ombrel_process_list_t& list, const char* line, ombrel_process_info_t& info) {
    int count = 0;
    char** const arguments = ombrel_alloc_arguments_tag(line, def_ombrel_argument_quoting_windows, &count,
                                                        nullptr, list.m_opener.tag, list.m_opener.line);
    if (arguments == nullptr)
        return false;
    if (list.m_arguments != nullptr)
        ombrel_free_tag(list.m_arguments, list.m_opener.tag, list.m_opener.line);
    list.m_arguments = const_cast<const char**>(arguments);
    list.m_room = static_cast<size_t>(count);
    info.m_arguments = list.m_arguments;
    info.m_argument_count = list.m_room;
    return true;
}

/// The host cuts the name of a program, or of a script behind its interpreter and that one's option.
void find_full_name(ombrel_process_info_t& info) {
    constexpr size_t cut = 15, most_before_script = 3;
    const std::string_view name = info.m_name;
    if (name.size() != cut)
        return;
    for (size_t i = 0; i < std::min(info.m_argument_count, most_before_script); i++) {
        const std::string_view full = base_name(info.m_arguments[i]);
        if (starts_with(full, name)) {
            info.m_full_name = full.data();
            return;
        }
    }
}

bool add_arguments(ombrel_process_list_t& list, ombrel_process_info_t& info) {
    platform::argument_text text;
    if (!platform::read_arguments(*list.m_walk, info.m_id, def_ombrel_process_list_arguments_max, text))
        return false;
    if (text.size == 0)
        return true;
    const bool is_done =
        text.is_line ? split_line(list, text.text, info) : point_to_arguments(list, text, info);
    if (is_done)
        find_full_name(info);
    return is_done;
}

bool tell(ombrel_process_list_t& list, const platform::listed_process& found, ombrel_process_info_t& info) {
    info = {};
    info.m_id = found.number;
    info.m_parent = found.parent;
    info.m_group = found.group;
    info.m_threads = found.threads;
    info.m_state = found.state;
    info.m_name = info.m_full_name = found.name;
    info.m_arguments = no_arguments;
    info.m_start = {found.start_seconds, found.start_nanoseconds};
    info.m_user_ticks = found.user_ticks;
    info.m_system_ticks = found.system_ticks;
    info.m_resident = found.resident;
    info.m_virtual = found.address_space;
    info.m_birth = found.birth;
    return (list.m_flags & def_ombrel_process_list_arguments) == 0 || add_arguments(list, info);
}

/// A list that is closed at the end of its scope.
class own_list {
public:
    explicit own_list(const char* function)
        : list_(ombrel_open_process_list_tag(def_ombrel_process_list_arguments, function, __LINE__)) {}
    ~own_list() { ombrel_close_process_list(list_); }
    own_list(const own_list&) = delete;
    own_list& operator=(const own_list&) = delete;

    ombrel_process_list_t* get() const { return list_; }

    /// Hands every process of the name to `use(info)` until that gives anything but 0: -1 when the walk
    /// failed, else what the last use gave.
    template<typename Use>
    int64_t for_each(const char* pattern, Use use) {
        ombrel_process_info_t info;
        int64_t result = 0;
        int step = -1;
        while (result == 0 && list_ != nullptr && (step = ombrel_process_list_next(list_, &info)) == 1)
            if (ombrel_check_process_name(pattern, &info) == 0)
                result = use(info);
        return step < 0 ? -1 : result;
    }

private:
    ombrel_process_list_t* list_;
};

/// This process, its parent, and so on.
class ancestry {
public:
    explicit ancestry(const char* function) {
        const own_list list(function);
        ombrel_process_info_t info;
        int process = platform::process_id();
        while (process > 0 && count_ < most) {
            numbers_[count_++] = process;
            const bool is_there =
                list.get() != nullptr && ombrel_process_list_find(list.get(), process, &info) == 0;
            process = is_there ? info.m_parent : 0;
        }
    }

    bool has(int process) const {
        return std::find(numbers_, numbers_ + count_, process) != numbers_ + count_;
    }

private:
    static constexpr size_t most = 64;
    int numbers_[most];
    size_t count_ = 0;
};

/// Signals processes one by one and counts.
struct signaller {
    own_list& list;
    int signal_number;
    ombrel_process_signal_handler_t handler;
    void* context;
    int64_t sent = 0;
    fault first_fault{};

    int64_t signal(const ombrel_process_info_t& info) {
        platform::listed_process process{};
        process.number = info.m_id;
        process.birth = info.m_birth;
        const bool was_sent = platform::signal_listed_process(*list.get()->m_walk, process, signal_number);
        const fault why = was_sent ? fault{} : last_fault();
        if (why.code == fault_code::no_process)
            return 0;
        sent += was_sent;
        if (!first_fault)
            first_fault = why;
        if (handler == nullptr)
            return 0;
        leave_fault(why);
        return handler(&info, was_sent ? 0 : ombrel_last_fault(), context);
    }
};

} // namespace

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

ombrel_process_list_t* ombrel_open_process_list_tag(uint32_t flags, const char* function,
                                                    unsigned long line) {
    if ((flags & ~def_ombrel_process_list_arguments) != 0)
        return fail<ombrel_process_list_t*>(fault_code::invalid, nullptr);
    heap_ptr<ombrel_process_list_t> list(allocate_record<ombrel_process_list_t>(function, line));
    if (!list)
        return fail<ombrel_process_list_t*>(fault_code::no_memory, nullptr);
    *list = {platform::open_process_walk(), flags, nullptr, 0, {function, line}};
    return list->m_walk != nullptr ? list.release() : nullptr;
}

int ombrel_process_list_next(ombrel_process_list_t* list, ombrel_process_info_t* info) {
    if (list == nullptr || info == nullptr)
        return fail(fault_code::invalid, -1);
    platform::listed_process found;
    const int step = platform::next_process(*list->m_walk, found);
    if (step != 1)
        return step;
    return tell(*list, found, *info) ? 1 : -1;
}

int ombrel_process_list_find(ombrel_process_list_t* list, int process, ombrel_process_info_t* info) {
    if (list == nullptr || info == nullptr)
        return fail(fault_code::invalid, -1);
    platform::listed_process found;
    return platform::find_listed_process(*list->m_walk, process, found) && tell(*list, found, *info) ? 0 : -1;
}

int ombrel_close_process_list(ombrel_process_list_t* list) {
    if (list == nullptr)
        return 0;
    platform::close_process_walk(list->m_walk);
    if (list->m_arguments != nullptr)
        ombrel_free_tag(list->m_arguments, __func__, __LINE__);
    ombrel_free_tag(list, __func__, __LINE__);
    return 0;
}

int64_t ombrel_find_processes(const char* pattern, int* ids, size_t room) {
    if (pattern == nullptr || (ids == nullptr && room > 0))
        return fail<int64_t>(fault_code::invalid, -1);
    own_list list(__func__);
    size_t count = 0;
    const int64_t result = list.for_each(pattern, [&](const ombrel_process_info_t& info) {
        if (count < room)
            ids[count] = info.m_id;
        count++;
        return 0;
    });
    return result < 0 ? -1 : static_cast<int64_t>(count);
}

int64_t ombrel_signal_processes(const char* pattern, int signal_number,
                                ombrel_process_signal_handler_t handler, void* context) {
    if (pattern == nullptr)
        return fail<int64_t>(fault_code::invalid, -1);
    const ancestry spared(__func__);
    own_list list(__func__);
    signaller to{list, signal_number, handler, context};
    const int64_t result = list.for_each(pattern, [&](const ombrel_process_info_t& info) {
        return spared.has(info.m_id) ? 0 : to.signal(info);
    });
    if (result == 0 && to.first_fault) {
        leave_fault(to.first_fault);
        return -1;
    }
    return result != 0 ? result : to.sent;
}
