// The kernel's texts on memory, as different hosts have them.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/memory_text.h"

using namespace ombrel::platform;

namespace {

TEST(MemoryText, TellsWhatIsMissing) {
    machine_memory machine;
    parse_machine_memory("MemTotal:  10 kB\nMemFree:\nCached: 3 kB\nSReclaimable: 4 kB\nShmem: x kB\n"
                         "Buffers: 99999999999999999999 kB\nSwapTotal: 7\nSwapFree",
                         machine);
    EXPECT_EQ(10 * 1024, machine.total);
    EXPECT_EQ(7 * 1024, machine.cached);
    EXPECT_EQ(7, machine.swap_total);
    for (const int64_t missing :
         {machine.free, machine.available, machine.shared, machine.buffers, machine.swap_free})
        EXPECT_EQ(unknown_memory, missing);
    process_memory process;
    parse_process_memory("Name:\tVmRSS\nVmRSS:\t 5 kB\nVmSize:\t 9 kB\n", process);
    EXPECT_EQ(5 * 1024, process.resident);
    EXPECT_EQ(unknown_memory, process.swapped);
    parse_process_memory("Name:\tended\nState:\tZ (zombie)\n", process);
    EXPECT_EQ(0, process.resident + process.peak_resident + process.address_space + process.swapped);
}

TEST(MemoryText, KnowsLimits) {
    EXPECT_EQ(unlimited_memory, parse_memory_limit("max\n"));
    EXPECT_EQ(unlimited_memory, parse_memory_limit("9223372036854771712\n")); // the first version's word
    EXPECT_EQ(1048576, parse_memory_limit("1048576\n"));
    EXPECT_EQ(unknown_memory, parse_memory_limit("\n"));
}

TEST(MemoryText, FindsTheGroup) {
    const std::string first = "4:cpu,memory:/a/b\n0::/c\n", second = "0::/c\n";
    const std::string all = "31 23 0:28 / /sys rw - tmpfs tmpfs rw\n"
                            "35 31 0:32 / /sys/memory rw shared:9 - cgroup cgroup rw,memory\n"
                            "41 31 0:38 / /sys/unified rw - cgroup2 cgroup2 rw\n";
    struct place {
        std::string groups, mounts, mount, inner;
    };
    const std::vector<place> places = {
        {first, all, "/sys/memory", "/a/b"},
        {second, all, "/sys/unified", "/c"},
        {"4:memory:/\n", all, "/sys/memory", ""},
        // A container sees its group as the mount's root, or, in a name space, what lies outside of it.
        {first, "35 31 0:32 /a /m rw - cgroup cgroup rw,memory", "/m", "/b"},
        {first, "35 31 0:32 /x /m rw - cgroup cgroup rw,memory", "/m", ""},
        {first, "35 31 0:32 /a/bb /m rw - cgroup cgroup rw,memory", "/m", ""},
        {"0::/../../x\n", all, "/sys/unified", ""},
        // No group or no mount.
        {"3:cpu:/a\n", all, "", ""},
        {"0::\n", all, "", ""},
        {second, "41 31 0:38 / /sys/unified rw cgroup2\n - cgroup2", "", ""},
    };
    for (const place& one : places) {
        memory_group found{};
        EXPECT_EQ(!one.mount.empty(), find_memory_group(one.groups, one.mounts, found)) << one.mounts;
        if (!one.mount.empty()) {
            EXPECT_EQ(one.mount, found.mount);
            EXPECT_EQ(one.inner, found.inner);
        }
    }
    char path[8];
    EXPECT_EQ("a b\\9x", std::string(path, unescape_mount("a\\040b\\1349x", path)));
    EXPECT_EQ("\\04\\8", std::string(path, unescape_mount("\\04\\8", path)));
    EXPECT_EQ(0u, unescape_mount("too long a path", path));
}

} // namespace
