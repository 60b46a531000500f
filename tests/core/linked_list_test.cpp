#include <algorithm>
#include <cstring>
#include <iterator>
#include <list>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/linked_list.h>

namespace {

struct item {
    item* prev;
    int key;
    int arrival;
    item* next;
};

constexpr size_t prev_at = offsetof(item, prev);
constexpr size_t next_at = offsetof(item, next);

int by_key(const void* left, const void* right) {
    return static_cast<const item*>(left)->key - static_cast<const item*>(right)->key;
}

/// The operations of both kinds of list, so that they run through the same tests.
struct singly {
    static constexpr bool has_prev = false;
    static constexpr auto prepend = ombrel_singly_linked_list_prepend_tag;
    static constexpr auto append = ombrel_singly_linked_list_append_tag;
    static constexpr auto remove = ombrel_singly_linked_list_delete_tag;
    static constexpr auto replace = ombrel_singly_linked_list_replace_tag;
    static constexpr auto insert = ombrel_singly_linked_list_insert_tag;
    static constexpr auto sort_insert = ombrel_singly_linked_list_sort_insert_tag;
    static constexpr auto sort = ombrel_singly_linked_list_sort_tag;
};

struct doubly {
    static constexpr bool has_prev = true;
    static constexpr auto prepend = ombrel_doubly_linked_list_prepend_tag;
    static constexpr auto append = ombrel_doubly_linked_list_append_tag;
    static constexpr auto remove = ombrel_doubly_linked_list_delete_tag;
    static constexpr auto replace = ombrel_doubly_linked_list_replace_tag;
    static constexpr auto insert = ombrel_doubly_linked_list_insert_tag;
    static constexpr auto sort_insert = ombrel_doubly_linked_list_sort_insert_tag;
    static constexpr auto sort = ombrel_doubly_linked_list_sort_tag;
};

/// Calls an operation with the offsets that the kind needs; `More` may give the comparison.
template<typename Kind, typename... More>
int run(auto operation, const auto&... lists_and_nodes) {
    if constexpr (Kind::has_prev)
        return operation(lists_and_nodes..., prev_at, next_at, More::value..., "test", 1ul);
    else
        return operation(lists_and_nodes..., next_at, More::value..., "test", 1ul);
}
using sorted = std::integral_constant<ombrel_linked_list_compare_t, by_key>;

/// Compares a list with what should stand in it.
template<typename Kind>
void expect_list(const item* head, const item* tail, bool keeps_tail, const auto& expected) {
    const item *at = head, *before = nullptr;
    for (const item* const node : expected) {
        ASSERT_EQ(node, at);
        EXPECT_EQ(Kind::has_prev ? before : nullptr, at->prev);
        before = at;
        at = at->next;
    }
    EXPECT_EQ(nullptr, at);
    EXPECT_EQ(keeps_tail ? before : nullptr, tail);
}

/// A list beside its model; every change is made to both.
template<typename Kind>
class modelled_list {
public:
    explicit modelled_list(bool keep_tail) : tail_address_(keep_tail ? &tail_ : nullptr) {
        for (item& i : items_)
            free_.push_back(&i);
    }

    void step(std::mt19937& random) {
        const auto position = std::next(model_.begin(), static_cast<long>(random() % (model_.size() + 1)));
        item* const at = position == model_.end() ? nullptr : *position;
        item* const node = free_.front();
        *node = {Kind::has_prev ? node : nullptr, arrivals_++ % 7, 0,
                 node}; // what stood in the links before must not matter
        switch (free_.size() > 1 ? random() % 10 : 9) {
        case 0:
            run<Kind>(Kind::prepend, &head_, tail_address_, node);
            return add(model_.begin(), node);
        case 1:
            run<Kind>(Kind::append, &head_, tail_address_, node);
            return add(model_.end(), node);
        case 2:
            run<Kind>(Kind::insert, &head_, tail_address_, at, node);
            return add(position, node);
        case 3:
            run<Kind, sorted>(Kind::sort_insert, &head_, tail_address_, node);
            return add(
                std::find_if(model_.begin(), model_.end(), [&](auto* other) { return less(node, other); }),
                node);
        case 4:
            run<Kind, sorted>(Kind::sort, &head_, tail_address_);
            return model_.sort(less);
        case 5:
            EXPECT_EQ(at == nullptr ? -1 : 0, run<Kind>(Kind::replace, &head_, tail_address_, at, node));
            if (at != nullptr)
                add(position, node);
            break;
        default:
            EXPECT_EQ(at == nullptr ? -1 : 0, run<Kind>(Kind::remove, &head_, tail_address_, at));
        }
        if (at == nullptr)
            return;
        EXPECT_EQ(nullptr, at->next);
        EXPECT_EQ(Kind::has_prev ? nullptr : at->prev, at->prev);
        free_.push_back(at);
        model_.erase(position);
    }

