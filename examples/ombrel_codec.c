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
#include <stdlib.h>
#include <string.h>

#include <ombrel/base64.h>
#include <ombrel/ctype.h>
#include <ombrel/heap.h>
#include <ombrel/quoted_printable.h>

#include "binary_streams.h"

enum { exit_failed = 1, exit_usage = 2, piece_size = 48 * 1024 };

typedef struct conversion {
    int decode;
    int quoted_printable;
    int lenient;
    uint32_t columns;
    ombrel_base64_t* base64;
    ombrel_quoted_printable_t* quoted_printable_coder;
    unsigned group; /* characters of base64 read since the last whole group */
} conversion_t;

static int fail(const char* what) {
    fprintf(stderr, "ombrel_codec: %s\n", what);
    return exit_failed;
}

/* The columns that a text asks for; -1 when it is no number or too large a one. */
static int64_t read_columns(const char* text) {
    int64_t columns = 0;
    if (text == NULL || *text == '\0')
        return -1;
    for (; *text != '\0'; text++) {
        if (*text < '0' || *text > '9')
            return -1;
        columns = columns * 10 + (*text - '0');
        if (columns > UINT32_MAX)
            return -1;
    }
    return columns;
}

/* The letters of one argument; the columns may follow their letter or be the next argument. */
static int read_letters(conversion_t* conversion, const char* letters, char*** next) {
    int64_t columns;
    for (; *letters != '\0'; letters++) {
        switch (*letters) {
        case 'd':
            conversion->decode = 1;
            break;
        case 'q':
            conversion->quoted_printable = 1;
            break;
        case 'i':
            conversion->lenient = 1;
            break;
        case 'w':
            columns = read_columns(letters[1] != '\0' ? letters + 1 : **next != NULL ? *(*next)++ : NULL);
            conversion->columns = (uint32_t)columns;
            return columns < 0 ? -1 : 0;
        default:
            return -1;
        }
    }
    return 0;
}

static int read_arguments(conversion_t* conversion, char** next) {
    while (*next != NULL) {
        const char* argument = *next++;
        if (argument[0] != '-' || argument[1] == '\0' || read_letters(conversion, argument + 1, &next) != 0)
            return -1;
    }
    return 0;
}

static int open_coder(conversion_t* conversion) {
    if (conversion->quoted_printable)
        return (conversion->quoted_printable_coder = ombrel_open_quoted_printable()) != NULL ? 0 : -1;
    conversion->base64 = ombrel_open_base64();
    if (conversion->base64 == NULL)
        return -1;
    conversion->base64->m_line_width = conversion->columns;
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
    written = fwrite(output, 1, made, stdout) == made;
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
    size_t total = 0, size;
    int result = 0;
    while (result == 0 && (size = fread(piece, 1, sizeof piece, stdin)) > 0) {
        result = convert_piece(conversion, piece, size);
        total |= size;
    }
    if (result == 0 && ferror(stdin))
        result = fail("cannot read");
    /* The end of nothing would still be a line. */
    if (result == 0 && total > 0)
        result = write_converted(conversion, NULL, 0);
    if (result == 0 && conversion->group != 0)
        result = fail("truncated input");
    if (fflush(stdout) != 0 && result == 0)
        result = fail("cannot write");
    return result;
}

static const char usage[] =
    "usage: ombrel_codec [-d] [-q] [-i] [-w COLUMNS]\n"
    "Encodes standard input to standard output in base64.\n"
    "  -d          decode\n"
    "  -q          quoted-printable instead\n"
    "  -i          skip foreign characters when base64 is decoded\n"
    "  -w COLUMNS  break lines of base64 after so many (default 76; 0 for no breaks)\n";

int main(int count, char** arguments) {
    conversion_t conversion = {.columns = 76};
    int result;
    make_streams_binary();
    if (count == 2 && (strcmp(arguments[1], "--help") == 0 || strcmp(arguments[1], "-h") == 0))
        return fputs(usage, stdout) < 0 || fflush(stdout) != 0 ? exit_failed : 0;
#ifdef SIGPIPE
    signal(SIGPIPE, SIG_IGN); /* a closed output is reported */
#endif
    if (read_arguments(&conversion, arguments + 1) != 0) {
        fputs(usage, stderr);
        return exit_usage;
    }
    result = open_coder(&conversion) == 0 ? convert_input(&conversion) : fail("out of memory");
    ombrel_close_base64(conversion.base64);
    ombrel_close_quoted_printable(conversion.quoted_printable_coder);
    return result;
}
