#include "system/tree/path_pattern.h"

#include <cstddef>

#include "text/ctype_table.h"
#include "text/fold.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

using byte = unsigned char;

/// Equals what std::string_view::find() tells.
constexpr size_t nowhere = std::string_view::npos;

struct named_class {
    std::string_view name;
    unsigned classes;
};

constexpr unsigned alpha = def_ombrel_ctype_upper | def_ombrel_ctype_lower;
constexpr unsigned alnum = alpha | def_ombrel_ctype_digit;
constexpr unsigned graph = alnum | def_ombrel_ctype_punctuation;

constexpr named_class named_classes[] = {
    {"alnum", alnum},
    {"alpha", alpha},
    {"cntrl", def_ombrel_ctype_control},
    {"digit", def_ombrel_ctype_digit},
    {"graph", graph},
    {"lower", def_ombrel_ctype_lower},
    {"punct", def_ombrel_ctype_punctuation},
    {"space", def_ombrel_ctype_space},
    {"upper", def_ombrel_ctype_upper},
    {"xdigit", def_ombrel_ctype_hex_digit},
    {"blank", 0}, // these two are not made of the table's classes alone
    {"print", graph},
};

const named_class* find_named_class(std::string_view name) {
    for (const named_class& known : named_classes) {
        if (known.name == name)
            return &known;
    }
    return nullptr;
}

bool is_in(const named_class& known, byte c) {
    if (known.name == "blank")
        return c == ' ' || c == '\t';
    return is_class(c, known.classes) || (c == ' ' && known.name == "print");
}

/// What stands between the brackets of a class, item by item.
class class_reader {
public:
    /// Begins behind the opening bracket.
    class_reader(std::string_view pattern, size_t at) : pattern_(pattern), at_(at) {
        if (here() == '!' || here() == '^') {
            is_negated_ = true;
            at_++;
        }
        first_ = at_;
    }

    /// Steps over an item; false at the closing bracket and where the class is not sound.
    bool next() {
        if (at_ >= pattern_.size())
            return false;
        if (here() == ']' && at_ != first_) {
            is_closed_ = true;
            return false;
        }
        named_ = nullptr;
        return here() == '[' && here(1) == ':' ? read_name() : read_range();
    }

    bool item_has(byte c) const { return named_ != nullptr ? is_in(*named_, c) : c >= low_ && c <= high_; }

    bool is_negated() const { return is_negated_; }
    /// After the last item: whether the class ended as it should.
    bool is_closed() const { return is_closed_; }
    /// The place behind the closing bracket.
    size_t end() const { return at_ + 1; }

private:
    char here(size_t ahead = 0) const { return at_ + ahead < pattern_.size() ? pattern_[at_ + ahead] : '\0'; }

    /// A name between "[:" and ":]". Where the next "]" has no ":" before it, "[" is an ordinary character.
    bool read_name() {
        const size_t name = at_ + 2, close = pattern_.find(']', name);
        if (close == nowhere)
            return false;
        if (close == name || pattern_[close - 1] != ':') {
            low_ = high_ = '[';
            at_++;
            return true;
        }
        named_ = find_named_class(slice(pattern_, name, close - 1 - name));
        at_ = close + 1;
        return named_ != nullptr;
    }

    /// One byte, or two with "-" between. A "-" next to a bracket is an ordinary character.
    bool read_range() {
        if (!read_byte(low_))
            return false;
        high_ = low_;
        if (here() != '-' || here(1) == ']' || at_ + 1 >= pattern_.size())
            return true;
        at_++;
        return read_byte(high_);
    }

    bool read_byte(byte& c) {
        if (here() == '\\')
            at_++;
        if (at_ >= pattern_.size())
            return false;
        c = static_cast<byte>(pattern_[at_++]);
        return true;
    }

    std::string_view pattern_;
    size_t at_, first_;
    bool is_negated_ = false, is_closed_ = false;
    const named_class* named_ = nullptr;
    byte low_ = 0, high_ = 0;
};

/// The place behind a class that begins before `at`; `nowhere` when it is not sound.
size_t skip_class(std::string_view pattern, size_t at) {
    class_reader items(pattern, at);
    while (items.next()) {
    }
    return items.is_closed() ? items.end() : nowhere;
}

bool has(const class_reader& items, byte c, bool any_case) {
    return items.item_has(c) || (any_case && (items.item_has(to_lower(c)) || items.item_has(to_upper(c))));
}

/// Two places, in the pattern and in the path, to which a mismatch goes back.
struct way_back {
    size_t pattern = nowhere, path = 0;
    bool is_open() const { return pattern != nowhere; }
};