    void check() {
        expect_list<Kind>(head_, tail_, tail_address_ != nullptr, model_);
        EXPECT_EQ(model_.size(), ombrel_linked_list_count(&head_, next_at));
        const item* const last = model_.empty() ? nullptr : model_.back();
        EXPECT_EQ(last, ombrel_linked_list_get_tail(&head_, tail_address_, next_at));
    }

private:
    static bool less(const item* left, const item* right) { return by_key(left, right) < 0; }
    void add(std::list<item*>::iterator position, item* node) {
        free_.pop_front();
        model_.insert(position, node);
    }

    item *head_ = nullptr, *tail_ = nullptr;
    item** tail_address_;
    item items_[40] = {};
    std::list<item*> free_, model_;
    int arrivals_ = 0;
};

template<typename Kind>
class LinkedListTest : public ::testing::Test {};
using kinds = ::testing::Types<singly, doubly>;
TYPED_TEST_SUITE(LinkedListTest, kinds);

TYPED_TEST(LinkedListTest, FollowsItsModel) {
    for (const bool keep_tail : {false, true}) {
        std::mt19937 random(keep_tail ? 1 : 2);
        modelled_list<TypeParam> list(keep_tail);
        for (int i = 0; i < 3000 && !this->HasFatalFailure(); i++) {
            list.step(random);
            list.check();
        }
    }
}

/// A list of `size` nodes.
template<typename Kind>
struct chain {
    chain(size_t size, bool keep_tail) : items(size), tail_address(keep_tail ? &tail : nullptr) {
        for (item& node : items)
            run<Kind>(Kind::append, &head, tail_address, &node);
    }

    void expect_whole() const {
        std::vector<const item*> expected;
        for (const item& node : items)
            expected.push_back(&node);
        expect_list<Kind>(head, tail, tail_address != nullptr, expected);
    }

