// Reads any bytes as lines with secrets. Each secret that is read can be checked in bounded time, is found by
// its name, and has bounds kept.

#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/fault.h>
#include <ombrel/secret.h>

#include "support/byte_source.h"

namespace {

void check_secret(const ombrel_secret_list_t* list, size_t index) {
    const char* const name = ombrel_secret_list_get_name(list, index);
    const ombrel_secret_t* const secret = ombrel_secret_list_get_secret(list, index);
    require(ombrel_is_secret_name(name) == 1);
    require(ombrel_secret_list_find(list, name) == static_cast<int64_t>(index));
    require(ombrel_secret_list_get_line(list, index) > index);
    if (secret->m_kind == def_ombrel_secret_digest)
        require(memchr(secret->m_realm, 0, sizeof secret->m_realm) > secret->m_realm);
    else
        require(secret->m_iterations >= 1 && secret->m_iterations <= def_ombrel_secret_iterations_max &&
                secret->m_salt_size >= 1 && secret->m_salt_size <= def_ombrel_secret_salt_max);
    if (secret->m_iterations < 5)
        require(ombrel_check_secret(secret, name, "") == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ombrel_secret_list_options_t options;
    ombrel_init_secret_list_options(&options);
    for (const uint32_t flags : {0u, def_ombrel_secret_list_more}) {
        options.m_flags = flags;
        uint32_t failed_line;
        ombrel_secret_list_t* const list = ombrel_open_secret_text(text.data(), size, &options, &failed_line);
        require(list != nullptr || ombrel_last_fault() != def_ombrel_fault_none);
        for (size_t i = 0; i < ombrel_secret_list_get_count(list); i++)
            check_secret(list, i);
        ombrel_close_secret_list(list);
    }
    return 0;
}
