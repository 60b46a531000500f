#include "container/hash_key_store.h"

#include <algorithm>
#include <cstring>

#include "core/block.h"

namespace ombrel {

unsigned char* hash_key_store::copy(const void* key, size_t size) {
    const size_t room = rounded(size);
    unsigned char* const copy = is_long(size) ? take_block(room) : take_room(room);
    if (copy == nullptr)
        return nullptr;
    if (size != 0)
        memcpy(copy, key, size);
    copy[size] = 0;
    return copy;
}

unsigned char* hash_key_store::take_block(size_t size) {
    auto* const alone = static_cast<unsigned char*>(allocate_block(size, owner_.tag, owner_.line));
    if (alone == nullptr)
        return nullptr;
    long_bytes_ += size;
    return alone;
}

unsigned char* hash_key_store::take_room(size_t size) {
    gap*& first = gaps_[size / grain];
    if (first != nullptr) {
        auto* const found = reinterpret_cast<unsigned char*>(first);
        first = first->next;
        return found;
    }
    if (static_cast<size_t>(end_ - at_) < size && !open_next())
        return nullptr;
    unsigned char* const found = at_;
    at_ += size;
    return found;
}

bool hash_key_store::open_next() {
    // A store that was opened for what it had to hold may have less room than one copy takes.
    return open(newest_ == nullptr ? first_block : std::clamp(2 * newest_->size, first_block, largest_block));
}

bool hash_key_store::open(size_t size) {
    auto* const opened = static_cast<block*>(allocate_block(sizeof(block) + size, owner_.tag, owner_.line));
    if (opened == nullptr)
        return false;
    if (at_ != end_)
        leave_gap(at_, static_cast<size_t>(end_ - at_));
    *opened = {newest_, size};
    newest_ = opened;
    at_ = reinterpret_cast<unsigned char*>(opened + 1);
    end_ = at_ + size / grain * grain;
    shared_bytes_ += size;
    return true;
}

void hash_key_store::leave_gap(unsigned char* at, size_t size) {
    auto* const left = reinterpret_cast<gap*>(at);
    left->next = gaps_[size / grain];
    gaps_[size / grain] = left;
}

void hash_key_store::drop(unsigned char* copy, size_t size) {
    if (!is_long(size))
        return leave_gap(copy, rounded(size));
    free_block(copy, owner_.tag, owner_.line);
    long_bytes_ -= rounded(size);
}

void hash_key_store::close_blocks() {
    while (newest_ != nullptr) {
        block* const older = newest_->older;
        free_block(newest_, owner_.tag, owner_.line);
        newest_ = older;
    }
}

void hash_key_store::become(const hash_key_store& other) {
    const size_t long_bytes = long_bytes_;
    close_blocks();
    *this = other;
    long_bytes_ = long_bytes;
}

void hash_key_store::forget_all() {
    close_blocks();
    *this = hash_key_store(owner_);
}

} // namespace ombrel
