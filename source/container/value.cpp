#include <ombrel/value.h>

#include <cstdint>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/memory.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>
#include <ombrel/word.h>

#include "core/heap_ptr.h"
#include "core/node_list.h"

namespace {

using list = ombrel_value_t;
using node = ombrel_value_node_t;
using chain = ombrel::node_list<node>;

constexpr const char name_separator[] = "|";

/// Bytes to store or to compare with; null stands for zero bytes.
struct bytes {
    const void* data;
    size_t size;

    bool equals(const node* other) const {
        // In this order null data stand for zero bytes alone, not for any.
        return ombrel_compare_data(data, size, other->m_data, other->m_size) == 0;
    }
    bool end_with_zero() const { return data == nullptr || static_cast<const char*>(data)[size - 1] == '\0'; }
    void copy_to(void* to) const {
        if (data != nullptr)
            memmove(to, data, size);
        else
            memset(to, 0, size);
    }
};

bytes bytes_of_text(const char* text) {
    return {text, ombrel_strlen(text)};
}

bytes bytes_with_terminator(const char* text) {
    return {text, text != nullptr ? strlen(text) + 1 : 0};
}

/// "%d" of a number, with its terminator.
class int_text {
public:
    explicit int_text(int number) { ombrel_snprintf(text_, sizeof text_, "%d", number); }
    bytes data() const { return bytes_with_terminator(text_); }

private:
    char text_[16];
};

/// How a name is compared.
struct name_key {
    const char* name;
    bool case_sensitive;
    bool is_list;

    bool equals(const node* other) const {
        if (name == nullptr || other->m_name == nullptr)
            return name == other->m_name;
        if (is_list)
            return ombrel_compare_string_ex(name, name_separator, other->m_name, 0, case_sensitive ? 0 : 1) ==
                   0;
        return (case_sensitive ? strcmp(name, other->m_name) : ombrel_strcasecmp(name, other->m_name)) == 0;
    }
};

name_key one_name(int case_sensitive, const char* name) {
    return {name, case_sensitive != 0, false};
}

name_key any_name(int case_sensitive, const char* names) {
    return {names, case_sensitive != 0, true};
}

// What an entry is looked for by.
auto by_name(name_key key) {
    return [key](const node* at) { return key.equals(at); };
}

auto by_data(bytes data) {
    return [data](const node* at) { return data.equals(at); };
}

auto by_both(name_key key, bytes data) {
    return [key, data](const node* at) { return key.equals(at) && data.equals(at); };
}

template<typename Matches>
node* search(const node* at, Matches matches) {
    while (at != nullptr && !matches(at))
        at = at->m_next;
    return const_cast<node*>(at);
}

bool is_initialized(const list* head) {
    return head != nullptr && (head->m_flags & def_ombrel_value_flag_initialized) != 0;
}

const node* first_of(const list* head) {
    return is_initialized(head) ? head->m_head : nullptr;
}

void mark_changed(list* head) {
    head->m_flags |= def_ombrel_value_flag_dirty;
}

// A copy of the data, followed by a 0 byte when they do not end with one; `size` is not 0.
void* copy_data(bytes data) {
    const size_t room = data.size + (data.end_with_zero() ? 0 : 1);
    auto* copy = static_cast<char*>(ombrel_alloc_tag(room, "ombrel_new_value_node", __LINE__));
    if (copy == nullptr)
        return nullptr;
    copy[room - 1] = '\0';
    data.copy_to(copy);
    return copy;
}

void free_one(node* which) {
    ombrel_check_free_tag(which->m_data, "ombrel_free_value_node", __LINE__);
    ombrel_free_tag(which, "ombrel_free_value_node", __LINE__);
}

int append(list* head, node* added) {
    if (added == nullptr)
        return -1;
    chain(head->m_head, &head->m_tail).append(*added);
    mark_changed(head);
    return 0;
}

int exchange(list* head, node* old_node, node* new_node) {
    if (new_node == nullptr)
        return -1;
    chain(head->m_head, &head->m_tail).replace(*old_node, *new_node);
    free_one(old_node);
    mark_changed(head);
    return 0;
}

// The name or the data that are looked for may belong to an entry that goes, so all are freed at the end.
template<typename Matches>
int remove_all(list* head, Matches matches) {
    if (!is_initialized(head))
        return -1;
    node* removed = nullptr;
    for (node* found = search(head->m_head, matches); found != nullptr;) {
        node* rest = found->m_next;
        chain(head->m_head, &head->m_tail).unlink(*found);
        chain(removed).prepend(*found);
        mark_changed(head);
        found = search(rest, matches);
    }
    ombrel_free_value_node(removed);
    return 0;
}

// Data that ended with their own 0 byte have no room for another one behind them: text that no longer ends
// with one needs a new block to stay readable as a string.
int overwrite(list* head, node* at, bytes data) {
    const bytes old{at->m_data, at->m_size};
    if (old.end_with_zero() && !data.end_with_zero()) {
        void* copy = copy_data(data);
        if (copy == nullptr)
            return -1;
        ombrel_free_tag(at->m_data, "ombrel_set_value", __LINE__);
        at->m_data = copy;
    } else {
        data.copy_to(at->m_data);
    }
    mark_changed(head);
    return 0;
}

int replace_by_name(list* head, name_key key, bytes data) {
    node* at = search(head->m_head, by_name(key));
    if (at == nullptr)
        return append(head, ombrel_new_value_node(key.name, data.data, data.size));
    if (at->m_size != data.size)
        return exchange(head, at, ombrel_new_value_node(key.name, data.data, data.size));
    return data.equals(at) ? 0 : overwrite(head, at, data);
}

int set(list* head, int mode, name_key key, bytes data) {
    if (!is_initialized(head))
        return -1;
    node* old_node = nullptr;
    switch (mode & 3) {
    case def_ombrel_value_replace_by_name:
        return replace_by_name(head, key, data);
    case def_ombrel_value_replace_by_data:
        old_node = search(head->m_head, by_data(data));
        break;
    case def_ombrel_value_add_if_absent:
        if (search(head->m_head, by_both(key, data)) != nullptr)
            return 0;
        break;
    default:
        break;
    }
    node* made = ombrel_new_value_node(key.name, data.data, data.size);
    return old_node != nullptr ? exchange(head, old_node, made) : append(head, made);
}

int set_each(list* head, int mode, int case_sensitive, const char* names, bytes data) {
    if (names == nullptr)
        return set(head, mode, one_name(case_sensitive, nullptr), data);
    int result = 0;
    while (*names != '\0') {
        const ombrel::heap_ptr<char> name(ombrel_get_word_sep_alloc_c(0, name_separator, &names));
        if (!name || set(head, mode, one_name(case_sensitive, name.get()), data) != 0)
            result = -1;
        if (*names != '\0')
            names++;
    }
    return result;
}

} // namespace

