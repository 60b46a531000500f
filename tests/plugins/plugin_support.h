// A loaded plug-in library, and contexts, for the scope of a test.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/ctx.h>

#include "support/ctx_error.h"
#include "support/heap_balance.h"

namespace ombrel_test {

class loaded_plugin : no_copy {
public:
    explicit loaded_plugin(const char* path) : handle_(ombrel_load_plugin(path, nullptr)) {
        EXPECT_GT(handle_, 0);
    }
    ~loaded_plugin() { EXPECT_EQ(0, ombrel_unload_plugin(handle_)); }

private:
    int handle_;
};

using option_texts = std::vector<std::pair<const char*, std::string>>;

class context : no_copy {
public:
    context() : handle_(ombrel_new_ctx()) { EXPECT_GT(handle_, 0); }
    ~context() { ombrel_destroy_ctx(handle_); }

    operator int() const { return handle_; }

    /// The error; 0 for success.
    int open(const char* mime_type, const option_texts& given) {
        for (const auto& [name, value] : given)
            EXPECT_EQ(0, ombrel_ctx_set_option(handle_, name, value.c_str()));
        return ombrel_open_ctx(handle_, mime_type) == 0 ? 0 : error();
    }

    int error() const { return ombrel_ctx_get_last_error(handle_); }

    std::string env(const char* name) const {
        char text[4096];
        return ombrel_ctx_get_env(handle_, name, text, sizeof text) < 0 ? "(none)" : text;
    }

private:
    int handle_;
};

} // namespace ombrel_test
