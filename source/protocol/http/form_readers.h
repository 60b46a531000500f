// How the two kinds of forms are read. Each reader takes a piece of a body, and tells of the parts in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/http_form.h>

#include "protocol/http/form_parts.h"

namespace ombrel::protocol {

/// A fault with the number of bytes in front of it.
struct form_step {
    int fault;
    size_t read;
};

/// Reads "name=value&name=value".
class plain_form {
public:
    plain_form(form_parts& parts, const ombrel_http_form_options_t& options)
        : parts_(parts), name_limit_(options.m_name_limit), value_limit_(options.m_value_limit),
          allows_nul_((options.m_flags & def_ombrel_http_form_allow_nul) != 0),
          keeps_bad_escapes_((options.m_flags & def_ombrel_http_form_keep_bad_escapes) != 0) {}

    form_step push(std::string_view bytes);
    int finish();

private:
    enum class place { start, name, value };

    int take(char c);
    int take_escape(char c);
    int put(char c);
    int put_bad_escape();
    int flush();
    int begin_value();
    int end_part();

    form_parts& parts_;
    size_t name_limit_, value_limit_;
    bool allows_nul_, keeps_bad_escapes_;
    place place_ = place::start;
    unsigned escape_size_ = 0; ///< characters of an escape that were read
    char escape_[2];
    char value_[256]; ///< decoded bytes that wait to be handed on together
    size_t value_size_ = 0;
    size_t whole_size_ = 0; ///< of the value
};

/// Reads what stands between boundaries.
class multipart_form {
public:
    static constexpr size_t longest_boundary = 70;

    /// @param boundary at most longest_boundary characters, none of them a carriage return
    multipart_form(form_parts& parts, const ombrel_http_form_options_t& options, std::string_view boundary,
                   call_site caller);

    form_step push(std::string_view bytes);
    int finish() const;

private:
    enum class place { start, behind_boundary, closing, head, data, epilogue };

    int take(char c);
    int take_start(char c);
    int take_behind_boundary(char c);
    int take_head(char c);
    int take_epilogue(char c);
    form_step take_data(std::string_view bytes);
    void begin_boundary();
    std::string_view delimiter() const { return {delimiter_, delimiter_size_}; }

    form_parts& parts_;
    size_t head_limit_, name_limit_;
    call_site caller_;
    place place_ = place::start;
    char delimiter_[4 + longest_boundary]; ///< line end, two dashes and the boundary
    size_t delimiter_size_;
    size_t matched_ = 0;     ///< of the delimiter
    size_t borrowed_ = 0;    ///< of these, what is the end of the head's last line as well
    char last_ = '\0';       ///< where an end of a line is looked for
    bool is_padded_ = false; ///< whether blanks stood behind a boundary, or a line end before the first
};

/// Takes a head of fields apart in its place, and finds the names in it. Gives a
/// def_ombrel_http_form_fault_*.
int read_form_head(form_part& part, size_t name_limit, call_site caller);

} // namespace ombrel::protocol
