// What the sources of secrets share.
#pragma once

#include <string_view>

#include <ombrel/secret.h>

namespace ombrel::protocol {

bool is_secret_name(std::string_view name);
bool is_secret_realm(std::string_view realm);

/// ombrel_parse_secret() of a text that need not be terminated.
bool parse_secret(std::string_view text, ombrel_secret_t& secret);

} // namespace ombrel::protocol
