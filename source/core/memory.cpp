#include <ombrel/memory.h>

#include <cstring>

#include <ombrel/assert.h>
#include <ombrel/trivial.h>

namespace {

// The texts name the documented conditions, whatever the arguments are called here. After a report the
// operation is attempted; only for no bytes at all it is left out, as the C library takes no null pointers
// even then.
void require(bool holds, const char* function, unsigned long line, const char* condition) {
    if (!holds)
        ombrel_assert_fail_tag("source/memory", function, line, condition);
}

// What was given, null or not, with nothing known about it: the operation is attempted as it was asked for.
void* as_given(void* pointer) {
    return ombrel_ignore_strict_aliasing_pointer(pointer);
}

const void* as_given(const void* pointer) {
    return ombrel_ignore_strict_aliasing_pointer(const_cast<void*>(pointer));
}

template<typename Unit>
void fill(void* dst, Unit value, size_t count) {
    auto* to = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < count; i++)
        memcpy(to + i * sizeof value, &value, sizeof value);
}

void fill_row(unsigned char* row, const unsigned char* pattern, size_t width, size_t unit) {
    for (size_t units = width / unit; units > 0; units--, row += unit)
        memcpy(row, pattern, unit);
}

template<typename Unit>
Unit load(const void* from) {
    Unit value;
    memcpy(&value, from, sizeof value);
    return value;
}

constexpr const char to_condition[] = "s_to != ((void *)0)";
constexpr const char to_from_condition[] = "(s_to != ((void *)0)) && (s_from != ((const void *)0))";

} // namespace

void* ombrel_memset8_wrapper(void* dst, int value, size_t bytes) {
    return memset(dst, value, bytes);
}

void* ombrel_memset16_wrapper(void* dst, uint16_t value, size_t count) {
    const uint32_t doubled = static_cast<uint32_t>(value) << 16 | value;
    fill(dst, doubled, count / 2);
    if (count % 2 != 0)
        memcpy(static_cast<unsigned char*>(dst) + (count - 1) * sizeof value, &value, sizeof value);
    return dst;
}

void* ombrel_memset32_wrapper(void* dst, uint32_t value, size_t count) {
    fill(dst, value, count);
    return dst;
}

void* ombrel_memset64_wrapper(void* dst, uint64_t value, size_t count) {
    fill(dst, value, count);
    return dst;
}

void* ombrel_bzero_wrapper(void* dst, size_t bytes) {
    require(dst != nullptr, "ombrel_bzero_wrapper", __LINE__, to_condition);
    return bytes != 0 ? memset(as_given(dst), 0, bytes) : dst;
}

void* ombrel_memset_wrapper(void* dst, int value, size_t bytes) {
    require(dst != nullptr, "ombrel_memset_wrapper", __LINE__, to_condition);
    return bytes != 0 ? memset(as_given(dst), value, bytes) : dst;
}

void* ombrel_memcpy_wrapper(void* dst, const void* src, size_t bytes) {
    require(dst != nullptr && src != nullptr, "ombrel_memcpy_wrapper", __LINE__, to_from_condition);
    return bytes != 0 ? memcpy(as_given(dst), as_given(src), bytes) : dst;
}

void* ombrel_memmove_wrapper(void* dst, const void* src, size_t bytes) {
    require(dst != nullptr && src != nullptr, "ombrel_memmove_wrapper", __LINE__, to_from_condition);
    return bytes != 0 ? memmove(as_given(dst), as_given(src), bytes) : dst;
}

int ombrel_memcmp_wrapper(const void* left, const void* right, size_t bytes) {
    require(left != nullptr, "ombrel_memcmp_wrapper", __LINE__, "s_left != ((const void *)0)");
    require(right != nullptr, "ombrel_memcmp_wrapper", __LINE__, "s_right != ((const void *)0)");
    return bytes != 0 ? memcmp(as_given(left), as_given(right), bytes) : 0;
}

void* ombrel_memset_blit(void* dst, const void* pattern, size_t width, size_t stride, size_t unit,
                         size_t rows) {
    if (unit == 0)
        return dst;
    auto* row = static_cast<unsigned char*>(dst);
    const auto* bytes = static_cast<const unsigned char*>(pattern);
    for (; rows > 0; rows--, row += stride) {
        switch (unit) {
        case 1:
            memset(row, *bytes, width);
            break;
        case 2:
            fill(row, load<uint16_t>(bytes), width / 2);
            break;
        case 4:
            fill(row, load<uint32_t>(bytes), width / 4);
            break;
        default:
            fill_row(row, bytes, width, unit);
        }
    }
    return dst;
}

void* ombrel_memcpy_blit(void* dst, const void* src, size_t width, size_t dst_stride, size_t src_stride,
                         size_t rows) {
    auto* to = static_cast<unsigned char*>(dst);
    const auto* from = static_cast<const unsigned char*>(src);
    for (; rows > 0; rows--, to += dst_stride, from += src_stride)
        memcpy(to, from, width);
    return dst;
}

void* ombrel_exchange_memory(void* a, void* b, size_t bytes) {
    unsigned char step[4096];
    auto* left = static_cast<unsigned char*>(a);
    auto* right = static_cast<unsigned char*>(b);
    while (bytes > 0) {
        const size_t now = bytes < sizeof step ? bytes : sizeof step;
        memcpy(step, left, now);
        memcpy(left, right, now);
        memcpy(right, step, now);
        left += now;
        right += now;
        bytes -= now;
    }
    return a;
}

int ombrel_is_data_fill(const void* data, size_t bytes, int value) {
    if (data == nullptr || bytes == 0)
        return 1;
    const auto* first = static_cast<const unsigned char*>(data);
    // All bytes are equal when the area equals itself shifted by one.
    return *first == static_cast<unsigned char>(value) && memcmp(first, first + 1, bytes - 1) == 0 ? 1 : 0;
}

int ombrel_compare_data(const void* a, size_t a_size, const void* b, size_t b_size) {
    if (a_size != b_size)
        return -1;
    if (a_size == 0)
        return 0;
    if (a != nullptr && b != nullptr)
        return memcmp(a, b, a_size);
    // A null second buffer equals any first one: meant so.
    return ombrel_is_data_fill(b, b_size, 0) != 0 ? 0 : -1;
}
