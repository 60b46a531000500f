#include "protocol/http/form_parts.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace ombrel::protocol {

namespace {

constexpr int none = def_ombrel_http_form_fault_none;

} // namespace

form_parts::~form_parts() {
    std::destroy_n(kept_.get(), kept_count_);
}

int form_parts::add_head(std::string_view bytes, size_t limit, int beyond) {
    if (bytes.size() > limit - std::min(limit, current_.head.size()))
        return beyond;
    return current_.head.append(bytes, caller_) ? none : def_ombrel_http_form_fault_memory;
}

int form_parts::begin() {
    if (begun_ == options_.m_part_limit)
        return def_ombrel_http_form_fault_part_limit;
    begun_++;
    current_size_ = 0;
    current_.shown.m_data = nullptr;
    current_.shown.m_size = 0;
    return tell(def_ombrel_http_form_begin, {});
}

int form_parts::add(std::string_view bytes) {
    if (bytes.empty())
        return none;
    const bool is_file = current_.shown.m_file_name != nullptr;
    const auto value_limit = static_cast<int64_t>(std::min<uint64_t>(options_.m_value_limit, INT64_MAX));
    const int64_t limit = is_file ? options_.m_file_limit : value_limit;
    if (limit >= 0 && static_cast<uint64_t>(limit - current_size_) < bytes.size())
        return is_file ? def_ombrel_http_form_fault_file_limit : def_ombrel_http_form_fault_value_limit;
    if (!is_file && (options_.m_flags & def_ombrel_http_form_allow_nul) == 0 &&
        memchr(bytes.data(), 0, bytes.size()) != nullptr)
        return def_ombrel_http_form_fault_nul;
    current_size_ += static_cast<int64_t>(bytes.size());
    return options_.m_handler != nullptr ? tell(def_ombrel_http_form_data, bytes) : keep(bytes);
}

int form_parts::end() {
    if (options_.m_handler == nullptr)
        return keep_part();
    const int why = tell(def_ombrel_http_form_end, {});
    current_.head.clear();
    return why;
}

int form_parts::tell(int event, std::string_view bytes) {
    if (options_.m_handler == nullptr)
        return none;
    const void* const data = bytes.empty() ? nullptr : bytes.data();
    handler_result_ =
        options_.m_handler(form_, event, &current_.shown, data, bytes.size(), options_.m_context);
    return handler_result_ == 0 ? none : def_ombrel_http_form_fault_handler;
}

int form_parts::keep(std::string_view bytes) {
    if (bytes.size() > options_.m_keep_limit - std::min(options_.m_keep_limit, kept_bytes_))
        return def_ombrel_http_form_fault_keep_limit;
    kept_bytes_ += bytes.size();
    return current_.data.append(bytes, caller_) ? none : def_ombrel_http_form_fault_memory;
}

// The head counts as well, and the record: many small parts are not for nothing.
int form_parts::keep_part() {
    const size_t size = current_.head.size() +
                        current_.shown.m_header_count * sizeof(ombrel_http_form_header_t) + sizeof(form_part);
    if (size > options_.m_keep_limit - std::min(options_.m_keep_limit, kept_bytes_))
        return def_ombrel_http_form_fault_keep_limit;
    if (!current_.data.be_text(caller_) || (kept_count_ == kept_room_ && !grow()))
        return def_ombrel_http_form_fault_memory;
    kept_bytes_ += size;
    current_.shown.m_data = current_.data.data();
    current_.shown.m_size = current_.data.size();
    ::new (kept_.get() + kept_count_++) form_part(std::move(current_));
    current_ = {};
    return none;
}

bool form_parts::grow() {
    const size_t room = std::max<size_t>(8, 2 * kept_room_);
    heap_ptr<form_part> larger(
        static_cast<form_part*>(ombrel_alloc_tag(room * sizeof(form_part), caller_.tag, caller_.line)),
        caller_.tag, caller_.line);
    if (!larger)
        return false;
    for (size_t i = 0; i < kept_count_; i++) {
        ::new (larger.get() + i) form_part(std::move(kept_.get()[i]));
        kept_.get()[i].~form_part();
    }
    kept_ = std::move(larger);
    kept_room_ = room;
    return true;
}

} // namespace ombrel::protocol
