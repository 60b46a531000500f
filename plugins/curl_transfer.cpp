#include "curl_transfer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <ombrel/global_break.h>
#include <ombrel/output.h>
#include <ombrel/printf.h>
#include <ombrel/progress.h>
#include <ombrel/string.h>
#include <ombrel/time.h>
#include <ombrel/version.h>

#include "ctx_options.h"

namespace {

constexpr int most_redirects = 1000;
constexpr int slice_ms = 200; // how soon a global break is seen
constexpr uint64_t bar_interval_ms = 200;

template<typename Self>
Self& self_of(void* self) {
    return *static_cast<Self*>(self);
}

struct error_pair {
    CURLcode result;
    int error;
};

constexpr error_pair errors[] = {
    {CURLE_UNSUPPORTED_PROTOCOL, def_ombrel_ctx_error_not_supported},
    {CURLE_URL_MALFORMAT, def_ombrel_ctx_error_syntax},
    {CURLE_COULDNT_RESOLVE_PROXY, def_ombrel_ctx_error_unknown_host},
    {CURLE_COULDNT_RESOLVE_HOST, def_ombrel_ctx_error_unknown_host},
    {CURLE_REMOTE_FILE_NOT_FOUND, def_ombrel_ctx_error_not_found},
    {CURLE_COULDNT_CONNECT, def_ombrel_ctx_error_unreachable},
    {CURLE_SEND_ERROR, def_ombrel_ctx_error_disconnected},
    {CURLE_RECV_ERROR, def_ombrel_ctx_error_disconnected},
    {CURLE_GOT_NOTHING, def_ombrel_ctx_error_disconnected},
    {CURLE_PARTIAL_FILE, def_ombrel_ctx_error_disconnected},
    {CURLE_REMOTE_ACCESS_DENIED, def_ombrel_ctx_error_access_denied},
    {CURLE_LOGIN_DENIED, def_ombrel_ctx_error_access_denied},
    {CURLE_PEER_FAILED_VERIFICATION, def_ombrel_ctx_error_access_denied},
    {CURLE_SSL_CACERT_BADFILE, def_ombrel_ctx_error_access_denied},
    {CURLE_OUT_OF_MEMORY, def_ombrel_ctx_error_no_memory},
    {CURLE_OPERATION_TIMEDOUT, def_ombrel_ctx_error_timed_out},
    {CURLE_FTP_ACCEPT_TIMEOUT, def_ombrel_ctx_error_timed_out},
    {CURLE_BAD_FUNCTION_ARGUMENT, def_ombrel_ctx_error_invalid_argument},
    {CURLE_READ_ERROR, def_ombrel_ctx_error_io},
    {CURLE_WRITE_ERROR, def_ombrel_ctx_error_io},
};

struct status_pair {
    long status;
    int error;
};

constexpr status_pair statuses[] = {
    {401, def_ombrel_ctx_error_access_denied}, {403, def_ombrel_ctx_error_access_denied},
    {407, def_ombrel_ctx_error_access_denied}, {404, def_ombrel_ctx_error_not_found},
    {410, def_ombrel_ctx_error_not_found},
};

// Where a redirection may lead; empty forbids each.
const char* redirect_schemes(int ctx) {
    const char* const schemes = ombrel_ctx_get_option(ctx, "schemes");
    const bool http = schemes == nullptr || ombrel_compare_case_string(schemes, "|", "http") == 0;
    const bool https = schemes == nullptr || ombrel_compare_case_string(schemes, "|", "https") == 0;
    return http && https ? "http,https" : http ? "http" : https ? "https" : "";
}

bool is_blank(std::string_view line) {
    return line == "\r\n" || line == "\n";
}

} // namespace

int ctx_error_of(CURLcode result) {
    if (result == CURLE_OK)
        return def_ombrel_ctx_error_none;
    const auto* const found = std::find_if(std::begin(errors), std::end(errors),
                                           [=](const error_pair& pair) { return pair.result == result; });
    return found != std::end(errors) ? found->error : def_ombrel_ctx_error_protocol;
}

