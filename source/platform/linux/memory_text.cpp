#include "platform/linux/memory_text.h"

#include <algorithm>
#include <array>

#include "platform/linux/text_start.h"

namespace ombrel::platform {

namespace {

using std::string_view;

// The library's own, as those of the class may throw.
string_view front(string_view text, size_t size) {
    return {text.data(), std::min(size, text.size())};
}
string_view behind(string_view text, size_t size) {
    text.remove_prefix(std::min(size, text.size()));
    return text;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes a text apart at a separator. What is behind the last one is a part too.
class part_reader {
public:
    part_reader(string_view text, char separator) : rest_(text), separator_(separator) {}

    bool next(string_view& part) {
        if (is_over_)
            return false;
        const size_t size = rest_.find(separator_);
        is_over_ = size == string_view::npos;
        part = front(rest_, size);
        rest_ = behind(rest_, is_over_ ? size : size + 1);
        return true;
    }
    /// The next part, empty when there is none.
    string_view next() {
        string_view part;
        return next(part) ? part : string_view();
    }
    string_view rest() const { return rest_; }

private:
    string_view rest_;
    char separator_;
    bool is_over_ = false;
};

bool has_word(string_view list, string_view word) {
    part_reader words(list, ',');
    for (string_view one; words.next(one);)
        if (one == word)
            return true;
    return false;
}

/// "NUMBER kB" or "NUMBER" behind spaces. What no machine has is none, so that figures can be added.
int64_t parse_bytes(string_view text) {
    constexpr int64_t kilobyte = 1024, most = INT64_MAX / 16;
    text = behind(text, text.find_first_not_of(" \t"));
    const int64_t number = leading_number(text);
    const int64_t unit = text.find("kB") != string_view::npos ? kilobyte : 1;
    return number >= 0 && number <= most / unit ? number * unit : unknown_memory;
}

/// Whether a path leads up, out of what can be seen.
bool leads_up(string_view path) {
    part_reader names(path, '/');
    for (string_view name; names.next(name);)
        if (name == "..")
            return true;
    return false;
}

/// What a mounted root shows of a group's path.
string_view visible_part(string_view path, string_view root) {
    if (leads_up(path) || leads_up(root))
        return {};
    if (root == "/")
        root = {};
    const bool is_inside =
        begins_with(path, root) && (path.size() == root.size() || path[root.size()] == '/');
    const string_view inner = is_inside ? behind(path, root.size()) : string_view();
    return inner == "/" ? string_view() : inner;
}

/// This process's group among lines "NUMBER:CONTROLLERS:PATH".
bool find_group(string_view groups, bool first_version, string_view& path) {
    part_reader lines(groups, '\n');
    for (string_view line; lines.next(line);) {
        part_reader fields(line, ':');
        const string_view number = fields.next(), controllers = fields.next();
        path = fields.rest();
        const bool is_it =
            first_version ? has_word(controllers, "memory") : number == "0" && controllers.empty();
        if (is_it && path.starts_with('/'))
            return true;
    }
    return false;
}

struct group_mount {
    string_view root, path;
};

/// The mount of the hierarchy among lines "ID PARENT DEVICE ROOT PATH OPTIONS… - TYPE SOURCE OPTIONS".
bool find_mount(string_view mounts, bool first_version, group_mount& found) {
    part_reader lines(mounts, '\n');
    for (string_view line; lines.next(line);) {
        const size_t middle = line.find(" - ");
        if (middle == string_view::npos)
            continue;
        part_reader place(front(line, middle), ' '), kind(behind(line, middle + 3), ' ');
        for (int i = 0; i < 3; i++)
            place.next();
        found = {place.next(), place.next()};
        const string_view type = kind.next(), source = kind.next(), options = kind.next();
        static_cast<void>(source);
        const bool is_it =
            first_version ? type == "cgroup" && has_word(options, "memory") : type == "cgroup2";
        if (is_it && found.path.starts_with('/'))
            return true;
    }
    return false;
}

int octal_digit(char c) {
    return c >= '0' && c <= '7' ? c - '0' : -1;
}

/// The byte of an escape "\NNN" at the start of a text, or -1.
int escaped_byte(string_view text) {
    if (text.size() < 4 || text[0] != '\\')
        return -1;
    int byte = 0;
    for (const char c : front(behind(text, 1), 3)) {
        if (octal_digit(c) < 0)
            return -1;
        byte = byte * 8 + octal_digit(c);
    }
    return byte <= UINT8_MAX ? byte : -1;
}

} // namespace

int64_t leading_number(string_view text) {
    int64_t number = unknown_memory;
    for (const char c : text) {
        if (!is_digit(c))
            break;
        number = std::max<int64_t>(number, 0);
        if (__builtin_mul_overflow(number, 10, &number) || __builtin_add_overflow(number, c - '0', &number))
            return unknown_memory;
    }
    return number;
}

void read_memory_lines(string_view text, std::span<const memory_line> lines) {
    part_reader reader(text, '\n');
    for (string_view line; reader.next(line);) {
        const size_t colon = std::min(line.find(':'), line.size());
        const string_view name = front(line, colon);
        for (const memory_line& wanted : lines)
            if (wanted.name == name)
                *wanted.bytes = parse_bytes(behind(line, colon + 1));
    }
}

void parse_machine_memory(string_view meminfo, machine_memory& memory) {
    memory = {-1, -1, -1, -1, -1, -1, -1, -1};
    int64_t reclaimable = unknown_memory;
    const std::array lines{
        memory_line{"MemTotal", &memory.total},         memory_line{"MemFree", &memory.free},
        memory_line{"MemAvailable", &memory.available}, memory_line{"Shmem", &memory.shared},
        memory_line{"Buffers", &memory.buffers},        memory_line{"Cached", &memory.cached},
        memory_line{"SReclaimable", &reclaimable},      memory_line{"SwapTotal", &memory.swap_total},
        memory_line{"SwapFree", &memory.swap_free}};
    read_memory_lines(meminfo, lines);
    if (memory.cached >= 0 && reclaimable >= 0)
        memory.cached += reclaimable;
}

void parse_process_memory(string_view status, process_memory& memory) {
    memory = {-1, -1, -1, -1, -1};
    const std::array lines{
        memory_line{"VmRSS", &memory.resident}, memory_line{"VmHWM", &memory.peak_resident},
        memory_line{"VmSize", &memory.address_space}, memory_line{"VmPeak", &memory.peak_address_space},
        memory_line{"VmSwap", &memory.swapped}};
    read_memory_lines(status, lines);
    if (memory.resident < 0 && memory.address_space < 0) // a process that has ended has no such lines
        memory = {0, 0, 0, 0, 0};
}

int64_t parse_memory_limit(string_view text) {
    // The first version counts pages in a long and knows no word for "none".
    constexpr int64_t largest_page = 65536, largest_limit = INT64_MAX - largest_page;
    if (begins_with(text, "max"))
        return unlimited_memory;
    const int64_t limit = leading_number(text);
    return limit >= largest_limit ? unlimited_memory : limit;
}

bool find_memory_group(string_view groups, string_view mounts, memory_group& found) {
    for (const bool first_version : {true, false}) {
        string_view path;
        group_mount mount;
        if (find_group(groups, first_version, path) && find_mount(mounts, first_version, mount)) {
            found = {mount.path, visible_part(path, mount.root), first_version};
            return true;
        }
    }
    return false;
}

size_t unescape_mount(string_view text, std::span<char> path) {
    size_t size = 0;
    while (!text.empty()) {
        if (size == path.size())
            return 0;
        const int byte = escaped_byte(text);
        path[size++] = byte >= 0 ? static_cast<char>(byte) : text.front();
        text.remove_prefix(byte >= 0 ? 4 : 1);
    }
    return size;
}

} // namespace ombrel::platform
