#include <ombrel/wake_on_lan.h>

#include <ombrel/fault.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct wol_choice {
    ombrel_wake_options_t how;
    ombrel_wake_password_t password;
    int is_frame = 0;
};

int read_password(const ombrel_argument_option_t* /* option */, const char* text, void* password) {
    return ombrel_parse_wake_password(text, static_cast<ombrel_wake_password_t*>(password), nullptr);
}

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'a',
     .m_name = "address",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(wol_choice, how) + offsetof(ombrel_wake_options_t, m_address),
     .m_value = "ADDRESS",
     .m_help =
         "send to this address or host (default 255.255.255.255); \"ff02::1%INTERFACE\" is all of a link"},
    {.m_letter = 'p',
     .m_name = "port",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(wol_choice, how) + offsetof(ombrel_wake_options_t, m_port),
     .m_value = "PORT",
     .m_help = "and this port (default 9)",
     .m_least = 1,
     .m_most = 65535},
    {.m_letter = 'w',
     .m_name = "password",
     .m_kind = def_ombrel_argument_call,
     .m_offset = offsetof(wol_choice, password),
     .m_value = "PASSWORD",
     .m_help = "with a password: six bytes as of a MAC, or four as 192.168.1.1",
     .m_handler = read_password},
    {.m_letter = 'i',
     .m_name = "interface",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(wol_choice, how) + offsetof(ombrel_wake_options_t, m_interface),
     .m_value = "INTERFACE",
     .m_help = "leave by this interface"},
    {.m_letter = 'f',
     .m_name = "frame",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(wol_choice, is_frame),
     .m_help = "in a frame of the link layer, on the interface, which needs a right"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "wol",
    .m_operands = "MAC",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Wakes a machine by the address of its network adapter.",
    .m_notes = "MAC is as 00:1b:21:0a:5c:3f, 00-1b-21-0a-5c-3f, 001b.210a.5c3f or 001b210a5c3f. Nobody "
               "answers: that the packet was sent is all that is known.",
    .m_options = options};

int run_wol(int argc, char** argv) {
    wol_choice usual{};
    ombrel_init_wake_options(&usual.how);
    const command_arguments<wol_choice> arguments(table, argc, argv, usual);
    if (!arguments)
        return arguments.exit_code();
    ombrel_wake_options_t how = arguments->how;
    how.m_password = &arguments->password;
    how.m_flags = arguments->is_frame != 0 ? def_ombrel_wake_frame : 0;
    uint8_t mac[def_ombrel_mac_address_size];
    if (ombrel_parse_mac_address(arguments.operand(0), mac, nullptr) != 0)
        return ombrel_refuse_arguments(&table, "\"%s\" is no address of a network adapter",
                                       arguments.operand(0));
    if (how.m_flags != 0 && how.m_interface == nullptr)
        return ombrel_refuse_arguments(&table, "a frame needs an interface");
    if (ombrel_send_wake_packet(mac, &how) == 0)
        return exit_code(true);
    complain("wol", arguments.operand(0), ombrel_fault_text());
    return exit_code(false);
}

} // namespace

constexpr own_command wol_command = command_of(table, run_wol);

} // namespace ombrel::command
