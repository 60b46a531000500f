#include <ombrel/http_parser.h>

#include <algorithm>
#include <new>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "protocol/http/http_character.h"
#include "protocol/http/http_fault.h"
#include "protocol/http/http_framing.h"
#include "protocol/http/http_line.h"
#include "protocol/http/http_line_reader.h"
#include "protocol/http/http_scan.h"
#include "text/slice.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

enum class stage {
    start_line,
    fields,
    head_end, ///< its event comes next
    body_bytes,
    chunk_line,
    chunk_end,
    chunk_end_lf, ///< behind the CR
    trailers,
    message_end, ///< its event comes next
    done,
    refused,
};

/// What a stage gives: what ombrel_http_parser_next() gives, or that it goes on at once.
enum step : int { refusal = -1, starving = 0, has_event = 1, go_on = 2 };

} // namespace

struct ombrel_http_parser_ts {
    ombrel_http_parser_options_t options;
    bool is_request;
    http_line_reader lines;
    stage now = stage::start_line;
    int64_t used = 0;       ///< bytes of the connection before this call
    int64_t body_limit = 0; ///< of this message
    int answer = def_ombrel_http_answer_any;
    ombrel_http_fault_t fault{};

    // Of the message under way.
    http_start start{};
    http_framing framing;
    http_body_plan plan{};
    size_t head_size = 0, trailers_size = 0, field_count = 0;
    int64_t body_size = 0; ///< bytes of it that have come
    int64_t left = 0;      ///< bytes of the body or chunk to come; negative for all until the end

    ombrel_http_parser_ts(const ombrel_http_parser_options_t& settings, bool reads_requests,
                          const call_site& giver)
        : options(settings), is_request(reads_requests), lines(giver), body_limit(settings.m_body_limit) {}
};

namespace {

using parser_t = ombrel_http_parser_t;
using event_t = ombrel_http_event_t;

int refuse_call() {
    leave_fault(fault_code::invalid);
    return -1;
}

step refuse(parser_t& parser, int reason, int64_t offset) {
    const http_fault_kind& kind = http_fault_kind_of(reason);
    parser.fault = {reason, parser.is_request ? kind.status : 502, offset};
    parser.now = stage::refused;
    parser.lines.release();
    leave_fault(kind.code);
    return refusal;
}

/// Where the line under way began.
int64_t line_start(const parser_t& parser) {
    return parser.used - static_cast<int64_t>(parser.lines.under_way());
}

step refuse_line(parser_t& parser, int reason, size_t at = 0) {
    return refuse(parser, reason, line_start(parser) + static_cast<int64_t>(at));
}

/// Two limits for a line: its own, and what is left for all of its kind.
struct line_limit {
    size_t own, left;
    int own_reason, left_reason;

