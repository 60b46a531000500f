#include <ombrel/string_node.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "text/word_list.h"

namespace {

using node = ombrel_string_node_t;

node* new_node(std::string_view text) {
    static constexpr const char tag[] = "ombrel_string_to_node_ex";
    char* copy = ombrel_strndup_tag(text.data(), text.size(), tag, __LINE__);
    if (copy == nullptr)
        return nullptr;
    auto* made = static_cast<node*>(ombrel_alloc_tag(sizeof(node), tag, __LINE__));
    if (made == nullptr)
        ombrel_free_tag(copy, tag, __LINE__);
    else
        *made = {nullptr, nullptr, 0, copy};
    return made;
}

node* split(const char* s, const char* separators) {
    node* head = nullptr;
    node* tail = nullptr;
    ombrel::word_list words(s, separators);
    for (std::string_view word; words.next(word);) {
        node* made = new_node(word);
        if (made == nullptr) {
            ombrel_free_string_node(head);
            return nullptr;
        }
        made->m_prev = tail;
        (tail != nullptr ? tail->m_next : head) = made;
        tail = made;
    }
    return head;
}

// While the list is walked, the back links of the kept nodes lead from one kept node to the one before it, so
// that every ".." finds its partner at once, however many nodes were flagged in between. Flagging is the same
// as if each node had been resolved when it was appended: a node depends on those before it alone.
void flag_unneeded(node* head) {
    node* kept = nullptr;
    for (node* at = head; at != nullptr; at = at->m_next) {
        const std::string_view text = at->m_text;
        if (text == "..") {
            at->m_ignore = 1;
            if (kept != nullptr && *kept->m_text != '\0') {
                kept->m_ignore = 1;
                kept = kept->m_prev;
            }
        } else if (text == "." || (text.empty() && at != head)) {
            at->m_ignore = 1;
        } else {
            at->m_prev = kept;
            kept = at;
        }
    }
}

void resolve_path(node* head) {
    flag_unneeded(head);
    node* before = nullptr;
    for (node* at = head; at != nullptr; at = at->m_next) {
        at->m_prev = before;
        before = at;
    }
}

node* tail_of(node* list) {
    while (list->m_next != nullptr)
        list = list->m_next;
    return list;
}

/// The nodes that a join keeps.
class kept_nodes {
public:
    kept_nodes(const node* list, bool skip_ignored) : skip_ignored_(skip_ignored), at_(first_from(list)) {}

    const node* next() {
        const node* result = at_;
        if (at_ != nullptr)
            at_ = first_from(at_->m_next);
        return result;
    }
    bool at_end() const { return at_ == nullptr; }

private:
    const node* first_from(const node* list) const {
        while (list != nullptr && skip_ignored_ && list->m_ignore != 0)
            list = list->m_next;
        return list;
    }

    bool skip_ignored_;
    const node* at_;
};

// Hands the pieces of the joined string to `take`, one after the other.
template<typename Take>
void join(kept_nodes nodes, std::string_view separator, Take take) {
    while (const node* at = nodes.next()) {
        const std::string_view text = at->m_text;
        take(text);
        if (!nodes.at_end() || text.empty())
            take(separator);
    }
}

// Bytes of the joined string with its terminator; 0 when they cannot be counted.
size_t joined_size(const kept_nodes& nodes, std::string_view separator) {
    size_t size = 1;
    join(nodes, separator, [&size](std::string_view piece) {
        size = size != 0 && piece.size() <= SIZE_MAX - size ? size + piece.size() : 0;
    });
    return size;
}

} // namespace

ombrel_string_node_t* ombrel_string_to_node_ex(const char* s, const char* separators, int resolve) {
    if (s == nullptr)
        return nullptr;
    if (separators == nullptr)
        return new_node(s);
    node* list = split(s, separators);
    if (resolve != 0)
        resolve_path(list);
    return list;
}

ombrel_string_node_t* ombrel_string_to_node(const char* s, const char* separators) {
    return ombrel_string_to_node_ex(s, separators, 0);
}

void ombrel_free_string_node(ombrel_string_node_t* list) {
    while (list != nullptr) {
        node* next = list->m_next;
        ombrel_check_free_tag(list->m_text, "ombrel_free_string_node", __LINE__);
        ombrel_free_tag(list, "ombrel_free_string_node", __LINE__);
        list = next;
    }
}

char* ombrel_node_to_string(const ombrel_string_node_t* list, const char* separator, int skip_ignored) {
    if (list == nullptr)
        return nullptr;
    const kept_nodes nodes(list, skip_ignored != 0);
    const std::string_view between = ombrel_check_string(separator);
    const size_t size = joined_size(nodes, between);
    char* result =
        size != 0 ? static_cast<char*>(ombrel_alloc_tag(size, "ombrel_node_to_string", __LINE__)) : nullptr;
    if (result == nullptr)
        return nullptr;
    char* to = result;
    join(nodes, between, [&](std::string_view piece) {
        memcpy(to, piece.data(), piece.size());
        to += piece.size();
    });
    *to = '\0';
    return result;
}

ombrel_string_node_t* ombrel_append_string_node_ex(ombrel_string_node_t* list, ombrel_string_node_t* other,
                                                   int restart_on_absolute, int resolve) {
    if (other != nullptr) {
        if (restart_on_absolute != 0 && *other->m_text == '\0') {
            ombrel_free_string_node(list);
            list = nullptr;
        }
        other->m_prev = list != nullptr ? tail_of(list) : nullptr;
        (list != nullptr ? other->m_prev->m_next : list) = other;
    }
    if (resolve != 0) {
        for (node* at = list; at != nullptr; at = at->m_next)
            at->m_ignore = 0;
        resolve_path(list);
    }
    return list;
}

ombrel_string_node_t* ombrel_append_string_node(ombrel_string_node_t* list, ombrel_string_node_t* other,
                                                int restart_on_absolute) {
    return ombrel_append_string_node_ex(list, other, restart_on_absolute, 0);
}
