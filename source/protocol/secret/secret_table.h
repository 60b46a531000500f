// The secrets of one text, as they were read.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/hmac.h>
#include <ombrel/secret.h>

#include "core/fault.h"
#include "core/heap_ptr.h"

namespace ombrel::protocol {

struct secret_entry {
    const char* name;
    const char* more;
    uint64_t mark; ///< of the name, keyed: nobody outside can choose names that lie together
    uint32_t line;
    ombrel_secret_t secret;
};

class secret_table {
public:
    secret_table() = default;
    secret_table(secret_table&&) noexcept = default;
    secret_table& operator=(secret_table&& other) noexcept;
    ~secret_table() { clear(); }

    /// Reads a text in place of what was there; with a fault nothing is there. `key` is a keyed digest that
    /// was started with the key of marks; `line` receives the line at fault, or 0.
    fault_code read(heap_ptr<char> text, size_t size, const ombrel_secret_list_options_t& options,
                    const ombrel_hmac_t& key, uint32_t& line, call_site caller);

    size_t count() const { return count_; }
    const secret_entry& operator[](size_t index) const { return entries_.get()[index]; }

    /// The entry of a name, or, when there is none, one that stands in for it, the same each time. Not for an
    /// empty table.
    struct found {
        size_t index;
        bool is_it;
    };
    found find(const char* name, const ombrel_hmac_t& key) const;

private:
    fault_code read_lines(const ombrel_secret_list_options_t& options, const ombrel_hmac_t& key,
                          uint32_t& line);
    fault_code read_line(char* begin, char* end, uint32_t line, const ombrel_secret_list_options_t& options,
                         const ombrel_hmac_t& key);
    bool put_in_order(uint32_t& line);
    void clear();

    heap_ptr<char> text_;
    size_t size_ = 0;
    heap_ptr<secret_entry> entries_;
    heap_ptr<uint32_t> order_; ///< indices by mark
    size_t count_ = 0, room_ = 0;
};

} // namespace ombrel::protocol
