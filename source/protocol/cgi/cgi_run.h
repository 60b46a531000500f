// A program that answers a request, from its start to its end.
#pragma once

#include <ombrel/cgi.h>
#include <ombrel/event.h>
#include <ombrel/process.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "core/growing_text.h"
#include "core/heap_ptr.h"
#include "protocol/cgi/cgi_environment.h"
#include "protocol/cgi/cgi_head.h"
#include "system/process/line_splitter.h"

namespace ombrel::protocol {

/// What all programs of a service share.
struct cgi_setting {
    ombrel_event_base_t* base;
    ombrel_cgi_service_options_t options; ///< with texts of the service's own
};

class cgi_run {
public:
    /// Where it is among the others of its service.
    cgi_run* previous = nullptr;
    cgi_run* next = nullptr;

    /// Begins to answer a request. Null, with the request answered, when that is not to be.
    /// @param on_end called when the program is gone, which may free the run
    static cgi_run* begin(const cgi_setting& setting, ombrel_http_exchange_t* exchange,
                          const cgi_program& program, void (*on_end)(cgi_run& run, void* context),
                          void* context);
    /// Ends the program by force if it is still there, without a further call, and frees the run.
    static void end(cgi_run* run);

private:
    cgi_run(const cgi_setting& setting, ombrel_http_exchange_t* exchange, call_site caller);
    ~cgi_run();

    enum class phase {
        collecting, ///< the body, whose size is not known
        head,       ///< the program has not said what it answers
        body,       ///< its output is handed on
        leaving     ///< nobody waits for it any more
    };

    bool copy_names(const cgi_program& program);
    int begin_body(int64_t size);
    bool start(int64_t body_size);
    fault_code start_program(const cgi_environment& environment, bool has_body);
    bool watch(ombrel_event_t& event, int stream, uint32_t kind, ombrel_event_handler_t handler);
    void refuse(int status, const char* text);

    static int on_request_body(ombrel_http_exchange_t* exchange, const void* data, size_t size,
                               void* context);
    static int on_room(ombrel_http_exchange_t* exchange, void* context);
    static void on_exchange_end(ombrel_http_exchange_t* exchange, int outcome, void* context);
    static void on_input(ombrel_event_t* event, int fd, uint32_t why, void* context);
    static void on_output(ombrel_event_t* event, int fd, uint32_t why, void* context);
    static void on_error(ombrel_event_t* event, int fd, uint32_t why, void* context);
    static void on_clock(ombrel_event_t* event, int fd, uint32_t why, void* context);

    int take_request_body(std::string_view bytes);
    void feed();
    void close_input();
    void read_output();
    void take_output(std::string_view bytes);
    void take_head(std::string_view bytes);
    bool begin_answer();
    bool hand_on(std::string_view bytes);
    void end_output();
    void read_errors();
    void hand_on_errors(const char* data, size_t size);
    void look_at_clock();
    void look_at_end();
    void set_clock();
    void leave(bool at_once);
    void unwatch(ombrel_event_t& event);
    void kill();

    const cgi_setting& setting_;
    call_site caller_;
    ombrel_http_exchange_t* exchange_; ///< null once it is over
    void (*on_end_)(cgi_run& run, void* context) = nullptr;
    void* context_ = nullptr;
    phase phase_ = phase::collecting;
    heap_ptr<char> path_, script_name_, path_info_;
    ombrel_process_t* process_ = nullptr;
    ombrel_event_t input_event_{}, output_event_{}, error_event_{}, clock_{};
    growing_text body_; ///< of the request, as far as the program has not taken it
    size_t fed_ = 0;
    int64_t body_size_ = 0; ///< that has come
    bool body_ended_ = false, input_is_closed_ = false, output_waits_ = false, is_killed_ = false;
    cgi_head head_;
    growing_text waiting_; ///< output that the client did not take
    size_t taken_ = 0;     ///< of that
    int64_t output_size_ = 0;
    system::line_splitter<1023> errors_;
    uint64_t head_limit_, progress_limit_, whole_limit_, grace_limit_ = 0; ///< moments
    int pause_ms_ = 1;
};

} // namespace ombrel::protocol
