// What users hold of a session, and what each of their calls does around its work.
#pragma once

#include <ombrel/ftp.h>

#include "protocol/ftp/ftp_line_ends.h"
#include "protocol/ftp/ftp_session.h"

struct ombrel_ftp_ts {
    ombrel::protocol::ftp_session session;
    ombrel_ftp_options_t options{};
    ombrel::protocol::transfer_error shown; ///< why the last call failed
    uint32_t features = 0;
    bool has_features = false; ///< the server has told them
    bool has_begun = false;    ///< there is a transfer, or was one that nothing was asked after yet
    bool is_text = false;      ///< the present or last one has line ends that are not ours
    ombrel::protocol::ftp_line_ends line_ends;
    char stored_name[256] = "";
    char entry_line[ombrel::protocol::most_ftp_line] = "";
    char entry_room[ombrel::protocol::most_ftp_line + 8] = "";
};

namespace ombrel::protocol {

/// Makes a call's own refusal known, which is none of a transfer's failures. @return -1
int refuse_ftp_call(ombrel_ftp_t* ftp, fault_code fault, const char* text);

/// Whether a text can be a path in a command: not empty, of one line, not too long.
bool is_ftp_path(const char* text);

/// Whether a call may ask the server; if so, what failed before is forgotten, else the call is refused.
bool may_ask(ombrel_ftp_t* ftp);
/// The same for a call with a path.
bool may_ask(ombrel_ftp_t* ftp, const char* path);

/// Makes the session's failure known, if there is one. @return 0 or -1
int end_ftp_call(ombrel_ftp_t& ftp, bool good);

/// What a plain transfer needs of the session: the type, and a mark that it has begun.
bool begin_transfer(ombrel_ftp_t& ftp, const ftp_job& job, bool converts);

/// The bytes of the transfer as users see them.
ptrdiff_t read_transfer(ombrel_ftp_t& ftp, void* buffer, size_t size, int timeout_ms);
ptrdiff_t write_transfer(ombrel_ftp_t& ftp, const void* data, size_t size, int timeout_ms);
bool finish_transfer(ombrel_ftp_t& ftp);

/// Asks for the size of a file, unless it is known that the server tells none.
bool ask_size(ombrel_ftp_t& ftp, const char* path, std::optional<uint64_t>& size);

/// Bytes of the file that is transferred; -1 where they are not known.
int64_t total_of(const ombrel_ftp_t& ftp);

/// Tells the progress handler. @return 0, or its result that ends the call
int show_progress(ombrel_ftp_t& ftp);

/// Asks for the features and makes use of those that must be switched on.
bool find_features(ombrel_ftp_t& ftp);

inline bool has_feature(const ombrel_ftp_t& ftp, uint32_t feature) {
    return (ftp.features & feature) != 0;
}

} // namespace ombrel::protocol
