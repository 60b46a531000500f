// The server at the public interface.
#include <ombrel/ftp_server.h>

#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include <ombrel/file.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "protocol/ftp_server/ftp_server_internal.h"
#include "protocol/ftp_server/ftp_server_session.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

using server_t = ombrel_ftp_server_t;

constexpr char default_greeting[] = "FTP server ready.";
constexpr size_t longest_greeting = 200;

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

int result_of(bool is_done) {
    return is_done ? 0 : -1;
}

template<typename Number>
bool is_within(Number value, Number least, Number most) {
    return value >= least && value <= most;
}

bool is_greeting(const char* text) {
    return text != nullptr && strlen(text) <= longest_greeting &&
           std::string_view(text).find_first_of("\r\n") == std::string_view::npos;
}

bool has_sound_ports(const ombrel_ftp_server_options_t& options) {
    const int first = options.m_first_passive_port, last = options.m_last_passive_port;
    return (first == 0 && last == 0) || (is_within(first, 1, max_port) && is_within(last, first, max_port));
}

bool is_sound(const ombrel_ftp_server_options_t& options) {
    endpoint address;
    const bool has_times = options.m_idle_ms != 0 && options.m_login_ms != 0 && options.m_progress_ms != 0 &&
                           options.m_data_ms != 0;
    const bool has_address =
        options.m_passive_address == nullptr || address.parse(AF_INET, options.m_passive_address, 0);
    return (options.m_flags & ~def_ombrel_ftp_server_passive_only) == 0 && is_greeting(options.m_greeting) &&
           options.m_client_limit > 0 && options.m_rate >= 0 && options.m_rate <= INT64_MAX / 1000000 &&
           has_times && is_within(options.m_login_attempts, 1, 100) &&
           is_within(options.m_login_pause_ms, 0, 60000) &&
           is_within<size_t>(options.m_line_limit, 64, 65536) && has_sound_ports(options) && has_address;
}

/// Keeps the options with their texts.
bool keep_options(server_t& server, const ombrel_ftp_server_options_t& options, const char* function,
                  unsigned long line) {
    server.options = options;
    server.greeting.reset(ombrel_strdup_tag(options.m_greeting, function, line));
    server.options.m_greeting = server.greeting.get();
    if (options.m_passive_address != nullptr) {
        server.passive_address.reset(ombrel_strdup_tag(options.m_passive_address, function, line));
        server.options.m_passive_address = server.passive_address.get();
    }
    server.ports = {options.m_first_passive_port, options.m_last_passive_port, 0};
    server.room.reset(allocate_record<transfer_room>(function, line));
    const bool has_all =
        server.greeting && server.room &&
        (options.m_passive_address == nullptr || server.options.m_passive_address != nullptr);
    return has_all || refuse(fault_code::no_memory);
}

void on_client(int socket, const endpoint& peer, void* context) {
    ftp_server_session::begin(*static_cast<server_t*>(context), socket, peer);
}

void on_stop_time(void* context) {
    server_t& server = *static_cast<server_t*>(context);
    server.has_stopped = true;
    while (server.sessions != nullptr)
        server.sessions->close("the server stopped");
    server.stop_call.set(-1);
    if (const auto handler = std::exchange(server.stop_handler, nullptr))
        handler(&server, server.stop_context);
}

bool open_server(server_t& server, ombrel_event_base_t* base) {
    const listener_settings settings{"ftp",
                                     "421 There are too many clients.\r\n",
                                     server.options.m_client_limit,
                                     server.options.m_address_limit,
                                     on_client,
                                     &server};
    server.base = base;
    server.is_open = true;
    return server.door.open(base, settings) && server.stop_call.open(base, on_stop_time, &server);
}

} // namespace

int ombrel_init_ftp_server_options(ombrel_ftp_server_options_t* options) {
    if (options == nullptr)
        return result_of(refuse(fault_code::invalid));
    *options = {};
    options->m_greeting = default_greeting;
    options->m_client_limit = 1024;
    options->m_idle_ms = 300000;
    options->m_login_ms = 60000;
    options->m_progress_ms = 60000;
    options->m_data_ms = 30000;
    options->m_login_attempts = 5;
    options->m_login_pause_ms = 500;
    options->m_line_limit = 4096;
    options->m_listing_limit = 100000;
    return 0;
}

