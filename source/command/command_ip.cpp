#include <cstddef>
#include <cstdio>
#include <string_view>

#include <ombrel/fault.h>
#include <ombrel/network.h>
#include <ombrel/network_watch.h>

#include "command/command_options.h"
#include "command/command_server.h"
#include "command/command_table.h"
#include "command/ip_output.h"

namespace ombrel::command {

namespace {

struct ip_choice {
    int as_json = 0;
    int only_ipv4 = 0;
    int only_ipv6 = 0;
    int with_statistics = 0;
    int every_table = 0;
    const char* interface_name = nullptr;
    int count = 0;
    int seconds = 0;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'j',
     .m_name = "json",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ip_choice, as_json),
     .m_help = "an array of objects; from a watch an object a line"},
    {.m_letter = '4',
     .m_name = "ipv4",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ip_choice, only_ipv4),
     .m_help = "IPv4 alone"},
    {.m_letter = '6',
     .m_name = "ipv6",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ip_choice, only_ipv6),
     .m_help = "IPv6 alone"},
    {.m_letter = 'i',
     .m_name = "interface",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(ip_choice, interface_name),
     .m_value = "NAME",
     .m_help = "of one interface alone"},
    {.m_letter = 's',
     .m_name = "statistics",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ip_choice, with_statistics),
     .m_help = "address: what interfaces have moved, too"},
    {.m_letter = 'a',
     .m_name = "all",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(ip_choice, every_table),
     .m_help = "route: every table, not the main one alone"},
    {.m_letter = 'n',
     .m_name = "count",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ip_choice, count),
     .m_value = "COUNT",
     .m_help = "watch: ends after so many changes",
     .m_least = 1,
     .m_most = INT32_MAX},
    {.m_letter = 'w',
     .m_name = "wait",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(ip_choice, seconds),
     .m_value = "SECONDS",
     .m_help = "watch: ends after so long",
     .m_least = 1,
     .m_most = 2000000},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "ip",
    .m_operands = "address|route|neighbour|watch [DESTINATION]",
    .m_least_operands = 1,
    .m_most_operands = 2,
    .m_summary = "Shows interfaces and addresses, routes, neighbours, and their changes.",
    .m_notes = "\"ip route DESTINATION\" shows the route that packets to a numeric address would take. \"ip "
               "watch\" prints a line for each change until it is interrupted. Nothing of the host is "
               "changed. The members of the JSON objects have the names that the system's tools give them.",
    .m_options = options};

bool fails(const char* what) {
    complain("ip", what, ombrel_fault_text());
    return false;
}

int family_of(const ip_choice& choice) {
    if (choice.only_ipv4 == choice.only_ipv6)
        return 0;
    return choice.only_ipv4 != 0 ? AF_INET : AF_INET6;
}

/// What is shown, one after the other, as an array or as lines.
class shown_list {
public:
    explicit shown_list(const ip_choice& choice) : as_json_(choice.as_json != 0) {
        if (as_json_)
            json_.begin_array();
    }
    void end() {
        if (!as_json_)
            return;
        json_.end_array();
        json_.end_line();
    }
    template<typename Record>
    void show(const Record& one, void (*put)(json_output&, const Record&, interface_names&),
              void (*print)(const Record&, interface_names&)) {
        if (as_json_) {
            json_.begin_object();
            put(json_, one, names_);
            json_.end_object();
        } else {
            print(one, names_);
            ombrel_puts("\n");
        }
    }
    json_output& json() { return json_; }
    interface_names& names() { return names_; }

private:
    bool as_json_;
    json_output json_;
    interface_names names_;
};

bool is_shown(const ombrel_interface_address_t& one, const ip_choice& choice) {
    const int family = family_of(choice);
    return family == 0 || one.m_address.ss_family == family;
}

void put_interface(shown_list& list, const ombrel_network_interface_t& one, const ip_choice& choice) {
    json_output& json = list.json();
    json.begin_object();
    put_interface_members(json, one, list.names(), choice.with_statistics != 0);
    json.begin_array("addr_info");
    for (const ombrel_interface_address_t* at = one.m_address; at != nullptr; at = at->m_next)
        if (is_shown(*at, choice)) {
            json.begin_object();
            put_address_members(json, *at);
            json.end_object();
        }
    json.end_array();
    json.end_object();
}

void print_whole_interface(shown_list& list, const ombrel_network_interface_t& one, const ip_choice& choice) {
    print_interface(one, list.names());
    ombrel_puts("\n");
    for (const ombrel_interface_address_t* at = one.m_address; at != nullptr; at = at->m_next)
        if (is_shown(*at, choice)) {
            ombrel_puts("    ");
            print_address(*at);
            ombrel_puts("\n");
        }
    if (choice.with_statistics == 0 || one.m_statistics == nullptr)
        return;
    ombrel_puts("    ");
    print_statistics(*one.m_statistics);
    ombrel_puts("\n");
}

