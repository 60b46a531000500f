#include <ombrel/buffer.h>

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "container/buffer_internal.h"
#include "core/heap_ptr.h"
#include "core/lock_guard.h"
#include "core/wipe.h"

using namespace ombrel;

namespace {

constexpr uint32_t uncopied = def_ombrel_buffer_flag_reference | def_ombrel_buffer_flag_own;

constexpr const char push_tag[] = "ombrel_push_buffer_ex";
constexpr const char handler_tag[] = "buffer handler";

// Pushes exclude each other and the handler's thread; a buffer without a handler takes no lock. To the check
// of locks its lock is held all the same: the buffer decides whether there is anybody to keep out.
class [[nodiscard]] OMBREL_GUARD_CLASS push_guard {
public:
    push_guard(ombrel_buffer_t& buffer, unsigned long line) OMBREL_ACQUIRES(buffer.m_lock)
        : guard_(buffer.m_service != nullptr ? &buffer.m_lock : nullptr, push_tag, line) {}
    ~push_guard() OMBREL_RELEASES() {}

    explicit operator bool() const { return static_cast<bool>(guard_); }

private:
    lock_guard guard_;
};

void write_bytes(unsigned char* to, const unsigned char* bytes, size_t size) {
    if (bytes != nullptr)
        memcpy(to, bytes, size);
    else
        memset(to, 0, size);
}

void free_node(buffer_node* node) {
    if ((node->m_flags & def_ombrel_buffer_flag_wipe) != 0)
        wipe(node->m_data, node->m_used);
    if ((node->m_flags & def_ombrel_buffer_flag_own) != 0)
        ombrel_free_tag(node->m_data, "ombrel_pop_buffer_ex", __LINE__);
    ombrel_free_tag(node, "ombrel_pop_buffer_ex", __LINE__);
}

void append(ombrel_buffer_t& buffer, buffer_node* node) OMBREL_REQUIRES(buffer.m_lock) {
    if (buffer.m_head != nullptr)
        buffer.m_tail->m_next = node;
    else
        buffer.m_head = node;
    buffer.m_tail = node;
}

buffer_node* unlink_head(ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    buffer_node* node = buffer.m_head;
    buffer.m_head = node->m_next;
    return node;
}

buffer_node* make_copying_node(size_t capacity, uint32_t flags, const unsigned char* bytes, size_t size) {
    if (capacity > SIZE_MAX - sizeof(buffer_node))
        return nullptr;
    auto* node =
        static_cast<buffer_node*>(ombrel_alloc_tag(sizeof(buffer_node) + capacity, push_tag, __LINE__));
    if (node == nullptr)
        return nullptr;
    *node = {nullptr, flags & ~uncopied, capacity, size, 0, reinterpret_cast<unsigned char*>(node + 1)};
    write_bytes(node->m_data, bytes, size);
    return node;
}

buffer_node* make_uncopied_node(uint32_t flags, const unsigned char* bytes, size_t size) {
    auto* node = allocate_record<buffer_node>(push_tag, __LINE__);
    if (node != nullptr)
        *node = {nullptr, flags, size, size, 0, const_cast<unsigned char*>(bytes)};
    return node;
}

size_t fill_tail(ombrel_buffer_t& buffer, const unsigned char* bytes, size_t size)
    OMBREL_REQUIRES(buffer.m_lock) {
    if (buffer.m_head == nullptr)
        return 0;
    buffer_node& tail = *buffer.m_tail;
    const size_t now = std::min({size, tail.m_capacity - tail.m_used, SIZE_MAX - buffer.m_size});
    write_bytes(tail.m_data + tail.m_used, bytes, now);
    tail.m_used += now;
    return now;
}

bool append_new_node(ombrel_buffer_t& buffer, const unsigned char* bytes, size_t size, uint32_t flags)
    OMBREL_REQUIRES(buffer.m_lock) {
    buffer_node* node;
    if (bytes != nullptr && (flags & uncopied) != 0) {
        node = make_uncopied_node(flags, bytes, size);
    } else {
        const bool exact = (flags & def_ombrel_buffer_flag_exact) != 0;
        node = make_copying_node(exact ? size : std::max(buffer.m_unit_size, size), flags, bytes, size);
    }
    if (node == nullptr)
        return false;
    append(buffer, node);
    return true;
}

// `may_fill` lets the bytes start in the free room of the last node. A node that would make the size overflow
// cannot be had, as one without memory.
size_t push(ombrel_buffer_t& buffer, const void* data, size_t size, uint32_t flags, bool may_fill)
    OMBREL_REQUIRES(buffer.m_lock) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    size_t queued = may_fill ? fill_tail(buffer, bytes, size) : 0;
    if (queued < size && size <= SIZE_MAX - buffer.m_size) {
        const unsigned char* rest = bytes != nullptr ? bytes + queued : nullptr;
        if (append_new_node(buffer, rest, size - queued, flags))
            queued = size;
    }
    buffer.m_size += queued;
    OMBREL_INVARIANT(is_sound(buffer));
    return queued;
}

