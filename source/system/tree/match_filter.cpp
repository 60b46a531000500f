#include <ombrel/match_filter.h>

#include <cstring>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "core/node_list.h"
#include "system/tree/match_filter_default.h"
#include "system/tree/path_pattern.h"
#include "text/slice.h"

namespace {

using namespace ombrel;

/// A pattern of the list, its text behind it.
struct filter_pattern {
    filter_pattern *m_prev, *m_next;
    int verdict;
    bool for_names;       ///< not for whole paths
    bool for_directories; ///< and for nothing else
    bool is_sound;        ///< what is not matches nothing
    size_t size;

    char* text() { return reinterpret_cast<char*>(this + 1); }
    std::string_view view() const { return {reinterpret_cast<const char*>(this + 1), size}; }
};

} // namespace

struct ombrel_match_filter_ts {
    filter_pattern *head, *tail;
    size_t count;
    uint32_t flags;
};

namespace {

using filter_t = ombrel_match_filter_t;

constexpr uint32_t all_flags = def_ombrel_match_filter_first | def_ombrel_match_filter_any_case;
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// Gives -1.
int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

bool is_verdict(int verdict) {
    return verdict == def_ombrel_match_include || verdict == def_ombrel_match_exclude;
}

constexpr int opposite(int verdict) {
    return verdict == def_ombrel_match_include ? def_ombrel_match_exclude : def_ombrel_match_include;
}

bool ends_with_slash(std::string_view text) {
    return !text.empty() && text.back() == '/';
}

filter_pattern* allocate_pattern(int verdict, std::string_view text) {
    auto* const made = static_cast<filter_pattern*>(
        ombrel_alloc_tag(sizeof(filter_pattern) + text.size() + 1, "ombrel_match_filter_add", __LINE__));
    if (made == nullptr)
        return nullptr;
    *made = {nullptr, nullptr, verdict, false, false, false, 0};
    made->for_directories = ends_with_slash(text);
    if (made->for_directories)
        text.remove_suffix(1);
    made->for_names = text.find('/') == text.npos;
    if (!text.empty() && text.front() == '/')
        text.remove_prefix(1);
    made->is_sound = !text.empty() && system::is_sound_pattern(text);
    made->size = text.size();
    *put_text(made->text(), text) = '\0';
    return made;
}

int add(filter_t& filter, int verdict, std::string_view text) {
    if (text.size() > def_ombrel_match_filter_pattern_max)
        return refuse(fault_code::too_large);
    filter_pattern* const made = allocate_pattern(verdict, text);
    if (made == nullptr)
        return refuse(fault_code::no_memory);
    node_list<filter_pattern>(filter.head, &filter.tail).append(*made);
    filter.count++;
    return 0;
}

/// Without the spaces at the end that stand behind no backslash.
std::string_view without_last_spaces(std::string_view line) {
    size_t end = 0;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '\\')
            end = std::min(++i + 1, line.size());
        else if (line[i] != ' ')
            end = i + 1;
    }
    return slice(line, 0, end);
}

/// Gives 1 for a pattern, 0 for a comment, -1 for what was refused.
int add_line(filter_t& filter, int verdict, std::string_view line) {
    if (line.empty() || line.front() == '#')
        return 0;
    if (line.find('\0') != line.npos)
        return refuse(fault_code::invalid);
    if (line.back() == '\r')
        line.remove_suffix(1);
    line = without_last_spaces(line);
    if (line.empty())
        return 0;
    const bool turns = line.front() == '!';
    return add(filter, turns ? opposite(verdict) : verdict, slice(line, turns ? 1 : 0)) == 0 ? 1 : -1;
}

std::string_view last_component(std::string_view path) {
    const size_t slash = path.rfind('/');
    return slash == path.npos ? path : slice(path, slash + 1);
}

/// A path that is asked about.
struct candidate {
    std::string_view path, name;
    bool is_directory;

    candidate(std::string_view given, bool directory) : is_directory(directory || ends_with_slash(given)) {
        while (ends_with_slash(given))
            given.remove_suffix(1);
        path = given;
        name = last_component(given);
    }
};

