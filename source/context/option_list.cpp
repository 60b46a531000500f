#include "context/option_list.h"

#include <cstring>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "core/short_lock_guard.h"
#include "core/wipe.h"

namespace ombrel::context {

/// The name and then the text stand behind it, in one block.
struct option_list::option {
    option* next;
    size_t name_size; ///< with the terminator

    char* name() { return reinterpret_cast<char*>(this + 1); }
    char* text() { return name() + name_size; }
    bool is_called(const char* other, size_t other_size) {
        return name_size == other_size && ombrel_strcasecmp(name(), other) == 0;
    }
};

const char* option_list::get(const char* name) const {
    if (name == nullptr)
        return nullptr;
    const short_lock_guard guard(lock_);
    option* found = *find(name);
    return found != nullptr ? found->text() : nullptr;
}

bool option_list::set(const char* name, const char* text) {
    const size_t name_size = strlen(name) + 1, text_size = strlen(text) + 1;
    auto* made = static_cast<option*>(
        ombrel_alloc_tag(sizeof(option) + name_size + text_size, "ombrel_ctx_set_option", __LINE__));
    if (made == nullptr)
        return false;
    *made = {nullptr, name_size};
    memcpy(made->name(), name, name_size);
    memcpy(made->text(), text, text_size);
    free_one(exchange(made->name(), made));
    return true;
}

void option_list::remove(const char* name) {
    free_one(exchange(name, nullptr));
}

void option_list::clear() {
    option* at;
    {
        const short_lock_guard guard(lock_);
        at = std::exchange(first_, nullptr);
    }
    while (at != nullptr)
        free_one(std::exchange(at, at->next));
}

void option_list::free_one(option* which) {
    if (which == nullptr)
        return;
    // It may be a password.
    wipe_text(which->text());
    ombrel_free_tag(which, "ombrel_ctx_set_option", __LINE__);
}

// The link that holds the option, or the null link at the end.
option_list::option** option_list::find(const char* name) const {
    const size_t size = strlen(name) + 1;
    option** link = &first_;
    while (*link != nullptr && !(*link)->is_called(name, size))
        link = &(*link)->next;
    return link;
}

// Puts an option, or none, in the place of that of the name, which the caller frees.
option_list::option* option_list::exchange(const char* name, option* made) {
    const short_lock_guard guard(lock_);
    option** link = find(name);
    option* old = *link;
    option* rest = old != nullptr ? old->next : nullptr;
    if (made != nullptr)
        made->next = rest;
    *link = made != nullptr ? made : rest;
    return old;
}

} // namespace ombrel::context
