#include <algorithm>
#include <iterator>
#include <string_view>

#include <ombrel/fault.h>
#include <ombrel/process_list.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "text/charset/utf8_columns.h"
#include "text/slice.h"

namespace ombrel::command {

namespace {

/// Bytes that would move the cursor or end the line become "?". The columns that it took.
size_t put_text(std::string_view text) {
    size_t columns = static_cast<size_t>(columns_of(text.data(), text.size()));
    for (const char unit : text) {
        const bool is_control = static_cast<unsigned char>(unit) < ' ' || unit == '\x7F';
        putchar(is_control ? '?' : unit);
        columns += is_control;
    }
    return columns;
}

/// What has no arguments, as a thread of the kernel, has its name in brackets.
size_t put_arguments(const ombrel_process_info_t& info) {
    if (info.m_argument_count == 0)
        return put_text("[") + put_text(info.m_full_name) + put_text("]");
    // Programs that write over their arguments leave empty ones behind.
    size_t count = info.m_argument_count;
    while (count > 1 && info.m_arguments[count - 1][0] == '\0')
        count--;
    size_t columns = put_text(info.m_arguments[0]);
    for (size_t i = 1; i < count; i++)
        columns += put_text(" ") + put_text(info.m_arguments[i]);
    return columns;
}

size_t put_number(int64_t number, int width) {
    printf("%*lld", width, static_cast<long long>(number));
    return 0;
}

struct column {
    const char *name, *header;
    int width; ///< negative: to the left
    /// Gives the columns of what it put where those are to be filled.
    size_t (*put)(const ombrel_process_info_t& info, int width);
};

constexpr column columns[] = {
    {"pid", "PID", 7,
     [](const ombrel_process_info_t& info, int width) { return put_number(info.m_id, width); }},
    {"ppid", "PPID", 7,
     [](const ombrel_process_info_t& info, int width) { return put_number(info.m_parent, width); }},
    {"name", "NAME", -15, [](const ombrel_process_info_t& info, int) { return put_text(info.m_name); }},
    {"rss", "RSS", 8,
     [](const ombrel_process_info_t& info, int width) { return put_number(info.m_resident / 1024, width); }},
    {"args", "ARGS", -27, [](const ombrel_process_info_t& info, int) { return put_arguments(info); }},
};

/// What is shown, in its order.
struct ps_choice {
    const column* shown[64] = {&columns[0], &columns[1], &columns[3], &columns[2]};
    size_t count = 4;
    bool is_default = true;
};

int add_column(ps_choice& choice, std::string_view name) {
    const column* const found = std::find_if(std::begin(columns), std::end(columns),
                                             [&](const column& one) { return name == one.name; });
    if (found == std::end(columns) || choice.count == std::size(choice.shown))
        return -1;
    choice.shown[choice.count++] = found;
    return 0;
}

/// Names between commas or spaces; given again, more of them.
int add_columns(const ombrel_argument_option_t* /* option */, const char* list, void* context) {
    ps_choice& choice = *static_cast<ps_choice*>(context);
    if (choice.is_default)
        choice.count = 0;
    choice.is_default = false;
    std::string_view left = list;
    for (;;) {
        const size_t size = std::min(left.find_first_of(", "), left.size());
        if (add_column(choice, slice(left, 0, size)) != 0)
            return -1;
        if (size == left.size())
            return 0;
        left.remove_prefix(size + 1);
    }
}

constexpr ombrel_argument_option_t options[] = {{.m_letter = 'o',
                                                 .m_name = "format",
                                                 .m_kind = def_ombrel_argument_call,
                                                 .m_flags = def_ombrel_argument_repeatable,
                                                 .m_value = "COLUMNS",
                                                 .m_help =
                                                     "what to show, in this order, separated by commas: "
                                                     "pid, ppid, name, rss (KiB), args (default "
                                                     "pid,ppid,rss,name)",
                                                 .m_handler = add_columns},
                                                help_option,
                                                version_option,
                                                {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "ps", .m_summary = "Lists all processes.", .m_options = options};

void fill(size_t used, int width) {
    for (size_t left = static_cast<size_t>(-width); left > used; left--)
        putchar(' ');
}

/// The last column is not filled.
template<typename Put>
void put_line(const ps_choice& choice, Put put) {
    for (size_t i = 0; i < choice.count; i++) {
        const column& one = *choice.shown[i];
        if (i > 0)
            putchar(' ');
        const size_t used = put(one);
        if (one.width < 0 && i + 1 < choice.count)
            fill(used, one.width);
    }
    putchar('\n');
}

size_t put_header(const column& one) {
    printf("%*s", std::max(one.width, 0), one.header);
    return strlen(one.header);
}

int run_ps(int argc, char** argv) {
    const command_arguments<ps_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    ombrel_process_list_t* const list =
        ombrel_open_process_list_tag(def_ombrel_process_list_arguments, "ombrel_multicall_ps", __LINE__);
    int step = -1;
    if (list != nullptr)
        put_line(*arguments, put_header);
    for (ombrel_process_info_t info; list != nullptr && (step = ombrel_process_list_next(list, &info)) == 1;)
        put_line(*arguments, [&](const column& one) { return one.put(info, one.width); });
    if (step < 0)
        complain("ps", "processes", ombrel_fault_text());
    ombrel_close_process_list(list);
    return exit_code(step == 0);
}

} // namespace

constexpr own_command ps_command = command_of(table, run_ps);

} // namespace ombrel::command
