// What the library prints as errors, for a test.
#pragma once

#include <cstring>
#include <mutex>
#include <string>

#include <ombrel/output.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Collects error texts, escape sequences included, until the scope ends. One at a time.
class error_output : no_copy {
public:
    error_output() {
        collected().clear();
        ombrel_set_error_puts_handler(collect, &before_);
    }
    ~error_output() { ombrel_set_error_puts_handler(before_, nullptr); }

    std::string text() const {
        const std::lock_guard<std::mutex> guard(mutex());
        return collected();
    }

private:
    static std::string& collected() {
        static std::string text;
        return text;
    }
    static std::mutex& mutex() {
        static std::mutex instance;
        return instance;
    }
    static unsigned collect(const char* part) {
        const std::lock_guard<std::mutex> guard(mutex());
        if (part == nullptr)
            return 0;
        collected() += part;
        return static_cast<unsigned>(strlen(part));
    }

    ombrel_puts_handler_t before_ = nullptr;
};

} // namespace ombrel_test
