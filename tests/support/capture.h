// What the library writes to the standard streams, caught for a test.
#pragma once

#include <cstdio>
#include <string>
#include <unistd.h>

#include "support/no_copy.h"
#include "support/temporary_path.h"

namespace ombrel_test {

/// Redirects a standard descriptor into a file until text() is called or the scope ends.
class capture : no_copy {
public:
    explicit capture(FILE* stream)
        : stream_(stream), descriptor_(fileno(stream)), written_(std::fopen(path_.c_str(), "wb")),
          read_(std::fopen(path_.c_str(), "rb")) {
        std::remove(path_.c_str()); // where the system lets go of a file that is open
        std::fflush(stream_);
        saved_ = dup(descriptor_);
        dup2(fileno(written_), descriptor_);
    }
    ~capture() {
        restore();
        fclose(read_);
        fclose(written_);
        std::remove(path_.c_str());
    }

    /// What was written so far without a buffer; catching goes on.
    std::string so_far() const {
        std::string result;
        std::rewind(read_);
        char part[4096];
        for (size_t n; (n = fread(part, 1, sizeof part, read_)) > 0;)
            result.append(part, n);
        return result;
    }

    std::string text() {
        restore();
        return so_far();
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

    const std::string path_ = temporary_path();
    FILE* stream_;
    int descriptor_;
    FILE *written_, *read_;
    int saved_ = -1;
};

} // namespace ombrel_test
