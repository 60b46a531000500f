#include "system/tree/entry_list.h"

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "core/fault.h"

namespace ombrel::system {

bool entry_list::read(platform::open_directory* directory, order wanted, const char* tag, size_t most) {
    platform::found_entry found;
    int result = 0;
    while (count_ < most && (result = platform::next_entry(directory, found)) == 1) {
        if (!add(found, tag))
            return false;
    }
    const fault why = last_fault();
    if (wanted != order::of_host && count_ > 1 && !sort(wanted, tag))
        return false;
    leave_fault(why);
    return result >= 0;
}

bool entry_list::take(entry& taken) {
    if (!peek(taken))
        return false;
    taken_++;
    at_ += sizeof(head) + strlen(taken.name) + 1;
    return true;
}

bool entry_list::peek(entry& next) const {
    if (taken_ == count_)
        return false;
    const char* const place = order_ != nullptr ? order_[taken_] : bytes_ + at_;
    head first;
    memcpy(&first, place, sizeof first);
    next = {place + sizeof first, first.kind, first.size};
    return true;
}

void entry_list::release() {
    const fault_keeper kept;
    if (order_ != nullptr)
        ombrel_free(order_);
    if (bytes_ != nullptr)
        ombrel_free(bytes_);
    *this = {};
}

bool entry_list::add(const platform::found_entry& found, const char* tag) {
    const size_t name_size = strlen(found.name) + 1;
    const head first{found.size, found.kind};
    if (!make_room(sizeof first + name_size, tag))
        return false;
    memcpy(bytes_ + size_, &first, sizeof first);
    memcpy(bytes_ + size_ + sizeof first, found.name, name_size);
    size_ += sizeof first + name_size;
    count_++;
    return true;
}

bool entry_list::make_room(size_t size, const char* tag) {
    if (room_ - size_ >= size)
        return true;
    constexpr size_t first_room = 1000;
    const size_t room = std::max(room_ + size, room_ == 0 ? first_room : 2 * room_);
    auto* const larger = static_cast<char*>(ombrel_heap_tag(bytes_, room, tag, __LINE__));
    if (larger == nullptr) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    bytes_ = larger;
    room_ = room;
    return true;
}

bool entry_list::sort(order wanted, const char* tag) {
    order_ = static_cast<const char**>(ombrel_alloc_tag(count_ * sizeof *order_, tag, __LINE__));
    if (order_ == nullptr) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    const char* place = bytes_;
    for (size_t i = 0; i < count_; i++, place += sizeof(head) + strlen(place + sizeof(head)) + 1)
        order_[i] = place;
    const auto compare = wanted == order::of_names ? platform::compare_names : strcmp;
    std::sort(order_, order_ + count_, [compare](const char* left, const char* right) {
        return compare(left + sizeof(head), right + sizeof(head)) < 0;
    });
    return true;
}

} // namespace ombrel::system