    size_t least() const { return std::min(own, left); }
    int reason() const { return own <= left ? own_reason : left_reason; }
};

line_limit field_limit(const parser_t& parser, bool is_trailer) {
    const auto& options = parser.options;
    return {options.m_field_line_limit,
            is_trailer ? options.m_trailer_limit - parser.trailers_size
                       : options.m_head_limit - parser.head_size,
            def_ombrel_http_fault_long_field,
            is_trailer ? def_ombrel_http_fault_large_trailers : def_ombrel_http_fault_large_head};
}

/// Gives has_event when there is a line, without its end.
step take_line(parser_t& parser, http_piece& piece, const line_limit& limit, bool may_fold,
               std::string_view& line) {
    const uint32_t flags = parser.options.m_flags;
    const http_line_step found =
        may_fold && (flags & def_ombrel_http_lenient_fold)
            ? parser.lines.read_folded(piece, limit.least(), (flags & def_ombrel_http_lenient_bare_lf) != 0,
                                       line)
            : parser.lines.read(piece, limit.least(), line);
    if (found == http_line_step::more)
        return starving;
    if (found == http_line_step::too_long)
        return refuse_line(parser, limit.reason(), limit.least());
    if (found == http_line_step::no_memory)
        return refuse_line(parser, def_ombrel_http_fault_no_memory);
    if (const http_line_fault fault = strip_http_line_end(line, flags))
        return refuse_line(parser, fault.reason, fault.at);
    return has_event;
}

/// What is there of lines that may be read in one go; empty when one is under way.
std::string_view whole_lines(const parser_t& parser, const http_piece& piece, size_t limit) {
    return parser.lines.under_way() == 0 ? slice(piece.rest(), 0, limit) : std::string_view();
}

void pass_line(parser_t& parser, http_piece& piece, size_t size) {
    parser.lines.pass(size);
    piece.use(size);
}

/// Bytes of the line that was taken; the next one begins.
size_t end_line(parser_t& parser) {
    const size_t size = parser.lines.under_way();
    parser.lines.forget();
    return size;
}

// The start line.

void begin_request(parser_t& parser, const http_request_line& parts, event_t& event) {
    parser.start = {parts.version, 0, def_ombrel_http_answer_any, parts.method == "CONNECT"};
    event.m_kind = def_ombrel_http_event_request;
    event.m_version = parts.version;
    event.m_target_form = parts.form;
    event.m_method = http_text(parts.method);
    event.m_target = http_text(parts.target);
}

step take_request_line(parser_t& parser, std::string_view line, event_t& event) {
    http_request_line parts;
    if (const http_line_fault fault = parse_http_request_line(line, parser.options.m_flags, parts))
        return refuse_line(parser, fault.reason, fault.at);
    begin_request(parser, parts, event);
    return has_event;
}

step take_status_line(parser_t& parser, std::string_view line, event_t& event) {
    http_status_line parts;
    if (const http_line_fault fault = parse_http_status_line(line, parser.options.m_flags, parts))
        return refuse_line(parser, fault.reason, fault.at);
    parser.start = {parts.version, parts.status, def_ombrel_http_answer_any, false};
    event.m_kind = def_ombrel_http_event_response;
    event.m_version = parts.version;
    event.m_status = parts.status;
    event.m_reason = http_text(parts.reason);
    return has_event;
}

/// What cannot become a start line is refused by its first byte, however long its line is to be.
bool may_begin(const parser_t& parser, char c) {
    return parser.is_request ? is_http(c, http_token) || is_one_of("\r\n", c) : c == 'H';
}

line_limit start_limit(const parser_t& parser) {
    const auto& options = parser.options;
    return {options.m_start_line_limit, options.m_head_limit - parser.head_size,
            def_ombrel_http_fault_long_start_line, def_ombrel_http_fault_large_head};
}

step read_start_line(parser_t& parser, http_piece& piece, event_t& event) {
    if (piece.rest().empty())
        return starving;
    const line_limit limit = start_limit(parser);
    http_request_line request;
    if (const size_t size = parser.is_request
                                ? scan_http_request_line(whole_lines(parser, piece, limit.least()), request)
                                : 0) {
        pass_line(parser, piece, size);
        begin_request(parser, request, event);
        parser.now = stage::fields;
        parser.head_size += end_line(parser);
        return has_event;
    }
    if (parser.lines.under_way() == 0 && !may_begin(parser, piece.rest().front()))
        return refuse_line(parser,
                           parser.is_request ? def_ombrel_http_fault_method : def_ombrel_http_fault_version);
    std::string_view line;
    const step taken = take_line(parser, piece, limit, false, line);
    if (taken != has_event)
        return taken;
    if (!line.empty()) {
        const step parsed = parser.is_request ? take_request_line(parser, line, event)
                                              : take_status_line(parser, line, event);
        if (parsed == refusal)
            return refusal;
        parser.now = stage::fields;
    }
    parser.head_size += end_line(parser);
    return line.empty() ? go_on : has_event;
}

// Fields and trailers.

step take_field(parser_t& parser, const http_field_line& parts, bool is_trailer, event_t& event) {
    if (++parser.field_count > parser.options.m_field_count_limit)
        return refuse_line(parser, def_ombrel_http_fault_many_fields);
    const int reason = !is_trailer ? parser.framing.take_field(parts.name, parts.value, parser.is_request,
                                                               parser.options.m_flags)
                       : is_http_framing_field(parts.name) ? def_ombrel_http_fault_trailer
                                                           : def_ombrel_http_fault_none;
    if (reason != 0)
        return refuse_line(parser, reason);
    event.m_kind = is_trailer ? def_ombrel_http_event_trailer : def_ombrel_http_event_field;
    event.m_name = http_text(parts.name);
    event.m_value = http_text(parts.value);
    return has_event;
}

/// Takes a field's parts apart, or gives go_on for the empty line.
step find_field(parser_t& parser, http_piece& piece, const line_limit& limit, http_field_line& parts) {
    const uint32_t flags = parser.options.m_flags;
    if (!(flags & def_ombrel_http_lenient_fold)) {
        const std::string_view text = whole_lines(parser, piece, limit.least());
        const bool is_end = starts_with(text, http_line_end);
        if (const size_t size = is_end ? http_line_end.size() : scan_http_field_line(text, parts)) {
            pass_line(parser, piece, size);
            return is_end ? go_on : has_event;
        }
    }
    std::string_view line;
    const step taken = take_line(parser, piece, limit, true, line);
    if (taken != has_event || line.empty())
        return taken == has_event ? go_on : taken;
    if (const http_line_fault fault = parse_http_field_line(line, flags, parts))
        return refuse_line(parser, fault.reason, fault.at);
    return has_event;
}

/// Reads a field, or the empty line, which gives go_on.
step read_field(parser_t& parser, http_piece& piece, bool is_trailer, event_t& event) {
    http_field_line parts;
    step taken = find_field(parser, piece, field_limit(parser, is_trailer), parts);
    if (taken == has_event)
        taken = take_field(parser, parts, is_trailer, event);
    if (taken > starving)
        (is_trailer ? parser.trailers_size : parser.head_size) += end_line(parser);
    return taken;
}

// The end of the head.

stage stage_of_body(const http_body_plan& plan) {
    switch (plan.body) {
    case def_ombrel_http_body_length:
        return plan.length == 0 ? stage::message_end : stage::body_bytes;
    case def_ombrel_http_body_chunked:
        return stage::chunk_line;
    case def_ombrel_http_body_close:
        return stage::body_bytes;
    default:
        return stage::message_end;
    }
}

bool is_above_limit(const parser_t& parser, int64_t more) {
    return parser.body_limit >= 0 && more > parser.body_limit - parser.body_size;
}

void tell_plan(const parser_t& parser, int kind, event_t& event) {
    event.m_kind = kind;
    event.m_body = parser.plan.body;
    event.m_flags = parser.plan.head_flags;
    event.m_length = parser.plan.length;
}

step end_head(parser_t& parser, event_t& event) {
    parser.start.answer = parser.answer;
    if (const int reason = plan_http_body(parser.framing, parser.start, parser.options.m_flags, parser.plan))
        return refuse(parser, reason, parser.used);
    if (parser.plan.body == def_ombrel_http_body_length && is_above_limit(parser, parser.plan.length))
        return refuse(parser, def_ombrel_http_fault_large_body, parser.used);
    parser.left = parser.plan.body == def_ombrel_http_body_length ? parser.plan.length : -1;
    parser.now = stage_of_body(parser.plan);
    tell_plan(parser, def_ombrel_http_event_head, event);
    return has_event;
}

// The body.

/// How much of the body's bytes may be taken: what is left, if that is known, up to the limit.
int64_t most_of_body(const parser_t& parser) {
    const int64_t room = parser.body_limit < 0 ? INT64_MAX : parser.body_limit - parser.body_size;
    return parser.left < 0 ? room : std::min(parser.left, room);
}

/// Goes on behind the last bytes of the body or of a chunk. Gives how many more are used: the chunk's line
/// end, when it is there as it mostly is.
size_t end_body_bytes(parser_t& parser, std::string_view behind) {
    if (parser.plan.body != def_ombrel_http_body_chunked) {
        parser.now = stage::message_end;
        return 0;
    }
    const bool has_end = starts_with(behind, http_line_end);
    parser.now = has_end ? stage::chunk_line : stage::chunk_end;
    return has_end ? http_line_end.size() : 0;
}

/// Reads on behind `skipped` bytes, a chunk's line, that are not used yet.
step read_body(parser_t& parser, http_piece& piece, event_t& event, size_t skipped = 0) {
    const std::string_view rest = slice(piece.rest(), skipped);
    const int64_t most = most_of_body(parser);
    if (rest.empty() || most <= 0) {
        piece.use(skipped);
        return rest.empty() ? starving : refuse(parser, def_ombrel_http_fault_large_body, parser.used);
    }
    const auto size = static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(most), rest.size()));
    event.m_kind = def_ombrel_http_event_body;
    event.m_data = http_text(slice(rest, 0, size));
    parser.body_size += static_cast<int64_t>(size);
    if (parser.left > 0)
        parser.left -= static_cast<int64_t>(size);
    piece.use(skipped + size + (parser.left == 0 ? end_body_bytes(parser, slice(rest, size)) : 0));
    return has_event;
}

