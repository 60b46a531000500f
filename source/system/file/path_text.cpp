#include "system/file/path_text.h"

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "system/file/path_parts.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

bool ends_alone(std::string_view root) {
    return root.empty() || is_path_separator(root.back());
}

} // namespace

bool path_text::begin(std::string_view root) {
    size_ = root_size_ = 0;
    has_separator_ = true;
    if (!make_room(root.size()))
        return false;
    write(root);
    size_ = root_size_ = root.size();
    has_separator_ = ends_alone(root);
    return true;
}

bool path_text::append(std::string_view name) {
    if (!make_room(name.size()))
        return false;
    size_ = write(name);
    return true;
}

const char* path_text::get() {
    text_.get()[size_] = '\0';
    return text_.get();
}

const char* path_text::get_with(std::string_view name) {
    if (!make_room(name.size()))
        return nullptr;
    write(name);
    return text_.get();
}

const char* path_text::below_root(const char* path) const {
    const char* const behind = path + root_size_;
    return *behind != '\0' && !has_separator_ ? behind + 1 : behind;
}

bool path_text::needs_separator() const {
    return size_ > root_size_ || !has_separator_;
}

bool path_text::make_room(size_t size) {
    constexpr size_t separator_and_end = 2;
    const size_t needed = size_ + size + separator_and_end;
    if (needed <= room_)
        return true;
    const size_t room = std::max(needed, 2 * room_);
    auto* const larger = static_cast<char*>(ombrel_alloc_tag(room, tag_, __LINE__));
    if (larger == nullptr) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    if (text_)
        memcpy(larger, text_.get(), size_);
    text_.reset(larger);
    room_ = room;
    return true;
}

/// Gives the size that the path has with it.
size_t path_text::write(std::string_view name) {
    char* to = text_.get() + size_;
    if (needs_separator())
        *to++ = '/';
    to = put_text(to, name);
    *to = '\0';
    return static_cast<size_t>(to - text_.get());
}

} // namespace ombrel::system
