#include "platform/windows/socket_mode.h"

#include <atomic>
#include <cstdlib>
#include <iterator>

#include "platform/fault.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/host_error.h"

namespace ombrel::platform {

namespace {

using mode_byte = std::atomic<uint8_t>;
constexpr uint8_t does_not_block = 1, was_borrowed = 2;

// A process has no more than 2^24 handles, which are multiples of 4. Pages of the table come with the first
// note about one of their sockets and stay.
constexpr size_t page_size = 16384;
std::atomic<mode_byte*> pages[(size_t{1} << 24) / page_size];

size_t index_of(int s) {
    return static_cast<size_t>(static_cast<unsigned>(s)) / 4;
}

mode_byte* find_byte(int s) {
    const size_t page = index_of(s) / page_size;
    mode_byte* const bytes = page < std::size(pages) ? pages[page].load(std::memory_order_acquire) : nullptr;
    return bytes != nullptr ? bytes + index_of(s) % page_size : nullptr;
}

mode_byte* make_byte(int s) {
    const size_t page = index_of(s) / page_size;
    if (page < std::size(pages) && pages[page].load(std::memory_order_acquire) == nullptr) {
        auto* const fresh = static_cast<mode_byte*>(calloc(page_size, sizeof(mode_byte)));
        mode_byte* none = nullptr;
        if (!pages[page].compare_exchange_strong(none, fresh))
            free(fresh);
    }
    return find_byte(s);
}

bool has(int s, uint8_t bit) {
    const mode_byte* const byte = find_byte(s);
    return byte != nullptr && (byte->load(std::memory_order_relaxed) & bit) != 0;
}

/// Sockets with one remainder take turns together.
SRWLOCK& lock_of(int s) {
    static SRWLOCK locks[16] = {};
    return locks[index_of(s) % std::size(locks)];
}

class turn {
public:
    explicit turn(int s) : lock_(lock_of(s)) { AcquireSRWLockExclusive(&lock_); }
    ~turn() { ReleaseSRWLockExclusive(&lock_); }
    turn(const turn&) = delete;
    turn& operator=(const turn&) = delete;

private:
    SRWLOCK& lock_;
};

bool set_host_mode(int s, bool blocking) {
    u_long non_blocking = blocking ? 0 : 1;
    return ioctlsocket(socket_of(s), static_cast<long>(FIONBIO), &non_blocking) == 0;
}

} // namespace

void reset_socket_mode(int s) {
    if (mode_byte* const byte = find_byte(s))
        byte->store(0, std::memory_order_relaxed);
}

bool set_socket_mode(int s, bool blocking) {
    mode_byte* const byte = blocking ? find_byte(s) : make_byte(s);
    if (!blocking && byte == nullptr) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    const turn own(s);
    if (!set_host_mode(s, blocking)) {
        fail_by(static_cast<uint32_t>(WSAGetLastError()));
        return false;
    }
    if (byte != nullptr && blocking)
        byte->fetch_and(static_cast<uint8_t>(~does_not_block), std::memory_order_relaxed);
    else if (byte != nullptr)
        byte->fetch_or(does_not_block, std::memory_order_relaxed);
    return true;
}

bool has_blocking_mode(int s) {
    return !has(s, does_not_block);
}

bool is_borrowed(int s) {
    return has(s, was_borrowed);
}

borrowed_mode::borrowed_mode(int s) : s_(s), borrowed_(has_blocking_mode(s)) {
    if (!borrowed_)
        return;
    AcquireSRWLockExclusive(&lock_of(s_));
    if (mode_byte* const byte = make_byte(s_))
        byte->fetch_or(was_borrowed, std::memory_order_relaxed);
    set_host_mode(s_, false);
}

borrowed_mode::~borrowed_mode() {
    if (!borrowed_)
        return;
    const fault_keeper why;
    if (has_blocking_mode(s_))
        set_host_mode(s_, true);
    ReleaseSRWLockExclusive(&lock_of(s_));
}

} // namespace ombrel::platform
