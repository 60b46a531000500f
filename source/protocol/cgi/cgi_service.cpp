#include <ombrel/cgi.h>

#include <algorithm>
#include <cstring>
#include <new>

#include <ombrel/file.h>

#include "core/call_site.h"
#include "core/fault.h"
#include "core/growing_text.h"
#include "core/heap_ptr.h"
#include "protocol/cgi/cgi_run.h"
#include "system/process/absolute_path.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

/// A list of texts of one's own, ended by null.
class text_copies {
public:
    /// False when there is no memory. Null stays null.
    bool copy(const char* const* texts, call_site caller) {
        size_t count = 0, size = 0;
        for (; texts != nullptr && texts[count] != nullptr; count++)
            size += strlen(texts[count]) + 1;
        if (texts == nullptr)
            return true;
        texts_.reset(static_cast<char*>(ombrel_alloc_tag(std::max<size_t>(size, 1), caller.tag, caller.line)),
                     caller.tag, caller.line);
        pointers_.reset(
            static_cast<const char**>(ombrel_alloc_tag((count + 1) * sizeof(char*), caller.tag, caller.line)),
            caller.tag, caller.line);
        if (!texts_ || !pointers_)
            return false;
        char* to = texts_.get();
        for (size_t i = 0; i < count; i++) {
            pointers_.get()[i] = to;
            to = put_text(to, texts[i]);
            *to++ = '\0';
        }
        pointers_.get()[count] = nullptr;
        return true;
    }
    const char* const* get() const { return pointers_.get(); }

private:
    heap_ptr<char> texts_;
    heap_ptr<const char*> pointers_;
};

} // namespace

struct ombrel_cgi_service_ts {
    cgi_setting setting{};
    text_copies interpreter, environment;
    heap_ptr<char> directory;
    cgi_run* runs = nullptr;
    size_t count = 0;
};

namespace {

using service_t = ombrel_cgi_service_ts;

void forget_run(cgi_run& run, void* context) {
    auto& service = *static_cast<service_t*>(context);
    (run.previous != nullptr ? run.previous->next : service.runs) = run.next;
    if (run.next != nullptr)
        run.next->previous = run.previous;
    service.count--;
    cgi_run::end(&run);
}

void run_program(service_t& service, ombrel_http_exchange_t* exchange, const cgi_program& program) {
    if (service.count >= service.setting.options.m_program_limit) {
        ombrel_http_exchange_answer_error(exchange, 503, "too many programs run");
        return;
    }
    cgi_run* const run = cgi_run::begin(service.setting, exchange, program, forget_run, &service);
    if (run == nullptr)
        return;
    run->next = service.runs;
    if (run->next != nullptr)
        run->next->previous = run;
    service.runs = run;
    service.count++;
}

/// Whether a text can be the name of a program: no way leads out of the directory.
bool is_program_name(std::string_view name) {
    return !name.empty() && name.front() != '.' && std::none_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '\\' || c == ':';
    });
}

/// Whether what stands behind the name may be told: programs take it for a path below a directory of theirs.
bool is_path_info(std::string_view info) {
    constexpr auto is_separator = [](char c) { return c == '/' || c == '\\'; };
    while (!info.empty()) {
        info = slice(info, is_separator(info.front()) ? 1 : 0);
        const auto* const end = std::find_if(info.begin(), info.end(), is_separator);
        const std::string_view name = slice(info, 0, static_cast<size_t>(end - info.begin()));
        if (name == "." || name == ".." || std::any_of(name.begin(), name.end(), [](char c) {
                return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
            }))
            return false;
        info = slice(info, name.size());
    }
    return true;
}

/// By what a path is refused that leads to no program; 0 for one.
int look_at_program(const service_t& service, const char* path) {
    ombrel_file_info_t info;
    if (ombrel_get_file_info(path, 0, &info) != 0)
        return last_fault().code == fault_code::access_denied ? 403 : 404;
    if (info.m_kind != def_ombrel_file_kind_regular)
        return 403;
    constexpr int to_run = 1;
    const bool is_run_itself = service.interpreter.get() == nullptr;
    return is_run_itself && ombrel_check_file_access(path, to_run) != 0 ? 403 : 0;
}

/// A route's handler: what stands in the place of the star is a program's name, and what it is told.
int serve(ombrel_http_exchange_t* exchange, void* context) {
    auto& service = *static_cast<service_t*>(context);
    const char* const path = ombrel_http_exchange_get_path(exchange);
    const std::string_view rest = ombrel_http_exchange_get_path_rest(exchange);
    const std::string_view name = slice(rest, 0, rest.find('/'));
    const std::string_view before(path, strlen(path) - rest.size());
    const call_site caller{"ombrel_http_server_add_cgi", __LINE__};
    growing_text program, script;
    if (!is_program_name(name) || !is_path_info(slice(rest, name.size())))
        return ombrel_http_exchange_answer_error(exchange, 404, nullptr);
    if (!program.append(service.directory.get(), caller) || !program.append("/", caller) ||
        !program.append(name, caller) || !script.append(before, caller) || !script.append(name, caller))
        return ombrel_http_exchange_answer_error(exchange, 503, nullptr);
    if (const int status = look_at_program(service, program.data()); status != 0)
        return ombrel_http_exchange_answer_error(exchange, status, nullptr);
    run_program(service, exchange, {program.data(), script.data(), rest.data() + name.size()});
    return 0;
}

