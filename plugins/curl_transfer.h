// One transfer of libcurl behind blocking calls with time limits.
#pragma once

#include <cstddef>
#include <cstdint>

#include <curl/curl.h>

#include <ombrel/ctx.h>

#include "curl_headers.h"

/// How a context wants its transfer, from its options.
struct transfer_options {
    const char* source;
    bool sends, appends, is_http;
    bool accepts_any_status;
    bool shows_progress;
    bool is_verbose, shows_headers;
    bool is_insecure;
    int timeout_ms;     ///< without progress; negative for no limit
    int redirects = 10; ///< to follow
    int64_t size = -1;  ///< of what will be sent; -1 where it is not known

    /// Who takes any status and wants none followed is given the redirection itself.
    bool follows_redirects() const { return !sends && (redirects > 0 || !accepts_any_status); }
};

/// A transfer takes no step outside the calls of its members.
class transfer {
public:
    explicit transfer(const transfer_options& options) : options_(options) {}
    ~transfer();
    transfer(const transfer&) = delete;
    transfer& operator=(const transfer&) = delete;

    /// Starts it with the options of the context and waits until it is clear whether it works: 0 or an error.
    int start(int ctx);

    /// Bytes, 0 at the end, or a negative error.
    int read(char* to, size_t room);
    /// 1, 0 when the time ran out, or a negative error.
    int wait_readable(int timeout_ms);

    /// Bytes taken, or a negative error.
    int write(const char* from, size_t size);
    int wait_writable(int timeout_ms);

    /// Ends the body of a sender and waits for the answer: 0, or the error why the server did not take what
    /// was sent. Others are left as they are.
    int end_sending();
    void set_timeout(int timeout_ms) { options_.timeout_ms = timeout_ms; }
    CURL* handle() const { return easy_; }
    const header_lines& headers() const { return headers_; }
    const char* error_text() const;
    /// The same of a failure, or the status by which a server refused; empty where neither says anything.
    void get_reason(char* text, size_t size) const;
    int64_t received() const { return received_; }
    int64_t sent() const { return sent_; }

private:
    struct deadline;

    int end_sending(const deadline& limit);
    int set_up(int ctx);
    int set_direction(int ctx);
    int set_connection(int ctx);
    int set_request_lines(const char* lines);
    template<typename Value>
    int set(CURLoption option, Value value);
    int set_text(CURLoption option, const char* text);

    template<typename Test>
    bool run_until(Test is_reached, const deadline& limit);
    void step();
    void resume();
    bool is_answered() const;
    int refusal() const;
    int outcome() const;

    size_t take_body(const char* bytes, size_t size);
    size_t give_body(char* to, size_t room);
    bool take_header(std::string_view line);
    void show_progress(curl_off_t total, curl_off_t done);
    static void tell(char mark, std::string_view text);

    static size_t on_body(char* bytes, size_t unit, size_t count, void* self);
    static size_t on_request(char* to, size_t unit, size_t count, void* self);
    static size_t on_header(char* line, size_t unit, size_t count, void* self);
    static int on_progress(void* self, curl_off_t total, curl_off_t done, curl_off_t send_total,
                           curl_off_t sent);
    static int on_debug(CURL*, curl_infotype type, char* text, size_t size, void* self);

    transfer_options options_;
    CURLM* multi_ = nullptr;
    CURL* easy_ = nullptr;
    curl_slist* request_lines_ = nullptr;
    header_lines headers_;
    char error_[CURL_ERROR_SIZE] = {};

    bool has_ended_ = false;
    CURLcode result_ = CURLE_OK;
    bool headers_complete_ = false;
    bool receiving_is_paused_ = false, sending_is_paused_ = false;
    uint64_t moved_at_ = 0;
    int64_t received_ = 0, sent_ = 0;
    uint64_t drawn_at_ = 0;
    curl_off_t drawn_ = -1;

    // Where a read in progress wants its bytes, and what came when none was.
    char* wanted_ = nullptr;
    size_t wanted_size_ = 0;
    size_t waiting_from_ = 0, waiting_to_ = 0;
    char waiting_[CURL_MAX_WRITE_SIZE];

    // What a write in progress offers.
    const char* offered_ = nullptr;
    size_t offered_size_ = 0;
    bool sending_has_ended_ = false;
};

/// The error code of contexts that stands for a result of libcurl.
int ctx_error_of(CURLcode result);
/// The one that stands for an HTTP status; 0 for those below 400.
int ctx_error_of_status(long status);
