// One request of HTTP, in either of the two ways in which it is spoken.
#pragma once

#include "protocol/download/http_reply.h"
#include "system/file/file_internal.h"

namespace ombrel::protocol {

/// How a request ended: with another place to ask, or for good.
struct http_step {
    source_end end;
    system::quiet_ptr<char> next; ///< the URI of the other place; null at the end
};

/// Whether it is https.
bool is_safe_http(const char* uri);

/// The step to where a redirection leads, if that is allowed.
http_step follow_redirect(const transfer& what, const char* uri, const char* location);

/// Who asks a server that wants to know; null for nobody.
struct http_login {
    const char* user;
    const char* password;
};

/// By the library's own client, for the scheme http.
http_step ask_by_client(const transfer& what, const char* uri, const http_login& login);

/// By the context of a plug-in, for https.
http_step ask_by_ctx(const transfer& what, const char* uri, const http_login& login);

} // namespace ombrel::protocol
