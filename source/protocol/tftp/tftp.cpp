#include <ombrel/tftp.h>

#include <new>

#include "protocol/tftp/tftp_client.h"

using namespace ombrel;
using namespace ombrel::protocol;

struct ombrel_tftp_ts {
    ombrel_tftp_options_t options;
    tftp_client client;
};

namespace {

bool are_sound(const ombrel_tftp_options_t& options) {
    return options.m_block_size >= def_ombrel_tftp_block_size_min &&
           options.m_block_size <= def_ombrel_tftp_block_size_max && options.m_window_size >= 1 &&
           options.m_window_size <= def_ombrel_tftp_window_size_max &&
           (options.m_mode == def_ombrel_tftp_octet || options.m_mode == def_ombrel_tftp_netascii) &&
           options.m_retry_ms >= 1 && options.m_tries >= 1;
}

/// Leaves the fault of a call that cannot be made.
int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

/// Leaves the transfer's fault, or that there is none to work on.
int fail(const ombrel_tftp_t& tftp) {
    const transfer_error& error = tftp.client.error();
    leave_fault(error ? error.fault() : fault_code::invalid);
    return -1;
}

bool is_port_of_peer(int port) {
    return is_port(port) && port != 0;
}

int open_transfer(ombrel_tftp_t* tftp, const char* host, int port, const char* name, bool write,
                  int64_t size) {
    if (tftp == nullptr || host == nullptr || name == nullptr || !is_port_of_peer(port))
        return refuse();
    const ombrel_tftp_options_t& options = tftp->options;
    tftp_request request;
    request.host = host;
    request.port = port;
    request.name = name;
    request.write = write;
    request.block_size = static_cast<size_t>(options.m_block_size);
    request.window_size = static_cast<unsigned>(options.m_window_size);
    request.mode = static_cast<tftp_mode>(options.m_mode);
    request.interval_ms = options.m_retry_ms;
    request.tries = static_cast<unsigned>(options.m_tries);
    request.limit_ms = options.m_step_ms;
    request.total_ms = options.m_whole_ms;
    if (size >= 0)
        request.size = static_cast<uint64_t>(size);
    if (options.m_size_limit >= 0)
        request.size_limit = static_cast<uint64_t>(options.m_size_limit);
    tftp->client.abandon();
    return tftp->client.open(request) ? 0 : fail(*tftp);
}

bool is_going_on(const ombrel_tftp_t* tftp, bool writing) {
    return tftp != nullptr && tftp->client.is_moving() && tftp->client.is_writing() == writing;
}

/// What no transfer is, or one of the other direction, is refused; a failed one tells why.
int fail_or_refuse(const ombrel_tftp_t* tftp, bool writing) {
    return tftp != nullptr && tftp->client.error() && tftp->client.is_writing() == writing ? fail(*tftp)
                                                                                           : refuse();
}

int64_t write_all(ombrel_tftp_t& tftp, const uint8_t* data, size_t size) {
    for (size_t done = 0; done < size;) {
        const int64_t count = ombrel_tftp_write(&tftp, data + done, size - done, -1);
        if (count < 0)
            return -1;
        done += static_cast<size_t>(count);
    }
    return 0;
}

constexpr size_t piece_size = 4096;

} // namespace

int ombrel_init_tftp_options(ombrel_tftp_options_t* options) {
    if (options == nullptr)
        return refuse();
    *options = {.m_block_size = 1428,
                .m_window_size = 1,
                .m_mode = def_ombrel_tftp_octet,
                .m_retry_ms = 1000,
                .m_tries = 6,
                .m_step_ms = -1,
                .m_whole_ms = -1,
                .m_size_limit = int64_t{1} << 30};
    return 0;
}