ombrel_value_t* ombrel_init_value(ombrel_value_t* head) {
    if (head != nullptr)
        *head = {def_ombrel_value_flag_initialized | def_ombrel_value_flag_dirty, nullptr, nullptr};
    return head;
}

ombrel_value_t* ombrel_new_value() {
    auto* head = ombrel_init_value(ombrel::allocate_record<list>("ombrel_new_value", __LINE__));
    if (head != nullptr)
        head->m_flags |= def_ombrel_value_flag_allocated;
    return head;
}

int ombrel_reset_value(ombrel_value_t* head) {
    return remove_all(head, [](const node*) { return true; });
}

int ombrel_destroy_value(ombrel_value_t* head) {
    if (ombrel_reset_value(head) != 0)
        return -1;
    head->m_flags &= ~def_ombrel_value_flag_initialized;
    if ((head->m_flags & def_ombrel_value_flag_allocated) != 0)
        ombrel_free_tag(head, "ombrel_destroy_value", __LINE__);
    return 0;
}

int ombrel_free_value(ombrel_value_t* head) {
    return ombrel_destroy_value(head);
}

ombrel_value_node_t* ombrel_new_value_node(const char* name, const void* data, size_t size) {
    if (size > UINT32_MAX)
        return nullptr;
    const size_t name_size = name != nullptr ? strlen(name) + 1 : 0;
    ombrel::heap_ptr<node> made(
        static_cast<node*>(ombrel_alloc_tag(sizeof(node) + name_size, "ombrel_new_value_node", __LINE__)));
    if (!made)
        return nullptr;
    *made = {nullptr, nullptr, nullptr, static_cast<uint32_t>(size), nullptr};
    if (name != nullptr)
        made->m_name = static_cast<char*>(memcpy(made.get() + 1, name, name_size));
    if (size > 0 && (made->m_data = copy_data({data, size})) == nullptr)
        return nullptr;
    return made.release();
}

int ombrel_free_value_node(ombrel_value_node_t* node) {
    if (node == nullptr)
        return -1;
    while (node->m_prev != nullptr)
        node = node->m_prev;
    while (node != nullptr) {
        ombrel_value_node_t* rest = node->m_next;
        free_one(node);
        node = rest;
    }
    return 0;
}

ombrel_value_node_t* ombrel_search_value_node_by_name(const ombrel_value_node_t* node, int case_sensitive,
                                                      const char* name) {
    return search(node, by_name(one_name(case_sensitive, name)));
}

ombrel_value_node_t* ombrel_search_value_node_by_data(const ombrel_value_node_t* node, const void* data,
                                                      size_t size) {
    return search(node, by_data({data, size}));
}

// Without the terminator, which texts are stored with: meant so.
ombrel_value_node_t* ombrel_search_value_node_by_string(const ombrel_value_node_t* node, const char* text) {
    return search(node, by_data(bytes_of_text(text)));
}

