#include "document/xml/xml_walk.h"

#include <algorithm>
#include <new>
#include <utility>

#include <ombrel/heap.h>

#include "core/fault.h"
#include "document/xml/xml_tree_record.h"
#include "text/slice.h"

namespace ombrel::document {

namespace {

constexpr uint64_t bit_of(unsigned number) {
    return uint64_t{1} << number;
}

} // namespace

const node** node_set::slot_of(const node* one) const {
    // Nodes lie side by side in blocks: the lower bits of their addresses say little.
    uint64_t hash = reinterpret_cast<uintptr_t>(one) / sizeof(void*) * 0x9E3779B97F4A7C15u;
    for (hash ^= hash >> 32;; hash++) {
        const node*& slot = slots_[static_cast<size_t>(hash) & (slots_.size() - 1)];
        if (slot == nullptr || slot == one)
            return &slot;
    }
}

bool node_set::grow() {
    constexpr size_t least = 16;
    const size_t wanted = slots_.empty() ? least : 2 * slots_.size();
    growing_array<const node*> larger(giver_);
    if (!larger.reserve(wanted))
        return false;
    larger.extend(wanted);
    std::fill(larger.begin(), larger.end(), nullptr);
    std::swap(slots_, larger);
    for (const node* const one : larger)
        if (one != nullptr)
            *slot_of(one) = one;
    return true;
}

bool node_set::add(const node* one) {
    if (2 * count_ >= slots_.size() && !grow())
        return false;
    const node** const slot = slot_of(one);
    count_ += *slot == nullptr ? 1 : 0;
    *slot = one;
    return true;
}

const node* node_set::any() const {
    return *std::find_if(slots_.begin(), slots_.end(), [](const node* one) { return one != nullptr; });
}

void node_set::clear() {
    std::fill(slots_.begin(), slots_.end(), nullptr);
    count_ = 0;
}

void node_set::swap(node_set& other) {
    std::swap(slots_, other.slots_);
    std::swap(count_, other.count_);
}

tree_walk::tree_walk(const path& way, const node& from, const call_site& giver)
    : path_(way), top_(way.is_absolute ? node_store::tree_of(from)->document : &from), starts_(giver),
      parents_(giver), frames_(giver), counters_(giver) {
    begin_segment(0, false);
}

int tree_walk::fail(fault_code why) {
    state_ = state::failed;
    leave_fault(why);
    return -1;
}

/// Steps from here to the next ".." or the end. The ".." that a later segment begins with stands for the
/// nodes themselves, as their parents have been taken.
void tree_walk::begin_segment(uint8_t from, bool is_later) {
    first_ = from;
    is_later_ = is_later;
    end_ = static_cast<uint8_t>(from + (is_later ? 1 : 0));
    while (end_ < path_.step_count && path_.steps[end_].way != axis::parent)
        end_++;
    child_mask_ = deep_mask_ = 0;
    for (unsigned i = is_later ? from + 1u : from; i < end_; i++) {
        if (path_.steps[i].is_deep)
            deep_mask_ |= bit_of(i - first_);
        else if (path_.steps[i].way == axis::child)
            child_mask_ |= bit_of(i - first_);
    }
    if (end_ < path_.step_count && path_.steps[end_].is_deep)
        deep_mask_ |= bit_of(end_ - first_);
    frames_.clear();
    counters_.clear();
    at_ = nullptr;
    state_ = state::on_node;
}

bool tree_walk::starts_here(const node& one) const {
    return is_later_ ? starts_.has(&one) : &one == top_;
}

/// Moves to the next node in the document's order that may matter.
bool tree_walk::go_on() {
    if (at_ == nullptr) {
        at_ = top_;
        return frames_.push({}) && descend();
    }
    const bool may_matter =
        (own_.active & child_mask_) != 0 || (own_.reach & deep_mask_) != 0 || starts_.size() > 1;
    if (may_matter && has_children(*at_) && at_->m_child != nullptr) {
        at_ = at_->m_child;
        return frames_.push(own_) && descend();
    }
    return climb();
}

/// Makes room for what is counted among siblings.
bool tree_walk::descend() {
    for (unsigned i = 0; i < path_.counter_count; i++)
        if (!counters_.push({0, -1}))
            return false;
    return true;
}

bool tree_walk::climb() {
    while (at_ != top_ && at_->m_next == nullptr) {
        at_ = at_->m_parent;
        frames_.truncate(frames_.size() - 1);
        counters_.truncate(counters_.size() - path_.counter_count);
    }
    at_ = at_ == top_ ? nullptr : at_->m_next;
    state_ = at_ == nullptr ? state::at_end : state_;
    return true;
}

bool tree_walk::is_match(const step& asked, const node& one, frame& own, unsigned bit) {
    const bool is_child = asked.way == axis::child;
    const frame& from = is_child ? frames_.last() : own;
    if (!((asked.is_deep && asked.way != axis::parent ? from.reach : from.active) & bit_of(bit)))
        return false;
    return (!is_child || fits(asked.test, one, false)) &&
           passes_all(asked, one, counters_of_siblings(), !is_child);
}

/// Finds out of which steps the node is a result; true if of all of them.
bool tree_walk::look() {
    const frame& around = frames_.last();
    own_ = {starts_here(*at_) ? bit_of(0) : 0, 0};
    own_.reach = own_.active | (around.reach & bit_of(0));
    for (uint8_t i = first_; i < end_ && path_.steps[i].way != axis::attribute; i++) {
        const unsigned bit = i - first_;
        if (is_match(path_.steps[i], *at_, own_, bit))
            own_.active |= bit_of(bit + 1);
        own_.reach |= (own_.active | around.reach) & bit_of(bit + 1);
    }
    const bool is_deep_end = end_ < path_.step_count && path_.steps[end_].is_deep;
    return ((is_deep_end ? own_.reach : own_.active) & bit_of(end_ - first_)) != 0;
}

/// Whether the segment ends with attributes, and those of the node are asked for.
bool tree_walk::look_at_attributes() {
    if (end_ == first_ || path_.steps[end_ - 1].way != axis::attribute)
        return false;
    const uint64_t from = path_.steps[end_ - 1].is_deep ? own_.reach : own_.active;
    return (from & bit_of(end_ - 1 - first_)) != 0 && at_->m_kind == element_node;
}

void tree_walk::begin_attributes() {
    state_ = state::in_attributes;
    attribute_ = at_->m_attribute;
    const step& asked = path_.steps[end_ - 1];
    for (unsigned i = 0; i < asked.condition_count; i++) // positions count within one element
        if (const condition& one = path_.conditions[asked.first_condition + i];
            one.what == condition::position || one.what == condition::from_end)
            counters_of_siblings()[one.counter] = {0, -1};
}

bool tree_walk::passes_all(const step& asked, const node& one, counter* counters, bool is_alone) {
    for (unsigned i = 0; i < asked.condition_count; i++) {
        const condition& now = path_.conditions[asked.first_condition + i];
        counter alone = {0, 1};
        const bool is_place = now.what == condition::position || now.what == condition::from_end;
        counter& place = is_place && !is_alone ? counters[now.counter] : alone;
        if (now.what == condition::from_end && place.total < 0) {
            const node* const parent = one.m_parent;
            place.total = count_all(
                asked, i, one.m_kind == attribute_node ? parent->m_attribute : parent->m_child, counters);
        }
        if (!passes(now, one, place))
            return false;
    }
    return true;
}

bool tree_walk::passes(const condition& one, const node& of, counter& place) const {
    switch (one.what) {
    case condition::position:
        return ++place.count == one.number;
    case condition::from_end:
        return place.total - ++place.count == one.number;
    default:
        return is_met(one, of);
    }
}

/// How many siblings pass the first conditions of a step.
int64_t tree_walk::count_all(const step& asked, unsigned conditions, const node* first,
                             const counter* known) const {
    counter places[most_steps] = {};
    for (unsigned i = 0; i < conditions; i++) {
        const condition& one = path_.conditions[asked.first_condition + i];
        if (one.what == condition::from_end)
            places[i].total = known[one.counter].total;
    }
    int64_t count = 0;
    for (; first != nullptr; first = first->m_next) {
        bool passed = fits(asked.test, *first, first->m_kind == attribute_node);
        for (unsigned i = 0; i < conditions && passed; i++)
            passed = passes(path_.conditions[asked.first_condition + i], *first, places[i]);
        count += passed ? 1 : 0;
    }
    return count;
}

/// Gathers nothing: compares text after text.
bool tree_walk::has_equal_text(const node& of, std::string_view text) const {
    work_++;
    if (has_text(of))
        return text_of(of) == text;
    for (const node* one = following(&of, &of); one != nullptr; one = following(one, &of)) {
        if (++work_ > def_ombrel_xml_path_work_limit)
            return false;
        if (!is_text_like(*one))
            continue;
        if (!starts_with(text, text_of(*one)))
            return false;
        text.remove_prefix(one->m_size);
    }
    return text.empty();
}

bool tree_walk::is_met_by(const condition& one, const node& subject, bool is_attribute) const {
    if (!fits(one.test, subject, is_attribute))
        return false;
    return one.what == condition::has || has_equal_text(subject, one.text) == (one.what == condition::equal);
}

bool tree_walk::is_met(const condition& one, const node& of) const {
    if (one.where == axis::self)
        return is_met_by(one, of, of.m_kind == attribute_node);
    if (one.where == axis::parent)
        return of.m_parent != nullptr && is_met_by(one, *of.m_parent, false);
    const bool is_attribute = one.where == axis::attribute;
    const bool has_list = is_attribute ? of.m_kind == element_node : has_children(of);
    const node* some = !has_list ? nullptr : is_attribute ? of.m_attribute : of.m_child;
    while (some != nullptr && !is_met_by(one, *some, is_attribute))
        some = some->m_next;
    return some != nullptr;
}

int tree_walk::next_in_segment(const node*& found) {
    for (;;) {
        if (state_ == state::in_attributes) {
            const step& asked = path_.steps[end_ - 1];
            while (const node* const one = attribute_) {
                attribute_ = one->m_next;
                if (fits(asked.test, *one, true) && passes_all(asked, *one, counters_of_siblings(), false))
                    return found = one, 1;
            }
            state_ = state::on_node;
        }
        if (work_ > def_ombrel_xml_path_work_limit)
            return fail(fault_code::too_large);
        if (!go_on())
            return fail(fault_code::no_memory);
        if (state_ == state::at_end)
            return 0;
        state_ = state::on_node;
        const bool is_result = look();
        if (look_at_attributes()) {
            begin_attributes();
        } else if (is_result && at_->m_kind != doctype_node) {
            return found = at_, 1;
        }
    }
}

/// Takes the parents of all that the segment finds as the start of the next.
int tree_walk::end_segment() {
    const node* found = nullptr;
    int result;
    parents_.clear();
    while ((result = next_in_segment(found)) == 1)
        if (found->m_parent != nullptr && !parents_.add(found->m_parent))
            return fail(fault_code::no_memory);
    if (result < 0)
        return -1;
    starts_.swap(parents_);
    const uint8_t next = end_;
    if (starts_.size() > 0)
        top_ = starts_.size() == 1 ? starts_.any() : node_store::tree_of(*top_)->document;
    begin_segment(next, true);
    if (starts_.size() == 0)
        state_ = state::at_end;
    return 0;
}

int tree_walk::next(const node*& found) {
    while (state_ != state::at_end && state_ != state::failed && end_ < path_.step_count)
        if (end_segment() != 0)
            return -1;
    if (state_ == state::failed)
        return fail(last_fault().code);
    return state_ == state::at_end ? 0 : next_in_segment(found);
}

} // namespace ombrel::document

