#include <ombrel/event_buffer.h>

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "event/event_guard.h"
#include "platform/file.h"

using namespace ombrel;

namespace {

constexpr size_t part_size = 16384;
/// Bytes moved for one event in one iteration, so that a fast peer does not hold up the others.
constexpr size_t share_size = 4 * part_size;

size_t room_for_input(const ombrel_event_t& event) {
    if (event.m_input_watermark == 0)
        return share_size;
    const size_t held = ombrel_get_buffer_size(event.m_input_buffer);
    return held < event.m_input_watermark ? std::min(event.m_input_watermark - held, share_size) : 0;
}

// Read for bytes received; with exception when there will be no more; 0 when nothing came.
uint32_t receive_input(ombrel_event_t& event) {
    char part[part_size];
    uint32_t result = 0;
    for (size_t room = room_for_input(event); room > 0;) {
        const size_t wanted = std::min(room, sizeof part);
        const int received = platform::read_at_once(event.m_fd, part, wanted);
        if (failed_by(received, fault_code::would_block))
            break;
        const size_t size = received > 0 ? static_cast<size_t>(received) : 0;
        result |= def_ombrel_event_read;
        if (size == 0 || ombrel_push_buffer_ex(event.m_input_buffer, part, size, 0) != size) {
            event.m_state |= state_input_ended;
            return result | def_ombrel_event_exception;
        }
        if (size < wanted)
            break;
        room -= size;
    }
    return result;
}

uint32_t send_output(ombrel_event_t& event) {
    char part[part_size];
    for (size_t sent = 0; sent < share_size;) {
        const size_t size = ombrel_peek_buffer_ex(event.m_output_buffer, part, sizeof part, 0, 0);
        if (size == 0)
            break;
        const int taken = platform::write_at_once(event.m_fd, part, size);
        if (failed_by(taken, fault_code::would_block))
            return sent != 0 ? def_ombrel_event_write : 0;
        if (taken == -1) {
            event.m_state |= state_output_ended;
            return def_ombrel_event_write | def_ombrel_event_exception;
        }
        ombrel_pop_buffer_ex(event.m_output_buffer, nullptr, static_cast<size_t>(taken), 0);
        sent += static_cast<size_t>(taken);
        if (static_cast<size_t>(taken) < size)
            break;
    }
    return def_ombrel_event_write;
}

} // namespace

uint32_t ombrel::move_bytes(ombrel_event_base_t& base, ombrel_event_t& event, uint32_t ready) {
    const bool input = event.m_input_buffer != nullptr && (ready & def_ombrel_event_read) != 0;
    const bool output = event.m_output_buffer != nullptr && (ready & def_ombrel_event_write) != 0;
    if (!input && !output)
        return ready;
    uint32_t result = ready;
    if (input)
        result = (result & ~def_ombrel_event_read) | receive_input(event);
    if (output)
        result = (result & ~def_ombrel_event_write) | send_output(event);
    refresh_interest(base, event);
    return result;
}

void ombrel::release_buffers(ombrel_event_t& event) {
    for (ombrel_buffer_t** buffer : {&event.m_input_buffer, &event.m_output_buffer}) {
        if (*buffer != nullptr)
            ombrel_close_buffer(*buffer);
        *buffer = nullptr;
    }
}

namespace {

bool is_chosen(int which, int side) {
    return (which & side) != 0;
}

void note_buffers(ombrel_event_t& event) {
    if (event.m_input_buffer != nullptr || event.m_output_buffer != nullptr)
        event.m_state |= state_buffered;
    else
        event.m_state &= ~state_buffered;
}

bool enable(ombrel_event_t& event, int which) {
    bool complete = true;
    const auto make = [&](int side, ombrel_buffer_t*& buffer) {
        if (is_chosen(which, side) && buffer == nullptr)
            buffer = ombrel_open_buffer_ex(0);
        complete = complete && (!is_chosen(which, side) || buffer != nullptr);
    };
    make(def_ombrel_event_buffer_input, event.m_input_buffer);
    make(def_ombrel_event_buffer_output, event.m_output_buffer);
    note_buffers(event);
    return complete;
}

void disable(ombrel_event_t& event, int which) {
    const auto drop = [&](int side, ombrel_buffer_t*& buffer) {
        if (is_chosen(which, side) && buffer != nullptr)
            buffer = ombrel_close_buffer(buffer);
    };
    drop(def_ombrel_event_buffer_input, event.m_input_buffer);
    drop(def_ombrel_event_buffer_output, event.m_output_buffer);
    note_buffers(event);
}

ombrel_buffer_t* buffer_to_take(const ombrel_event_t& event, int which) {
    return is_chosen(which, def_ombrel_event_buffer_input) ? event.m_input_buffer : event.m_output_buffer;
}

// Runs `change(event)` with the gate held and then adapts the interest of a registered event.
template<typename Change>
ptrdiff_t change_buffers(const char* function, ombrel_event_t* event, Change&& change) {
    const event_guard home(function, event);
    if (!home)
        return -1;
    const ptrdiff_t result = change(*event);
    if (!refresh_interest(home.base(), *event))
        log_line(home.base(), severity::error, function, "ombrel_set_select failed !");
    return result;
}

ptrdiff_t push(const char* function, ombrel_event_t* event, int which, const void* data, size_t size) {
    return change_buffers(function, event, [&](ombrel_event_t& of) -> ptrdiff_t {
        enable(of, which);
        size_t queued = 0;
        if (is_chosen(which, def_ombrel_event_buffer_input) && of.m_input_buffer != nullptr)
            queued += ombrel_push_buffer_ex(of.m_input_buffer, data, size, 0);
        if (is_chosen(which, def_ombrel_event_buffer_output) && of.m_output_buffer != nullptr)
            queued += ombrel_push_buffer_ex(of.m_output_buffer, data, size, 0);
        return static_cast<ptrdiff_t>(queued);
    });
}

ptrdiff_t push_formatted(const char* function, ombrel_event_t* event, int which, const char* format,
                         va_list args) {
    if (!is_assigned(function, event) || format == nullptr)
        return -1;
    const heap_ptr<char> text(ombrel_alloc_vsprintf(format, args));
    return text ? push(function, event, which, text.get(), strlen(text.get())) : -1;
}

} // namespace

