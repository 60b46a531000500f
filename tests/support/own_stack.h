// Finds what calls leave behind of their secrets: on a stack of their own, whose memory is looked at
// afterwards, and on the heap.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <pthread.h>
#endif

#include <ombrel/heap.h>

#include "support/heap_block.h"

namespace ombrel_test {

// A thread of Windows makes its stack itself.
#if !defined(_WIN32)

class own_stack {
public:
    /// The stack's memory below the call, which begins at the same place each time. (Above is what the system
    /// notes about the thread.)
    template<typename Call>
    std::vector<uint8_t> after(Call work) {
        const auto call = [&] {
            volatile uint8_t here = 0;
            used_ = static_cast<size_t>(const_cast<uint8_t*>(&here) - memory_.data());
            work();
        };
        std::fill(memory_.begin(), memory_.end(), uint8_t{0});
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        EXPECT_EQ(0, pthread_attr_setstack(&attributes, aligned(), size));
        pthread_t thread;
        EXPECT_EQ(0, pthread_create(&thread, &attributes, run<decltype(call)>,
                                    const_cast<void*>(static_cast<const void*>(&call))));
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
        return {memory_.begin(), memory_.begin() + static_cast<ptrdiff_t>(used_)};
    }

private:
    static constexpr size_t size = 512 * 1024, page = 4096;

    template<typename Call>
    static void* run(void* call) {
        (*static_cast<const Call*>(call))();
        return nullptr;
    }
    uint8_t* aligned() {
        const auto start = reinterpret_cast<uintptr_t>(memory_.data());
        return memory_.data() + (page - start % page) % page;
    }

    size_t used_ = 0;
    std::vector<uint8_t> memory_ = std::vector<uint8_t>(size + page);
};

#endif

// What sanitizers and debuggers need on the stack is more than the library reckons with, or not to be looked
// at.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OMBREL_TEST_LARGE_FRAMES 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG) || defined(_WIN32)
#define OMBREL_TEST_LARGE_FRAMES 1
#endif

/// How many bytes of the stack depend on the secret after call(secret): those that differ with another secret
/// and with nothing else.
template<typename Secret, typename Call>
size_t bytes_left_on_stack(const Secret& secret, const Secret& other, Call call) {
#if defined(OMBREL_TEST_LARGE_FRAMES)
    return call(secret), call(other), 0;
#else
    own_stack stack;
    std::vector<uint8_t> found[5];
    Secret now = secret; // at one address always
    for (size_t i = 0; i < 5; i++) {
        now = i % 2 == 0 ? secret : other;
        found[i] = stack.after([&] { call(now); });
    }
    size_t count = 0;
    for (size_t i = 0; i < found[0].size(); i++)
        count += found[0][i] == found[2][i] && found[2][i] == found[4][i] && found[1][i] == found[3][i] &&
                 found[0][i] != found[1][i];
    return count;
#endif
}

/// What stands on the stack after a call; nothing where nobody looks.
template<typename Call>
std::string stack_left_by(Call call) {
#if defined(OMBREL_TEST_LARGE_FRAMES)
    call();
    return {};
#else
    own_stack stack;
    const std::vector<uint8_t> left = stack.after(call);
    return {left.begin(), left.end()};
#endif
}

/// Whether bytes stand on the stack after a call. Believed not to where nobody looks.
template<typename Call>
bool stays_on_stack(std::string_view bytes, Call call) {
    return stack_left_by(call).find(bytes) != std::string::npos;
}

/// A block of the heap as it was left: where the one of this size lay that was freed last, unless a sanitizer
/// keeps that.
inline std::string freed_bytes(size_t size) {
    char* const block = static_cast<char*>(ombrel_alloc(size));
    std::string bytes(block, size);
    ombrel_free(block);
    return bytes;
}

/// The runs of 16 bytes of a record on the heap that stay when it is closed, of those without a zero: texts
/// are such, and keys, while numbers and addresses have zeros.
template<typename Record, typename Close>
std::vector<std::string> runs_left_of(Record* record, Close close) {
    constexpr size_t run = 16;
    const std::string lived(reinterpret_cast<const char*>(record), header_of(record)->m_size);
    close(record);
    const std::string left = freed_bytes(lived.size());
    size_t count = 0;
    std::vector<std::string> stayed;
    for (size_t at = 0; at + run <= lived.size(); at++)
        if (lived.find('\0', at) >= at + run) {
            count++;
            if (lived.compare(at, run, left, at, run) == 0)
                stayed.push_back(lived.substr(at, run));
        }
    EXPECT_LT(0u, count);
    return stayed;
}

} // namespace ombrel_test
