#include <ombrel/serial.h>

#include <algorithm>
#include <cstring>

#include "core/heap_ptr.h"
#include "platform/serial.h"
#include "system/terminal/terminal_fault.h"
#include "text/natural_order.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

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
                  [](const auto& a, const auto& b) { return natural_less(a.name, b.name); });
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
