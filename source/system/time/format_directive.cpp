#include "system/time/format_directive.h"

#include <algorithm>

namespace ombrel::system {

namespace {

constexpr int width_max = 65535;

class directive_reader {
public:
    directive_reader(std::string_view format, directive& how) : format_(format), how_(how) {}

    std::string_view read() {
        while (take_flag())
            at_++;
        read_width();
        if (peek() == 'E' || peek() == 'O')
            how_.modifier = format_[at_++];
        read_colons();
        const bool is_cut_off = at_ == format_.size() || (peek() == '%' && at_ > 1);
        return {format_.data(), is_cut_off ? at_ : at_ + 1};
    }

private:
    char peek() const { return at_ < format_.size() ? format_[at_] : '\0'; }
    bool sees_digit() const { return peek() >= '0' && peek() <= '9'; }

    bool take_flag() {
        switch (peek()) {
        case '-':
        case '_':
        case '0':
        case '+':
            how_.pad = peek();
            return true;
        case '^':
            how_.is_upper = true;
            return true;
        case '#':
            how_.is_other_case = true;
            return true;
        default:
            return false;
        }
    }

    void read_width() {
        if (sees_digit())
            how_.width = 0;
        for (; sees_digit(); at_++)
            how_.width = std::min(how_.width * 10 + (peek() - '0'), width_max);
    }

    void read_colons() {
        const size_t start = at_;
        while (peek() == ':')
            at_++;
        how_.colons = static_cast<int>(std::min<size_t>(at_ - start, 4));
        if (how_.colons != 0 && peek() != 'z')
            at_ = start; // nothing else has colons: the first is as a letter that is none
    }

    std::string_view format_;
    directive& how_;
    size_t at_ = 1;
};

} // namespace

std::string_view read_directive(std::string_view format, directive& how) {
    return directive_reader(format, how).read();
}

} // namespace ombrel::system
