#include "document/ini/ini_value_text.h"

#include <algorithm>

namespace ombrel::document {

namespace {

constexpr std::string_view escape_letters = "\\\"ntb", escaped = "\\\"\n\t\b";

ini_value_shape refused(int fault, size_t at) {
    return {0, false, fault, at};
}

/// Reads values whose quotes may stand anywhere, from left to right.
class character_reader {
public:
    character_reader(ini_dialect dialect, std::string_view text, growing_text& value, call_site caller)
        : dialect_(dialect), text_(text), value_(value), caller_(caller) {}

    ini_value_shape read() {
        while (at_ < text_.size() && ini_line_end_size(text_, at_) == 0 && shape_.fault == 0 &&
               (is_quoted_ || !dialect_.starts_comment_at(text_, at_)))
            step();
        if (shape_.fault == 0 && is_quoted_)
            fail(def_ombrel_ini_fault_open_quote, quote_at_);
        while (value_.size() > solid_)
            value_.drop_last();
        return shape_;
    }

private:
    void fail(int fault, size_t at) { shape_ = refused(fault, at); }

    void put(char c, size_t taken) {
        if (!value_.append({&c, 1}, caller_))
            return fail(def_ombrel_ini_fault_no_memory, at_);
        at_ += taken;
        shape_.is_quoted = false;
        hold();
    }
    /// What was read so far is no white space at the end.
    void hold() {
        solid_ = value_.size();
        shape_.size = at_;
        has_begun_ = true;
    }
    void step() {
        const char c = text_[at_];
        if (!is_quoted_ && is_ini_blank(c))
            return step_blank(c);
        if (c == '\\')
            return step_backslash();
        if (c != '"' || !dialect_.has(def_ombrel_ini_quotes_within))
            return put(c, 1);
        is_quoted_ = !is_quoted_;
        shape_.is_quoted = !is_quoted_ && quote_at_ == 0;
        if (is_quoted_)
            quote_at_ = at_;
        at_++;
        hold();
    }
    void step_blank(char c) {
        if (has_begun_ && !value_.append({&c, 1}, caller_))
            return fail(def_ombrel_ini_fault_no_memory, at_);
        at_++;
    }
    void step_backslash() {
        const size_t line_end = ini_line_end_size(text_, at_ + 1);
        const bool is_last = at_ + 1 == text_.size();
        if ((line_end > 0 || is_last) && dialect_.has(def_ombrel_ini_backslash_lines)) {
            at_ += 1 + line_end;
            return;
        }
        if (!dialect_.has(def_ombrel_ini_escapes) || !dialect_.has(def_ombrel_ini_quotes_within))
            return put('\\', 1);
        const size_t which = is_last ? escape_letters.npos : escape_letters.find(text_[at_ + 1]);
        if (which == escape_letters.npos)
            return fail(def_ombrel_ini_fault_escape, at_);
        put(escaped[which], 2);
    }

