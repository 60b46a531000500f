// What /proc tells of processes.
#include "platform/process_list.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <signal.h>
#include <string_view>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "platform/fault.h"
#include "platform/linux/directory_reader.h"
#include "platform/linux/process_stat.h"
#include "platform/linux/text_start.h"
#include "platform/process.h"

namespace ombrel::platform {

namespace {

// Headers older than the kernel lack it.
#if defined(SYS_pidfd_send_signal)
constexpr long signal_call = SYS_pidfd_send_signal;
#else
constexpr long signal_call = 424;
#endif

constexpr uint64_t nanoseconds_per_second = 1'000'000'000;

constexpr std::string_view behind(std::string_view text, size_t offset) {
    text.remove_prefix(std::min(offset, text.size()));
    return text;
}

/// Bytes read from the start of a file of /proc, which tells no size; -1 with the fault. A file that has more
/// than there is room for is cut.
ssize_t read_file(int folder, const char* path, char* buffer, size_t room) {
    const int descriptor = openat(folder, path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    size_t size = 0;
    ssize_t got = 0;
    while (size < room && ((got = read(descriptor, buffer + size, room - size)) > 0 || errno == EINTR)) {
        if (got == 0)
            break;
        size += got > 0 ? static_cast<size_t>(got) : 0;
    }
    const fault_keeper kept;
    close(descriptor);
    return got < 0 ? -1 : static_cast<ssize_t>(size);
}

/// "NUMBER/NAME".
struct process_path {
    char text[32];

    process_path(int number, std::string_view name) {
        char* end = text + sizeof text - name.size() - 1;
        memcpy(end, name.data(), name.size());
        end[name.size()] = '\0';
        *--end = '/';
        for (auto left = static_cast<unsigned>(number); end == start || left > 0; left /= 10)
            *--end = static_cast<char>('0' + left % 10);
        start = end;
    }
    const char* start = nullptr;
};

int64_t nanoseconds_of(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * static_cast<int64_t>(nanoseconds_per_second) + now.tv_nsec;
}

} // namespace

struct process_walk {
    directory_reader folder{"/proc"};
    /// When the host was started, in nanoseconds since 1970.
    int64_t boot = nanoseconds_of(CLOCK_REALTIME) - nanoseconds_of(CLOCK_BOOTTIME);
    uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE)); ///< bytes
    uint64_t ticks = processor_ticks_per_second();
    size_t argument_room = 0;
    char* arguments = nullptr;
    char text[4096];
};

