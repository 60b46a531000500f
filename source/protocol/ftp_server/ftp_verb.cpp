#include "protocol/ftp_server/ftp_verb.h"

#include <ombrel/ftp_server.h>

#include "protocol/ftp_server/ftp_line_reader.h"

namespace ombrel::protocol {

namespace {

constexpr uint32_t reads = def_ombrel_ftp_account_read;
constexpr uint32_t writes = def_ombrel_ftp_account_write;
constexpr uint32_t deletes = def_ombrel_ftp_account_delete;

constexpr ftp_verb verbs[] = {
    {"USER", run_user, verb_for_all | verb_needs_name, 0},
    {"PASS", run_pass, verb_for_all, 0},
    {"ACCT", run_account, verb_for_all, 0},
    {"REIN", run_reinitialize, verb_for_all, 0},
    {"QUIT", run_quit, verb_for_all, 0},
    {"NOOP", run_noop, verb_for_all, 0},
    {"SYST", run_syst, verb_for_all, 0},
    {"FEAT", run_features, verb_for_all, 0},
    {"OPTS", run_options, verb_for_all | verb_needs_name, 0},
    {"HELP", run_help, verb_for_all, 0},
    {"SITE", run_site, verb_needs_name, 0},
    {"TYPE", run_type, verb_needs_name, 0},
    {"MODE", run_mode, verb_needs_name, 0},
    {"STRU", run_structure, verb_needs_name, 0},
    {"REST", run_restart, verb_needs_name, 0},
    {"ALLO", run_allocate, verb_needs_name, 0},
    {"PASV", run_passive, 0, 0},
    {"EPSV", run_extended_passive, 0, 0},
    {"PORT", run_port, verb_needs_name, 0},
    {"EPRT", run_extended_port, verb_needs_name, 0},
    {"RETR", run_retrieve, verb_needs_name, reads},
    {"STOR", run_store, verb_needs_name, writes},
    {"APPE", run_append, verb_needs_name, writes},
    {"STOU", run_store_unique, 0, writes},
    {"LIST", run_list, 0, reads},
    {"NLST", run_name_list, 0, reads},
    {"MLSD", run_machine_list, 0, reads},
    {"MLST", run_facts, 0, reads},
    {"ABOR", run_abort, 0, 0},
    {"STAT", run_status, 0, 0},
    {"CWD", run_change_directory, verb_needs_name, 0},
    {"CDUP", run_change_up, 0, 0},
    {"PWD", run_print_directory, 0, 0},
    {"MKD", run_make_directory, verb_needs_name, writes},
    {"RMD", run_remove_directory, verb_needs_name, deletes},
    {"DELE", run_delete, verb_needs_name, deletes},
    {"RNFR", run_rename_from, verb_needs_name, writes | deletes},
    {"RNTO", run_rename_to, verb_needs_name, writes | deletes},
    {"SIZE", run_size, verb_needs_name, reads},
    {"MDTM", run_time, verb_needs_name, reads},
    {"MFMT", run_set_time, verb_needs_name, writes},
    {"XCWD", run_change_directory, verb_needs_name, 0},
    {"XCUP", run_change_up, 0, 0},
    {"XPWD", run_print_directory, 0, 0},
    {"XMKD", run_make_directory, verb_needs_name, writes},
    {"XRMD", run_remove_directory, verb_needs_name, deletes},
    {"AUTH", run_unsupported, verb_for_all, 0},
    {"PBSZ", run_unsupported, verb_for_all, 0},
    {"PROT", run_unsupported, verb_for_all, 0},
    {"CCC", run_unsupported, verb_for_all, 0},
    {"ADAT", run_unsupported, verb_for_all, 0},
    {"MIC", run_unsupported, verb_for_all, 0},
    {"CONF", run_unsupported, verb_for_all, 0},
    {"ENC", run_unsupported, verb_for_all, 0},
    {"LANG", run_unsupported, verb_for_all, 0},
    {"SMNT", run_unsupported, verb_for_all, 0},
};

} // namespace

const ftp_verb* find_ftp_verb(std::string_view word) {
    for (const ftp_verb& verb : verbs)
        if (is_word(word, verb.name))
            return &verb;
    return nullptr;
}

} // namespace ombrel::protocol
