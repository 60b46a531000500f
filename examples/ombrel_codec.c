/*
 * ombrel_codec [-d] [-q] [-i] [-w COLUMNS]: encodes standard input to standard output in base64.
 *
 *   -d  decodes                            -i  skips foreign characters when it decodes base64
 *   -q  quoted-printable instead           -w  breaks base64 lines after COLUMNS; 76, 0 for no breaks
 *
 * It takes the same memory for any length. The exit status is 0, 1 when the input is bad or cannot be read or
 * the output cannot be written, 2 for arguments that it does not know.
 */
#include <signal.h>
#include <stdio.h>

#include <ombrel/argument.h>
#include <ombrel/base64.h>
#include <ombrel/ctype.h>
#include <ombrel/heap.h>
#include <ombrel/quoted_printable.h>

#include "binary_streams.h"
#include "standard_stream.h"

enum { exit_failed = 1, piece_size = 48 * 1024 };

typedef struct conversion {
    int decode;
    int quoted_printable;
    int lenient;
    int64_t columns;
    ombrel_base64_t* base64;
    ombrel_quoted_printable_t* quoted_printable_coder;
    ombrel_file_stream_t *input, *output;
    unsigned group; /* characters of base64 read since the last whole group */
} conversion_t;

static int fail(const char* what) {
    fprintf(stderr, "ombrel_codec: %s\n", what);
    return exit_failed;
}

static int open_coder(conversion_t* conversion) {
    if (conversion->quoted_printable)
        return (conversion->quoted_printable_coder = ombrel_open_quoted_printable()) != NULL ? 0 : -1;
    conversion->base64 = ombrel_open_base64();
    if (conversion->base64 == NULL)
        return -1;
    conversion->base64->m_line_width = (uint32_t)conversion->columns;
    conversion->base64->m_lenient = (uint32_t)conversion->lenient;
    return 0;
}

/* What a piece of input, or with size 0 its end, adds to the output. */
static char* convert(conversion_t* conversion, const char* piece, size_t size, size_t* made) {
    int result;
    if (conversion->quoted_printable) {
        /* The coder encodes nothing before the end; the pieces by themselves give the same text. */
        if (!conversion->decode)
            return ombrel_encode_quoted_printable(piece, size, made);
        result = ombrel_push_decode_quoted_printable(conversion->quoted_printable_coder, piece, size);
        return result == 0 ? ombrel_get_quoted_printable(conversion->quoted_printable_coder, made) : NULL;
    }
    result = conversion->decode ? ombrel_push_decode_base64(conversion->base64, piece, size)
                                : ombrel_push_encode_base64(conversion->base64, piece, size);
    return result == 0 ? ombrel_get_base64(conversion->base64, made) : NULL;
}

static int write_converted(conversion_t* conversion, const char* piece, size_t size) {
    size_t made = 0;
    char* output = convert(conversion, piece, size, &made);
    int written;
    if (output == NULL)
        return fail("out of memory");
    written = ombrel_file_stream_write(conversion->output, output, made) == (int64_t)made;
    ombrel_free(output);
    return written ? 0 : fail("cannot write");
}

/* The decoder drops a group that stays incomplete, so its characters are counted here. */
static void count_characters(conversion_t* conversion, const char* piece, size_t size) {
    const char* const end = piece + size;
    unsigned count = conversion->group;
    for (; piece < end; piece++)
        count += ombrel_ctype_select((unsigned char)*piece, def_ombrel_ctype_base64) != 0;
    conversion->group = count % 4;
}

static int convert_piece(conversion_t* conversion, const char* piece, size_t size) {
    const int result = write_converted(conversion, piece, size);
    if (result != 0 || !conversion->decode || conversion->quoted_printable)
        return result;
    count_characters(conversion, piece, size);
    /* Only a foreign character ends the input before its end was pushed. */
    return conversion->base64->m_final ? fail("invalid input") : 0;
}

static int convert_input(conversion_t* conversion) {
    static char piece[piece_size];
    int64_t size;
    int is_empty = 1, result = 0;
    while (result == 0 && (size = ombrel_file_stream_read(conversion->input, piece, sizeof piece)) != 0) {
        result = size > 0 ? convert_piece(conversion, piece, (size_t)size) : fail("cannot read");
        is_empty = 0;
    }
    /* The end of nothing would still be a line. */
    if (result == 0 && !is_empty)
        result = write_converted(conversion, NULL, 0);
    if (result == 0 && conversion->group != 0)
        result = fail("truncated input");
    return result;
}

static int run(conversion_t* conversion) {
    int result;
    conversion->input = open_standard_stream(0, "r");
    conversion->output = open_standard_stream(1, "w");
    result = conversion->output != NULL && open_coder(conversion) == 0 ? convert_input(conversion)
                                                                       : fail("out of memory");
    if (ombrel_close_file_stream(conversion->output) != 0 && result == 0)
        result = fail("cannot write");
    ombrel_close_file_stream(conversion->input);
    ombrel_close_base64(conversion->base64);
    ombrel_close_quoted_printable(conversion->quoted_printable_coder);
    return result;
}

static conversion_t conversion = {.columns = 76};

static const ombrel_argument_option_t options[] = {
    {.m_letter = 'd',
     .m_name = "decode",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &conversion.decode,
     .m_help = "decode"},
    {.m_letter = 'q',
     .m_name = "quoted-printable",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &conversion.quoted_printable,
     .m_help = "quoted-printable instead"},
    {.m_letter = 'i',
     .m_name = "ignore-garbage",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &conversion.lenient,
     .m_help = "skip foreign characters when base64 is decoded"},
    {.m_letter = 'w',
     .m_name = "wrap",
     .m_kind = def_ombrel_argument_integer64,
     .m_target = &conversion.columns,
     .m_value = "COLUMNS",
     .m_help = "break lines of base64 after so many (default 76; 0 for no breaks)",
     .m_least = 0,
     .m_most = UINT32_MAX},
    {.m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"},
    {.m_name = "manual", .m_kind = def_ombrel_argument_manual, .m_flags = def_ombrel_argument_hidden},
    {.m_name = "completion", .m_kind = def_ombrel_argument_completion, .m_flags = def_ombrel_argument_hidden},
    {0},
};

static const ombrel_argument_table_t table = {
    .m_name = "ombrel_codec",
    .m_summary = "Encodes standard input to standard output in base64.",
    .m_options = options,
};

int main(int count, char** vector) {
    ombrel_arguments_t arguments;
    make_streams_binary();
#ifdef SIGPIPE
    signal(SIGPIPE, SIG_IGN); /* a closed output is reported */
#endif
    if (ombrel_take_arguments(&table, count, vector, NULL, &arguments) != 0)
        return fflush(stdout) != 0 ? exit_failed : arguments.m_exit_code;
    return run(&conversion);
}
