#include "command/multicall_commands.h"

#include <cstdio>
#include <iterator>

#include <ombrel/base64.h>
#include <ombrel/ctype.h>
#include <ombrel/digest.h>
#include <ombrel/dl.h>
#include <ombrel/plugin.h>
#include <ombrel/version.h>

#include "command/multicall_input.h"
#include "command/multicall_options.h"
#include "text/number.h"

namespace ombrel::command {

namespace {

int refuse(const char* name) {
    return ombrel_refuse_multicall_arguments(ombrel_find_multicall_command(name));
}

int exit_code(bool good) {
    return good ? def_ombrel_multicall_exit_good : def_ombrel_multicall_exit_failed;
}

// A failure shows when the command has finished.
bool put_bytes(const void* bytes, size_t size) {
    return fwrite(bytes, 1, size, stdout) == size;
}

// Runs `work(name)` for each operand, or for standard input, whatever the others give.
template<typename Work>
int for_each_input(const option_walk& options, Work work) {
    if (options.operand_count() == 0)
        return exit_code(work("-"));
    bool good = true;
    for (int i = 0; i < options.operand_count(); i++)
        good = work(options.operand(i)) && good;
    return exit_code(good);
}

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
        return refuse("base64");
    return convert_base64(options, arguments.only_operand());
}

int run_cat(int argc, char** argv) {
    option_walk arguments(argc, argv);
    if (arguments.next())
        return refuse("cat");
    return for_each_input(arguments, [](const char* name) { return read_input("cat", name, put_bytes); });
}

bool print_digest(const ombrel_digest_algorithm_t* algorithm, const char* name) {
    ombrel_digest_t digest;
    ombrel_init_digest(&digest, algorithm);
    if (!read_input("digest", name, [&](const char* bytes, size_t size) {
            ombrel_digest_push(&digest, bytes, size);
            return true;
        }))
        return false;
    printf("%s  %s\n", ombrel_digest_result(&digest, nullptr), name);
    return true;
}

int run_digest(int argc, char** argv) {
    option_walk arguments(argc, argv);
    const ombrel_digest_algorithm_t* algorithm = ombrel_find_digest_algorithm("sha256");
    while (arguments.next()) {
        const char* const name = arguments.takes('a', "algorithm") ? arguments.value() : nullptr;
        algorithm = ombrel_find_digest_algorithm(name);
        if (algorithm == nullptr)
            return refuse("digest");
    }
    return for_each_input(arguments, [=](const char* name) { return print_digest(algorithm, name); });
}

int run_help(int argc, char** argv) {
    if (argc == 1) {
        print_multicall_commands();
        return def_ombrel_multicall_exit_good;
    }
    char help_option[] = "--help";
    char* arguments[] = {argv[1], help_option, nullptr};
    const ombrel_multicall_command_t* const command = ombrel_find_multicall_command(argv[1]);
    if (command == nullptr)
        complain("help", argv[1], "no such command");
    return ombrel_execute_multicall_command(command, 2, arguments);
}

const char* text_or(const char* text, const char* otherwise) {
    return text != nullptr ? text : otherwise;
}

void list_plugins() {
    for (const ombrel_plugin_t* plugin = ombrel_get_plugin_info(); plugin != nullptr; plugin = plugin->m_next)
        ombrel_printf("%s\t%llu\t%s\n", plugin->m_name, static_cast<unsigned long long>(plugin->m_used_count),
                      text_or(plugin->m_mime_type_hint, "*"));
}

// Plug-ins named in the arguments, loaded for a scope.
class loaded_plugins {
public:
    explicit loaded_plugins(size_t room)
        : handles_(static_cast<int*>(
              ombrel_calloc_tag(room + 1, sizeof(int), "ombrel_multicall_plugins", __LINE__))) {}
    ~loaded_plugins() {
        while (count_ > 0)
            ombrel_unload_plugin(handles_.get()[--count_]);
    }
    loaded_plugins(const loaded_plugins&) = delete;
    loaded_plugins& operator=(const loaded_plugins&) = delete;

