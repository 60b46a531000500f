// Files that come and go, and listings.
#include <algorithm>

#include <ombrel/calendar.h>
#include <ombrel/printf.h>
#include <ombrel/random.h>

#include "core/fault.h"
#include "platform/file.h"
#include "protocol/ftp_server/ftp_server_session.h"
#include "protocol/ftp_server/ftp_verb.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using direction = ftp_transfer::direction;

constexpr size_t most_status_lines = 1000;

line_style style_of(const ftp_server_session& session, listing_form form) {
    ombrel_instant_t now{};
    ombrel_get_instant(&now);
    return {form, session.facts, session.account()->rights, now.m_seconds};
}

/// Whether a transfer may begin at a place of a file; false after a refusal.
bool can_begin_at(ftp_server_session& session, int64_t place, int64_t size) {
    if (place > 0 && session.is_ascii)
        session.refuse(504, "Only type I can be restarted.");
    else if (place > size)
        session.refuse(554, "The place is beyond the end of the file.");
    else
        return true;
    return false;
}

/// Takes a file in. What it held goes once the data connection stands, and not before.
void receive(ftp_server_session& session, const ftp_path& path, platform::file_access access) {
    const int64_t place = session.take_restart();
    ombrel_file_info_t info;
    if (!session.can_transfer())
        return;
    const int file = session.tree().open_file(path.get(), access, &info);
    if (file < 0) {
        session.refuse_by_fault();
        return;
    }
    const int64_t start = access.append ? 0 : place;
    if (!can_begin_at(session, start, info.m_size)) {
        platform::close_descriptor(file);
        return;
    }
    ftp_transfer* const made = session.make_transfer(direction::receive, file, start);
    if (made == nullptr)
        return;
    if (!access.append && start == 0)
        made->cut_at_start();
    if (access.exclusive)
        session.reply_name(150, "FILE: ", path.name(), "");
    else
        session.reply(150, "Send it.");
    session.begin_transfer();
}

/// Options as of "ls", which many clients send, change nothing. A name that begins so can be asked for as
/// "./-name".
std::string_view without_options(std::string_view argument) {
    while (starts_with(argument, "-")) {
        const size_t end = std::min(argument.find(' '), argument.size());
        argument = slice(argument, end + 1);
    }
    return argument;
}

void list(ftp_server_session& session, std::string_view name, listing_form form) {
    ftp_path path;
    if (!session.resolve(name, path) || !session.can_transfer())
        return;
    ftp_transfer* const made = session.make_transfer(direction::list, -1, 0);
    if (made == nullptr)
        return;
    const size_t limit = session.options().m_listing_limit;
    ftp_listing* const listing = made->make_listing(style_of(session, form), limit > 0 ? limit : SIZE_MAX);
    if (listing == nullptr)
        leave_fault(fault_code::no_memory);
    if (listing == nullptr || !listing->open(session.tree(), path, name)) {
        session.drop_transfer();
        session.refuse_by_fault();
        return;
    }
    session.reply(150, "Here it comes.");
    session.begin_transfer();
}

} // namespace

void run_retrieve(ftp_server_session& session, std::string_view name) {
    const int64_t place = session.take_restart();
    ftp_path path;
    ombrel_file_info_t info;
    if (!session.resolve(name, path) || !session.can_transfer())
        return;
    const int file = session.tree().open_file(path.get(), {.read = true}, &info);
    if (file < 0) {
        session.refuse_by_fault();
        return;
    }
    if (!can_begin_at(session, place, info.m_size)) {
        platform::close_descriptor(file);
        return;
    }
    if (session.make_transfer(direction::send, file, place) == nullptr)
        return;
    session.reply(150, "Here it comes (%lld bytes).", static_cast<long long>(info.m_size - place));
    session.begin_transfer();
}

void run_store(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (session.resolve(name, path))
        receive(session, path, {.write = true, .create = true});
}

void run_append(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (session.resolve(name, path))
        receive(session, path, {.write = true, .append = true, .create = true});
}

/// A name of its own in the session's directory, or beside a name that is given.
void run_store_unique(ftp_server_session& session, std::string_view name) {
    char unique[ftp_path::longest + 16];
    uint32_t number = 0;
    ftp_path path;
    session.restart = 0;
    ombrel_get_random_bytes(&number, sizeof number);
    if (name.size() > ftp_path::longest)
        name = {};
    char* const end = put_text(unique, name.empty() ? "upload" : name);
    ombrel_snprintf(end, 16, ".%08x", number);
    if (session.resolve(unique, path))
        receive(session, path, {.write = true, .create = true, .exclusive = true});
}

void run_list(ftp_server_session& session, std::string_view name) {
    list(session, without_options(name), listing_form::plain);
}

void run_name_list(ftp_server_session& session, std::string_view name) {
    list(session, without_options(name), listing_form::names);
}

void run_machine_list(ftp_server_session& session, std::string_view name) {
    list(session, name, listing_form::facts);
}

/// A transfer has been ended already, when this waited behind it.
void run_abort(ftp_server_session& session, std::string_view) {
    session.close_data();
    session.reply(226, "Nothing is under way.");
}

/// With a name a listing on the control connection, which so is a short one.
void run_status(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (name.empty()) {
        session.put_status();
        return;
    }
    if ((session.account()->rights & def_ombrel_ftp_account_read) == 0) {
        session.refuse_right(name);
        return;
    }
    name = without_options(name);
    ftp_listing listing(style_of(session, listing_form::plain), most_status_lines);
    if (!session.resolve(name, path))
        return;
    if (!listing.open(session.tree(), path, name)) {
        session.refuse_by_fault();
        return;
    }
    session.put_listing(listing);
}

} // namespace ombrel::protocol
