// One file of an FTP server as a stream: a session in image type for a single transfer, begun anew for a
// seek.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/heap_ptr.h"
#include "protocol/ftp/ftp_session.h"

namespace ombrel::protocol {

enum class ftp_direction { retrieve, store, append };

/// What to transfer and how.
struct ftp_request {
    const char* host = nullptr;
    int port = 21;
    const char* user = nullptr;     ///< null: an anonymous user
    const char* password = nullptr; ///< null: none, or what anonymous users give
    const char* path = nullptr;     ///< as the server is to see it; relative to the user's directory
    ftp_direction direction = ftp_direction::retrieve;
    uint64_t offset = 0;  ///< where the transfer begins; not for append
    int limit_ms = 30000; ///< for each step of the dialogue; negative for no limit
};

/// One file at a time. Nothing of it is held in memory. One thread uses it at a time.
class ftp_client {
public:
    ftp_client() = default;
    ~ftp_client() { close(); }
    ftp_client(const ftp_client&) = delete;
    ftp_client& operator=(const ftp_client&) = delete;

    /// Connects, logs in, asks for the size and begins the transfer; what was opened before is closed.
    bool open(const ftp_request& request);

    /// Waits until read() or write() can do something without waiting.
    /// @param timeout_ms negative for no limit
    /// @return 1 when it can (at the end of the file too), 0 when the time ran out, -1 after a failure
    int wait(int timeout_ms) { return session_.wait(timeout_ms); }

    /// The end counts when the server has confirmed it, and when as much has come as the server told before.
    /// @return bytes, 0 at the end, -1 after a failure, transfer_waited
    ptrdiff_t read(void* buffer, size_t size, int timeout_ms) {
        return session_.read(buffer, size, timeout_ms);
    }

    /// @return bytes taken, which may be fewer; -1 after a failure; transfer_waited
    ptrdiff_t write(const void* data, size_t size, int timeout_ms) {
        return session_.write(data, size, timeout_ms);
    }

    /// Ends the transfer and begins it again at another place of the file. Not for append.
    bool restart(uint64_t offset);

    /// Waits until the server confirms what was written; a file that was not read to its end is left.
    /// False when a failure, now or before, kept the file from being transferred. Nothing when it is closed.
    bool close();

    /// Bytes of the file when it was opened, where the server told them.
    std::optional<uint64_t> size() const { return session_.size(); }
    const transfer_error& error() const { return session_.error(); }

private:
    bool begin(uint64_t offset, std::optional<uint64_t> size);
    bool end_transfer();

    ftp_session session_;
    ftp_direction direction_ = ftp_direction::retrieve;
    heap_ptr<char> path_;
};

} // namespace ombrel::protocol
