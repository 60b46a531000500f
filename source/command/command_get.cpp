#include <climits>
#include <cstdio>

#include <ombrel/ctx.h>
#include <ombrel/multicall.h>
#include <ombrel/printf.h>

#include "command/command_input.h"
#include "command/command_table.h"
#include "command/multicall_options.h"
#include "context/ctx_fault.h"
#include "context/ctx_guard.h"
#include "core/fault.h"
#include "text/number.h"

namespace ombrel::command {

using context::ctx_error_text;
using context::ctx_guard;

namespace {

struct get_options {
    const char* output = nullptr;
    heap_ptr<char> headers; // one a line
    int timeout_ms = -1;    // that of the stream, when there is none
    bool verbose = false;
    const char* uri = nullptr;
};

const char* error_of(const ctx_guard& from) {
    return from.handle() < 0 ? ctx_error_text(def_ombrel_ctx_error_no_memory)
                             : ctx_error_text(ombrel_ctx_get_last_error(from.handle()));
}

// The end of a scope closes the file; standard output stays.
class sink {
public:
    explicit sink(const char* path) : file_(path != nullptr ? fopen(path, "wb") : stdout) {}
    ~sink() { close(); }
    sink(const sink&) = delete;
    sink& operator=(const sink&) = delete;

    bool is_open() const { return file_ != nullptr; }
    bool put(const char* bytes, size_t size) {
        const bool good = fwrite(bytes, 1, size, file_) == size;
        if (!good)
            why_ = last_fault();
        return good;
    }
    /// False when what was written has not arrived. Of standard output the caller of the command tells.
    bool close() {
        FILE* const file = std::exchange(file_, nullptr);
        if (file == nullptr || file == stdout)
            return true;
        if (fclose(file) != 0 && !why_)
            why_ = last_fault();
        return !why_;
    }
    /// Why.
    const fault& why() const { return why_; }

private:
    FILE* file_;
    fault why_;
};

bool add_header(get_options& options, const char* line) {
    if (line == nullptr)
        return false;
    const char* const before = options.headers ? options.headers.get() : "";
    options.headers.reset(ombrel_alloc_sprintf("%s%s%s", before, *before != '\0' ? "\n" : "", line));
    return static_cast<bool>(options.headers);
}

bool read_seconds(const char* text, int& timeout_ms) {
    constexpr int most = INT_MAX / 1000;
    int seconds;
    if (text == nullptr || !parse_number(text, 0, most, seconds))
        return false;
    timeout_ms = seconds * 1000;
    return true;
}

bool read_options(option_walk& arguments, get_options& options) {
    bool good = true;
    while (good && arguments.next()) {
        if (arguments.is('v', "verbose"))
            options.verbose = true;
        else if (arguments.takes('o', "output"))
            good = (options.output = arguments.value()) != nullptr;
        else if (arguments.takes('H', "header"))
            good = add_header(options, arguments.value());
        else if (arguments.takes('t', "timeout"))
            good = read_seconds(arguments.value(), options.timeout_ms);
        else
            good = false;
    }
    if (!good || arguments.operand_count() != 1)
        return false;
    options.uri = arguments.operand(0);
    return true;
}

bool open_stream(const ctx_guard& from, const get_options& options) {
    const int ctx = from.handle();
    if (options.headers && ombrel_ctx_set_option(ctx, "httpheader", options.headers.get()) != 0)
        return false;
    if (options.timeout_ms >= 0 && ombrel_ctx_set_option_int_string(ctx, "timeout", options.timeout_ms) != 0)
        return false;
    if (options.verbose && ombrel_ctx_set_option(ctx, "verbose", "1") != 0)
        return false;
    return ombrel_open_ctx_stream(ctx, options.uri, "rb", 0) == 0;
}

bool copy(const ctx_guard& from, const get_options& options, sink& to) {
    const heap_ptr<char> block(
        static_cast<char*>(ombrel_alloc_tag(file_block_size, "ombrel_multicall_get", __LINE__)));
    if (!block) {
        complain("get", options.uri, fault_text(fault_code::no_memory));
        return false;
    }
    int got;
    while ((got = ombrel_ctx_read(from.handle(), block.get(), file_block_size)) > 0)
        if (!to.put(block.get(), static_cast<size_t>(got)))
            break;
    if (got < 0)
        complain("get", options.uri, error_of(from));
    return got == 0;
}

bool get(const get_options& options) {
    const ctx_guard from;
    if (!open_stream(from, options)) {
        complain("get", options.uri, error_of(from));
        return false;
    }
    sink to(options.output);
    const char* const name = options.output != nullptr ? options.output : "standard output";
    if (!to.is_open()) {
        complain("get", name, fault_text(last_fault()));
        return false;
    }
    const bool copied = copy(from, options, to);
    if (to.close())
        return copied;
    complain("get", name, fault_text(to.why()));
    return false;
}

int run_get(int argc, char** argv) {
    option_walk arguments(argc, argv);
    get_options options;
    if (!read_options(arguments, options))
        return ombrel_refuse_multicall_arguments(&get_command);
    return get(options) ? def_ombrel_multicall_exit_good : def_ombrel_multicall_exit_failed;
}

} // namespace

constexpr ombrel_multicall_command_t get_command = {
    "get", run_get, "[-o FILE] [-H HEADER]... [-t SECONDS] [-v] URI",
    "Writes what a URI names to standard output.",
    "  -o, --output FILE     write to a file instead\n"
    "  -H, --header LINE     send a header line of its own\n"
    "  -t, --timeout SECONDS give up when nothing comes for so long\n"
    "  -v, --verbose         tell what happens\n"
    "What URIs there are depends on the plug-ins: file, tftp, ftp, tcp, udp and pipe are the library's "
    "own.\n"};

} // namespace ombrel::command