namespace {

void set_start(const process_walk& walk, listed_process& found) {
    const uint64_t whole = found.birth / walk.ticks, part = found.birth % walk.ticks;
    const uint64_t since_boot = whole * nanoseconds_per_second + part * nanoseconds_per_second / walk.ticks;
    const uint64_t start = static_cast<uint64_t>(walk.boot) + since_boot;
    found.start_seconds = static_cast<int64_t>(start / nanoseconds_per_second);
    found.start_nanoseconds = static_cast<int32_t>(start % nanoseconds_per_second);
}

bool read_stat(process_walk& walk, size_t size, listed_process& found) {
    process_stat stat;
    if (!parse_process_stat(walk.text, size, stat))
        return false;
    found.parent = stat.parent;
    found.group = stat.group;
    found.threads = stat.threads;
    found.state = stat.state;
    found.name = stat.name;
    found.birth = stat.start_ticks;
    found.user_ticks = stat.user_ticks;
    found.system_ticks = stat.system_ticks;
    found.address_space = static_cast<int64_t>(stat.bytes);
    found.resident = static_cast<int64_t>(stat.resident_pages * walk.page);
    set_start(walk, found);
    return true;
}

bool fail_as_gone() {
    errno = ESRCH;
    return false;
}

char* grow(process_walk& walk, size_t room) {
    char* const larger = static_cast<char*>(realloc(walk.arguments, room));
    if (larger == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    walk.argument_room = room;
    return walk.arguments = larger;
}

} // namespace

process_walk* open_process_walk() {
    void* const memory = malloc(sizeof(process_walk));
    if (memory == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const walk = new (memory) process_walk;
    if (walk->folder.descriptor() >= 0)
        return walk;
    if (errno == ENOENT)
        leave_fault(fault_code::not_supported);
    free(memory);
    return nullptr;
}

void close_process_walk(process_walk* walk) {
    if (walk == nullptr)
        return;
    free(walk->arguments);
    walk->~process_walk();
    free(walk);
}

bool find_listed_process(process_walk& walk, int number, listed_process& found) {
    const process_path path(number, "stat");
    const ssize_t size =
        number > 0 ? read_file(walk.folder.descriptor(), path.start, walk.text, sizeof walk.text) : 0;
    if (size < 0 && errno != ENOENT && errno != EACCES)
        return false;
    found.number = number;
    return (size > 0 && read_stat(walk, static_cast<size_t>(size), found)) || fail_as_gone();
}

int next_process(process_walk& walk, listed_process& found) {
    for (int number = 0, step; (step = walk.folder.next(number)) != 0;) {
        if (step < 0)
            return -1;
        if (find_listed_process(walk, number, found))
            return 1;
        if (errno != ESRCH)
            return -1;
    }
    return 0;
}

bool read_arguments(process_walk& walk, int number, size_t limit, argument_text& arguments) {
    const process_path path(number, "cmdline");
    size_t room = std::max<size_t>(walk.argument_room, 4096);
    ssize_t size;
    for (;; room *= 2) {
        room = std::min(room, limit);
        if (walk.argument_room < room && grow(walk, room) == nullptr)
            return false;
        // The last byte is for the end of a text that programs have written over theirs.
        size =
            std::max<ssize_t>(read_file(walk.folder.descriptor(), path.start, walk.arguments, room - 1), 0);
        if (static_cast<size_t>(size) < room - 1 || room == limit)
            break;
    }
    if (size > 0 && walk.arguments[size - 1] != '\0')
        walk.arguments[size++] = '\0';
    arguments = {walk.arguments, static_cast<size_t>(size), false};
    return true;
}

// What the number stands for cannot change once there is a descriptor of it.
bool signal_listed_process(process_walk& walk, const listed_process& process, int signal_number) {
    const int descriptor = open_process(process.number);
    if (descriptor < 0)
        return errno != ESRCH && signal_process(process.number, signal_number);
    listed_process now;
    const bool is_same = find_listed_process(walk, process.number, now) && now.birth == process.birth;
    const bool was_sent =
        is_same ? syscall(signal_call, descriptor, signal_number, nullptr, 0) == 0 : fail_as_gone();
    const fault_keeper kept;
    close(descriptor);
    return was_sent;
}

bool group_runs(int leader) {
    if (!signal_group(leader, 0) && errno == ESRCH)
        return false;
    process_walk walk; // needs no memory
    listed_process found;
    int step;
    while ((step = next_process(walk, found)) == 1)
        if (found.group == leader && found.state != 'Z' && found.state != 'X')
            return true;
    return step < 0; // nobody knows
}

namespace {

/// A line that begins with a word, of a file that lists processors.
class line_finder {
public:
    explicit line_finder(const char* path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)) {}
    ~line_finder() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    line_finder(const line_finder&) = delete;
    line_finder& operator=(const line_finder&) = delete;

    bool is_open() const { return descriptor_ >= 0; }

    /// The next line, cut at the room for it; false at the end.
    bool next(std::string_view& line) {
        text_.remove_prefix(std::min(text_.size(), line_size_));
        size_t end = text_.find('\n');
        if (end == text_.npos && fill())
            end = text_.find('\n');
        line_size_ = std::min(end, text_.size() - 1) + 1;
        line = {text_.data(), line_size_};
        return !text_.empty();
    }

private:
    bool fill() {
        memmove(room_, text_.data(), text_.size());
        const ssize_t got = read(descriptor_, room_ + text_.size(), sizeof room_ - text_.size());
        text_ = {room_, text_.size() + static_cast<size_t>(std::max<ssize_t>(got, 0))};
        return got > 0;
    }

    int descriptor_;
    char room_[4096];
    std::string_view text_{room_, 0};
    size_t line_size_ = 0;
};

/// "cpu " for all, "cpu7 " for one.
bool is_of(std::string_view line, int processor) {
    if (!begins_with(line, "cpu"))
        return false;
    line.remove_prefix(3);
    if (processor < 0 || line.starts_with(' '))
        return processor < 0 && line.starts_with(' ');
    return field_reader(line).small_number() == processor;
}

void read_ticks(std::string_view line, processor_ticks& ticks) {
    field_reader fields(behind(line, line.find(' ')));
    ticks.user = fields.number();
    ticks.low_priority = fields.number();
    ticks.system = fields.number();
    ticks.idle = fields.number();
    ticks.waiting = fields.number();
    ticks.interrupt = fields.number();
    ticks.interrupt += fields.number();
    ticks.stolen = fields.number();
}

} // namespace

bool get_processor_ticks(int processor, processor_ticks& ticks) {
    line_finder lines("/proc/stat");
    if (!lines.is_open())
        return false;
    std::string_view line;
    while (lines.next(line) && begins_with(line, "cpu")) {
        if (is_of(line, processor)) {
            read_ticks(line, ticks);
            return true;
        }
    }
    leave_fault(fault_code::not_found);
    return false;
}

bool get_system_load(system_load& load) {
    char text[128];
    const ssize_t size = read_file(AT_FDCWD, "/proc/loadavg", text, sizeof text);
    if (size < 0)
        return false;
    field_reader fields(std::string_view(text, static_cast<size_t>(size)));
    for (uint32_t& average : load.hundredths) {
        average = static_cast<uint32_t>(fields.number() * 100);
        average += static_cast<uint32_t>(fields.number());
    }
    load.running = static_cast<uint32_t>(fields.number());
    load.threads = static_cast<uint32_t>(fields.number());
    return true;
}

} // namespace ombrel::platform