bool has_untouched_block(const buffer_node& node, size_t size) {
    return (node.m_flags & def_ombrel_buffer_flag_own) != 0 && node.m_read == 0 && node.m_used == size;
}

// Hands out the block of an owning head node.
void* detach_head_block(ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    buffer_node* node = unlink_head(buffer);
    void* block = node->m_data;
    buffer.m_size -= node->m_used;
    buffer.m_offset += node->m_used;
    ombrel_free_tag(node, "ombrel_alloc_pop_buffer_ex", __LINE__);
    return block;
}

// `size` bytes, which must be queued, as a block.
void* take_block(ombrel_buffer_t& buffer, size_t size, const char* tag) OMBREL_REQUIRES(buffer.m_lock) {
    if (has_untouched_block(*buffer.m_head, size))
        return detach_head_block(buffer);
    void* block = ombrel_alloc_tag(size, tag, __LINE__);
    if (block != nullptr)
        take_front(buffer, block, size);
    return block;
}

// One node on its way to the handler.
struct delivery {
    heap_ptr<unsigned char> data;
    size_t size;
    uint64_t offset;
    size_t queued; // behind it
    bool secret;   // wiped when the handler is done with it, as its node is
};

delivery take_delivery(ombrel_buffer_t& buffer) {
    const lock_guard guard(buffer.m_lock, handler_tag, __LINE__);
    if (!guard)
        return {};
    delivery taken{{}, 0, buffer.m_offset, 0, false};
    taken.secret = buffer.m_head != nullptr && (buffer.m_head->m_flags & def_ombrel_buffer_flag_wipe) != 0;
    taken.data.reset(static_cast<unsigned char*>(ombrel_get_buffer_node(&buffer, &taken.size)));
    taken.queued = buffer.m_size;
    return taken;
}

void deliver(const ombrel_buffer_t& buffer, const delivery& node) {
    buffer.m_handler(buffer.m_context, node.data.get(), node.size, static_cast<uint32_t>(node.offset),
                     static_cast<uint32_t>(node.offset >> 32), node.queued);
    if (node.secret)
        wipe(node.data.get(), node.size);
}

int run_handler(ombrel_service_t* service, void* context) {
    auto& buffer = *static_cast<ombrel_buffer_t*>(context);
    ombrel_ack_service(service);
    while (ombrel_break_service(service) == 0) {
        const delivery node = take_delivery(buffer);
        if (node.data)
            deliver(buffer, node);
        else
            ombrel_load_balance();
    }
    return 0;
}

} // namespace

