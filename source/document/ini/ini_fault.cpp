// Reasons for which texts and changes are refused.
#include <iterator>

#include "document/ini/ini_document.h"

namespace ombrel::document {

namespace {

struct fault_kind {
    fault_code code;
    const char* text;
};

constexpr fault_code bad = fault_code::violation, large = fault_code::too_large,
                     invalid = fault_code::invalid;

/// In the order of their numbers.
constexpr fault_kind kinds[] = {
    {fault_code::none, "none"},
    {bad, "line without a separator"},
    {bad, "no key before the separator"},
    {bad, "character that no key may have"},
    {bad, "head without a closing bracket"},
    {bad, "head without a name"},
    {bad, "name that no section may have"},
    {bad, "something other than a comment behind a head"},
    {bad, "quote that is not closed"},
    {bad, "backslash before a character that is none to escape"},
    {bad, "indented line that goes on with no value"},
    {bad, "zero byte"},
    {fault_code::not_supported, "text that is not in UTF-8 or another set of bytes"},
    {bad, "key that is there twice"},
    {bad, "section that is there twice"},
    {large, "line too long"},
    {large, "text too long"},
    {large, "too many lines"},
    {large, "includes too deep"},
    {large, "too many includes"},
    {bad, "file that includes itself"},
    {fault_code::other, "file to include that cannot be read"},
    {invalid, "name of a section that cannot be written"},
    {invalid, "key that cannot be written"},
    {invalid, "value that cannot be written"},
    {fault_code::access_denied, "an included file has it"},
    {fault_code::no_memory, "memory ran out"},
};
static_assert(std::size(kinds) == def_ombrel_ini_fault_no_memory + 1);

constexpr fault_kind unknown = {fault_code::other, "unknown"};

const fault_kind& kind_of(int reason) {
    return reason < 0 || reason >= static_cast<int>(std::size(kinds)) ? unknown : kinds[reason];
}

} // namespace

int leave_ini_fault(int reason) {
    // Why a file cannot be read the host has said.
    if (reason != def_ombrel_ini_fault_include_file)
        leave_fault(kind_of(reason).code);
    return -1;
}

int refuse_ini(ini_t& ini, int reason) {
    ini.fault = {reason, 0, 0, 0, ""};
    return leave_ini_fault(reason);
}

void clear_ini_fault(ini_t& ini) {
    ini.fault = {def_ombrel_ini_fault_none, 0, 0, 0, ""};
}

} // namespace ombrel::document

const ombrel_ini_fault_t* ombrel_ini_get_fault(const ombrel_ini_t* ini) {
    if (ini == nullptr)
        return nullptr;
    return &ini->fault;
}

const char* ombrel_ini_fault_text(int reason) {
    return ombrel::document::kind_of(reason).text;
}