    std::vector<item> items;
    item *head = nullptr, *tail = nullptr;
    item** tail_address;
};

TYPED_TEST(LinkedListTest, SortsManyNodesKeepingEqualOnesInOrder) {
    chain<TypeParam> list(5000, true);
    std::mt19937 random(3);
    for (int i = 0; i < 5000; i++) {
        item& node = list.items[static_cast<size_t>(i)];
        node.key = static_cast<int>(random() % 50);
        node.arrival = i;
    }
    EXPECT_EQ(0, (run<TypeParam, sorted>(TypeParam::sort, &list.head, &list.tail)));
    size_t count = 1;
    for (const item* at = list.head; at->next != nullptr; at = at->next, count++)
        ASSERT_LT(std::pair(at->key, at->arrival), std::pair(at->next->key, at->next->arrival));
    EXPECT_EQ(list.items.size(), count);
}

template<typename Kind>
void expect_ignored(chain<Kind>& list, item* absent) {
    item** const head = &list.head;
    item** const tail = list.tail_address;
    item added{};
    added.next = added.prev = &added;
    const item before = *absent;
    EXPECT_EQ(0, run<Kind>(Kind::remove, head, tail, absent));
    EXPECT_EQ(0, run<Kind>(Kind::replace, head, tail, absent, &added));
    EXPECT_EQ(0, run<Kind>(Kind::insert, head, tail, absent, &added));
    EXPECT_EQ(0, run<Kind>(Kind::insert, head, tail, absent, absent));
    EXPECT_EQ(0, memcmp(absent, &before, sizeof before));
    EXPECT_TRUE(added.next == &added && added.prev == &added);
    list.expect_whole();
}

// Whatever the links of an absent node hold, and wherever else it stands, only the list itself tells.
TYPED_TEST(LinkedListTest, LeavesAbsentNodesAlone) {
    item* const wild = reinterpret_cast<item*>(uintptr_t{3});
    for (const size_t size : {0u, 1u, 2u, 3u})
        for (const bool keep_tail : {false, true}) {
            chain<TypeParam> list(size, keep_tail);
            item* const first = list.head;
            item* const last = size > 0 ? &list.items.back() : nullptr;
            item stranger{};
            item* const values[] = {nullptr, wild, &stranger, first, last};
            for (item* const prev : values)
                for (item* const next : values) {
                    stranger = {prev, 0, 0, next};
                    expect_ignored(list, &stranger);
                }
            for (const size_t other_size : {1u, 2u, 3u})
                for (const bool other_tail : {false, true}) {
                    chain<TypeParam> other(other_size, other_tail);
                    for (item& node : other.items)
                        expect_ignored(list, &node);
                    other.expect_whole();
                }
        }
}

TYPED_TEST(LinkedListTest, TakesNullAndTheNodeItself) {
    chain<TypeParam> list(2, true);
    item added{};
    for (const auto one_node : {TypeParam::prepend, TypeParam::append, TypeParam::remove}) {
        EXPECT_EQ(-1, run<TypeParam>(one_node, nullptr, &list.tail, &added));
        EXPECT_EQ(-1, run<TypeParam>(one_node, &list.head, &list.tail, nullptr));
    }
    using no_order = std::integral_constant<ombrel_linked_list_compare_t, nullptr>;
    EXPECT_EQ(-1, (run<TypeParam, sorted>(TypeParam::sort, nullptr, &list.tail)));
    EXPECT_EQ(-1, (run<TypeParam, no_order>(TypeParam::sort, &list.head, &list.tail)));
    EXPECT_EQ(-1, (run<TypeParam, sorted>(TypeParam::sort_insert, nullptr, &list.tail, &added)));
    EXPECT_EQ(-1, (run<TypeParam, sorted>(TypeParam::sort_insert, &list.head, &list.tail, nullptr)));
    EXPECT_EQ(-1, (run<TypeParam, no_order>(TypeParam::sort_insert, &list.head, &list.tail, &added)));
    for (const auto two_nodes : {TypeParam::replace, TypeParam::insert}) {
        EXPECT_EQ(-1, run<TypeParam>(two_nodes, nullptr, &list.tail, list.head, &added));
        EXPECT_EQ(-1, run<TypeParam>(two_nodes, &list.head, &list.tail, list.head, nullptr));
        EXPECT_EQ(0, run<TypeParam>(two_nodes, &list.head, &list.tail, list.head, list.head));
        EXPECT_EQ(0, run<TypeParam>(two_nodes, &list.head, &list.tail, list.tail, list.tail));
    }
    EXPECT_EQ(-1, run<TypeParam>(TypeParam::replace, &list.head, &list.tail, nullptr, &added));
    list.expect_whole();
    EXPECT_EQ(0, run<TypeParam>(TypeParam::insert, &list.head, &list.tail, nullptr, &added));
    EXPECT_EQ(list.tail, &added) << "no position means the end";
}

TEST(LinkedListSearchTest, FindsByNodeAndByMatch) {
    item a{nullptr, 1, 0, nullptr}, b{nullptr, 2, 0, nullptr}, key{nullptr, 2, 0, nullptr};
    item* head = nullptr;
    ombrel_singly_linked_list_append(&head, nullptr, &a, next_at);
    ombrel_singly_linked_list_append(&head, nullptr, &b, next_at);
    EXPECT_EQ(ombrel_linked_list_search(&head, &key, next_at, by_key), &b);
    EXPECT_EQ(nullptr, ombrel_linked_list_search(&head, &key, next_at, nullptr));
    EXPECT_EQ(ombrel_linked_list_search(&head, &a, next_at, nullptr), &a);
    EXPECT_EQ(1, ombrel_linked_list_index(&head, &b, next_at));
    EXPECT_EQ(-1, ombrel_linked_list_index(&head, &key, next_at));
    item* empty = nullptr;
    EXPECT_EQ(nullptr, ombrel_linked_list_get_tail(&empty, nullptr, next_at));
    EXPECT_EQ(&b, ombrel_linked_list_get_tail(&head, nullptr, next_at));
    EXPECT_EQ(2u, ombrel_linked_list_count(&head, next_at));
    EXPECT_EQ(0u, ombrel_linked_list_count(nullptr, next_at));
    EXPECT_EQ(-1, ombrel_linked_list_index(nullptr, &a, next_at));
    EXPECT_EQ(nullptr, ombrel_linked_list_search(nullptr, &a, next_at, by_key));
    EXPECT_EQ(nullptr, ombrel_linked_list_get_tail(nullptr, nullptr, next_at));
}

} // namespace
