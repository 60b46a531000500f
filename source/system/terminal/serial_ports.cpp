#include <ombrel/serial.h>

#include <algorithm>
#include <cstring>

#include "core/heap_ptr.h"
#include "platform/serial.h"
#include "system/terminal/terminal_fault.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/// A number within a name, without the zeros that it begins with.
struct name_number {
    const char* digits;
    size_t count;
};

name_number take_number(const char*& name) {
    while (*name == '0' && is_digit(name[1]))
        name++;
    const char* const start = name;
    while (is_digit(*name))
        name++;
    return {start, static_cast<size_t>(name - start)};
}

/// Numbers in names count by value: ttyS9 stands before ttyS10.
bool stands_before(const char* a, const char* b) {
    while (*a != '\0' && *b != '\0') {
        if (is_digit(*a) && is_digit(*b)) {
            const name_number x = take_number(a), y = take_number(b);
            const int order = x.count == y.count ? memcmp(x.digits, y.digits, x.count) : 0;
            if (x.count != y.count || order != 0)
                return x.count != y.count ? x.count < y.count : order < 0;
        } else if (*a != *b) {
            return static_cast<unsigned char>(*a) < static_cast<unsigned char>(*b);
        } else {
            a++;
            b++;
        }
    }
    return *a == '\0' && *b != '\0';
}

class port_list {
public:
    ~port_list() {
        const fault_keeper kept;
        if (ports_ != nullptr)
            ombrel_free_tag(ports_, tag, __LINE__);
    }
    port_list() = default;
    port_list(const port_list&) = delete;
    port_list& operator=(const port_list&) = delete;

    bool add(const platform::serial_description& port) {
        if (count_ == room_ && !grow())
            return false;
        ports_[count_++] = port;
        return true;
    }

    void sort() {
        std::sort(ports_, ports_ + count_,
                  [](const auto& a, const auto& b) { return stands_before(a.name, b.name); });
    }

    int tell(ombrel_serial_port_handler_t handler, void* context) const {
        for (size_t i = 0; i < count_; i++) {
            const platform::serial_description& one = ports_[i];
            const ombrel_serial_port_t port = {one.name,   one.text,   one.driver,
                                               one.serial, one.vendor, one.product};
            if (const int result = handler(&port, context))
                return result;
        }
        return 0;
    }

private:
    static constexpr const char* tag = "ombrel_walk_serial_ports";

    bool grow() {
        const size_t room = room_ == 0 ? 16 : room_ * 2;
        void* const grown = ombrel_realloc_tag(ports_, room * sizeof *ports_, tag, __LINE__);
        if (grown == nullptr) {
            leave_fault(fault_code::no_memory);
            return false;
        }
        ports_ = static_cast<platform::serial_description*>(grown);
        room_ = room;
        return true;
    }

    platform::serial_description* ports_ = nullptr;
    size_t count_ = 0, room_ = 0;
};

bool find_all(platform::serial_walk& walk, port_list& ports) {
    platform::serial_description one;
    int found;
    while ((found = platform::next_serial_port(walk, one)) == 1)
        if (!ports.add(one))
            return false;
    return found == 0;
}

} // namespace

int ombrel_walk_serial_ports(ombrel_serial_port_handler_t handler, void* context) {
    if (handler == nullptr)
        return failed_with(fault_code::invalid);
    port_list ports;
    platform::serial_walk* walk = platform::open_serial_walk();
    if (walk == nullptr)
        return -1;
    const bool is_whole = find_all(*walk, ports);
    {
        const fault_keeper kept;
        platform::close_serial_walk(walk);
    }
    if (!is_whole)
        return -1;
    ports.sort();
    return ports.tell(handler, context);
}
