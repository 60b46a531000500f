// Name look-up through the platform's resolver.
#pragma once

#include "platform/socket_address.h"

namespace ombrel::platform {

enum name_query_flags : unsigned {
    query_passive = 1,        ///< a null host means every local address instead of the loop-back ones
    query_canonical_name = 2, ///< the first answer carries the canonical name
};

struct name_query {
    const char* host = nullptr;
    const char* service = nullptr;
    int socket_type = 0; ///< 0 for answers of every type
    int protocol = 0;
    unsigned flags = 0;
};

struct name_answer {
    int family;
    const sockaddr* address;
    size_t address_size;
    const char* canonical_name; ///< null when the answer carries none
};

/// The answers to one query, in the platform's order, for as long as the object lives.
class name_answers {
public:
    /// Asks and waits for the answers.
    explicit name_answers(const name_query& query);
    ~name_answers();
    name_answers(const name_answers&) = delete;
    name_answers& operator=(const name_answers&) = delete;

    bool failed() const { return first_ == nullptr; }
    /// Steps to the next answer; false after the last one.
    bool next(name_answer& answer);

private:
    void* first_ = nullptr;
    void* next_ = nullptr;
};

/// Has the configuration of the platform's resolver read again; false where nothing offers that.
bool reload_name_service();

} // namespace ombrel::platform
