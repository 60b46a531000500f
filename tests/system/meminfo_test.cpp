#include <ombrel/meminfo.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/file_stream.h>

#include "system/shell.h"

namespace {

using std::string;

/// The figures of a text with lines "NAME: NUMBER kB", in bytes. Under wine it would be that of another
/// system.
std::map<string, int64_t> figures_of(const char* path) {
    std::map<string, int64_t> figures;
#if defined(_WIN32)
    path = "";
#endif
    ombrel_file_stream_t* const file = ombrel_open_file_stream(path, "r", nullptr);
    char* line;
    while (file != nullptr && ombrel_file_stream_read_line(file, &line, nullptr) > 0) {
        const string text = line;
        const size_t colon = std::min(text.find(':'), text.size());
        figures[text.substr(0, colon)] = std::atoll(text.c_str() + std::min(colon + 1, text.size())) * 1024;
    }
    ombrel_close_file_stream(file);
    return figures;
}

/// Whether two looks at what changes all the time saw much the same.
bool are_near(int64_t a, int64_t b) {
    return std::abs(a - b) < 256 << 20;
}

/// The figure in which a look differs from the kernel's text or from free, or null.
const char* differing_figure() {
    ombrel_meminfo_t info;
    EXPECT_EQ(0, ombrel_get_meminfo(&info));
    auto figures = figures_of("/proc/meminfo");
    if (figures["MemTotal"] != info.m_total || figures["SwapTotal"] != info.m_swap_total)
        return "totals";
    if (!are_near(figures["MemFree"], info.m_free) || !are_near(figures["SwapFree"], info.m_swap_free))
        return "free";
    if (!are_near(figures["Cached"] + figures["SReclaimable"], info.m_cached))
        return "cached";
    if (!are_near(figures["Buffers"] + figures["Shmem"], info.m_buffers + info.m_shared))
        return "buffers and shared";
    long long used = 0;
    const bool has_free =
        sscanf(ombrel_test::output_of("free -b | grep Mem").c_str(), "Mem: %*d %lld", &used) == 1;
    return has_free && !are_near(used, info.m_used) ? "used" : nullptr;
}

TEST(Meminfo, IsTheKernels) {
    ombrel_meminfo_t info;
    ASSERT_EQ(0, ombrel_get_meminfo(&info));
    EXPECT_LT(0, info.m_total);
    EXPECT_LE(0, info.m_available);
    EXPECT_EQ(info.m_total, info.m_available + info.m_used);
    EXPECT_LE(info.m_swap_free, info.m_swap_total);
    if (figures_of("/proc/meminfo").empty())
        GTEST_SKIP() << "the host has no /proc/meminfo";
    const char* differing = "nothing";
    for (int i = 0; i < 20 && differing != nullptr; i++) // others use memory meanwhile
        differing = differing_figure();
    EXPECT_EQ(nullptr, differing) << differing;
}

TEST(Meminfo, FollowsAProcess) {
    ombrel_process_meminfo_t before, info;
    ASSERT_EQ(0, ombrel_get_process_meminfo(0, &before));
    const std::vector<char> block(64 << 20, 'x');
    ASSERT_EQ(0, ombrel_get_process_meminfo(0, &info));
    constexpr int64_t most_of_it = 60 << 20;
    EXPECT_LE(before.m_virtual + most_of_it, info.m_virtual);
    EXPECT_LE(info.m_virtual, info.m_peak_virtual);
    EXPECT_LE(most_of_it, info.m_resident);
    auto figures = figures_of("/proc/self/status");
    EXPECT_TRUE(figures.empty() || are_near(figures["VmRSS"], info.m_resident)) << info.m_resident;
    EXPECT_EQ(-1, ombrel_get_process_meminfo(0x3ffffff1, &info));
    EXPECT_EQ(def_ombrel_fault_no_process, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_get_process_meminfo(-1, &info));
    EXPECT_EQ(-3, ombrel_get_process_meminfo(0, nullptr) + ombrel_get_meminfo(nullptr) +
                      ombrel_get_container_meminfo(nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

TEST(Meminfo, KnowsTheContainer) {
    ombrel_container_meminfo_t info;
    if (ombrel_get_container_meminfo(&info) != 0) {
        EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
        GTEST_SKIP() << "the process is in no container that counts memory";
    }
    EXPECT_LT(0, info.m_limit);
    EXPECT_TRUE(info.m_peak == def_ombrel_meminfo_unknown || info.m_used / 2 <= info.m_peak);
}

} // namespace
