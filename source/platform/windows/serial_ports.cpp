// The registry has a value for each port that a driver offers.
#include "platform/serial.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

struct serial_walk {
    HKEY ports; ///< null where there are none
    DWORD next;
};

namespace {

template<size_t room>
void put(const wchar_t* text, char (&to)[room]) {
    const narrow_text narrow(text);
    const size_t size = narrow ? std::min(narrow.size(), room - 1) : 0;
    memcpy(to, narrow.get() != nullptr ? narrow.get() : "", size);
    to[size] = '\0';
}

/// The value's name is a path of the driver's, such as "\Device\Serial0", its data the port's name.
void describe(const wchar_t* device, const wchar_t* name, serial_description& port) {
    const wchar_t* const last = wcsrchr(device, L'\\');
    port = {};
    port.vendor = port.product = -1;
    put(name, port.name);
    put(device, port.text);
    put(last != nullptr ? last + 1 : device, port.driver);
}

} // namespace

serial_walk* open_serial_walk() {
    auto* walk = static_cast<serial_walk*>(calloc(1, sizeof(serial_walk)));
    if (walk == nullptr)
        return nullptr;
    const LSTATUS result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0,
                                         KEY_QUERY_VALUE, &walk->ports);
    if (result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND)
        return walk;
    free(walk);
    fail_by(static_cast<uint32_t>(result));
    return nullptr;
}

void close_serial_walk(serial_walk* walk) {
    if (walk->ports != nullptr)
        RegCloseKey(walk->ports);
    free(walk);
}

int next_serial_port(serial_walk& walk, serial_description& port) {
    while (walk.ports != nullptr) {
        wchar_t device[256], name[128] = L"";
        DWORD device_size = 256, type = 0, bytes = sizeof name - sizeof *name;
        const LSTATUS result = RegEnumValueW(walk.ports, walk.next++, device, &device_size, nullptr, &type,
                                             reinterpret_cast<BYTE*>(name), &bytes);
        if (result == ERROR_NO_MORE_ITEMS)
            return 0;
        if (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)
            return fail_by(static_cast<uint32_t>(result));
        if (result == ERROR_SUCCESS && type == REG_SZ && name[0] != L'\0') {
            describe(device, name, port);
            return 1;
        }
    }
    return 0;
}

} // namespace ombrel::platform
