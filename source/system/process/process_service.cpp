// Services in processes of their own: the opener's side.
#include <ombrel/process_service.h>

#include <cstring>
#include <new>

#include <ombrel/environment.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "system/process/process_internal.h"
#include "system/process/process_service_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

/// The variables of this process with the service's in front, where it is found first.
heap_ptr<const char*> variables_with(const char* assignment, const call_site& caller) {
    char** const own = ombrel_environ();
    size_t count = 0;
    while (own != nullptr && own[count] != nullptr)
        count++;
    auto* const list =
        static_cast<const char**>(ombrel_alloc_tag((count + 2) * sizeof(char*), caller.tag, caller.line));
    if (list == nullptr) {
        leave_fault(fault_code::no_memory);
        return {};
    }
    list[0] = assignment;
    size_t kept = 1;
    for (size_t i = 0; i < count; i++)
        if (strncmp(own[i], service_variable_assignment, sizeof service_variable_assignment - 1) != 0)
            list[kept++] = own[i];
    list[kept] = nullptr;
    return heap_ptr<const char*>(list);
}

ombrel_process_t* start(const char* name, const char* const* arguments, const char* directory,
                        const owned_pipe& word, const owned_pipe& life, const call_site& caller) {
    char assignment[sizeof service_variable_assignment + def_ombrel_process_service_name_max];
    ombrel_snprintf(assignment, sizeof assignment, "%s%s", service_variable_assignment, name);
    const heap_ptr<const char*> variables = variables_with(assignment, caller);
    if (!variables)
        return nullptr;
    int descriptors[service_descriptor_count];
    descriptors[service_word_descriptor - first_service_descriptor] = word.write_end.get();
    descriptors[service_life_descriptor - first_service_descriptor] = life.read_end.get();
    ombrel_process_options_t options;
    ombrel_init_process_options(&options);
    options.m_directory = directory;
    options.m_environment = variables.get();
    options.m_input.m_kind = def_ombrel_process_nothing;
    options.m_descriptors = descriptors;
    options.m_descriptor_count = service_descriptor_count;
    options.m_flags = def_ombrel_process_own_group;
    return ombrel_open_process_tag(arguments, &options, caller.tag, caller.line);
}

/// The byte is for a child whose opener was forked: then another process may hold the end open.
void ask_to_stop(ombrel_process_service_t& service) {
    const owned_descriptor life(service.life.exchange(-1));
    if (life)
        platform::write_descriptor(life.get(), "", 1);
}

/// What the word, or that there was none, means as a fault.
fault_code meaning_of(word_arrival arrival, const start_word& word) {
    if (arrival != word_arrival::arrived)
        return arrival == word_arrival::timed_out ? fault_code::timed_out : fault_code::closed;
    return word.news == start_news::ready ? fault_code::none : fault_code::refused;
}

/// Ends the child, and by force what of its group is left after the grace.
void end(ombrel_process_service_t& service, int grace_ms) {
    ask_to_stop(service);
    ombrel_process_wait(service.child, grace_ms, nullptr);
    ombrel_process_stop(service.child, 0);
    ombrel_close_process(service.child);
}

void copy_error(const ombrel_process_service_options_t& options, const char* text) {
    if (options.m_error != nullptr && options.m_error_size > 0)
        ombrel_strncpy_safe(options.m_error, text, options.m_error_size);
}

bool wait_for_start(ombrel_process_service_t& service, const ombrel_process_service_options_t& options,
                    int word_end) {
    start_word word{};
    const word_arrival arrival = receive_start_word(word_end, options.m_start_timeout_ms, word);
    const fault_code why = meaning_of(arrival, word);
    if (why == fault_code::none)
        return true;
    if (arrival == word_arrival::arrived)
        copy_error(options, word.text);
    // One that said that it cannot run ends by itself; one that said nothing has had its time.
    end(service, arrival == word_arrival::timed_out ? 0 : service.grace_ms);
    leave_fault(why);
    return false;
}

bool open(ombrel_process_service_t& service, const char* name, const char* const* arguments,
          const ombrel_process_service_options_t& options, const call_site& caller) {
    owned_pipe word, life;
    if (!word.open(platform::pipe_side::write) || !life.open(platform::pipe_side::read))
        return false;
    service.child = start(name, arguments, options.m_directory, word, life, caller);
    if (service.child == nullptr)
        return false;
    word.write_end.reset();
    service.grace_ms = options.m_grace_ms;
    service.life = life.write_end.release();
    return wait_for_start(service, options, word.read_end.get());
}

bool is_name(const char* name) {
    const size_t size = name != nullptr ? strnlen(name, def_ombrel_process_service_name_max + 1) : 0;
    return size >= 1 && size <= def_ombrel_process_service_name_max;
}

bool is_opener(const ombrel_process_service_t* service) {
    return service != nullptr && service->child != nullptr;
}

} // namespace

int ombrel_init_process_service_options(ombrel_process_service_options_t* options) {
    if (options == nullptr)
        return fail_by(fault_code::invalid);
    *options = {};
    options->m_start_timeout_ms = 60'000;
    options->m_grace_ms = 5'000;
    return 0;
}

ombrel_process_service_t* ombrel_open_process_service_tag(const char* name, const char* const* arguments,
                                                          const ombrel_process_service_options_t* options,
                                                          const char* function, unsigned long line) {
    ombrel_process_service_options_t usual;
    ombrel_init_process_service_options(&usual);
    const ombrel_process_service_options_t& wanted = options != nullptr ? *options : usual;
    copy_error(wanted, "");
    if (!is_name(name) || arguments == nullptr || arguments[0] == nullptr)
        return fail_by<ombrel_process_service_t*>(fault_code::invalid, nullptr);
    heap_ptr<ombrel_process_service_t> service(allocate_record<ombrel_process_service_t>(function, line));
    if (!service)
        return fail_by<ombrel_process_service_t*>(fault_code::no_memory, nullptr);
    new (service.get()) ombrel_process_service_t();
    if (open(*service, name, arguments, wanted, {function, line}))
        return service.release();
    const fault_keeper kept;
    service.reset();
    return nullptr;
}

int ombrel_process_service_check(ombrel_process_service_t* service) {
    const int has_ended = ombrel_process_service_wait(service, 0, nullptr);
    return has_ended < 0 ? -1 : !has_ended;
}

int ombrel_process_service_get_id(ombrel_process_service_t* service) {
    return is_opener(service) ? ombrel_process_get_id(service->child) : fail_by(fault_code::invalid);
}

int ombrel_process_service_stop(ombrel_process_service_t* service) {
    if (!is_opener(service))
        return fail_by(fault_code::invalid);
    ask_to_stop(*service);
    return 0;
}

int ombrel_process_service_wait(ombrel_process_service_t* service, int timeout_ms,
                                ombrel_process_end_t* end) {
    return is_opener(service) ? ombrel_process_wait(service->child, timeout_ms, end)
                              : fail_by(fault_code::invalid);
}

int ombrel_close_process_service(ombrel_process_service_t* service) {
    if (service == nullptr)
        return 0;
    if (!is_opener(service))
        return fail_by(fault_code::invalid);
    const heap_ptr<ombrel_process_service_t> object(service);
    end(*service, service->grace_ms);
    return 0;
}
