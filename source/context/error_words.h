// What was said of a context's last failure.
#pragma once

#include <cstddef>
#include <cstring>

#include <ombrel/ctx.h>
#include <ombrel/string.h>

#include "core/short_lock_guard.h"
#include "text/charset/whole_characters.h"

namespace ombrel::context {

/// One line for people, which any thread may set and read. It belongs to the code it came with: another code
/// has no words until some are set.
class error_words {
public:
    /// Keeps what fits, in whole characters. The text may be a peer's, so that its control characters become
    /// spaces.
    void set(int code, const char* text) {
        const short_lock_guard guard(lock_);
        code_ = code;
        copy(text != nullptr ? text : "");
    }
    void clear() { set(def_ombrel_ctx_error_none, nullptr); }

    /// The words of a code, "" without any.
    void get(int code, char (&text)[def_ombrel_ctx_error_text_size]) const {
        const short_lock_guard guard(lock_);
        memcpy(text, code_ == code ? text_ : "", code_ == code ? sizeof text_ : 1);
    }

private:
    void copy(const char* text) OMBREL_REQUIRES(lock_) {
        const size_t length = whole_characters(text, ombrel_strnlen(text, sizeof text_ - 1));
        for (size_t i = 0; i < length; i++) {
            const auto byte = static_cast<unsigned char>(text[i]);
            text_[i] = byte < ' ' || byte == 0x7f ? ' ' : text[i];
        }
        text_[length] = '\0';
    }

    mutable ombrel_short_lock_t lock_{};
    int code_ OMBREL_GUARDED_BY(lock_) = def_ombrel_ctx_error_none;
    char text_[def_ombrel_ctx_error_text_size] OMBREL_GUARDED_BY(lock_){};
};

} // namespace ombrel::context
