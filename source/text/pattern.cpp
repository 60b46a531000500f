#include <ombrel/pattern.h>

#include <cstring>
#include <string_view>

#include <ombrel/string.h>

#include "text/fold.h"
#include "text/word_list.h"

namespace {

// As types, so that each walk has its folding inline.
constexpr auto keep_case = [](unsigned char c) { return ombrel::keep_case(c); };
constexpr auto to_lower = [](unsigned char c) { return ombrel::to_lower(c); };

/// One walk of a pattern along a string; neither index ever goes back, by design.
template<typename Fold>
class pattern_walk {
public:
    pattern_walk(std::string_view pattern, const char* s, Fold fold)
        : pattern_(pattern), s_(s), fold_(fold) {}

    bool matches() {
        for (pass_ordinary(); !pattern_.empty(); pass_ordinary())
            if (!step())
                return false;
        return *s_ == '\0';
    }

private:
    // As many steps as characters that stand for themselves are here: most of a pattern is of that kind.
    void pass_ordinary() {
        size_t passed = 0;
        while (passed < pattern_.size() && is_ordinary(pattern_[passed]) &&
               is_same(s_[passed], pattern_[passed]))
            passed++;
        pattern_.remove_prefix(passed);
        s_ += passed;
    }

    static bool is_ordinary(char c) { return c != '*' && c != '?' && c != '\\' && c != '\0'; }

    bool step() {
        const char c = take();
        switch (c) {
        case '*':
            skip_to_stop();
            return true;
        case '?':
            return pass_if(*s_ != '\0');
        case '\\':
            // With nothing behind it a backslash just ends the pattern.
            return pattern_.empty() || pass_if(is_here(take()));
        default:
            return pass_if(is_here(c));
        }
    }

    // The stop character is always literal: "*?" looks for a "?". Where it does not occur the walk goes on at
    // the end of the string, as if it had been found there: meant so.
    void skip_to_stop() {
        if (!pattern_.empty() && pattern_.front() == '\\')
            take();
        if (pattern_.empty()) {
            s_ += strlen(s_);
            return;
        }
        const char stop = take();
        while (*s_ != '\0' && !is_here(stop))
            s_++;
        pass_if(*s_ != '\0');
    }

    char take() {
        const char c = pattern_.front();
        pattern_.remove_prefix(1);
        return c;
    }

    bool is_here(char c) const { return *s_ != '\0' && is_same(*s_, c); }

    bool is_same(char a, char b) const {
        return a == b || fold_(static_cast<unsigned char>(a)) == fold_(static_cast<unsigned char>(b));
    }

    bool pass_if(bool accepted) {
        s_ += accepted ? 1 : 0;
        return accepted;
    }

    std::string_view pattern_;
    const char* s_;
    Fold fold_;
};

template<typename Fold>
int check(const char* pattern, const char* s, Fold fold) {
    if (pattern == nullptr)
        return -1;
    return pattern_walk(pattern, ombrel_check_string(s), fold).matches() ? 0 : -1;
}

template<typename Fold>
int check_list(const char* patterns, const char* separators, const char* s, Fold fold) {
    s = ombrel_check_string(s);
    ombrel::word_list words(patterns, separators);
    for (std::string_view word; words.next(word);)
        if (pattern_walk(word, s, fold).matches())
            return 0;
    return -1;
}

} // namespace

int ombrel_check_pattern(const char* pattern, const char* s) {
    return check(pattern, s, keep_case);
}

int ombrel_check_case_pattern(const char* pattern, const char* s) {
    return check(pattern, s, to_lower);
}

int ombrel_check_pattern_list(const char* patterns, const char* separators, const char* s) {
    return check_list(patterns, separators, s, keep_case);
}

int ombrel_check_case_pattern_list(const char* patterns, const char* separators, const char* s) {
    return check_list(patterns, separators, s, to_lower);
}
