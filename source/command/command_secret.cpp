#include <ombrel/secret.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ombrel/fault.h>
#include <ombrel/output.h>
#include <ombrel/terminal.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "core/wipe.h"

namespace ombrel::command {

namespace {

struct secret_choice {
    int is_strong = 0;
    int iterations = 0; ///< 0 for the usual number
    const char* realm = nullptr;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 's',
     .m_name = "strong",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(secret_choice, is_strong),
     .m_help = "costly to guess; serves FTP and HTTP Basic, not HTTP Digest"},
    {.m_letter = 'i',
     .m_name = "iterations",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(secret_choice, iterations),
     .m_value = "COUNT",
     .m_help = "cost of a strong secret (default 100000)",
     .m_least = 1,
     .m_most = def_ombrel_secret_iterations_max},
    {.m_letter = 'r',
     .m_name = "realm",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(secret_choice, realm),
     .m_value = "REALM",
     .m_help = "realm for HTTP Digest (default \"" def_ombrel_secret_realm "\")"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "secret",
                                           .m_operands = "NAME",
                                           .m_least_operands = 1,
                                           .m_most_operands = 1,
                                           .m_summary = "Makes a line NAME:SECRET of a password, the first "
                                                        "line of standard input, for httpd and ftpd. A file "
                                                        "of such lines is as private as the passwords.",
                                           .m_options = options};

using password_line = char[def_ombrel_secret_password_max + 1];

/// False after a complaint.
bool read_password(password_line& password) {
    constexpr int standard_input = 0;
    const int outcome = ombrel_read_secret(standard_input, "Password: ", password, sizeof password, -1);
    if (outcome < 0) {
        complain("secret", "password", ombrel_fault_text());
        return false;
    }
    const size_t size = outcome > 0 ? strlen(password) : 0;
    if (size > 0 && password[size - 1] == '\r') // of a file with lines of Windows
        password[size - 1] = '\0';
    const char* const why = *password == '\0'                          ? "it is empty"
                            : ombrel_is_secret_password(password) == 0 ? "it has control characters"
                                                                       : nullptr;
    if (why != nullptr)
        complain("secret", "password", why);
    return why == nullptr;
}

int run_secret(int argc, char** argv) {
    const command_arguments<secret_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const name = arguments.operand(0);
    if (ombrel_is_secret_name(name) == 0)
        return ombrel_refuse_arguments(
            &table,
            "NAME has 1 to %d bytes, no \":\" and no control character, and does not begin with \"#\"",
            def_ombrel_secret_name_max);
    if (arguments->is_strong == 0 && arguments->iterations != 0)
        return ombrel_refuse_arguments(&table, "iterations are for strong secrets");
    if (arguments->is_strong != 0 && arguments->realm != nullptr)
        return ombrel_refuse_arguments(&table, "a strong secret has no realm");
    ombrel_secret_options_t how;
    ombrel_init_secret_options(&how);
    how.m_kind = arguments->is_strong != 0 ? def_ombrel_secret_strong : def_ombrel_secret_digest;
    how.m_realm = arguments->realm;
    if (arguments->iterations != 0)
        how.m_iterations = static_cast<uint32_t>(arguments->iterations);
    password_line password;
    char text[def_ombrel_secret_text_size];
    const wipe_guard wiped(password);
    if (!read_password(password))
        return def_ombrel_multicall_exit_failed;
    if (ombrel_make_secret(text, sizeof text, name, password, &how) < 0) {
        complain("secret", name, how.m_realm != nullptr ? "the realm cannot be one" : ombrel_fault_text());
        return def_ombrel_multicall_exit_failed;
    }
    ombrel_printf("%s:%s\n", name, text);
    return def_ombrel_multicall_exit_good;
}

} // namespace

constexpr own_command secret_command = command_of(table, run_secret);

} // namespace ombrel::command
