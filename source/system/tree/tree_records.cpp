#include "system/tree/tree_records.h"

#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "system/file/file_internal.h"
#include "system/file/file_marks.h"
#include "text/slice.h"

namespace ombrel::system {

bool tree_records::add(const ombrel_walk_entry_t& entry) {
    const ombrel_file_info_t& info = *entry.m_info;
    const size_t index = records_.size();
    close_to(entry.m_depth);
    const int64_t size = content_size(info);
    const bool is_kept = records_.push(
        {nullptr, info.m_kind, entry.m_depth, open_, index + 1, info.m_mode, info.m_modified, size, size});
    for (const char* name = entry.m_name; is_kept; name++) {
        if (!names_.push(*name))
            return refuse(fault_code::no_memory);
        if (*name == '\0')
            break;
    }
    const bool is_shared = info.m_links > 1 && !is_directory(info);
    if (!is_kept || (is_shared && !shared_.push({info.m_device, info.m_serial, index})))
        return refuse(fault_code::no_memory);
    if (is_directory(info))
        open_ = index;
    return true;
}

ombrel_tree_t* tree_records::pack(int64_t failures, call_site caller) {
    const size_t count = records_.size(), head = sizeof(ombrel_tree_t) + count * sizeof(ombrel_tree_record_t);
    count_once();
    add_up();
    char* const block = allocate_text(head + names_.size(), caller);
    if (block == nullptr)
        return nullptr;
    auto* const tree = reinterpret_cast<ombrel_tree_t*>(block);
    auto* const records = reinterpret_cast<ombrel_tree_record_t*>(tree + 1);
    *tree = {count, records, failures};
    std::copy_n(&names_[0], names_.size(), block + head);
    const char* name = block + head;
    for (size_t i = 0; i < count; i++, name += strlen(name) + 1) {
        records[i] = records_[i];
        records[i].m_name = name;
    }
    return tree;
}

/// Goes back up to the directory whose entries have a depth.
void tree_records::close_to(int depth) {
    while (records_.size() > 0 && records_[open_].m_depth >= depth && depth > 0)
        open_ = records_[open_].m_parent;
}

void tree_records::count_once() {
    if (shared_.size() == 0)
        return;
    shared_file* const first = &shared_[0];
    std::sort(first, first + shared_.size());
    for (size_t i = 1; i < shared_.size(); i++) {
        if (shared_[i].is_same_file(shared_[i - 1]))
            records_[shared_[i].record].m_total = 0;
    }
}

/// What is below stands behind, so each record is whole when it is added to its directory's.
void tree_records::add_up() {
    for (size_t i = records_.size(); i-- > 1;) {
        ombrel_tree_record_t& parent = records_[records_[i].m_parent];
        parent.m_total += records_[i].m_total;
        parent.m_end = std::max(parent.m_end, records_[i].m_end);
    }
}

bool tree_records::shared_file::operator<(const shared_file& other) const {
    return device != other.device   ? device < other.device
           : serial != other.serial ? serial < other.serial
                                    : record < other.record;
}

bool tree_records::shared_file::is_same_file(const shared_file& other) const {
    return device == other.device && serial == other.serial;
}

} // namespace ombrel::system
