// A file as an answer: whole, in part, or not at all because the client has it.
#include <algorithm>

#include <ombrel/calendar.h>
#include <ombrel/http_field.h>
#include <ombrel/mime.h>
#include <ombrel/printf.h>
#include <ombrel/random.h>

#include "core/fault.h"
#include "platform/file.h"
#include "protocol/http/http_directory_internal.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr char tag[] = "ombrel_serve_http_directory";
constexpr int most_ranges = 64;
constexpr size_t unit_size = 64 * 1024;           // read at a time
constexpr int64_t bytes_at_once = 1 << 20;        // then others have their turn
constexpr int64_t least_sent_by_host = 32 * 1024; // less is read, and goes out with the head by one call
constexpr size_t part_head_size = 512;

/// What of a file is sent, and how far that is.
struct file_answer {
    int descriptor;
    int64_t total; ///< bytes of the file when it was opened
    int count, current;
    int64_t done; ///< bytes of the present range
    bool has_parts;
    bool is_copied;   ///< the host does not send it by itself
    size_t head_done; ///< bytes of the present part's head
    char boundary[33];
    char type[128];
    ombrel_http_range_t ranges[most_ranges];
};

/// What is known of a file beside its bytes.
struct file_facts {
    char tag[72], modified[40], type[128];
    ombrel_instant_t moment;
};

void describe(file_facts& facts, const http_directory& directory, const ombrel_file_info_t& info,
              const char* path, const char* type) {
    ombrel_instant_t now;
    facts.moment = info.m_modified;
    // A time to come would keep clients from asking again.
    if (ombrel_get_instant(&now) == 0 && now.m_seconds < facts.moment.m_seconds)
        facts.moment = now;
    ombrel_snprintf(facts.tag, sizeof facts.tag, "\"%llx-%llx-%llx\"",
                    static_cast<unsigned long long>(info.m_serial),
                    static_cast<unsigned long long>(info.m_size),
                    static_cast<unsigned long long>(info.m_modified.m_seconds) * 1000000000u +
                        static_cast<unsigned>(info.m_modified.m_nanoseconds));
    if (ombrel_format_http_date(facts.modified, sizeof facts.modified, &facts.moment,
                                def_ombrel_http_date_rfc1123) < 0)
        facts.modified[0] = '\0';
    const char* const known = type != nullptr ? type : ombrel_get_mime_type(path);
    const char* const charset = directory.options.m_charset;
    const bool is_text = type == nullptr && charset != nullptr && starts_with(known, "text/");
    ombrel_snprintf(facts.type, sizeof facts.type, is_text ? "%s; charset=%s" : "%s", known,
                    is_text ? charset : "");
}

ombrel_http_text_t field(http_exchange& exchange, const char* name) {
    const char* const value = ombrel_http_exchange_get_field(&exchange, name);
    return {value, value != nullptr ? strlen(value) : 0};
}

ombrel_http_conditions_t conditions_of(http_exchange& exchange) {
    return {field(exchange, "If-Match"), field(exchange, "If-None-Match"),
            field(exchange, "If-Modified-Since"), field(exchange, "If-Unmodified-Since"),
            field(exchange, "If-Range")};
}

void add_facts(http_exchange& exchange, const http_directory& directory, const file_facts& facts) {
    const int max_age = directory.options.m_max_age;
    char caching[32];
    ombrel_snprintf(caching, sizeof caching, max_age == 0 ? "no-cache" : "max-age=%d", max_age);
    ombrel_http_exchange_add_field(&exchange, "ETag", facts.tag);
    if (facts.modified[0] != '\0')
        ombrel_http_exchange_add_field(&exchange, "Last-Modified", facts.modified);
    if (max_age >= 0)
        ombrel_http_exchange_add_field(&exchange, "Cache-Control", caching);
}

