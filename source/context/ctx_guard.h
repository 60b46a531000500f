// A context for the length of a scope.
#pragma once

#include <ombrel/ctx.h>

namespace ombrel::context {

/// Makes a context, which may fail, and destroys it at the end.
class ctx_guard {
public:
    ctx_guard() = default;
    ~ctx_guard() { ombrel_destroy_ctx(handle_); }
    ctx_guard(const ctx_guard&) = delete;
    ctx_guard& operator=(const ctx_guard&) = delete;

    int handle() const { return handle_; }

private:
    int handle_ = ombrel_new_ctx();
};

} // namespace ombrel::context
