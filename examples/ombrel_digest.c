/*
 * ombrel_digest [-a ALGORITHM] [FILE...]           prints "hex  name" for each file
 * ombrel_digest [-a ALGORITHM] [-q] -c [LIST...]   checks the files of such lists
 *
 * Without a file, or for "-", it reads standard input. Lists are those of sha256sum, sha1sum and md5sum, in
 * both directions. On a terminal, files that take their time show a progress bar. It exits with 0 when all is
 * well, 1 when something could not be read or does not match, 2 for a wrong command line.
 */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <ombrel_tuk.h>

#include "binary_streams.h"
#include "shown_name.h"
#include "standard_stream.h"

enum { read_size = 256 * 1024, bar_interval_msec = 200 };
enum { exit_good = 0, exit_bad = 1 };

typedef struct {
    const ombrel_digest_algorithm_t* algorithm; /* null: as the digits of a list tell */
    int check;
    int quiet;
    int bars;
} options_t;

static void complain(const char* name, const char* what) {
    fflush(stdout);
    fputs("ombrel_digest: ", stderr);
    show_name(stderr, name);
    fprintf(stderr, ": %s\n", what);
}

/* ---- reading ---- */

typedef struct {
    uint64_t total; /* 0: not known */
    uint64_t done;
    uint64_t drawn_at;
    int drawn;
} bar_t;

static ombrel_file_stream_t* open_input(const char* name) {
    if (strcmp(name, "-") != 0)
        return ombrel_open_file_stream(name, "r", NULL);
    return open_standard_stream(0, "r");
}

/* 0 when it is not known, as for pipes. */
static uint64_t size_of(ombrel_file_stream_t* file) {
    const int64_t size = ombrel_file_stream_seek(file, 0, def_ombrel_file_seek_end);
    ombrel_file_stream_seek(file, 0, def_ombrel_file_seek_start);
    return size > 0 ? (uint64_t)size : 0;
}

static void advance_bar(bar_t* bar, size_t size) {
    bar->done += size;
    if (bar->total == 0 || ombrel_time_stamp_msec() - bar->drawn_at < bar_interval_msec)
        return;
    bar->drawn_at = ombrel_time_stamp_msec();
    bar->drawn = 1;
    ombrel_progress_bar(bar->done, bar->total, NULL, NULL, " %llu MiB",
                        (unsigned long long)(bar->done >> 20));
}

static void wipe_bar(const bar_t* bar) {
    if (!bar->drawn)
        return;
    ombrel_puts("\r\033[K");
    ombrel_puts(NULL);
}

/* The fault that ended it, or none; the result is in the digest. */
static int digest_stream(ombrel_digest_t* digest, ombrel_file_stream_t* file, bar_t* bar) {
    static unsigned char bytes[read_size];
    int64_t got;
    while ((got = ombrel_file_stream_read_some(file, bytes, sizeof bytes)) > 0) {
        ombrel_digest_push(digest, bytes, (size_t)got);
        advance_bar(bar, (size_t)got);
    }
    const int fault = got < 0 ? ombrel_last_fault() : def_ombrel_fault_none;
    wipe_bar(bar);
    ombrel_digest_result(digest, NULL);
    return fault;
}

/* 0, or -1 after a complaint. */
static int digest_file(const options_t* options, ombrel_digest_t* digest, const char* name) {
    bar_t bar = {0, 0, ombrel_time_stamp_msec(), 0};
    ombrel_file_stream_t* file = open_input(name);
    if (file == NULL) {
        complain(name, ombrel_fault_text());
        return -1;
    }
    bar.total = options->bars && strcmp(name, "-") != 0 ? size_of(file) : 0;
    const int fault = digest_stream(digest, file, &bar);
    ombrel_close_file_stream(file);
    if (fault == def_ombrel_fault_none)
        return 0;
    ombrel_leave_fault(fault);
    complain(name, ombrel_fault_text());
    return -1;
}

/* ---- printing and checking ---- */

static int print_digest(const options_t* options, const char* name) {
    ombrel_digest_t digest;
    ombrel_init_digest(&digest, options->algorithm);
    if (digest_file(options, &digest, name) != 0)
        return exit_bad;
    char* line = ombrel_alloc_digest_line(digest.m_text, name);
    if (line == NULL) {
        complain(name, strerror(ENOMEM));
        return exit_bad;
    }
    puts(line);
    ombrel_free(line);
    return exit_good;
}

typedef struct {
    unsigned long entries, malformed, unreadable, mismatched;
} tally_t;

/* Other names have a backslash before the line, as in a list. */
static void print_outcome(const char* name, const char* outcome) {
    if (is_plain_text(name)) {
        printf("%s: %s\n", name, outcome);
        return;
    }
    putchar('\\');
    show_name(stdout, name);
    printf(": %s\n", outcome);
}

/* A list that is being checked. */
typedef struct {
    const options_t* options;
    tally_t tally;
} checked_list_t;

static void check_entry(const options_t* options, const ombrel_digest_algorithm_t* algorithm,
                        const ombrel_digest_entry_t* entry, tally_t* tally) {
    ombrel_digest_t digest;
    const char* outcome = "OK";
    tally->entries++;
    ombrel_init_digest(&digest, algorithm);
    if (digest_file(options, &digest, entry->m_name) != 0) {
        tally->unreadable++;
        outcome = "FAILED open or read";
    } else if (ombrel_strcasecmp(digest.m_text, entry->m_digits) != 0) {
        tally->mismatched++;
        outcome = "FAILED";
    } else if (options->quiet) {
        return;
    }
    print_outcome(entry->m_name, outcome);
}

