#include <ombrel/base64.h>
#include <ombrel/ctype.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct base64_closer {
    ombrel_base64_t* coder;
    ~base64_closer() { ombrel_close_base64(coder); }
};

struct base64_choice {
    int decode = 0;
    int lenient = 0;
    int64_t columns = 76;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'd',
     .m_name = "decode",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(base64_choice, decode),
     .m_help = "decode"},
    {.m_letter = 'i',
     .m_name = "ignore-garbage",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(base64_choice, lenient),
     .m_help = "with -d, skip characters that do not belong there"},
    {.m_letter = 'w',
     .m_name = "wrap",
     .m_kind = def_ombrel_argument_integer64,
     .m_offset = offsetof(base64_choice, columns),
     .m_value = "COLUMNS",
     .m_help = "break lines after so many characters; 0 for no breaks (default 76)",
     .m_least = 0,
     .m_most = UINT32_MAX},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "base64",
                                           .m_operands = "[FILE]",
                                           .m_most_operands = 1,
                                           .m_summary = "Encodes a file in base64, or decodes it.",
                                           .m_options = options};

bool put_coded(ombrel_base64_t* coder) {
    size_t size;
    const heap_ptr<char> made(ombrel_get_base64(coder, &size));
    return made && put_bytes(made.get(), size);
}

// Characters of the alphabet since the last whole group: the decoder drops them at the end.
unsigned count_group(unsigned count, const char* bytes, size_t size) {
    for (size_t i = 0; i < size; i++)
        count += ombrel_ctype_select(static_cast<unsigned char>(bytes[i]), def_ombrel_ctype_base64) != 0;
    return count % 4;
}

int convert_base64(const base64_choice& choice, const char* name) {
    const base64_closer coder{ombrel_open_base64()};
    if (coder.coder == nullptr) {
        complain("base64", name, fault_text(fault_code::no_memory));
        return def_ombrel_multicall_exit_failed;
    }
    coder.coder->m_line_width = static_cast<uint32_t>(choice.columns);
    coder.coder->m_lenient = static_cast<uint32_t>(choice.lenient);
    const auto push = choice.decode != 0 ? ombrel_push_decode_base64 : ombrel_push_encode_base64;
    unsigned group = 0;
    bool any = false;
    bool good = true;
    const bool was_read = read_input("base64", name, [&](const char* bytes, size_t size) {
        any = true;
        group = count_group(group, bytes, size);
        good = push(coder.coder, bytes, size) == 0 && put_coded(coder.coder);
        return good && !(choice.decode != 0 && coder.coder->m_final != 0);
    });
    if (!was_read)
        return def_ombrel_multicall_exit_failed;
    // Only a foreign character ends the input by itself; only the decoder drops what is incomplete.
    const bool invalid = choice.decode != 0 && (coder.coder->m_final != 0 || group != 0);
    if (invalid)
        complain("base64", name, "invalid input");
    // The end of nothing would still be a line.
    if (any && good)
        good = push(coder.coder, nullptr, 0) == 0 && put_coded(coder.coder);
    return exit_code(good && !invalid);
}

int run_base64(int argc, char** argv) {
    const command_arguments<base64_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    return convert_base64(*arguments, arguments.operand_count() > 0 ? arguments.operand(0) : "-");
}

} // namespace

constexpr own_command base64_command = command_of(table, run_base64);

} // namespace ombrel::command