ombrel_tftp_t* ombrel_open_tftp_tag(const ombrel_tftp_options_t* options, const char* function,
                                    unsigned long line) {
    ombrel_tftp_options_t chosen;
    ombrel_init_tftp_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (!are_sound(chosen)) {
        refuse();
        return nullptr;
    }
    void* const room = ombrel_alloc_tag(sizeof(ombrel_tftp_t), function, line);
    if (room == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    return ::new (room) ombrel_tftp_t{chosen, {}};
}

int ombrel_close_tftp(ombrel_tftp_t* tftp) {
    if (tftp == nullptr)
        return 0;
    tftp->client.abandon();
    tftp->~ombrel_tftp_ts();
    ombrel_free_tag(tftp, "ombrel_close_tftp", __LINE__);
    return 0;
}

int ombrel_tftp_open_read(ombrel_tftp_t* tftp, const char* host, int port, const char* name) {
    return open_transfer(tftp, host, port, name, false, -1);
}

int ombrel_tftp_open_write(ombrel_tftp_t* tftp, const char* host, int port, const char* name, int64_t size) {
    return open_transfer(tftp, host, port, name, true, size);
}

int ombrel_tftp_wait(ombrel_tftp_t* tftp, int timeout_ms) {
    if (tftp == nullptr || !tftp->client.is_moving())
        return refuse();
    const int ready = tftp->client.wait(timeout_ms);
    return ready < 0 ? fail(*tftp) : ready;
}

int64_t ombrel_tftp_read(ombrel_tftp_t* tftp, void* buffer, size_t size, int timeout_ms) {
    if (!is_going_on(tftp, false) || (buffer == nullptr && size > 0))
        return fail_or_refuse(tftp, false);
    const ptrdiff_t count = tftp->client.read(buffer, size, timeout_ms);
    return count == -1 ? fail(*tftp) : count;
}

int64_t ombrel_tftp_write(ombrel_tftp_t* tftp, const void* data, size_t size, int timeout_ms) {
    if (!is_going_on(tftp, true) || (data == nullptr && size > 0))
        return fail_or_refuse(tftp, true);
    const ptrdiff_t count = tftp->client.write(data, size, timeout_ms);
    return count == -1 ? fail(*tftp) : count == transfer_waited ? 0 : count;
}

int ombrel_tftp_finish(ombrel_tftp_t* tftp) {
    if (tftp == nullptr)
        return refuse();
    if (!tftp->client.is_moving())
        return fail(*tftp);
    return tftp->client.close() ? 0 : fail(*tftp);
}

int ombrel_tftp_retrieve(ombrel_tftp_t* tftp, const char* host, int port, const char* name,
                         ombrel_tftp_receive_handler_t handler, void* context) {
    if (handler == nullptr)
        return refuse();
    if (ombrel_tftp_open_read(tftp, host, port, name) != 0)
        return -1;
    uint8_t piece[piece_size];
    int64_t count;
    while ((count = ombrel_tftp_read(tftp, piece, sizeof piece, -1)) > 0) {
        if (const int result = handler(piece, static_cast<size_t>(count), context)) {
            tftp->client.abandon();
            return result;
        }
    }
    return count == 0 ? ombrel_tftp_finish(tftp) : -1;
}

int ombrel_tftp_store(ombrel_tftp_t* tftp, const char* host, int port, const char* name, int64_t size,
                      ombrel_tftp_send_handler_t handler, void* context) {
    if (handler == nullptr)
        return refuse();
    if (ombrel_tftp_open_write(tftp, host, port, name, size) != 0)
        return -1;
    uint8_t piece[piece_size];
    int64_t count;
    while ((count = handler(piece, sizeof piece, context)) > 0 && count <= int64_t{sizeof piece}) {
        if (write_all(*tftp, piece, static_cast<size_t>(count)) != 0)
            return -1;
    }
    if (count == 0)
        return ombrel_tftp_finish(tftp);
    const fault_keeper keeper;
    tftp->client.abandon();
    return -1;
}

int64_t ombrel_tftp_get_size(const ombrel_tftp_t* tftp) {
    return tftp != nullptr ? static_cast<int64_t>(tftp->client.size().value_or(UINT64_MAX)) : -1;
}

int64_t ombrel_tftp_get_count(const ombrel_tftp_t* tftp) {
    return tftp != nullptr ? static_cast<int64_t>(tftp->client.count()) : -1;
}

const ombrel_transfer_error_t* ombrel_tftp_get_error(const ombrel_tftp_t* tftp) {
    return tftp != nullptr ? &tftp->client.error().record() : nullptr;
}
