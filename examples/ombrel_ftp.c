/*
 * ombrel_ftp ls URL              lists a directory: kind, size, time, name
 * ombrel_ftp get URL [FILE]      receives a file, going on with what is there of it
 * ombrel_ftp put FILE URL        sends one
 * ombrel_ftp mirror URL FOLDER   receives a directory with all below it; files of the same size and time stay
 *
 * URL is ftp://[USER[:PASSWORD]@]HOST[:PORT]/PATH, the path below the user's directory. In front of the
 * command, -a has the server connect to this host for each file, -v shows the dialogue. It exits with 0 when
 * all is well, 1 when something failed, 2 for a wrong command line.
 */
#include <stdio.h>
#include <string.h>

#include <ombrel_tuk.h>

#include "shown_name.h"
#include "whole_arguments.h"

enum { exit_good = 0, exit_bad = 1, exit_usage = 2 };
/* A server may tell of directories without end. */
enum { deepest = 64 };

static const char* const kinds[] = {"?", "-", "d", "l", "o", "d", "d", "?"};

static int complain(const char* name, const char* what) {
    fflush(stdout);
    fputs("ombrel_ftp: ", stderr);
    show_name(stderr, name);
    fprintf(stderr, ": %s\n", what);
    return -1;
}

static int complain_of(const ombrel_ftp_t* ftp, const char* name) {
    return complain(name, ombrel_ftp_get_error(ftp)->m_text);
}

static int show_dialogue(ombrel_ftp_t* ftp, int is_reply, const char* line, void* context) {
    (void)ftp, (void)context;
    fprintf(stderr, "%s %s\n", is_reply ? "<" : ">", line);
    return 0;
}

static int show_entry(const ombrel_ftp_entry_t* entry, void* context) {
    char when[32] = "-";
    ombrel_civil_time_t time;
    (void)context;
    if (entry->m_kind == def_ombrel_ftp_kind_unread)
        return 0;
    if (entry->m_time_precision != def_ombrel_ftp_time_none &&
        ombrel_make_utc_time(&entry->m_time, &time) == 0)
        ombrel_format_iso_time(when, sizeof when, &time, 0, 0);
    printf("%s %12lld %-20s ", kinds[entry->m_kind], (long long)entry->m_size, when);
    show_name(stdout, entry->m_name);
    putchar('\n');
    return 0;
}

static int list(ombrel_ftp_t* ftp, const char* path) {
    return ombrel_ftp_list(ftp, path, def_ombrel_ftp_list_best, show_entry, NULL) == 0
               ? 0
               : complain_of(ftp, path);
}

static int get(ombrel_ftp_t* ftp, const char* path, const char* file) {
    return ombrel_ftp_download(ftp, path, file, def_ombrel_ftp_resume) == 0 ? 0 : complain_of(ftp, path);
}

static int put(ombrel_ftp_t* ftp, const char* file, const char* path) {
    return ombrel_ftp_upload(ftp, file, path, 0) == 0 ? 0 : complain_of(ftp, file);
}

/* As far as the server tells: a time without seconds is a guess. */
static int is_same_file(const char* path, const ombrel_ftp_entry_t* entry) {
    ombrel_file_info_t info;
    return entry->m_time_precision == def_ombrel_ftp_time_second &&
           ombrel_get_file_info(path, def_ombrel_file_no_follow, &info) == 0 &&
           info.m_kind == def_ombrel_file_kind_regular && info.m_size == entry->m_size &&
           info.m_modified.m_seconds == entry->m_time.m_seconds;
}

static int mirror_file(ombrel_ftp_t* ftp, const char* path, const char* file,
                       const ombrel_ftp_entry_t* entry) {
    if (is_same_file(file, entry))
        return 0;
    if (ombrel_ftp_download(ftp, path, file, 0) != 0)
        return complain_of(ftp, path);
    if (entry->m_time_precision == def_ombrel_ftp_time_second)
        ombrel_set_file_times(file, 0, NULL, &entry->m_time);
    return 0;
}

static int mirror(ombrel_ftp_t* ftp, const char* path, const char* folder, int depth);

/* Only names that are names of this host too become part of a path here. */
static int mirror_entry(ombrel_ftp_t* ftp, const char* path, const char* folder,
                        const ombrel_ftp_entry_t* entry, int depth) {
    if (entry->m_kind != def_ombrel_ftp_kind_file && entry->m_kind != def_ombrel_ftp_kind_directory)
        return 0;
    if ((entry->m_name_faults & def_ombrel_ftp_name_dots) != 0)
        return 0;
    if (entry->m_name_faults != 0)
        return complain(entry->m_name, "is left out: no name for a file here");
    char* const from = ombrel_alloc_sprintf("%s/%s", path[0] != '\0' ? path : ".", entry->m_name);
    char* const to = ombrel_alloc_sprintf("%s/%s", folder, entry->m_name);
    int result = -1;
    if (from != NULL && to != NULL)
        result = entry->m_kind == def_ombrel_ftp_kind_file ? mirror_file(ftp, from, to, entry)
                                                           : mirror(ftp, from, to, depth + 1);
    ombrel_free(from);
    ombrel_free(to);
    return result;
}

