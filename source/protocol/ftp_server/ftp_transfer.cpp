#include "protocol/ftp_server/ftp_transfer.h"

#include <algorithm>
#include <new>

#include <ombrel/socket.h>

#include "platform/file.h"
#include "platform/send_file.h"

namespace ombrel::protocol {

namespace {

constexpr size_t made_room = 32 * 1024;
static_assert(made_room / 2 > ftp_listing::line_room);

constexpr int pieces_at_once = 16;
constexpr size_t small_piece = 16 * 1024;        // behind which nothing more waits
constexpr size_t copied_at_once = 64 * 1024;     // what of it is not taken is read again
constexpr size_t sent_at_once = 4 * 1024 * 1024; // by one call: what others wait for is its time

} // namespace

ftp_transfer::~ftp_transfer() {
    if (file_ >= 0)
        platform::close_descriptor(file_);
    if (listing_ == nullptr)
        return;
    listing_->~ftp_listing();
    ombrel_free_tag(listing_, ftp_server_tag, __LINE__);
}

ftp_listing* ftp_transfer::make_listing(const line_style& style, size_t limit) {
    auto* const block = allocate_record<ftp_listing>(ftp_server_tag, __LINE__);
    if (block == nullptr)
        return nullptr;
    return listing_ = new (block) ftp_listing(style, limit);
}

transfer_outcome ftp_transfer::fail() {
    why_ = last_fault();
    return transfer_outcome::file_failed;
}

transfer_outcome ftp_transfer::begin() {
    if (cuts_ && !platform::set_file_size(file_, 0))
        return fail();
    if (way_ == direction::receive && offset_ > 0 &&
        platform::move_file(file_, offset_, platform::file_origin::start) < 0)
        return fail();
    if (way_ == direction::receive || (way_ == direction::send && !is_ascii_))
        return transfer_outcome::moving;
    made_.reset(static_cast<char*>(ombrel_alloc_tag(made_room, ftp_server_tag, __LINE__)));
    if (made_)
        return transfer_outcome::moving;
    leave_fault(fault_code::no_memory);
    return fail();
}

transfer_outcome ftp_transfer::move(int socket, transfer_room& room, int64_t most) {
    const auto size = static_cast<size_t>(std::min<int64_t>(most, sent_at_once));
    if (way_ == direction::receive)
        return receive(socket, room, size);
    return made_ ? send_made(socket, size) : send_file(socket, room, size);
}

transfer_outcome ftp_transfer::result_of(int sent) {
    if (sent == def_ombrel_socket_would_block)
        return transfer_outcome::moving;
    if (sent < 0)
        return transfer_outcome::peer_failed;
    bytes_ += sent;
    return transfer_outcome::moving;
}

/// The host moves the bytes itself where it can; otherwise, from then on, they are read and sent.
transfer_outcome ftp_transfer::send_file(int socket, transfer_room& room, size_t most) {
    const int sent =
        copies_ ? send_copy(socket, room, most) : platform::send_file(socket, {}, file_, offset_, most);
    if (sent == 0)
        return transfer_outcome::done;
    if (sent > 0)
        offset_ += sent;
    else if (failed_by(sent, fault_code::not_supported))
        copies_ = true;
    else if (failed_by(sent, fault_code::input_output))
        return fail();
    else if (!failed_for_now(sent))
        return transfer_outcome::peer_failed;
    return result_of(std::max(sent, 0));
}

/// As platform::send_file(). What the socket does not take is read again.
int ftp_transfer::send_copy(int socket, transfer_room& room, size_t most) {
    const int size = platform::read_file_at(file_, room.bytes, std::min(most, copied_at_once), offset_);
    if (size <= 0)
        return size;
    const int sent = ombrel_send_now(socket, room.bytes, static_cast<size_t>(size));
    if (sent == def_ombrel_socket_would_block)
        leave_fault(fault_code::would_block);
    return sent < 0 ? -1 : sent;
}

transfer_outcome ftp_transfer::send_made(int socket, size_t most) {
    if (made_from_ == made_to_ && !is_made_ && !make_more())
        return fail();
    if (made_from_ == made_to_)
        return is_made_ ? transfer_outcome::done : transfer_outcome::moving;
    const int sent = ombrel_send_now(socket, made_.get() + made_from_, std::min(most, made_to_ - made_from_));
    made_from_ += static_cast<size_t>(std::max(sent, 0));
    return result_of(sent);
}

bool ftp_transfer::make_more() {
    made_from_ = made_to_ = 0;
    if (listing_ == nullptr)
        return make_ascii();
    made_to_ = listing_->fill(made_.get(), made_room);
    is_made_ = listing_->is_over();
    return true;
}

/// LF becomes CR LF; a CR LF stays one.
bool ftp_transfer::make_ascii() {
    char* const plain = made_.get() + made_room / 2; // what is written never passes what is read
    const int size = platform::read_file_at(file_, plain, made_room / 2, offset_);
    if (size < 0)
        return false;
    is_made_ = size == 0;
    offset_ += size;
    char* to = made_.get();
    for (int i = 0; i < size; i++) {
        if (plain[i] == '\n' && !after_return_)
            *to++ = '\r';
        after_return_ = plain[i] == '\r';
        *to++ = plain[i];
    }
    made_to_ = static_cast<size_t>(to - made_.get());
    return true;
}

transfer_outcome ftp_transfer::receive(int socket, transfer_room& room, size_t most) {
    for (int i = 0; i < pieces_at_once && most > 0; i++) {
        char* const came = room.bytes + 1;
        const int size = ombrel_recv_now(socket, came, std::min(most, room.size));
        if (size == 0)
            return finish_receiving();
        if (size < 0)
            return result_of(size);
        bytes_ += size;
        most -= static_cast<size_t>(size);
        char* const end = is_ascii_ ? to_lines(came, came + size) : came + size;
        char* const begin = is_ascii_ ? room.bytes : came;
        if (!write(begin, static_cast<size_t>(end - begin)))
            return fail();
        if (static_cast<size_t>(size) < small_piece)
            break;
    }
    return transfer_outcome::moving;
}

/// A CR at the very end was no part of a line's end.
transfer_outcome ftp_transfer::finish_receiving() {
    return after_return_ && !write("\r", 1) ? fail() : transfer_outcome::done;
}

/// CR LF becomes LF, over two pieces too: a CR at a piece's end waits for the next one. What is written
/// begins one byte before `begin`.
/// @return the end of what is written
char* ftp_transfer::to_lines(char* begin, char* end) {
    char* to = begin - 1;
    for (const char* from = begin; from < end; from++) {
        if (after_return_ && *from != '\n')
            *to++ = '\r';
        after_return_ = *from == '\r';
        if (!after_return_)
            *to++ = *from;
    }
    return to;
}

bool ftp_transfer::write(const char* bytes, size_t size) {
    while (size > 0) {
        const int written = platform::write_file(file_, bytes, size);
        if (written <= 0)
            return false;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

} // namespace ombrel::protocol
