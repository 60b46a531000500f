// Records and texts that stay where they are until all of them go at once.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/call_site.h"

namespace ombrel::document {

class record_store {
public:
    explicit record_store(const call_site& giver) : giver_(giver) {}
    record_store(const record_store&) = delete;
    record_store& operator=(const record_store&) = delete;
    ~record_store() { clear(); }

    /// Room for a record, aligned for any; null when memory has run out.
    void* take(size_t size);
    /// A record with its initial values.
    template<typename T>
    T* make() {
        void* const room = take(sizeof(T));
        return room != nullptr ? new (room) T{} : nullptr;
    }
    /// A copy of a text, with a zero behind it. False when memory has run out.
    bool keep(std::string_view text, std::string_view& kept);
    void clear();

private:
    struct chunk;
    bool add_chunk(size_t size);

    call_site giver_;
    chunk* chunks_ = nullptr; ///< the one in use first
    char *at_ = nullptr, *end_ = nullptr;
    size_t next_size_ = 1024;
};

} // namespace ombrel::document
