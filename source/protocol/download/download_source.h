// Where bytes come from: any URI that is allowed, from an offset on if its source can do that.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/download/download_info.h"
#include "protocol/download/download_watch.h"
#include "protocol/transfer_error.h"

namespace ombrel::protocol {

/// What is asked for.
struct source_request {
    const ombrel_download_options_t& options;
    const char* uri;
    int64_t offset = 0;                   ///< of the first byte wanted
    const resource_info* known = nullptr; ///< what the bytes before it are of
};

/// What is answered, before the first byte comes.
struct source_answer {
    int64_t offset = 0; ///< of the first byte that comes: the one asked for, or 0
    resource_info resource;
};

/// Takes what comes. What gives false ends the transfer, and knows why itself.
struct source_sink {
    bool (*begin)(void* context, const source_answer& answer);
    bool (*take)(void* context, const void* data, size_t size);
    void* context;
};

/// How a transfer ended.
enum class source_end {
    whole,   ///< all that the source had came
    stopped, ///< the sink or the watch ended it
    failed,  ///< see the error; it may be better later
    refused, ///< see the error; it is not asked again
    anew,    ///< it does not go on from the offset: it is to be asked from the beginning
};

/// What is shared by one transfer's parts.
struct transfer {
    const source_request& request;
    const source_sink& sink;
    download_watch& watch;
    transfer_error& error;
    int& wait_ms; ///< receives how long the source wants to be left alone; unchanged when it does not say
};

/// Asks a source, and hands what comes to the sink.
source_end fetch_source(const transfer& what);

/// The kinds: HTTP and FTP by the library's own clients, and what contexts open.
source_end fetch_http(const transfer& what);
source_end fetch_ftp(const transfer& what);
source_end fetch_by_ctx(const transfer& what);

/// Whether a failure may be gone at the next try.
source_end end_by_fault(fault_code code);

/// Makes it the error. @return how the transfer ends by it
source_end fail_source(const transfer& what, fault_code code, std::string_view text, int peer_code = 0);

/// Whether the scheme of a URI is among those that the options allow; that of a plain path is "file".
bool is_allowed(const ombrel_download_options_t& options, const char* uri);

} // namespace ombrel::protocol
