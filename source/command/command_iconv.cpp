#include <cstddef>
#include <cstdint>
#include <iterator>

#include <ombrel/charset.h>
#include <ombrel/charset_detect.h>
#include <ombrel/fault.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct iconv_choice {
    const char* from = "UTF-8";
    const char* to = "UTF-8";
    const char* replacement = nullptr;
    int is_skipping = 0, is_escaping = 0, is_escaping_xml = 0;
    int drops_mark = 0, writes_mark = 0;
    int is_list = 0, is_detection = 0;
};

constexpr ombrel_argument_option_t flag(char letter, const char* name, size_t place, const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_flag,
            .m_offset = place,
            .m_help = help};
}

constexpr ombrel_argument_option_t text(char letter, const char* name, size_t place, const char* value,
                                        const char* help) {
    return {.m_letter = letter,
            .m_name = name,
            .m_kind = def_ombrel_argument_text,
            .m_offset = place,
            .m_value = value,
            .m_help = help};
}

constexpr ombrel_argument_option_t options[] = {
    text('f', "from-code", offsetof(iconv_choice, from), "SET", "the input is in this set (default UTF-8)"),
    text('t', "to-code", offsetof(iconv_choice, to), "SET", "the output is in this one (default UTF-8)"),
    flag('c', "skip", offsetof(iconv_choice, is_skipping), "leave out what cannot be converted"),
    text('r', "replace", offsetof(iconv_choice, replacement), "TEXT",
         "put this text, in UTF-8, in its place"),
    flag('e', "escape", offsetof(iconv_choice, is_escaping), "put \"\\uAC00\" or \"\\xFF\" in its place"),
    flag('x', "escape-xml", offsetof(iconv_choice, is_escaping_xml),
         "put \"&#xAC00;\" in the place of characters; wrong bytes fail"),
    flag('b', "drop-mark", offsetof(iconv_choice, drops_mark), "drop a byte order mark of the input"),
    flag('B', "write-mark", offsetof(iconv_choice, writes_mark), "write a byte order mark"),
    flag('l', "list", offsetof(iconv_choice, is_list), "print the sets, a line for each with all its names"),
    flag('d', "detect", offsetof(iconv_choice, is_detection), "print in which set each file seems to be"),
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "iconv",
    .m_operands = "[FILE...]",
    .m_summary = "Converts a text from one character set to another, or detects its set.",
    .m_notes = "The first thing that cannot be converted ends the conversion, with its place, unless an "
               "option says what is done with it. One file is converted, any number are detected.",
    .m_options = options};

int list_sets() {
    for (int charset = 1; charset <= def_ombrel_charset_count; charset++) {
        ombrel_printf("%s", ombrel_get_charset_name(charset));
        for (size_t i = 0; const char* const alias = ombrel_get_charset_alias(charset, i); i++)
            ombrel_printf(" %s", alias);
        ombrel_puts("\n");
    }
    return exit_code(true);
}

class set_detector {
public:
    set_detector() : detector_(ombrel_open_charset_detector()) {}
    ~set_detector() { ombrel_close_charset_detector(detector_); }
    set_detector(const set_detector&) = delete;
    set_detector& operator=(const set_detector&) = delete;

    bool print(const char* name) {
        if (detector_ == nullptr || !read(name))
            return false;
        ombrel_charset_detection_t found;
        ombrel_charset_detector_get_detection(detector_, &found);
        if (found.m_kind == def_ombrel_charset_detect_empty)
            ombrel_printf("%s: empty\n", name);
        else
            ombrel_printf("%s: %s (confidence %d)\n", name, text_or(found.m_name, "binary"),
                          found.m_confidence);
        return true;
    }

private:
    bool read(const char* name) {
        ombrel_charset_detector_reset(detector_);
        return read_input("iconv", name, [&](const char* bytes, size_t size) {
            return ombrel_charset_detector_push(detector_, bytes, size) == 0;
        });
    }

    ombrel_charset_detector_t* detector_;
};

class set_converter {
public:
    set_converter(int from, int to, const ombrel_charset_options_t& how)
        : converter_(ombrel_open_charset_converter(from, to, &how)) {}
    ~set_converter() { ombrel_close_charset_converter(converter_); }
    set_converter(const set_converter&) = delete;
    set_converter& operator=(const set_converter&) = delete;

