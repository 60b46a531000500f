#include "system/tree/confined_tree.h"

#include <cstring>
#include <string_view>
#include <utility>

#include <ombrel/string.h>

#include "core/fault.h"
#include "text/slice.h"

namespace ombrel::system {

using platform::at_link;
using platform::open_directory;

namespace {

constexpr size_t longest_name = 255 * 3; // of Windows, in UTF-8

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

#if defined(_WIN32)
constexpr bool is_windows = true;
#else
constexpr bool is_windows = false;
#endif

bool is_separator(char c) {
    return c == '/';
}

/// An open directory on a way, closed at the end of the scope unless it is the root or was released.
class step {
public:
    explicit step(open_directory* root) : root_(root), here_(root) {}
    ~step() { leave(); }
    step(const step&) = delete;
    step& operator=(const step&) = delete;

    open_directory* here() const { return here_; }
    bool enter(const char* name) {
        open_directory* const next = platform::open_directory_at(here_, name, at_link::stay);
        if (next == nullptr)
            return false;
        leave();
        here_ = next;
        return true;
    }
    open_directory* release() { return std::exchange(here_, root_); }

private:
    void leave() {
        const fault_keeper kept;
        if (here_ != root_)
            platform::close_directory(here_);
    }

    open_directory* root_;
    open_directory* here_;
};

/// The names of a path, one after the other.
class path_names {
public:
    explicit path_names(const char* path) : rest_(path) { skip_separators(); }

    bool is_at_end() const { return *rest_ == '\0'; }
    /// The next name; false for one that is none, with the fault left.
    bool take() {
        size_t size = 0;
        while (rest_[size] != '\0' && !is_separator(rest_[size]))
            size++;
        if (size > longest_name)
            return refuse(fault_code::not_found);
        memcpy(name_, rest_, size);
        name_[size] = '\0';
        rest_ += size;
        skip_separators();
        return is_plain_name(name_) || refuse(fault_code::not_found);
    }
    const char* name() const { return name_; }

private:
    void skip_separators() {
        while (is_separator(*rest_))
            rest_++;
    }

    const char* rest_;
    char name_[longest_name + 1] = "";
};

/// The directory that a path's last name is in. The root has none.
class place : public step {
public:
    place(open_directory* root, const char* path) : step(root), names_(path), is_found_(find()) {}

    explicit operator bool() const { return is_found_; }
    const char* name() const { return names_.name(); }

private:
    bool find() {
        if (names_.is_at_end())
            return refuse(fault_code::is_directory);
        while (names_.take()) {
            if (names_.is_at_end())
                return true;
            if (!enter(names_.name()))
                return false;
        }
        return false;
    }

    path_names names_;
    bool is_found_;
};

bool is_equal(std::string_view name, std::string_view word) {
    return name.size() == word.size() && ombrel_strncasecmp(name.data(), word.data(), word.size()) == 0;
}

/// Names that Windows takes for devices, whatever stands behind a dot.
bool is_device(std::string_view name) {
    static constexpr std::string_view devices[] = {"con", "prn", "aux", "nul", "conin$", "conout$"};
    static constexpr std::string_view numbered[] = {"com", "lpt"};
    name = slice(name, 0, name.find('.'));
    for (const std::string_view device : devices)
        if (is_equal(name, device))
            return true;
    for (const std::string_view device : numbered)
        if (name.size() == device.size() + 1 && is_equal(slice(name, 0, device.size()), device))
            return true;
    return false;
}

/// A second name that Windows may have given a file, which hides how the first one begins: "SECRET~1.TXT".
bool is_short_name(std::string_view name) {
    const size_t tilde = name.find('~');
    return tilde <= 6 && tilde + 1 < name.size() && name[tilde + 1] >= '0' && name[tilde + 1] <= '9';
}

bool is_more_on_windows(std::string_view name) {
    for (const char c : {':', '*', '?', '"', '<', '>', '|'})
        if (name.find(c) != std::string_view::npos)
            return true;
    return name.back() == '.' || name.back() == ' ' || is_device(name) || is_short_name(name);
}

/// What is opened is looked at once more, as what a name stands for may change in between.
bool is_regular(const ombrel_file_info_t& info) {
    if (info.m_kind == def_ombrel_file_kind_regular)
        return true;
    return refuse(info.m_kind == def_ombrel_file_kind_directory ? fault_code::is_directory
                  : info.m_kind == def_ombrel_file_kind_link    ? fault_code::link_loop
                                                                : fault_code::access_denied);
}

} // namespace

bool is_plain_name(const char* name) {
    const std::string_view text = name;
    if (text.empty() || text == "." || text == "..")
        return false;
    for (const char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == 0x7f || c == '/' || c == '\\')
            return false;
    }
    return !is_windows || !is_more_on_windows(text);
}

bool confined_tree::open(const char* root) {
    root_ = platform::open_directory_at(platform::by_path(), root, at_link::follow);
    return root_ != nullptr;
}

void confined_tree::close() {
    if (root_ != nullptr)
        platform::close_directory(std::exchange(root_, nullptr));
}

int confined_tree::open_file(const char* path, platform::file_access access, ombrel_file_info_t* info) const {
    ombrel_file_info_t found;
    const place at(root_, path);
    if (!at)
        return -1;
    // A device may do something as soon as it is opened.
    const bool is_there = platform::get_info_at(at.here(), at.name(), at_link::stay, found);
    if (is_there ? !is_regular(found) : !(access.create && last_fault().code == fault_code::not_found))
        return -1;
    access.refuse_link = access.at_once = true;
    access.inherit = false;
    const int descriptor = platform::open_file_at(at.here(), at.name(), access);
    if (descriptor < 0)
        return -1;
    if (platform::get_file_info(descriptor, found) && is_regular(found)) {
        if (info != nullptr)
            *info = found;
        return descriptor;
    }
    const fault_keeper kept;
    platform::close_descriptor(descriptor);
    return -1;
}

open_directory* confined_tree::open_directory(const char* path) const {
    path_names names(path);
    step way(root_);
    while (!names.is_at_end())
        if (!names.take() || !way.enter(names.name()))
            return nullptr;
    // Each reader of the root has a position of its own.
    return way.here() != root_ ? way.release() : platform::reopen_directory(root_);
}

bool confined_tree::get_info(const char* path, ombrel_file_info_t& info) const {
    if (path_names(path).is_at_end())
        return platform::get_directory_info(root_, info);
    const place at(root_, path);
    return at && platform::get_info_at(at.here(), at.name(), at_link::stay, info);
}

bool confined_tree::make_directory(const char* path, uint32_t mode) const {
    const place at(root_, path);
    return at && platform::make_directory_at(at.here(), at.name(), mode);
}

bool confined_tree::remove_file(const char* path) const {
    const place at(root_, path);
    return at && platform::remove_file_at(at.here(), at.name());
}

bool confined_tree::remove_directory(const char* path) const {
    const place at(root_, path);
    return at && platform::remove_directory_at(at.here(), at.name());
}

bool confined_tree::rename(const char* from, const char* to) const {
    const place old_place(root_, from);
    if (!old_place)
        return false;
    const place new_place(root_, to);
    return new_place &&
           platform::rename_at(old_place.here(), old_place.name(), new_place.here(), new_place.name());
}

bool confined_tree::set_times(const char* path, const platform::file_times& times) const {
    const place at(root_, path);
    return at && platform::set_times_at(at.here(), at.name(), times);
}

} // namespace ombrel::system