bool show_addresses(const ip_choice& choice, uint32_t interface_index) {
    ombrel_network_interface_t* const all = ombrel_open_network_interface();
    if (all == nullptr)
        return fails("interfaces");
    shown_list list(choice);
    for (const ombrel_network_interface_t* one = all; one != nullptr; one = one->m_next) {
        if (interface_index != 0 && one->m_index != interface_index)
            continue;
        if (choice.as_json != 0)
            put_interface(list, *one, choice);
        else
            print_whole_interface(list, *one, choice);
    }
    list.end();
    ombrel_close_network_interface(all);
    return true;
}

bool show_routes(const ip_choice& choice, uint32_t interface_index) {
    ombrel_route_options_t wanted;
    ombrel_init_route_options(&wanted);
    wanted.m_family = family_of(choice);
    wanted.m_interface = interface_index;
    if (choice.every_table != 0)
        wanted.m_table = def_ombrel_route_table_all;
    ombrel_route_list_t* const routes = ombrel_open_route_list(&wanted);
    if (routes == nullptr)
        return fails("routes");
    shown_list list(choice);
    for (const ombrel_route_t* one = routes->m_first; one != nullptr; one = one->m_next)
        list.show(*one, put_route_members, print_route);
    list.end();
    ombrel_close_route_list(routes);
    return true;
}

bool show_route_to(const ip_choice& choice, uint32_t interface_index, const char* text) {
    sockaddr_storage destination;
    if (ombrel_inet_ptos(family_of(choice), text, 0, &destination, sizeof destination) != 0) {
        complain("ip", text, "no numeric address");
        return false;
    }
    ombrel_route_t* const route =
        ombrel_open_route_to(reinterpret_cast<const sockaddr*>(&destination), nullptr, interface_index);
    if (route == nullptr)
        return fails(text);
    shown_list list(choice);
    list.show(*route, put_route_members, print_route);
    list.end();
    ombrel_close_route(route);
    return true;
}

bool show_neighbours(const ip_choice& choice, uint32_t interface_index) {
    ombrel_neighbour_options_t wanted;
    ombrel_init_neighbour_options(&wanted);
    wanted.m_family = family_of(choice);
    wanted.m_interface = interface_index;
    ombrel_neighbour_list_t* const neighbours = ombrel_open_neighbour_list(&wanted);
    if (neighbours == nullptr)
        return fails("neighbours");
    shown_list list(choice);
    for (const ombrel_neighbour_t* one = neighbours->m_first; one != nullptr; one = one->m_next)
        list.show(*one, put_neighbour_members, print_neighbour);
    list.end();
    ombrel_close_neighbour_list(neighbours);
    return true;
}

struct kind_word {
    uint32_t kind;
    const char* word;
};

constexpr kind_word kind_words[] = {
    {def_ombrel_network_interfaces, "interface"},
    {def_ombrel_network_addresses, "address"},
    {def_ombrel_network_routes, "route"},
    {def_ombrel_network_neighbours, "neighbour"},
};

constexpr const char* change_words[] = {"", "appeared", "changed", "gone", "lost"};

const char* kind_of(const ombrel_network_change_t& change) {
    for (const kind_word& one : kind_words)
        if (change.m_kind == one.kind)
            return one.word;
    return "all";
}

void put_change(const ombrel_network_change_t& change, interface_names& names) {
    json_output json;
    json.begin_object();
    json.add_text("event", change_words[change.m_change]);
    json.add_text("object", kind_of(change));
    if (change.m_interface != nullptr)
        put_interface_members(json, *change.m_interface, names, false);
    if (change.m_address != nullptr) {
        json.add_number("ifindex", change.m_index);
        json.add_text("dev", names.get(change.m_index));
        put_address_members(json, *change.m_address);
    }
    if (change.m_route != nullptr)
        put_route_members(json, *change.m_route, names);
    if (change.m_neighbour != nullptr)
        put_neighbour_members(json, *change.m_neighbour, names);
    json.end_object();
    json.end_line();
}

void print_change(const ombrel_network_change_t& change, interface_names& names) {
    ombrel_printf("%s %s", kind_of(change), change_words[change.m_change]);
    if (change.m_change != def_ombrel_network_lost)
        ombrel_puts(" ");
    if (change.m_interface != nullptr)
        print_interface(*change.m_interface, names);
    if (change.m_address != nullptr) {
        ombrel_printf("%s ", names.get(change.m_index));
        print_address(*change.m_address);
    }
    if (change.m_route != nullptr)
        print_route(*change.m_route, names);
    if (change.m_neighbour != nullptr)
        print_neighbour(*change.m_neighbour, names);
    ombrel_puts("\n");
}

/// A watch for as long as its printer lives.
class change_printer {
public:
    change_printer(server_loop& loop, const ip_choice& choice, uint32_t interface_index)
        : loop_(loop), choice_(choice), interface_(interface_index) {}
    ~change_printer() {
        ombrel_close_network_watch(watch_);
        if (has_network_)
            ombrel_uninit_network();
    }
    change_printer(const change_printer&) = delete;
    change_printer& operator=(const change_printer&) = delete;

