#include "protocol/ftp/ftp_entry.h"

#include <cstring>

#include "core/fault.h"
#include "text/charset/utf8_run.h"
#include "text/ctype_table.h"
#include "text/fold.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

void clear_entry(ombrel_ftp_entry_t& entry, const char* line) {
    entry = {};
    entry.m_name = entry.m_unique = entry.m_target = entry.m_owner = entry.m_group = "";
    entry.m_size = entry.m_mode = -1;
    entry.m_line = line;
}

bool read_name(std::string_view line, ftp_entry_reading& to) {
    to.entry.m_name = to.room.put(line);
    return !line.empty();
}

/// In one of the shapes of a form. What a shape wrote before it turned out to be another is taken back.
bool read_line(int form, std::string_view line, ftp_entry_reading& to) {
    switch (form) {
    case def_ombrel_ftp_list_facts:
        return read_ftp_facts(line, to);
    case def_ombrel_ftp_list_plain:
        return read_ftp_unix_line(line, to) || read_ftp_dos_line(line, to);
    default:
        return read_name(line, to);
    }
}

bool has_control(std::string_view name) {
    return std::any_of(name.begin(), name.end(),
                       [](char c) { return is_class(c & 0xff, def_ombrel_ctype_control); });
}

bool is_utf8(std::string_view name) {
    return utf8_run(name.data(), name.size()) == name.size();
}

bool is_same_word(std::string_view name, std::string_view upper_word) {
    return std::equal(name.begin(), name.end(), upper_word.begin(), upper_word.end(), [](char a, char b) {
        return static_cast<char>(to_upper(static_cast<unsigned char>(a))) == b;
    });
}

/// A digit, or one of the superscripts that Windows takes for it, in UTF-8.
bool is_port_number(std::string_view text) {
    return (text.size() == 1 && is_digit(text[0])) || text == "\xc2\xb9" || text == "\xc2\xb2" ||
           text == "\xc2\xb3";
}

/// Whatever its extension. Spaces before that do not make it another name.
bool is_windows_device(std::string_view name) {
    std::string_view stem = slice(name, 0, name.find_first_of(".:"));
    while (stem.ends_with(' '))
        stem.remove_suffix(1);
    for (const std::string_view device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"}) {
        if (is_same_word(stem, device))
            return true;
    }
    const std::string_view kind = slice(stem, 0, 3);
    return (is_same_word(kind, "COM") || is_same_word(kind, "LPT")) && is_port_number(slice(stem, 3));
}

} // namespace

uint32_t ombrel_check_ftp_name(const char* name) {
    const std::string_view text = name != nullptr ? name : "";
    const bool is_dots = text == "." || text == "..";
    uint32_t faults = 0;
    if (text.empty())
        faults |= def_ombrel_ftp_name_empty;
    if (is_dots)
        faults |= def_ombrel_ftp_name_dots;
    if (text.find_first_of("/\\:") != text.npos)
        faults |= def_ombrel_ftp_name_separator;
    if (has_control(text))
        faults |= def_ombrel_ftp_name_control;
    if (!is_utf8(text))
        faults |= def_ombrel_ftp_name_not_utf8;
    if (is_windows_device(text) || (!is_dots && (text.ends_with('.') || text.ends_with(' '))))
        faults |= def_ombrel_ftp_name_reserved;
    return faults;
}

int ombrel_parse_ftp_entry(int form, const char* line, const ombrel_instant_t* now, char* room, size_t size,
                           ombrel_ftp_entry_t* entry) {
    if (form < def_ombrel_ftp_list_facts || form > def_ombrel_ftp_list_names || line == nullptr ||
        room == nullptr || entry == nullptr) {
        leave_fault(fault_code::invalid);
        return -1;
    }
    ombrel_instant_t clock{};
    if (now == nullptr && ombrel_get_instant(&clock) == 0)
        now = &clock;
    ftp_text_room texts(room, size);
    ftp_entry_reading reading{*entry, texts, now != nullptr ? *now : clock};
    clear_entry(*entry, line);
    const bool is_read = read_line(form, line, reading);
    if (texts.is_full()) {
        leave_fault(fault_code::too_large);
        return -1;
    }
    if (!is_read) {
        clear_entry(*entry, line);
        entry->m_kind = def_ombrel_ftp_kind_unread;
    }
    entry->m_name_faults = ombrel_check_ftp_name(entry->m_name);
    return 0;
}
