// Whole documents read into trees, from memory and from files.
#include <ombrel/file.h>
#include <ombrel/heap.h>
#include <ombrel/xml_tree.h>

#include "core/fault.h"
#include "document/xml/xml_tree_record.h"

namespace {

using namespace ombrel;
using namespace ombrel::document;

/// What a refused document has left is no tree.
ombrel_xml_tree_t* close_refused(ombrel_xml_tree_t* whole) {
    const fault_keeper keeper;
    ombrel_close_xml_tree(whole);
    return nullptr;
}

void tell(const ombrel_xml_tree_t* whole, ombrel_xml_fault_t* fault) {
    if (fault == nullptr)
        return;
    *fault = whole != nullptr ? whole->fault : ombrel_xml_fault_t{};
    fault->m_system_id = fault->m_base = nullptr;
}

int push_file(ombrel_xml_tree_t* whole, int file) {
    constexpr size_t step = 64 * 1024;
    const call_site& giver = whole->store.giver();
    const heap_ptr<char> block(static_cast<char*>(ombrel_alloc_tag(step, giver.tag, giver.line)));
    if (!block)
        return leave_fault(fault_code::no_memory), -1;
    int64_t size;
    while ((size = ombrel_file_read(file, block.get(), step)) > 0)
        if (const int result = ombrel_xml_tree_push(whole, block.get(), static_cast<size_t>(size));
            result != 0)
            return result;
    return size < 0 ? -1 : ombrel_xml_tree_push(whole, nullptr, 0);
}

} // namespace

ombrel_xml_tree_t* ombrel_parse_xml_tree_tag(const void* data, size_t size,
                                             const ombrel_xml_tree_options_t* options,
                                             ombrel_xml_fault_t* fault, const char* function,
                                             unsigned long line) {
    tell(nullptr, fault);
    if (data == nullptr)
        return leave_fault(fault_code::invalid), nullptr;
    ombrel_xml_tree_t* const whole = ombrel_open_xml_tree_tag(options, function, line);
    if (whole == nullptr)
        return nullptr;
    const bool is_read = ombrel_xml_tree_push(whole, data, size) == 0 && ombrel_xml_tree_push_end(whole) == 0;
    tell(whole, fault);
    return is_read ? whole : close_refused(whole);
}

ombrel_xml_tree_t* ombrel_load_xml_tree_tag(const char* path, const ombrel_xml_tree_options_t* options,
                                            ombrel_xml_fault_t* fault, const char* function,
                                            unsigned long line) {
    tell(nullptr, fault);
    const int file = ombrel_open_file(path, def_ombrel_file_read, 0);
    if (file < 0)
        return nullptr;
    ombrel_xml_tree_t* const whole = ombrel_open_xml_tree_tag(options, function, line);
    const bool is_read =
        whole != nullptr && push_file(whole, file) == 0 && ombrel_xml_tree_push_end(whole) == 0;
    const fault_keeper keeper;
    tell(whole, fault);
    ombrel_close_file(file);
    return is_read || whole == nullptr ? whole : close_refused(whole);
}
