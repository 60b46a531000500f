// Reads any text as an address of an adapter and as a password; what is one is written and read the same.

#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/wake_on_lan.h>

#include "support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    uint8_t mac[def_ombrel_mac_address_size], again[def_ombrel_mac_address_size];
    size_t fault_at = 0;
    if (ombrel_parse_mac_address(text.c_str(), mac, &fault_at) == 0) {
        char written[def_ombrel_mac_address_text_size];
        require(ombrel_format_mac_address(written, sizeof written, mac) == 17);
        require(ombrel_parse_mac_address(written, again, nullptr) == 0 &&
                memcmp(mac, again, sizeof mac) == 0);
    }
    require(fault_at <= text.size());
    ombrel_wake_password_t password;
    if (ombrel_parse_wake_password(text.c_str(), &password, &fault_at) == 0)
        require(password.m_size == 4 || password.m_size == def_ombrel_wake_password_max);
    require(fault_at <= text.size());
    return 0;
}
