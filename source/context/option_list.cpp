#include "context/option_list.h"

#include <cstring>
#include <functional>
#include <utility>

#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "core/short_lock_guard.h"
#include "core/wipe.h"
#include "text/integer_text.h"

namespace ombrel::context {

/// The name and then the text stand behind it, in one block.
struct option_list::option {
    option* next;
    size_t name_size; ///< with the terminator

    char* name() { return reinterpret_cast<char*>(this + 1); }
    char* text() { return name() + name_size; }
    bool is_called(const char* other, size_t other_size) {
        return name_size == other_size && ombrel_strncasecmp(name(), other, other_size) == 0;
    }

    static size_t size_for(const char* name, const char* text) {
        return sizeof(option) + strlen(name) + 1 + strlen(text) + 1;
    }

    static option* put(void* place, const char* name, const char* text) {
        auto* made = static_cast<option*>(place);
        *made = {nullptr, strlen(name) + 1};
        memcpy(made->name(), name, made->name_size);
        memcpy(made->text(), text, strlen(text) + 1);
        return made;
    }
};

const char* option_list::get(const char* name) const {
    if (name == nullptr)
        return nullptr;
    const brief_lock_guard guard(lock_);
    option* found = *find(name);
    return found != nullptr ? found->text() : nullptr;
}

bool option_list::set(const char* name, const char* text) {
    option* old;
    if (!set_near(name, text, old)) {
        void* block = ombrel_alloc_tag(option::size_for(name, text), "ombrel_ctx_set_option", __LINE__);
        if (block == nullptr)
            return false;
        option* made = option::put(block, name, text);
        old = exchange(made->name(), made);
    }
    free_one(old);
    return true;
}

// False when there is no room.
bool option_list::set_near(const char* name, const char* text, option*& old) {
    constexpr size_t alignment = alignof(option);
    const size_t size = (option::size_for(name, text) + alignment - 1) / alignment * alignment;
    const brief_lock_guard guard(lock_);
    if (size > sizeof near_ - near_size_)
        return false;
    option* made = option::put(near_ + near_size_, name, text);
    near_size_ += size;
    old = exchange_locked(made->name(), made);
    return true;
}

void option_list::remove(const char* name) {
    free_one(exchange(name, nullptr));
}

void option_list::clear() {
    option* at = unlink_all();
    while (at != nullptr)
        free_one(std::exchange(at, at->next));
}

// Gives those that have blocks of their own; the others are wiped and gone.
option_list::option* option_list::unlink_all() {
    const brief_lock_guard guard(lock_);
    option *at = std::exchange(first_, nullptr), *apart = nullptr;
    while (at != nullptr) {
        option* here = std::exchange(at, at->next);
        if (!is_near(here))
            here->next = std::exchange(apart, here);
    }
    wipe(near_, std::exchange(near_size_, 0));
    return apart;
}

bool option_list::is_near(const option* which) const {
    const auto* at = reinterpret_cast<const unsigned char*>(which);
    return std::less_equal<>()(near_, at) && std::less<>()(at, near_ + sizeof near_);
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
    OMBREL_INVARIANT(is_held(lock_));
    const size_t size = strlen(name) + 1;
    option** link = &first_;
    while (*link != nullptr && !(*link)->is_called(name, size))
        link = &(*link)->next;
    return link;
}

// Puts an option, or none, in the place of that of the name, which the caller frees.
option_list::option* option_list::exchange(const char* name, option* made) {
    const brief_lock_guard guard(lock_);
    return exchange_locked(name, made);
}

// One that has no block of its own is wiped at once, and none is left to be freed.
option_list::option* option_list::exchange_locked(const char* name, option* made) {
    option** link = find(name);
    option* old = *link;
    option* rest = old != nullptr ? old->next : nullptr;
    if (made != nullptr)
        made->next = rest;
    *link = made != nullptr ? made : rest;
    if (old == nullptr || !is_near(old))
        return old;
    wipe_text(old->text());
    return nullptr;
}

number_text::number_text(int number) {
    text_sink sink(text_, sizeof text_ - 1);
    if (number < 0)
        sink.put('-');
    write_integer(sink, number < 0 ? 0u - static_cast<uint32_t>(number) : static_cast<uint32_t>(number), 10,
                  0, upper_digits);
    *sink.cursor() = '\0';
}

} // namespace ombrel::context
