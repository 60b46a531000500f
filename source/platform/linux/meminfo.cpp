#include "platform/meminfo.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/file.h"
#include "platform/linux/memory_text.h"

namespace ombrel::platform {

namespace {

using std::string_view;

/// A file of the kernel's, which tells no size. What is beyond anything sensible is left out.
class kernel_text {
public:
    explicit kernel_text(const char* path) {
        const file_reader file(path);
        is_good_ = file.is_open() && read(file);
    }
    ~kernel_text() {
        const fault_keeper keeper;
        free(text_);
    }
    kernel_text(const kernel_text&) = delete;
    kernel_text& operator=(const kernel_text&) = delete;

    explicit operator bool() const { return is_good_; }
    string_view get() const { return {text_, size_}; }

private:
    static constexpr size_t first_room = 4096, last_room = size_t{4} << 20;

    bool read(const file_reader& file) {
        while (size_ < last_room) {
            if (size_ == room_ && !grow())
                return false;
            const int bytes = file.read(text_ + size_, room_ - size_);
            if (bytes <= 0)
                return bytes == 0;
            size_ += static_cast<size_t>(bytes);
        }
        return true;
    }
    bool grow() {
        const size_t room = std::max(first_room, room_ * 2);
        void* const larger = realloc(text_, room);
        if (larger == nullptr) {
            leave_fault(fault_code::no_memory);
            return false;
        }
        text_ = static_cast<char*>(larger);
        room_ = room;
        return true;
    }

    char* text_ = nullptr;
    size_t size_ = 0, room_ = 0;
    bool is_good_ = false;
};

/// A path that is put together; too long a one is none.
class joined_path {
public:
    joined_path& add(string_view text) {
        if (text.size() >= sizeof text_ - size_) {
            is_good_ = false;
            return *this;
        }
        memcpy(text_ + size_, text.data(), text.size());
        cut(size_ + text.size());
        return *this;
    }
    joined_path& add(unsigned number) {
        char digits[12];
        char* at = digits + sizeof digits;
        do
            *--at = static_cast<char>('0' + number % 10);
        while ((number /= 10) > 0);
        return add({at, static_cast<size_t>(digits + sizeof digits - at)});
    }
    joined_path& add_mount(string_view escaped) {
        const size_t size = unescape_mount(escaped, {text_ + size_, sizeof text_ - 1 - size_});
        is_good_ = is_good_ && size > 0;
        cut(size_ + size);
        return *this;
    }
    void cut(size_t size) { text_[size_ = size] = '\0'; }
    const char* get() const { return is_good_ ? text_ : nullptr; }
    string_view view() const { return {text_, size_}; }

private:
    char text_[4096] = "";
    size_t size_ = 0;
    bool is_good_ = true;
};

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// After a text could not be read: that there is none has a fault of its own.
bool fail_to_read(fault_code if_missing) {
    const fault_code why = last_fault().code;
    if (why == fault_code::not_found || why == fault_code::no_process)
        leave_fault(if_missing);
    return false;
}

bool has_processes() {
    const fault_keeper keeper;
    return access("/proc/self/status", R_OK) == 0;
}

struct group_files {
    string_view limit, used, peak;
};
constexpr group_files first_version_files{"/memory.limit_in_bytes", "/memory.usage_in_bytes",
                                          "/memory.max_usage_in_bytes"};
constexpr group_files second_version_files{"/memory.max", "/memory.current", "/memory.peak"};

/// A figure of a group; -1 when it cannot be read.
int64_t read_figure(joined_path& group, string_view name, int64_t (*parse)(string_view)) {
    const size_t size = group.view().size();
    const file_reader file(group.add(name).get());
    group.cut(size);
    char text[32];
    const int bytes = file.is_open() ? file.read(text, sizeof text) : -1;
    return bytes > 0 ? parse({text, static_cast<size_t>(bytes)}) : unknown_memory;
}

container_memory read_group(joined_path& group, const group_files& files) {
    return {read_figure(group, files.limit, parse_memory_limit),
            read_figure(group, files.used, leading_number), read_figure(group, files.peak, leading_number)};
}

/// The figures of the group with the least limit, from the innermost one up to the mount; without a limit
/// those of the innermost one that has any.
container_memory least_group(joined_path& group, size_t mount_size, const group_files& files) {
    container_memory least{unlimited_memory, unknown_memory, unknown_memory};
    for (;;) {
        const container_memory here = read_group(group, files);
        const bool is_less = here.limit >= 0 && here.limit < least.limit;
        if (is_less || (least.used < 0 && here.used >= 0 && least.limit == unlimited_memory))
            least = {here.limit >= 0 ? here.limit : least.limit, here.used, here.peak};
        if (group.view().size() <= mount_size)
            return least;
        group.cut(std::max(group.view().rfind('/'), mount_size));
    }
}

} // namespace

bool get_machine_memory(machine_memory& memory) {
    const kernel_text text("/proc/meminfo");
    if (!text)
        return fail_to_read(fault_code::not_supported);
    parse_machine_memory(text.get(), memory);
    return memory.total >= 0 || refuse(fault_code::not_supported);
}

bool get_process_memory(int process, process_memory& memory) {
    joined_path path;
    path.add("/proc/");
    if (process != 0)
        path.add(static_cast<unsigned>(process));
    else
        path.add("self");
    const kernel_text text(path.add("/status").get());
    if (text) {
        parse_process_memory(text.get(), memory);
        return true;
    }
    return fail_to_read(has_processes() ? fault_code::no_process : fault_code::not_supported);
}

bool get_container_memory(container_memory& memory) {
    const kernel_text groups("/proc/self/cgroup"), mounts("/proc/self/mountinfo");
    memory_group place;
    if (!groups || !mounts)
        return fail_to_read(fault_code::not_supported);
    if (!find_memory_group(groups.get(), mounts.get(), place))
        return refuse(fault_code::not_supported);
    joined_path group;
    group.add_mount(place.mount);
    const size_t mount_size = group.view().size();
    group.add(place.inner);
    memory =
        least_group(group, mount_size, place.is_first_version ? first_version_files : second_version_files);
    return memory.used >= 0 || memory.limit != unlimited_memory || refuse(fault_code::not_supported);
}

} // namespace ombrel::platform
