// The variables that a program is told of a request by.
#pragma once

#include <cstddef>

#include <ombrel/http_server.h>

#include "core/call_site.h"
#include "core/growing_text.h"
#include "core/heap_ptr.h"

namespace ombrel::protocol {

/// What a request is answered by.
struct cgi_program {
    const char* path;        ///< absolute
    const char* script_name; ///< its own path in URLs
    const char* path_info;   ///< what of the request's path stands behind that
};

/// Made anew for each request: of this process's own variables a program gets two that programs do not run
/// without.
class cgi_environment {
public:
    explicit cgi_environment(call_site caller) : caller_(caller) {}

    /// @param body_size negative for a request that has none
    /// @param more further assignments, or null
    /// @return whether there was memory for it
    bool fill(ombrel_http_exchange_t* exchange, const cgi_program& program, int64_t body_size,
              const char* const* more);

    /// "NAME=VALUE" each, then null.
    const char* const* variables() const { return pointers_.get(); }

private:
    void put(std::string_view name, std::string_view value);
    void put_number(std::string_view name, int64_t number);
    void put_inherited(const char* name);
    void put_host(ombrel_http_exchange_t* exchange);
    void put_log_in(ombrel_http_exchange_t* exchange);
    void put_fields(ombrel_http_exchange_t* exchange);
    void put_field(ombrel_http_exchange_t* exchange, std::string_view name, size_t index);
    bool close();

    call_site caller_;
    growing_text text_; ///< assignments, a zero behind each
    heap_ptr<const char*> pointers_;
    size_t count_ = 0;
    bool fits_ = true;
};

} // namespace ombrel::protocol
