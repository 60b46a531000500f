#include "context/ctx_fault.h"

#include <array>

#include <ombrel/ctx.h>

namespace ombrel::context {

namespace {

struct meaning {
    fault_code code;
    int error;
};

// Of several faults with one error the first is what the error is taken for. A host that does not support
// something failed, by design: the context's own word for that tells that no plug-in serves the operation.
constexpr meaning meanings[] = {
    {fault_code::invalid, def_ombrel_ctx_error_invalid_argument},
    {fault_code::address_not_available, def_ombrel_ctx_error_invalid_argument},
    {fault_code::not_seekable, def_ombrel_ctx_error_not_supported},
    {fault_code::no_memory, def_ombrel_ctx_error_no_memory},
    {fault_code::not_found, def_ombrel_ctx_error_not_found},
    {fault_code::not_directory, def_ombrel_ctx_error_not_found},
    {fault_code::access_denied, def_ombrel_ctx_error_access_denied},
    {fault_code::timed_out, def_ombrel_ctx_error_timed_out},
    {fault_code::in_progress, def_ombrel_ctx_error_timed_out},
    {fault_code::reset, def_ombrel_ctx_error_disconnected},
    {fault_code::not_connected, def_ombrel_ctx_error_disconnected},
    {fault_code::aborted, def_ombrel_ctx_error_disconnected},
    {fault_code::closed, def_ombrel_ctx_error_disconnected},
    {fault_code::input_output, def_ombrel_ctx_error_io},
    {fault_code::too_large, def_ombrel_ctx_error_io},
    {fault_code::busy, def_ombrel_ctx_error_busy},
    {fault_code::address_in_use, def_ombrel_ctx_error_busy},
    {fault_code::violation, def_ombrel_ctx_error_protocol},
    {fault_code::rejected, def_ombrel_ctx_error_protocol},
    {fault_code::no_descriptor, def_ombrel_ctx_error_no_descriptor},
    {fault_code::refused, def_ombrel_ctx_error_refused},
    {fault_code::unknown_host, def_ombrel_ctx_error_unknown_host},
    {fault_code::unreachable, def_ombrel_ctx_error_unreachable},
    {fault_code::is_directory, def_ombrel_ctx_error_is_directory},
    {fault_code::exists, def_ombrel_ctx_error_exists},
    {fault_code::no_space, def_ombrel_ctx_error_no_space},
};

} // namespace

int ctx_error_of(fault_code code) {
    for (const meaning& one : meanings)
        if (one.code == code)
            return one.error;
    return def_ombrel_ctx_error_failed;
}

fault_code fault_of_ctx_error(int error) {
    switch (error) {
    case def_ombrel_ctx_error_not_supported:
        return fault_code::not_supported;
    case def_ombrel_ctx_error_syntax:
        return fault_code::invalid;
    default:
        break;
    }
    for (const meaning& one : meanings)
        if (one.error == error)
            return one.code;
    return fault_code::other;
}

} // namespace ombrel::context

const char* ombrel_ctx_error_text(int error) {
    static constexpr std::array texts{"",
                                      "it failed",
                                      "invalid argument",
                                      "not supported by any plug-in",
                                      "out of memory",
                                      "not found",
                                      "access denied",
                                      "timed out",
                                      "the other side is gone",
                                      "already open",
                                      "input or output error",
                                      "busy",
                                      "protocol error, or the request was refused",
                                      "the data are damaged",
                                      "the address cannot be understood",
                                      "no descriptor left",
                                      "connection refused",
                                      "unknown host",
                                      "host unreachable",
                                      "it is a directory",
                                      "it exists already",
                                      "no space left"};
    return error >= 0 && static_cast<size_t>(error) < texts.size() ? texts[static_cast<size_t>(error)]
                                                                   : texts[def_ombrel_ctx_error_failed];
}
