// The names in a directory of /proc, without memory of the C library: also for a child before it is the
// program that it is to be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ombrel::platform {

class directory_reader {
public:
    /// Leaves the fault of one that is not there.
    explicit directory_reader(const char* path)
        : descriptor_(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
    ~directory_reader() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    directory_reader(const directory_reader&) = delete;
    directory_reader& operator=(const directory_reader&) = delete;

    int descriptor() const { return descriptor_; }

    /// The next entry that is a number: 1, 0 at the end, -1 on a failure.
    int next(int& number) {
        do {
            if (at_ == size_)
                if (const int filled = fill(); filled <= 0)
                    return filled;
            const char* const entry = room_ + at_;
            at_ += reinterpret_cast<const kernel_entry*>(entry)->size;
            number = number_of(entry + offsetof(kernel_entry, name));
        } while (number < 0);
        return 1;
    }

private:
    /// An entry as the kernel gives it.
    struct kernel_entry {
        uint64_t number;
        int64_t next;
        unsigned short size;
        unsigned char kind;
        char name[1];
    };

    int fill() {
        const long size = syscall(SYS_getdents64, descriptor_, room_, sizeof room_);
        at_ = 0;
        size_ = size > 0 ? size : 0;
        return size > 0 ? 1 : static_cast<int>(size);
    }

    static int number_of(const char* name) {
        int number = 0;
        for (; *name >= '0' && *name <= '9' && number < 100'000'000; name++)
            number = number * 10 + (*name - '0');
        return *name == '\0' ? number : -1;
    }

    int descriptor_;
    long at_ = 0, size_ = 0;
    alignas(kernel_entry) char room_[4096];
};

} // namespace ombrel::platform
