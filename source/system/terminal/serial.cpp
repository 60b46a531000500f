#include <ombrel/serial.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>

#include "core/deadline.h"
#include "core/heap_ptr.h"
#include "platform/serial.h"
#include "platform/thread.h"
#include "system/terminal/terminal_fault.h"

using namespace ombrel;
using namespace ombrel::system;

struct ombrel_serial_ts {
    platform::serial_port* m_host;
    int m_is_shared;
};

namespace {

constexpr ombrel_serial_options_t defaults = {
    115200, 8, def_ombrel_serial_parity_none, 1, def_ombrel_serial_flow_none, 0,
};

constexpr char parity_letters[] = "NOEMS"; // by the numbers of the parities

bool is_good(const ombrel_serial_options_t& options) {
    return options.m_speed > 0 && options.m_data_bits >= 5 && options.m_data_bits <= 8 &&
           options.m_parity >= def_ombrel_serial_parity_none &&
           options.m_parity <= def_ombrel_serial_parity_space &&
           (options.m_stop_bits == 1 || options.m_stop_bits == 2) &&
           options.m_flow >= def_ombrel_serial_flow_none && options.m_flow <= def_ombrel_serial_flow_software;
}

platform::serial_mode mode_of(const ombrel_serial_options_t& options) {
    return {options.m_speed, static_cast<uint8_t>(options.m_data_bits),
            static_cast<uint8_t>(options.m_stop_bits), static_cast<platform::serial_parity>(options.m_parity),
            static_cast<platform::serial_flow>(options.m_flow)};
}

/// Both numbers and kinds are those of the platform, one by one.
static_assert(static_cast<int>(platform::serial_parity::space) == def_ombrel_serial_parity_space);
static_assert(static_cast<int>(platform::serial_flow::software) == def_ombrel_serial_flow_software);
static_assert(platform::line_dtr == def_ombrel_serial_dtr && platform::line_ri == def_ombrel_serial_ri);

bool is_which(int which) {
    return which >= def_ombrel_serial_input && which <= def_ombrel_serial_both;
}

size_t count_able(size_t size) {
    return std::min<size_t>(size, INT_MAX);
}

int parity_of_letter(char letter) {
    const char capital = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    const char* const found = capital != '\0' ? strchr(parity_letters, capital) : nullptr;
    return found != nullptr ? static_cast<int>(found - parity_letters) : -1;
}

/// How much of a format makes sense: 3 bytes of a good one.
size_t good_part(const char* text, ombrel_serial_options_t& options) {
    if (text[0] < '5' || text[0] > '8')
        return 0;
    options.m_data_bits = text[0] - '0';
    options.m_parity = parity_of_letter(text[1]);
    if (options.m_parity < 0)
        return 1;
    if (text[2] != '1' && text[2] != '2')
        return 2;
    options.m_stop_bits = text[2] - '0';
    return 3;
}

} // namespace

int ombrel_init_serial_options(ombrel_serial_options_t* options) {
    if (options == nullptr)
        return failed_with(fault_code::invalid);
    *options = defaults;
    return 0;
}

int ombrel_parse_serial_format(const char* text, ombrel_serial_options_t* options, size_t* fault_at) {
    size_t good = 0;
    if (text != nullptr && options != nullptr) {
        ombrel_serial_options_t read = *options;
        good = good_part(text, read);
        if (good == 3 && text[good] == '\0') {
            *options = read;
            return 0;
        }
    }
    if (fault_at != nullptr)
        *fault_at = good;
    return failed_with(fault_code::invalid);
}

int ombrel_format_serial_format(char* buf, size_t size, const ombrel_serial_options_t* options) {
    if (buf == nullptr || size == 0 || options == nullptr || !is_good(*options))
        return failed_with(fault_code::invalid);
    const char format[] = {static_cast<char>('0' + options->m_data_bits), parity_letters[options->m_parity],
                           static_cast<char>('0' + options->m_stop_bits)};
    const size_t kept = std::min(sizeof format, size - 1);
    memcpy(buf, format, kept);
    buf[kept] = '\0';
    return static_cast<int>(kept);
}

