#include <ombrel/ftp_server.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/printf.h>

#include "command/command_options.h"
#include "command/command_server.h"
#include "command/command_table.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::command {

namespace {

struct ftpd_choice {
    const char* address = "127.0.0.1";
    int port = 2121;
    const char* accounts = nullptr;
    int clients = 1024;
    int64_t rate = 0;
    const char* passive_ports = nullptr;
    const char* passive_address = nullptr;
    int is_quiet = 0;
};

constexpr ombrel_argument_option_t options[] = {
    address_option(offsetof(ftpd_choice, address)),
    port_option(offsetof(ftpd_choice, port), "port, 0 for a free one (default 2121)"),
    {.m_letter = 'A',
     .m_name = "accounts",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ftpd_choice, accounts),
     .m_value = "ACCOUNTS",
     .m_help = "file of lines NAME:SECRET:DIRECTORY:RIGHTS"},
    {.m_letter = 'c',
     .m_name = "clients",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ftpd_choice, clients),
     .m_value = "COUNT",
     .m_help = "clients at a time (default 1024)",
     .m_least = 1,
     .m_most = 1000000},
    {.m_letter = 'r',
     .m_name = "rate",
     .m_kind = def_ombrel_argument_size,
     .m_offset = offsetof(ftpd_choice, rate),
     .m_value = "SIZE",
     .m_help = "bytes a second for each client (default: as many as go)",
     .m_least = 1,
     .m_most = int64_t{1} << 40},
    {.m_letter = 'P',
     .m_name = "passive-ports",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ftpd_choice, passive_ports),
     .m_value = "FIRST-LAST",
     .m_help = "ports of passive connections (default: any)"},
    {.m_letter = 'e',
     .m_name = "passive-address",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ftpd_choice, passive_address),
     .m_value = "ADDRESS",
     .m_help = "IPv4 address that clients are told for them"},
    {.m_letter = 'q',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ftpd_choice, is_quiet),
     .m_help = "print no lines about clients"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "ftpd",
    .m_summary = "Serves directories by FTP.",
    .m_notes =
        "A line of ACCOUNTS begins as \"secret NAME\" prints it; RIGHTS are of the letters r (list and "
        "fetch), w (store, make directories) and d (remove; with w also rename). The account "
        "\"anonymous\" takes any password, and its SECRET may be empty. Links are not followed, and "
        "nobody leaves his directory. Passwords cross the network as they are typed. Beyond this "
        "machine one address may have 64 clients at a time. "
        "On a signal to terminate it lets transfers go on for two seconds; a second one ends it at once.\n",
    .m_options = options};

/// "FIRST-LAST".
bool parse_ports(std::string_view text, ombrel_ftp_server_options_t& how) {
    constexpr int most = 65535;
    const size_t dash = text.find('-');
    return dash != std::string_view::npos &&
           parse_number(slice(text, 0, dash), 1, most, how.m_first_passive_port) &&
           parse_number(slice(text, dash + 1), how.m_first_passive_port, most, how.m_last_passive_port);
}

/// The accounts and their server, for a scope.
class account_server {
public:
    explicit account_server(server_loop& loop) : loop_(loop) {}
    ~account_server() { ombrel_close_ftp_server(server_); }
    account_server(const account_server&) = delete;
    account_server& operator=(const account_server&) = delete;

    /// False after a complaint.
    bool open(const ombrel_ftp_server_options_t& how, const char* accounts) {
        server_ = ombrel_open_ftp_server(loop_.base(), &how);
        return server_ != nullptr ? load(accounts) : loop_.fails_by("server");
    }
    bool listen(const ftpd_choice& choice) {
        return ombrel_ftp_server_listen(server_, choice.address, choice.port) > 0 ||
               loop_.fails_by(choice.address);
    }
    char* alloc_url() { return ombrel_alloc_ftp_server_url(server_, 0); }
    int stop() {
        return ombrel_ftp_server_stop(
            server_, server_loop::stop_ms,
            [](ombrel_ftp_server_t*, void* loop) { static_cast<server_loop*>(loop)->end(); }, &loop_);
    }

private:
    bool load(const char* accounts) {
        ombrel_ftp_account_fault_t wrong;
        if (ombrel_ftp_server_load_accounts(server_, accounts, &wrong) >= 0)
            return true;
        if (wrong.m_line == 0)
            return loop_.fails_by(accounts);
        const bool is_directory = wrong.m_reason == def_ombrel_ftp_account_fault_directory;
        char text[256], what[1024];
        ombrel_snprintf(text, sizeof text, is_directory ? "%s: %s" : "%s",
                        ombrel_ftp_account_fault_text(&wrong), ombrel_fault_text());
        ombrel_snprintf(what, sizeof what, "%s: line %llu", accounts,
                        static_cast<unsigned long long>(wrong.m_line));
        complain("ftpd", what, text);
        return false;
    }

    server_loop& loop_;
    ombrel_ftp_server_t* server_ = nullptr;
};

int run_ftpd(int argc, char** argv) {
    const command_arguments<ftpd_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    constexpr size_t clients_of_a_stranger = 64;
    ombrel_ftp_server_options_t how;
    ombrel_init_ftp_server_options(&how);
    how.m_client_limit = static_cast<size_t>(arguments->clients);
    // Each log-in of a strong secret takes some time of the one thread.
    how.m_address_limit = server_loop::is_loopback(arguments->address) ? 0 : clients_of_a_stranger;
    how.m_rate = arguments->rate;
    how.m_passive_address = arguments->passive_address;
    if (arguments->accounts == nullptr)
        return ombrel_refuse_arguments(&table, "-A ACCOUNTS is missing");
    if (arguments->passive_ports != nullptr && !parse_ports(arguments->passive_ports, how))
        return ombrel_refuse_arguments(&table, "\"%s\" are no ports such as 40000-40099",
                                       arguments->passive_ports);
    server_loop loop("ftpd");
    how.m_log_handler = arguments->is_quiet != 0 ? nullptr : server_loop::log_line;
    how.m_log_context = &loop;
    account_server server(loop);
    return exit_code(loop.open() && server.open(how, arguments->accounts) && server.listen(*arguments) &&
                     loop.tell("serving", arguments->accounts, server.alloc_url()) &&
                     loop.run([&] { return server.stop(); }));
}

} // namespace

constexpr own_command ftpd_command = command_of(table, run_ftpd);

} // namespace ombrel::command
