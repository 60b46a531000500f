#include "platform/resolver.h"

#include <netdb.h>

#include "platform/common/name_hints.h"

namespace ombrel::platform {

name_answers::name_answers(const name_query& query) {
    const addrinfo hints = hints_for<addrinfo>(query);
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
