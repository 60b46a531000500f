// Reads any text as an address; what is understood must print and read back to the same address.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <ombrel/address.h>
#include <ombrel/host_socket.h>

#include "support/require.h"

namespace {

void check_printed_form(const sockaddr_storage& address) {
    const sockaddr* const record = reinterpret_cast<const sockaddr*>(&address);
    char text[64];
    int port = -1;
    require(ombrel_inet_stopp(record, text, sizeof text, &port) == text, "an address that was read prints");
    sockaddr_storage again;
    require(ombrel_inet_ptos(address.ss_family, text, port, &again, sizeof again) == 0,
            "the printed form reads");
    require(memcmp(&address, &again, sizeof again) == 0, "the printed form reads back the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const int families[] = {0, AF_INET, AF_INET6};
    int results[3];
    for (int i = 0; i < 3; i++) {
        sockaddr_storage address;
        results[i] = ombrel_inet_ptos(families[i], text.c_str(), 7, &address, sizeof address);
        if (results[i] == 0)
            check_printed_form(address);
        require(ombrel_inet_pton(families[i], text.c_str(), nullptr) == results[i], "both readers agree");
    }
    require((results[0] == 0) == (results[1] == 0 || results[2] == 0), "family 0 takes either family");
    return 0;
}