int ctx_error_of_status(long status) {
    if (status < 400)
        return def_ombrel_ctx_error_none;
    const auto* const found = std::find_if(std::begin(statuses), std::end(statuses),
                                           [=](const status_pair& pair) { return pair.status == status; });
    return found != std::end(statuses) ? found->error : def_ombrel_ctx_error_protocol;
}

// When a wait ends: some time after it began, or after the transfer last moved since.
struct transfer::deadline {
    int limit_ms; // negative for none
    bool counts_from_progress;
    uint64_t from = ombrel_time_stamp_msec();

    int left(uint64_t moved_at) const {
        if (limit_ms < 0)
            return slice_ms;
        const uint64_t start = counts_from_progress ? std::max(from, moved_at) : from;
        const uint64_t passed = ombrel_time_stamp_msec() - start;
        const auto limit = static_cast<uint64_t>(limit_ms);
        return passed >= limit ? 0 : static_cast<int>(std::min<uint64_t>(limit - passed, slice_ms));
    }
};

transfer::~transfer() {
    if (drawn_at_ != 0)
        ombrel_puts("\n");
    if (multi_ != nullptr && easy_ != nullptr)
        curl_multi_remove_handle(multi_, easy_);
    curl_easy_cleanup(easy_);
    curl_multi_cleanup(multi_);
    curl_slist_free_all(request_lines_);
}

template<typename Value>
int transfer::set(CURLoption option, Value value) {
    return ctx_error_of(curl_easy_setopt(easy_, option, value));
}

int transfer::set_text(CURLoption option, const char* text) {
    return text != nullptr ? set(option, text) : 0;
}

int transfer::set_request_lines(const char* lines) {
    for (std::string_view rest = lines != nullptr ? lines : ""; !rest.empty();) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        const size_t size = end > 0 && rest[end - 1] == '\r' ? end - 1 : end;
        const heap_text line(rest.substr(0, size));
        curl_slist* const longer = line && size > 0 ? curl_slist_append(request_lines_, line.get()) : nullptr;
        if (longer != nullptr)
            request_lines_ = longer;
        else if (size > 0)
            return def_ombrel_ctx_error_no_memory;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return request_lines_ != nullptr ? set(CURLOPT_HTTPHEADER, request_lines_) : 0;
}

int transfer::set_direction(int ctx) {
    const char* const method = ombrel_ctx_get_option(ctx, "method");
    // libcurl would wait for the body that an answer to this one announces and does not have.
    if (method != nullptr && ombrel_strcasecmp(method, "HEAD") == 0)
        return set(CURLOPT_NOBODY, 1L);
    if (const int error = set_text(CURLOPT_CUSTOMREQUEST, method))
        return error;
    if (!options_.sends)
        return set_text(CURLOPT_RANGE, ombrel_ctx_get_option(ctx, "range"));
    if (const int error = set(CURLOPT_UPLOAD, 1L))
        return error;
    if (const int error = set(CURLOPT_APPEND, options_.appends ? 1L : 0L))
        return error;
    return set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(options_.size));
}

