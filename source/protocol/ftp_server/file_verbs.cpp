// What is asked and changed about files and directories.
#include <cstring>

#include <ombrel/calendar.h>

#include "core/fault.h"
#include "protocol/ftp_server/ftp_server_session.h"
#include "protocol/ftp_server/ftp_verb.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// What is known of what a name leads to; false after a refusal.
bool look_at(ftp_server_session& session, std::string_view name, ftp_path& path, ombrel_file_info_t& info) {
    if (!session.resolve(name, path))
        return false;
    if (session.tree().get_info(path.get(), info))
        return true;
    session.refuse_by_fault();
    return false;
}

bool look_at_file(ftp_server_session& session, std::string_view name, ombrel_file_info_t& info) {
    ftp_path path;
    if (!look_at(session, name, path, info))
        return false;
    if (info.m_kind != def_ombrel_file_kind_regular)
        session.refuse(550, "That is no file.");
    return info.m_kind == def_ombrel_file_kind_regular;
}

/// Answers a change, and tells of it.
void answer_change(ftp_server_session& session, bool is_done, const ftp_path& path, const char* done) {
    if (!is_done) {
        session.refuse_by_fault();
        return;
    }
    session.reply(250, "%s", done);
    session.tell_change(path.get());
}

/// The account's own directory is not a client's to remove or rename; false after a refusal.
bool is_changeable(ftp_server_session& session, std::string_view name, ftp_path& path) {
    if (!session.resolve(name, path))
        return false;
    if (path.is_root())
        session.refuse(550, "That stays as it is.");
    return !path.is_root();
}

} // namespace

void run_change_directory(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (!session.resolve(name, path))
        return;
    platform::open_directory* const opened = session.tree().open_directory(path.get());
    if (opened == nullptr) {
        session.refuse_by_fault();
        return;
    }
    platform::close_directory(opened);
    if (session.set_directory(path))
        session.reply(250, "You are there.");
    else
        session.refuse(451, "Too much to do; try again later.");
}

void run_change_up(ftp_server_session& session, std::string_view) {
    run_change_directory(session, "..");
}

void run_print_directory(ftp_server_session& session, std::string_view) {
    session.reply_name(257, "\"", session.directory(), "\" is where you are.");
}

void run_make_directory(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (!session.resolve(name, path))
        return;
    if (!session.tree().make_directory(path.get(), 0777)) {
        session.refuse_by_fault();
        return;
    }
    session.reply_name(257, "\"", path.view(), "\" is made.");
    session.tell_change(path.get());
}

void run_remove_directory(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (is_changeable(session, name, path))
        answer_change(session, session.tree().remove_directory(path.get()), path,
                      "The directory is removed.");
}

void run_delete(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    if (is_changeable(session, name, path))
        answer_change(session, session.tree().remove_file(path.get()), path, "The file is removed.");
}

void run_rename_from(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    ombrel_file_info_t info;
    session.forget_renamed();
    if (!is_changeable(session, name, path) || !look_at(session, name, path, info))
        return;
    if (session.set_renamed(path))
        session.reply(350, "And what shall it be called?");
    else
        session.refuse(451, "Too much to do; try again later.");
}

void run_rename_to(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    const char* const from = session.renamed();
    if (from == nullptr) {
        session.refuse(503, "Say RNFR first.");
        return;
    }
    if (!is_changeable(session, name, path))
        return;
    if (!session.tree().rename(from, path.get())) {
        session.refuse_by_fault();
        return;
    }
    session.reply(250, "It is renamed.");
    session.tell_change(from, path.get());
}

/// What the transfer of a text sends is of another size.
void run_size(ftp_server_session& session, std::string_view name) {
    ombrel_file_info_t info;
    if (session.is_ascii)
        session.refuse(550, "Sizes are told in type I.");
    else if (look_at_file(session, name, info))
        session.reply(213, "%lld", static_cast<long long>(info.m_size));
}

void run_time(ftp_server_session& session, std::string_view name) {
    ombrel_file_info_t info;
    char time[ftp_stamp_room];
    if (!look_at_file(session, name, info))
        return;
    put_ftp_stamp(time, info.m_modified);
    session.reply(213, "%s", time);
}

void run_set_time(ftp_server_session& session, std::string_view argument) {
    const size_t end = argument.find(' ');
    const std::string_view text = slice(argument, 0, end), name = slice(argument, text.size() + 1);
    ombrel_instant_t moment;
    ombrel_file_info_t info;
    ftp_path path;
    if (name.empty() || !parse_ftp_stamp(text, moment)) {
        session.refuse(501, "That is no time and name.");
        return;
    }
    if (!look_at_file(session, name, info) || !session.resolve(name, path))
        return;
    if (!session.tree().set_times(path.get(), {nullptr, &moment})) {
        session.refuse_by_fault();
        return;
    }
    char time[ftp_stamp_room + 16];
    put_text(put_text(put_text(time, "Modify="), slice(text, 0, 14)), "; ")[0] = '\0';
    session.reply_name(213, time, path.view(), "");
    session.tell_change(path.get());
}

void run_facts(ftp_server_session& session, std::string_view name) {
    ftp_path path;
    ombrel_file_info_t info;
    char head[line_head_room];
    if (!look_at(session, name, path, info))
        return;
    const line_style style{listing_form::facts, session.facts, session.account()->rights, 0};
    session.say("250-Listing:");
    session.say_indented({head, put_line_head(head, info, style)}, path.view());
    session.reply(250, "End of listing.");
}

} // namespace ombrel::protocol
