#include <ombrel/digest.h>

#include "command/command_input.h"
#include "command/command_table.h"
#include "command/multicall_options.h"

namespace ombrel::command {

namespace {

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
            return ombrel_refuse_multicall_arguments(&digest_command);
    }
    return for_each_input(arguments, [=](const char* name) { return print_digest(algorithm, name); });
}

} // namespace

constexpr ombrel_multicall_command_t digest_command = {
    "digest", run_digest, "[-a ALGORITHM] [FILE...]", "Prints the digest or checksum of files.",
    "  -a, --algorithm NAME  sha256 (default), sha1, md5, crc32, crc64, crc16-ibm or crc16-ccitt\n"};

} // namespace ombrel::command
