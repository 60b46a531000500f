// What the commands over trees share: patterns in the order of the arguments, and complaints that do not end
// the work.
#pragma once

#include <ombrel/argument.h>
#include <ombrel/directory.h>
#include <ombrel/fault.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "core/heap_ptr.h"

namespace ombrel::command {

constexpr ombrel_argument_option_t include_option(size_t offset) {
    return {.m_letter = 'i',
            .m_name = "include",
            .m_kind = def_ombrel_argument_listed,
            .m_offset = offset,
            .m_value = "PATTERN",
            .m_help = "take what matches; of all patterns the last that matches decides. Given first, what "
                      "none matches is left out"};
}

constexpr ombrel_argument_option_t exclude_option(size_t offset) {
    return {.m_letter = 'x',
            .m_name = "exclude",
            .m_kind = def_ombrel_argument_listed,
            .m_offset = offset,
            .m_value = "PATTERN",
            .m_help = "leave out what matches: a name, or a path below the root if it has a \"/\""};
}

/// Room for the patterns of so many arguments. Without memory there is none, and the options complain.
class pattern_room {
public:
    pattern_room(const char* command, int argc)
        : entries_(static_cast<ombrel_argument_entry_t*>(ombrel_alloc_tag(
              static_cast<size_t>(argc) * sizeof(ombrel_argument_entry_t), command, __LINE__))),
          count_(entries_ ? static_cast<size_t>(argc) : 0) {}
    ombrel_argument_list_t list() const { return {entries_.get(), count_, 0}; }

private:
    heap_ptr<ombrel_argument_entry_t> entries_;
    size_t count_;
};

/// The filter that the patterns make; without any there is none.
class chosen_filter {
public:
    explicit chosen_filter(const ombrel_argument_list_t& patterns) {
        if (patterns.m_count > 0)
            filter_ = ombrel_open_match_filter(0);
        for (size_t i = 0; i < patterns.m_count && filter_ != nullptr; i++)
            add(patterns.m_entries[i]);
    }
    ~chosen_filter() { ombrel_close_match_filter(filter_); }
    chosen_filter(const chosen_filter&) = delete;
    chosen_filter& operator=(const chosen_filter&) = delete;

    /// False after a complaint.
    bool check(const char* command) const {
        if (refused_ != nullptr)
            complain(command, refused_, fault_text(why_));
        return refused_ == nullptr;
    }
    const ombrel_match_filter_t* get() const { return filter_; }

private:
    void add(const ombrel_argument_entry_t& entry) {
        const bool includes = entry.m_option->m_letter == 'i';
        const int verdict = includes ? def_ombrel_match_include : def_ombrel_match_exclude;
        if (refused_ == nullptr && ombrel_match_filter_add(filter_, verdict, entry.m_value) != 0) {
            refused_ = entry.m_value;
            why_ = last_fault();
        }
    }

    ombrel_match_filter_t* filter_ = nullptr;
    const char* refused_ = nullptr;
    fault why_;
};

/// Handler of failures in a tree; the context is the command's name.
inline int complain_and_go_on(const char* path, int /* fault */, void* command) {
    complain(static_cast<const char*>(command), path != nullptr ? path : "a tree", ombrel_fault_text());
    return 0;
}

inline void* handler_context(const char* command) {
    return const_cast<char*>(command);
}

} // namespace ombrel::command