/// The line of a chunk that cannot be read in one go.
step take_chunk_line(parser_t& parser, http_piece& piece, size_t own_limit, http_chunk_line& parts) {
    const line_limit limit = {own_limit, own_limit, def_ombrel_http_fault_long_chunk_line, 0};
    std::string_view line;
    const step taken = take_line(parser, piece, limit, false, line);
    if (taken != has_event)
        return taken;
    if (const http_line_fault fault = parse_http_chunk_line(line, parser.options.m_flags, parts))
        return refuse_line(parser, fault.reason, fault.at);
    return has_event;
}

/// A chunk that lies whole in the piece, with both its line ends: small ones mostly do.
bool take_whole_chunk(parser_t& parser, http_piece& piece, event_t& event) {
    const std::string_view rest = piece.rest();
    http_chunk_line parts;
    const size_t line =
        scan_http_chunk_line(whole_lines(parser, piece, parser.options.m_chunk_line_limit), parts);
    const auto size = static_cast<uint64_t>(parts.size);
    if (line == 0 || size == 0 || size >= rest.size() - line || is_above_limit(parser, parts.size))
        return false;
    const char* const data = rest.data() + line;
    if (!ends_http_line(data + size, rest.data() + rest.size()))
        return false;
    event.m_kind = def_ombrel_http_event_body;
    event.m_data = {data, static_cast<size_t>(size)};
    parser.body_size += parts.size;
    piece.use(line + static_cast<size_t>(size) + http_line_end.size());
    return true;
}

