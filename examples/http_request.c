#include "http_request.h"

#include <string.h>

#include <ombrel_tuk.h>

size_t http_find_head_end(const char* data, size_t size) {
    size_t i = 0;
    while (i < size) {
        const char* line_feed = memchr(data + i, '\n', size - i);
        if (line_feed == NULL)
            return 0;
        i = (size_t)(line_feed - data) + 1;
        if (i < size && data[i] == '\n')
            return i + 1;
        if (i + 1 < size && data[i] == '\r' && data[i + 1] == '\n')
            return i + 2;
    }
    return 0;
}

/* Cuts the next line off; null at the end. */
static char* next_line(char** cursor) {
    char* line = *cursor;
    char* end = strchr(line, '\n');
    if (end == NULL)
        return NULL;
    *cursor = end + 1;
    if (end > line && end[-1] == '\r')
        end--;
    *end = '\0';
    return line;
}

static const char hex_digits[] = "0123456789ABCDEFabcdef";

/* Decodes %XX in place; -1 for a broken or a zero byte. */
static int decode_path(char* path) {
    char* out = path;
    for (char* in = path; *in != '\0'; in++) {
        int value = (unsigned char)*in;
        if (*in == '%') {
            const char* digits = in + 1;
            if (strspn(digits, hex_digits) < 2)
                return -1;
            ombrel_scan_atox_limit(ombrel_scan_peek_mem, ombrel_scan_pop_mem, &digits, 2, &value, 16);
            if (value == 0)
                return -1;
            in += 2;
        }
        *out++ = (char)value;
    }
    *out = '\0';
    return 0;
}

static int parse_request_line(char* line, http_request_t* request) {
    static const struct {
        const char* name;
        http_method_t method;
    } methods[] = {{"GET", http_method_get}, {"HEAD", http_method_head}, {"POST", http_method_post}};

    char* target = strchr(line, ' ');
    if (target == NULL || target == line)
        return 400;
    *target++ = '\0';
    char* version = strchr(target, ' ');
    if (version == NULL)
        return 400;
    *version++ = '\0';
    for (const char* c = line; *c != '\0'; c++)
        if (*c < 'A' || *c > 'Z')
            return 400;
    if (strncmp(version, "HTTP/", 5) != 0)
        return 400;
    if (strcmp(version, "HTTP/1.1") != 0 && strcmp(version, "HTTP/1.0") != 0)
        return 505;
    request->keep_alive = version[7] == '1';

    request->method = http_method_other;
    for (size_t i = 0; i < sizeof methods / sizeof *methods; i++)
        if (strcmp(line, methods[i].name) == 0)
            request->method = methods[i].method;

    if (strncmp(target, "http://", 7) == 0) { /* the absolute form that proxies send */
        target = strchr(target + 7, '/');
        if (target == NULL)
            return 400;
    }
    if (*target != '/' && strcmp(target, "*") != 0)
        return 400;
    char* query = strchr(target, '?');
    if (query != NULL)
        *query++ = '\0';
    request->path = target;
    request->query = query != NULL ? query : target + strlen(target);
    return decode_path(request->path) == 0 ? 0 : 400;
}

/* A length is digits alone: no sign, no blank, and few enough not to overflow. */
static int parse_length(const char* text, size_t* length) {
    const size_t digits = strspn(text, "0123456789");
    if (digits == 0 || text[digits] != '\0')
        return 400;
    if (digits > 9 || ombrel_atoi(text) > http_body_limit)
        return 413;
    *length = (size_t)ombrel_atoi(text);
    return 0;
}

typedef struct {
    int hosts;
    int lengths;
} seen_headers_t;

static int parse_header(char* name, char* value, http_request_t* request, seen_headers_t* seen) {
    if (ombrel_strcasecmp(name, "host") == 0) {
        seen->hosts++;
    } else if (ombrel_strcasecmp(name, "content-length") == 0) {
        seen->lengths++;
        return parse_length(value, &request->content_length);
    } else if (ombrel_strcasecmp(name, "transfer-encoding") == 0) {
        if (ombrel_strcasecmp(value, "chunked") != 0)
            return 501;
        request->chunked = 1;
    } else if (ombrel_strcasecmp(name, "connection") == 0) {
        if (ombrel_strcasestr(value, "close") != NULL)
            request->keep_alive = 0;
        else if (ombrel_strcasestr(value, "keep-alive") != NULL)
            request->keep_alive = 1;
    } else if (ombrel_strcasecmp(name, "expect") == 0) {
        request->expects_continue = ombrel_strcasecmp(value, "100-continue") == 0;
    }
    return 0;
}