int ombrel_event_enable_buffer(ombrel_event_t* event, int which) {
    return static_cast<int>(change_buffers("ombrel_event_enable_buffer", event, [&](ombrel_event_t& of) {
        return enable(of, which) ? ptrdiff_t{0} : ptrdiff_t{-1};
    }));
}

int ombrel_event_disable_buffer(ombrel_event_t* event, int which) {
    return static_cast<int>(change_buffers("ombrel_event_disable_buffer", event, [&](ombrel_event_t& of) {
        disable(of, which);
        return ptrdiff_t{0};
    }));
}

int ombrel_event_set_buffer_watermark(ombrel_event_t* event, int which, size_t output_watermark,
                                      size_t input_watermark) {
    return static_cast<int>(
        change_buffers("ombrel_event_set_buffer_watermark", event, [&](ombrel_event_t& of) {
            if (is_chosen(which, def_ombrel_event_buffer_input))
                of.m_input_watermark = input_watermark;
            if (is_chosen(which, def_ombrel_event_buffer_output))
                of.m_output_watermark = output_watermark;
            return ptrdiff_t{0};
        }));
}

ptrdiff_t ombrel_event_get_buffer_size(ombrel_event_t* event, int which) {
    const event_guard home("ombrel_event_get_buffer_size", event);
    if (!home)
        return -1;
    size_t held = 0;
    if (is_chosen(which, def_ombrel_event_buffer_input))
        held += ombrel_get_buffer_size(event->m_input_buffer);
    if (is_chosen(which, def_ombrel_event_buffer_output))
        held += ombrel_get_buffer_size(event->m_output_buffer);
    return static_cast<ptrdiff_t>(held);
}

ptrdiff_t ombrel_event_push_buffer(ombrel_event_t* event, int which, const void* data, size_t size) {
    return push("ombrel_event_push_buffer", event, which, data, size);
}

ptrdiff_t ombrel_event_push_puts(ombrel_event_t* event, int which, const char* text) {
    if (text == nullptr)
        text = "";
    return push("ombrel_event_push_puts", event, which, text, strlen(text));
}

ptrdiff_t ombrel_event_push_vprintf(ombrel_event_t* event, int which, const char* format, va_list args) {
    return push_formatted("ombrel_event_push_vprintf", event, which, format, args);
}

ptrdiff_t ombrel_event_push_printf(ombrel_event_t* event, int which, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const ptrdiff_t queued = push_formatted("ombrel_event_push_printf", event, which, format, args);
    va_end(args);
    return queued;
}

ptrdiff_t ombrel_event_pop_buffer(ombrel_event_t* event, int which, void* data, size_t size) {
    return change_buffers("ombrel_event_pop_buffer", event, [&](ombrel_event_t& of) -> ptrdiff_t {
        ombrel_buffer_t* buffer = buffer_to_take(of, which);
        return buffer != nullptr ? static_cast<ptrdiff_t>(ombrel_pop_buffer_ex(buffer, data, size, 0)) : -1;
    });
}

ptrdiff_t ombrel_event_peek_buffer(ombrel_event_t* event, int which, void* data, size_t size,
                                   size_t position) {
    const event_guard home("ombrel_event_peek_buffer", event);
    if (!home)
        return -1;
    ombrel_buffer_t* buffer = buffer_to_take(*event, which);
    return buffer != nullptr ? static_cast<ptrdiff_t>(ombrel_peek_buffer_ex(buffer, data, size, position, 0))
                             : -1;
}
