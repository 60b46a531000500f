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

#include "digest_algorithm.h"
#include "digest_list.h"

enum { read_size = 256 * 1024, bar_interval_msec = 200 };
enum { exit_good = 0, exit_bad = 1, exit_usage = 2 };

typedef struct {
    const digest_algorithm_t* algorithm; /* null: as the digits of a list tell */
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

static uint64_t size_of(FILE* file) {
    long size = -1;
    if (fseek(file, 0, SEEK_END) == 0)
        size = ftell(file);
    rewind(file);
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

/* 0, or the error that ended it. */
static int digest_stream(const digest_algorithm_t* algorithm, FILE* file, bar_t* bar,
                         char text[digest_text_size]) {
    static unsigned char bytes[read_size];
    digest_state_t state;
    size_t got;
    algorithm->start(&state);
    errno = 0;
    while ((got = fread(bytes, 1, sizeof bytes, file)) > 0) {
        algorithm->push(&state, bytes, got);
        advance_bar(bar, got);
    }
    const int error = ferror(file) ? errno : 0;
    wipe_bar(bar);
    finish_text(algorithm, &state, text);
    return ferror(file) && error == 0 ? EIO : error;
}

/* 0, or -1 after a complaint. */
static int digest_file(const options_t* options, const digest_algorithm_t* algorithm, const char* name,
                       char text[digest_text_size]) {
    bar_t bar = {0, 0, ombrel_time_stamp_msec(), 0};
    const int is_input = strcmp(name, "-") == 0;
    FILE* file = is_input ? stdin : fopen(name, "rb");
    if (file == NULL) {
        complain(name, strerror(errno));
        return -1;
    }
    if (!is_input) {
        setvbuf(file, NULL, _IONBF, 0); /* whole blocks are read */
        bar.total = options->bars ? size_of(file) : 0;
    }
    const int error = digest_stream(algorithm, file, &bar, text);
    if (error != 0)
        complain(name, strerror(error));
    if (is_input)
        clearerr(stdin);
    else
        fclose(file);
    return error != 0 ? -1 : 0;
}

/* ---- printing and checking ---- */

static int print_digest(const options_t* options, const char* name) {
    char text[digest_text_size];
    if (digest_file(options, options->algorithm, name, text) != 0)
        return exit_bad;
    printf("%s%s  ", needs_escapes(name) ? "\\" : "", text);
    print_name(stdout, name);
    putchar('\n');
    return exit_good;
}

typedef struct {
    unsigned long entries, malformed, unreadable, mismatched;
} tally_t;

static int same_digits(const char* text, const char* digits, size_t count) {
    size_t i = 0;
    while (i < count &&
           text[i] == (digits[i] >= 'A' && digits[i] <= 'F' ? digits[i] + ('a' - 'A') : digits[i]))
        i++;
    return i == count;
}

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

static void check_entry(const options_t* options, const digest_algorithm_t* algorithm,
                        const list_entry_t* entry, tally_t* tally) {
    char text[digest_text_size];
    const char* outcome = "OK";
    tally->entries++;
    if (digest_file(options, algorithm, entry->name, text) != 0) {
        tally->unreadable++;
        outcome = "FAILED open or read";
    } else if (!same_digits(text, entry->digits, entry->digit_count)) {
        tally->mismatched++;
        outcome = "FAILED";
    } else if (options->quiet) {
        return;
    }
    print_outcome(entry->name, outcome);
}

static void check_line(const options_t* options, char* line, tally_t* tally) {
    list_entry_t entry;
    if (*line == '#')
        return;
    const int formed = parse_entry(line, &entry) == 0;
    const digest_algorithm_t* algorithm = options->algorithm;
    if (formed && algorithm == NULL)
        algorithm = algorithm_of_digits(entry.digit_count);
    if (formed && algorithm != NULL && 2 * algorithm->size == entry.digit_count)
        check_entry(options, algorithm, &entry, tally);
    else
        tally->malformed++;
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

static int check_list(const options_t* options, const char* name) {
    static char line[list_line_limit];
    tally_t tally = {0, 0, 0, 0};
    const int is_input = strcmp(name, "-") == 0;
    FILE* list = is_input ? stdin : fopen(name, "r");
    if (list == NULL) {
        complain(name, strerror(errno));
        return exit_bad;
    }
    for (line_result_t result; (result = read_line(list, line)) != line_end;) {
        if (result == line_read)
            check_line(options, line, &tally);
        else
            tally.malformed++;
    }
    const int failed = ferror(list);
    if (!is_input)
        fclose(list);
    if (failed) {
        complain(name, "read error");
        return exit_bad;
    }
    return report(name, &tally);
}

/* ---- command line ---- */

static int usage(FILE* stream, int result) {
    fprintf(stream,
            "usage: ombrel_digest [-a ALGORITHM] [FILE...]\n"
            "       ombrel_digest [-a ALGORITHM] [-q] -c [LIST...]\n"
            "  -a, --algorithm NAME  one of %s\n"
            "                        (default sha256; with -c as many digits as the list has)\n"
            "  -c, --check           check the files that the lists name\n"
            "  -q, --quiet           with -c, print nothing for files that match\n"
            "  -h, --help            show this\n",
            algorithm_names());
    return result;
}

static int is_option(const char* argument, const char* letter, const char* word) {
    return strcmp(argument, letter) == 0 || strcmp(argument, word) == 0;
}

/* The index of the first file; `argc` or less. Negative when the program is to end with exit code -1 - value.
 */
static int parse_options(int argc, char** argv, options_t* options) {
    int i = 1;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] != '\0'; i++) {
        if (strcmp(argv[i], "--") == 0)
            return i + 1;
        if (is_option(argv[i], "-h", "--help"))
            return -1 - usage(stdout, exit_good);
        if (is_option(argv[i], "-c", "--check"))
            options->check = 1;
        else if (is_option(argv[i], "-q", "--quiet"))
            options->quiet = 1;
        else if (!is_option(argv[i], "-a", "--algorithm") || i + 1 == argc ||
                 (options->algorithm = find_algorithm(argv[++i])) == NULL)
            return -1 - usage(stderr, exit_usage);
    }
    return i;
}

int main(int argc, char** argv) {
    options_t options = {NULL, 0, 0, ombrel_isatty(1)};
    const int first = parse_options(argc, argv, &options);
    if (first < 0)
        return -1 - first;
    if (options.algorithm == NULL && !options.check)
        options.algorithm = find_algorithm("sha256");
    int (*const work)(const options_t*, const char*) = options.check ? check_list : print_digest;
    int result = exit_good;
    for (int i = first; i < argc; i++)
        if (work(&options, argv[i]) != exit_good)
            result = exit_bad;
    if (first >= argc)
        result = work(&options, "-");
    if (fflush(stdout) != 0 || ferror(stdout)) {
        complain("standard output", "write error");
        result = exit_bad;
    }
    return result;
}
