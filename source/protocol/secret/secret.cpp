#include <ombrel/secret.h>

#include <cstring>

#include <ombrel/hmac.h>

#include "core/fault.h"
#include "core/wipe.h"
#include "protocol/secret/joined_digest.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

/// What nobody's password gives: all zeros.
constexpr ombrel_secret_t nobodys = {.m_kind = def_ombrel_secret_digest,
                                     .m_realm = def_ombrel_secret_realm,
                                     .m_md5 = {},
                                     .m_sha256 = {},
                                     .m_iterations = 0,
                                     .m_salt = {},
                                     .m_salt_size = 0};

bool is_password(const ombrel_secret_t& secret, const char* name, const char* password) {
    const ombrel_digest_algorithm_t& sha256 = *ombrel_find_digest_algorithm("sha256");
    unsigned char made[def_ombrel_sha256_size];
    const wipe_guard wiped(made);
    if (secret.m_kind == def_ombrel_secret_strong) {
        if (secret.m_salt_size > sizeof secret.m_salt ||
            secret.m_iterations > def_ombrel_secret_iterations_max)
            return false;
        ombrel_make_pbkdf2(&sha256, password, strlen(password), secret.m_salt, secret.m_salt_size,
                           secret.m_iterations, made, sizeof made);
    } else
        digest_joined(sha256, {name, secret.m_realm, password}, made);
    return ombrel_is_same_secret(made, secret.m_sha256, sizeof made) == 1;
}

} // namespace

int ombrel_check_secret(const ombrel_secret_t* secret, const char* name, const char* password) {
    if (name == nullptr || password == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    const bool is_right = is_password(secret != nullptr ? *secret : nobodys, name, password);
    return is_right && secret != nullptr ? 1 : 0;
}
