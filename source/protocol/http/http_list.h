// Lists and parameters of field values.
#pragma once

#include <string_view>

#include <ombrel/http_field.h>

namespace ombrel::protocol {

/// Takes one extension of a chunk's line, as `;name` or ` ; name = value`, from `at` on. False for anything
/// else.
bool take_chunk_extension(std::string_view text, size_t& at, ombrel_http_parameter_t& extension);

} // namespace ombrel::protocol
