#include "protocol/ftp/ftp_line_ends.h"

namespace ombrel::protocol {

/// In place. A carriage return at the end is held until it is known what follows.
size_t ftp_line_ends::take_out(char* buffer, size_t size) {
    size_t count = 0;
    for (size_t at = 0; at < size; at++) {
        const bool is_return = buffer[at] == '\r';
        if (is_return && at + 1 == size) {
            has_held_ = true;
            held_ = '\r';
        } else if (!is_return || buffer[at + 1] != '\n') {
            buffer[count++] = buffer[at];
        }
    }
    return count;
}

/// There is room for one byte, which is the held carriage return unless a line feed follows.
ptrdiff_t ftp_line_ends::read_behind_held(ftp_session& session, char* buffer, int timeout_ms) {
    char next;
    const ptrdiff_t count = session.read(&next, 1, timeout_ms);
    if (count < 0)
        return count;
    *buffer = count == 1 && next == '\n' ? '\n' : '\r';
    has_held_ = count == 1 && next != '\n';
    held_ = next;
    return 1;
}

ptrdiff_t ftp_line_ends::read(ftp_session& session, char* buffer, size_t size, int timeout_ms) {
    const deadline limit(timeout_ms);
    while (size > 0) {
        if (has_held_ && held_ != '\r') {
            has_held_ = false;
            *buffer = held_;
            return 1;
        }
        const size_t start = has_held_ ? 1 : 0;
        if (start == size)
            return read_behind_held(session, buffer, limit.left());
        const ptrdiff_t count = session.read(buffer + start, size - start, limit.left());
        if (count < 0)
            return count;
        if (start == 1)
            *buffer = '\r';
        has_held_ = false;
        if (count == 0)
            return static_cast<ptrdiff_t>(start);
        const size_t given = take_out(buffer, start + static_cast<size_t>(count));
        if (given > 0)
            return static_cast<ptrdiff_t>(given);
    }
    return 0;
}

/// @return bytes of the data that were taken
size_t ftp_line_ends::put_in(const char* data, size_t size) {
    size_t taken = 0;
    filled_ = sent_ = 0;
    for (; taken < size && filled_ + 2 <= sizeof room_; taken++) {
        if (data[taken] == '\n' && last_ != '\r')
            room_[filled_++] = '\r';
        room_[filled_++] = last_ = data[taken];
    }
    return taken;
}

int ftp_line_ends::flush(ftp_session& session, const deadline& limit) {
    while (sent_ < filled_) {
        const ptrdiff_t count = session.write(room_ + sent_, filled_ - sent_, limit.left());
        if (count < 0)
            return count == transfer_waited ? 0 : -1;
        sent_ += static_cast<size_t>(count);
        if (sent_ < filled_ && limit.passed())
            return 0;
    }
    return 1;
}

ptrdiff_t ftp_line_ends::write(ftp_session& session, const char* data, size_t size, int timeout_ms) {
    const deadline limit(timeout_ms);
    size_t done = 0;
    for (;;) {
        const int flushed = flush(session, limit);
        if (flushed == -1)
            return -1;
        if (flushed == 0 || done == size)
            break;
        done += put_in(data + done, size - done);
    }
    return done > 0 || size == 0 ? static_cast<ptrdiff_t>(done) : transfer_waited;
}

} // namespace ombrel::protocol
