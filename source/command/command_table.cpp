#include "command/command_table.h"

#include <ombrel/output.h>

namespace ombrel::command {

namespace {

constexpr const own_command* own_commands[] = {
    &ata_command,    &base64_command,   &cat_command,    &completion_command, &cp_command,    &date_command,
    &digest_command, &download_command, &find_command,   &free_command,       &ftpd_command,  &get_command,
    &help_command,   &httpd_command,    &iconv_command,  &ini_command,        &ip_command,    &kill_command,
    &launch_command, &manual_command,   &nmea_command,   &plugins_command,    &ports_command, &ps_command,
    &rm_command,     &run_command,      &secret_command, &serial_command,     &ssdp_command,  &sync_command,
    &tftpd_command,  &tree_command,     &uuid_command,   &version_command,    &wol_command,   &xml_command,
};

} // namespace

std::span<const own_command* const> own_multicall_commands() {
    return own_commands;
}

const own_command* find_own_command(std::string_view name) {
    for (const own_command* const command : own_commands)
        if (name == command->m_name)
            return command;
    return nullptr;
}

void print_multicall_names() {
    for (size_t i = 0; const ombrel_multicall_command_t* command = ombrel_get_multicall_command(i); i++)
        ombrel_printf("%s\n", command->m_name);
}

} // namespace ombrel::command
