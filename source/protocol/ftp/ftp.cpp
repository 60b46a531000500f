// The session as users have it: opening, logging in, commands.
#include <new>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "core/fault.h"
#include "protocol/ftp/ftp_entry.h"
#include "protocol/ftp/ftp_object.h"
#include "text/ctype_table.h"
#include "text/fold.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr uint32_t known_flags = def_ombrel_ftp_active | def_ombrel_ftp_not_extended |
                                 def_ombrel_ftp_check_address | def_ombrel_ftp_no_features |
                                 def_ombrel_ftp_lenient;
constexpr size_t longest_verb = 16;
constexpr int more_wanted = 350, unknown_command = 500, missing_command = 502, missing_parameter = 504;

ftp_settings settings_of(const ombrel_ftp_options_t& options) {
    const auto has = [&](uint32_t flag) { return (options.m_flags & flag) != 0; };
    return {.active = has(def_ombrel_ftp_active),
            .extended = !has(def_ombrel_ftp_not_extended),
            .checks_address = has(def_ombrel_ftp_check_address),
            .is_lenient = has(def_ombrel_ftp_lenient),
            .limit_ms = options.m_step_ms,
            .keep_alive_ms = options.m_keep_alive_ms > 0 ? options.m_keep_alive_ms : -1};
}

void show_line(bool is_reply, std::string_view line, void* to) {
    auto* const ftp = static_cast<ombrel_ftp_t*>(to);
    char text[most_ftp_line + 1];
    copy_printable(text, sizeof text, line);
    ftp->options.m_dialogue_handler(ftp, is_reply, text, ftp->options.m_context);
}

void forget_connection(ombrel_ftp_t& ftp) {
    ftp.features = 0;
    ftp.has_features = ftp.has_begun = false;
    ftp.stored_name[0] = '\0';
}

/// A command that has to succeed, with a text that may not be missing.
int do_command(ombrel_ftp_t* ftp, const char* verb, const char* argument) {
    return may_ask(ftp, argument) ? end_ftp_call(*ftp, ftp->session.command(verb, argument)) : -1;
}

/// Commands that would leave the session waiting for what does not come, or speaking another language. What
/// of them is of use has a function.
constexpr std::string_view kept_verbs[] = {
    "ABOR", "ACCT", "ADAT", "APPE", "AUTH", "CCC",  "CONF", "CPSV", "ENC",  "EPRT", "EPSV",
    "LIST", "LPRT", "LPSV", "MIC",  "MLSD", "MODE", "NLST", "PASS", "PASV", "PBSZ", "PORT",
    "PROT", "QUIT", "REIN", "REST", "RETR", "SPSV", "STOR", "STOU", "STRU", "TYPE", "USER"};

/// @param upper receives the verb in capitals, terminated
bool is_free_verb(const char* verb, char (&upper)[longest_verb + 1]) {
    size_t length = 0;
    for (; verb[length] != '\0'; length++) {
        const bool is_letter = is_class(verb[length] & 0xff, def_ombrel_ctype_upper | def_ombrel_ctype_lower);
        if (length == longest_verb || !is_letter)
            return false;
        upper[length] = static_cast<char>(to_upper(static_cast<unsigned char>(verb[length])));
    }
    upper[length] = '\0';
    return length > 0 && std::find(std::begin(kept_verbs), std::end(kept_verbs), std::string_view(upper)) ==
                             std::end(kept_verbs);
}

/// Whether the last reply said that there is no such command.
bool is_missing(const ftp_session& session) {
    const int code = session.control().code();
    return code == unknown_command || code == missing_command || code == missing_parameter;
}

} // namespace

