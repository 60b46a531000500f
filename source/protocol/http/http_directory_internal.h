// Files of a directory as answers: what the parts share.
#pragma once

#include <ombrel/file.h>
#include <ombrel/http_directory.h>

#include "protocol/http/http_server_internal.h"
#include "system/tree/confined_tree.h"

struct ombrel_http_directory_ts {
    ombrel::system::confined_tree tree;
    ombrel_http_directory_options_t options; ///< texts are copies
};

namespace ombrel::protocol {

using http_directory = ombrel_http_directory_t;

/// Answers with a file.
/// @param descriptor taken over
/// @param type       null takes it from the path
int answer_file(http_exchange& exchange, const http_directory& directory, int descriptor,
                const ombrel_file_info_t& info, const char* path, const char* type);

/// Answers with a list of what is in a directory.
/// @param path below the served one, decoded, empty or with "/" at its end
int answer_listing(http_exchange& exchange, const http_directory& directory, const char* path);

/// Answers for what is not served, whatever the reason, save that this side has run out of something.
int answer_by_fault(http_exchange& exchange);

/// Whether a name is hidden from those who ask.
inline bool is_hidden(const http_directory& directory, const char* name) {
    return name[0] == '.' && (directory.options.m_flags & def_ombrel_http_directory_dot_files) == 0;
}

/// Adds a path as it stands in a URL. False when memory has run out.
bool put_encoded(counted_block& text, memory_budget& budget, std::string_view path);

} // namespace ombrel::protocol
