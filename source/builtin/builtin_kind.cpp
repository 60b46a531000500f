#include "builtin/builtin_kind.h"

#include <array>
#include <cerrno>

#include <ombrel/assert.h>
#include <ombrel/ctx_interface.h>
#include <ombrel/scan.h>

namespace ombrel::builtin {

namespace {

struct meaning {
    int number, error;
};

constexpr std::array meanings{
    meaning{ENOENT, def_ombrel_ctx_error_not_found},
    meaning{ENOTDIR, def_ombrel_ctx_error_not_found},
    meaning{ENODEV, def_ombrel_ctx_error_not_found},
    meaning{ENXIO, def_ombrel_ctx_error_not_found},
    meaning{EACCES, def_ombrel_ctx_error_access_denied},
    meaning{EPERM, def_ombrel_ctx_error_access_denied},
    meaning{EROFS, def_ombrel_ctx_error_access_denied},
    meaning{EEXIST, def_ombrel_ctx_error_busy},
    meaning{EBUSY, def_ombrel_ctx_error_busy},
    meaning{ETXTBSY, def_ombrel_ctx_error_busy},
    meaning{EADDRINUSE, def_ombrel_ctx_error_busy},
    meaning{ENOMEM, def_ombrel_ctx_error_no_memory},
    meaning{ENOBUFS, def_ombrel_ctx_error_no_memory},
    meaning{EMFILE, def_ombrel_ctx_error_no_descriptor},
    meaning{ENFILE, def_ombrel_ctx_error_no_descriptor},
    meaning{ETIMEDOUT, def_ombrel_ctx_error_timed_out},
    meaning{EINPROGRESS, def_ombrel_ctx_error_timed_out},
    meaning{EPIPE, def_ombrel_ctx_error_disconnected},
    meaning{ECONNRESET, def_ombrel_ctx_error_disconnected},
    meaning{ECONNREFUSED, def_ombrel_ctx_error_disconnected},
    meaning{ECONNABORTED, def_ombrel_ctx_error_disconnected},
    meaning{ENOTCONN, def_ombrel_ctx_error_disconnected},
    meaning{EHOSTUNREACH, def_ombrel_ctx_error_disconnected},
    meaning{ENETUNREACH, def_ombrel_ctx_error_disconnected},
    meaning{ENETDOWN, def_ombrel_ctx_error_disconnected},
    meaning{EINVAL, def_ombrel_ctx_error_invalid_argument},
    meaning{EISDIR, def_ombrel_ctx_error_invalid_argument},
    meaning{ENOTTY, def_ombrel_ctx_error_invalid_argument},
    meaning{EMSGSIZE, def_ombrel_ctx_error_invalid_argument},
    meaning{ENAMETOOLONG, def_ombrel_ctx_error_invalid_argument},
    meaning{EOVERFLOW, def_ombrel_ctx_error_invalid_argument},
    meaning{EADDRNOTAVAIL, def_ombrel_ctx_error_invalid_argument},
    meaning{ESPIPE, def_ombrel_ctx_error_not_supported},
    meaning{EIO, def_ombrel_ctx_error_io},
    meaning{ENOSPC, def_ombrel_ctx_error_io},
    meaning{EFBIG, def_ombrel_ctx_error_io},
};

} // namespace

int refuse(int handle, int error) {
    ombrel_ctx_set_error_word(handle, error);
    return -1;
}

int fail(const builtin_ctx& ctx, int error) {
    return refuse(ctx.handle, error);
}

int fail_by_system(const builtin_ctx& ctx) {
    return fail(ctx, error_of_system(errno));
}

int error_of_system(int number) {
    for (const meaning& one : meanings) {
        if (one.number == number)
            return one.error;
    }
    return def_ombrel_ctx_error_failed;
}

bool keeps_to_mode(const builtin_ctx& ctx, unsigned direction) {
    if (!ctx.kind->is_bound_by_mode || (ctx.mode & direction) != 0)
        return true;
    fail(ctx, def_ombrel_ctx_error_not_supported);
    return false;
}

bool is_control_record(const builtin_ctx& ctx, size_t size, size_t wanted) {
    if (size == wanted)
        return true;
    ombrel_assert_fail_tag("source/builtin_plugin", ctx.control_function.load(std::memory_order_relaxed),
                           __LINE__, "s_arg_size == sizeof(*s_arg)");
    fail(ctx, def_ombrel_ctx_error_invalid_argument);
    return false;
}

int option_number(const builtin_ctx& ctx, const char* name, int fallback) {
    const char* const text = option_text(ctx, name);
    return text != nullptr ? ombrel_atoi(text) : fallback;
}

} // namespace ombrel::builtin