    ini_dialect dialect_;
    std::string_view text_;
    growing_text& value_;
    call_site caller_;
    size_t at_ = 0, solid_ = 0, quote_at_ = 0;
    bool is_quoted_ = false, has_begun_ = false;
    ini_value_shape shape_;
};

/// Where a line's comment begins, or its end. Quotes protect items of lists.
size_t find_comment(ini_dialect dialect, std::string_view line) {
    if (!dialect.has_comments_behind())
        return line.size();
    bool at_item = true, has_quotes = dialect.has(def_ombrel_ini_quotes);
    for (size_t at = 0; at < line.size(); at++) {
        const char c = line[at];
        if (c == '"' && at_item && has_quotes) {
            const size_t size = find_ini_quote_end(dialect, slice(line, at));
            has_quotes = size != line.npos; // what no quote closes now none will later: no second look
            at += has_quotes ? size - 1 : 0;
        } else if (dialect.starts_comment_at(line, at)) {
            return at;
        }
        at_item = c == ',' || (at_item && is_ini_blank(c));
    }
    return line.size();
}

/// Puts what is between quotes.
bool put_unquoted(ini_dialect dialect, std::string_view inner, growing_text& value, call_site caller) {
    if (!dialect.has(def_ombrel_ini_escapes))
        return value.append(inner, caller);
    for (size_t at = 0; at < inner.size(); at++) {
        const size_t which = inner[at] == '\\' && at + 1 < inner.size() ? escape_letters.find(inner[at + 1])
                                                                        : escape_letters.npos;
        const bool is_escape = which != escape_letters.npos;
        if (!value.append(is_escape ? slice(escaped, which, 1) : slice(inner, at, 1), caller))
            return false;
        at += is_escape ? 1 : 0;
    }
    return true;
}

/// Whether nothing but a comment stands there.
bool is_at_end(ini_dialect dialect, std::string_view rest) {
    const size_t at = skip_ini_blanks(rest, 0);
    return at == rest.size() || (dialect.has_comments_behind() && dialect.starts_comment(rest[at]));
}

ini_value_shape read_line(ini_dialect dialect, std::string_view line, growing_text& value, call_site caller) {
    const bool may_quote = dialect.has(def_ombrel_ini_quotes) && starts_with(line, "\"");
    const size_t quoted = may_quote ? find_ini_quote_end(dialect, line) : line.npos;
    ini_value_shape shape;
    bool good;
    if (quoted != line.npos && is_at_end(dialect, slice(line, quoted))) {
        shape = {quoted, true};
        good = put_unquoted(dialect, slice(line, 1, quoted - 2), value, caller);
    } else {
        const std::string_view plain = trim_ini_end(slice(line, 0, find_comment(dialect, line)));
        shape = {plain.size(), false};
        good = value.append(plain, caller);
    }
    return good ? shape : refused(def_ombrel_ini_fault_no_memory, 0);
}

/// A value of several lines, each without the white space around it, with comment lines left out.
ini_value_shape read_lines(ini_dialect dialect, std::string_view text, growing_text& value,
                           call_site caller) {
    ini_value_shape shape;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = find_ini_line_end(text, at);
        const bool is_first = at == 0;
        const size_t start = is_first ? 0 : std::min(skip_ini_blanks(text, at), end);
        const std::string_view line = slice(text, start, end - start);
        if (!is_first && !line.empty() && dialect.starts_comment(line.front()))
            continue;
        const std::string_view plain = trim_ini_end(slice(line, 0, find_comment(dialect, line)));
        if ((!is_first && !value.append("\n", caller)) || !value.append(plain, caller))
            return refused(def_ombrel_ini_fault_no_memory, at);
        if (!plain.empty())
            shape.size = start + plain.size();
    }
    return shape;
}

size_t find_comma_by_characters(ini_dialect dialect, std::string_view list) {
    bool is_quoted = false;
    size_t at = 0;
    for (; at < list.size() && (is_quoted || list[at] != ','); at++)
        if (list[at] == '\\' && dialect.has(def_ombrel_ini_escapes | def_ombrel_ini_backslash_lines))
            at++;
        else if (list[at] == '"' && dialect.has(def_ombrel_ini_quotes_within))
            is_quoted = !is_quoted;
    return std::min(at, list.size());
}

size_t find_item_end(ini_dialect dialect, std::string_view list) {
    size_t at = skip_ini_blanks(list, 0);
    if (dialect.has(def_ombrel_ini_quotes) && starts_with(slice(list, at), "\""))
        if (const size_t size = find_ini_quote_end(dialect, slice(list, at)); size != list.npos)
            at += size;
    while (at < list.size() && list[at] != ',' && list[at] != '\n')
        at++;
    return at;
}

} // namespace

size_t find_ini_quote_end(ini_dialect dialect, std::string_view text) {
    for (size_t at = 1; at < text.size() && text[at] != '\n'; at++)
        if (text[at] == '"')
            return at + 1;
        else if (text[at] == '\\' && dialect.has(def_ombrel_ini_escapes) && at + 1 < text.size() &&
                 (text[at + 1] == '"' || text[at + 1] == '\\'))
            at++;
    return text.npos;
}

ini_value_shape read_ini_value(ini_dialect dialect, std::string_view text, growing_text& value,
                               call_site caller) {
    if (!value.be_text(caller))
        return refused(def_ombrel_ini_fault_no_memory, 0);
    if (dialect.reads_characters())
        return character_reader(dialect, text, value, caller).read();
    const size_t end = find_ini_line_end(text, 0);
    return end + 1 < text.size() ? read_lines(dialect, text, value, caller)
                                 : read_line(dialect, slice(text, 0, end), value, caller);
}

bool joins_next_ini_line(ini_dialect dialect, std::string_view line, bool& is_quoted) {
    if (!dialect.has(def_ombrel_ini_backslash_lines))
        return false;
    for (size_t at = 0; at < line.size(); at++) {
        if (!is_quoted && dialect.starts_comment_at(line, at))
            return false;
        if (line[at] == '"' && dialect.has(def_ombrel_ini_quotes_within))
            is_quoted = !is_quoted;
        if (line[at] != '\\')
            continue;
        if (at + 1 == line.size() || ini_line_end_size(line, at + 1) > 0)
            return true;
        if (dialect.has(def_ombrel_ini_escapes) && dialect.has(def_ombrel_ini_quotes_within))
            at++;
    }
    return false;
}

int read_ini_item(ini_dialect dialect, std::string_view text, growing_text& item, call_site caller) {
    if (dialect.reads_characters())
        return character_reader(dialect, text, item, caller).read().fault;
    const bool is_quoted = dialect.has(def_ombrel_ini_quotes) && starts_with(text, "\"") &&
                           find_ini_quote_end(dialect, text) == text.size();
    const bool good = is_quoted ? put_unquoted(dialect, slice(text, 1, text.size() - 2), item, caller)
                                : item.append(text, caller);
    return good ? def_ombrel_ini_fault_none : def_ombrel_ini_fault_no_memory;
}

std::string_view take_ini_item(ini_dialect dialect, std::string_view& list) {
    const size_t end =
        dialect.reads_characters() ? find_comma_by_characters(dialect, list) : find_item_end(dialect, list);
    const std::string_view item = trim_ini(slice(list, 0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
    return item;
}

} // namespace ombrel::document
