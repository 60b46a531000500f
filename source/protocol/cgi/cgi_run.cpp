#include "protocol/cgi/cgi_run.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <ombrel/fault.h>

#include "core/fault.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr char tag[] = "ombrel_cgi_service_run";
constexpr size_t piece_size = 16384;
/// A guard: what was ended by force is gone at once, unless the host is in trouble.
constexpr int longest_death_ms = 1000;
/// Of a request's body, read ahead of the program.
constexpr size_t most_ahead = 65536;
/// Of a body that comes in chunks, and is gathered, as programs are told its length.
constexpr int64_t most_gathered = 1 << 20;

cgi_run& run_of(void* context) {
    return *static_cast<cgi_run*>(context);
}

bool is_assigned(const ombrel_event_t& event) {
    return (event.m_flags & def_ombrel_event_assigned) != 0;
}

heap_ptr<char> copy_text(const char* text, call_site caller) {
    const size_t size = strlen(text) + 1;
    heap_ptr<char> copy(static_cast<char*>(ombrel_alloc_tag(size, caller.tag, caller.line)), caller.tag,
                        caller.line);
    if (copy)
        memcpy(copy.get(), text, size);
    return copy;
}

/// By what a request is answered whose program did not start.
int status_of(fault_code why) {
    switch (why) {
    case fault_code::not_found:
    case fault_code::not_directory:
        return 404;
    case fault_code::access_denied:
    case fault_code::is_directory:
        return 403;
    case fault_code::no_memory:
    case fault_code::no_descriptor:
    case fault_code::would_block:
        return 503;
    default:
        return 500;
    }
}

} // namespace

cgi_run::cgi_run(const cgi_setting& setting, ombrel_http_exchange_t* exchange, call_site caller)
    : setting_(setting), caller_(caller), exchange_(exchange), head_(setting.options.m_head_limit, caller),
      head_limit_(platform::never), progress_limit_(platform::never),
      whole_limit_(platform::moment_after(setting.options.m_whole_ms)) {}

cgi_run::~cgi_run() {
    for (ombrel_event_t* const each : {&input_event_, &output_event_, &error_event_, &clock_})
        unwatch(*each);
    if (process_ != nullptr && !is_killed_)
        kill();
    if (process_ != nullptr)
        ombrel_process_wait(process_, longest_death_ms, nullptr);
    ombrel_close_process(process_);
}

cgi_run* cgi_run::begin(const cgi_setting& setting, ombrel_http_exchange_t* exchange,
                        const cgi_program& program, void (*on_end)(cgi_run& run, void* context),
                        void* context) {
    const int64_t size = ombrel_http_exchange_get_body_size(exchange);
    const int64_t limit = setting.options.m_body_limit;
    if (limit >= 0 && size > limit) {
        ombrel_http_exchange_answer_error(exchange, 413, nullptr);
        return nullptr;
    }
    void* const block = ombrel_alloc_tag(sizeof(cgi_run), tag, __LINE__);
    if (block == nullptr) {
        ombrel_http_exchange_answer_error(exchange, 503, nullptr);
        return nullptr;
    }
    auto* const run = new (block) cgi_run(setting, exchange, {tag, __LINE__});
    run->on_end_ = on_end;
    run->context_ = context;
    if (run->copy_names(program) && run->begin_body(size) == 0)
        return run;
    run->exchange_ = nullptr;
    end(run);
    ombrel_http_exchange_answer_error(exchange, 503, nullptr);
    return nullptr;
}

void cgi_run::end(cgi_run* run) {
    run->~cgi_run();
    ombrel_free_tag(run, tag, __LINE__);
}

bool cgi_run::copy_names(const cgi_program& program) {
    path_ = copy_text(program.path, caller_);
    script_name_ = copy_text(program.script_name, caller_);
    path_info_ = copy_text(program.path_info, caller_);
    return path_ && script_name_ && path_info_ &&
           ombrel_assign_event(setting_.base, &clock_, -1, 0, on_clock, this) == 0;
}

/// The clock runs from the start, so that a body that never ends is given up.
int cgi_run::begin_body(int64_t size) {
    if (ombrel_add_event(&clock_, 0) != 0 ||
        ombrel_http_exchange_defer(exchange_, on_exchange_end, this) != 0)
        return -1;
    const bool has_body = size > 0 || ombrel_http_exchange_get_field(exchange_, "Content-Length") != nullptr;
    if (size >= 0 && !start(has_body ? size : -1))
        return 0; // it was refused, which the end handler hears of
    ombrel_http_exchange_read_body(exchange_, on_request_body, this);
    return 0;
}

