#include <cstdio>
#include <utility>

#include <ombrel/ctx.h>
#include <ombrel/file.h>
#include <ombrel/multicall.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "context/ctx_guard.h"
#include "core/fault.h"
#include "system/process/ending_groups.h"

namespace ombrel::command {

using context::ctx_guard;

namespace {

struct get_choice {
    const char* output = nullptr;
    heap_ptr<char> headers; // one a line
    int timeout_ms = -1;    // that of the stream, when there is none
    int verbose = 0;
};

void complain_of(const char* uri, const ctx_guard& from) {
    char why[def_ombrel_ctx_error_text_size];
    const bool is_known = ombrel_ctx_get_last_error_text(from.handle(), why, sizeof why) >= 0;
    complain("get", uri, is_known ? why : ombrel_ctx_error_text(def_ombrel_ctx_error_no_memory));
}

// A file, closed at the end of the scope, or standard output.
class sink {
public:
    explicit sink(const char* path) : is_file_(path != nullptr) {
        constexpr uint32_t anew = def_ombrel_file_write | def_ombrel_file_create | def_ombrel_file_truncate;
        constexpr uint32_t for_all = 0666;
        if (is_file_)
            descriptor_ = ombrel_open_file(path, anew, for_all);
    }
    ~sink() { close(); }
    sink(const sink&) = delete;
    sink& operator=(const sink&) = delete;

    bool is_open() const { return !is_file_ || descriptor_ >= 0; }
    bool put(const char* bytes, size_t size) {
        const bool good =
            is_file_ ? ombrel_file_write_all(descriptor_, bytes, size) == 0 : put_bytes(bytes, size);
        if (!good)
            why_ = last_fault();
        return good;
    }
    /// False when what was written has not arrived. Of standard output the caller of the command tells.
    bool close() {
        if (!is_file_)
            return true;
        if (descriptor_ >= 0 && ombrel_close_file(std::exchange(descriptor_, -1)) != 0 && !why_)
            why_ = last_fault();
        return !why_;
    }
    /// Why.
    const fault& why() const { return why_; }

private:
    bool is_file_;
    int descriptor_ = -1;
    fault why_;
};

int add_header(const ombrel_argument_option_t* /* option */, const char* line, void* context) {
    auto& headers = *static_cast<heap_ptr<char>*>(context);
    const char* const before = headers ? headers.get() : "";
    headers.reset(ombrel_alloc_sprintf("%s%s%s", before, *before != '\0' ? "\n" : "", line));
    if (headers)
        return 0;
    complain("get", line, fault_text(fault_code::no_memory));
    return def_ombrel_multicall_exit_failed;
}

constexpr ombrel_argument_option_t options[] = {{.m_letter = 'o',
                                                 .m_name = "output",
                                                 .m_kind = def_ombrel_argument_text,
                                                 .m_offset = offsetof(get_choice, output),
                                                 .m_value = "FILE",
                                                 .m_help = "write to a file instead"},
                                                {.m_letter = 'H',
                                                 .m_name = "header",
                                                 .m_kind = def_ombrel_argument_call,
                                                 .m_flags = def_ombrel_argument_repeatable,
                                                 .m_offset = offsetof(get_choice, headers),
                                                 .m_value = "LINE",
                                                 .m_help = "send a header line of its own",
                                                 .m_handler = add_header},
                                                {.m_letter = 't',
                                                 .m_name = "timeout",
                                                 .m_kind = def_ombrel_argument_time_limit,
                                                 .m_offset = offsetof(get_choice, timeout_ms),
                                                 .m_value = "SECONDS",
                                                 .m_help = "give up when nothing comes for so long"},
                                                {.m_letter = 'v',
                                                 .m_name = "verbose",
                                                 .m_kind = def_ombrel_argument_flag,
                                                 .m_offset = offsetof(get_choice, verbose),
                                                 .m_help = "tell what happens"},
                                                help_option,
                                                version_option,
                                                {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "get",
    .m_operands = "URI",
    .m_least_operands = 1,
    .m_most_operands = 1,
    .m_summary = "Writes what a URI names to standard output.",
    .m_notes = "What URIs there are depends on the plug-ins: file, tftp, ftp, tcp, udp and pipe are the "
               "library's own.",
    .m_options = options};

bool open_stream(const ctx_guard& from, const get_choice& choice, const char* uri) {
    const int ctx = from.handle();
    if (choice.headers && ombrel_ctx_set_option(ctx, "httpheader", choice.headers.get()) != 0)
        return false;
    if (choice.timeout_ms >= 0 && ombrel_ctx_set_option_int_string(ctx, "timeout", choice.timeout_ms) != 0)
        return false;
    if (choice.verbose != 0 && ombrel_ctx_set_option(ctx, "verbose", "1") != 0)
        return false;
    return ombrel_open_ctx_stream(ctx, uri, "rb", 0) == 0;
}

bool copy(const ctx_guard& from, const char* uri, sink& to) {
    const heap_ptr<char> block(
        static_cast<char*>(ombrel_alloc_tag(file_block_size, "ombrel_multicall_get", __LINE__)));
    if (!block) {
        complain("get", uri, fault_text(fault_code::no_memory));
        return false;
    }
    int got;
    while ((got = ombrel_ctx_read(from.handle(), block.get(), file_block_size)) > 0)
        if (!to.put(block.get(), static_cast<size_t>(got)))
            break;
    if (got < 0)
        complain_of(uri, from);
    return got == 0;
}

bool get(const get_choice& choice, const char* uri) {
    const system::ends_groups_by_signals interrupted; // programs of "pipe:" have groups of their own
    const ctx_guard from;
    if (!open_stream(from, choice, uri)) {
        complain_of(uri, from);
        return false;
    }
    const bool is_file = choice.output != nullptr && strcmp(choice.output, "-") != 0;
    sink to(is_file ? choice.output : nullptr);
    const char* const name = is_file ? choice.output : "standard output";
    if (!to.is_open()) {
        complain("get", name, fault_text(last_fault()));
        return false;
    }
    const bool copied = copy(from, uri, to);
    if (to.close())
        return copied;
    complain("get", name, fault_text(to.why()));
    return false;
}

int run_get(int argc, char** argv) {
    const command_arguments<get_choice> arguments(table, argc, argv);
    return arguments ? exit_code(get(*arguments, arguments.operand(0))) : arguments.exit_code();
}

} // namespace

constexpr own_command get_command = command_of(table, run_get);

} // namespace ombrel::command
