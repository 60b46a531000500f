// What the library writes to the standard streams, caught for a test.
#pragma once

#include <cstdio>
#include <string>
#include <unistd.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Redirects a standard descriptor into a file until text() is called or the scope ends.
class capture : no_copy {
public:
    explicit capture(FILE* stream) : stream_(stream), descriptor_(fileno(stream)), file_(std::tmpfile()) {
        std::fflush(stream_);
        saved_ = dup(descriptor_);
        dup2(fileno(file_), descriptor_);
    }
    ~capture() {
        restore();
        fclose(file_);
    }

    /// What was written so far without a buffer; catching goes on.
    std::string so_far() const {
        std::string result;
        char part[4096];
        for (ssize_t n; (n = pread(fileno(file_), part, sizeof part, static_cast<off_t>(result.size()))) > 0;)
            result.append(part, static_cast<size_t>(n));
        return result;
    }

    std::string text() {
        restore();
        std::string result;
        std::rewind(file_);
        char part[4096];
        for (size_t n; (n = fread(part, 1, sizeof part, file_)) > 0;)
            result.append(part, n);
        return result;
    }

private:
    void restore() {
        if (saved_ < 0)
            return;
        std::fflush(stream_);
        dup2(saved_, descriptor_);
        close(saved_);
        saved_ = -1;
    }

    FILE* stream_;
    int descriptor_;
    std::FILE* file_;
    int saved_ = -1;
};

} // namespace ombrel_test