/// False when the request was refused.
bool cgi_run::start(int64_t body_size) {
    cgi_environment environment(caller_);
    const cgi_program program = {path_.get(), script_name_.get(), path_info_.get()};
    fault_code why = fault_code::no_memory;
    if (environment.fill(exchange_, program, body_size, setting_.options.m_environment))
        why = start_program(environment, body_size > 0);
    if (why != fault_code::none) {
        refuse(status_of(why), nullptr);
        return false;
    }
    phase_ = phase::head;
    head_limit_ = platform::moment_after(setting_.options.m_head_ms);
    set_clock();
    feed();
    return true;
}

fault_code cgi_run::start_program(const cgi_environment& environment, bool has_body) {
    constexpr size_t most_words = 16;
    const char* arguments[most_words + 2];
    size_t count = 0;
    const char* const* interpreter = setting_.options.m_interpreter;
    for (; interpreter != nullptr && *interpreter != nullptr && count < most_words; interpreter++)
        arguments[count++] = *interpreter;
    arguments[count++] = path_.get();
    arguments[count] = nullptr;
    const std::string_view path = path_.get();
    const size_t slash = path.find_last_of("/\\");
    heap_ptr<char> directory = copy_text(path_.get(), caller_);
    if (!directory)
        return fault_code::no_memory;
    directory.get()[slash == std::string_view::npos ? 0 : std::max<size_t>(slash, 1)] = '\0';
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_directory = slash != std::string_view::npos ? directory.get() : nullptr;
    options.m_environment = environment.variables();
    options.m_input.m_kind = has_body ? def_ombrel_process_pipe : def_ombrel_process_nothing;
    options.m_output.m_kind = def_ombrel_process_pipe;
    if (setting_.options.m_error_handler != nullptr)
        options.m_error.m_kind = def_ombrel_process_pipe;
    options.m_flags = def_ombrel_process_own_group | (count == 1 ? def_ombrel_process_no_search : 0);
    process_ = ombrel_open_process_tag(arguments, &options, caller_.tag, caller_.line);
    if (process_ == nullptr)
        return last_fault().code;
    input_is_closed_ = !has_body;
    const bool is_watched =
        watch(output_event_, def_ombrel_process_output, def_ombrel_event_read, on_output) &&
        (options.m_error.m_kind != def_ombrel_process_pipe ||
         watch(error_event_, def_ombrel_process_error, def_ombrel_event_read, on_error)) &&
        (!has_body || ombrel_assign_event(setting_.base, &input_event_,
                                          ombrel_process_get_descriptor(process_, def_ombrel_process_input),
                                          def_ombrel_event_write, on_input, this) == 0);
    return is_watched ? fault_code::none : fault_code::no_memory;
}

bool cgi_run::watch(ombrel_event_t& event, int stream, uint32_t kind, ombrel_event_handler_t handler) {
    return ombrel_assign_event(setting_.base, &event, ombrel_process_get_descriptor(process_, stream),
                               kind | def_ombrel_event_persist, handler, this) == 0 &&
           ombrel_add_event(&event, -1) == 0;
}

/// Answers with an error, or breaks off what was begun; the end handler ends the rest.
void cgi_run::refuse(int status, const char* text) {
    if (exchange_ == nullptr)
        return leave(true);
    if (phase_ == phase::body)
        ombrel_http_exchange_abort(exchange_);
    else
        ombrel_http_exchange_answer_error(exchange_, status, text);
    phase_ = phase::leaving;
    leave(true);
}

int cgi_run::on_request_body(ombrel_http_exchange_t*, const void* data, size_t size, void* context) {
    return run_of(context).take_request_body({static_cast<const char*>(data), size});
}

int cgi_run::take_request_body(std::string_view bytes) {
    if (phase_ == phase::leaving)
        return 0;
    int64_t limit = setting_.options.m_body_limit;
    if (phase_ == phase::collecting && (limit < 0 || limit > most_gathered))
        limit = most_gathered;
    body_size_ += static_cast<int64_t>(bytes.size());
    body_ended_ = bytes.empty();
    if (limit >= 0 && body_size_ > limit) {
        refuse(413, nullptr);
        return 0;
    }
    if (!input_is_closed_ && !body_.append(bytes, caller_)) {
        refuse(503, nullptr);
        return 0;
    }
    if (phase_ == phase::collecting) {
        if (body_ended_)
            start(body_size_);
        return 0;
    }
    feed();
    if (body_.size() - fed_ > most_ahead && exchange_ != nullptr)
        ombrel_http_exchange_hold_body(exchange_, 1);
    return 0;
}

void cgi_run::on_input(ombrel_event_t*, int, uint32_t why, void* context) {
    if ((why & def_ombrel_event_assigned) == 0)
        run_of(context).feed();
}

