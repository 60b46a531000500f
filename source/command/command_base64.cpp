#include <ombrel/base64.h>
#include <ombrel/ctype.h>
#include <ombrel/quoted_printable.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"

namespace ombrel::command {

namespace {

struct base64_choice {
    int decodes = 0;
    int is_quoted_printable = 0;
    int is_lenient = 0;
    int64_t columns = 76;
};

constexpr ombrel_argument_option_t options[] = {
    {.m_letter = 'd',
     .m_name = "decode",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(base64_choice, decodes),
     .m_help = "decode"},
    {.m_letter = 'q',
     .m_name = "quoted-printable",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(base64_choice, is_quoted_printable),
     .m_help = "quoted-printable instead, without line breaks"},
    {.m_letter = 'i',
     .m_name = "ignore-garbage",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(base64_choice, is_lenient),
     .m_help = "with -d, skip characters that do not belong into base64"},
    {.m_letter = 'w',
     .m_name = "wrap",
     .m_kind = def_ombrel_argument_integer64,
     .m_offset = offsetof(base64_choice, columns),
     .m_value = "COLUMNS",
     .m_help = "break lines of base64 after so many characters; 0 for no breaks (default 76)",
     .m_least = 0,
     .m_most = UINT32_MAX},
    program_help_option,
    version_option,
    manual_option,
    completion_option,
    {}};

constexpr ombrel_argument_table_t table = {
    .m_name = "base64",
    .m_operands = "[FILE]",
    .m_most_operands = 1,
    .m_summary = "Encodes a file in base64 or quoted-printable, or decodes it.",
    .m_notes =
        "Without a file, or for \"-\", it reads standard input. It takes the same memory for any length.",
    .m_options = options};

class base64_coder {
public:
    explicit base64_coder(const base64_choice& choice)
        : coder_(ombrel_open_base64()),
          push_(choice.decodes != 0 ? ombrel_push_decode_base64 : ombrel_push_encode_base64),
          decodes_(choice.decodes != 0) {
        if (coder_ == nullptr)
            return;
        coder_->m_line_width = static_cast<uint32_t>(choice.columns);
        coder_->m_lenient = static_cast<uint32_t>(choice.is_lenient);
    }
    ~base64_coder() { ombrel_close_base64(coder_); }
    base64_coder(const base64_coder&) = delete;
    base64_coder& operator=(const base64_coder&) = delete;

    explicit operator bool() const { return coder_ != nullptr; }

    /// What a piece of input, or with size 0 its end, adds to the output; null when there is no memory.
    heap_ptr<char> convert(const char* bytes, size_t size, size_t& made) {
        if (decodes_)
            count_group(bytes, size);
        heap_ptr<char> output;
        if (push_(coder_, bytes, size) == 0)
            output.reset(ombrel_get_base64(coder_, &made));
        is_ended_ = size > 0 && coder_->m_final != 0;
        is_broken_ = is_broken_ || (decodes_ && is_ended_);
        return output;
    }

    /// The decoder takes no more: only a foreign character ends the input by itself.
    bool is_ended() const { return decodes_ && is_ended_; }
    /// Only the decoder drops what is incomplete.
    bool is_invalid() const { return is_broken_ || group_ != 0; }

private:
    // Characters of the alphabet since the last whole group: the decoder drops them at the end.
    void count_group(const char* bytes, size_t size) {
        for (size_t i = 0; i < size; i++)
            group_ += ombrel_ctype_select(static_cast<unsigned char>(bytes[i]), def_ombrel_ctype_base64) != 0;
        group_ %= 4;
    }

    ombrel_base64_t* coder_;
    int (*push_)(ombrel_base64_t*, const void*, size_t);
    bool decodes_, is_ended_ = false, is_broken_ = false;
    unsigned group_ = 0;
};

/// All is valid to it.
class quoted_printable_coder {
public:
    explicit quoted_printable_coder(const base64_choice& choice)
        : coder_(ombrel_open_quoted_printable()), decodes_(choice.decodes != 0) {}
    ~quoted_printable_coder() { ombrel_close_quoted_printable(coder_); }
    quoted_printable_coder(const quoted_printable_coder&) = delete;
    quoted_printable_coder& operator=(const quoted_printable_coder&) = delete;

    explicit operator bool() const { return coder_ != nullptr; }

    // The coder encodes nothing before the end; the pieces by themselves give the same text.
    heap_ptr<char> convert(const char* bytes, size_t size, size_t& made) {
        if (!decodes_)
            return heap_ptr<char>(ombrel_encode_quoted_printable(bytes, size, &made));
        const bool is_pushed = ombrel_push_decode_quoted_printable(coder_, bytes, size) == 0;
        return heap_ptr<char>(is_pushed ? ombrel_get_quoted_printable(coder_, &made) : nullptr);
    }

    static bool is_ended() { return false; }
    static bool is_invalid() { return false; }

private:
    ombrel_quoted_printable_t* coder_;
    bool decodes_;
};

template<typename Coder>
bool put_converted(Coder& coder, const char* bytes, size_t size, bool& has_memory) {
    size_t made = 0;
    const heap_ptr<char> output = coder.convert(bytes, size, made);
    has_memory = static_cast<bool>(output);
    return has_memory && put_bytes(output.get(), made);
}

template<typename Coder>
bool convert(const char* name, Coder&& coder, const char* file) {
    bool is_any = false, is_put = true, has_memory = static_cast<bool>(coder);
    const bool is_read = has_memory && read_input(name, file, [&](const char* bytes, size_t size) {
                             is_any = true;
                             is_put = put_converted(coder, bytes, size, has_memory);
                             return is_put && !coder.is_ended();
                         });
    // The end of nothing would still be a line.
    if (is_read && is_put && is_any)
        is_put = put_converted(coder, nullptr, 0, has_memory);
    if (!has_memory)
        complain(name, file, fault_text(fault_code::no_memory));
    else if (is_read && coder.is_invalid())
        complain(name, file, "invalid input");
    return is_read && is_put && !coder.is_invalid();
}

int run_base64(int argc, char** argv) {
    const ombrel_argument_table_t named = table_of_call(base64_command, argv[0]);
    const command_arguments<base64_choice> arguments(named, argc, argv);
    if (!arguments)
        return arguments.exit_code();
    const char* const file = arguments.operand_count() > 0 ? arguments.operand(0) : "-";
    const bool is_good = arguments->is_quoted_printable != 0
                             ? convert(named.m_name, quoted_printable_coder(*arguments), file)
                             : convert(named.m_name, base64_coder(*arguments), file);
    return exit_code(is_good);
}

} // namespace

constexpr own_command base64_command = command_of(table, run_base64, nullptr, "ombrel_codec");

} // namespace ombrel::command