namespace ombrel {

size_t push_copy(ombrel_buffer_t& buffer, const void* data, size_t size) {
    const push_guard guard(buffer, __LINE__);
    return guard ? push(buffer, data, size, buffer.m_flags & ~uncopied, true) : 0;
}

void take_nodes(ombrel_buffer_t& buffer, void* dest, size_t size) {
    buffer.m_size -= size;
    const uint64_t offset = buffer.m_offset + size;
    auto* to = static_cast<unsigned char*>(dest);
    while (size > 0) {
        buffer_node& node = *buffer.m_head;
        const size_t now = std::min(size, node.unread());
        if (to != nullptr) {
            memcpy(to, node.front(), now);
            to += now;
        }
        node.m_read += now;
        size -= now;
        if (node.m_read == node.m_used)
            free_node(unlink_head(buffer));
    }
    // Apart from the size: the two loaded as one word would wait for the size's last store.
    buffer.m_offset = offset;
    OMBREL_INVARIANT(is_sound(buffer));
}

} // namespace ombrel

ombrel_buffer_t* ombrel_open_buffer_ex2(uint32_t flags, ombrel_buffer_handler_t handler, void* context) {
    static constexpr char tag[] = "ombrel_open_buffer_ex2";
    heap_ptr buffer(allocate_record<ombrel_buffer_t>(tag, __LINE__));
    if (!buffer)
        return nullptr;
    *buffer = {};
    buffer->m_flags = flags;
    buffer->m_unit_size = def_ombrel_buffer_unit_size;
    buffer->m_context = context;
    buffer->m_handler = handler;
    ombrel_init_lock_tag(&buffer->m_lock, tag, __LINE__);
    if (handler == nullptr)
        return buffer.release();
    buffer->m_flags |= def_ombrel_buffer_flag_exact;
    buffer->m_service = ombrel_open_service_ex("buffer handler", run_handler, buffer.get(), 0);
    if (buffer->m_service != nullptr)
        return buffer.release();
    ombrel_uninit_lock_tag(&buffer->m_lock, tag, __LINE__);
    return nullptr;
}

ombrel_buffer_t* ombrel_open_buffer_ex(uint32_t flags) {
    return ombrel_open_buffer_ex2(flags, nullptr, nullptr);
}

ombrel_buffer_t* ombrel_close_buffer(ombrel_buffer_t* buffer) {
    if (buffer == nullptr)
        return nullptr;
    static constexpr char tag[] = "ombrel_close_buffer";
    if (buffer->m_service != nullptr)
        ombrel_close_service(buffer->m_service);
    ombrel_uninit_lock_tag(&buffer->m_lock, tag, __LINE__);
    assert_owned(*buffer);
    while (buffer->m_head != nullptr)
        free_node(unlink_head(*buffer));
    ombrel_free_tag(buffer, tag, __LINE__);
    return nullptr;
}

int ombrel_end_buffer(ombrel_buffer_t* buffer) {
    // The options given at open are lost with the rest of the word: meant so.
    if (buffer != nullptr) {
        buffer->m_flags = def_ombrel_buffer_flag_ended;
        buffer->m_search = {};
    }
    return 0;
}

size_t ombrel_push_buffer_ex(ombrel_buffer_t* buffer, const void* data, size_t size, uint32_t flags) {
    if (buffer == nullptr)
        return 0;
    const push_guard guard(*buffer, __LINE__);
    if (!guard)
        return 0;
    const uint32_t combined = buffer->m_flags | flags;
    // A block to be owned goes into its node whole, also on account of the buffer's flag: its address is what
    // is freed.
    const bool owns = data != nullptr && (combined & def_ombrel_buffer_flag_own) != 0;
    return push(*buffer, data, size, combined, (flags & uncopied) == 0 && !owns);
}

size_t ombrel_push_puts_ex(ombrel_buffer_t* buffer, const char* text, uint32_t flags) {
    return text != nullptr ? ombrel_push_buffer_ex(buffer, text, strlen(text), flags) : 0;
}

size_t ombrel_push_vprintf(ombrel_buffer_t* buffer, const char* format, va_list args) {
    if (buffer == nullptr)
        return 0;
    const heap_ptr text(ombrel_alloc_vsprintf(format, args));
    if (!text)
        return 0;
    const size_t size = strlen(text.get());
    const size_t queued = push_copy(*buffer, text.get(), size);
    if ((buffer->m_flags & def_ombrel_buffer_flag_wipe) != 0)
        wipe(text.get(), size);
    return queued;
}

