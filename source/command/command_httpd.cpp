#include <ombrel/http_directory.h>

#include <cstddef>
#include <cstring>

#include <ombrel/http_auth.h>
#include <ombrel/http_server.h>
#include <ombrel/printf.h>
#include <ombrel/secret.h>

#include "command/command_options.h"
#include "command/command_server.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct httpd_choice {
    const char* address = "127.0.0.1";
    int port = 8080;
    int logs = 0, hides_lists = 0, shows_dot_files = 0;
    int clients = 10000;
    const char* user = nullptr;
    const char* password_file = nullptr;
};

constexpr ombrel_argument_option_t options[] = {
    address_option(offsetof(httpd_choice, address)),
    port_option(offsetof(httpd_choice, port), "port, 0 for a free one (default 8080)"),
    {.m_letter = 'u',
     .m_name = "user",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(httpd_choice, user),
     .m_value = "NAME",
     .m_help = "let in this one alone, by Digest"},
    {.m_letter = 'P',
     .m_name = "password-file",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(httpd_choice, password_file),
     .m_value = "PASSWORD-FILE",
     .m_help = "where NAME:SECRET stands, as \"secret NAME\" prints it; without --user all of it are let in"},
    {.m_letter = 'l',
     .m_name = "log",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(httpd_choice, logs),
     .m_help = "print a line for each answer"},
    {.m_letter = 'n',
     .m_name = "no-lists",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(httpd_choice, hides_lists),
     .m_help = "make no lists of directories without an index.html"},
    {.m_letter = 'd',
     .m_name = "dot-files",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(httpd_choice, shows_dot_files),
     .m_help = "serve names that begin with a dot, too"},
    {.m_letter = 'c',
     .m_name = "clients",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(httpd_choice, clients),
     .m_value = "COUNT",
     .m_help = "clients at a time (default 10000)",
     .m_least = 1,
     .m_most = 1000000},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "httpd",
    .m_operands = "DIRECTORY",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Serves the files of a directory by HTTP.",
    .m_notes =
        "Links are not followed, and nothing outside of the directory is served. Beyond this machine "
        "one address "
        "may have 256 clients at a time. "
        "On a signal to terminate it lets transfers go on for two seconds; a second one ends it at once.\n",
    .m_options = options};

/// Who is let in: those of a password file, or one of them.
class gate {
public:
    gate() = default;
    ~gate() {
        ombrel_close_http_auth_server(auth_);
        ombrel_close_secret_list(secrets_);
    }
    gate(const gate&) = delete;
    gate& operator=(const gate&) = delete;

    /// False after a complaint.
    bool open(const httpd_choice& choice, const server_loop& loop) {
        uint32_t line = 0;
        user_ = choice.user;
        secrets_ = ombrel_open_secret_list(choice.password_file, nullptr, &line);
        if (secrets_ == nullptr && line > 0) {
            char why[64];
            ombrel_snprintf(why, sizeof why, "line %d is no NAME:SECRET, or its name stands twice",
                            static_cast<int>(line));
            complain("httpd", choice.password_file, why);
            return false;
        }
        if (secrets_ == nullptr)
            return loop.fails_by(choice.password_file);
        if (user_ != nullptr && !can_log_in())
            return false;
        ombrel_http_auth_server_options_t how;
        ombrel_init_http_auth_server_options(&how);
        how.m_secrets = user_ == nullptr ? secrets_ : nullptr;
        how.m_find = find;
        how.m_context = this;
        auth_ = ombrel_open_http_auth_server(&how);
        return auth_ != nullptr || loop.fails_by("log-in");
    }
    ombrel_http_auth_server_t* get() const { return auth_; }

private:
    /// False after a complaint about a name that nobody could log in by.
    bool can_log_in() const {
        const int64_t at = ombrel_secret_list_find(secrets_, user_);
        if (at < 0) {
            complain("httpd", user_, "is not in the password file");
            return false;
        }
        const ombrel_secret_t& secret = *ombrel_secret_list_get_secret(secrets_, static_cast<size_t>(at));
        const bool serves =
            secret.m_kind == def_ombrel_secret_digest && strcmp(secret.m_realm, def_ombrel_secret_realm) == 0;
        if (!serves)
            complain("httpd", user_, "the secret is strong, or for another realm, and cannot serve Digest");
        return serves;
    }
    static int find(const char* name, ombrel_secret_t* secret, void* context) {
        const auto& self = *static_cast<const gate*>(context);
        ombrel_secret_list_refresh(self.secrets_);
        const int64_t index =
            strcmp(name, self.user_) == 0 ? ombrel_secret_list_find(self.secrets_, name) : -1;
        if (index < 0)
            return 0;
        *secret = *ombrel_secret_list_get_secret(self.secrets_, static_cast<size_t>(index));
        return 1;
    }