step read_chunk_line(parser_t& parser, http_piece& piece, event_t& event) {
    if (take_whole_chunk(parser, piece, event))
        return has_event;
    const auto own_limit = parser.options.m_chunk_line_limit;
    http_chunk_line parts;
    const size_t scanned = scan_http_chunk_line(whole_lines(parser, piece, own_limit), parts);
    const step taken = scanned != 0 ? has_event : take_chunk_line(parser, piece, own_limit, parts);
    if (taken != has_event)
        return taken;
    if (parts.extension > parser.options.m_trailer_limit - parser.trailers_size)
        return refuse_line(parser, def_ombrel_http_fault_large_trailers);
    if (is_above_limit(parser, parts.size))
        return refuse_line(parser, def_ombrel_http_fault_large_body);
    end_line(parser);
    parser.trailers_size += parts.extension;
    parser.left = parts.size;
    parser.now = parts.size == 0 ? stage::trailers : stage::body_bytes;
    if (parts.size != 0)
        return read_body(parser, piece, event, scanned);
    piece.use(scanned);
    return go_on;
}

step read_chunk_end(parser_t& parser, http_piece& piece) {
    if (piece.rest().empty())
        return starving;
    const char c = piece.rest().front();
    const bool takes_lf =
        parser.now == stage::chunk_end_lf || (parser.options.m_flags & def_ombrel_http_lenient_bare_lf) != 0;
    if (c == '\n' && takes_lf)
        parser.now = stage::chunk_line;
    else if (c == '\r' && parser.now == stage::chunk_end)
        parser.now = stage::chunk_end_lf;
    else
        return refuse(parser, def_ombrel_http_fault_chunk_end, parser.used);
    piece.use(1);
    return go_on;
}

// The end of the message.

void begin_message(parser_t& parser) {
    parser.lines.release();
    parser.now = stage::start_line;
    parser.start = {};
    parser.framing = {};
    parser.plan = {};
    parser.head_size = parser.trailers_size = parser.field_count = 0;
    parser.body_size = parser.left = 0;
    parser.body_limit = parser.options.m_body_limit;
}

step end_message(parser_t& parser, event_t& event) {
    tell_plan(parser, def_ombrel_http_event_end, event);
    const bool stays = (parser.plan.head_flags & def_ombrel_http_head_keep_alive) != 0;
    if (!(parser.plan.head_flags & def_ombrel_http_head_interim))
        parser.answer = def_ombrel_http_answer_any;
    begin_message(parser);
    if (!stays)
        parser.now = stage::done;
    return has_event;
}

/// Where the empty line of a head or of trailers leads on.
step behind_fields(parser_t& parser, step taken, stage next) {
    if (taken == go_on)
        parser.now = next;
    return taken;
}

step refuse_again(const parser_t& parser) {
    leave_fault(http_fault_kind_of(parser.fault.m_reason).code);
    return refusal;
}

step do_stage(parser_t& parser, http_piece& piece, event_t& event) {
    switch (parser.now) {
    case stage::start_line:
        return read_start_line(parser, piece, event);
    case stage::fields:
        return behind_fields(parser, read_field(parser, piece, false, event), stage::head_end);
    case stage::head_end:
        return end_head(parser, event);
    case stage::body_bytes:
        return read_body(parser, piece, event);
    case stage::chunk_line:
        return read_chunk_line(parser, piece, event);
    case stage::chunk_end:
    case stage::chunk_end_lf:
        return read_chunk_end(parser, piece);
    case stage::trailers:
        return behind_fields(parser, read_field(parser, piece, true, event), stage::message_end);
    case stage::message_end:
        return end_message(parser, event);
    case stage::done:
        return starving;
    case stage::refused:
        break;
    }
    return refuse_again(parser);
}

