#include <ombrel/digest.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

int choose_algorithm(const ombrel_argument_option_t* /* option */, const char* name, void* algorithm) {
    const ombrel_digest_algorithm_t* const found = ombrel_find_digest_algorithm(name);
    if (found == nullptr)
        return -1;
    *static_cast<const ombrel_digest_algorithm_t**>(algorithm) = found;
    return 0;
}

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'a',
     .m_name = "algorithm",
     .m_kind = def_ombrel_argument_call,
     .m_value = "NAME",
     .m_help = "sha256 (default), sha1, md5, crc32, crc64, crc16-ibm or crc16-ccitt",
     .m_handler = choose_algorithm},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "digest",
                                           .m_operands = "[FILE...]",
                                           .m_summary = "Prints the digest or checksum of files.",
                                           .m_options = options};

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
    using algorithm = const ombrel_digest_algorithm_t*;
    const command_arguments<algorithm> arguments(table, argc, argv, ombrel_find_digest_algorithm("sha256"));
    if (!arguments)
        return arguments.exit_code();
    return for_each_input(arguments, [&](const char* name) { return print_digest(*arguments, name); });
}

} // namespace

constexpr own_command digest_command = command_of(table, run_digest);

} // namespace ombrel::command
