// Files from servers of HTTP: redirections, and who asks.
#include "protocol/download/http_source.h"

#include <cstring>

#include <ombrel/string.h>
#include <ombrel/uri.h>

namespace ombrel::protocol {

using system::quiet_ptr;

namespace {

constexpr call_site here{"ombrel_download_file", __LINE__};

bool is_same_host(const ombrel_uri_t& a, const ombrel_uri_t& b) {
    return a.m_host != nullptr && b.m_host != nullptr && strcmp(a.m_scheme, b.m_scheme) == 0 &&
           ombrel_strcasecmp(a.m_host, b.m_host) == 0 && a.m_port == b.m_port;
}

/// The first URI's name and password are for its own host alone.
http_step ask(const transfer& what, const char* uri) {
    const heap_ptr<ombrel_uri_t> first(ombrel_parse_uri_tag(what.request.uri, here.tag, here.line));
    const heap_ptr<ombrel_uri_t> now(ombrel_parse_uri_tag(uri, here.tag, here.line));
    if (!first || !now)
        return {fail_source(what, fault_code::invalid, "the address cannot be understood"), {}};
    http_login login{};
    if (first->m_user != nullptr && is_same_host(*first, *now))
        login = {first->m_user, first->m_password};
    return is_safe_http(uri) ? ask_by_ctx(what, uri, login) : ask_by_client(what, uri, login);
}

} // namespace

source_end fetch_http(const transfer& what) {
    quiet_ptr<char> redirected;
    const char* uri = what.request.uri;
    for (size_t redirects = 0; redirects <= what.request.options.m_redirect_limit; redirects++) {
        what.watch.state().m_uri = uri;
        http_step taken = ask(what, uri);
        if (!taken.next)
            return taken.end;
        redirected = std::move(taken.next);
        uri = redirected.get();
    }
    return fail_source(what, fault_code::link_loop, "too many redirections");
}

} // namespace ombrel::protocol
