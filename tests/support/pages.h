// Memory that a test makes unreadable.
#pragma once

#include <cstddef>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "support/no_copy.h"

namespace ombrel_test {

/// Pages of zeros.
class pages : no_copy {
public:
    explicit pages(size_t count) : count_(count), memory_(static_cast<char*>(map(count * page_size()))) {
        EXPECT_NE(nullptr, memory_);
    }
    ~pages() { unmap(); }

    char* get() const { return memory_; }
    char* page(size_t index) const { return memory_ + index * page_size(); }
    /// Lets a page be read and written, or touched in no way.
    void open(size_t index) const { EXPECT_TRUE(set_access(page(index), true)); }
    void close(size_t index) const { EXPECT_TRUE(set_access(page(index), false)); }
    bool has(const void* place) const {
        const auto offset = reinterpret_cast<uintptr_t>(place) - reinterpret_cast<uintptr_t>(memory_);
        return offset < count_ * page_size();
    }

#if defined(_WIN32)
    static size_t page_size() {
        SYSTEM_INFO about;
        GetSystemInfo(&about);
        return about.dwPageSize;
    }

private:
    static void* map(size_t size) {
        return VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    }
    void unmap() const {
        VirtualFree(memory_, 0, MEM_RELEASE);
    }
    static bool set_access(void* page, bool all) {
        DWORD before;
        return VirtualProtect(page, page_size(), all ? PAGE_READWRITE : PAGE_NOACCESS, &before) != 0;
    }
#else
    static size_t page_size() {
        return static_cast<size_t>(sysconf(_SC_PAGESIZE));
    }

private:
    static void* map(size_t size) {
        void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return memory != MAP_FAILED ? memory : nullptr;
    }
    void unmap() const {
        munmap(memory_, count_ * page_size());
    }
    static bool set_access(void* page, bool all) {
        return mprotect(page, page_size(), all ? PROT_READ | PROT_WRITE : PROT_NONE) == 0;
    }
#endif

    size_t count_;
    char* memory_;
};

} // namespace ombrel_test
