// Reads any bytes as an INI file, whole and in pieces, in several dialects, and changes it: what is written
// has to be read back as what the document says, and nothing but what was changed may differ.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/ini.h>

#include "support/require.h"

namespace {

constexpr uint32_t dialects[] = {
    def_ombrel_ini_dialect_plain,
    def_ombrel_ini_dialect_python,
    def_ombrel_ini_dialect_git,
    def_ombrel_ini_dialect_plain | def_ombrel_ini_keep_malformed | def_ombrel_ini_bare_keys |
        def_ombrel_ini_key_behind_head | def_ombrel_ini_sub_sections,
    def_ombrel_ini_hash_comments | def_ombrel_ini_backslash_lines | def_ombrel_ini_inline_comments |
        def_ombrel_ini_keep_malformed | def_ombrel_ini_first_counts | def_ombrel_ini_key_behind_head,
    (def_ombrel_ini_dialect_git & ~def_ombrel_ini_plain_names) | def_ombrel_ini_keep_malformed};

struct taker {
    const uint8_t* data;
    size_t size;

    unsigned byte() { return size > 0 ? (size--, *data++) : 0u; }
    std::string text(size_t most) {
        const size_t taken = std::min(size, most);
        std::string result(reinterpret_cast<const char*>(data), taken);
        data += taken;
        size -= taken;
        return result.substr(0, result.find('\0'));
    }
};

ombrel_ini_t* open_document(uint32_t flags) {
    ombrel_ini_options_t options;
    ombrel_init_ini_options(&options);
    options.m_flags = flags;
    ombrel_ini_t* const ini = ombrel_open_ini(&options);
    require(ini != nullptr);
    return ini;
}

std::string text_of(const ombrel_ini_t* ini) {
    size_t size;
    char* const text = ombrel_alloc_ini_text(ini, &size);
    require(text != nullptr && static_cast<int64_t>(size) == ombrel_ini_get_text_size(ini));
    std::string result(text, size);
    ombrel_free(text);
    return result;
}

std::string or_none(const char* text) {
    return text != nullptr ? text : "\1";
}

/// All that a document says.
std::vector<std::string> meaning(const ombrel_ini_t* ini) {
    std::vector<std::string> all;
    ombrel_ini_walk_t walk;
    ombrel_ini_entry_t entry;
    require(ombrel_init_ini_walk(&walk, ini, nullptr) == 0);
    while (ombrel_ini_walk_next(&walk, &entry) == 1)
        if (entry.m_kind == def_ombrel_ini_entry_section || entry.m_kind == def_ombrel_ini_entry_key) {
            all.push_back(std::to_string(entry.m_kind) + or_none(entry.m_section) + "\2" +
                          or_none(entry.m_sub_section) + "\2" + or_none(entry.m_key) + "\2" +
                          or_none(entry.m_value));
            if (entry.m_key != nullptr)
                require(ombrel_ini_get_count(ini, entry.m_section, entry.m_key) > 0);
        }
    return all;
}

void check_read_again(const ombrel_ini_t* ini, uint32_t flags) {
    const std::string text = text_of(ini);
    ombrel_ini_t* const again = open_document(flags);
    require(ombrel_ini_load(again, text.data(), text.size()) == 0);
    require(meaning(ini) == meaning(again));
    require(text_of(again) == text);
    ombrel_close_ini(again);
}

/// A section and a key that are there, or any text.
void choose(const ombrel_ini_t* ini, taker& from, std::string& section, std::string& key) {
    const unsigned wanted = from.byte();
    unsigned at = 0;
    ombrel_ini_walk_t walk;
    ombrel_ini_entry_t entry;
    section = key = "k";
    ombrel_init_ini_walk(&walk, ini, nullptr);
    while (at <= (wanted & 15) && ombrel_ini_walk_next(&walk, &entry) == 1)
        if (entry.m_kind == def_ombrel_ini_entry_section || entry.m_kind == def_ombrel_ini_entry_key) {
            section = entry.m_section;
            key = entry.m_key != nullptr ? entry.m_key : key;
            at++;
        }
    if ((wanted & 0x10) != 0)
        key = from.text(from.byte() & 7);
    if ((wanted & 0x20) != 0)
        section = from.text(from.byte() & 7);
}

void check_list(ombrel_ini_t* ini, const std::string& section, const std::string& key, taker& from) {
    const std::string items[] = {from.text(from.byte() & 7), from.text(from.byte() & 7)};
    const char* const texts[] = {items[0].c_str(), items[1].c_str()};
    if (ombrel_ini_set_list(ini, section.c_str(), key.c_str(), texts, 2) != 0)
        return;
    size_t count = 0;
    char** const list = ombrel_alloc_ini_list(ini, section.c_str(), key.c_str(), &count);
    require(list != nullptr && count == 2 && items[0] == list[0] && items[1] == list[1]);
    ombrel_free(list);
}

void change(ombrel_ini_t* ini, taker& from) {
    const std::string before = text_of(ini);
    const auto meant = meaning(ini);
    std::string section, key;
    const unsigned what = from.byte();
    choose(ini, from, section, key);
    const std::string value = from.text(from.byte() & 31);
    int64_t result = -1;
    switch (what % 10) {
    case 0:
    case 1:
        result = ombrel_ini_set(ini, section.c_str(), key.c_str(), value.c_str());
        require(result != 0 || value == ombrel_ini_get(ini, section.c_str(), key.c_str()));
        break;
    case 2:
        result =
            ombrel_ini_add(ini, section.c_str(), key.c_str(), (what & 0x80) != 0 ? nullptr : value.c_str());
        require(result != 0 || meaning(ini).size() > meant.size());
        break;
    case 3:
        result = ombrel_ini_delete(ini, section.c_str(), key.c_str());
        require(result <= 0 || meaning(ini).size() + static_cast<size_t>(result) == meant.size());
        break;
    case 4:
        result = ombrel_ini_delete_at(ini, section.c_str(), key.c_str(), value.size() & 3);
        break;
    case 5:
        result = ombrel_ini_rename(ini, section.c_str(), key.c_str(), value.c_str());
        break;
    case 6:
        result = ombrel_ini_rename_section(ini, section.c_str(), value.c_str());
        break;
    case 7:
        result = ombrel_ini_delete_section(ini, section.c_str());
        break;
    case 8:
        result = ombrel_ini_add_section(ini, value.c_str());
        break;
    default:
        check_list(ini, section, key, from);
        return;
    }
    if (result < 0)
        require(text_of(ini) == before && meaning(ini) == meant);
}

/// Gives the reason.
int read_in_pieces(ombrel_ini_t* ini, const std::string& text, size_t piece) {
    for (size_t at = 0; at < text.size(); at += piece)
        if (ombrel_ini_push(ini, text.data() + at, std::min(piece, text.size() - at)) != 0)
            return ombrel_ini_get_fault(ini)->m_reason;
    ombrel_ini_end(ini);
    return ombrel_ini_get_fault(ini)->m_reason;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    taker from = {data, size};
    const uint32_t flags = dialects[from.byte() % std::size(dialects)];
    const size_t change_count = from.byte() & 7;
    const size_t text_size = std::min<size_t>(from.byte() * 4u, from.size);
    std::string text(reinterpret_cast<const char*>(from.data), text_size);
    // A mark within the text is malformed, and none any more when it comes to be at the beginning.
    for (size_t at = 1; (at = text.find("\xEF\xBB\xBF", at)) != text.npos;)
        text[at] = '#';
    from.data += text_size;
    from.size -= text_size;

    ombrel_ini_t* const ini = open_document(flags);
    ombrel_ini_t* const cut = open_document(flags);
    const bool good = ombrel_ini_load(ini, text.data(), text.size()) == 0;
    const ombrel_ini_fault_t fault = *ombrel_ini_get_fault(ini);
    require(good == (fault.m_reason == def_ombrel_ini_fault_none));
    require(read_in_pieces(cut, text, 3) == fault.m_reason);
    require(ombrel_ini_get_fault(cut)->m_line == fault.m_line &&
            ombrel_ini_get_fault(cut)->m_column == fault.m_column &&
            ombrel_ini_get_fault(cut)->m_offset == fault.m_offset);
    require(meaning(ini) == meaning(cut));
    require(!good || text_of(ini) == text);
    for (size_t i = 0; good && i < change_count; i++) {
        change(ini, from);
        check_read_again(ini, flags);
    }
    ombrel_close_ini(cut);
    ombrel_close_ini(ini);
    return 0;
}
