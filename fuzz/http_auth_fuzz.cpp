// Gives any bytes to both sides of log-in, as a value of a request and as challenges. Nobody is let in; what
// a client answers to any challenge is a proper value; a server that it proves itself to understands it.

#include <cstdint>
#include <cstring>
#include <string>

#include <ombrel/http_auth.h>
#include <ombrel/http_field.h>

#include "support/byte_source.h"

namespace {

const char secrets[] = "ann:$digest$ombrel$d8fb0b1d6d6b2b0a6b1a4d3c0f4d9a11$"
                       "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

void check_server(const std::string& value) {
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_schemes = def_ombrel_http_auth_any;
    options.m_userhash = 1;
    options.m_secrets = ombrel_open_secret_text(secrets, sizeof secrets - 1, nullptr, nullptr);
    ombrel_http_auth_server_t* const server = ombrel_open_http_auth_server(&options);
    require(server != nullptr);
    for (const std::string& text : {value, "Digest " + value, "Basic " + value}) {
        ombrel_http_auth_result_t result;
        require(ombrel_http_auth_server_check(server, text.c_str(), "GET", "/", &result) == 0);
        require(result.m_outcome != def_ombrel_http_auth_granted && result.m_info[0] == '\0');
        require(memchr(result.m_name, 0, sizeof result.m_name) != nullptr);
    }
    ombrel_close_http_auth_server(server);
    ombrel_close_secret_list(options.m_secrets);
}

void check_client(const std::string& value) {
    ombrel_http_auth_client_t* const client = ombrel_open_http_auth_client("\xC3\xA4nn", "p\"w", nullptr);
    const char* const text = value.c_str();
    const int taken = ombrel_http_auth_client_take(client, &text, 1);
    char answer[8 * 1024];
    const int size = ombrel_http_auth_client_answer(client, "GET", "/", answer, sizeof answer);
    require(taken == 1 ? size > 0 && ombrel_is_http_value(answer, static_cast<size_t>(size)) == 1
                       : size == 0);
    require((taken == 1) == (ombrel_http_auth_client_get_scheme(client) != 0));
    if (taken == 1)
        check_server(answer);
    require(ombrel_http_auth_client_check_info(client, text) <= 0);
    ombrel_close_http_auth_client(client);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string value(reinterpret_cast<const char*>(data), size);
    check_server(value);
    check_client(value);
    return 0;
}
