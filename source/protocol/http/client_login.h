// Names and passwords by which a client answers challenges.
#pragma once

#include <string_view>

#include <ombrel/http_auth.h>

#include "core/call_site.h"
#include "core/node_list.h"

namespace ombrel::protocol {

/// What one origin, or the proxy, has asked of one name.
struct http_login {
    http_login* m_prev;
    http_login* m_next;
    ombrel_http_auth_client_t* client;
    unsigned users; ///< calls that hold it
    size_t key_size;
    bool is_refused; ///< the server does not take it: the next call begins with a new one
    char* key;       ///< origin, name, password and schemes, behind the record
};

/// The logins of a client, the last used first.
struct login_list {
    http_login* first;
    size_t count;
};

/// Who logs in where.
struct credentials {
    std::string_view origin;
    const char* user;
    const char* password; ///< null counts as empty
    bool basic;           ///< whether Basic may be used too
};

/// The login of these credentials, made when it is not there; null when memory runs out or the name cannot be
/// one. It is to be released.
http_login* hold_login(login_list& list, const credentials& who, call_site caller);
void release_login(http_login* login);

/// Takes the challenges of an answer. Whether the request is worth repeating.
bool take_challenges(http_login& login, const char* const* values, size_t count, bool was_signed);

/// Frees all; none may be held.
void free_logins(login_list& list);

} // namespace ombrel::protocol
