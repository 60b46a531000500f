#include <ombrel/tftp_server.h>

#include <cstddef>

#include <ombrel/printf.h>

#include "command/command_options.h"
#include "command/command_server.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct tftpd_choice {
    const char* address = "127.0.0.1";
    int port = 6969;
    int writes = 0;
    int overwrites = 0;
    int64_t upload_limit = int64_t{256} << 20;
    int is_quiet = 0;
};

constexpr ombrel_argument_option_t options[] = {
    address_option(offsetof(tftpd_choice, address)),
    port_option(offsetof(tftpd_choice, port), "port, 0 for a free one (default 6969)"),
    {.m_letter = 'w',
     .m_name = "write",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(tftpd_choice, writes),
     .m_help = "let clients store files that are not there yet"},
    {.m_letter = 'o',
     .m_name = "overwrite",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(tftpd_choice, overwrites),
     .m_help = "let them replace files too"},
    {.m_letter = 'l',
     .m_name = "limit",
     .m_kind = def_ombrel_argument_size,
     .m_offset = offsetof(tftpd_choice, upload_limit),
     .m_value = "SIZE",
     .m_help = "bytes of a stored file (default 256M)",
     .m_least = 0,
     .m_most = INT64_MAX},
    {.m_letter = 'q',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(tftpd_choice, is_quiet),
     .m_help = "print no line a transfer"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "tftpd",
    .m_operands = "DIRECTORY",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Serves a directory by TFTP.",
    .m_notes =
        "Names stay in the directory, and links are not followed. A stored file appears when it is whole. "
        "Nobody says who he is in this protocol: with -w everybody who reaches the port may store files. "
        "On a signal to terminate it lets transfers go on for two seconds; a second one ends it at once.",
    .m_options = options};

/// The name with everything that is no printable ASCII as "\x1B", so that a line stays one.
void make_visible(char* to, size_t room, const char* name) {
    constexpr size_t longest_escape = 4;
    char* const end = to + room - longest_escape - 1;
    for (; *name != '\0' && to < end; name++) {
        const auto byte = static_cast<unsigned char>(*name);
        const bool is_plain = byte > ' ' && byte < 0x7f && byte != '\\';
        to += ombrel_snprintf(to, longest_escape + 1, is_plain ? "%c" : "\\x%02X", byte);
    }
    *to = '\0';
}

int log_transfer(ombrel_tftp_server_t*, const ombrel_tftp_transfer_t* transfer, void* loop) {
    char name[1024], line[1400];
    make_visible(name, sizeof name, transfer->m_name);
    const bool is_whole = transfer->m_error->m_fault == def_ombrel_fault_none;
    ombrel_snprintf(line, sizeof line, "%s %d %s %s %lld bytes %lld ms: %s", transfer->m_address,
                    transfer->m_port, transfer->m_is_upload != 0 ? "write" : "read", name,
                    static_cast<long long>(transfer->m_size), static_cast<long long>(transfer->m_duration_ms),
                    is_whole ? "whole" : transfer->m_error->m_text);
    return server_loop::log_line(line, loop);
}

/// The server for a scope.
class directory_server {
public:
    explicit directory_server(server_loop& loop) : loop_(loop) {}
    ~directory_server() { ombrel_close_tftp_server(server_); }
    directory_server(const directory_server&) = delete;
    directory_server& operator=(const directory_server&) = delete;

    /// False after a complaint.
    bool open(const tftpd_choice& choice, const char* directory) {
        ombrel_tftp_server_options_t how;
        ombrel_init_tftp_server_options(&how);
        how.m_directory = directory;
        how.m_upload_limit = choice.upload_limit;
        how.m_flags = choice.writes != 0 ? def_ombrel_tftp_server_write : 0;
        if (choice.overwrites != 0)
            how.m_flags = def_ombrel_tftp_server_write | def_ombrel_tftp_server_overwrite;
        how.m_log_handler = choice.is_quiet != 0 ? nullptr : log_transfer;
        how.m_context = &loop_;
        server_ = ombrel_open_tftp_server(loop_.base(), &how);
        return server_ != nullptr || loop_.fails_by(directory);
    }
    bool listen(const tftpd_choice& choice) {
        return ombrel_tftp_server_listen(server_, choice.address, choice.port) > 0 ||
               loop_.fails_by(choice.address);
    }
    char* alloc_url() { return ombrel_alloc_tftp_server_url(server_, 0); }
    int stop() {
        return ombrel_tftp_server_stop(
            server_, server_loop::stop_ms,
            [](ombrel_tftp_server_t*, void* loop) { static_cast<server_loop*>(loop)->end(); }, &loop_);
    }

private:
    server_loop& loop_;
    ombrel_tftp_server_t* server_ = nullptr;
};

int run_tftpd(int argc, char** argv) {
    const command_arguments<tftpd_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const directory = arguments.operand(0);
    server_loop loop("tftpd");
    directory_server server(loop);
    return exit_code(loop.open() && server.open(*arguments, directory) && server.listen(*arguments) &&
                     loop.tell("serving", directory, server.alloc_url()) &&
                     loop.run([&] { return server.stop(); }));
}

} // namespace

constexpr own_command tftpd_command = command_of(table, run_tftpd);

} // namespace ombrel::command