    const char* user_ = nullptr;
    ombrel_secret_list_t* secrets_ = nullptr;
    ombrel_http_auth_server_t* auth_ = nullptr;
};

/// A directory and its server, for a scope.
class file_server {
public:
    explicit file_server(server_loop& loop) : loop_(loop) {}
    ~file_server() {
        ombrel_close_http_server(server_);
        ombrel_close_http_directory(files_);
    }
    file_server(const file_server&) = delete;
    file_server& operator=(const file_server&) = delete;

    /// False after a complaint.
    bool open(const httpd_choice& choice, const char* path) {
        ombrel_http_directory_options_t how;
        ombrel_init_http_directory_options(&how);
        how.m_flags = (choice.hides_lists != 0 ? def_ombrel_http_directory_no_list : 0) |
                      (choice.shows_dot_files != 0 ? def_ombrel_http_directory_dot_files : 0);
        files_ = ombrel_open_http_directory(path, &how);
        if (files_ == nullptr)
            return loop_.fails_by(path);
        return (choice.password_file == nullptr || gate_.open(choice, loop_)) && open_server(choice);
    }
    bool listen(const httpd_choice& choice) {
        return ombrel_http_server_listen(server_, choice.address, choice.port) > 0 ||
               loop_.fails_by(choice.address);
    }
    char* alloc_url() { return ombrel_alloc_http_server_url(server_, 0); }
    int stop() {
        return ombrel_http_server_stop(
            server_, server_loop::stop_ms,
            [](ombrel_http_server_t*, void* loop) { static_cast<server_loop*>(loop)->end(); }, &loop_);
    }

private:
    bool open_server(const httpd_choice& choice) {
        constexpr size_t clients_of_a_stranger = 256;
        constexpr int64_t longest_body = 4096; // nothing is made of them
        ombrel_http_server_options_t how;
        ombrel_init_http_server_options(&how);
        how.m_handler = ombrel_serve_http_directory;
        how.m_context = files_;
        how.m_guard = gate_.get() != nullptr ? ombrel_guard_http_exchange : nullptr;
        how.m_guard_context = gate_.get();
        how.m_log_handler = choice.logs != 0 ? server_loop::log_line : nullptr;
        how.m_log_context = &loop_;
        how.m_body_limit = longest_body;
        how.m_client_limit = static_cast<size_t>(choice.clients);
        how.m_address_limit = server_loop::is_loopback(choice.address) ? 0 : clients_of_a_stranger;
        server_ = ombrel_open_http_server(loop_.base(), &how);
        return server_ != nullptr || loop_.fails_by("server");
    }

    server_loop& loop_;
    gate gate_;
    ombrel_http_directory_t* files_ = nullptr;
    ombrel_http_server_t* server_ = nullptr;
};

int run_httpd(int argc, char** argv) {
    const command_arguments<httpd_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    if (arguments->user != nullptr && arguments->password_file == nullptr)
        return ombrel_refuse_arguments(&table, "a user needs a password file");
    server_loop loop("httpd");
    file_server server(loop);
    const char* const path = arguments.operand(0);
    return exit_code(loop.open() && server.open(*arguments, path) && server.listen(*arguments) &&
                     loop.tell("serving", path, server.alloc_url()) &&
                     loop.run([&] { return server.stop(); }));
}

} // namespace

constexpr own_command httpd_command = command_of(table, run_httpd);

} // namespace ombrel::command
