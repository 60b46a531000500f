// Lists, read line by line as they come.
#include "protocol/ftp/ftp_list.h"

#include <new>
#include <utility>

#include <ombrel/printf.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/ftp/ftp_entry.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

constexpr const char* list_verbs[] = {"", "MLSD", "LIST", "NLST"};
constexpr int unknown_command = 500, missing_command = 502;

bool is_form(int form) {
    return form >= def_ombrel_ftp_list_best && form <= def_ombrel_ftp_list_names;
}

/// Facts have a form of their own; lists for people are text.
bool begin_form(ombrel_ftp_t& ftp, const char* path, int form) {
    const bool is_text = form != def_ombrel_ftp_list_facts;
    return (!is_text || ftp.session.set_type('A')) &&
           begin_transfer(ftp, {.verb = list_verbs[form], .argument = path, .is_text = is_text}, false);
}

/// What a server told of itself it may not do.
bool lacks_command(ftp_session& session) {
    const int code = session.error().peer_code();
    return session.is_connected() && (code == unknown_command || code == missing_command);
}

/// @return the form that was taken, or -1
int begin_best(ombrel_ftp_t& ftp, const char* path) {
    if (has_feature(ftp, def_ombrel_ftp_feature_facts)) {
        if (begin_form(ftp, path, def_ombrel_ftp_list_facts))
            return def_ombrel_ftp_list_facts;
        if (!lacks_command(ftp.session))
            return -1;
        ftp.session.error().clear();
    }
    return begin_form(ftp, path, def_ombrel_ftp_list_plain) ? def_ombrel_ftp_list_plain : -1;
}

/// Programs behind servers would take a name that begins with a hyphen for options.
int begin_guarded(ombrel_ftp_t& ftp, const char* path, int form) {
    char guarded[most_ftp_command];
    if (path[0] == '-') {
        ombrel_snprintf(guarded, sizeof guarded, "./%s", path);
        path = guarded;
    }
    if (form == def_ombrel_ftp_list_best)
        return begin_best(ftp, path);
    return begin_form(ftp, path, form) ? form : -1;
}

bool give_up(ombrel_ftp_t& ftp, fault_code fault, const char* text) {
    ftp.session.error().set(fault, text);
    ftp.session.abort();
    return false;
}

} // namespace

namespace ombrel::protocol {

ftp_list_run::ftp_list_run(ombrel_ftp_t& ftp, ombrel_ftp_entry_handler_t handler, void* context)
    : ftp_(ftp), handler_(handler), context_(context), limit_(ftp.options.m_list_ms) {
    ombrel_get_instant(&now_);
}

/// A list is asked for with text of the caller and answered with bytes of the server.
int ftp_list_run::run(const char* path, int form) {
    form_ = begin_guarded(ftp_, path, form);
    if (form_ == -1)
        return -1;
    char bytes[2048];
    for (;;) {
        const int pause = shorter_wait(ftp_.options.m_step_ms, limit_.left());
        const ptrdiff_t count = ftp_.session.read(bytes, sizeof bytes, pause);
        if (count == transfer_waited)
            return give_up(ftp_, fault_code::timed_out, "the list does not come in time"), -1;
        if (count < 0)
            return -1;
        if (count == 0)
            return length_ > 0 && !end_line() ? result_ : 0;
        if (!take({bytes, static_cast<size_t>(count)}))
            return result_;
    }
}

/// The line in hand is an entry. A zero byte stands as another control character, so that no text ends there.
bool ftp_list_run::end_line() {
    if (length_ > 0 && line_[length_ - 1] == '\r')
        length_--;
    line_[length_] = '\0';
    const std::string_view line(line_, std::exchange(length_, 0));
    if (line.empty() || (form_ == def_ombrel_ftp_list_plain && is_ftp_heading(line)))
        return true;
    if (++entries_ > ftp_.options.m_list_entry_limit)
        return fail(fault_code::too_large, "the list has too many entries");
    ombrel_ftp_entry_t entry;
    ombrel_parse_ftp_entry(form_, line_, &now_, room_, sizeof room_, &entry);
    result_ = handler_(&entry, context_);
    return result_ == 0;
}

bool ftp_list_run::fail(fault_code fault, const char* text) {
    result_ = -1;
    return give_up(ftp_, fault, text);
}

/// Breaks the transfer off where the list goes beyond a limit or a handler wants no more.
bool ftp_list_run::take(std::string_view bytes) {
    size_ += bytes.size();
    if (size_ > ftp_.options.m_list_size_limit)
        return fail(fault_code::too_large, "the list is too long");
    for (const char byte : bytes) {
        if (byte != '\n' && length_ == most_ftp_list_line)
            return fail(fault_code::violation, "a line of the list is too long");
        if (byte != '\n')
            line_[length_++] = byte != '\0' ? byte : '\x01';
        else if (!end_line())
            return ftp_.session.abort(), false;
    }
    result_ = show_progress(ftp_);
    return result_ == 0 || (ftp_.session.abort(), false);
}

} // namespace ombrel::protocol

int ombrel_ftp_list(ombrel_ftp_t* ftp, const char* path, int form, ombrel_ftp_entry_handler_t handler,
                    void* context) {
    if (!is_form(form) || handler == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "a form or a handler that is none");
    if (!(path != nullptr ? may_ask(ftp, path) : may_ask(ftp)))
        return -1;
    const heap_ptr<ftp_list_run> run(allocate_record<ftp_list_run>("ombrel_ftp_list", __LINE__));
    if (!run)
        return refuse_ftp_call(ftp, fault_code::no_memory, "out of memory");
    new (run.get()) ftp_list_run(*ftp, handler, context);
    const int result = run->run(path != nullptr ? path : "", form);
    end_ftp_call(*ftp, !ftp->session.error());
    return result;
}

int ombrel_ftp_begin_list(ombrel_ftp_t* ftp, const char* path, int form) {
    if (!is_form(form))
        return refuse_ftp_call(ftp, fault_code::invalid, "a form that is none");
    if (!(path != nullptr ? may_ask(ftp, path) : may_ask(ftp)))
        return -1;
    const int taken = begin_guarded(*ftp, path != nullptr ? path : "", form);
    end_ftp_call(*ftp, taken != -1);
    return taken;
}

int ombrel_ftp_get_entry(ombrel_ftp_t* ftp, const char* path, ombrel_ftp_entry_t* entry) {
    if (entry == nullptr)
        return refuse_ftp_call(ftp, fault_code::invalid, "no room for an entry");
    if (!(path != nullptr ? may_ask(ftp, path) : may_ask(ftp)))
        return -1;
    if (!ftp->session.command("MLST", path != nullptr ? path : ""))
        return end_ftp_call(*ftp, false);
    // The facts stand in the middle of three lines, behind a space.
    std::string_view text = ftp->session.control().whole_text();
    text = slice(text, std::min(text.find('\n'), text.size() - 1) + 1);
    text = slice(text, 0, text.find('\n'));
    const size_t length =
        copy_printable(ftp->entry_line, sizeof ftp->entry_line, slice(text, text.starts_with(' ') ? 1 : 0));
    if (length == 0 || ombrel_parse_ftp_entry(def_ombrel_ftp_list_facts, ftp->entry_line, nullptr,
                                              ftp->entry_room, sizeof ftp->entry_room, entry) != 0)
        return refuse_ftp_call(ftp, fault_code::violation, "the reply to MLST has no facts");
    return entry->m_kind != def_ombrel_ftp_kind_unread
               ? end_ftp_call(*ftp, true)
               : refuse_ftp_call(ftp, fault_code::violation, "the reply to MLST has no facts");
}