/// Gives the program what has come for it, and the end.
void cgi_run::feed() {
    if (input_is_closed_ || process_ == nullptr)
        return;
    while (fed_ < body_.size()) {
        const int64_t size = ombrel_process_write(process_, body_.data() + fed_, body_.size() - fed_, 0);
        if (size < 0) // it reads no more, which is its right
            return close_input();
        if (size == 0)
            break;
        fed_ += static_cast<size_t>(size);
    }
    const bool is_empty = fed_ == body_.size();
    if (is_empty) {
        body_.clear();
        fed_ = 0;
        if (exchange_ != nullptr && !body_ended_)
            ombrel_http_exchange_hold_body(exchange_, 0);
    }
    if (is_empty && body_ended_)
        close_input();
    else if (!is_empty)
        ombrel_add_event(&input_event_, -1);
}

void cgi_run::close_input() {
    input_is_closed_ = true;
    unwatch(input_event_);
    ombrel_process_close_stream(process_, def_ombrel_process_input);
    body_.clear();
    fed_ = 0;
    if (exchange_ != nullptr && !body_ended_)
        ombrel_http_exchange_hold_body(exchange_, 0); // the rest is read and dropped
}

void cgi_run::on_output(ombrel_event_t*, int, uint32_t why, void* context) {
    if ((why & def_ombrel_event_assigned) == 0)
        run_of(context).read_output();
}

/// One piece at a time, so that the loop's others have their turn.
void cgi_run::read_output() {
    char piece[piece_size];
    const int64_t size = ombrel_process_read(process_, def_ombrel_process_output, piece, sizeof piece, 0);
    if (size == def_ombrel_process_timeout)
        return;
    progress_limit_ = platform::moment_after(setting_.options.m_progress_ms);
    if (size <= 0)
        return end_output();
    take_output({piece, static_cast<size_t>(size)});
}

void cgi_run::take_output(std::string_view bytes) {
    if (phase_ == phase::head)
        return take_head(bytes);
    if (phase_ == phase::body)
        hand_on(bytes);
}

void cgi_run::take_head(std::string_view bytes) {
    size_t read;
    switch (head_.push(bytes, read)) {
    case cgi_head::step::more:
        return;
    case cgi_head::step::complete:
        if (begin_answer())
            hand_on(slice(bytes, read));
        return;
    case cgi_head::step::no_memory:
        return refuse(503, nullptr);
    case cgi_head::step::malformed:
    case cgi_head::step::too_large:
        break;
    }
    refuse(502, "the program's answer has no proper head");
}

bool cgi_run::begin_answer() {
    const bool is_good = head_.for_each_field([this](const char* name, const char* value) {
        return ombrel_http_exchange_add_field(exchange_, name, value) == 0;
    }) && ombrel_http_exchange_begin_answer(exchange_, head_.status(), head_.type(), head_.size(), on_room,
                                            nullptr, this) == 0;
    if (!is_good) {
        refuse(502, "the program's answer cannot be handed on");
        return false;
    }
    phase_ = phase::body;
    return exchange_ != nullptr;
}

/// Hands bytes to the client. What it does not take waits, and so does the program.
bool cgi_run::hand_on(std::string_view bytes) {
    const int64_t limit = setting_.options.m_output_limit;
    output_size_ += static_cast<int64_t>(bytes.size());
    const int64_t taken =
        bytes.empty() ? 0 : ombrel_http_exchange_write(exchange_, bytes.data(), bytes.size());
    if (taken < 0 || (limit >= 0 && output_size_ > limit)) {
        refuse(502, nullptr);
        return false;
    }
    const std::string_view left = slice(bytes, static_cast<size_t>(taken));
    if (left.empty())
        return true;
    waiting_.clear();
    taken_ = 0;
    if (!waiting_.append(left, caller_)) {
        refuse(503, nullptr);
        return false;
    }
    output_waits_ = true;
    ombrel_del_event(&output_event_);
    return false;
}

int cgi_run::on_room(ombrel_http_exchange_t* exchange, void* context) {
    cgi_run& run = run_of(context);
    if (!run.output_waits_ || run.phase_ != phase::body)
        return 0;
    const std::string_view left = slice(run.waiting_.view(), run.taken_);
    const int64_t taken = ombrel_http_exchange_write(exchange, left.data(), left.size());
    if (taken < 0)
        return -1;
    run.taken_ += static_cast<size_t>(taken);
    if (run.taken_ < run.waiting_.size())
        return 0;
    run.output_waits_ = false;
    run.progress_limit_ = platform::moment_after(run.setting_.options.m_progress_ms);
    return ombrel_add_event(&run.output_event_, -1);
}

