// Lines of lists as servers write them, and as they should not.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/ftp.h>

#include "support/texts.h"

namespace ombrel_test {
namespace {

constexpr int facts = def_ombrel_ftp_list_facts, plain = def_ombrel_ftp_list_plain,
              names = def_ombrel_ftp_list_names;
/// 2026-11-22T12:42:05
constexpr ombrel_instant_t now{1795351325, 0};

/// What is told, in one text: kind, size, time with its precision, mode in octal, rights in hex, texts.
std::string told(int form, const std::string& line) {
    std::vector<char> room(line.size() + 9);
    ombrel_ftp_entry_t entry;
    if (ombrel_parse_ftp_entry(form, line.c_str(), &now, room.data(), room.size(), &entry) != 0)
        return "failed";
    char text[400], time[32] = "";
    ombrel_civil_time_t civil;
    if (entry.m_time_precision > 0 && ombrel_make_utc_time(&entry.m_time, &civil) == 0)
        ombrel_format_time(time, sizeof time, "%Y%m%d-%H%M%S", &civil);
    snprintf(text, sizeof text, "%c%lld %s/%d %o %x u=%s o=%s g=%s t=%s [%s]%x", "?fdlosp!"[entry.m_kind],
             static_cast<long long>(entry.m_size), time, entry.m_time_precision,
             entry.m_mode < 0 ? 0 : static_cast<unsigned>(entry.m_mode), entry.m_rights, entry.m_unique,
             entry.m_owner, entry.m_group, entry.m_target, entry.m_name, entry.m_name_faults);
    EXPECT_STREQ(line.c_str(), entry.m_line);
    EXPECT_EQ(entry.m_name_faults, ombrel_check_ftp_name(entry.m_name));
    return text;
}

TEST(FtpEntry, IsWhatTheLineTells) {
    const struct {
        int form;
        const char *line, *expected;
    } cases[] = {
        {facts, "type=file;size=5;modify=20261122124205; a b", "f5 20261122-124205/3 0 0 u= o= g= t= [a b]0"},
        {facts, "Type=dir;Perm=el;UNIX.mode=0755; x", "d-1 /0 755 28 u= o= g= t= [x]0"},
        {facts, "type=cdir;unique=1g2; .", "s-1 /0 0 0 u=1g2 o= g= t= [.]2"},
        {facts, "type=pdir; /a/..", "p-1 /0 0 0 u= o= g= t= [/a/..]24"},
        {facts, "type=OS.unix=slink:/etc;UNIX.owner=me;UNIX.group=us; x",
         "l-1 /0 0 0 u= o=me g=us t=/etc [x]0"},
        {facts, "type=OS.unix=symlink;perm=acdeflmprw; x", "l-1 /0 0 3ff u= o= g= t= [x]0"},
        {facts, "type=OS.unix=chr-8/0; x", "o-1 /0 0 0 u= o= g= t= [x]0"},
        {facts, " only a name", "?-1 /0 0 0 u= o= g= t= [only a name]0"},
        {facts, "size=-5;modify=20261322000000;UNIX.mode=99; x", "?-1 /0 0 0 u= o= g= t= [x]0"},
        {facts, "modify=20261122124205.123;x.y=z;size=9223372036854775807;  x",
         "?9223372036854775807 20261122-124205/3 0 0 u= o= g= t= [ x]0"},
        {facts, "size=9223372036854775808; x", "?-1 /0 0 0 u= o= g= t= [x]0"},
        {facts, "modify=20261231235960; x", "?-1 20261231-235959/3 0 0 u= o= g= t= [x]0"},
        {facts, "type=file;size=5;", "!-1 /0 0 0 u= o= g= t= []1"},
        {facts, "type=file x", "!-1 /0 0 0 u= o= g= t= []1"},
        {facts, "type; x", "!-1 /0 0 0 u= o= g= t= []1"},
        {facts, "type=dir; ", "d-1 /0 0 0 u= o= g= t= []1"},
        {plain, "-rw-r--r--   1 me us   5 Nov 22 12:42 a b",
         "f5 20261122-124200/2 644 0 u= o=me g=us t= [a b]0"},
        {plain, "drwxr-xr-x+  2 me us 4096 Nov 23 12:43  x",
         "d4096 20251123-124300/2 755 0 u= o=me g=us t= [ x]0"},
        {plain, "drwxrwxrwt 2 0 0 4096 Dec  1  2024 x", "d4096 20241201-000000/1 1777 0 u= o=0 g=0 t= [x]0"},
        {plain, "lrwxrwxrwx 1 me us 3 Jan 01 00:00 a -> b -> c",
         "l3 20260101-000000/2 777 0 u= o=me g=us t=b -> c [a]0"},
        {plain, "crw-rw---- 1 root tty 4, 64 Nov  1 2026 tty",
         "o-1 20261101-000000/1 660 0 u= o=root g=tty t= [tty]0"},
        {plain, "-rwsr-Sr-T 1 a b 5 22 Nov 12:42 x", "f5 20261122-124200/2 7744 0 u= o=a g=b t= [x]0"},
        {plain, "-rw------- me 5 2026-11-22 12:42 x", "f5 20261122-124200/2 600 0 u= o=me g= t= [x]0"},
        {plain, "-rw------- 1 Domain Users us 5 Nov 22 2026 Nov 22 2026",
         "f5 20261122-000000/1 600 0 u= o=Domain g=Users t= [Nov 22 2026]0"},
        {plain, "-rw------- 1 a b 5 Feb 29 12:42 x", "f5 20240229-124200/2 600 0 u= o=a g=b t= [x]0"},
        {plain, "-rw------- 1 a b 5 Feb 30 2026 x", "f5 /0 600 0 u= o=a g=b t= [x]0"},
        {plain, "-rw------- 1 a b 5 Nov 22 12:42", "!-1 /0 0 0 u= o= g= t= []1"},
        {plain, "-rw-q----- 1 a b 5 Nov 22 12:42 x", "!-1 /0 0 0 u= o= g= t= []1"},
        {plain, "-rw------- 1 a b c Nov 22 12:42 x", "!-1 /0 0 0 u= o= g= t= []1"},
        {plain, "11-22-26  12:42PM                    5 a b", "f5 20261122-124200/2 0 0 u= o= g= t= [a b]0"},
        {plain, "11-22-1999  12:02AM       <DIR>          x", "d-1 19991122-000200/2 0 0 u= o= g= t= [x]0"},
        {plain, "2026-11-22  23:42    <JUNCTION>  x", "l-1 20261122-234200/2 0 0 u= o= g= t= [x]0"},
        {plain, "11-22-70  13:42PM 5 x", "!-1 /0 0 0 u= o= g= t= []1"},
        {plain, "11-31-99  01:42PM 5 x", "f5 /0 0 0 u= o= g= t= [x]0"},
        {plain, "anything", "!-1 /0 0 0 u= o= g= t= []1"},
        {names, "dir/x", "?-1 /0 0 0 u= o= g= t= [dir/x]4"},
        {names, "", "!-1 /0 0 0 u= o= g= t= []1"}};
    for (const auto& [form, line, expected] : cases)
        EXPECT_EQ(expected, told(form, line)) << line;
    char room[4];
    ombrel_ftp_entry_t entry;
    EXPECT_EQ(-1, ombrel_parse_ftp_entry(names, "four", nullptr, room, sizeof room, &entry));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_parse_ftp_entry(def_ombrel_ftp_list_best, "x", nullptr, room, sizeof room, &entry));
}

TEST(FtpName, IsNoPartOfAPathHere) {
    const struct {
        uint32_t faults;
        std::vector<std::string> list;
    } cases[] = {
        {0, texts("a", ".a", "...a", "a b", " a", "-a", "\xc3\xa9", "com", "COM10", "LPTx", "nulx", "con1")},
        {def_ombrel_ftp_name_empty, texts("")},
        {def_ombrel_ftp_name_dots, texts(".", "..")},
        {def_ombrel_ftp_name_separator, texts("/etc", "a/b", "../x", "a\\b", "c:x", "/")},
        {def_ombrel_ftp_name_control, texts("a\x01", "\x7f", "a\nb", "\x1b[31m")},
        {def_ombrel_ftp_name_not_utf8, texts("\xff", "\xc0\xaf", "a\xed\xa0\x80", "\xe9t\xe9")},
        {def_ombrel_ftp_name_reserved,
         texts("con", "NUL.txt", "nul .x", "COM1", "lpt9.c", "com\xc2\xb2", "CONIN$", "a.", "a ", "...")},
        {def_ombrel_ftp_name_separator | def_ombrel_ftp_name_reserved, texts("nul:", "a/b.")}};
    for (const auto& [faults, list] : cases)
        for (const std::string& each : list)
            EXPECT_EQ(faults, ombrel_check_ftp_name(each.c_str())) << each;
    EXPECT_EQ(def_ombrel_ftp_name_empty, ombrel_check_ftp_name(nullptr));
}

} // namespace
} // namespace ombrel_test
