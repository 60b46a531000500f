// What a client can ask for.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::protocol {

class ftp_server_session;

struct ftp_verb {
    const char* name;
    void (*run)(ftp_server_session& session, std::string_view argument);
    uint32_t flags;
    uint32_t rights; ///< that the account needs, as def_ombrel_ftp_account_*
};

enum ftp_verb_flag : uint32_t {
    verb_for_all = 1,    ///< before the log-in too
    verb_needs_name = 2, ///< an argument
};

/// Null for a word that is none.
const ftp_verb* find_ftp_verb(std::string_view word);

// By what they are about; each in its file.

void run_user(ftp_server_session& session, std::string_view name);
void run_pass(ftp_server_session& session, std::string_view password);
void run_reinitialize(ftp_server_session& session, std::string_view);
void run_quit(ftp_server_session& session, std::string_view);
void run_noop(ftp_server_session& session, std::string_view);
void run_syst(ftp_server_session& session, std::string_view);
void run_features(ftp_server_session& session, std::string_view);
void run_options(ftp_server_session& session, std::string_view argument);
void run_help(ftp_server_session& session, std::string_view);
void run_site(ftp_server_session& session, std::string_view argument);
void run_account(ftp_server_session& session, std::string_view);
void run_unsupported(ftp_server_session& session, std::string_view);

void run_type(ftp_server_session& session, std::string_view type);
void run_mode(ftp_server_session& session, std::string_view mode);
void run_structure(ftp_server_session& session, std::string_view structure);
void run_restart(ftp_server_session& session, std::string_view place);
void run_allocate(ftp_server_session& session, std::string_view size);
void run_passive(ftp_server_session& session, std::string_view);
void run_extended_passive(ftp_server_session& session, std::string_view protocol);
void run_port(ftp_server_session& session, std::string_view address);
void run_extended_port(ftp_server_session& session, std::string_view address);

void run_retrieve(ftp_server_session& session, std::string_view name);
void run_store(ftp_server_session& session, std::string_view name);
void run_append(ftp_server_session& session, std::string_view name);
void run_store_unique(ftp_server_session& session, std::string_view name);
void run_list(ftp_server_session& session, std::string_view name);
void run_name_list(ftp_server_session& session, std::string_view name);
void run_machine_list(ftp_server_session& session, std::string_view name);
void run_abort(ftp_server_session& session, std::string_view);
void run_status(ftp_server_session& session, std::string_view name);

void run_change_directory(ftp_server_session& session, std::string_view name);
void run_change_up(ftp_server_session& session, std::string_view);
void run_print_directory(ftp_server_session& session, std::string_view);
void run_make_directory(ftp_server_session& session, std::string_view name);
void run_remove_directory(ftp_server_session& session, std::string_view name);
void run_delete(ftp_server_session& session, std::string_view name);
void run_rename_from(ftp_server_session& session, std::string_view name);
void run_rename_to(ftp_server_session& session, std::string_view name);
void run_size(ftp_server_session& session, std::string_view name);
void run_time(ftp_server_session& session, std::string_view name);
void run_set_time(ftp_server_session& session, std::string_view argument);
void run_facts(ftp_server_session& session, std::string_view name);

} // namespace ombrel::protocol
