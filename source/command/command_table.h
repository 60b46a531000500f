// The commands that the library brings: each in a file of its own, "command_NAME.cpp".
#pragma once

#include <span>

#include <ombrel/multicall.h>

namespace ombrel::command {

extern const ombrel_multicall_command_t ata_command;
extern const ombrel_multicall_command_t base64_command;
extern const ombrel_multicall_command_t cat_command;
extern const ombrel_multicall_command_t cp_command;
extern const ombrel_multicall_command_t date_command;
extern const ombrel_multicall_command_t digest_command;
extern const ombrel_multicall_command_t download_command;
extern const ombrel_multicall_command_t find_command;
extern const ombrel_multicall_command_t free_command;
extern const ombrel_multicall_command_t ftpd_command;
extern const ombrel_multicall_command_t get_command;
extern const ombrel_multicall_command_t help_command;
extern const ombrel_multicall_command_t httpd_command;
extern const ombrel_multicall_command_t iconv_command;
extern const ombrel_multicall_command_t ip_command;
extern const ombrel_multicall_command_t ini_command;
extern const ombrel_multicall_command_t kill_command;
extern const ombrel_multicall_command_t launch_command;
extern const ombrel_multicall_command_t nmea_command;
extern const ombrel_multicall_command_t plugins_command;
extern const ombrel_multicall_command_t ports_command;
extern const ombrel_multicall_command_t ps_command;
extern const ombrel_multicall_command_t rm_command;
extern const ombrel_multicall_command_t run_command;
extern const ombrel_multicall_command_t secret_command;
extern const ombrel_multicall_command_t serial_command;
extern const ombrel_multicall_command_t ssdp_command;
extern const ombrel_multicall_command_t sync_command;
extern const ombrel_multicall_command_t tftpd_command;
extern const ombrel_multicall_command_t tree_command;
extern const ombrel_multicall_command_t uuid_command;
extern const ombrel_multicall_command_t version_command;
extern const ombrel_multicall_command_t wol_command;
extern const ombrel_multicall_command_t xml_command;

/// All of them, by name.
std::span<const ombrel_multicall_command_t* const> own_multicall_commands();

/// The commands, also those that programs have added, with their summaries, or their names alone.
void print_multicall_commands();
void print_multicall_names();

} // namespace ombrel::command
