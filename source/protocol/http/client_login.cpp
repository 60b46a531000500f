#include "protocol/http/client_login.h"

#include <cstring>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

// Beyond so many the one that was used last longest ago is forgotten, unless a call holds it.
constexpr size_t most_logins = 64;

using logins = node_list<http_login>;

const char* password_of(const credentials& who) {
    return who.password != nullptr ? who.password : "";
}

size_t key_size_of(const credentials& who) {
    return who.origin.size() + strlen(who.user) + strlen(password_of(who)) + sizeof "\0\0b" - 1;
}

// The parts have no zero in them, so that no two keys of different parts are alike.
void write_key(char* to, const credentials& who) {
    to = put_text(to, who.origin);
    *to++ = '\0';
    to = put_text(to, who.user);
    *to++ = '\0';
    to = put_text(to, password_of(who));
    *to = who.basic ? 'b' : 'd';
}

void free_login(login_list& list, http_login& login) {
    logins(list.first).unlink(login);
    list.count--;
    ombrel_close_http_auth_client(login.client);
    wipe(login.key, login.key_size);
    ombrel_free(&login);
}

void forget_oldest(login_list& list) {
    http_login* oldest = nullptr;
    for (http_login* login = list.first; login != nullptr; login = login->m_next)
        oldest = login->users == 0 && login != list.first ? login : oldest;
    if (oldest != nullptr)
        free_login(list, *oldest);
}

http_login* find_login(login_list& list, std::string_view key) {
    for (http_login* login = list.first; login != nullptr; login = login->m_next)
        if (!login->is_refused && std::string_view(login->key, login->key_size) == key)
            return login;
    return nullptr;
}

bool open_login(http_login& login, const credentials& who, call_site caller) {
    ombrel_http_auth_client_options_t options;
    ombrel_init_http_auth_client_options(&options);
    options.m_schemes = def_ombrel_http_auth_digest | (who.basic ? def_ombrel_http_auth_basic : 0);
    login.client =
        ombrel_open_http_auth_client_tag(who.user, password_of(who), &options, caller.tag, caller.line);
    return login.client != nullptr;
}

} // namespace

http_login* hold_login(login_list& list, const credentials& who, call_site caller) {
    const size_t size = key_size_of(who);
    heap_ptr<http_login> made(
        static_cast<http_login*>(ombrel_calloc_tag(1, sizeof(http_login) + size, caller.tag, caller.line)));
    if (!made)
        return nullptr;
    made->key_size = size;
    made->key = reinterpret_cast<char*>(made.get() + 1);
    write_key(made->key, who);
    http_login* login = find_login(list, {made->key, size});
    if (login != nullptr) {
        wipe(made->key, size);
        logins(list.first).unlink(*login);
        logins(list.first).prepend(*login);
    } else if (open_login(*made, who, caller)) {
        login = made.release();
        logins(list.first).prepend(*login);
        if (++list.count > most_logins)
            forget_oldest(list);
    }
    if (login != nullptr)
        login->users++;
    return login;
}

void release_login(http_login* login) {
    if (login != nullptr)
        login->users--;
}

// A request that was not signed says nothing about the password: what another call has learnt meanwhile will
// do.
bool take_challenges(http_login& login, const char* const* values, size_t count, bool was_signed) {
    if (!was_signed && ombrel_http_auth_client_get_scheme(login.client) != 0)
        return true;
    const bool is_worth_it = ombrel_http_auth_client_take(login.client, values, count) == 1;
    login.is_refused = !is_worth_it;
    return is_worth_it;
}

void free_logins(login_list& list) {
    while (list.first != nullptr)
        free_login(list, *list.first);
}

} // namespace ombrel::protocol
