// A stream of the built-in plug-in, for tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/builtin_stream.h>

#include "support/ctx_error.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"
#include "support/texts.h"

namespace ombrel_test {

/// Gives nothing and takes all.
#if defined(_WIN32)
inline constexpr char null_device[] = "NUL";
#else
inline constexpr char null_device[] = "/dev/null";
#endif

class stream : no_copy {
public:
    using option = std::pair<const char*, const char*>;

    stream(const std::string& source, const char* mode, const std::vector<option>& options = {},
           const char* mime_type = "application/tuk_stream")
        : handle_(ombrel_new_ctx()) {
        ombrel_ctx_set_option(handle_, "Source", source.c_str());
        ombrel_ctx_set_option(handle_, "mode", mode);
        for (const option& one : options)
            ombrel_ctx_set_option(handle_, one.first, one.second);
        is_open_ = ombrel_open_ctx(handle_, mime_type) == 0;
    }
    ~stream() {
        if (is_open_ && !is_closed_) {
            EXPECT_EQ(0, ombrel_close_ctx(handle_)) << "a stream nobody closed before";
        }
        ombrel_destroy_ctx(handle_);
    }

    int handle() const { return handle_; }
    bool is_open() const { return is_open_; }
    int error() const { return ombrel_ctx_get_last_error(handle_); }
    int close() { return is_closed_ = true, ombrel_close_ctx(handle_); }

    int write(const std::string& text) { return ombrel_ctx_write(handle_, text.data(), text.size()); }
    /// One read.
    std::string read(size_t most = 65536) {
        std::string text(most, '\0');
        const int size = ombrel_ctx_read(handle_, text.data(), most);
        text.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return text;
    }
    std::string read_to_end() {
        std::string whole;
        for (std::string part = read(); !part.empty(); part = read())
            whole += part;
        return whole;
    }
    int close_write() {
        return ombrel_ctx_control(handle_, def_ombrel_stream_control_close_write, nullptr, size_t{0});
    }
    /// Whether it can be read or written within a patient time.
    bool is_readable() const { return ombrel_ctx_is_readable(handle_, patience_ms) == 1; }
    bool is_writable() const { return ombrel_ctx_is_writable(handle_, patience_ms) == 1; }
    int64_t seek(int64_t offset, int whence = def_ombrel_ctx_seek_set) const {
        return ombrel_ctx_seek(handle_, offset, whence);
    }
    std::string property(const char* name) const {
        char text[256] = "";
        return ombrel_ctx_get_env(handle_, name, text, sizeof text) >= 0 ? text : "none";
    }

private:
    int handle_;
    bool is_open_ = false;
    bool is_closed_ = false;
};

/// Sources that are refused for a reason.
struct refused_sources {
    int error;
    std::vector<std::string> sources;
    const char* mode = "r";
    std::vector<stream::option> options = {};

    void expect() const {
        for (const std::string& each : sources) {
            const stream s(each, mode, options);
            EXPECT_FALSE(s.is_open()) << each;
            EXPECT_EQ(error, s.error()) << each << " " << mode;
        }
    }
};

class stream_test : public balanced_test {
    descriptor_balance descriptors_;
};

} // namespace ombrel_test
