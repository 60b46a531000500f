// Lines of MLSD and MLST: "type=file;size=5; name" (RFC 3659).
#include "protocol/ftp/ftp_entry.h"
#include "text/fold.h"
#include "text/number.h"

namespace ombrel::protocol {

namespace {

bool is_word(std::string_view text, std::string_view lower_word) {
    return std::equal(text.begin(), text.end(), lower_word.begin(), lower_word.end(), [](char a, char b) {
        return static_cast<char>(to_lower(static_cast<unsigned char>(a))) == b;
    });
}

bool begins_with_word(std::string_view text, std::string_view lower_word) {
    return is_word(slice(text, 0, lower_word.size()), lower_word);
}

struct kind_name {
    std::string_view name;
    int kind;
};
constexpr kind_name kind_names[] = {{"file", def_ombrel_ftp_kind_file},
                                    {"dir", def_ombrel_ftp_kind_directory},
                                    {"cdir", def_ombrel_ftp_kind_self},
                                    {"pdir", def_ombrel_ftp_kind_parent}};

/// "OS.unix=slink:/target" is what some servers write for links, "OS.unix=symlink" others.
void read_special_type(std::string_view value, ftp_entry_reading& to) {
    constexpr std::string_view with_target = "os.unix=slink:";
    const bool has_target = begins_with_word(value, with_target);
    const bool is_link = has_target || is_word(value, "os.unix=slink") || is_word(value, "os.unix=symlink");
    to.entry.m_kind = is_link ? def_ombrel_ftp_kind_link : def_ombrel_ftp_kind_other;
    if (has_target)
        to.entry.m_target = to.room.put(slice(value, with_target.size()));
}

void read_type(std::string_view value, ftp_entry_reading& to) {
    for (const kind_name& each : kind_names) {
        if (is_word(value, each.name)) {
            to.entry.m_kind = each.kind;
            return;
        }
    }
    read_special_type(value, to);
}

void read_size(std::string_view value, ftp_entry_reading& to) {
    parse_number(value, int64_t{0}, INT64_MAX, to.entry.m_size);
}

void read_modify(std::string_view value, ftp_entry_reading& to) {
    if (parse_ftp_time(value, to.entry.m_time))
        to.entry.m_time_precision = def_ombrel_ftp_time_second;
}

/// The bits of def_ombrel_ftp_right_* in their order.
void read_rights(std::string_view value, ftp_entry_reading& to) {
    constexpr std::string_view letters = "acdeflmprw";
    to.entry.m_has_rights = 1;
    for (const char letter : value) {
        const size_t bit = letters.find(static_cast<char>(to_lower(static_cast<unsigned char>(letter))));
        if (bit != letters.npos)
            to.entry.m_rights |= 1u << bit;
    }
}

void read_mode(std::string_view value, ftp_entry_reading& to) {
    parse_number(value, 0, 07777, to.entry.m_mode, 8);
}

void read_unique(std::string_view value, ftp_entry_reading& to) {
    to.entry.m_unique = to.room.put(value);
}

void read_owner(std::string_view value, ftp_entry_reading& to) {
    to.entry.m_owner = to.room.put(value);
}

void read_group(std::string_view value, ftp_entry_reading& to) {
    to.entry.m_group = to.room.put(value);
}

struct fact {
    std::string_view name;
    void (*read)(std::string_view value, ftp_entry_reading& to);
};
constexpr fact facts[] = {{"type", read_type},
                          {"size", read_size},
                          {"modify", read_modify},
                          {"perm", read_rights},
                          {"unique", read_unique},
                          {"unix.mode", read_mode},
                          {"unix.owner", read_owner},
                          {"unix.ownername", read_owner},
                          {"unix.uid", read_owner},
                          {"unix.group", read_group},
                          {"unix.groupname", read_group},
                          {"unix.gid", read_group}};

void read_fact(std::string_view name, std::string_view value, ftp_entry_reading& to) {
    for (const fact& each : facts) {
        if (is_word(name, each.name))
            each.read(value, to);
    }
}

} // namespace

bool read_ftp_facts(std::string_view line, ftp_entry_reading& to) {
    const size_t gap = line.find(' ');
    if (gap == line.npos || (gap > 0 && line[gap - 1] != ';'))
        return false;
    for (std::string_view left = slice(line, 0, gap); !left.empty();) {
        const std::string_view each = slice(left, 0, left.find(';'));
        const size_t equals = each.find('=');
        if (equals == each.npos)
            return false;
        read_fact(slice(each, 0, equals), slice(each, equals + 1), to);
        left = slice(left, each.size() + 1);
    }
    to.entry.m_name = to.room.put(slice(line, gap + 1));
    return true;
}

} // namespace ombrel::protocol