/// The program has nothing more to say.
void cgi_run::end_output() {
    unwatch(output_event_);
    if (phase_ == phase::head)
        return refuse(502, "the program did not answer");
    const bool is_answered = phase_ == phase::body;
    phase_ = phase::leaving;
    if (is_answered && exchange_ != nullptr)
        ombrel_http_exchange_end_answer(exchange_);
    leave(false);
}

void cgi_run::on_error(ombrel_event_t*, int, uint32_t why, void* context) {
    if ((why & def_ombrel_event_assigned) == 0)
        run_of(context).read_errors();
}

void cgi_run::read_errors() {
    char piece[4096];
    const int64_t size = ombrel_process_read(process_, def_ombrel_process_error, piece, sizeof piece, 0);
    if (size == def_ombrel_process_timeout)
        return;
    if (size <= 0)
        unwatch(error_event_);
    hand_on_errors(piece, static_cast<size_t>(std::max<int64_t>(size, 0)));
}

/// @param size 0 at the end
void cgi_run::hand_on_errors(const char* data, size_t size) {
    const ombrel_cgi_service_options_t& options = setting_.options;
    const char* const slash = std::max(strrchr(path_.get(), '/'), strrchr(path_.get(), '\\'));
    const char* const name = slash != nullptr ? slash + 1 : path_.get();
    bool goes_on = true;
    const auto use = [&](char* line, size_t length) {
        std::replace_if(
            line, line + length,
            [](char c) { return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7F'; }, '?');
        goes_on = goes_on && options.m_error_handler(name, line, options.m_error_context) == 0;
    };
    if (size > 0)
        errors_.push(data, size, use);
    else
        errors_.finish(use);
    if (!goes_on)
        refuse(500, nullptr);
}

void cgi_run::on_exchange_end(ombrel_http_exchange_t*, int, void* context) {
    cgi_run& run = run_of(context);
    run.exchange_ = nullptr;
    const bool is_finished = run.phase_ == phase::leaving;
    run.phase_ = phase::leaving;
    run.leave(!is_finished);
}

/// Nobody waits for the program any more: it has the grace to end by itself, or none.
void cgi_run::leave(bool at_once) {
    unwatch(input_event_);
    unwatch(output_event_);
    output_waits_ = false;
    if (at_once && !is_killed_)
        kill();
    if (grace_limit_ == 0)
        grace_limit_ = platform::moment_after(setting_.options.m_grace_ms);
    set_clock();
}

void cgi_run::unwatch(ombrel_event_t& event) {
    if (is_assigned(event))
        ombrel_unassign_event(&event);
}

/// Those of the group are reached whether the program itself has ended or not, without a search for them.
void cgi_run::kill() {
    is_killed_ = true;
    if (process_ != nullptr)
        platform::signal_group(ombrel_process_get_id(process_), def_ombrel_process_kill);
}

void cgi_run::on_clock(ombrel_event_t*, int, uint32_t why, void* context) {
    if ((why & def_ombrel_event_assigned) == 0)
        run_of(context).look_at_clock();
}

void cgi_run::look_at_clock() {
    const uint64_t now = platform::monotonic_nanoseconds();
    if (phase_ == phase::leaving)
        return look_at_end();
    const bool waits_for_program = phase_ == phase::body && !output_waits_;
    if (now >= whole_limit_ || (phase_ == phase::head && now >= head_limit_) ||
        (waits_for_program && now >= progress_limit_))
        return refuse(504, "the program takes too long");
    set_clock();
}

/// The end of a program is looked for in growing pauses: its status then stays with what signals its group,
/// which a loop that took it away could not promise.
void cgi_run::look_at_end() {
    if (process_ != nullptr && ombrel_process_wait(process_, 0, nullptr) == 0) {
        if (!is_killed_ && platform::monotonic_nanoseconds() >= grace_limit_)
            kill();
        return set_clock();
    }
    if (exchange_ != nullptr) // whose end is told when the client has taken all
        return;
    kill(); // what the program left in its group
    on_end_(*this, context_);
}

void cgi_run::set_clock() {
    constexpr int longest_pause = 64;
    int wait = 0;
    if (phase_ == phase::leaving)
        wait = std::exchange(pause_ms_, std::min(2 * pause_ms_, longest_pause));
    else {
        uint64_t moment = whole_limit_;
        if (phase_ == phase::head)
            moment = std::min(moment, head_limit_);
        if (phase_ == phase::body)
            moment = std::min(moment, output_waits_ ? platform::moment_after(1000) : progress_limit_);
        wait = moment == platform::never ? -1 : platform::milliseconds_until(moment);
    }
    if (wait >= 0)
        ombrel_add_event(&clock_, wait);
}

} // namespace ombrel::protocol
