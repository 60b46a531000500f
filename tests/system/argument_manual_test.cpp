#include <ombrel/argument_manual.h>

#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

const ombrel_argument_exit_t exits[] = {{"0", "Well."}, {"128+N", "Ended."}, {"az|AZ-09", ""}, {}};
const ombrel_argument_section_t sections[] = {{"FILES", "One. Two. z\n\1.x\n\n  a b"}, {}};
const ombrel_argument_manual_t page = {"box",
                                       "2026-11-22",
                                       "box 1",
                                       exits,
                                       sections,
                                       "a(5), b(1)",
                                       def_ombrel_argument_manual_pages_of_commands};
const ombrel_argument_option_t rows[] = {
    {0, nullptr, def_ombrel_argument_heading, 0, nullptr, 0, nullptr, "Ways:"},
    {'n', "no", def_ombrel_argument_flag, def_ombrel_argument_negatable, nullptr, 0, nullptr, "-n. \\ 'q'"},
    {'w', "when", def_ombrel_argument_choice, def_ombrel_argument_optional, nullptr, 0, "WHEN", nullptr, 0, 0,
     "now|it's", "now"},
    {0, "out", def_ombrel_argument_text, 0, nullptr, 0, "OUT-FILE", "\xC3\xB6"},
    {'q', nullptr, def_ombrel_argument_listed, def_ombrel_argument_hidden, nullptr, 0, "f|d"},
    {0, "version", def_ombrel_argument_version},
    {}};
const ombrel_argument_table_t inner = {"tool in", nullptr, "get|set [DIRECTORY...]", 0, 0, "Goes in."};
const ombrel_argument_table_t* const commands[] = {&inner, nullptr};
const ombrel_argument_table_t table = {
    "tool",     nullptr,    nullptr, 0,        0,
    "Does it.", "NOTE it.", rows,    commands, def_ombrel_argument_stop_at_operand};

std::string text_of(char* text) {
    const std::string copy = text != nullptr ? text : "null";
    if (text != nullptr)
        ombrel_free(text);
    return copy;
}

class ArgumentManual : public balanced_test {};

TEST_F(ArgumentManual, IsAPageOfAllThatATableHas) {
    EXPECT_EQ(R"(.TH "BOX-TOOL" "1" "2026-11-22" "box\ 1"
.SH NAME
box\-tool \- does it
.SH SYNOPSIS
\fBbox\fR\ \fBtool\fR
[\fB\-n\fR]
[\fB\-w\fR[\fIWHEN\fR]]
[\fB\-\-\fR\fBout\fR\ \fIOUT\-FILE\fR]
\fICOMMAND\fR
[\fIARGUMENT\fR...]\&
.SH DESCRIPTION
Does it.
.PP
NOTE it.
.SH OPTIONS
.SS "Ways:"
.TP
\fB\-n\fR,\ \fB\-\-[no\-]\fR\fBno\fR
\-n.
\e \(aqq\(aq
.TP
\fB\-w\fR,\ \fB\-\-\fR\fBwhen\fR[=\fIWHEN\fR]
One of \fBnow\fR|\fBit\fR\(aq\fBs\fR.
.TP
\fB\-\-\fR\fBout\fR\ \fIOUT\-FILE\fR
\[u00F6]
.TP
\fB\-\-\fR\fBversion\fR
.TP
\fB\-\-\fR\fBhelp\fR
show how it is used
.SH COMMANDS
.TP
\fBin\fR
Goes in.
.SH EXIT STATUS
.TP
0
Well.
.TP
128+\fIN\fR
Ended.
.TP
\fBaz\fR|\fIAZ\-09\fR
.SH "FILES"
One.
Two. z
.br
\&.x
.PP
\ \ a\ b
.SH SEE ALSO
\fBbox\fR(1),
\fBbox\fR\fB\-\fR\fBtool\fR\fB\-\fR\fBin\fR(1),
\fBa\fR(5),
\fBb\fR(1)
)",
              text_of(ombrel_alloc_argument_manual(&table, &page)));
    const std::string whole = text_of(ombrel_alloc_argument_manual(&table, nullptr));
    for (const char* const part : {".SS \"tool\\ in\"\n\\fBtool\\ in\\fR\n\\fBget\\fR|\\fBset\\fR\n",
                                   "\n.TP\n2\nThe arguments make no sense.\n"})
        EXPECT_NE(whole.find(part), whole.npos) << whole;
}

TEST_F(ArgumentManual, CompletionKnowsWhatStandsWhere) {
    const std::string script = text_of(ombrel_alloc_argument_completion(&table));
    for (const char* const part :
         {"'') options='-n --no --no-no -w --when --out --version --help' commands='in ' stops=1 ;;\n"
          "    'in ') options='--help' commands='' stops= ;;\n",
          "    '-w' | '--when') how='?now it'\\''s' ;;\n    '--out') how=':file' ;;\n    '-q') how='f d' ;;\n"
          "    'in 1') how='get set' ;;\n    'in '[0-9]*) how=':directory' ;;\n",
          "\ncomplete -F _tool tool\n"})
        EXPECT_NE(script.find(part), script.npos) << script;
    for (const auto& [name, last] : {std::pair{"a-b.c", "\ncomplete -F _a_b_c a-b.c\n"},
                                     {"a;b\n'\\", "\ncomplete -F _a_b___ $'a;b\\n\\'\\\\'\n"}}) {
        const ombrel_argument_table_t odd = {name};
        const std::string made = text_of(ombrel_alloc_argument_completion(&odd));
        EXPECT_NE(made.find(last), made.npos) << made;
        EXPECT_EQ(made.find("\nb"), made.npos) << "the comment has one line";
    }
}

TEST_F(ArgumentManual, NeedsATableWithAName) {
    const ombrel_argument_table_t nameless{};
    for (const ombrel_argument_table_t* const wrong :
         {static_cast<decltype(&nameless)>(nullptr), &nameless}) {
        ombrel_leave_fault(def_ombrel_fault_none);
        EXPECT_EQ("null", text_of(ombrel_alloc_argument_manual(wrong, nullptr)));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
        EXPECT_EQ("null", text_of(ombrel_alloc_argument_completion(wrong)));
    }
}

} // namespace
} // namespace ombrel_test
