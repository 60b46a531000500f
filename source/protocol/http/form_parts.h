// The parts of a form on their way to a handler, or to where they are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/http_form.h>

#include "core/call_site.h"
#include "core/growing_text.h"
#include "core/heap_ptr.h"

namespace ombrel::protocol {

/// A part with all that its record points to.
struct form_part {
    ombrel_http_form_part_t shown;
    growing_text head; ///< the texts of the head's fields; of a plain form the name
    heap_ptr<ombrel_http_form_header_t> headers;
    heap_ptr<char> names; ///< those in the head, decoded
    growing_text data;
};

class form_parts {
public:
    form_parts(ombrel_http_form_t* form, const ombrel_http_form_options_t& options, call_site caller)
        : form_(form), options_(options), caller_(caller) {}
    ~form_parts();
    form_parts(const form_parts&) = delete;
    form_parts& operator=(const form_parts&) = delete;

    /// The part that is being read, to be filled before begin().
    form_part& current() { return current_; }

    // These give a def_ombrel_http_form_fault_*, or none.

    /// Adds bytes to the head of the part, of which there may be so many.
    int add_head(std::string_view bytes, size_t limit, int beyond);
    int begin();
    int add(std::string_view bytes);
    int end();

    /// What the handler returned when it ended the reading.
    int handler_result() const { return handler_result_; }

    size_t count() const { return kept_count_; }
    const ombrel_http_form_part_t* operator[](size_t index) const {
        return index < kept_count_ ? &kept_.get()[index].shown : nullptr;
    }

private:
    int tell(int event, std::string_view bytes);
    int keep(std::string_view bytes);
    int keep_part();
    bool grow();

    ombrel_http_form_t* form_;
    ombrel_http_form_options_t options_;
    call_site caller_;
    form_part current_{};
    int64_t current_size_ = 0;
    size_t begun_ = 0;
    size_t kept_bytes_ = 0;
    heap_ptr<form_part> kept_;
    size_t kept_count_ = 0, kept_room_ = 0;
    int handler_result_ = 0;
};

} // namespace ombrel::protocol