int ombrel_init_ftp_options(ombrel_ftp_options_t* options) {
    if (options == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    *options = {};
    options->m_step_ms = 30000;
    options->m_list_ms = 300000;
    options->m_list_size_limit = 16 << 20;
    options->m_list_entry_limit = 100000;
    return 0;
}

ombrel_ftp_t* ombrel_open_ftp_tag(const ombrel_ftp_options_t* options, const char* function,
                                  unsigned long line) {
    ombrel_ftp_options_t defaults;
    ombrel_init_ftp_options(&defaults);
    if (options == nullptr)
        options = &defaults;
    if ((options->m_flags & ~known_flags) != 0) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    void* const block = ombrel_alloc_tag(sizeof(ombrel_ftp_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const ftp = new (block) ombrel_ftp_t();
    ftp->options = *options;
    ftp->session.set(settings_of(*options));
    if (options->m_dialogue_handler != nullptr)
        ftp->session.set_log({show_line, ftp});
    return ftp;
}

int ombrel_close_ftp(ombrel_ftp_t* ftp) {
    if (ftp == nullptr)
        return 0;
    ombrel_ftp_disconnect(ftp);
    ftp->~ombrel_ftp_ts();
    ombrel_free_tag(ftp, "ombrel_close_ftp", __LINE__);
    return 0;
}

int ombrel_ftp_connect(ombrel_ftp_t* ftp, const char* host, int port) {
    if (ftp == nullptr || host == nullptr || host[0] == '\0' || port < 1 || port > max_port)
        return refuse_ftp_call(ftp, fault_code::invalid, "no host to connect to");
    ombrel_ftp_disconnect(ftp);
    forget_connection(*ftp);
    ftp->session.error().clear();
    const bool good = ftp->session.connect(host, port);
    if (!good)
        ftp->session.disconnect();
    return end_ftp_call(*ftp, good);
}

int ombrel_ftp_log_in(ombrel_ftp_t* ftp, const char* user, const char* password, const char* account) {
    for (const char* const text : {user, password, account}) {
        if (text != nullptr && !is_ftp_argument(text))
            return refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry");
    }
    if (!may_ask(ftp))
        return -1;
    const bool asks = (ftp->options.m_flags & def_ombrel_ftp_no_features) == 0;
    return end_ftp_call(*ftp, ftp->session.log_in(user, password, account) && (!asks || find_features(*ftp)));
}

int ombrel_ftp_disconnect(ombrel_ftp_t* ftp) {
    if (ftp == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no session");
    const bool good = !ftp->session.is_busy() || finish_transfer(*ftp);
    const int result = end_ftp_call(*ftp, good);
    ftp->session.disconnect();
    return result;
}

int ombrel_ftp_is_connected(const ombrel_ftp_t* ftp) {
    return ftp != nullptr && ftp->session.is_connected();
}

const ombrel_transfer_error_t* ombrel_ftp_get_error(const ombrel_ftp_t* ftp) {
    return ftp != nullptr ? &ftp->shown.record() : nullptr;
}

int ombrel_ftp_get_reply_code(const ombrel_ftp_t* ftp) {
    return ftp != nullptr ? ftp->session.control().code() : -1;
}

const char* ombrel_ftp_get_reply_text(const ombrel_ftp_t* ftp) {
    return ftp != nullptr ? ftp->session.control().whole_text() : "";
}

uint32_t ombrel_ftp_get_features(const ombrel_ftp_t* ftp) {
    return ftp != nullptr ? ftp->features : 0;
}

int ombrel_ftp_command(ombrel_ftp_t* ftp, const char* verb, const char* argument) {
    char upper[longest_verb + 1];
    if (verb == nullptr || !is_free_verb(verb, upper))
        return refuse_ftp_call(ftp, fault_code::invalid, "a command that is not for this");
    if (argument == nullptr)
        argument = "";
    if (!is_ftp_argument(argument))
        return refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry");
    if (!may_ask(ftp) || end_ftp_call(*ftp, ftp->session.ask(upper, argument)) != 0)
        return -1;
    return ftp->session.control().code();
}

int ombrel_ftp_rename(ombrel_ftp_t* ftp, const char* from, const char* to) {
    if (!is_ftp_path(to))
        return refuse_ftp_call(ftp, fault_code::invalid, "a name that no command can carry");
    if (!may_ask(ftp, from))
        return -1;
    ftp_session& session = ftp->session;
    const bool good =
        session.ask("RNFR", from) &&
        (session.control().code() == more_wanted || session.control().refuse(session.error())) &&
        session.command("RNTO", to);
    return end_ftp_call(*ftp, good);
}

int ombrel_ftp_remove_file(ombrel_ftp_t* ftp, const char* path) {
    return do_command(ftp, "DELE", path);
}

int ombrel_ftp_make_directory(ombrel_ftp_t* ftp, const char* path) {
    return do_command(ftp, "MKD", path);
}

int ombrel_ftp_remove_directory(ombrel_ftp_t* ftp, const char* path) {
    return do_command(ftp, "RMD", path);
}

int ombrel_ftp_change_directory(ombrel_ftp_t* ftp, const char* path) {
    return do_command(ftp, "CWD", path);
}

int ombrel_ftp_change_to_parent(ombrel_ftp_t* ftp) {
    return may_ask(ftp) ? end_ftp_call(*ftp, ftp->session.command("CDUP", "")) : -1;
}

int64_t ombrel_ftp_get_directory(ombrel_ftp_t* ftp, char* buffer, size_t size) {
    if (buffer == nullptr || size == 0)
        return refuse_ftp_call(ftp, fault_code::invalid, "no room for a path");
    if (!may_ask(ftp))
        return -1;
    ftp_session& session = ftp->session;
    if (!session.command("PWD", ""))
        return end_ftp_call(*ftp, false);
    const ptrdiff_t length = parse_ftp_path(session.control().text(), buffer, size);
    if (length >= 0)
        return end_ftp_call(*ftp, true), length;
    return length == -2 ? refuse_ftp_call(ftp, fault_code::too_large, "the path is longer than the room")
                        : refuse_ftp_call(ftp, fault_code::violation, "the reply to PWD has no path");
}

int64_t ombrel_ftp_get_size(ombrel_ftp_t* ftp, const char* path) {
    if (!may_ask(ftp, path))
        return -1;
    ftp_session& session = ftp->session;
    uint64_t size = 0;
    if (!session.set_type('I') || !session.command("SIZE", path))
        return end_ftp_call(*ftp, false);
    if (!parse_ftp_size(session.control().text(), size))
        return refuse_ftp_call(ftp, fault_code::violation, "the reply to SIZE has no size");
    return end_ftp_call(*ftp, true), static_cast<int64_t>(size);
}

int ombrel_ftp_get_time(ombrel_ftp_t* ftp, const char* path, ombrel_instant_t* time) {
    if (time == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no room for a time");
    if (!may_ask(ftp, path))
        return -1;
    if (!ftp->session.command("MDTM", path))
        return end_ftp_call(*ftp, false);
    return parse_ftp_time(ftp->session.control().text(), *time)
               ? end_ftp_call(*ftp, true)
               : refuse_ftp_call(ftp, fault_code::violation, "the reply to MDTM has no time");
}

int ombrel_ftp_set_time(ombrel_ftp_t* ftp, const char* path, const ombrel_instant_t* time) {
    char argument[most_ftp_command], text[ftp_time_room];
    if (time == nullptr || !write_ftp_time(*time, text))
        return refuse_ftp_call(ftp, fault_code::invalid, "a time that no command can carry");
    if (!may_ask(ftp, path))
        return -1;
    if (ftp->has_features && !has_feature(*ftp, def_ombrel_ftp_feature_mfmt))
        return refuse_ftp_call(ftp, fault_code::not_supported, "the server sets no times");
    ombrel_snprintf(argument, sizeof argument, "%s %s", text, path);
    const bool good = ftp->session.command("MFMT", argument);
    if (!good && ftp->session.is_connected() && is_missing(ftp->session))
        return refuse_ftp_call(ftp, fault_code::not_supported, "the server sets no times");
    return end_ftp_call(*ftp, good);
}