/// The head of the present part of several, or, behind the last, their end.
size_t part_head(const file_answer& answer, char (&head)[part_head_size]) {
    char place[80];
    if (answer.current == answer.count)
        return static_cast<size_t>(ombrel_snprintf(head, sizeof head, "\r\n--%s--\r\n", answer.boundary));
    ombrel_format_http_content_range(&answer.ranges[answer.current], answer.total, place, sizeof place);
    return static_cast<size_t>(ombrel_snprintf(head, sizeof head,
                                               "\r\n--%s\r\nContent-Type: %s\r\nContent-Range: %s\r\n\r\n",
                                               answer.boundary, answer.type, place));
}

/// Bytes of the whole body.
int64_t body_size(file_answer& answer) {
    char head[part_head_size];
    int64_t size = 0;
    for (int i = 0; i < answer.count; i++)
        size += answer.ranges[i].m_size;
    for (answer.current = 0; answer.has_parts && answer.current <= answer.count; answer.current++)
        size += static_cast<int64_t>(part_head(answer, head));
    answer.current = 0;
    return size;
}

/// Writes the head of a part: 1 when it is out, 0 when there is no room, -1 on failure.
int write_part_head(http_exchange& exchange, file_answer& answer) {
    char head[part_head_size];
    const size_t size = answer.has_parts ? part_head(answer, head) : 0;
    const int64_t taken =
        ombrel_http_exchange_write(&exchange, head + answer.head_done, size - answer.head_done);
    if (taken < 0)
        return -1;
    answer.head_done += static_cast<size_t>(taken);
    return answer.head_done == size;
}

/// Has the host send bytes of the present range: as many as went so.
int64_t send_bytes(http_exchange& exchange, file_answer& answer) {
    const ombrel_http_range_t& range = answer.ranges[answer.current];
    const int64_t left = range.m_size - answer.done;
    if (left < least_sent_by_host || answer.is_copied)
        return 0;
    const int64_t sent = write_from_file(exchange, answer.descriptor, range.m_first + answer.done,
                                         static_cast<size_t>(std::min(left, bytes_at_once)));
    answer.is_copied = sent < 0;
    answer.done += std::max<int64_t>(sent, 0);
    return std::max<int64_t>(sent, 0);
}

/// Writes bytes of the present range: as many as were taken; -1 also when the file has become shorter. What
/// the client does not take from the host waits as a copy.
int64_t write_bytes(http_exchange& exchange, file_answer& answer) {
    char unit[unit_size];
    if (const int64_t sent = send_bytes(exchange, answer); sent > 0)
        return sent;
    const ombrel_http_range_t& range = answer.ranges[answer.current];
    const size_t wanted = static_cast<size_t>(std::min<int64_t>(range.m_size - answer.done, sizeof unit));
    const int size = platform::read_file_at(answer.descriptor, unit, wanted, range.m_first + answer.done);
    if (size <= 0)
        return -1;
    const int64_t taken = ombrel_http_exchange_write(&exchange, unit, static_cast<size_t>(size));
    answer.done += std::max<int64_t>(taken, 0);
    return taken < size && taken >= 0 ? 0 : taken;
}

/// Sends what the client takes.
int write_file(http_exchange* exchange, void* context) {
    auto& answer = *static_cast<file_answer*>(context);
    if (exchange->is_bare)
        return ombrel_http_exchange_end_answer(exchange);
    for (int64_t sent = 0; sent < bytes_at_once;) {
        const int head = write_part_head(*exchange, answer);
        if (head <= 0)
            return head;
        if (answer.current == answer.count)
            return ombrel_http_exchange_end_answer(exchange);
        const int64_t written = write_bytes(*exchange, answer);
        if (written <= 0)
            return static_cast<int>(written);
        sent += written;
        if (answer.done == answer.ranges[answer.current].m_size) {
            answer.current++;
            answer.done = 0;
            answer.head_done = 0;
        }
    }
    exchange->wants_room = true;
    return 0;
}

void end_file(http_exchange*, int, void* context) {
    auto* const answer = static_cast<file_answer*>(context);
    platform::close_descriptor(answer->descriptor);
    ombrel_free(answer);
}

