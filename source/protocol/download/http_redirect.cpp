// Where redirections may lead.
#include "protocol/download/http_source.h"
#include "protocol/download/uri_reference.h"
#include "text/uri_scheme.h"

namespace ombrel::protocol {

bool is_safe_http(const char* uri) {
    return is_same_scheme(scheme_of(uri), "https");
}

http_step follow_redirect(const transfer& what, const char* uri, const char* location) {
    system::quiet_ptr<char> next(resolve_uri_reference(uri, location, {"ombrel_download_file", __LINE__}));
    if (!next)
        return {fail_source(what, fault_code::no_memory, "no memory"), {}};
    const bool is_safe = is_safe_http(next.get());
    const bool is_good = (is_safe || is_same_scheme(scheme_of(next.get()), "http")) &&
                         is_allowed(what.request.options, next.get()) && (is_safe || !is_safe_http(uri));
    if (is_good)
        return {source_end::failed, std::move(next)};
    what.error.set(fault_code::rejected, "the server redirects to what is not allowed");
    return {source_end::refused, {}};
}

} // namespace ombrel::protocol
