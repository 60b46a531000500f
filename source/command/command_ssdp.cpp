#include <ombrel/ssdp.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "command/command_options.h"
#include "command/command_server.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct ssdp_choice {
    const char* type = nullptr;
    int wait_s = 3;
    const char* usn = nullptr;
    const char* location = nullptr;
    int max_age_s = 1800;
    const char* interface_name = nullptr;
    const char* address = nullptr;
    int port = def_ombrel_ssdp_port;
    int only_ipv4 = 0;
    int only_ipv6 = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 't',
     .m_name = "type",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ssdp_choice, type),
     .m_value = "TYPE",
     .m_help = "what to look for (default ssdp:all), or what is announced"},
    {.m_letter = 'w',
     .m_name = "wait",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ssdp_choice, wait_s),
     .m_value = "SECONDS",
     .m_help = "search: how long (default 3)",
     .m_least = 1,
     .m_most = 3600},
    {.m_letter = 'u',
     .m_name = "usn",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ssdp_choice, usn),
     .m_value = "USN",
     .m_help = "announce: the unique name"},
    {.m_letter = 'l',
     .m_name = "location",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ssdp_choice, location),
     .m_value = "URL",
     .m_help = "announce: where the description is, http or https"},
    {.m_letter = 'm',
     .m_name = "max-age",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ssdp_choice, max_age_s),
     .m_value = "SECONDS",
     .m_help = "announce: for how long others believe it (default 1800)",
     .m_least = 1,
     .m_most = 86400},
    {.m_letter = 'i',
     .m_name = "interface",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ssdp_choice, interface_name),
     .m_value = "NAME",
     .m_help = "network interface (default: the system's choice)"},
    {.m_letter = 'a',
     .m_name = "address",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ssdp_choice, address),
     .m_value = "ADDRESS",
     .m_help = "own numeric address to send from"},
    {.m_letter = 'p',
     .m_name = "port",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ssdp_choice, port),
     .m_value = "PORT",
     .m_help = "port of the groups (default 1900)",
     .m_least = 1,
     .m_most = 65535},
    {.m_letter = '4',
     .m_name = "ipv4",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ssdp_choice, only_ipv4),
     .m_help = "IPv4 alone"},
    {.m_letter = '6',
     .m_name = "ipv6",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ssdp_choice, only_ipv6),
     .m_help = "IPv6 alone"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "ssdp",
    .m_operands = "search|announce",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Looks for devices on the network, or announces one.",
    .m_notes =
        "\"ssdp search\" prints a line for each thing that answers: its unique name, its type, the URL of "
        "its "
        "description, and its server's words. \"ssdp announce\" wants -t, -u and -l; it announces, answers "
        "searches, and withdraws all when a signal to terminate comes.",
    .m_options = options};

/// A service for a scope.
class scoped_service {
public:
    scoped_service(server_loop& loop, ombrel_ssdp_options_t& how)
        : loop_(loop), ssdp_(ombrel_open_ssdp(loop.base(), &how)) {}
    ~scoped_service() { ombrel_close_ssdp(ssdp_); }
    scoped_service(const scoped_service&) = delete;
    scoped_service& operator=(const scoped_service&) = delete;

    ombrel_ssdp_t* get() const { return ssdp_; }
    explicit operator bool() const { return ssdp_ != nullptr; }
    int stop() {
        return ombrel_ssdp_stop(
            ssdp_, server_loop::stop_ms,
            [](ombrel_ssdp_t*, void* loop) { static_cast<server_loop*>(loop)->end(); }, &loop_);
    }

private:
    server_loop& loop_;
    ombrel_ssdp_t* ssdp_;
};

int print_found(ombrel_ssdp_t*, int event, const ombrel_ssdp_entry_t* entry, void*) {
    if (event != def_ombrel_ssdp_added)
        return 0;
    ombrel_printf("%s %s %s %s\n", entry->m_usn, entry->m_type, entry->m_location, entry->m_server);
    ombrel_puts(nullptr);
    return 0;
}

ombrel_ssdp_options_t options_of(const ssdp_choice& choice) {
    ombrel_ssdp_options_t how;
    ombrel_init_ssdp_options(&how);
    if (choice.only_ipv4 != choice.only_ipv6)
        how.m_flags = choice.only_ipv4 != 0 ? def_ombrel_ssdp_ipv4 : def_ombrel_ssdp_ipv6;
    how.m_interface = choice.interface_name;
    how.m_address = choice.address;
    how.m_port = choice.port;
    return how;
}

bool search(server_loop& loop, const ssdp_choice& choice) {
    constexpr int most_spread_s = 5;
    ombrel_ssdp_options_t how = options_of(choice);
    how.m_flags |= def_ombrel_ssdp_no_listen;
    how.m_handler = print_found;
    const scoped_service service(loop, how);
    const char* const target = choice.type != nullptr ? choice.type : "ssdp:all";
    if (!service)
        return loop.fails_by("search");
    // The last answers need some of the time for their way.
    if (ombrel_ssdp_search(service.get(), target, std::clamp(choice.wait_s - 1, 1, most_spread_s)) != 0)
        return loop.fails_by(target);
    ombrel_event_base_exit_loop(loop.base(), choice.wait_s * 1000);
    return loop.run([&loop] { return loop.end(), 0; });
}

bool announce(server_loop& loop, const ssdp_choice& choice) {
    ombrel_ssdp_options_t how = options_of(choice);
    how.m_entry_limit = 0;
    scoped_service service(loop, how);
    if (!service)
        return loop.fails_by("announce");
    if (ombrel_ssdp_announce(service.get(), choice.type, choice.usn, choice.location, choice.max_age_s) < 0)
        return loop.fails_by(choice.usn);
    return loop.tell("announcing", choice.type, ombrel_strdup(choice.location)) &&
           loop.run([&] { return service.stop(); });
}

int run_ssdp(int argc, char** argv) {
    const command_arguments<ssdp_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const std::string_view what = arguments.operand(0);
    const bool announces = what == "announce";
    if (!announces && what != "search")
        return ombrel_refuse_arguments(&table, "\"%s\" is neither search nor announce", what.data());
    if (announces &&
        (arguments->type == nullptr || arguments->usn == nullptr || arguments->location == nullptr))
        return ombrel_refuse_arguments(&table, "-t TYPE, -u USN and -l URL are needed");
    server_loop loop("ssdp");
    return exit_code(loop.open() && (announces ? announce(loop, *arguments) : search(loop, *arguments)));
}

} // namespace

constexpr own_command ssdp_command = command_of(table, run_ssdp);

} // namespace ombrel::command