bool matches(const filter_t& filter, const filter_pattern& pattern, const candidate& asked) {
    if (!pattern.is_sound || (pattern.for_directories && !asked.is_directory))
        return false;
    return system::matches_pattern(pattern.view(), pattern.for_names ? asked.name : asked.path,
                                   (filter.flags & def_ombrel_match_filter_any_case) != 0);
}

int judge(const filter_t* filter, const candidate& asked) {
    if (filter == nullptr)
        return def_ombrel_match_none;
    const bool first = (filter->flags & def_ombrel_match_filter_first) != 0;
    for (const filter_pattern* at = first ? filter->head : filter->tail; at != nullptr;
         at = first ? at->m_next : at->m_prev) {
        if (matches(*filter, *at, asked))
            return at->verdict;
    }
    return def_ombrel_match_none;
}

} // namespace

bool system::includes_others(const ombrel_match_filter_t* filter) {
    return filter == nullptr || filter->head == nullptr || filter->head->verdict == def_ombrel_match_exclude;
}

ombrel_match_filter_t* ombrel_open_match_filter_tag(uint32_t flags, const char* function,
                                                    unsigned long line) {
    if ((flags & ~all_flags) != 0) {
        refuse(fault_code::invalid);
        return nullptr;
    }
    filter_t* const filter = allocate_record<filter_t>(function, line);
    if (filter != nullptr)
        *filter = {nullptr, nullptr, 0, flags};
    else
        refuse(fault_code::no_memory);
    return filter;
}

int ombrel_close_match_filter(ombrel_match_filter_t* filter) {
    const heap_ptr<filter_t> closed(filter);
    while (filter != nullptr && filter->head != nullptr) {
        const heap_ptr<filter_pattern> first(filter->head);
        filter->head = first->m_next;
    }
    return 0;
}

int ombrel_match_filter_add(ombrel_match_filter_t* filter, int verdict, const char* pattern) {
    if (filter == nullptr || pattern == nullptr || !is_verdict(verdict))
        return refuse(fault_code::invalid);
    return add(*filter, verdict, pattern);
}

int64_t ombrel_match_filter_add_text(ombrel_match_filter_t* filter, int verdict, const char* text,
                                     size_t size, size_t* fault_at) {
    if (filter == nullptr || text == nullptr || !is_verdict(verdict))
        return refuse(fault_code::invalid);
    const std::string_view all(text, size);
    int64_t added = 0;
    for (size_t at = starts_with(all, byte_order_mark) ? byte_order_mark.size() : 0; at < size;) {
        const size_t end = std::min(all.find('\n', at), size);
        const int result = add_line(*filter, verdict, slice(all, at, end - at));
        if (result < 0) {
            if (fault_at != nullptr)
                *fault_at = at;
            return -1;
        }
        added += result;
        at = end + 1;
    }
    return added;
}

int64_t ombrel_match_filter_get_count(const ombrel_match_filter_t* filter) {
    return filter != nullptr ? static_cast<int64_t>(filter->count) : 0;
}

int ombrel_match_filter_match(const ombrel_match_filter_t* filter, const char* path, int is_directory) {
    if (path == nullptr)
        return refuse(fault_code::invalid);
    return judge(filter, {path, is_directory != 0});
}

int ombrel_match_filter_match_below(const ombrel_match_filter_t* filter, const char* path, int is_directory) {
    if (path == nullptr)
        return refuse(fault_code::invalid);
    const candidate whole(path, is_directory != 0);
    for (size_t slash = 0; (slash = whole.path.find('/', slash)) != whole.path.npos; slash++) {
        if (judge(filter, {slice(whole.path, 0, slash), true}) == def_ombrel_match_exclude)
            return def_ombrel_match_exclude;
    }
    return judge(filter, whole);
}

int ombrel_match_filter_admits(const ombrel_match_filter_t* filter, const char* path, int is_directory) {
    const int verdict = ombrel_match_filter_match(filter, path, is_directory);
    if (verdict != def_ombrel_match_none)
        return verdict < 0 ? -1 : verdict == def_ombrel_match_include;
    return system::includes_others(filter) ? 1 : 0;
}
