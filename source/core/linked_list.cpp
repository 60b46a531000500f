#include <ombrel/linked_list.h>

#include <cstdint>
#include <cstring>

namespace {

constexpr size_t no_offset = SIZE_MAX;

// The caller's pointers have types of their own, so they are read and written as bytes.
void* load(const void* place) {
    void* value;
    memcpy(&value, place, sizeof value);
    return value;
}

void store(void* place, const void* value) {
    memcpy(place, &value, sizeof value);
}

void* field(void* node, size_t offset) {
    return static_cast<char*>(node) + offset;
}

void* next_of(const void* node, size_t next_offset) {
    return load(static_cast<const char*>(node) + next_offset);
}

void* first_of(const void* head) {
    return head != nullptr ? load(head) : nullptr;
}

void* last_of(const void* head, const void* tail, size_t next_offset) {
    if (tail != nullptr)
        return load(tail);
    void* last = nullptr;
    for (void* node = first_of(head); node != nullptr; node = next_of(node, next_offset))
        last = node;
    return last;
}

/// A list of either kind: without an offset of a previous field it is singly linked.
class list {
public:
    list(void* head, void* tail, size_t next_offset, size_t prev_offset = no_offset)
        : head_(head), tail_(tail), next_(next_offset), prev_(prev_offset) {}

    explicit operator bool() const { return head_ != nullptr; }
    void* first() const { return load(head_); }
    void* next(const void* node) const { return next_of(node, next_); }
    void* last() const { return last_of(head_, tail_, next_); }

    // The node before `position`; false when `position` is not in the list. Its own links tell nothing: it
    // may stand in another list, or in none with anything in them, so the walk from the head decides.
    bool find_before(const void* position, void*& before) const;
    void insert_between(void* before, void* node, void* after) const;
    void append(void* node) const { insert_between(last(), node, nullptr); }
    void insert_before(void* position, void* node) const;
    void remove(void* node) const;
    void replace(void* old_node, void* new_node) const;
    void sort_insert(void* node, ombrel_linked_list_compare_t compare) const;
    void sort(ombrel_linked_list_compare_t compare) const;

private:
    void set_prev(void* node, const void* value) const {
        if (prev_ != no_offset)
            store(field(node, prev_), value);
    }
    // Links two neighbours; null stands for the list's ends.
    void link(void* before, void* after) const;
    void clear_links(void* node) const {
        store(field(node, next_), nullptr);
        set_prev(node, nullptr);
    }
    void* merge(void* left, void* right, ombrel_linked_list_compare_t compare) const;
    void relink(void* first) const;

    void* head_;
    void* tail_;
    size_t next_;
    size_t prev_;
};

void list::link(void* before, void* after) const {
    store(before != nullptr ? field(before, next_) : head_, after);
    if (after != nullptr)
        set_prev(after, before);
    else if (tail_ != nullptr)
        store(tail_, before);
}

bool list::find_before(const void* position, void*& before) const {
    before = nullptr;
    void* node = first();
    for (; node != nullptr && node != position; node = next(node))
        before = node;
    return node != nullptr;
}

void list::insert_between(void* before, void* node, void* after) const {
    link(node, after);
    link(before, node);
}

void list::insert_before(void* position, void* node) const {
    void* before = nullptr;
    if (node != position && find_before(position, before))
        insert_between(before, node, position);
}

void list::remove(void* node) const {
    void* before = nullptr;
    if (!find_before(node, before))
        return;
    link(before, next(node));
    clear_links(node);
}

void list::replace(void* old_node, void* new_node) const {
    void* before = nullptr;
    if (old_node == new_node || !find_before(old_node, before))
        return;
    insert_between(before, new_node, next(old_node));
    clear_links(old_node);
}

void list::sort_insert(void* node, ombrel_linked_list_compare_t compare) const {
    void* before = nullptr;
    void* at = first();
    for (; at != nullptr && compare(node, at) >= 0; at = next(at))
        before = at;
    insert_between(before, node, at);
}

// Merges two sorted runs by their next fields; of equal nodes the left one comes first.
void* list::merge(void* left, void* right, ombrel_linked_list_compare_t compare) const {
    void* first = nullptr;
    void* end = &first;
    while (left != nullptr && right != nullptr) {
        void*& smaller = compare(left, right) > 0 ? right : left;
        store(end, smaller);
        end = field(smaller, next_);
        smaller = load(end);
    }
    store(end, left != nullptr ? left : right);
    return first;
}

void list::relink(void* first) const {
    void* before = nullptr;
    for (void* node = first; node != nullptr; node = next(node)) {
        link(before, node);
        before = node;
    }
    link(before, nullptr);
}

// Merges from the bottom up: run i holds 2^i nodes or none, so that the number of runs is bounded by the bits
// of a size. Later runs stand to the right of earlier ones.
void list::sort(ombrel_linked_list_compare_t compare) const {
    constexpr size_t most_runs = sizeof(size_t) * 8;
    void* runs[most_runs] = {};
    for (void *node = first(), *rest = nullptr; node != nullptr; node = rest) {
        rest = next(node);
        store(field(node, next_), nullptr);
        size_t i = 0;
        for (; runs[i] != nullptr && i < most_runs - 1; i++) {
            node = merge(runs[i], node, compare);
            runs[i] = nullptr;
        }
        runs[i] = node;
    }
    void* sorted = nullptr;
    for (void* run : runs)
        sorted = merge(run, sorted, compare);
    relink(sorted);
}

int prepend(const list& to, void* node) {
    if (!to || node == nullptr)
        return -1;
    to.insert_between(nullptr, node, to.first());
    return 0;
}

int append(const list& to, void* node) {
    if (!to || node == nullptr)
        return -1;
    to.append(node);
    return 0;
}

int remove(const list& from, void* node) {
    if (!from || node == nullptr)
        return -1;
    from.remove(node);
    return 0;
}

int replace(const list& in, void* old_node, void* new_node) {
    if (!in || old_node == nullptr || new_node == nullptr)
        return -1;
    in.replace(old_node, new_node);
    return 0;
}

int insert(const list& to, void* position, void* node) {
    if (position == nullptr)
        return append(to, node);
    if (!to || node == nullptr)
        return -1;
    to.insert_before(position, node);
    return 0;
}

int sort_insert(const list& to, void* node, ombrel_linked_list_compare_t compare) {
    if (!to || node == nullptr || compare == nullptr)
        return -1;
    to.sort_insert(node, compare);
    return 0;
}

int sort(const list& which, ombrel_linked_list_compare_t compare) {
    if (!which || compare == nullptr)
        return -1;
    which.sort(compare);
    return 0;
}

} // namespace

