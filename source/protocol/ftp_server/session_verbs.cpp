// Who the client is, and what the server is.
#include <algorithm>

#include "protocol/ftp_server/ftp_line_reader.h"
#include "protocol/ftp_server/ftp_server_session.h"
#include "protocol/ftp_server/ftp_verb.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

/// Which facts a list of names asks for, ";" behind each; others are passed over.
uint8_t facts_of(std::string_view list) {
    uint8_t facts = 0;
    while (!list.empty()) {
        const size_t end = std::min(list.find(';'), list.size());
        for (uint8_t fact = 0; fact < fact_count; fact++)
            if (is_word(slice(list, 0, end), fact_names[fact]))
                facts = static_cast<uint8_t>(facts | 1u << fact);
        list = slice(list, end + 1);
    }
    return facts;
}

/// Their names, each with a mark behind it where it is chosen, and a ";".
void put_facts(char (&text)[96], uint8_t facts, bool only_these) {
    char* to = text;
    for (uint8_t fact = 0; fact < fact_count; fact++) {
        const bool is_chosen = (facts & 1u << fact) != 0;
        if (only_these && !is_chosen)
            continue;
        to = put_text(put_text(to, fact_names[fact]), only_these ? ";" : is_chosen ? "*;" : ";");
    }
    *to = '\0';
}

} // namespace

void run_user(ftp_server_session& session, std::string_view name) {
    session.take_name(name);
}

void run_pass(ftp_server_session& session, std::string_view password) {
    if (session.account() != nullptr || !session.has_name())
        session.reply(503, "Say USER first.");
    else
        session.take_password(password);
}

void run_account(ftp_server_session& session, std::string_view) {
    session.reply(202, "Nothing hangs on that here.");
}

void run_reinitialize(ftp_server_session& session, std::string_view) {
    session.log_out();
    session.reply(220, "Logged out.");
}

void run_quit(ftp_server_session& session, std::string_view) {
    session.end(221, "Good bye.");
}

void run_noop(ftp_server_session& session, std::string_view) {
    session.reply(200, "Here.");
}

/// Listings look as those of Unix on every host.
void run_syst(ftp_server_session& session, std::string_view) {
    session.reply(215, "UNIX Type: L8");
}

void run_features(ftp_server_session& session, std::string_view) {
    char facts[96];
    put_facts(facts, session.facts, false);
    session.say("211-Features:");
    for (const char* const feature : {"EPRT", "EPSV", "MDTM", "MFMT"})
        session.say_indented(feature);
    session.say_indented("MLST ", facts);
    for (const char* const feature : {"REST STREAM", "SIZE", "TVFS", "UTF8"})
        session.say_indented(feature);
    session.reply(211, "End of features.");
}

void run_options(ftp_server_session& session, std::string_view argument) {
    const size_t end = std::min(argument.find(' '), argument.size());
    const std::string_view what = slice(argument, 0, end), how = slice(argument, end + 1);
    char facts[96];
    if (is_word(what, "MLST")) {
        session.facts = facts_of(how);
        put_facts(facts, session.facts, true);
        session.reply(200, facts[0] != '\0' ? "MLST OPTS %s" : "MLST OPTS", facts);
    } else if (is_word(what, "UTF8") || is_word(what, "UTF-8")) {
        const bool is_on = how.empty() || is_word(how, "ON");
        session.reply(is_on ? 200 : 504, "Names are always in UTF-8.");
    } else {
        session.refuse(501, "That has no options.");
    }
}

void run_help(ftp_server_session& session, std::string_view) {
    session.say("214-These are understood:");
    session.say_indented("ABOR ALLO APPE CDUP CWD  DELE EPRT EPSV FEAT HELP LIST MDTM MFMT MKD  MLSD MLST");
    session.say_indented("MODE NLST NOOP OPTS PASS PASV PORT PWD  QUIT REIN REST RETR RMD  RNFR RNTO SITE");
    session.say_indented("SIZE STAT STOR STOU STRU SYST TYPE USER");
    session.reply(214, "End of help.");
}

void run_site(ftp_server_session& session, std::string_view argument) {
    if (is_word(argument, "HELP"))
        session.reply(214, "SITE has nothing but HELP.");
    else
        session.refuse(504, "SITE has nothing but HELP.");
}

/// Protection of the connections, languages and mounting; there is none of it.
void run_unsupported(ftp_server_session& session, std::string_view) {
    session.reply(502, "That is not supported.");
}

} // namespace ombrel::protocol
