#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <ombrel/fault.h>

namespace {

struct meaning {
    int number;
    int fault;
    const char* name;
};

const meaning meanings[] = {
    {0, def_ombrel_fault_none, "none"},
    {EAGAIN, def_ombrel_fault_would_block, "would_block"},
    {ENOENT, def_ombrel_fault_not_found, "not_found"},
    {ENOTDIR, def_ombrel_fault_not_directory, "not_directory"},
    {ENOTEMPTY, def_ombrel_fault_not_empty, "not_empty"},
    {ELOOP, def_ombrel_fault_link_loop, "link_loop"},
    {EXDEV, def_ombrel_fault_other_device, "other_device"},
    {EFBIG, def_ombrel_fault_too_large, "too_large"},
    {ENOMEM, def_ombrel_fault_no_memory, "no_memory"},
    {ESRCH, def_ombrel_fault_no_process, "no_process"},
    {ENOSYS, def_ombrel_fault_not_supported, "not_supported"},
    {EDOM, def_ombrel_fault_other, "other"},
};

TEST(PublicFault, IsToldFromErrnoAndLeftThere) {
    for (const meaning& one : meanings) {
        errno = one.number;
        EXPECT_EQ(one.fault, ombrel_last_fault()) << one.name;
        EXPECT_STREQ(one.name, ombrel_fault_name(one.fault));
        if (one.fault == def_ombrel_fault_other)
            continue; // which stands for many numbers
        errno = -1;
        ombrel_leave_fault(one.fault);
        EXPECT_EQ(one.number, errno) << one.name;
    }
}

const char* own_text(int fault) {
    switch (fault) {
    case def_ombrel_fault_none:
        return "no fault";
    case def_ombrel_fault_unknown_host:
        return "the host has no address";
    case def_ombrel_fault_violation:
        return "the peer does not keep to the protocol";
    case def_ombrel_fault_rejected:
        return "the peer said no";
    default:
        return nullptr;
    }
}

TEST(PublicFault, HasANameOfItsOwnAndTheHostsTextOrTheLibrarys) {
    std::set<std::string> names;
    for (int fault = def_ombrel_fault_none; fault <= def_ombrel_fault_rejected; fault++) {
        EXPECT_TRUE(names.insert(ombrel_fault_name(fault)).second) << fault;
        if (fault == def_ombrel_fault_other)
            continue;
        ombrel_leave_fault(fault);
        EXPECT_EQ(fault, ombrel_last_fault());
        const char* const own = own_text(fault);
        const std::string text = ombrel_fault_text(), of_host = strerror(errno);
        EXPECT_NE("Unknown error", text) << fault;
        if (own != nullptr || of_host != "Unknown error") {
            EXPECT_EQ(own != nullptr ? own : of_host, text) << fault;
        }
    }
    for (const int unknown : {-1, def_ombrel_fault_rejected + 1}) {
        EXPECT_STREQ("unknown", ombrel_fault_name(unknown));
        ombrel_leave_fault(unknown);
        EXPECT_EQ(0, errno);
    }
}

} // namespace
