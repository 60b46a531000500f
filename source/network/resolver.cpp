#include <ombrel/resolver.h>

#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "network/address_internal.h"
#include "platform/resolver.h"

using namespace ombrel;

namespace {

constexpr size_t host_text_size = 128;
constexpr size_t service_text_size = 64;

// What is asked of the platform for a host and a port.
class resolver_query {
public:
    resolver_query(const char* host, int port);
    resolver_query(const resolver_query&) = delete;
    resolver_query& operator=(const resolver_query&) = delete;

    const platform::name_query& query() const { return query_; }

private:
    void take_port(int port);

    platform::name_query query_;
    char service_[service_text_size];
};

resolver_query::resolver_query(const char* host, int port) {
    if (host != nullptr && *host == '\0')
        query_.flags = platform::query_passive;
    else
        query_.host = host;
    take_port(port);
}

// Without a port each address comes back once when raw sockets are asked for.
void resolver_query::take_port(int port) {
    if (!is_port(port)) {
        query_.socket_type = SOCK_RAW;
        return;
    }
    ombrel_snprintf(service_, sizeof service_, "%d", port);
    query_.service = service_;
    query_.socket_type = SOCK_DGRAM;
    query_.protocol = IPPROTO_UDP;
}

// A list that grows at its end.
class answer_list {
public:
    void append(ombrel_resolver_t* answer) {
        if (answer == nullptr)
            return;
        *end_ = answer;
        end_ = &answer->m_next;
    }
    ombrel_resolver_t* first() const { return first_; }

private:
    ombrel_resolver_t* first_ = nullptr;
    ombrel_resolver_t** end_ = &first_;
};

// One block with the address and its text behind the fixed fields; null when memory runs out.
ombrel_resolver_t* new_answer(const ombrel_resolver_t& fields, const char* tag, unsigned long line) {
    const size_t address_size = static_cast<size_t>(fields.m_address_size);
    const size_t text_size = strlen(fields.m_address_text) + 1;
    char* const block =
        static_cast<char*>(ombrel_alloc_tag(sizeof(ombrel_resolver_t) + address_size + text_size, tag, line));
    if (block == nullptr)
        return nullptr;
    ombrel_resolver_t* const answer = reinterpret_cast<ombrel_resolver_t*>(block);
    *answer = fields;
    answer->m_next = nullptr;
    answer->m_address = reinterpret_cast<sockaddr*>(block + sizeof *answer);
    answer->m_address_text = block + sizeof *answer + address_size;
    memcpy(answer->m_address, fields.m_address, address_size);
    memcpy(answer->m_address_text, fields.m_address_text, text_size);
    return answer;
}

void append_answer(answer_list& list, const platform::name_answer& found) {
    const address_layout* const layout = find_layout(found.family);
    if (layout == nullptr || found.address_size < layout->record_size)
        return;
    char text[host_text_size];
    ombrel_resolver_t fields{};
    fields.m_family = found.family;
    fields.m_address_size = static_cast<int>(found.address_size);
    fields.m_address = const_cast<sockaddr*>(found.address);
    fields.m_address_text = ombrel_inet_stopp(found.address, text, sizeof text, &fields.m_port);
    list.append(new_answer(fields, "ombrel_open_resolver", __LINE__));
}

// A numeric text needs no platform: brackets, prefix and leading zeros mean the same everywhere. A port of
// its own replaces the given one.
ombrel_resolver_t* numeric_answer(const parsed_address& parsed, int port) {
    sockaddr_storage address;
    if (parsed.port >= 0)
        port = parsed.port;
    write_address(parsed, is_port(port) ? port : 0, &address, sizeof address);
    answer_list list;
    append_answer(list, {parsed.family, reinterpret_cast<sockaddr*>(&address),
                         find_layout(parsed.family)->record_size, nullptr});
    return list.first();
}

bool collect_answers(const platform::name_query& query, answer_list& list) {
    platform::name_answers answers(query);
    if (answers.failed())
        return false;
    for (platform::name_answer found; answers.next(found);)
        append_answer(list, found);
    return true;
}

} // namespace

ombrel_resolver_t* ombrel_open_resolver(const char* host, int port) {
    parsed_address parsed;
    if (host != nullptr && parse_address(AF_UNSPEC, host, parsed))
        return numeric_answer(parsed, port);
    const resolver_query asked(host, port);
    answer_list list;
    if (!collect_answers(asked.query(), list)) {
        ombrel_reload_resolver();
        collect_answers(asked.query(), list);
    }
    return list.first();
}

int ombrel_close_resolver(ombrel_resolver_t* list) {
    while (list != nullptr) {
        ombrel_resolver_t* const next = list->m_next;
        ombrel_free(list);
        list = next;
    }
    return 0;
}

ombrel_resolver_t* ombrel_duplicate_resolver(const ombrel_resolver_t* list) {
    answer_list copy;
    for (; list != nullptr; list = list->m_next)
        copy.append(new_answer(*list, "ombrel_duplicate_resolver", __LINE__));
    return copy.first();
}

int ombrel_reload_resolver(void) {
    return platform::reload_name_service() ? 0 : -1;
}
