// The errors of contexts by names that leave room in tables.
#pragma once

#include <ombrel/ctx.h>

namespace ombrel_test::ctx_error {

inline constexpr int access_denied = def_ombrel_ctx_error_access_denied, busy = def_ombrel_ctx_error_busy,
                     already_open = def_ombrel_ctx_error_already_open, corrupt = def_ombrel_ctx_error_corrupt,
                     disconnected = def_ombrel_ctx_error_disconnected, exists = def_ombrel_ctx_error_exists,
                     refused = def_ombrel_ctx_error_refused, is_directory = def_ombrel_ctx_error_is_directory,
                     no_space = def_ombrel_ctx_error_no_space,
                     invalid = def_ombrel_ctx_error_invalid_argument, io = def_ombrel_ctx_error_io,
                     no_descriptor = def_ombrel_ctx_error_no_descriptor,
                     not_found = def_ombrel_ctx_error_not_found,
                     not_supported = def_ombrel_ctx_error_not_supported, syntax = def_ombrel_ctx_error_syntax,
                     timed_out = def_ombrel_ctx_error_timed_out,
                     unknown_host = def_ombrel_ctx_error_unknown_host;

} // namespace ombrel_test::ctx_error
