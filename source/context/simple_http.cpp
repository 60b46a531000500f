// Fetching a whole resource in one call.
#include <climits>
#include <cstring>

#include "context/ctx_guard.h"
#include "context/ctx_internal.h"

using namespace ombrel;
using namespace ombrel::context;

namespace {

constexpr int longest_silence_ms = 60000;
constexpr size_t first_room = 16384;

/// Bytes on the heap with a 0 byte after them.
class growing_text {
public:
    size_t size() const { return size_; }
    char* release() { return bytes_.release(); }

    /// Room for at least one more byte behind those there are; null when memory runs out.
    char* make_room(size_t& room) {
        if (size_ + 1 >= capacity_ && !grow())
            return nullptr;
        room = capacity_ - size_ - 1;
        return bytes_.get() + size_;
    }
    void add(size_t count) {
        size_ += count;
        bytes_.get()[size_] = '\0';
    }

private:
    bool grow() {
        if (capacity_ > SIZE_MAX / 2)
            return false;
        const size_t wanted = capacity_ == 0 ? first_room : capacity_ * 2;
        auto* larger = static_cast<char*>(
            ombrel_realloc_tag(bytes_.get(), wanted, "ombrel_ctx_simple_http_get", __LINE__));
        if (larger == nullptr)
            return false;
        bytes_.release();
        bytes_.reset(larger);
        capacity_ = wanted;
        return true;
    }

    heap_ptr<char> bytes_;
    size_t size_ = 0, capacity_ = 0;
};

// False too for more than `limit` bytes, of which no more than room was made for are read.
bool read_to_end(int ctx, growing_text& body, size_t limit) {
    while (body.size() <= limit) {
        size_t room;
        char* at = body.make_room(room);
        if (at == nullptr || ombrel_ctx_is_readable(ctx, longest_silence_ms) != 1)
            return false;
        const int got = ombrel_ctx_read(ctx, at, room);
        if (got < 0 || static_cast<size_t>(got) > room)
            return false;
        body.add(static_cast<size_t>(got));
        if (got == 0)
            return true;
    }
    return false;
}

} // namespace

void* ombrel_ctx_simple_http_get_ex(const char* url, const char* header, int debug, size_t limit,
                                    size_t* size) {
    if (size != nullptr)
        *size = 0;
    const ctx_guard ctx;
    growing_text body;
    if (url == nullptr ||
        (header != nullptr && ombrel_ctx_set_option(ctx.handle(), "httpheader", header) != 0) ||
        ombrel_open_ctx_stream(ctx.handle(), url, "rb", debug) != 0 ||
        !read_to_end(ctx.handle(), body, limit != 0 ? limit : def_ombrel_ctx_simple_http_get_limit))
        return nullptr;
    if (size != nullptr)
        *size = body.size();
    return body.release();
}

void* ombrel_ctx_simple_http_get(const char* url, const char* header, int debug, size_t* size) {
    return ombrel_ctx_simple_http_get_ex(url, header, debug, 0, size);
}
