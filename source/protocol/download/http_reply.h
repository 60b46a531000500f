// What an answer of HTTP means to a download, however it came here.
#pragma once

#include "protocol/download/download_source.h"

namespace ombrel::protocol {

struct http_reply {
    int status;
    int64_t length;                                     ///< of the body; -1 when it is not told
    const char* (*field)(void* from, const char* name); ///< a field's value; null for none
    void* from;

    const char* value(const char* name) const { return field(from, name); }
};

enum class reply_use {
    body,     ///< what comes is part of the file: see the answer
    redirect, ///< the field Location names another place
    over,     ///< the transfer has ended: see the end
};

struct reply_verdict {
    reply_use use;
    source_end end;
};

/// @param answer receives what the sink is told, for a body
reply_verdict judge_reply(const transfer& what, const http_reply& reply, source_answer& answer);

/// The header lines that ask for what is missing: "NAME: VALUE", in the order Range, If-Range. What is asked
/// from the beginning has none.
struct http_conditions {
    char range[40] = "";
    char if_range[300] = "";
};
http_conditions conditions_of(const source_request& request);

} // namespace ombrel::protocol