ombrel_serial_t* ombrel_open_serial_tag(const char* name, const ombrel_serial_options_t* options,
                                        const char* function, unsigned long line) {
    const ombrel_serial_options_t how = options != nullptr ? *options : defaults;
    if (name == nullptr || !is_good(how)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    heap_ptr<ombrel_serial_t> made(allocate_record<ombrel_serial_t>(function, line));
    if (!made) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    *made = {platform::open_serial_port(name, mode_of(how), how.m_is_shared != 0), how.m_is_shared};
    return made->m_host != nullptr ? made.release() : nullptr;
}

int ombrel_close_serial(ombrel_serial_t* port) {
    const heap_ptr<ombrel_serial_t> guard(port);
    if (port != nullptr)
        platform::close_serial_port(port->m_host);
    return 0;
}

int ombrel_serial_set_options(ombrel_serial_t* port, const ombrel_serial_options_t* options) {
    if (port == nullptr || options == nullptr || !is_good(*options))
        return failed_with(fault_code::invalid);
    return platform::set_serial_mode(*port->m_host, mode_of(*options)) ? 0 : -1;
}

int ombrel_serial_get_options(ombrel_serial_t* port, ombrel_serial_options_t* options) {
    platform::serial_mode mode;
    if (port == nullptr || options == nullptr)
        return failed_with(fault_code::invalid);
    if (!platform::get_serial_mode(*port->m_host, mode))
        return -1;
    *options = {mode.speed,
                mode.data_bits,
                static_cast<int>(mode.parity),
                mode.stop_bits,
                static_cast<int>(mode.flow),
                port->m_is_shared};
    return 0;
}

int64_t ombrel_serial_read(ombrel_serial_t* port, void* buffer, size_t size, int timeout_ms) {
    if (port == nullptr || (buffer == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    if (size == 0)
        return 0;
    const int bytes = platform::read_serial(*port->m_host, buffer, count_able(size), timeout_ms);
    return failed_by(bytes, fault_code::timed_out) ? def_ombrel_serial_timeout : bytes;
}

int64_t ombrel_serial_write(ombrel_serial_t* port, const void* data, size_t size, int timeout_ms) {
    if (port == nullptr || (data == nullptr && size > 0))
        return failed_with(fault_code::invalid);
    const deadline limit(timeout_ms);
    const auto* bytes = static_cast<const char*>(data);
    size_t written = 0;
    while (written < size) {
        const int part =
            platform::write_serial(*port->m_host, bytes + written, count_able(size - written), limit.left());
        if (failed_by(part, fault_code::timed_out))
            break;
        if (part < 0)
            return written > 0 ? static_cast<int64_t>(written) : -1;
        written += static_cast<size_t>(part);
    }
    return static_cast<int64_t>(written);
}

int ombrel_serial_drain(ombrel_serial_t* port, int timeout_ms) {
    if (port == nullptr)
        return failed_with(fault_code::invalid);
    constexpr int longest_pause = 16;
    const deadline limit(timeout_ms);
    for (int pause = 1;; pause = std::min(pause * 2, longest_pause)) {
        const int left = limit.left();
        platform::serial_waiting waiting;
        if (!platform::get_serial_waiting(*port->m_host, waiting))
            return -1;
        if (waiting.output == 0 && !platform::is_sending(*port->m_host))
            return 1;
        if (left == 0)
            return 0;
        platform::sleep_milliseconds(static_cast<uint32_t>(shorter_wait(left, pause)));
    }
}

int ombrel_serial_discard(ombrel_serial_t* port, int which) {
    if (port == nullptr || !is_which(which))
        return failed_with(fault_code::invalid);
    const bool input = (which & def_ombrel_serial_input) != 0,
               output = (which & def_ombrel_serial_output) != 0;
    return platform::discard_serial(*port->m_host, input, output) ? 0 : -1;
}

int64_t ombrel_serial_get_waiting(ombrel_serial_t* port, int which) {
    platform::serial_waiting waiting;
    if (port == nullptr || !is_which(which))
        return failed_with(fault_code::invalid);
    if (!platform::get_serial_waiting(*port->m_host, waiting))
        return -1;
    return static_cast<int64_t>((which & def_ombrel_serial_input) != 0 ? waiting.input : 0) +
           static_cast<int64_t>((which & def_ombrel_serial_output) != 0 ? waiting.output : 0);
}

int ombrel_serial_get_lines(ombrel_serial_t* port, uint32_t* lines) {
    if (port == nullptr || lines == nullptr)
        return failed_with(fault_code::invalid);
    return platform::get_serial_lines(*port->m_host, *lines) ? 0 : -1;
}

int ombrel_serial_set_lines(ombrel_serial_t* port, uint32_t which, uint32_t on) {
    constexpr uint32_t own = def_ombrel_serial_dtr | def_ombrel_serial_rts;
    if (port == nullptr || (which & ~own) != 0)
        return failed_with(fault_code::invalid);
    return platform::set_serial_lines(*port->m_host, which, on) ? 0 : -1;
}

int ombrel_serial_send_break(ombrel_serial_t* port, int duration_ms) {
    constexpr int longest = 60000;
    if (port == nullptr || duration_ms < 1 || duration_ms > longest)
        return failed_with(fault_code::invalid);
    if (!platform::set_serial_break(*port->m_host, true))
        return -1;
    platform::sleep_milliseconds(static_cast<uint32_t>(duration_ms));
    return platform::set_serial_break(*port->m_host, false) ? 0 : -1;
}

int ombrel_serial_get_descriptor(const ombrel_serial_t* port) {
    return port != nullptr ? platform::serial_descriptor(*port->m_host) : failed_with(fault_code::invalid);
}
