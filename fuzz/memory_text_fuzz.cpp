// Reads any bytes as the kernel's texts on memory: two texts, apart at the first zero byte.

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/linux/memory_text.h"
#include "support/require.h"

using namespace ombrel::platform;

namespace {

constexpr int64_t most = INT64_MAX / 4; // of the sum of two figures

void check_figures(std::string_view text) {
    machine_memory machine;
    parse_machine_memory(text, machine);
    for (const int64_t figure : {machine.total, machine.free, machine.available, machine.shared,
                                 machine.buffers, machine.cached, machine.swap_total, machine.swap_free})
        require(figure >= unknown_memory && figure < most, "a figure of the machine is one or unknown");
    process_memory process;
    parse_process_memory(text, process);
    for (const int64_t figure : {process.resident, process.peak_resident, process.address_space,
                                 process.peak_address_space, process.swapped})
        require(figure >= unknown_memory && figure < most, "a figure of a process is one or unknown");
    require(parse_memory_limit(text) >= unknown_memory, "a limit is one or unknown");
}

void check_group(std::string_view groups, std::string_view mounts) {
    memory_group found;
    if (!find_memory_group(groups, mounts, found))
        return;
    require(found.mount.starts_with('/'), "a mount is a path");
    require(found.inner.empty() || found.inner.starts_with('/'), "the inner path begins with its slash");
    require((std::string(found.inner) + "/").find("/../") == std::string::npos, "no path leads up");
    char path[64];
    const size_t size = unescape_mount(found.mount, path);
    require(size <= sizeof path && size <= found.mount.size(), "a path becomes no longer");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const size_t middle = text.find('\0');
    check_figures(text);
    if (middle != std::string_view::npos)
        check_group(text.substr(0, middle), text.substr(middle + 1));
    return 0;
}
