#include "protocol/ftp_server/ftp_account.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "protocol/ftp_server/ftp_line.h"
#include "system/file/file_internal.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr uint32_t all_rights =
    def_ombrel_ftp_account_read | def_ombrel_ftp_account_write | def_ombrel_ftp_account_delete;
constexpr size_t file_size_limit = 1024 * 1024;
constexpr std::string_view anonymous = "anonymous";

int refuse(fault_code why, int reason) {
    leave_fault(why);
    return reason;
}

bool is_name(const char* name) {
    return name != nullptr && ombrel_is_secret_name(name) == 1 &&
           strlen(name) <= def_ombrel_ftp_account_name_max && strpbrk(name, " \t") == nullptr;
}

bool is_absent(const char* secret) {
    return secret == nullptr || secret[0] == '\0';
}

/// What is wrong with what an account says of itself.
int fault_of(const ombrel_ftp_account_t& account, bool takes_any_password, ombrel_secret_t& secret) {
    if (!is_name(account.m_name))
        return def_ombrel_ftp_account_fault_name;
    const bool has_secret = !is_absent(account.m_secret);
    if (!takes_any_password && (!has_secret || ombrel_parse_secret(account.m_secret, &secret) != 0))
        return def_ombrel_ftp_account_fault_secret;
    if (account.m_directory == nullptr || account.m_directory[0] == '\0')
        return def_ombrel_ftp_account_fault_directory;
    if ((account.m_rights & ~all_rights) != 0)
        return def_ombrel_ftp_account_fault_rights;
    return def_ombrel_ftp_account_fault_none;
}

void free_account(ftp_account* account) {
    account->tree.close();
    wipe(account, sizeof *account);
    ombrel_free_tag(account, ftp_server_tag, __LINE__);
}

/// Takes the field behind the last or first colon; null when there is none.
char* cut(char* colon) {
    if (colon == nullptr)
        return nullptr;
    *colon = '\0';
    return colon + 1;
}

bool parse_rights(const char* text, uint32_t& rights) {
    static constexpr std::string_view letters = "rwd"; // in the order of their bits
    rights = 0;
    for (; *text != '\0'; text++) {
        const size_t place = letters.find(*text);
        if (place == std::string_view::npos || (rights & 1u << place) != 0)
            return false;
        rights |= 1u << place;
    }
    return true;
}

} // namespace

int ftp_accounts::add(const ombrel_ftp_account_t& given) {
    system::quiet_ptr<ftp_account> added(
        static_cast<ftp_account*>(ombrel_calloc_tag(1, sizeof(ftp_account), ftp_server_tag, __LINE__)));
    if (!added)
        return refuse(fault_code::no_memory, def_ombrel_ftp_account_fault_none);
    added->takes_any_password = given.m_name != nullptr && given.m_name == anonymous;
    const int wrong = fault_of(given, added->takes_any_password, added->secret);
    if (wrong != def_ombrel_ftp_account_fault_none)
        return refuse(fault_code::invalid, wrong);
    if (find(given.m_name) != nullptr)
        return refuse(fault_code::exists, def_ombrel_ftp_account_fault_twice);
    if (!added->tree.open(given.m_directory))
        return def_ombrel_ftp_account_fault_directory;
    *put_text(added->name, given.m_name) = '\0';
    added->rights = given.m_rights;
    added->next = first_;
    first_ = added.release();
    count_++;
    leave_fault(fault_code::none);
    return def_ombrel_ftp_account_fault_none;
}

void ftp_accounts::add_all(ftp_accounts& more) {
    ftp_account** end = &more.first_;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = first_;
    first_ = std::exchange(more.first_, nullptr);
    count_ += std::exchange(more.count_, 0);
}

void ftp_accounts::remove(ftp_account* account) {
    ftp_account** link = &first_;
    while (*link != account)
        link = &(*link)->next;
    *link = account->next;
    count_--;
    free_account(account);
}

void ftp_accounts::close() {
    while (first_ != nullptr)
        remove(first_);
}

ftp_account* ftp_accounts::find(std::string_view name) const {
    for (ftp_account* account = first_; account != nullptr; account = account->next)
        if (account->name == name)
            return account;
    return nullptr;
}

ftp_account* ftp_accounts::meant_by(const char* name) const {
    ftp_account* const account = find(name);
    return account == nullptr && strcmp(name, "ftp") == 0 ? find(anonymous) : account;
}

/// Somebody's is, of the accounts with a secret, that of the last in the list, so that what an unknown name
/// costs stays the same.
const ombrel_secret_t& ftp_accounts::secret_for(const ftp_account* account) const {
    static constexpr ombrel_secret_t nobodys{};
    const ombrel_secret_t* found = account != nullptr ? &account->secret : &nobodys;
    for (const ftp_account* each = first_; account == nullptr && each != nullptr; each = each->next)
        if (!each->takes_any_password)
            found = &each->secret;
    return *found;
}

bool ftp_accounts::read(char* text, size_t size, ombrel_ftp_account_fault_t& fault,
                        const ftp_accounts& others) {
    for (char *line = text, *end = text + size; line < end;) {
        fault.m_line++;
        char* const stop = std::find(line, end, '\n');
        char* const shown_stop = stop > line && stop[-1] == '\r' ? stop - 1 : stop;
        *shown_stop = '\0'; // a terminator stands behind the text
        if (line < shown_stop && line[0] != '#' && !read_line(line, shown_stop, fault, others))
            return false;
        line = stop + 1;
    }
    fault.m_line = 0;
    return true;
}

/// The directory may have colons, so it ends at the last one.
bool ftp_accounts::read_line(char* line, const char* end, ombrel_ftp_account_fault_t& fault,
                             const ftp_accounts& others) {
    const bool is_text = strlen(line) == static_cast<size_t>(end - line);
    ombrel_ftp_account_t account{line, nullptr, nullptr, 0};
    char* const secret = cut(strchr(line, ':'));
    char* const directory = secret != nullptr ? cut(strchr(secret, ':')) : nullptr;
    const char* const rights = directory != nullptr ? cut(strrchr(directory, ':')) : nullptr;
    account.m_secret = secret;
    account.m_directory = directory;
    if (!is_text || rights == nullptr)
        fault.m_reason = refuse(fault_code::invalid, def_ombrel_ftp_account_fault_fields);
    else if (!parse_rights(rights, account.m_rights))
        fault.m_reason = refuse(fault_code::invalid, def_ombrel_ftp_account_fault_rights);
    else if (others.find(account.m_name) != nullptr)
        fault.m_reason = refuse(fault_code::exists, def_ombrel_ftp_account_fault_twice);
    else
        fault.m_reason = add(account);
    fault.m_fault = ombrel_last_fault();
    return fault.m_reason == def_ombrel_ftp_account_fault_none && fault.m_fault == def_ombrel_fault_none;
}

int64_t load_accounts(ftp_accounts& accounts, const char* path, ombrel_ftp_account_fault_t& fault) {
    size_t size = 0;
    const system::quiet_ptr<char> text(static_cast<char*>(
        ombrel_alloc_load_file_tag(path, file_size_limit, &size, ftp_server_tag, __LINE__)));
    if (!text) {
        fault.m_fault = ombrel_last_fault();
        return -1;
    }
    const wipe_guard guard(text.get(), size);
    ftp_accounts read{};
    const bool is_read = read.read(text.get(), size, fault, accounts);
    const auto count = static_cast<int64_t>(read.count());
    if (is_read)
        accounts.add_all(read);
    const fault_keeper kept;
    read.close();
    return is_read ? count : -1;
}

} // namespace ombrel::protocol
