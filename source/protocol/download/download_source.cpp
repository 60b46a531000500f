// Which of the kinds of sources is asked.
#include "protocol/download/download_source.h"

#include <string_view>

#include "text/uri_scheme.h"

namespace ombrel::protocol {

namespace {

source_end fetch_by_scheme(const transfer& what) {
    const std::string_view scheme = scheme_of(what.request.uri);
    if (is_same_scheme(scheme, "http") || is_same_scheme(scheme, "https"))
        return fetch_http(what);
    return is_same_scheme(scheme, "ftp") ? fetch_ftp(what) : fetch_by_ctx(what);
}

} // namespace

source_end fetch_source(const transfer& what) {
    what.watch.state().m_uri = what.request.uri;
    if (!is_allowed(what.request.options, what.request.uri))
        return fail_source(what, fault_code::invalid, "the scheme is not allowed");
    if (!what.watch.enter(def_ombrel_download_connecting))
        return source_end::stopped;
    const source_end end = fetch_by_scheme(what);
    what.watch.state().m_uri = what.request.uri; // redirections end with the request
    return end;
}

} // namespace ombrel::protocol
