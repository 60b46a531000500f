// Who may come in, where to, and what they may do there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <ombrel/ftp_server.h>
#include <ombrel/secret.h>

#include "system/tree/confined_tree.h"

namespace ombrel::protocol {

struct ftp_account {
    ftp_account* next;
    char name[def_ombrel_ftp_account_name_max + 1];
    bool takes_any_password;
    uint32_t rights;
    ombrel_secret_t secret;
    system::confined_tree tree;
    size_t sessions;
};

/// The accounts of a server, part of its record, all zero at first.
class ftp_accounts {
public:
    /// @return a def_ombrel_ftp_account_fault_*, of the line's faults the first; the fault is left
    int add(const ombrel_ftp_account_t& account);
    /// Takes over all accounts of another, which has none then.
    void add_all(ftp_accounts& more);
    /// Ends it; no session may have it.
    void remove(ftp_account* account);
    void close();

    ftp_account* find(std::string_view name) const;
    /// Who is meant by a name at log-in; null for nobody.
    ftp_account* meant_by(const char* name) const;
    /// What a password is held against: for nobody's name somebody's secret, so that the work is the same.
    const ombrel_secret_t& secret_for(const ftp_account* account) const;
    size_t count() const { return count_; }

    /// Adds the accounts of lines; the text, behind which a terminator stands, is written into. False, with
    /// the fault told and left, for a wrong one, with those before it added.
    bool read(char* text, size_t size, ombrel_ftp_account_fault_t& fault, const ftp_accounts& others);

private:
    bool read_line(char* line, const char* end, ombrel_ftp_account_fault_t& fault,
                   const ftp_accounts& others);

    ftp_account* first_;
    size_t count_;
};

/// Adds the accounts of a file, all or none.
/// @return their number, or -1 with the fault told and left
int64_t load_accounts(ftp_accounts& accounts, const char* path, ombrel_ftp_account_fault_t& fault);

} // namespace ombrel::protocol
