// Line feeds here, carriage returns and line feeds on the way, in pieces of any size.
#pragma once

#include <cstddef>

#include "protocol/ftp/ftp_session.h"

namespace ombrel::protocol {

class ftp_line_ends {
public:
    void clear() { *this = ftp_line_ends(); }

    /// ftp_session::read() without the carriage returns in front of line feeds.
    ptrdiff_t read(ftp_session& session, char* buffer, size_t size, int timeout_ms);

    /// ftp_session::write() with one in front of each line feed that has none. What was taken may be held
    /// back here.
    ptrdiff_t write(ftp_session& session, const char* data, size_t size, int timeout_ms);

    /// Sends what is held back. @return 1 when nothing is any more, 0 when the time ran out, -1
    int flush(ftp_session& session, const deadline& limit);

private:
    ptrdiff_t read_behind_held(ftp_session& session, char* buffer, int timeout_ms);
    size_t take_out(char* buffer, size_t size);
    size_t put_in(const char* data, size_t size);

    bool has_held_ = false; ///< a byte has come that was not given yet
    char held_ = '\0';
    char last_ = '\0'; ///< the byte that was taken last
    size_t filled_ = 0, sent_ = 0;
    char room_[2048];
};

} // namespace ombrel::protocol
