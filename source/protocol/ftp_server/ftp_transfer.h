// Bytes on their way between a data connection and a file or listing, in pieces that no loop waits for.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/event.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/ftp_server/ftp_listing.h"

namespace ombrel::protocol {

/// Room that all transfers of a server use in turn. A file comes in with a tenth less work than by quarters
/// of it; it still fits into the processor's caches.
struct transfer_room {
    static constexpr size_t size = 256 * 1024;
    char bytes[size + 1]; ///< and for a CR that came before
};

/// Of a transfer that ended.
enum class transfer_outcome : uint8_t {
    moving,
    done,
    peer_failed, ///< the connection broke
    file_failed, ///< fault() says why
};

class ftp_transfer {
public:
    enum class direction : uint8_t { send, receive, list };

    /// @param file owned from then on
    ftp_transfer(direction way, int file, int64_t offset, bool is_ascii)
        : way_(way), is_ascii_(is_ascii), file_(file), offset_(offset) {}
    ~ftp_transfer();
    ftp_transfer(const ftp_transfer&) = delete;
    ftp_transfer& operator=(const ftp_transfer&) = delete;

    /// What a listing lists; null when memory has run out.
    ftp_listing* make_listing(const line_style& style, size_t limit);
    ftp_listing* listing() const { return listing_; }

    direction way() const { return way_; }
    uint32_t wanted() const {
        return way_ == direction::receive ? def_ombrel_event_read : def_ombrel_event_write;
    }

    /// What is to happen once the connection stands: a file that is replaced loses what it held only then.
    void cut_at_start() { cuts_ = true; }
    transfer_outcome begin();
    /// Moves what goes at once, `most` bytes at most.
    transfer_outcome move(int socket, transfer_room& room, int64_t most);

    /// Bytes on the connection.
    int64_t bytes() const { return bytes_; }
    fault why() const { return why_; }

private:
    transfer_outcome send_file(int socket, transfer_room& room, size_t most);
    int send_copy(int socket, transfer_room& room, size_t most);
    transfer_outcome send_made(int socket, size_t most);
    bool make_more();
    bool make_ascii();
    transfer_outcome receive(int socket, transfer_room& room, size_t most);
    transfer_outcome finish_receiving();
    char* to_lines(char* begin, char* end);
    bool write(const char* bytes, size_t size);
    transfer_outcome fail();
    transfer_outcome result_of(int sent);

    direction way_;
    bool is_ascii_, cuts_ = false, copies_ = false;
    bool after_return_ = false; ///< a CR was the last byte that was read or came
    bool is_made_ = false;      ///< all of it is in made_
    int file_;
    int64_t offset_, bytes_ = 0;
    ftp_listing* listing_ = nullptr;
    heap_ptr<char> made_; ///< what was made to be sent
    size_t made_from_ = 0, made_to_ = 0;
    fault why_;
};

} // namespace ombrel::protocol