void* ombrel_linked_list_get_tail_tag(const void* head, const void* tail, size_t next_offset, const char*,
                                      unsigned long) {
    return last_of(head, tail, next_offset);
}

int ombrel_linked_list_index_tag(const void* head, const void* node, size_t next_offset, const char*,
                                 unsigned long) {
    int index = 0;
    for (void* at = first_of(head); at != nullptr; at = next_of(at, next_offset)) {
        if (at == node)
            return index;
        index++;
    }
    return -1;
}

size_t ombrel_linked_list_count_tag(const void* head, size_t next_offset, const char*, unsigned long) {
    size_t count = 0;
    for (const void* at = first_of(head); at != nullptr; at = next_of(at, next_offset))
        count++;
    return count;
}

void* ombrel_linked_list_search_tag(const void* head, const void* node, size_t next_offset,
                                    ombrel_linked_list_match_t match, const char*, unsigned long) {
    for (void* at = first_of(head); at != nullptr; at = next_of(at, next_offset))
        if (at == node || (match != nullptr && match(at, node) == 0))
            return at;
    return nullptr;
}

int ombrel_singly_linked_list_prepend_tag(void* head, void* tail, void* node, size_t next_offset, const char*,
                                          unsigned long) {
    return prepend(list(head, tail, next_offset), node);
}

int ombrel_singly_linked_list_append_tag(void* head, void* tail, void* node, size_t next_offset, const char*,
                                         unsigned long) {
    return append(list(head, tail, next_offset), node);
}

int ombrel_singly_linked_list_delete_tag(void* head, void* tail, void* node, size_t next_offset, const char*,
                                         unsigned long) {
    return remove(list(head, tail, next_offset), node);
}

int ombrel_singly_linked_list_replace_tag(void* head, void* tail, void* old_node, void* new_node,
                                          size_t next_offset, const char*, unsigned long) {
    return replace(list(head, tail, next_offset), old_node, new_node);
}

int ombrel_singly_linked_list_insert_tag(void* head, void* tail, void* position, void* node,
                                         size_t next_offset, const char*, unsigned long) {
    return insert(list(head, tail, next_offset), position, node);
}

int ombrel_singly_linked_list_sort_insert_tag(void* head, void* tail, void* node, size_t next_offset,
                                              ombrel_linked_list_compare_t compare, const char*,
                                              unsigned long) {
    return sort_insert(list(head, tail, next_offset), node, compare);
}

int ombrel_singly_linked_list_sort_tag(void* head, void* tail, size_t next_offset,
                                       ombrel_linked_list_compare_t compare, const char*, unsigned long) {
    return sort(list(head, tail, next_offset), compare);
}

int ombrel_doubly_linked_list_prepend_tag(void* head, void* tail, void* node, size_t prev_offset,
                                          size_t next_offset, const char*, unsigned long) {
    return prepend(list(head, tail, next_offset, prev_offset), node);
}

int ombrel_doubly_linked_list_append_tag(void* head, void* tail, void* node, size_t prev_offset,
                                         size_t next_offset, const char*, unsigned long) {
    return append(list(head, tail, next_offset, prev_offset), node);
}

int ombrel_doubly_linked_list_delete_tag(void* head, void* tail, void* node, size_t prev_offset,
                                         size_t next_offset, const char*, unsigned long) {
    return remove(list(head, tail, next_offset, prev_offset), node);
}

int ombrel_doubly_linked_list_replace_tag(void* head, void* tail, void* old_node, void* new_node,
                                          size_t prev_offset, size_t next_offset, const char*,
                                          unsigned long) {
    return replace(list(head, tail, next_offset, prev_offset), old_node, new_node);
}

int ombrel_doubly_linked_list_insert_tag(void* head, void* tail, void* position, void* node,
                                         size_t prev_offset, size_t next_offset, const char*, unsigned long) {
    return insert(list(head, tail, next_offset, prev_offset), position, node);
}

int ombrel_doubly_linked_list_sort_insert_tag(void* head, void* tail, void* node, size_t prev_offset,
                                              size_t next_offset, ombrel_linked_list_compare_t compare,
                                              const char*, unsigned long) {
    return sort_insert(list(head, tail, next_offset, prev_offset), node, compare);
}

int ombrel_doubly_linked_list_sort_tag(void* head, void* tail, size_t prev_offset, size_t next_offset,
                                       ombrel_linked_list_compare_t compare, const char*, unsigned long) {
    return sort(list(head, tail, next_offset, prev_offset), compare);
}