    bool open() {
        ombrel_network_watch_options_t how;
        ombrel_init_network_watch_options(&how);
        how.m_handler = [](ombrel_network_watch_t*, const ombrel_network_change_t* change, void* self) {
            return static_cast<change_printer*>(self)->tell(*change);
        };
        how.m_context = this;
        has_network_ = ombrel_init_network() == 0;
        watch_ = has_network_ ? ombrel_open_network_watch(loop_.base(), &how) : nullptr;
        note_names();
        return watch_ != nullptr;
    }

private:
    void note_names() {
        ombrel_network_interface_t* const all = ombrel_open_network_interface();
        for (const ombrel_network_interface_t* one = all; one != nullptr; one = one->m_next)
            names_.note(one->m_index, one->m_name);
        ombrel_close_network_interface(all);
    }
    /// Ends with the last line that was wanted, or when nobody reads them.
    int tell(const ombrel_network_change_t& change) {
        if (change.m_interface != nullptr && change.m_interface->m_name[0] != '\0')
            names_.note(change.m_index, change.m_interface->m_name);
        if (change.m_change != def_ombrel_network_lost && !is_wanted(change))
            return 0;
        if (choice_.as_json != 0)
            put_change(change, names_);
        else
            print_change(change, names_);
        ombrel_puts(nullptr);
        fflush(stdout);
        told_++;
        const bool is_last = told_ == choice_.count || ferror(stdout) != 0;
        if (is_last)
            loop_.end();
        return is_last ? 1 : 0;
    }
    bool is_wanted(const ombrel_network_change_t& change) const {
        if (interface_ != 0 && change.m_index != interface_)
            return false;
        const int family = family_of(choice_);
        return family == 0 || family == family_in(change);
    }
    /// Interfaces have none, and are left out by those who want one.
    static int family_in(const ombrel_network_change_t& change) {
        if (change.m_address != nullptr)
            return change.m_address->m_address.ss_family;
        if (change.m_route != nullptr)
            return change.m_route->m_family;
        return change.m_neighbour != nullptr ? change.m_neighbour->m_address.m_any.sa_family : 0;
    }

    server_loop& loop_;
    const ip_choice& choice_;
    uint32_t interface_;
    ombrel_network_watch_t* watch_ = nullptr;
    bool has_network_ = false;
    int told_ = 0;
    interface_names names_;
};

bool watch(const ip_choice& choice, uint32_t interface_index) {
    server_loop loop("ip");
    change_printer printer(loop, choice, interface_index);
    if (!loop.open())
        return false;
    if (!printer.open())
        return loop.fails_by("watch");
    if (choice.seconds != 0)
        ombrel_event_base_exit_loop(loop.base(), choice.seconds * 1000);
    return loop.run([&loop] { return loop.end(), 0; });
}

enum class ip_object : uint8_t { none, address, route, neighbour, watch };

constexpr struct {
    std::string_view word;
    ip_object object;
} objects[] = {{"address", ip_object::address},
               {"route", ip_object::route},
               {"neighbour", ip_object::neighbour},
               {"neighbor", ip_object::neighbour},
               {"watch", ip_object::watch}};

/// By its word or the beginning of it.
ip_object object_of(std::string_view word) {
    for (const auto& one : objects)
        if (!word.empty() && word.size() <= one.word.size() &&
            memcmp(one.word.data(), word.data(), word.size()) == 0)
            return one.object;
    return ip_object::none;
}

bool show(ip_object what, const ip_choice& choice, uint32_t interface_index, const char* destination) {
    switch (what) {
    case ip_object::address:
        return show_addresses(choice, interface_index);
    case ip_object::neighbour:
        return show_neighbours(choice, interface_index);
    case ip_object::watch:
        return watch(choice, interface_index);
    default:
        return destination != nullptr ? show_route_to(choice, interface_index, destination)
                                      : show_routes(choice, interface_index);
    }
}

int run_ip(int argc, char** argv) {
    const command_arguments<ip_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const word = arguments.operand(0);
    const char* const destination = arguments.operand_count() > 1 ? arguments.operand(1) : nullptr;
    const ip_object what = object_of(word);
    if (what == ip_object::none)
        return ombrel_refuse_arguments(&table, "\"%s\" is neither address, route, neighbour nor watch", word);
    if (destination != nullptr && what != ip_object::route)
        return ombrel_refuse_arguments(&table, "\"%s\" stands behind %s", destination, word);
    const char* const name = arguments->interface_name;
    const uint32_t index = name != nullptr ? ombrel_interface_name_to_index(name) : 0;
    if (name != nullptr && index == 0) {
        complain("ip", name, "no such interface");
        return exit_code(false);
    }
    return exit_code(show(what, *arguments, index, destination));
}

} // namespace

constexpr own_command ip_command = command_of(table, run_ip);

} // namespace ombrel::command
