// Services in processes of their own: the child's side.
#include <ombrel/process_service.h>

#include <cstring>

#include <ombrel/short_lock.h>

#include "core/deadline.h"
#include "core/short_lock_guard.h"
#include "platform/environment.h"
#include "platform/poll.h"
#include "system/process/process_internal.h"
#include "system/process/process_service_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constinit ombrel_short_lock_t name_lock{};
constinit bool has_looked OMBREL_GUARDED_BY(name_lock) = false;
constinit char name[def_ombrel_process_service_name_max + 1] OMBREL_GUARDED_BY(name_lock) = "";

/// A service has both descriptors.
bool has_descriptors() {
    return platform::is_open_descriptor(service_word_descriptor) &&
           platform::is_open_descriptor(service_life_descriptor);
}

void look_for_name() OMBREL_REQUIRES(name_lock) {
    const platform::variable_text found = platform::trusted_environment_variable(service_variable);
    const size_t size = found.get() != nullptr ? strlen(found.get()) : 0;
    if (size > 0 && size < sizeof name && has_descriptors())
        memcpy(name, found.get(), size + 1);
    has_looked = true;
}

/// Whether it is one, which it ceases to be with that.
bool take_name() {
    const bool is_service = ombrel_get_process_service_name() != nullptr;
    const short_lock_guard guard(name_lock);
    const bool is_taken = is_service && name[0] != '\0';
    name[0] = '\0';
    return is_taken;
}

/// One of the inherited descriptors, as one that nobody inherits further.
int take_descriptor(service_descriptor descriptor) {
    const int own = platform::duplicate_descriptor(descriptor);
    platform::close_descriptor(descriptor);
    return own;
}

bool is_child(const ombrel_process_service_t* service) {
    return service != nullptr && service->child == nullptr;
}

int speak(ombrel_process_service_t* service, const start_word& word) {
    if (!is_child(service) || !service->word)
        return fail_by(fault_code::invalid);
    const owned_descriptor opener(service->word.release());
    return send_start_word(opener.get(), word) ? 0 : -1;
}

} // namespace

const char* ombrel_get_process_service_name(void) {
    const short_lock_guard guard(name_lock);
    if (!has_looked)
        look_for_name();
    return name[0] != '\0' ? name : nullptr;
}

int ombrel_run_process_service(ombrel_process_service_handler_t handler, void* context) {
    if (handler == nullptr)
        return fail_by(fault_code::invalid);
    if (!take_name())
        return fail_by(fault_code::not_found);
    platform::set_environment_variable(service_variable, "");
    ombrel_process_service_t service;
    service.word.reset(take_descriptor(service_word_descriptor));
    const owned_descriptor life(take_descriptor(service_life_descriptor));
    service.life = life.get();
    return handler(&service, context);
}

int ombrel_process_service_ack(ombrel_process_service_t* service) {
    return speak(service, make_start_word(start_news::ready, 0, nullptr));
}

int ombrel_process_service_error(ombrel_process_service_t* service, const char* text) {
    return speak(service, make_start_word(start_news::failed, 1, text));
}

int ombrel_process_service_break(ombrel_process_service_t* service, int timeout_ms) {
    if (!is_child(service))
        return fail_by(fault_code::invalid);
    // The byte stays in the pipe, so that it is found again each time.
    platform::poll_request request{service->life.load(), platform::readiness::read, false};
    const deadline limit(timeout_ms);
    int ready;
    do
        ready = platform::poll_descriptors(&request, 1, limit.left());
    while (failed_for_now(ready));
    return ready != 0 ? 1 : 0;
}

int ombrel_process_service_get_descriptor(ombrel_process_service_t* service) {
    return is_child(service) ? service->life.load() : fail_by(fault_code::invalid);
}
