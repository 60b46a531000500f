#include "encoding/coder.h"

#include <cstring>

#include "core/wipe.h"

namespace ombrel::encoding {

namespace {

char* hand_out(char* text, size_t size, size_t* size_out) {
    if (text != nullptr)
        text[size] = '\0';
    if (size_out != nullptr)
        *size_out = text != nullptr ? size : 0;
    return text;
}

char* allocate_text(size_t size, const char* tag) {
    return size < SIZE_MAX ? static_cast<char*>(ombrel_alloc_tag(size + 1, tag, __LINE__)) : nullptr;
}

} // namespace

result_text::result_text(size_t room, const char* tag)
    : text_(allocate_text(room, tag)), room_(room), tag_(tag) {}

char* result_text::finish(size_t size, size_t* size_out) {
    // Worth a copy only when a large block is mostly air.
    if (text_ && size + 64 < room_ / 2) {
        if (char* smaller = allocate_text(size, tag_)) {
            memcpy(smaller, text_.get(), size);
            wipe(text_.get(), size);
            text_.reset(smaller);
        }
    }
    return hand_out(text_.release(), size, size_out);
}

input_bytes::input_bytes(const void* data, size_t size, const char* tag)
    : bytes_(static_cast<const unsigned char*>(data)) {
    if (data != nullptr)
        return;
    zeros_.reset(static_cast<unsigned char*>(ombrel_calloc_tag(1, std::max<size_t>(size, 1), tag, __LINE__)));
    bytes_ = zeros_.get();
}

bool append_whole(ombrel_buffer_t& chain, const void* data, size_t size) {
    const size_t queued = push_copy(chain, data, size);
    if (queued == size)
        return true;
    assert_owned(chain);
    // What was queued went into the free room of the last node.
    if (queued > 0) {
        chain.m_tail->m_used -= queued;
        chain.m_size -= queued;
    }
    return false;
}

char* take_text(ombrel_buffer_t* chain, size_t* size_out, const char* tag) {
    const size_t size = ombrel_get_buffer_size(chain);
    char* text = chain != nullptr ? allocate_text(size, tag) : nullptr;
    if (text != nullptr)
        ombrel_pop_buffer(chain, text, size);
    return hand_out(text, size, size_out);
}

} // namespace ombrel::encoding