int transfer::set_connection(int ctx) {
    const struct {
        CURLoption option;
        long value;
    } numbers[] = {
        {CURLOPT_NOSIGNAL, 1},
        {CURLOPT_NOPROGRESS, 0},
        // What has been sent cannot be sent again.
        {CURLOPT_FOLLOWLOCATION, options_.follows_redirects() ? 1 : 0},
        {CURLOPT_MAXREDIRS, std::clamp(options_.redirects, 0, most_redirects)},
        {CURLOPT_VERBOSE, options_.is_verbose ? 1 : 0},
        {CURLOPT_SSL_VERIFYPEER, options_.is_insecure ? 0 : 1},
        {CURLOPT_SSL_VERIFYHOST, options_.is_insecure ? 0 : 2},
    };
    for (const auto& number : numbers)
        if (const int error = set(number.option, number.value))
            return error;
    const heap_text agent("ombrel_tuk/", ombrel_get_tuk_version_string());
    const struct {
        CURLoption option;
        const char* text;
    } texts[] = {
        {CURLOPT_URL, options_.source},
        {CURLOPT_PROTOCOLS_STR, options_.is_http ? "http,https" : "ftp,ftps"},
        {CURLOPT_REDIR_PROTOCOLS_STR, redirect_schemes(ctx)},
        {CURLOPT_USERAGENT, ombrel_ctx_get_option_string_ex(ctx, "user_agent", agent.get())},
        {CURLOPT_USERPWD, ombrel_ctx_get_option(ctx, "user")},
        {CURLOPT_PROXY, ombrel_ctx_get_option(ctx, "proxy")},
        {CURLOPT_CAINFO, ombrel_ctx_get_option(ctx, "cainfo")},
    };
    for (const auto& text : texts)
        if (const int error = set_text(text.option, text.text))
            return error;
    return 0;
}

int transfer::set_up(int ctx) {
    multi_ = curl_multi_init();
    easy_ = curl_easy_init();
    if (multi_ == nullptr || easy_ == nullptr)
        return def_ombrel_ctx_error_no_memory;
    set(CURLOPT_ERRORBUFFER, error_);
    set(CURLOPT_WRITEFUNCTION, on_body);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_READFUNCTION, on_request);
    set(CURLOPT_READDATA, this);
    set(CURLOPT_HEADERFUNCTION, on_header);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_XFERINFOFUNCTION, on_progress);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_DEBUGFUNCTION, on_debug);
    set(CURLOPT_DEBUGDATA, this);
    if (const int error = set_connection(ctx))
        return error;
    if (const int error = set_direction(ctx))
        return error;
    return set_request_lines(ombrel_ctx_get_option(ctx, "httpheader"));
}

int transfer::start(int ctx) {
    if (const int error = set_up(ctx))
        return error;
    if (curl_multi_add_handle(multi_, easy_) != CURLM_OK)
        return def_ombrel_ctx_error_no_memory;
    const bool reached = run_until([this] { return sending_is_paused_ || is_answered(); },
                                   deadline{options_.timeout_ms, true});
    if (!reached)
        return def_ombrel_ctx_error_timed_out;
    // What went wrong behind the beginning of the body is told when that has been read.
    return received_ > 0 ? refusal() : outcome();
}

void transfer::step() {
    int running = 0;
    if (const CURLMcode code = curl_multi_perform(multi_, &running); code != CURLM_OK) {
        has_ended_ = true;
        result_ = code == CURLM_OUT_OF_MEMORY ? CURLE_OUT_OF_MEMORY : CURLE_RECV_ERROR;
        return;
    }
    int left;
    while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        has_ended_ = true;
        result_ = message->data.result;
    }
}

// Whether the wait was worth it: true when the test holds or the transfer has ended.
template<typename Test>
bool transfer::run_until(Test is_reached, const deadline& limit) {
    for (;;) {
        if (has_ended_ || is_reached())
            return true;
        step();
        if (has_ended_ || is_reached())
            return true;
        const int left = limit.left(moved_at_);
        if (left == 0 || ombrel_get_global_break() != 0)
            return false;
        curl_multi_poll(multi_, nullptr, 0, left, nullptr);
    }
}

// Takes up what was paused for want of room or of bytes, where there are some now. The body may come within.
void transfer::resume() {
    const bool receives = receiving_is_paused_ && waiting_from_ == waiting_to_;
    const bool sends = sending_is_paused_ && (offered_size_ > 0 || sending_has_ended_);
    if (has_ended_ || (!receives && !sends))
        return;
    receiving_is_paused_ = receiving_is_paused_ && !receives;
    sending_is_paused_ = sending_is_paused_ && !sends;
    curl_easy_pause(easy_,
                    (receiving_is_paused_ ? CURLPAUSE_RECV : 0) | (sending_is_paused_ ? CURLPAUSE_SEND : 0));
}

