// Hosts that have no descriptor left.
#pragma once

#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <sys/resource.h>
#endif

#include "support/no_copy.h"

namespace ombrel_test {

/// No file or pipe can be opened until the scope ends; where sockets are counted with them, no socket either.
class descriptor_shortage : no_copy {
public:
#if defined(_WIN32)
    descriptor_shortage() {
        for (int one; (one = _open("NUL", _O_RDONLY)) >= 0;)
            taken_.push_back(one);
    }
    ~descriptor_shortage() {
        for (const int one : taken_)
            _close(one);
    }

private:
    std::vector<int> taken_;
#else
    descriptor_shortage() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~descriptor_shortage() {
        setrlimit(RLIMIT_NOFILE, &before_);
    }

private:
    rlimit before_;
#endif
};

} // namespace ombrel_test