ombrel_ftp_server_t* ombrel_open_ftp_server_tag(ombrel_event_base_t* base,
                                                const ombrel_ftp_server_options_t* options,
                                                const char* function, unsigned long line) {
    ombrel_ftp_server_options_t settings;
    ombrel_init_ftp_server_options(&settings);
    if (options != nullptr)
        settings = *options;
    if (base == nullptr || !is_sound(settings))
        return refuse(fault_code::invalid), nullptr;
    auto* const block = allocate_record<server_t>(function, line);
    if (block == nullptr)
        return refuse(fault_code::no_memory), nullptr;
    auto* const server = new (block) server_t{};
    if (keep_options(*server, settings, function, line) && open_server(*server, base))
        return server;
    const fault_keeper kept;
    ombrel_close_ftp_server(server);
    return nullptr;
}

int ombrel_close_ftp_server(ombrel_ftp_server_t* server) {
    if (server == nullptr)
        return 0;
    if (server->handlers > 0)
        return result_of(refuse(fault_code::busy));
    server->has_stopped = true;
    while (server->sessions != nullptr)
        server->sessions->close("the server was closed");
    if (server->is_open)
        server->door.close();
    server->stop_call.close();
    server->accounts.close();
    server->~ombrel_ftp_server_ts();
    return ombrel_free(server);
}

int ombrel_ftp_server_add_account(ombrel_ftp_server_t* server, const ombrel_ftp_account_t* account) {
    if (server == nullptr || account == nullptr)
        return result_of(refuse(fault_code::invalid));
    if (server->accounts.add(*account) != def_ombrel_ftp_account_fault_none)
        return -1;
    return result_of(!last_fault());
}

int ombrel_ftp_server_remove_account(ombrel_ftp_server_t* server, const char* name) {
    if (server == nullptr || name == nullptr)
        return result_of(refuse(fault_code::invalid));
    if (server->handlers > 0)
        return result_of(refuse(fault_code::busy));
    ftp_account* const account = server->accounts.find(name);
    if (account == nullptr)
        return result_of(refuse(fault_code::not_found));
    for (ftp_server_session* session = server->sessions; session != nullptr; session = session->next())
        if (session->account() == account)
            session->expel("The account is no more.");
    server->accounts.remove(account);
    return 0;
}

int64_t ombrel_ftp_server_load_accounts(ombrel_ftp_server_t* server, const char* path,
                                        ombrel_ftp_account_fault_t* fault) {
    ombrel_ftp_account_fault_t wrong{};
    if (fault != nullptr)
        *fault = wrong;
    if (server == nullptr || path == nullptr)
        return result_of(refuse(fault_code::invalid));
    const int64_t count = load_accounts(server->accounts, path, wrong);
    if (fault != nullptr)
        *fault = wrong;
    return count;
}

const char* ombrel_ftp_account_fault_text(const ombrel_ftp_account_fault_t* fault) {
    static constexpr const char* texts[] = {"nothing is wrong",
                                            "the line is not NAME:SECRET:DIRECTORY:RIGHTS",
                                            "the name is none",
                                            "there is an account of this name",
                                            "the secret cannot be read",
                                            "the directory cannot be opened",
                                            "the rights are not of the letters r, w, d"};
    if (fault == nullptr || fault->m_reason < 0 || fault->m_reason >= static_cast<int>(std::size(texts)))
        return "";
    if (fault->m_reason == def_ombrel_ftp_account_fault_none && fault->m_fault != 0)
        return "the file cannot be read";
    return texts[fault->m_reason];
}

int ombrel_ftp_server_listen(ombrel_ftp_server_t* server, const char* address, int port) {
    if (server == nullptr || server->is_stopping)
        return result_of(refuse(fault_code::invalid));
    return server->door.listen(address, port);
}

char* ombrel_alloc_ftp_server_url_tag(ombrel_ftp_server_t* server, size_t index, const char* function,
                                      unsigned long line) {
    if (server == nullptr)
        return refuse(fault_code::invalid), nullptr;
    return server->door.alloc_url(index, function, line);
}

int ombrel_ftp_server_stop(ombrel_ftp_server_t* server, int timeout_ms,
                           ombrel_ftp_server_stop_handler_t handler, void* context) {
    if (server == nullptr || server->is_stopping)
        return result_of(refuse(fault_code::invalid));
    server->is_stopping = true;
    server->stop_handler = handler;
    server->stop_context = context;
    server->door.stop();
    for (ftp_server_session* session = server->sessions; session != nullptr; session = session->next())
        session->wake();
    return result_of(server->stop_call.set(server->sessions == nullptr ? 0 : timeout_ms));
}

int ombrel_ftp_server_get_counts(ombrel_ftp_server_t* server, ombrel_ftp_server_counts_t* counts) {
    if (server == nullptr || counts == nullptr)
        return result_of(refuse(fault_code::invalid));
    *counts = server->counts;
    counts->m_accepted = server->door.accepted();
    counts->m_turned_away = server->door.refused();
    counts->m_clients = server->door.clients();
    return 0;
}