    bool add(const char* path) {
        const int handle = handles_ ? ombrel_load_plugin(path, nullptr) : -1;
        if (handle >= 0)
            handles_.get()[count_++] = handle;
        return handle >= 0;
    }

private:
    heap_ptr<int> handles_;
    size_t count_ = 0;
};

int run_plugins(int argc, char** argv) {
    option_walk arguments(argc, argv);
    if (arguments.next())
        return refuse("plugins");
    loaded_plugins loaded(static_cast<size_t>(argc));
    bool good = loaded.add(nullptr);
    for (int i = 0; i < arguments.operand_count(); i++) {
        if (loaded.add(arguments.operand(i)))
            continue;
        complain("plugins", arguments.operand(i), text_or(ombrel_dl_error(), "cannot be loaded"));
        good = false;
    }
    list_plugins();
    return exit_code(good);
}

void print_version() {
    const uint32_t compiler = ombrel_get_compiler_version();
    const uint32_t libc = ombrel_get_libc_version();
    ombrel_printf("libombrel_tuk %s\n", ombrel_get_tuk_version_string());
    ombrel_printf("%s, %s %lu.%lu.%lu, %s %lu.%lu, %s %s\n", ombrel_get_target_build_profile(),
                  ombrel_get_compiler_name(), static_cast<unsigned long>(compiler >> 24),
                  static_cast<unsigned long>(compiler >> 16 & 255),
                  static_cast<unsigned long>(compiler >> 8 & 255), ombrel_get_libc_name(),
                  static_cast<unsigned long>(libc >> 24), static_cast<unsigned long>(libc >> 16 & 255),
                  ombrel_get_os_name(), ombrel_get_os_version_string());
    ombrel_printf("built %s %s on %s\n", ombrel_get_tuk_build_date(), ombrel_get_tuk_build_time(),
                  ombrel_get_build_hostname());
    ombrel_printf("%s\n", ombrel_get_tuk_copyrights());
}

int run_version(int argc, char** argv) {
    option_walk arguments(argc, argv);
    bool as_xml = false;
    while (arguments.next()) {
        if (!arguments.is('x', "xml"))
            return refuse("version");
        as_xml = true;
    }
    if (arguments.operand_count() != 0)
        return refuse("version");
    if (as_xml)
        return exit_code(ombrel_push_version_xml(nullptr, "ombrel_tuk") == 0);
    print_version();
    return def_ombrel_multicall_exit_good;
}

constexpr ombrel_multicall_command_t own_commands[] = {
    {"base64", run_base64, "[-d] [-i] [-w COLUMNS] [FILE]", "Encodes a file in base64, or decodes it.",
     "  -d, --decode          decode\n"
     "  -i, --ignore-garbage  with -d, skip characters that do not belong there\n"
     "  -w, --wrap COLUMNS    break lines after so many characters; 0 for no breaks (default 76)\n"},
    {"cat", run_cat, "[FILE...]", "Writes files one after the other to standard output.", nullptr},
    {"digest", run_digest, "[-a ALGORITHM] [FILE...]", "Prints the digest or checksum of files.",
     "  -a, --algorithm NAME  sha256 (default), sha1, md5, crc32, crc64, crc16-ibm or crc16-ccitt\n"},
    {"get", run_get, "[-o FILE] [-H HEADER]... [-t SECONDS] [-v] URI",
     "Writes what a URI names to standard output.",
     "  -o, --output FILE     write to a file instead\n"
     "  -H, --header LINE     send a header line of its own\n"
     "  -t, --timeout SECONDS give up when nothing comes for so long\n"
     "  -v, --verbose         tell what happens\n"
     "What URIs there are depends on the plug-ins: file, tftp, ftp, tcp, udp and pipe are the library's "
     "own.\n"},
    {"help", run_help, "[COMMAND]", "Lists the commands, or says how to use one.", nullptr},
    {"plugins", run_plugins, "[PATH...]",
     "Lists the plug-ins with their uses and MIME types, after loading those named.", nullptr},
    {"version", run_version, "[-x]", "Prints what this library is and how it was built.",
     "  -x, --xml             as an XML document\n"},
};

} // namespace

std::span<const ombrel_multicall_command_t> own_multicall_commands() {
    return own_commands;
}

void print_multicall_commands() {
    ombrel_puts("usage: COMMAND [ARGUMENT...]\n");
    for (size_t i = 0; const ombrel_multicall_command_t* command = ombrel_get_multicall_command(i); i++)
        ombrel_printf("  %-10s %s\n", command->m_name, text_or(command->m_summary, ""));
    ombrel_puts("\"COMMAND --help\" says more of one. Files may be \"-\" for standard input.\n");
}

void print_multicall_names() {
    for (size_t i = 0; const ombrel_multicall_command_t* command = ombrel_get_multicall_command(i); i++)
        ombrel_printf("%s\n", command->m_name);
}

} // namespace ombrel::command