    explicit operator bool() const { return converter_ != nullptr; }

    bool run(const char* name) {
        bool is_written = true;
        const bool is_read = read_input(
            "iconv", name, [&](const char* bytes, size_t size) { return is_written = push(bytes, size); });
        if (is_read && is_written && finish())
            return true;
        const ombrel_charset_fault_t& fault = *ombrel_charset_converter_get_fault(converter_);
        if (fault.m_reason != def_ombrel_charset_fault_none)
            tell(name, fault);
        return false;
    }

private:
    bool push(const char* bytes, size_t size) {
        size_t at = 0, made = 0;
        int step = 1;
        bool is_written = true;
        while (step == 1 && is_written) {
            step = ombrel_charset_converter_push(converter_, bytes, size, &at, text_, sizeof text_, &made);
            is_written = put_bytes(text_, made);
        }
        return step == 0 && is_written;
    }

    bool finish() {
        size_t made = 0;
        int step = 1;
        bool is_written = true;
        while (step == 1 && is_written) {
            step = ombrel_charset_converter_finish(converter_, text_, sizeof text_, &made);
            is_written = put_bytes(text_, made);
        }
        return step == 0 && is_written;
    }

    static void tell(const char* name, const ombrel_charset_fault_t& fault) {
        char what[64], why[128], *end = what;
        if (fault.m_reason == def_ombrel_charset_fault_unencodable)
            ombrel_snprintf(what, sizeof what, "U+%04X", fault.m_code);
        else
            for (int i = 0; i < fault.m_size; i++)
                end +=
                    ombrel_snprintf(end, sizeof "xx ", i > 0 ? " %02X" : "%02X", unsigned{fault.m_bytes[i]});
        ombrel_snprintf(why, sizeof why, "offset %lld: %s (%s)", static_cast<long long>(fault.m_offset),
                        ombrel_charset_fault_text(fault.m_reason), what);
        complain("iconv", name, why);
    }

    ombrel_charset_converter_t* converter_;
    char text_[32768];
};

/// The set of a name, or a complaint.
int find_set(const char* name) {
    const int charset = ombrel_find_charset(name);
    if (charset == -1)
        complain("iconv", name, "unknown character set");
    return charset;
}

ombrel_charset_options_t options_of(const iconv_choice& choice) {
    ombrel_charset_options_t how;
    ombrel_init_charset_options(&how);
    const int policy = choice.is_skipping != 0         ? def_ombrel_charset_skip
                       : choice.replacement != nullptr ? def_ombrel_charset_replace
                       : choice.is_escaping != 0       ? def_ombrel_charset_escape
                                                       : def_ombrel_charset_fail;
    how.m_malformed = policy;
    how.m_unencodable = choice.is_escaping_xml != 0 ? def_ombrel_charset_escape_xml : policy;
    how.m_replacement = choice.replacement;
    how.m_flags = (choice.drops_mark != 0 ? def_ombrel_charset_drop_mark : 0) |
                  (choice.writes_mark != 0 ? def_ombrel_charset_write_mark : 0);
    return how;
}

int convert_file(const iconv_choice& choice, const char* name) {
    const int from = find_set(choice.from), to = find_set(choice.to);
    if (from == -1 || to == -1)
        return exit_code(false);
    const ombrel_charset_options_t how = options_of(choice);
    set_converter converter(from, to, how);
    if (converter)
        return exit_code(converter.run(name));
    complain("iconv", text_or(choice.replacement, name),
             ombrel_last_fault() == def_ombrel_fault_invalid ? "no replacement in the other set"
                                                             : ombrel_fault_text());
    return exit_code(false);
}

int run_iconv(int argc, char** argv) {
    const command_arguments<iconv_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    if (arguments->is_list != 0)
        return list_sets();
    if (arguments->is_detection != 0) {
        set_detector detector;
        return for_each_input(arguments, [&](const char* name) { return detector.print(name); });
    }
    if (arguments.operand_count() > 1)
        return ombrel_refuse_arguments(&table, "one file is converted at a time");
    return convert_file(*arguments, arguments.operand_count() > 0 ? arguments.operand(0) : "-");
}

} // namespace

constexpr own_command iconv_command = command_of(table, run_iconv);

} // namespace ombrel::command
