#include "text/charset/charset_names.h"

#include <iterator>
#include <span>

#include <ombrel/charset.h>

#include "core/fault.h"
#include "text/ctype_table.h"

namespace ombrel {

namespace {

// The canonical name first. What differs from a name in signs and in upper and lower case only needs no line.
constexpr const char* us_ascii[] = {"US-ASCII",         "ASCII",     "ANSI_X3.4-1968", "ANSI_X3.4-1986",
                                    "ISO_646.irv:1991", "ISO646-US", "iso-ir-6",       "us",
                                    "IBM367",           "cp367",     "csASCII",        "646"};
constexpr const char* iso_8859_1[] = {"ISO-8859-1", "ISO_8859-1:1987", "latin1", "latin", "l1",
                                      "iso-ir-100", "IBM819",          "cp819",  "819",   "8859",
                                      "csISOLatin1"};
constexpr const char* windows_1252[] = {"windows-1252", "cp1252",  "1252",
                                        "x-cp1252",     "ms-ansi", "cswindows1252"};
constexpr const char* utf_8[] = {"UTF-8",
                                 "u8",
                                 "unicode-1-1-utf-8",
                                 "unicode11utf8",
                                 "unicode20utf8",
                                 "x-unicode20utf8",
                                 "ISO-10646/UTF8",
                                 "cp65001",
                                 "csUTF8"};
constexpr const char* utf_16[] = {"UTF-16", "u16", "csUTF16"};
constexpr const char* utf_16le[] = {"UTF-16LE", "unicodefeff", "csUTF16LE"};
constexpr const char* utf_16be[] = {"UTF-16BE", "unicodefffe", "csUTF16BE"};
constexpr const char* utf_32[] = {"UTF-32", "u32", "csUTF32"};
constexpr const char* utf_32le[] = {"UTF-32LE", "UCS-4LE", "csUTF32LE"};
constexpr const char* utf_32be[] = {"UTF-32BE", "UCS-4BE", "csUTF32BE"};
constexpr const char* euc_kr[] = {"EUC-KR",   "csEUCKR",      "ks_c_5601-1987", "KS_C_5601-1989",
                                  "KSC_5601", "ksc5601-1987", "iso-ir-149",     "korean",
                                  "ksx1001",  "csKSC56011987"};
constexpr const char* cp949[] = {"CP949", "949", "windows-949", "UHC", "MS949", "MSCP949", "x-windows-949"};
constexpr const char* shift_jis[] = {"Shift_JIS", "sjis", "x-sjis", "s-jis", "MS_Kanji", "csShiftJIS"};
constexpr const char* cp932[] = {"CP932",        "932",   "windows-932", "Windows-31J",
                                 "csWindows31J", "ms932", "sjis-win"};
constexpr const char* euc_jp[] = {"EUC-JP", "x-euc-jp", "ujis", "csEUCPkdFmtJapanese",
                                  "Extended_UNIX_Code_Packed_Format_for_Japanese"};

constexpr std::span<const char* const> names[] = {
    {},     us_ascii, iso_8859_1, windows_1252, utf_8, utf_16,    utf_16le, utf_16be,
    utf_32, utf_32le, utf_32be,   euc_kr,       cp949, shift_jis, cp932,    euc_jp};
static_assert(std::size(names) == def_ombrel_charset_count + 1);

bool counts(char c) {
    return is_class(static_cast<unsigned char>(c),
                    def_ombrel_ctype_upper | def_ombrel_ctype_lower | def_ombrel_ctype_digit);
}

/// The next character of a name that counts, in lower case; 0 at its end.
char next_of(std::string_view& name) {
    while (!name.empty()) {
        const char c = name.front();
        name.remove_prefix(1);
        if (counts(c))
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return 0;
}

bool are_alike(std::string_view left, std::string_view right) {
    for (;;) {
        const char c = next_of(left);
        if (c != next_of(right))
            return false;
        if (c == 0)
            return true;
    }
}

std::span<const char* const> names_of(int charset) {
    if (charset < 1 || charset > def_ombrel_charset_count)
        return {};
    return names[charset];
}

} // namespace

int find_charset(std::string_view name) {
    for (int charset = 1; charset <= def_ombrel_charset_count; charset++)
        for (const char* const known : names[charset])
            if (are_alike(name, known))
                return charset;
    return -1;
}

} // namespace ombrel

int ombrel_find_charset(const char* name) {
    if (name == nullptr)
        return ombrel::leave_fault(ombrel::fault_code::invalid), -1;
    const int charset = ombrel::find_charset(name);
    if (charset == -1)
        ombrel::leave_fault(ombrel::fault_code::not_supported);
    return charset;
}

const char* ombrel_get_charset_name(int charset) {
    const auto names = ombrel::names_of(charset);
    if (names.empty())
        return ombrel::leave_fault(ombrel::fault_code::not_supported), nullptr;
    return names[0];
}

const char* ombrel_get_charset_alias(int charset, size_t index) {
    const auto names = ombrel::names_of(charset);
    if (index < names.size() && index + 1 < names.size())
        return names[index + 1];
    ombrel::leave_fault(names.empty() ? ombrel::fault_code::not_supported : ombrel::fault_code::not_found);
    return nullptr;
}
