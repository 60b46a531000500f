// New heads.
#include "document/ini/ini_change.h"

namespace ombrel::document {

int prepare_ini_head(ini_t& ini, ini_edit& edit, const char* name, bool is_last, ini_section*& section) {
    ini_item* const end = find_ini_end(ini);
    const std::string_view line_end = ini_line_end_behind(ini, end);
    const bool is_open =
        end != nullptr && end->kind != ini_kind::mark && ini_line_end_of(end->view()).empty();
    ini_name read;
    ini_written written;
    const int fault = read.read(ini.dialect, name, ini.caller);
    if (fault != 0)
        return fault == def_ombrel_ini_fault_no_memory ? fault : def_ombrel_ini_fault_unwritable_section;
    int reason = write_ini_head(ini, "", read, is_last && is_open ? "" : line_end, written);
    if (reason != 0)
        return reason;
    section = obtain_ini_section(ini, read);
    if (section == nullptr)
        return def_ombrel_ini_fault_no_memory;
    ini_piece blank;
    blank.text = line_end;
    // A blank line belongs to the section before it.
    if (end != nullptr && wants_blank_line(ini, *end))
        reason = edit.insert(end, blank, *end->section, nullptr);
    return reason == 0 ? edit.insert(end, written.piece(), *section, nullptr) : reason;
}

} // namespace ombrel::document
