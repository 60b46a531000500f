/* A program for web servers: shows a form with an upload, and tells what was sent by it. Bytes of uploads are
 * digested as they come, and nothing is kept, so that they may have any size below the limit.
 *
 * It runs below any server that speaks CGI: copy it to the directory of such programs. With PATH_INFO "/show"
 * it tells of the request instead. */
#include <stdint.h>
#include <string.h>

#include <ombrel_tuk.h>

static const char page[] =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Upload</title></head><body>\n"
    "<form method=\"post\" enctype=\"multipart/form-data\">\n"
    "<label>Note <input name=\"note\"></label> <label>File <input type=\"file\" name=\"file\"></label> "
    "<button>Send</button>\n"
    "</form></body></html>\n";

/* The response, and the part that is being read. */
typedef struct {
    ombrel_cgi_t* cgi;
    ombrel_sha256_t digest;
    uint64_t size;
} report_t;

/* Names may have anything in them; percent-coded they stand in a line. */
static void print_name(ombrel_cgi_t* cgi, const char* label, const char* name) {
    char* const text = ombrel_encode_percent_string(name);
    if (text != NULL)
        ombrel_cgi_printf(cgi, "%s=%s ", label, text);
    ombrel_free(text);
}

static int take_part(ombrel_http_form_t* form, int event, const ombrel_http_form_part_t* part,
                     const void* data, size_t size, void* context) {
    report_t* const report = context;
    (void)form;
    if (event == def_ombrel_http_form_begin) {
        ombrel_init_sha256(&report->digest);
        report->size = 0;
    }
    ombrel_sha256_push(&report->digest, data, size);
    report->size += size;
    if (event != def_ombrel_http_form_end)
        return 0;
    print_name(report->cgi, "name", part->m_name);
    if (part->m_file_name != NULL)
        print_name(report->cgi, "file", part->m_file_name);
    if (part->m_content_type != NULL)
        print_name(report->cgi, "type", part->m_content_type);
    return ombrel_cgi_printf(report->cgi, "size=%llu sha256=%s\n", (unsigned long long)report->size,
                             ombrel_sha256_digest(&report->digest, NULL));
}

/* What came by the form. Its parts are told as they come, so a fault stands behind those that were good. */
static void tell_form(ombrel_cgi_t* cgi) {
    ombrel_http_form_options_t options;
    report_t report = {0};
    ombrel_http_form_t* form;
    report.cgi = cgi;
    ombrel_init_http_form_options(&options);
    options.m_flags = def_ombrel_http_form_allow_nul;
    options.m_handler = take_part;
    options.m_context = &report;
    ombrel_cgi_add_field(cgi, "Content-Type", "text/plain; charset=utf-8");
    form = ombrel_cgi_read_form(cgi, &options);
    if (form == NULL) {
        const char* const why = ombrel_fault_name(ombrel_last_fault());
        ombrel_cgi_set_status(cgi, 400);
        ombrel_cgi_printf(cgi, "fault: %s\n", why);
    } else if (ombrel_http_form_get_fault(form) != 0) {
        ombrel_cgi_set_status(cgi, 400); /* too late once a part was told */
        ombrel_cgi_printf(cgi, "fault: %s at %lld\n",
                          ombrel_http_form_fault_text(ombrel_http_form_get_fault(form)),
                          (long long)ombrel_http_form_get_offset(form));
    }
    ombrel_close_http_form(form);
}

static void tell_request(ombrel_cgi_t* cgi) {
    static const char* const names[] = {"SCRIPT_NAME",     "PATH_INFO",   "SERVER_NAME",
                                        "SERVER_PROTOCOL", "REMOTE_ADDR", "REMOTE_USER"};
    size_t i;
    const char* const agent = ombrel_cgi_get_field(cgi, "User-Agent");
    ombrel_cgi_add_field(cgi, "Content-Type", "text/plain; charset=utf-8");
    for (i = 0; i < sizeof names / sizeof *names; i++)
        ombrel_cgi_printf(cgi, "%s: %s\n", names[i], ombrel_cgi_get_variable(cgi, names[i]));
    ombrel_cgi_printf(cgi, "%s %s, %lld bytes, by %s\n", ombrel_cgi_get_method(cgi),
                      ombrel_cgi_get_query(cgi), (long long)ombrel_cgi_get_content_length(cgi),
                      agent != NULL ? agent : "nobody");
}

int main(void) {
    ombrel_cgi_t* const cgi = ombrel_open_cgi(NULL);
    if (cgi == NULL) {
        ombrel_error_printf("ombrel_cgi: %s\n", ombrel_last_fault() == def_ombrel_fault_not_found
                                                    ? "no web server has started this"
                                                    : ombrel_fault_text());
        return 1;
    }
    if (strcmp(ombrel_cgi_get_path(cgi), "/show") == 0)
        tell_request(cgi);
    else if (strcmp(ombrel_cgi_get_path(cgi), "/away") == 0)
        ombrel_cgi_redirect(cgi, "http://example.com/");
    else if (strcmp(ombrel_cgi_get_method(cgi), "POST") == 0 || *ombrel_cgi_get_query(cgi) != '\0')
        tell_form(cgi);
    else
        ombrel_cgi_write(cgi, page, sizeof page - 1);
    return ombrel_close_cgi(cgi) == 0 ? 0 : 1;
}