constexpr ombrel_http_parser_options_t default_options = {
    0, 8192, 8192, 100, 65536, 256, 8192, int64_t{16} << 20,
};

bool are_sound(const ombrel_http_parser_options_t& options) {
    return (options.m_flags & ~def_ombrel_http_lenient_all) == 0 &&
           std::min({options.m_start_line_limit, options.m_field_line_limit, options.m_field_count_limit,
                     options.m_head_limit, options.m_chunk_line_limit, options.m_trailer_limit}) > 0;
}

} // namespace

int ombrel_init_http_parser_options(ombrel_http_parser_options_t* options) {
    if (options == nullptr)
        return refuse_call();
    *options = default_options;
    return 0;
}

ombrel_http_parser_t* ombrel_open_http_parser_tag(int role, const ombrel_http_parser_options_t* options,
                                                  const char* function, unsigned long line) {
    if (options == nullptr)
        options = &default_options;
    if ((role != def_ombrel_http_requests && role != def_ombrel_http_responses) || !are_sound(*options)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    auto* const parser = allocate_record<parser_t>(function, line);
    if (parser == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    return new (parser) parser_t(*options, role == def_ombrel_http_requests, call_site{function, line});
}

int ombrel_close_http_parser(ombrel_http_parser_t* parser) {
    if (parser != nullptr) {
        parser->~ombrel_http_parser_ts();
        ombrel_free(parser);
    }
    return 0;
}

int ombrel_http_parser_reset(ombrel_http_parser_t* parser) {
    if (parser == nullptr)
        return refuse_call();
    begin_message(*parser);
    parser->used = 0;
    parser->answer = def_ombrel_http_answer_any;
    parser->fault = {};
    return 0;
}

int ombrel_http_parser_next(ombrel_http_parser_t* parser, const void* data, size_t size, size_t* at,
                            ombrel_http_event_t* event) {
    if (parser == nullptr || at == nullptr || event == nullptr || (data == nullptr && size != 0) ||
        *at > size)
        return refuse_call();
    const size_t start = *at;
    http_piece piece = {static_cast<const char*>(data), size, *at};
    step taken = go_on;
    while (taken == go_on)
        taken = do_stage(*parser, piece, *event);
    // Until here what the call used is not counted, neither there nor in where a fault is.
    const auto used = static_cast<int64_t>(*at - start);
    parser->used += used;
    if (taken == refusal)
        parser->fault.m_offset += used;
    return taken;
}

int ombrel_http_parser_end(ombrel_http_parser_t* parser, ombrel_http_event_t* event) {
    if (parser == nullptr || event == nullptr)
        return refuse_call();
    if (parser->now == stage::refused)
        return refuse_again(*parser);
    const bool ends_body =
        parser->now == stage::body_bytes && parser->plan.body == def_ombrel_http_body_close;
    const bool ends = ends_body || parser->now == stage::message_end;
    if (!ends && ombrel_http_parser_get_state(parser) != def_ombrel_http_state_idle &&
        parser->now != stage::done)
        return refuse(*parser, def_ombrel_http_fault_incomplete, parser->used);
    if (ends)
        end_message(*parser, *event);
    parser->now = stage::done;
    return ends ? 1 : 0;
}

int ombrel_http_parser_expect(ombrel_http_parser_t* parser, int answer) {
    if (parser == nullptr || parser->is_request || answer < def_ombrel_http_answer_any ||
        answer > def_ombrel_http_answer_connect)
        return refuse_call();
    parser->answer = answer;
    return 0;
}

int ombrel_http_parser_set_body_limit(ombrel_http_parser_t* parser, int64_t limit) {
    if (parser == nullptr)
        return refuse_call();
    parser->body_limit = limit;
    return 0;
}

int ombrel_http_parser_get_state(const ombrel_http_parser_t* parser) {
    if (parser == nullptr)
        return refuse_call();
    switch (parser->now) {
    case stage::start_line:
        return parser->lines.under_way() == 0 ? def_ombrel_http_state_idle : def_ombrel_http_state_head;
    case stage::fields:
    case stage::head_end:
        return def_ombrel_http_state_head;
    case stage::done:
        return def_ombrel_http_state_done;
    case stage::refused:
        return def_ombrel_http_state_refused;
    default:
        return def_ombrel_http_state_body;
    }
}

const ombrel_http_fault_t* ombrel_http_parser_get_fault(const ombrel_http_parser_t* parser) {
    return parser != nullptr ? &parser->fault : nullptr;
}