/// The ranges that are asked for and count: their number, 0 when the whole is sent, -1 when none of them can
/// be.
int read_ranges(http_exchange& exchange, const http_directory& directory, const file_facts& facts,
                int64_t size, ombrel_http_range_t (&ranges)[most_ranges]) {
    const ombrel_http_text_t text = field(exchange, "Range");
    const ombrel_http_conditions_t conditions = conditions_of(exchange);
    if (text.m_data == nullptr || exchange.request.is_head ||
        ombrel_check_http_range_condition(&conditions, facts.tag, &facts.moment) != 1)
        return 0;
    const int count = ombrel_parse_http_ranges(text.m_data, text.m_size, size, ranges,
                                               static_cast<int>(directory.options.m_range_limit));
    return count == 0 ? -1 : std::max(count, 0);
}

void make_boundary(char (&boundary)[33]) {
    uint64_t words[2] = {};
    ombrel_get_random_bytes(words, sizeof words);
    ombrel_snprintf(boundary, sizeof boundary, "%016llx%016llx", static_cast<unsigned long long>(words[0]),
                    static_cast<unsigned long long>(words[1]));
}

/// Begins to send the ranges, or the whole file when there are none.
int begin_file(http_exchange& exchange, file_answer& answer, const file_facts& facts) {
    char type[128] = "", place[80];
    const bool is_whole = answer.count == 0;
    answer.has_parts = answer.count > 1;
    if (is_whole)
        answer.ranges[answer.count++] = {0, answer.total};
    answer.count -= answer.total == 0;
    if (!is_whole && !answer.has_parts) {
        ombrel_format_http_content_range(&answer.ranges[0], answer.total, place, sizeof place);
        ombrel_http_exchange_add_field(&exchange, "Content-Range", place);
    }
    if (answer.has_parts)
        make_boundary(answer.boundary);
    ombrel_snprintf(answer.type, sizeof answer.type, "%s", facts.type);
    ombrel_snprintf(type, sizeof type, answer.has_parts ? "multipart/byteranges; boundary=%s" : "%s",
                    answer.has_parts ? answer.boundary : facts.type);
    return ombrel_http_exchange_begin_answer(&exchange, is_whole ? 200 : 206, type, body_size(answer),
                                             write_file, end_file, &answer);
}

/// Closes the descriptor and answers without a body of the file's.
int answer_without_file(http_exchange& exchange, int descriptor, int status) {
    platform::close_descriptor(descriptor);
    return status == 304 ? ombrel_http_exchange_answer(&exchange, status, nullptr, nullptr, 0)
                         : ombrel_http_exchange_answer_error(&exchange, status, nullptr);
}

int answer_unsatisfied(http_exchange& exchange, int descriptor, int64_t size) {
    char place[80];
    ombrel_format_http_content_range(nullptr, size, place, sizeof place);
    ombrel_http_exchange_add_field(&exchange, "Content-Range", place);
    return answer_without_file(exchange, descriptor, 416);
}

} // namespace

int answer_file(http_exchange& exchange, const http_directory& directory, int descriptor,
                const ombrel_file_info_t& info, const char* path, const char* type) {
    file_facts facts;
    describe(facts, directory, info, path, type);
    const ombrel_http_conditions_t conditions = conditions_of(exchange);
    const int status = ombrel_check_http_conditions(&conditions, 1, facts.tag, &facts.moment);
    add_facts(exchange, directory, facts);
    if (status != 200)
        return answer_without_file(exchange, descriptor, status);
    auto* const answer = static_cast<file_answer*>(ombrel_calloc_tag(1, sizeof(file_answer), tag, __LINE__));
    if (answer == nullptr)
        return answer_without_file(exchange, descriptor, 503);
    answer->descriptor = descriptor;
    answer->total = info.m_size;
    answer->count = read_ranges(exchange, directory, facts, info.m_size, answer->ranges);
    ombrel_http_exchange_add_field(&exchange, "Accept-Ranges", "bytes");
    if (answer->count < 0) {
        ombrel_free(answer);
        return answer_unsatisfied(exchange, descriptor, info.m_size);
    }
    if (begin_file(exchange, *answer, facts) == 0)
        return 0;
    end_file(&exchange, 0, answer);
    return -1;
}

} // namespace ombrel::protocol