/// Walks over pattern and path at once. A mismatch goes back to the last star of the component, and when
/// that has nothing more to take, to the last "**": earlier ones need not be tried again, as what stands
/// behind them was found at the first place where it can be.
class pattern_walk {
public:
    pattern_walk(std::string_view pattern, std::string_view path, bool any_case)
        : pattern_(pattern), path_(path), any_case_(any_case) {}

    bool matches() {
        while (!is_at_end()) {
            if (!step() && !go_back())
                return false;
        }
        return true;
    }

private:
    bool is_at_end() const { return at_ == pattern_.size() && path_at_ == path_.size(); }

    /// One token of the pattern further; false when it does not fit.
    bool step() {
        if (at_ == pattern_.size())
            return false;
        if (pattern_[at_] == '*')
            return step_over_stars();
        return path_at_ < path_.size() && step_over_byte(static_cast<byte>(path_[path_at_]));
    }

    bool step_over_stars() {
        const size_t first = at_, behind = std::min(pattern_.find_first_not_of('*', at_), pattern_.size());
        if (behind - first < 2 || !is_component(first, behind)) {
            at_ = behind;
            star_ = {at_, path_at_};
            return true;
        }
        if (behind == pattern_.size()) { // at the end it takes the rest, which must not be empty
            at_ = behind;
            return take_rest();
        }
        at_ = behind + slash_size(behind);
        deep_ = {at_, path_at_};
        star_ = {};
        return true;
    }

    bool take_rest() {
        const bool is_some = path_at_ < path_.size();
        path_at_ = path_.size();
        return is_some;
    }

    bool step_over_byte(byte c) {
        if (const size_t size = slash_size(at_); size > 0)
            return step_over_slash(c, size);
        if (c == '/')
            return false;
        switch (pattern_[at_]) {
        case '?':
            return advance(at_ + 1);
        case '[':
            return step_over_class(c);
        case '\\':
            return is_same(pattern_[at_ + 1], c) && advance(at_ + 2);
        default:
            return is_same(pattern_[at_], c) && advance(at_ + 1);
        }
    }

    bool step_over_slash(byte c, size_t size) {
        if (c != '/')
            return false;
        star_ = {}; // the component ends here whatever its star takes
        return advance(at_ + size);
    }

    bool step_over_class(byte c) {
        class_reader items(pattern_, at_ + 1);
        bool found = false;
        while (items.next())
            found = found || has(items, c, any_case_);
        return found != items.is_negated() && advance(items.end());
    }

    bool advance(size_t to) {
        at_ = to;
        path_at_++;
        return true;
    }

    bool is_same(char expected, byte c) const {
        const byte wanted = static_cast<byte>(expected);
        return wanted == c || (any_case_ && to_lower(wanted) == to_lower(c));
    }

    bool go_back() {
        if (star_.is_open() && star_.path < path_.size() && path_[star_.path] != '/') {
            star_.path++;
            return go_to(star_);
        }
        const size_t slash = deep_.is_open() ? path_.find('/', deep_.path) : nowhere;
        if (slash == nowhere)
            return false;
        deep_.path = slash + 1;
        star_ = {};
        return go_to(deep_);
    }

    bool go_to(const way_back& place) {
        at_ = place.pattern;
        path_at_ = place.path;
        return true;
    }

    /// Characters of the separator at a place, which may stand behind a backslash; 0 for something else.
    size_t slash_size(size_t at) const {
        if (at < pattern_.size() && pattern_[at] == '/')
            return 1;
        return slice(pattern_, at, 2) == "\\/" ? 2 : 0;
    }

    bool is_component(size_t first, size_t behind) const {
        return (first == 0 || pattern_[first - 1] == '/') &&
               (behind == pattern_.size() || slash_size(behind) > 0);
    }

    std::string_view pattern_, path_;
    bool any_case_;
    size_t at_ = 0, path_at_ = 0;
    way_back star_, deep_;
};

} // namespace

bool is_sound_pattern(std::string_view pattern) {
    size_t at = 0;
    while (at < pattern.size()) {
        const char c = pattern[at++];
        if (c == '\\' && at++ == pattern.size())
            return false;
        if (c == '[' && (at = skip_class(pattern, at)) == nowhere)
            return false;
    }
    return true;
}

bool matches_pattern(std::string_view pattern, std::string_view path, bool any_case) {
    return pattern_walk(pattern, path, any_case).matches();
}

} // namespace ombrel::system
