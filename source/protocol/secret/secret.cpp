#include <ombrel/secret.h>

#include <cstring>

#include <ombrel/hmac.h>

#include "core/fault.h"
#include "core/wipe.h"
#include "protocol/secret/joined_digest.h"
#include "protocol/secret/secret_check.h"

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

} // namespace

namespace ombrel::protocol {

void secret_check::begin(const ombrel_secret_t& secret, const char* name, const char* password) {
    const ombrel_digest_algorithm_t& sha256 = *ombrel_find_digest_algorithm("sha256");
    has_begun_ = true;
    is_strong_ = secret.m_kind == def_ombrel_secret_strong;
    is_sound_ = !is_strong_ || (secret.m_salt_size <= sizeof secret.m_salt && secret.m_iterations > 0 &&
                                secret.m_iterations <= def_ombrel_secret_iterations_max);
    if (!is_strong_)
        digest_joined(sha256, {name, secret.m_realm, password}, made_);
    if (!is_strong_ || !is_sound_)
        return;
    ombrel_hmac_t keyed;
    const wipe_guard wiped(keyed);
    ombrel_init_hmac(&keyed, &sha256, password, strlen(password));
    part_.begin(keyed, secret.m_salt, secret.m_salt_size, 1, secret.m_iterations);
}

bool secret_check::step(uint32_t most) {
    if (!is_strong_ || !is_sound_)
        return true;
    if (!part_.step(most))
        return false;
    part_.get(made_);
    return true;
}

bool secret_check::is_password_of(const ombrel_secret_t& secret) const {
    return is_sound_ && ombrel_is_same_secret(made_, secret.m_sha256, sizeof made_) == 1;
}

} // namespace ombrel::protocol

int ombrel_check_secret(const ombrel_secret_t* secret, const char* name, const char* password) {
    if (name == nullptr || password == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    const ombrel_secret_t& meant = secret != nullptr ? *secret : nobodys;
    secret_check check;
    check.begin(meant, name, password);
    check.step(UINT32_MAX);
    return check.is_password_of(meant) && secret != nullptr ? 1 : 0;
}
