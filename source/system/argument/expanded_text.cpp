#include <algorithm>
#include <cstring>
#include <string_view>

#include <ombrel/argument.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/environment.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

// A text that grows up to a limit.
class limited_text {
public:
    limited_text(size_t limit, const char* function, unsigned long line)
        : limit_(limit), function_(function), line_(line) {}

    /// False, with its fault, when it would be too large or memory runs out.
    bool put(std::string_view text) {
        if (text.size() > limit_ - size_) {
            leave_fault(fault_code::too_large);
            return false;
        }
        if (!make_room(size_ + text.size() + 1))
            return false;
        put_text(text_.get() + size_, text);
        size_ += text.size();
        return true;
    }

    /// Gives the text away.
    char* take() {
        if (!make_room(size_ + 1))
            return nullptr;
        text_.get()[size_] = '\0';
        return text_.release();
    }

private:
    bool make_room(size_t wanted) {
        if (wanted <= room_)
            return true;
        constexpr size_t least = 64;
        const size_t room = std::max({wanted, std::min(room_ * 2, limit_ + 1), least});
        auto* const larger = static_cast<char*>(ombrel_realloc_tag(text_.get(), room, function_, line_));
        if (larger == nullptr) {
            leave_fault(fault_code::no_memory);
            return false;
        }
        text_.release();
        text_.reset(larger);
        room_ = room;
        return true;
    }

    size_t limit_;
    const char* function_;
    unsigned long line_;
    heap_ptr<char> text_;
    size_t size_ = 0;
    size_t room_ = 0;
};

// What stands between braces, taken apart.
struct reference {
    std::string_view name;
    bool has_otherwise;
    std::string_view otherwise;

    explicit reference(std::string_view text) {
        constexpr std::string_view divider = ":-";
        const size_t division = text.find(divider);
        name = slice(text, 0, division);
        has_otherwise = division != text.npos;
        otherwise = has_otherwise ? slice(text, division + divider.size()) : std::string_view();
    }
};

class expansion {
public:
    expansion(const ombrel_value_t* values, uint32_t flags, limited_text& to)
        : values_(values), flags_(flags), to_(to) {}

    /// The offset of the "$" at fault, or the size.
    size_t run(std::string_view text) {
        size_t at = 0;
        while (at < text.size()) {
            const size_t taken = take(slice(text, at));
            if (taken == 0)
                break;
            at += taken;
        }
        return at;
    }

private:
    // Takes what the text begins with; how many bytes it was, 0 with a fault.
    size_t take(std::string_view text) {
        if (text.front() != '$')
            return put(slice(text, 0, text.find('$')), 0);
        if (starts_with(text, "$$"))
            return put("$", 1);
        return starts_with(text, "${") ? take_reference(text) : put("$", 0);
    }

    size_t take_reference(std::string_view text) {
        constexpr size_t opening = 2;
        const size_t end = text.find('}');
        const reference what(slice(text, opening, end - opening));
        if (end == text.npos || what.name.empty()) {
            leave_fault(fault_code::invalid);
            return 0;
        }
        return put_value(what) ? end + 1 : 0;
    }

    /// @param more how many bytes were taken beyond those put
    size_t put(std::string_view text, size_t more) { return to_.put(text) ? text.size() + more : 0; }

    bool put_value(const reference& what) {
        const heap_ptr<char> name(
            ombrel_strndup_tag(what.name.data(), what.name.size(), "ombrel_alloc_expanded_text", __LINE__));
        if (!name) {
            leave_fault(fault_code::no_memory);
            return false;
        }
        const int case_sensitive = (flags_ & def_ombrel_argument_expand_any_case) != 0 ? 0 : 1;
        const char* const value =
            values_ != nullptr ? ombrel_get_value_string(values_, case_sensitive, name.get()) : nullptr;
        if (value != nullptr || (flags_ & def_ombrel_argument_expand_environment) == 0)
            return put_found(value, what);
        return put_found(platform::environment_variable(name.get()).get(), what);
    }

    bool put_found(const char* value, const reference& what) {
        const bool is_empty = value == nullptr || *value == '\0';
        if (is_empty && what.has_otherwise)
            return to_.put(what.otherwise);
        if (value == nullptr && (flags_ & def_ombrel_argument_expand_strict) != 0) {
            leave_fault(fault_code::not_found);
            return false;
        }
        return value == nullptr || to_.put(value);
    }

    const ombrel_value_t* values_;
    uint32_t flags_;
    limited_text& to_;
};

} // namespace

} // namespace ombrel::system

using namespace ombrel;

char* ombrel_alloc_expanded_text_tag(const char* text, const ombrel_value_t* values, uint32_t flags,
                                     size_t limit, size_t* fault_at, const char* function,
                                     unsigned long line) {
    if (text == nullptr) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    const size_t size = strlen(text);
    system::limited_text expanded(limit != 0 ? limit : def_ombrel_argument_expand_default_limit, function,
                                  line);
    const size_t stop = system::expansion(values, flags, expanded).run({text, size});
    if (fault_at != nullptr)
        *fault_at = stop;
    return stop == size ? expanded.take() : nullptr;
}