static int mirror(ombrel_ftp_t* ftp, const char* path, const char* folder, int depth) {
    if (depth > deepest)
        return complain(path, "lies too deep");
    if (ombrel_make_directory(folder, 0777) != 0 && ombrel_last_fault() != def_ombrel_fault_exists)
        return complain(folder, ombrel_fault_text());
    ombrel_ftp_entry_t* const entries =
        ombrel_alloc_ftp_list(ftp, path[0] != '\0' ? path : NULL, def_ombrel_ftp_list_best, NULL);
    if (entries == NULL)
        return complain_of(ftp, path);
    int result = 0;
    for (const ombrel_ftp_entry_t* each = entries; each->m_name != NULL; each++)
        if (mirror_entry(ftp, path, folder, each, depth) != 0)
            result = -1;
    ombrel_free(entries);
    return result;
}

static const char* last_part(const char* path) {
    const char* const slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

/* @param path what stands behind the slash after the host */
static int run(ombrel_ftp_t* ftp, const char* command, const char* path, const char* file) {
    if (strcmp(command, "ls") == 0)
        return list(ftp, path[0] != '\0' ? path : ".");
    if (strcmp(command, "put") == 0)
        return put(ftp, file, path);
    if (strcmp(command, "mirror") == 0)
        return mirror(ftp, path, file, 0);
    file = file != NULL ? file : last_part(path);
    /* The user wrote the name, but perhaps a whole directory. */
    return ombrel_check_ftp_name(last_part(path)) == 0 ? get(ftp, path, file) : complain(path, "is no file");
}

static int connect_and_run(const ombrel_ftp_options_t* options, const char* command, const ombrel_uri_t* uri,
                           const char* file) {
    ombrel_ftp_t* const ftp = ombrel_open_ftp(options);
    int result = -1;
    if (ftp == NULL)
        complain(uri->m_host, ombrel_fault_text());
    else if (ombrel_ftp_connect(ftp, uri->m_host, uri->m_port < 0 ? def_ombrel_ftp_port : uri->m_port) != 0 ||
             ombrel_ftp_log_in(ftp, uri->m_user, uri->m_password, NULL) != 0)
        complain_of(ftp, uri->m_host);
    else
        result = run(ftp, command, uri->m_path[0] == '/' ? uri->m_path + 1 : uri->m_path, file);
    ombrel_close_ftp(ftp);
    return result;
}

/* The place of the URL among the operands; 0 for a wrong number of them. */
static int url_place(const char* command, int count) {
    if (strcmp(command, "ls") == 0)
        return count == 2;
    if (strcmp(command, "get") == 0)
        return count == 2 || count == 3;
    if (strcmp(command, "mirror") == 0)
        return count == 3;
    return strcmp(command, "put") == 0 && count == 3 ? 2 : 0;
}

int main(int argc, char** argv) {
    static int is_active;
    static int shows;
    static const ombrel_argument_option_t words[] = {
        {.m_letter = 'a',
         .m_kind = def_ombrel_argument_flag,
         .m_target = &is_active,
         .m_help = "has the server connect to this host for each file"},
        {.m_letter = 'v',
         .m_kind = def_ombrel_argument_flag,
         .m_target = &shows,
         .m_help = "shows the dialogue"},
        {0}};
    static const ombrel_argument_table_t table = {.m_name = "ombrel_ftp",
                                                  .m_operands = "ls|get|put|mirror FROM [TO]",
                                                  .m_least_operands = 2,
                                                  .m_most_operands = 3,
                                                  .m_summary = "Moves files from and to FTP servers.",
                                                  .m_options = words};
    ombrel_arguments_t arguments;
    if (ombrel_take_arguments(&table, argc, whole_arguments(argv), NULL, &arguments) != 0)
        return arguments.m_exit_code;
    const int count = arguments.m_operand_count;
    char** const operands = arguments.m_operands;
    const int place = url_place(operands[0], count);
    ombrel_uri_t* const uri = place != 0 ? ombrel_parse_uri(operands[place]) : NULL;
    int result = exit_usage;
    if (uri == NULL || strcmp(uri->m_scheme, "ftp") != 0 || uri->m_host == NULL) {
        complain(operands[0], "needs a URL as ftp://HOST/PATH; see --help");
    } else {
        ombrel_ftp_options_t options;
        ombrel_init_ftp_options(&options);
        options.m_flags = is_active ? def_ombrel_ftp_active : 0;
        options.m_dialogue_handler = shows ? show_dialogue : NULL;
        result = connect_and_run(&options, operands[0], uri, count == 3 ? operands[3 - place] : NULL) == 0
                     ? exit_good
                     : exit_bad;
    }
    if (uri != NULL)
        ombrel_free_uri(uri);
    return result;
}