int http_parse_head(char* head, size_t size, http_request_t* request) {
    seen_headers_t seen = {0, 0};
    memset(request, 0, sizeof *request);
    if (memchr(head, '\0', size) != NULL)
        return 400;
    head[size] = '\0';

    char* cursor = head;
    char* line = next_line(&cursor);
    int status = line != NULL ? parse_request_line(line, request) : 400;
    const int needs_host = request->keep_alive; /* so far: whether it is HTTP/1.1 */
    while (status == 0 && (line = next_line(&cursor)) != NULL && *line != '\0') {
        char* value = strchr(line, ':');
        /* No name, a folded line, or a blank before the colon: each a way to smuggle a header in. */
        if (value == NULL || value == line || strcspn(line, " \t") < (size_t)(value - line))
            return 400;
        *value++ = '\0';
        status = parse_header(line, ombrel_trim_string(value), request, &seen);
    }
    if (status != 0)
        return status;
    const int two_lengths = seen.lengths > 1 || (seen.lengths == 1 && request->chunked);
    return seen.hosts > 1 || (needs_host && seen.hosts == 0) || two_lengths ? 400 : 0;
}

/* Takes the bytes of a line into the state; 1 when the line is complete, -1 when it is too long. */
static int collect_line(http_chunks_t* chunks, char c) {
    if (c == '\n') {
        if (chunks->line_size > 0 && chunks->line[chunks->line_size - 1] == '\r')
            chunks->line_size--;
        chunks->line[chunks->line_size] = '\0';
        return 1;
    }
    /* Of a trailer, which nobody reads, only its being there counts. */
    if (chunks->line_size + 1 >= sizeof chunks->line)
        return chunks->state == chunk_trailer ? 0 : -1;
    chunks->line[chunks->line_size++] = c;
    return 0;
}

static int begin_chunk(http_chunks_t* chunks) {
    const size_t digits = strspn(chunks->line, hex_digits);
    const char after = chunks->line[digits];
    if (digits == 0 || digits > 7 || (after != '\0' && after != ';' && after != ' ' && after != '\t'))
        return -1;
    const int size = ombrel_atox(chunks->line, 16);
    chunks->left = (size_t)size;
    chunks->state = size > 0 ? chunk_data : chunk_trailer;
    return 0;
}

/* One byte that is no body byte; -1 when it does not belong there. */
static int take_framing(http_chunks_t* chunks, char c) {
    const int complete = collect_line(chunks, c);
    if (complete <= 0)
        return complete;
    const size_t line_size = chunks->line_size;
    chunks->line_size = 0;
    switch (chunks->state) {
    case chunk_size_line:
        return begin_chunk(chunks);
    case chunk_data_end:
        chunks->state = chunk_size_line;
        return line_size == 0 ? 0 : -1;
    default:
        if (line_size == 0)
            chunks->state = chunk_done;
        return 0;
    }
}

long http_decode_chunks(http_chunks_t* chunks, const char* data, size_t size, char* body, size_t* room) {
    size_t used = 0;
    while (used < size && chunks->state != chunk_done) {
        if (chunks->state != chunk_data) {
            if (take_framing(chunks, data[used]) < 0)
                return -1;
            used++;
            continue;
        }
        const size_t now = chunks->left < size - used ? chunks->left : size - used;
        if (now > *room)
            return -2;
        memcpy(body, data + used, now);
        body += now;
        *room -= now;
        used += now;
        chunks->left -= now;
        if (chunks->left == 0)
            chunks->state = chunk_data_end;
    }
    return (long)used;
}

int http_query_value(const char* query, const char* name, char** value) {
    const size_t name_size = strlen(name);
    *value = NULL;
    for (const char* cursor = query; *cursor != '\0';) {
        const char* word = ombrel_get_word_sep_c(0, "&", &cursor);
        if (strncmp(word, name, name_size) == 0 && word[name_size] == '=') {
            const size_t size = (size_t)(cursor - word) - name_size - 1;
            char* raw = ombrel_strndup(word + name_size + 1, size);
            if (raw != NULL)
                *value = ombrel_decode_percent_string(raw);
            ombrel_check_free(raw);
            return *value != NULL ? 0 : -1;
        }
        if (*cursor != '\0')
            cursor++;
    }
    return 0;
}
