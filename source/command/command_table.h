// The commands that the library brings: each in a file of its own, "command_NAME.cpp".
#pragma once

#include <span>
#include <string_view>

#include <ombrel/argument_manual.h>
#include <ombrel/multicall.h>

namespace ombrel::command {

/// What messages call a program that is not called otherwise.
inline constexpr const char usual_program[] = "ombrel_tuk";

/// A command with the table by which it reads its arguments.
struct own_command : ombrel_multicall_command_t {
    const ombrel_argument_table_t* table;
    const ombrel_argument_exit_t* exits; ///< null for those of most commands
    const char* program;                 ///< its second name, as a program of its own; null without one
};

/// Of commands that are told the name of another.
inline constexpr ombrel_argument_exit_t naming_exits[] = {
    {"0", "All is well, or help was asked for."},
    {"1", "Something could not be read, written or done."},
    {"2", "The arguments make no sense."},
    {"127", "There is no such command."},
    {}};

extern const own_command ata_command;
extern const own_command base64_command;
extern const own_command cat_command;
extern const own_command completion_command;
extern const own_command cp_command;
extern const own_command date_command;
extern const own_command digest_command;
extern const own_command download_command;
extern const own_command find_command;
extern const own_command free_command;
extern const own_command ftpd_command;
extern const own_command get_command;
extern const own_command help_command;
extern const own_command httpd_command;
extern const own_command iconv_command;
extern const own_command ip_command;
extern const own_command ini_command;
extern const own_command kill_command;
extern const own_command launch_command;
extern const own_command manual_command;
extern const own_command nmea_command;
extern const own_command plugins_command;
extern const own_command ports_command;
extern const own_command ps_command;
extern const own_command rm_command;
extern const own_command run_command;
extern const own_command secret_command;
extern const own_command serial_command;
extern const own_command ssdp_command;
extern const own_command sync_command;
extern const own_command tftpd_command;
extern const own_command tree_command;
extern const own_command uuid_command;
extern const own_command version_command;
extern const own_command wol_command;
extern const own_command xml_command;

/// All of them, by name.
std::span<const own_command* const> own_multicall_commands();
/// Null when there is none of the name.
const own_command* find_own_command(std::string_view name);

/// The names of the commands, also of those that programs have added.
void print_multicall_names();

} // namespace ombrel::command
