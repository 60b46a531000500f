// What a kind of the built-in plug-in supplies: a record of functions, one file for each kind.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include <ombrel/ctx.h>
#include <ombrel/uri.h>

#include "context/option_list.h"
#include "platform/file.h"
#include "text/number.h"

namespace ombrel::builtin {

struct builtin_kind;

/// A context that the built-in plug-in has opened or is opening. All texts live as long as it does.
struct builtin_ctx {
    int handle;
    const context::option_list* options; ///< the context's
    const builtin_kind* kind;
    void* state; ///< the kind's own record
    const char* mime_type;
    const char* source;         ///< the option "source", empty when it was not set
    bool has_scheme;            ///< the source begins with a scheme of the kind; else it is a plain one
    const ombrel_uri_t* uri;    ///< the source taken apart, as if the scheme stood before a plain one; null
                                ///< where the kind does not ask for that
    platform::file_access mode; ///< the option "mode"; reading when it was not set
    bool debug, verbose;        ///< the options of these names are not 0
    int missed_time;            ///< the option "missed_time" in milliseconds; 0 when it was not set
    int timeout; ///< milliseconds that one call may wait: the option "timeout", which a control
                 ///< operation changes; negative for no limit
    /// The public function of the last control operation, for reports; threads may control a context at once.
    std::atomic<const char*> control_function;
};

/// What an operation needs of the mode.
using direction = bool platform::file_access::*;
inline constexpr direction reading = &platform::file_access::read, writing = &platform::file_access::write;

/// The kind's own record: made in zeroed memory before open() is called, and ended when the context is freed,
/// after close() or an open() that failed.
struct state_type {
    size_t size = 0;
    void (*construct)(void* place) = nullptr;
    void (*destroy)(void* state) = nullptr;
};

template<typename State>
inline constexpr state_type state_type_of{sizeof(State), [](void* place) { new (place) State(); },
                                          [](void* state) { static_cast<State*>(state)->~State(); }};

/// The operations. Those of ctx.h mean what is said there; a null one is not supported, with that error.
/// A failing operation gives -1 and leaves its error by fail().
struct builtin_kind {
    state_type state = {};
    int timeout = 0;               ///< the default of builtin_ctx::timeout
    bool is_bound_by_mode = false; ///< what goes against the mode is not supported, and is refused before
    bool needs_uri = false; ///< open() is called with a `uri` alone; a source that is none is refused before
    /// 0, or -1: then it has closed what it opened itself, and close() is not called.
    int (*open)(builtin_ctx&) = nullptr;
    /// 0, or -1 when something that was written could not be handed on; everything is released all the same.
    int (*close)(builtin_ctx&) = nullptr;
    int (*is_readable)(builtin_ctx&, int timeout_ms) = nullptr;
    int (*read)(builtin_ctx&, void* buffer, size_t size) = nullptr;
    int (*is_writable)(builtin_ctx&, int timeout_ms) = nullptr;
    int (*write)(builtin_ctx&, const void* data, size_t size) = nullptr;
    int64_t (*seek)(builtin_ctx&, int64_t offset, int whence) = nullptr;
    int (*sync)(builtin_ctx&) = nullptr;
    /// A command by number with one record; the kind refuses what it does not know by refuse_control().
    int (*control)(builtin_ctx&, uint32_t code, void* record, size_t size) = nullptr;
    /// The text of a property, for ombrel_ctx_get_env(): false when there is none of the name.
    bool (*get_property)(builtin_ctx&, const char* name, char* text, size_t room) = nullptr;
    int (*get_fbinfo)(builtin_ctx&, ombrel_ctx_fbinfo_t* info) = nullptr;
};

template<typename State>
State& state_of(builtin_ctx& ctx) {
    return *static_cast<State*>(ctx.state);
}

/// Leaves an error where there is no record yet, and gives -1.
int refuse(int handle, int error);

/// Leaves an error (def_ombrel_ctx_error_…) and gives -1.
int fail(const builtin_ctx& ctx, int error);

/// fail() with words for people.
int fail_in_words(const builtin_ctx& ctx, int error, const char* words);

/// fail() with the error that stands for the last fault, in the host's words.
int fail_by_system(const builtin_ctx& ctx);

/// Whether the mode allows a direction, where it binds; false with the error set.
bool keeps_to_mode(const builtin_ctx& ctx, direction wanted);

/// A control operation that the kind does not have.
inline int refuse_control(const builtin_ctx& ctx) {
    return fail(ctx, def_ombrel_ctx_error_not_supported);
}

/// Reports a record of another size than `wanted` as an assertion; false for it, with the error set.
bool is_control_record(const builtin_ctx& ctx, size_t size, size_t wanted);

/// The argument record of a control operation; null, with the error set, when it is missing or of another
/// size.
template<typename Record>
Record* control_record(const builtin_ctx& ctx, void* record, size_t size) {
    if (!is_control_record(ctx, size, sizeof(Record)))
        return nullptr;
    if (record == nullptr)
        fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return static_cast<Record*>(record);
}

/// An option's text, or null when it is not set; valid until the context is closed.
inline const char* option_text(const builtin_ctx& ctx, const char* name) {
    return ctx.options->get(name);
}

/// Reads an option that is a number; the value stays where it is not set. False, with the error "invalid
/// argument" set, for a text that is no number from `least` to `most`.
template<typename Number>
bool read_option(const builtin_ctx& ctx, const char* name, Number& value,
                 Number least = std::numeric_limits<Number>::min(),
                 Number most = std::numeric_limits<Number>::max()) {
    const char* const text = option_text(ctx, name);
    if (text == nullptr || parse_number(text, least, most, value))
        return true;
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

/// Reads an option that is on where it is a number other than 0.
bool read_switch(const builtin_ctx& ctx, const char* name, bool& is_on);

inline bool is_given(const char* text) {
    return text != nullptr && text[0] != '\0';
}

/// What a call to the other side of a network waits at most where the options say nothing.
inline constexpr int network_timeout_ms = 30000;

/// The length of a result as operations give it, cut to what an int can count.
inline size_t countable(size_t size) {
    constexpr size_t most = 0x7fffffff;
    return size < most ? size : most;
}

extern const builtin_kind builtin_file, builtin_pipe, builtin_tcp, builtin_udp, builtin_tftp, builtin_ftp;
extern const builtin_kind builtin_multicall, builtin_fb, builtin_linuxfb, builtin_windows_dib;

} // namespace ombrel::builtin