using namespace ombrel;
using namespace ombrel::document;

struct ombrel_xml_walk_ts {
    tree_walk walk;
};

namespace {

node* find(const path& way, const node& from) {
    tree_walk walk(way, from, way.giver);
    const node* found = nullptr;
    const int result = walk.next(found);
    if (result == 0)
        leave_fault(fault_code::not_found);
    return result == 1 ? const_cast<node*>(found) : nullptr;
}

} // namespace

ombrel_xml_walk_t* ombrel_open_xml_walk_tag(const ombrel_xml_path_t* path, ombrel_xml_node_t* from,
                                            const char* function, unsigned long line) {
    if (path == nullptr || from == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    void* const room = ombrel_alloc_tag(sizeof(ombrel_xml_walk_t), function, line);
    if (room == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    return new (room) ombrel_xml_walk_t{{*path, *from, {function, line}}};
}

int ombrel_xml_walk_next(ombrel_xml_walk_t* walk, ombrel_xml_node_t** node) {
    if (walk == nullptr || node == nullptr)
        return leave_fault(fault_code::invalid), -1;
    const ombrel_xml_node_t* found = nullptr;
    const int result = walk->walk.next(found);
    if (result == 1)
        *node = const_cast<ombrel_xml_node_t*>(found);
    return result;
}

int ombrel_close_xml_walk(ombrel_xml_walk_t* walk) {
    if (walk == nullptr)
        return 0;
    walk->~ombrel_xml_walk_ts();
    ombrel_free(walk);
    return 0;
}

ombrel_xml_node_t* ombrel_xml_path_find(const ombrel_xml_path_t* path, ombrel_xml_node_t* from) {
    if (path == nullptr || from == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    return find(*path, *from);
}

ombrel_xml_node_t* ombrel_xml_node_find(ombrel_xml_node_t* from, const char* path) {
    if (from == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    ombrel_xml_path_t* const way = ombrel_open_xml_path_tag(path, nullptr, nullptr, __func__, __LINE__);
    if (way == nullptr)
        return nullptr;
    node* const found = find(*way, *from);
    const fault_keeper keeper;
    ombrel_close_xml_path(way);
    return found;
}

char* ombrel_xml_node_alloc_found_text_tag(ombrel_xml_node_t* from, const char* path, size_t* size,
                                           const char* function, unsigned long line) {
    const ombrel_xml_node_t* const found = ombrel_xml_node_find(from, path);
    return found != nullptr ? ombrel_xml_node_alloc_text_tag(found, size, function, line) : nullptr;
}