static int check_line(const ombrel_digest_entry_t* entry, void* context) {
    checked_list_t* list = context;
    const ombrel_digest_algorithm_t* algorithm = list->options->algorithm;
    if (entry != NULL && algorithm == NULL)
        algorithm = ombrel_find_digest_algorithm_by_size(entry->m_digit_count / 2);
    if (entry != NULL && algorithm != NULL && 2 * algorithm->m_size == entry->m_digit_count)
        check_entry(list->options, algorithm, entry, &list->tally);
    else
        list->tally.malformed++;
    return 0;
}

static void warn(unsigned long count, const char* one, const char* several) {
    if (count == 1)
        fprintf(stderr, "ombrel_digest: WARNING: 1 %s\n", one);
    else if (count > 1)
        fprintf(stderr, "ombrel_digest: WARNING: %lu %s\n", count, several);
}

static int report(const char* list, const tally_t* tally) {
    if (tally->entries == 0) {
        complain(list, "no properly formatted checksum lines found");
        return exit_bad;
    }
    fflush(stdout);
    warn(tally->malformed, "line is improperly formatted", "lines are improperly formatted");
    warn(tally->unreadable, "listed file could not be read", "listed files could not be read");
    warn(tally->mismatched, "computed checksum did NOT match", "computed checksums did NOT match");
    return tally->unreadable + tally->mismatched == 0 ? exit_good : exit_bad;
}

/* 0, or -1 when a failure ended it. */
static int read_list(ombrel_digest_list_t* reader, ombrel_file_stream_t* list) {
    char bytes[4096];
    int64_t got;
    while ((got = ombrel_file_stream_read_some(list, bytes, sizeof bytes)) > 0)
        ombrel_push_digest_list(reader, bytes, (size_t)got);
    ombrel_push_digest_list(reader, NULL, 0);
    return got < 0 ? -1 : 0;
}

static int check_list(const options_t* options, const char* name) {
    checked_list_t checked = {options, {0, 0, 0, 0}};
    ombrel_file_stream_t* list = open_input(name);
    const char* trouble = list == NULL ? ombrel_fault_text() : NULL;
    ombrel_digest_list_t* reader = list != NULL ? ombrel_open_digest_list(check_line, &checked) : NULL;
    if (list != NULL && reader == NULL)
        trouble = strerror(ENOMEM);
    else if (list != NULL && read_list(reader, list) != 0)
        trouble = "read error";
    if (trouble != NULL)
        complain(name, trouble);
    ombrel_close_digest_list(reader);
    ombrel_close_file_stream(list);
    return trouble != NULL ? exit_bad : report(name, &checked.tally);
}

/* ---- command line ---- */

static options_t chosen;

static int choose_algorithm(const ombrel_argument_option_t* option, const char* name, void* algorithm) {
    const ombrel_digest_algorithm_t* const found = ombrel_find_digest_algorithm(name);
    (void)option;
    if (found == NULL)
        return -1;
    *(const ombrel_digest_algorithm_t**)algorithm = found;
    return 0;
}

static const ombrel_argument_option_t options[] = {
    {.m_letter = 'a',
     .m_name = "algorithm",
     .m_kind = def_ombrel_argument_call,
     .m_target = &chosen.algorithm,
     .m_value = "NAME",
     .m_help = "sha256, sha1, md5, crc32, crc64, crc16-ibm, crc16-ccitt\n"
               "(default sha256; with -c as many digits as the list has)",
     .m_handler = choose_algorithm},
    {.m_letter = 'c',
     .m_name = "check",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &chosen.check,
     .m_help = "check the files that the lists name"},
    {.m_letter = 'q',
     .m_name = "quiet",
     .m_kind = def_ombrel_argument_flag,
     .m_target = &chosen.quiet,
     .m_help = "with -c, print nothing for files that match"},
    {.m_letter = 'h', .m_name = "help", .m_kind = def_ombrel_argument_help, .m_help = "show this"},
    {.m_name = "version", .m_kind = def_ombrel_argument_version, .m_help = "print the version"},
    {.m_name = "manual", .m_kind = def_ombrel_argument_manual, .m_flags = def_ombrel_argument_hidden},
    {.m_name = "completion", .m_kind = def_ombrel_argument_completion, .m_flags = def_ombrel_argument_hidden},
    {0},
};

static const ombrel_argument_table_t table = {
    .m_name = "ombrel_digest",
    .m_operands = "[FILE...]",
    .m_summary = "Prints the digests of files, or checks the files of lists of digests.",
    .m_options = options,
};

int main(int argc, char** argv) {
    ombrel_arguments_t arguments;
    make_streams_binary();
    if (ombrel_take_arguments(&table, argc, argv, NULL, &arguments) != 0)
        return arguments.m_exit_code;
    chosen.bars = ombrel_isatty(1);
    if (chosen.algorithm == NULL && !chosen.check)
        chosen.algorithm = ombrel_find_digest_algorithm("sha256");
    int (*const work)(const options_t*, const char*) = chosen.check ? check_list : print_digest;
    int result = exit_good;
    for (int i = 0; i < arguments.m_operand_count; i++)
        if (work(&chosen, arguments.m_operands[i]) != exit_good)
            result = exit_bad;
    if (arguments.m_operand_count == 0)
        result = work(&chosen, "-");
    if (fflush(stdout) != 0 || ferror(stdout)) {
        complain("standard output", "write error");
        result = exit_bad;
    }
    return result;
}
