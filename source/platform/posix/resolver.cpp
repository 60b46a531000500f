#include "platform/resolver.h"

#include <netdb.h>

namespace ombrel::platform {

namespace {

struct flag_pair {
    unsigned query;
    int hint;
};

constexpr flag_pair hint_flags[] = {
    {query_passive, AI_PASSIVE},
    {query_numeric_host, AI_NUMERICHOST},
    {query_canonical_name, AI_CANONNAME},
};

} // namespace

name_answers::name_answers(const name_query& query) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = query.socket_type;
    hints.ai_protocol = query.protocol;
    for (const flag_pair& flag : hint_flags)
        if ((query.flags & flag.query) != 0)
            hints.ai_flags |= flag.hint;
    addrinfo* answers = nullptr;
    if (getaddrinfo(query.host, query.service, &hints, &answers) == 0)
        first_ = next_ = answers;
}

name_answers::~name_answers() {
    if (first_ != nullptr)
        freeaddrinfo(static_cast<addrinfo*>(first_));
}

bool name_answers::next(name_answer& answer) {
    if (next_ == nullptr)
        return false;
    const addrinfo* const info = static_cast<addrinfo*>(next_);
    next_ = info->ai_next;
    answer = {info->ai_family, info->ai_addr, info->ai_addrlen, info->ai_canonname};
    return true;
}

// The C libraries watch or reread their configuration themselves; there is nothing to ask for.
bool reload_name_service() {
    return false;
}

} // namespace ombrel::platform
