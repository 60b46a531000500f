// Things found by name.
#pragma once

#include <string_view>

#include <ombrel/hash.h>

#include "core/call_site.h"

namespace ombrel::document {

/// Zero-initialised it is empty; clear() is due in the end. Names are not copied.
template<typename T>
class ini_index {
public:
    T* find(std::string_view name) const {
        return table_ != nullptr ? static_cast<T*>(ombrel_hash_get(table_, name.data(), name.size()))
                                 : nullptr;
    }
    /// False, with nothing changed, when memory has run out. The name is not yet there.
    bool add(std::string_view name, T* thing, call_site caller) {
        return open(caller) && ombrel_hash_set(table_, name.data(), name.size(), thing) == 0;
    }
    void remove(std::string_view name) { ombrel_hash_remove(table_, name.data(), name.size()); }
    void clear() {
        ombrel_close_hash(table_);
        table_ = nullptr;
    }

private:
    bool open(call_site caller) {
        if (table_ != nullptr)
            return true;
        ombrel_hash_options_t options;
        ombrel_init_hash_options(&options);
        options.m_flags = def_ombrel_hash_borrow;
        table_ = ombrel_open_hash_tag(&options, caller.tag, caller.line);
        return table_ != nullptr;
    }

    ombrel_hash_t* table_ = nullptr;
};

} // namespace ombrel::document
