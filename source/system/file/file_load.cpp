// Whole files in memory.
#include <ombrel/file.h>

#include <algorithm>

#include "system/file/file_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// What is read up to the end, under a limit. The end must be seen: a size that the host tells may be wrong.
class loading {
public:
    loading(size_t limit, call_site caller) : limit_(limit), caller_(caller) {}

    /// Room for so many bytes, the proof of their end, and the 0 behind them.
    bool make_room(size_t bytes) {
        const size_t room = std::min(bytes, limit_) + 2;
        auto* const block =
            static_cast<char*>(ombrel_realloc_tag(bytes_.get(), room, caller_.tag, caller_.line));
        if (block == nullptr)
            return refuse(fault_code::no_memory);
        bytes_.release();
        bytes_.reset(block);
        room_ = room;
        return true;
    }
    bool read(int descriptor) {
        for (;;) {
            const int got = platform::read_descriptor(descriptor, bytes_.get() + size_, room_ - 1 - size_);
            if (got <= 0)
                return got == 0;
            size_ += static_cast<size_t>(got);
            if (size_ > limit_)
                return refuse(fault_code::too_large);
            if (size_ == room_ - 1 && !make_room(size_ > limit_ / 2 ? limit_ : 2 * size_))
                return false;
        }
    }
    char* take(size_t* size) {
        bytes_.get()[size_] = '\0';
        if (size != nullptr)
            *size = size_;
        return bytes_.release();
    }

private:
    size_t limit_;
    call_site caller_;
    size_t size_ = 0, room_ = 0;
    quiet_ptr<char> bytes_;
};

constexpr size_t most = PTRDIFF_MAX / 2;

/// How much room to begin with; false when the host says that it is too much.
bool expect(int descriptor, size_t limit, size_t& expected) {
    constexpr size_t unknown = 4096;
    const int64_t size = platform::file_size(descriptor);
    const int64_t position =
        size > 0 ? platform::move_file(descriptor, 0, platform::file_origin::current) : 0;
    const int64_t left = size > position && position >= 0 ? size - position : 0;
    if (left > 0 && static_cast<uint64_t>(left) > limit)
        return refuse(fault_code::too_large);
    expected = left > 0 ? static_cast<size_t>(left) : unknown;
    return true;
}

} // namespace

void* ombrel_file_alloc_load_tag(int fd, size_t limit, size_t* size, const char* function,
                                 unsigned long line) {
    loading bytes(std::min(limit != 0 ? limit : def_ombrel_file_default_limit, most), {function, line});
    size_t expected;
    if (!expect(fd, std::min(limit != 0 ? limit : def_ombrel_file_default_limit, most), expected) ||
        !bytes.make_room(expected) || !bytes.read(fd))
        return nullptr;
    return bytes.take(size);
}

void* ombrel_alloc_load_file_tag(const char* path, size_t limit, size_t* size, const char* function,
                                 unsigned long line) {
    const owned_descriptor file(is_path(path) ? platform::open_file_for_reading(path) : -1);
    return file.is_open() ? ombrel_file_alloc_load_tag(file.get(), limit, size, function, line) : nullptr;
}