size_t ombrel_push_printf(ombrel_buffer_t* buffer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const size_t queued = ombrel_push_vprintf(buffer, format, args);
    va_end(args);
    return queued;
}

size_t ombrel_pop_buffer_ex(ombrel_buffer_t* buffer, void* dest, size_t size, int exact) {
    if (buffer == nullptr)
        return 0;
    assert_owned(*buffer);
    if (exact != 0 && size > buffer->m_size)
        return 0;
    const size_t taken = std::min(size, buffer->m_size);
    take_front(*buffer, dest, taken);
    return taken;
}

size_t ombrel_peek_buffer_ex(ombrel_buffer_t* buffer, void* dest, size_t size, size_t position, int exact) {
    if (buffer == nullptr)
        return 0;
    assert_owned(*buffer);
    if (position >= buffer->m_size)
        return 0;
    const size_t queued = buffer->m_size - position;
    if (exact != 0 && size > queued)
        return 0;
    const size_t copied = std::min(size, queued);
    if (dest == nullptr)
        return copied;
    const buffer_node* node = buffer->m_head;
    for (; position >= node->unread(); node = node->m_next)
        position -= node->unread();
    auto* to = static_cast<unsigned char*>(dest);
    for (size_t left = copied; left > 0; node = node->m_next, position = 0) {
        const size_t now = std::min(left, node->unread() - position);
        memcpy(to, node->front() + position, now);
        to += now;
        left -= now;
    }
    return copied;
}

void* ombrel_alloc_pop_buffer_ex(ombrel_buffer_t* buffer, size_t size, int exact) {
    if (buffer == nullptr || size == 0)
        return nullptr;
    assert_owned(*buffer);
    if (buffer->m_size == 0 || (exact != 0 && size > buffer->m_size))
        return nullptr;
    return take_block(*buffer, std::min(size, buffer->m_size), "ombrel_alloc_pop_buffer_ex");
}

namespace {

uint64_t offset_of(const ombrel_buffer_t& buffer) {
    assert_owned(buffer);
    return buffer.m_offset;
}

size_t size_of(const ombrel_buffer_t& buffer) {
    assert_owned(buffer);
    return buffer.m_size;
}

void* take_front_node(ombrel_buffer_t& buffer, size_t& size) {
    assert_owned(buffer);
    size = buffer.m_head != nullptr ? buffer.m_head->unread() : 0;
    return size > 0 ? take_block(buffer, size, "ombrel_get_buffer_node") : nullptr;
}

} // namespace

void* ombrel_get_buffer_node(ombrel_buffer_t* buffer, size_t* size_out) {
    size_t size = 0;
    void* const block = buffer != nullptr ? take_front_node(*buffer, size) : nullptr;
    if (size_out != nullptr)
        *size_out = block != nullptr ? size : 0;
    return block;
}

size_t ombrel_flush_buffer(ombrel_buffer_t* buffer) {
    return ombrel_pop_buffer_ex(buffer, nullptr, SIZE_MAX, 0);
}

uint64_t ombrel_get_buffer_offset(ombrel_buffer_t* buffer) {
    return buffer != nullptr ? offset_of(*buffer) : 0;
}

uint64_t ombrel_set_buffer_offset(ombrel_buffer_t* buffer, uint64_t offset) {
    if (buffer == nullptr)
        return 0;
    assert_owned(*buffer);
    buffer->m_search = {};
    return buffer->m_offset = offset;
}

size_t ombrel_get_buffer_size(ombrel_buffer_t* buffer) {
    return buffer != nullptr ? size_of(*buffer) : 0;
}

int ombrel_pop_buffer_uint8(ombrel_buffer_t* buffer) {
    unsigned char byte;
    return ombrel_pop_buffer_ex(buffer, &byte, sizeof byte, 0) != 0 ? byte : -1;
}

int ombrel_peek_buffer_uint8(ombrel_buffer_t* buffer, size_t position) {
    unsigned char byte;
    return ombrel_peek_buffer_ex(buffer, &byte, sizeof byte, position, 0) != 0 ? byte : -1;
}
