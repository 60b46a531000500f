#include <ombrel/argument_manual.h>

#include <climits>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/output.h>
#include <ombrel/version.h>

#include "support/error_output.h"
#include "support/heap_balance.h"

namespace {

using word_list = std::vector<std::string>;

struct chosen {
    int flag, count;
    const char* text;
    int number;
    int64_t large, size, duration;
    int limit, choice;
    ombrel_argument_list_t listed;
    std::string* called;
};

int note(const ombrel_argument_option_t* option, const char* value, void* context) {
    const std::string text = value != nullptr ? value : "(null)";
    if (text[0] == '!')
        return atoi(text.c_str() + 1);
    **static_cast<std::string**>(context) += option->m_letter + text + ";";
    return 0;
}

int own_target;

constexpr uint32_t optional = def_ombrel_argument_optional;
// In the order letter, name, kind, flags, target, offset, value, help, least, most, choices, otherwise,
// handler.
const ombrel_argument_option_t rows[] = {
    {0, nullptr, def_ombrel_argument_heading, 0, nullptr, 0, nullptr, "Kinds:"},
    {'f', "flag", def_ombrel_argument_flag, def_ombrel_argument_negatable, nullptr, offsetof(chosen, flag),
     nullptr, "a flag"},
    {'v', "verbose", def_ombrel_argument_count, def_ombrel_argument_repeatable, nullptr,
     offsetof(chosen, count)},
    {'t', "text", def_ombrel_argument_text, 0, nullptr, offsetof(chosen, text), "WORDS",
     "a text of so many words that the help breaks it into lines\nof its own"},
    {'n', "number", def_ombrel_argument_integer, 0, nullptr, offsetof(chosen, number), "COUNT", nullptr, -2,
     99},
    {'N', nullptr, def_ombrel_argument_integer, def_ombrel_argument_hidden, nullptr,
     offsetof(chosen, number)},
    {0, "large", def_ombrel_argument_integer64, 0, nullptr, offsetof(chosen, large)},
    {'s', "size", def_ombrel_argument_size, 0, nullptr, offsetof(chosen, size), "BYTES"},
    {'d', nullptr, def_ombrel_argument_duration, 0, nullptr, offsetof(chosen, duration), "TIME", "a time"},
    {'T', "limit", def_ombrel_argument_time_limit, 0, nullptr, offsetof(chosen, limit), nullptr, nullptr, 1,
     60000},
    {'c', "colour", def_ombrel_argument_choice, optional, nullptr, offsetof(chosen, choice), "WHEN",
     "when to use colours", 0, 0, "never|auto|always", "always"},
    {'i', "include", def_ombrel_argument_listed, 0, nullptr, offsetof(chosen, listed), "PATTERN"},
    {'x', "a-name-that-takes-half-a-line", def_ombrel_argument_listed, 0, nullptr, offsetof(chosen, listed),
     "PATTERN", "leaves"},
    {'C', "call", def_ombrel_argument_call, 0, nullptr, offsetof(chosen, called), "WHAT", nullptr, 0, 0,
     nullptr, nullptr, note},
    {'O', "call-maybe", def_ombrel_argument_call, optional, nullptr, offsetof(chosen, called), "WHAT",
     nullptr, 0, 0, nullptr, nullptr, note},
    {'o', "own", def_ombrel_argument_flag, 0, &own_target},
    {},
};
const ombrel_argument_table_t usual = {"tool",
                                       nullptr,
                                       "FILE...",
                                       0,
                                       0,
                                       "Does what tools do.",
                                       "That is all.",
                                       rows,
                                       nullptr,
                                       def_ombrel_argument_prefixes};

// What a parse makes of arguments: what it stored, and the operands or the words of what is wrong.
std::string read_arguments(const ombrel_argument_table_t& table, word_list texts,
                           ombrel_arguments_t* result = nullptr) {
    texts.insert(texts.begin(), "tool");
    std::vector<char*> argv;
    for (std::string& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    const std::vector<char*> before = argv;
    ombrel_argument_entry_t entries[3];
    std::string called;
    chosen at{0, 0, "", 7, 7, 7, 7, -1, -1, {entries, std::size(entries), 0}, &called};
    ombrel_arguments_t own;
    ombrel_arguments_t& arguments = result != nullptr ? *result : own;
    const int outcome =
        ombrel_parse_arguments(&table, static_cast<int>(texts.size()), argv.data(), &at, &arguments);
    EXPECT_TRUE(std::is_permutation(before.begin(), before.end(), argv.begin()));
    std::string said =
        called + (at.flag ? "f" : "") + std::string(static_cast<size_t>(at.count), 'v') + at.text;
    const std::pair<const char*, int64_t> numbers[] = {{"n", at.number},    {"l", at.large},
                                                       {"s", at.size},      {"d", at.duration},
                                                       {"T", at.limit + 8}, {"c", at.choice + 8}};
    for (const auto& [name, number] : numbers)
        said += number != 7 ? name + std::to_string(number - (*name == 'T' || *name == 'c' ? 8 : 0)) : "";
    for (size_t i = 0; i < at.listed.m_count; i++)
        said += std::string("+") + entries[i].m_option->m_letter + entries[i].m_value;
    said += outcome == 0    ? "|"
            : outcome == -1 ? "!" + std::string(arguments.m_message)
                            : "=" + std::to_string(outcome);
    for (int i = 0; i < arguments.m_operand_count; i++)
        said += (i > 0 ? "," : "") + std::string(arguments.m_operands[i]);
    EXPECT_TRUE(outcome != 0 || arguments.m_operands[arguments.m_operand_count] == nullptr);
    return said;
}

struct reading {
    word_list arguments;
    const char* expected;
};

TEST(Options, AreReadFromAnyPlaceInEachForm) {
    const reading readings[] = {
        {{}, "|"},
        {{"-f", "a", "-vv", "b", "--verbose"}, "fvvv|a,b"},
        {{"-fvt", "-x", "a"}, "fv-x|a"},
        {{"-twords", "--text=", "-"}, "|-"},
        {{"--text", "--", "--", "-f", "--"}, "--|-f,--"},
        {{"--flag", "--no-flag", "--no-fl"}, "|"},
        {{"--la=5", "--num", "-2"}, "n-2l5|"},
        {{"-N-2147483648"}, "n-2147483648|"},
        {{"-s", "1.5K"}, "s1536|"},
        {{"-s4M", "--size=3kB"}, "s3000|"},
        {{"-s7.999999999999999999999GiB"}, "s8589934591|"},
        {{"-s", "7.999E"}, "s9222219115350168961|"},
        {{"-d1.5"}, "d1500000000|"},
        {{"-d", "0.0000000019"}, "d1|"},
        {{"-d2h"}, "d7200000000000|"},
        {{"-T", "1us"}, "T1|"},
        {{"-T1.0000001"}, "T1001|"},
        {{"-c", "auto"}, "c2|auto"},
        {{"-cauto", "--colour=never"}, "c0|"},
        {{"-xb", "-ia", "q", "-xc"}, "+xb+ia+xc|q"},
        {{"-C", "a", "--call=", "-Ob", "-O", "c"}, "Ca;C;Ob;O(null);|c"},
        {{"-C!3", "-f"}, "=3"},
        {{"-f", "--help", "-q"}, "f=-2"},
        {{"-f", "-q"}, "f!unknown option \"-q\""},
        {{"-f\xC3\xA9"}, "f!unknown option \"-f\xC3\xA9\""},
        {{"--fla", "--flags=1"}, "f!unknown option \"--flags\""},
        {{"---"}, "!unknown option \"---\""},
        {{"--no-text"}, "!unknown option \"--no-text\""},
        {{"--c"}, "!option \"--c\" could be \"--colour\" or \"--call\""},
        {{"--n"}, "!option \"--n\" could be \"--no-flag\" or \"--number\""},
        {{"-ft"}, "f!option \"-t\" needs a value"},
        {{"--include"}, "!option \"--include\" needs a value"},
        {{"--flag=1"}, "!option \"--flag\" takes no value"},
        {{"-n100"}, "!option \"-n\": \"100\" is not from -2 to 99"},
        {{"-N", "2147483648"}, "!option \"-N\": \"2147483648\" is too large"},
        {{"-N-99999999999999999999"}, "!option \"-N\": \"-99999999999999999999\" is too small"},
        {{"-n+1"}, "!option \"-n\": \"+1\" is no number"},
        {{"-n", "a\n\x7F"}, "!option \"-n\": \"a??\" is no number"},
        {{"-n", ""}, "!option \"-n\": \"\" is no number"},
        {{"-s8E"}, "!option \"-s\": \"8E\" is too large"},
        {{"-s1.K"}, "!option \"-s\": \"1.K\" is no size"},
        {{"-s1KK"}, "!option \"-s\": \"1KK\" is no size"},
        {{"-s-1"}, "!option \"-s\": \"-1\" is no size"},
        {{"-d1M"}, "!option \"-d\": \"1M\" is no length of time"},
        {{"-T61"}, "!option \"-T\": \"61\" is too short or too long"},
        {{"-cAuto"}, "!option \"-c\": \"Auto\" is none of never, auto, always"},
        {{"-ia", "-ib", "-xc", "-id"}, "+ia+ib+xc!option \"-i\" is given too often"},
        {{"-C!-1"}, "!option \"-C\": \"!-1\" will not do"},
    };
    for (const reading& each : readings)
        EXPECT_EQ(each.expected, read_arguments(usual, each.arguments))
            << ::testing::PrintToString(each.arguments);
    EXPECT_EQ("|", read_arguments(usual, {"-o"}));
    EXPECT_EQ(1, std::exchange(own_target, 0));
}

TEST(Options, TellWhichArgumentIsWrongAndHow) {
    ombrel_arguments_t result;
    read_arguments(usual, {"a", "-f", "-n", "x"}, &result);
    EXPECT_EQ((word_list{"3", "5", "2"}),
              (word_list{std::to_string(result.m_index), std::to_string(result.m_wrong),
                         std::to_string(result.m_exit_code)}));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    // A long text leaves room for what is said about it, and is cut between characters.
    const std::string wide = "\xE2\x82\xAC";
    std::string many;
    for (int i = 0; i < 100; i++)
        many += wide;
    EXPECT_EQ("!option \"-n\": \"" + many.substr(0, 63) + "...\" is no number",
              read_arguments(usual, {"-n" + many}));
    read_arguments(usual, {"-C!5"}, &result);
    EXPECT_EQ(5, result.m_exit_code);
    EXPECT_EQ(-1, ombrel_parse_arguments(nullptr, 0, nullptr, nullptr, &result));
    EXPECT_EQ(-1, ombrel_parse_arguments(&usual, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, ombrel_parse_arguments(&usual, 0, nullptr, nullptr, &result));
    EXPECT_EQ(nullptr, result.m_operands[0]);
    EXPECT_EQ(def_ombrel_argument_good, result.m_wrong);
}

TEST(Options, TablesLimitOperandsAndNameCommands) {
    const ombrel_argument_table_t one = {"one", nullptr, "FILE", 1, 1, nullptr, nullptr, rows};
    const ombrel_argument_table_t clear = {"tool cache clear", nullptr, "KEY...", 0, 0,
                                           "Clears keys.",     nullptr, rows};
    const ombrel_argument_table_t* const inner[] = {&clear, nullptr};
    const ombrel_argument_table_t cache = {.m_name = "tool cache", .m_commands = inner};
    const ombrel_argument_table_t run = {"tool run",
                                         nullptr,
                                         "COMMAND [ARGUMENT...]",
                                         1,
                                         0,
                                         nullptr,
                                         nullptr,
                                         rows,
                                         nullptr,
                                         def_ombrel_argument_stop_at_operand};
    const ombrel_argument_table_t none = {.m_name = "tool none", .m_flags = def_ombrel_argument_no_help};
    const ombrel_argument_table_t* const outer[] = {&cache, &run, &none, nullptr};
    const ombrel_argument_table_t top = {.m_name = "tool", .m_options = rows, .m_commands = outer};
    const reading readings[] = {
        {{"cache", "-v"}, "!unknown option \"-v\""},
        {{"-f", "cache", "clear", "a", "-v", "b"}, "fv|a,b"},
        {{"-f", "run", "-v", "sh", "-c", "--", "-f"}, "fv|sh,-c,--,-f"},
        {{"run", "--", "-v"}, "|-v"},
        {{"run"}, "!missing operand"},
        {{"none", "a"}, "!extra operand \"a\""},
        {{"none", "--help"}, "!unknown option \"--help\""},
        {{"cache"}, "!missing command"},
        {{"flush", "-f"}, "!unknown command \"flush\""},
    };
    for (const reading& each : readings)
        EXPECT_EQ(each.expected, read_arguments(top, each.arguments))
            << ::testing::PrintToString(each.arguments);
    EXPECT_EQ("|a", read_arguments(one, {"a"}));
    const ombrel_argument_option_t own_help[] = {{'h', "help", def_ombrel_argument_help}, {}};
    const ombrel_argument_table_t helping = {
        .m_name = "helping", .m_options = own_help, .m_flags = def_ombrel_argument_prefixes};
    EXPECT_EQ("=-2=-2", read_arguments(helping, {"--he"}) + read_arguments(helping, {"-h"}));
    EXPECT_EQ("!extra operand \"b\"", read_arguments(one, {"a", "b"}));
    ombrel_arguments_t result;
    read_arguments(top, {"cache", "clear", "--help"}, &result);
    EXPECT_EQ(&clear, result.m_table);
}

TEST(Options, TypesServeOperandsToo) {
    const ombrel_argument_option_t port = {.m_kind = def_ombrel_argument_integer, .m_most = 65535};
    const ombrel_argument_option_t any = {.m_kind = def_ombrel_argument_listed};
    int value = 7;
    EXPECT_EQ(0, ombrel_parse_argument_value(&port, "65535", &value));
    EXPECT_EQ(65535, value);
    for (const char* const text : {"65536", "-1", "", "1 ", static_cast<const char*>(nullptr)})
        EXPECT_EQ(-1, ombrel_parse_argument_value(&port, text, &value));
    EXPECT_EQ(-1, ombrel_parse_argument_value(&any, "1", &value));
    EXPECT_EQ(-1, ombrel_parse_argument_value(nullptr, "1", &value));
    EXPECT_EQ(-1, ombrel_parse_argument_value(&port, "1", nullptr));
    EXPECT_EQ(65535, value);
}

// Beside a model that sorts with memory of its own.
TEST(Options, ComeBeforeOperandsInTheirOrder) {
    std::mt19937 random(3);
    for (int round = 0; round < 300; round++) {
        word_list options;
        word_list operands;
        word_list texts{"tool"};
        for (size_t left = random() % (round < 290 ? 40 : 20000); left > 0; left--) {
            const auto kind = static_cast<unsigned>(random() % 3);
            const word_list made = kind == 0   ? word_list{std::to_string(left)}
                                   : kind == 1 ? word_list{"--text=" + std::to_string(left)}
                                               : word_list{"-t", std::to_string(left)};
            texts.insert(texts.end(), made.begin(), made.end());
            word_list& group = kind == 0 ? operands : options;
            group.insert(group.end(), made.begin(), made.end());
        }
        std::vector<char*> argv;
        for (std::string& text : texts)
            argv.push_back(text.data());
        argv.push_back(nullptr);
        chosen at{};
        ombrel_arguments_t result;
        ASSERT_EQ(0,
                  ombrel_parse_arguments(&usual, static_cast<int>(texts.size()), argv.data(), &at, &result));
        word_list expected{"tool"};
        expected.insert(expected.end(), options.begin(), options.end());
        expected.insert(expected.end(), operands.begin(), operands.end());
        ASSERT_EQ(expected, word_list(argv.begin(), argv.end() - 1));
        ASSERT_EQ(operands, word_list(result.m_operands, result.m_operands + result.m_operand_count));
    }
}

std::string help(const ombrel_argument_table_t& table, int columns) {
    const ombrel_test::heap_balance balance;
    char* const text = ombrel_alloc_argument_help(&table, columns);
    const std::string result = text;
    ombrel_free(text);
    return result;
}

TEST(OptionHelp, IsLaidOutInTheWidthOfTheTerminal) {
    EXPECT_EQ(R"(usage: tool [-f] [-v]... [-t WORDS] [-n COUNT]
            [--large VALUE] [-s BYTES] [-d TIME]
            [-T VALUE] [-c[WHEN]] [-i PATTERN]...
            [-x PATTERN]... [-C WHAT] [-O[WHAT]]
            [-o] FILE...
Does what tools do.
Kinds:
  -f, --[no-]flag        a flag
  -v, --verbose
  -t, --text WORDS       a text of so many words
                         that the help breaks it
                         into lines
                         of its own
  -n, --number COUNT
      --large VALUE
  -s, --size BYTES
  -d TIME                a time
  -T, --limit VALUE
  -c, --colour[=WHEN]    when to use colours
  -i, --include PATTERN
  -x, --a-name-that-takes-half-a-line PATTERN
                         leaves
  -C, --call WHAT
  -O, --call-maybe[=WHAT]
  -o, --own
That is all.
)",
              help(usual, 50));
    const ombrel_argument_table_t clear = {.m_name = "tool clear", .m_summary = "Clears."};
    const ombrel_argument_table_t* const commands[] = {&clear, nullptr};
    EXPECT_EQ("usage: a-name-longer-than-half-a-line\n          COMMAND\n          "
              "[ARGUMENT...]\ncommands:\n  clear  "
              "Clears.\n",
              help({.m_name = "a-name-longer-than-half-a-line", .m_commands = commands}, 0));
    EXPECT_EQ("usage: x as it\n", help({.m_name = "x", .m_usage = "  as  it"}, 80));
}

std::string printed;

// What a program prints, on standard output behind ">".
std::string take(const ombrel_argument_table_t& table, const char* argument, int& exit_code) {
    const ombrel_test::heap_balance balance;
    const ombrel_test::error_output errors;
    printed.clear();
    ombrel_puts_handler_t before;
    ombrel_set_puts_handler([](const char* text) { return printed += text != nullptr ? text : "", 1u; },
                            &before);
    std::string name = "program";
    std::string text = argument;
    char* argv[] = {name.data(), text.data(), nullptr};
    ombrel_arguments_t arguments;
    const int outcome = ombrel_take_arguments(&table, 2, argv, nullptr, &arguments);
    exit_code = outcome == 0 ? -1 : arguments.m_exit_code;
    ombrel_set_puts_handler(before, nullptr);
    return errors.text() + ">" + printed;
}

TEST(OptionHelp, AndComplaintsGoWhereProgramsPrintThem) {
    int exit_code;
    const ombrel_argument_table_t table = {
        .m_name = "small", .m_operands = "[FILE]", .m_summary = "Is small."};
    EXPECT_EQ(">", take(table, "file", exit_code));
    EXPECT_EQ(-1, exit_code);
    EXPECT_EQ(">usage: small [FILE]\nIs small.\n", take(table, "--help", exit_code));
    EXPECT_EQ(0, exit_code);
    EXPECT_EQ("small: unknown option \"-%\"\nusage: small [FILE]\n>", take(table, "-%", exit_code));
    EXPECT_EQ(2, exit_code);
    const ombrel_argument_manual_t page = {.m_date = "2026-11-22", .m_source = "small 2"};
    const ombrel_argument_option_t asking[] = {
        {.m_letter = 'V', .m_name = "version", .m_kind = def_ombrel_argument_version, .m_otherwise = "2"},
        {.m_name = "version-of-all", .m_kind = def_ombrel_argument_version},
        {.m_name = "manual",
         .m_kind = def_ombrel_argument_manual,
         .m_target = const_cast<void*>(static_cast<const void*>(&page))},
        {.m_name = "completion", .m_kind = def_ombrel_argument_completion},
        {}};
    const ombrel_argument_table_t asked = {.m_name = "small", .m_options = asking};
    const ombrel_argument_table_t of_library = {.m_name = "small", .m_options = asking + 1};
    EXPECT_EQ(">small 2\n", take(asked, "-V", exit_code));
    EXPECT_EQ(0, exit_code);
    EXPECT_EQ(std::string(">small (libombrel_tuk) ") + ombrel_get_tuk_version_string() + "\n",
              take(of_library, "--version-of-all", exit_code));
    EXPECT_EQ(0u,
              take(asked, "--manual", exit_code).find(">.TH \"SMALL\" \"1\" \"2026-11-22\" \"small\\ 2\"\n"));
    EXPECT_NE(std::string::npos, take(asked, "--completion", exit_code).find("\ncomplete -F _small small\n"));
    EXPECT_EQ("small: option \"--manual\" takes no value\nusage: small\n>",
              take(asked, "--manual=x", exit_code));
    EXPECT_EQ(-1, ombrel_print_argument_help(nullptr));
    EXPECT_EQ(nullptr, ombrel_alloc_argument_help(nullptr, 80));
    const ombrel_test::error_output errors;
    EXPECT_EQ(2, ombrel_refuse_arguments(&table, "%d is too many", 3));
    EXPECT_EQ("small: 3 is too many\nusage: small [FILE]\n", errors.text());
}

} // namespace
