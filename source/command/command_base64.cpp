#include <ombrel/base64.h>
#include <ombrel/ctype.h>

#include "command/command_input.h"
#include "command/command_table.h"
#include "command/multicall_options.h"
#include "text/number.h"

namespace ombrel::command {

namespace {

struct base64_closer {
    ombrel_base64_t* coder;
    ~base64_closer() { ombrel_close_base64(coder); }
};

struct base64_options {
    bool decode = false;
    bool lenient = false;
    uint32_t columns = 76;
};

bool read_columns(const char* text, uint32_t& columns) {
    return text != nullptr && parse_number(text, columns);
}

bool read_base64_options(option_walk& arguments, base64_options& options) {
    while (arguments.next()) {
        if (arguments.is('d', "decode"))
            options.decode = true;
        else if (arguments.is('i', "ignore-garbage"))
            options.lenient = true;
        else if (!arguments.takes('w', "wrap") || !read_columns(arguments.value(), options.columns))
            return false;
    }
    return arguments.only_operand() != nullptr;
}

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

int convert_base64(const base64_options& options, const char* name) {
    const base64_closer coder{ombrel_open_base64()};
    if (coder.coder == nullptr) {
        complain("base64", name, fault_text(fault_code::no_memory));
        return def_ombrel_multicall_exit_failed;
    }
    coder.coder->m_line_width = options.columns;
    coder.coder->m_lenient = options.lenient;
    const auto push = options.decode ? ombrel_push_decode_base64 : ombrel_push_encode_base64;
    unsigned group = 0;
    bool any = false;
    bool good = true;
    const bool was_read = read_input("base64", name, [&](const char* bytes, size_t size) {
        any = true;
        group = count_group(group, bytes, size);
        good = push(coder.coder, bytes, size) == 0 && put_coded(coder.coder);
        return good && !(options.decode && coder.coder->m_final != 0);
    });
    if (!was_read)
        return def_ombrel_multicall_exit_failed;
    // Only a foreign character ends the input by itself; only the decoder drops what is incomplete.
    const bool invalid = options.decode && (coder.coder->m_final != 0 || group != 0);
    if (invalid)
        complain("base64", name, "invalid input");
    // The end of nothing would still be a line.
    if (any && good)
        good = push(coder.coder, nullptr, 0) == 0 && put_coded(coder.coder);
    return exit_code(good && !invalid);
}

int run_base64(int argc, char** argv) {
    option_walk arguments(argc, argv);
    base64_options options;
    if (!read_base64_options(arguments, options))
        return ombrel_refuse_multicall_arguments(&base64_command);
    return convert_base64(options, arguments.only_operand());
}

} // namespace

constexpr ombrel_multicall_command_t base64_command = {
    "base64", run_base64, "[-d] [-i] [-w COLUMNS] [FILE]", "Encodes a file in base64, or decodes it.",
    "  -d, --decode          decode\n"
    "  -i, --ignore-garbage  with -d, skip characters that do not belong there\n"
    "  -w, --wrap COLUMNS    break lines after so many characters; 0 for no breaks (default 76)\n"};

} // namespace ombrel::command