ombrel_value_node_t* ombrel_search_value_node(const ombrel_value_node_t* node, int case_sensitive,
                                              const char* name, const void* data, size_t size) {
    return search(node, by_both(one_name(case_sensitive, name), {data, size}));
}

ombrel_value_node_t* ombrel_multiple_search_value_node_by_name(const ombrel_value_node_t* node,
                                                               int case_sensitive, const char* names) {
    return search(node, by_name(any_name(case_sensitive, names)));
}

ombrel_value_node_t* ombrel_multiple_search_value_node(const ombrel_value_node_t* node, int case_sensitive,
                                                       const char* names, const void* data, size_t size) {
    return search(node, by_both(any_name(case_sensitive, names), {data, size}));
}

ombrel_value_node_t* ombrel_get_value_node_by_name(const ombrel_value_t* head, int case_sensitive,
                                                   const char* name) {
    return ombrel_search_value_node_by_name(first_of(head), case_sensitive, name);
}

ombrel_value_node_t* ombrel_get_value_node_by_data(const ombrel_value_t* head, const void* data,
                                                   size_t size) {
    return ombrel_search_value_node_by_data(first_of(head), data, size);
}

ombrel_value_node_t* ombrel_get_value_node_by_string(const ombrel_value_t* head, const char* text) {
    return ombrel_search_value_node_by_string(first_of(head), text);
}

ombrel_value_node_t* ombrel_get_value_node(const ombrel_value_t* head, int case_sensitive, const char* name,
                                           const void* data, size_t size) {
    return ombrel_search_value_node(first_of(head), case_sensitive, name, data, size);
}

void* ombrel_get_value_by_name(const ombrel_value_t* head, int case_sensitive, const char* name,
                               size_t* size_out) {
    const node* found = ombrel_get_value_node_by_name(head, case_sensitive, name);
    if (size_out != nullptr)
        *size_out = found != nullptr ? found->m_size : 0;
    return found != nullptr ? found->m_data : nullptr;
}

const char* ombrel_get_value_string_ex(const ombrel_value_t* head, int case_sensitive, const char* name,
                                       const char* fallback) {
    size_t size = 0;
    const void* data = ombrel_get_value_by_name(head, case_sensitive, name, &size);
    const bool is_text = data != nullptr && memchr(data, '\0', size) != nullptr;
    return is_text ? static_cast<const char*>(data) : fallback;
}

const char* ombrel_get_value_string(const ombrel_value_t* head, int case_sensitive, const char* name) {
    return ombrel_get_value_string_ex(head, case_sensitive, name, nullptr);
}

int ombrel_remove_value_by_name(ombrel_value_t* head, int case_sensitive, const char* name) {
    return remove_all(head, by_name(one_name(case_sensitive, name)));
}

int ombrel_remove_value_by_data(ombrel_value_t* head, const void* data, size_t size) {
    return remove_all(head, by_data({data, size}));
}

int ombrel_remove_value_by_string(ombrel_value_t* head, const char* text) {
    return remove_all(head, by_data(bytes_of_text(text)));
}

int ombrel_remove_value(ombrel_value_t* head, int case_sensitive, const char* name, const void* data,
                        size_t size) {
    return remove_all(head, by_both(one_name(case_sensitive, name), {data, size}));
}

int ombrel_multiple_remove_value_by_name(ombrel_value_t* head, int case_sensitive, const char* names) {
    return remove_all(head, by_name(any_name(case_sensitive, names)));
}

int ombrel_multiple_remove_value(ombrel_value_t* head, int case_sensitive, const char* names,
                                 const void* data, size_t size) {
    return remove_all(head, by_both(any_name(case_sensitive, names), {data, size}));
}

int ombrel_set_value(ombrel_value_t* head, int mode, int case_sensitive, const char* name, const void* data,
                     size_t size) {
    return set(head, mode, one_name(case_sensitive, name), {data, size});
}

int ombrel_set_value_string(ombrel_value_t* head, int mode, int case_sensitive, const char* name,
                            const char* text) {
    return set(head, mode, one_name(case_sensitive, name), bytes_with_terminator(text));
}

int ombrel_set_value_int_string(ombrel_value_t* head, int mode, int case_sensitive, const char* name,
                                int number) {
    return set(head, mode, one_name(case_sensitive, name), int_text(number).data());
}

int ombrel_multiple_set_value(ombrel_value_t* head, int mode, int case_sensitive, const char* names,
                              const void* data, size_t size) {
    return set_each(head, mode, case_sensitive, names, {data, size});
}

int ombrel_multiple_set_value_string(ombrel_value_t* head, int mode, int case_sensitive, const char* names,
                                     const char* text) {
    return set_each(head, mode, case_sensitive, names, bytes_with_terminator(text));
}

int ombrel_multiple_set_value_int_string(ombrel_value_t* head, int mode, int case_sensitive,
                                         const char* names, int number) {
    return set_each(head, mode, case_sensitive, names, int_text(number).data());
}