bool transfer::is_answered() const {
    return has_ended_ || headers_complete_ || (!options_.sends && received_ > 0);
}

int transfer::refusal() const {
    long status = 0;
    if (options_.is_http && !options_.accepts_any_status)
        curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return ctx_error_of_status(status);
}

int transfer::outcome() const {
    if (!has_ended_ || result_ == CURLE_OK)
        return refusal();
    long host_error = 0;
    curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &host_error);
    return result_ == CURLE_COULDNT_CONNECT && host_error == ECONNREFUSED ? def_ombrel_ctx_error_refused
                                                                          : ctx_error_of(result_);
}

const char* transfer::error_text() const {
    return *error_ != '\0' ? error_ : curl_easy_strerror(result_);
}

void transfer::get_reason(char* text, size_t size) const {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    if (has_ended_ && result_ != CURLE_OK)
        ombrel_snprintf(text, size, "%s", error_text());
    else if (refusal() != def_ombrel_ctx_error_none)
        ombrel_snprintf(text, size, "the server answered %ld", status);
    else
        text[0] = '\0';
}

int transfer::read(char* to, size_t room) {
    if (room == 0)
        return 0;
    if (const int error = end_sending())
        return -error;
    const size_t stored = std::min(room, waiting_to_ - waiting_from_);
    if (stored > 0) {
        memcpy(to, waiting_ + waiting_from_, stored);
        waiting_from_ += stored;
        return static_cast<int>(stored);
    }
    wanted_ = to;
    wanted_size_ = room;
    resume();
    const bool reached = run_until([&] { return wanted_size_ < room; }, deadline{options_.timeout_ms, true});
    const size_t got = room - std::exchange(wanted_size_, 0);
    wanted_ = nullptr;
    if (got > 0)
        return static_cast<int>(got);
    return reached ? -ctx_error_of(result_) : -def_ombrel_ctx_error_timed_out;
}

int transfer::wait_readable(int timeout_ms) {
    const deadline limit{timeout_ms, false};
    if (const int error = end_sending(limit))
        return error == def_ombrel_ctx_error_timed_out && !has_ended_ ? 0 : -error;
    resume();
    return run_until([this] { return waiting_from_ < waiting_to_; }, limit) ? 1 : 0;
}

int transfer::write(const char* from, size_t size) {
    if (!options_.sends || sending_has_ended_)
        return -def_ombrel_ctx_error_not_supported;
    offered_ = from;
    offered_size_ = size;
    resume();
    const bool reached =
        run_until([this] { return offered_size_ == 0; }, deadline{options_.timeout_ms, true});
    const size_t taken = size - std::exchange(offered_size_, 0);
    offered_ = nullptr;
    if (taken > 0 || size == 0)
        return static_cast<int>(taken);
    if (!reached)
        return -def_ombrel_ctx_error_timed_out;
    const int error = outcome();
    return error != 0 ? -error : -def_ombrel_ctx_error_disconnected;
}

int transfer::wait_writable(int timeout_ms) {
    if (!options_.sends || sending_has_ended_)
        return -def_ombrel_ctx_error_not_supported;
    if (!run_until([this] { return sending_is_paused_; }, deadline{timeout_ms, false}))
        return 0;
    return has_ended_ ? -def_ombrel_ctx_error_disconnected : 1;
}

int transfer::end_sending() {
    return end_sending(deadline{options_.timeout_ms, true});
}

int transfer::end_sending(const deadline& limit) {
    if (!options_.sends)
        return 0;
    sending_has_ended_ = true;
    resume();
    if (!run_until([this] { return is_answered(); }, limit))
        return def_ombrel_ctx_error_timed_out;
    return outcome();
}

