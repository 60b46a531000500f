#include <ombrel/uuid.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ombrel/fault.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct uuid_choice {
    int version = 0; ///< 0 for the usual one
    int64_t count = 1;
    const char* space = nullptr;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'v',
     .m_name = "kind",
     .m_kind = def_ombrel_argument_integer,
     .m_offset = offsetof(uuid_choice, version),
     .m_value = "VERSION",
     .m_help =
         "1 and 6 from time and a random node, 3 and 5 from a name by MD5 and SHA-1, 4 random (default), 7 "
         "from time and random, 8 from a name by SHA-256 or random",
     .m_least = 1,
     .m_most = 8},
    {.m_letter = 'n',
     .m_name = "count",
     .m_kind = def_ombrel_argument_integer64,
     .m_offset = offsetof(uuid_choice, count),
     .m_value = "COUNT",
     .m_help = "so many (default 1)",
     .m_least = 1,
     .m_most = INT64_MAX},
    {.m_letter = 's',
     .m_name = "namespace",
     .m_kind = def_ombrel_argument_text,
     .m_offset = offsetof(uuid_choice, space),
     .m_value = "NAMESPACE",
     .m_help = "that of NAME in a namespace, by version 5: dns, url, oid, x500 or a UUID"},
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t table = {.m_name = "uuid",
                                           .m_usage = "[-v VERSION] [-n COUNT] [-s NAMESPACE NAME]",
                                           .m_operands = "[NAME]",
                                           .m_most_operands = 1,
                                           .m_summary = "Makes universally unique identifiers.",
                                           .m_options = options};

bool print_uuid(const ombrel_uuid_t& uuid) {
    char text[def_ombrel_uuid_text_size];
    const int size = ombrel_format_uuid(text, sizeof text, &uuid, 0);
    text[size] = '\n';
    return put_bytes(text, static_cast<size_t>(size) + 1);
}

/// Of a namespace and a name, each time the same.
int print_named(const uuid_choice& choice, const char* name) {
    const int version = choice.version != 0 ? choice.version : 5;
    ombrel_uuid_t given, uuid;
    const ombrel_uuid_t* space = ombrel_find_uuid(choice.space);
    if (space == nullptr &&
        ombrel_parse_uuid(choice.space, def_ombrel_uuid_braces | def_ombrel_uuid_urn, &given, nullptr) == 0)
        space = &given;
    if (space == nullptr)
        return ombrel_refuse_arguments(&table, "\"%s\" is no namespace", choice.space);
    if (ombrel_make_name_uuid(version, space, name, strlen(name), &uuid) != 0)
        return ombrel_refuse_arguments(&table, "version %d is not made of a name", version);
    for (int64_t i = 0; i < choice.count && print_uuid(uuid); i++) {
    }
    return def_ombrel_multicall_exit_good;
}

bool make_unnamed(int version, ombrel_uuid_t& uuid) {
    if (version != 8)
        return ombrel_make_uuid(version, &uuid) == 0;
    return ombrel_make_uuid(4, &uuid) == 0 && ombrel_make_custom_uuid(uuid.m_bytes, &uuid) == 0;
}

int print_unnamed(const uuid_choice& choice) {
    const int version = choice.version != 0 ? choice.version : 4;
    if (version == 2)
        return ombrel_refuse_arguments(&table, "there is no version 2");
    if (version == 3 || version == 5)
        return ombrel_refuse_arguments(&table, "version %d wants a namespace and a name", version);
    for (int64_t i = 0; i < choice.count; i++) {
        ombrel_uuid_t uuid;
        if (!make_unnamed(version, uuid)) {
            complain("uuid", "random bytes", ombrel_fault_text());
            return def_ombrel_multicall_exit_failed;
        }
        if (!print_uuid(uuid)) // which shows at the end
            break;
    }
    return def_ombrel_multicall_exit_good;
}

int run_uuid(int argc, char** argv) {
    const command_arguments<uuid_choice> arguments(table, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const bool has_name = arguments.operand_count() > 0;
    if (has_name != (arguments->space != nullptr))
        return ombrel_refuse_arguments(&table,
                                       has_name ? "a name wants a namespace" : "a namespace wants a name");
    return has_name ? print_named(*arguments, arguments.operand(0)) : print_unnamed(*arguments);
}

} // namespace

constexpr own_command uuid_command = command_of(table, run_uuid);

} // namespace ombrel::command