bool is_sound(const ombrel_cgi_service_options_t& options) {
    constexpr size_t most_words = 16;
    size_t words = 0;
    while (options.m_interpreter != nullptr && options.m_interpreter[words] != nullptr && words <= most_words)
        words++;
    return options.m_program_limit > 0 && options.m_head_limit > 0 && words <= most_words &&
           (options.m_interpreter == nullptr || words > 0);
}

bool fill(service_t& service, const char* directory, call_site caller) {
    ombrel_cgi_service_options_t& options = service.setting.options;
    service.directory = system::absolute_path(directory, caller);
    if (!service.directory)
        return false;
    if (ombrel_get_file_kind(service.directory.get(), 0) != def_ombrel_file_kind_directory) {
        leave_fault(fault_code::not_directory);
        return false;
    }
    if (!service.interpreter.copy(options.m_interpreter, caller) ||
        !service.environment.copy(options.m_environment, caller)) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    options.m_interpreter = service.interpreter.get();
    options.m_environment = service.environment.get();
    return true;
}

} // namespace

int ombrel_init_cgi_service_options(ombrel_cgi_service_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {.m_interpreter = nullptr,
                .m_environment = nullptr,
                .m_program_limit = 32,
                .m_body_limit = 64 << 20,
                .m_head_limit = 16 << 10,
                .m_output_limit = -1,
                .m_head_ms = 30'000,
                .m_progress_ms = 60'000,
                .m_whole_ms = 600'000,
                .m_grace_ms = 1000,
                .m_error_handler = nullptr,
                .m_error_context = nullptr};
    return 0;
}

ombrel_cgi_service_t* ombrel_open_cgi_service_tag(ombrel_event_base_t* base, const char* directory,
                                                  const ombrel_cgi_service_options_t* options,
                                                  const char* function, unsigned long line) {
    ombrel_cgi_service_options_t chosen;
    ombrel_init_cgi_service_options(&chosen);
    if (options != nullptr)
        chosen = *options;
    if (base == nullptr || directory == nullptr || !is_sound(chosen)) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    void* const block = ombrel_alloc_tag(sizeof(service_t), function, line);
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const service = new (block) service_t();
    service->setting = {base, chosen};
    if (fill(*service, directory, {function, line}))
        return service;
    const fault_keeper kept;
    ombrel_close_cgi_service(service);
    return nullptr;
}

int ombrel_close_cgi_service(ombrel_cgi_service_t* service) {
    if (service == nullptr)
        return 0;
    while (service->runs != nullptr)
        forget_run(*service->runs, service);
    service->~ombrel_cgi_service_ts();
    return ombrel_free_tag(service, "ombrel_close_cgi_service", __LINE__);
}

int ombrel_http_server_add_cgi(ombrel_http_server_t* server, const char* path,
                               ombrel_cgi_service_t* service) {
    if (server == nullptr || path == nullptr || service == nullptr || *path != '/')
        return refuse(fault_code::invalid);
    growing_text below;
    const call_site caller{"ombrel_http_server_add_cgi", __LINE__};
    if (!below.append(path, caller) || !below.append("/*", caller))
        return refuse(fault_code::no_memory);
    const ombrel_http_route_t route = {.m_method = nullptr,
                                       .m_path = below.data(),
                                       .m_flags = def_ombrel_http_route_streamed,
                                       .m_body_limit = service->setting.options.m_body_limit < 0
                                                           ? INT64_MAX
                                                           : service->setting.options.m_body_limit,
                                       .m_guard = nullptr,
                                       .m_guard_context = nullptr,
                                       .m_handler = serve,
                                       .m_context = service};
    return ombrel_http_server_add_route_ex(server, &route);
}

int ombrel_cgi_service_run(ombrel_cgi_service_t* service, ombrel_http_exchange_t* exchange,
                           const char* program, const char* script_name, const char* path_info) {
    if (service == nullptr || exchange == nullptr || program == nullptr || script_name == nullptr ||
        path_info == nullptr)
        return refuse(fault_code::invalid);
    const heap_ptr<char> path = system::absolute_path(program, {"ombrel_cgi_service_run", __LINE__});
    if (!path)
        return ombrel_http_exchange_answer_error(exchange, 503, nullptr);
    run_program(*service, exchange, {path.get(), script_name, path_info});
    return 0;
}

size_t ombrel_cgi_service_get_count(const ombrel_cgi_service_t* service) {
    return service != nullptr ? service->count : 0;
}