size_t transfer::take_body(const char* bytes, size_t size) {
    if (waiting_from_ < waiting_to_) {
        receiving_is_paused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    const size_t direct = std::min(size, wanted_size_);
    const size_t rest = size - direct;
    if (rest > sizeof waiting_)
        return 0;
    if (direct > 0) {
        memcpy(wanted_, bytes, direct);
        wanted_ += direct;
        wanted_size_ -= direct;
    }
    memcpy(waiting_, bytes + direct, rest);
    waiting_from_ = 0;
    waiting_to_ = rest;
    received_ += static_cast<int64_t>(size);
    moved_at_ = ombrel_time_stamp_msec();
    return size;
}

size_t transfer::give_body(char* to, size_t room) {
    const size_t given = std::min(room, offered_size_);
    moved_at_ = ombrel_time_stamp_msec();
    if (given == 0 && !sending_has_ended_) {
        sending_is_paused_ = true;
        return CURL_READFUNC_PAUSE;
    }
    if (given > 0) {
        memcpy(to, offered_, given);
        offered_ += given;
        offered_size_ -= given;
        sent_ += static_cast<int64_t>(given);
    }
    return given;
}

// The headers are complete where an answer ends them that no further one follows.
bool transfer::take_header(std::string_view line) {
    moved_at_ = ombrel_time_stamp_msec();
    if (options_.is_http && line.starts_with("HTTP/"))
        headers_.clear();
    if (!headers_.add(line))
        return false;
    if (!options_.is_http || !is_blank(line))
        return true;
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    const bool redirects = options_.follows_redirects() && status >= 300 && status < 400 &&
                           headers_.field("location").data() != nullptr;
    headers_complete_ = status >= 200 && !redirects;
    return true;
}

// Now and then, and when all is there.
void transfer::show_progress(curl_off_t total, curl_off_t done) {
    const uint64_t now = ombrel_time_stamp_msec();
    const bool is_due = done == total ? done != drawn_ : now - drawn_at_ >= bar_interval_ms;
    if (!options_.shows_progress || total <= 0 || !is_due)
        return;
    drawn_at_ = now;
    drawn_ = done;
    ombrel_progress_bar(static_cast<uint64_t>(done), static_cast<uint64_t>(total), nullptr, nullptr,
                        " %llu KiB", static_cast<unsigned long long>(done) >> 10);
    ombrel_puts(nullptr);
}

// What the other side sends may hold anything.
void transfer::tell(char mark, std::string_view text) {
    char line[160];
    size_t length = 0;
    for (const char c : text) {
        if (c == '\r' || c == '\n' || length + 1 == sizeof line)
            break;
        line[length++] = c >= ' ' && c <= '~' ? c : '.';
    }
    line[length] = '\0';
    ombrel_error_printf("curl: %c %s\n", mark, line);
}

size_t transfer::on_body(char* bytes, size_t unit, size_t count, void* self) {
    return self_of<transfer>(self).take_body(bytes, unit * count);
}

size_t transfer::on_request(char* to, size_t unit, size_t count, void* self) {
    return self_of<transfer>(self).give_body(to, unit * count);
}

size_t transfer::on_header(char* line, size_t unit, size_t count, void* self) {
    return self_of<transfer>(self).take_header({line, unit * count}) ? unit * count : 0;
}

int transfer::on_progress(void* self, curl_off_t total, curl_off_t done, curl_off_t send_total,
                          curl_off_t sent) {
    auto& on = self_of<transfer>(self);
    on.show_progress(on.options_.sends ? send_total : total, on.options_.sends ? sent : done);
    return 0;
}

int transfer::on_debug(CURL*, curl_infotype type, char* text, size_t size, void* self) {
    constexpr char marks[] = {'*', '<', '>'};
    const bool is_header = type == CURLINFO_HEADER_IN || type == CURLINFO_HEADER_OUT;
    if (type == CURLINFO_TEXT || (is_header && self_of<transfer>(self).options_.shows_headers))
        tell(marks[type], {text, size});
    return 0;
}
