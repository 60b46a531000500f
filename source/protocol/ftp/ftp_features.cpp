// What a server tells of itself (RFC 2389), and what of it must be switched on.
#include <ombrel/string.h>

#include "protocol/ftp/ftp_object.h"
#include "text/fold.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

struct feature_name {
    std::string_view text;
    uint32_t feature;
};
constexpr feature_name feature_names[] = {
    {"SIZE", def_ombrel_ftp_feature_size},   {"MDTM", def_ombrel_ftp_feature_mdtm},
    {"MFMT", def_ombrel_ftp_feature_mfmt},   {"REST STREAM", def_ombrel_ftp_feature_rest},
    {"MLST", def_ombrel_ftp_feature_facts},  {"UTF8", def_ombrel_ftp_feature_utf8},
    {"EPSV", def_ombrel_ftp_feature_epsv},   {"EPRT", def_ombrel_ftp_feature_eprt},
    {"AUTH TLS", def_ombrel_ftp_feature_tls}};

/// The facts that entries have a place for, in lower case.
constexpr std::string_view wanted_facts[] = {"type",     "size",       "modify",         "perm",
                                             "unique",   "unix.mode",  "unix.owner",     "unix.ownername",
                                             "unix.uid", "unix.group", "unix.groupname", "unix.gid"};

bool begins_with_word(std::string_view line, std::string_view word) {
    return line.size() >= word.size() && ombrel_strncasecmp(line.data(), word.data(), word.size()) == 0 &&
           (line.size() == word.size() || line[word.size()] == ' ');
}

bool is_wanted(std::string_view fact) {
    return std::any_of(std::begin(wanted_facts), std::end(wanted_facts), [&](std::string_view wanted) {
        return fact.size() == wanted.size() &&
               ombrel_strncasecmp(fact.data(), wanted.data(), wanted.size()) == 0;
    });
}

/// A server marks with "*" the facts that it tells unasked ("type*;size*;perm;"). When it has others that are
/// wanted, all of those are asked for.
void choose_facts(ftp_session& session, std::string_view list) {
    char wanted[256] = "MLST ";
    char* at = wanted + 5;
    bool asks = false;
    while (!list.empty()) {
        std::string_view fact = slice(list, 0, list.find(';'));
        list = slice(list, fact.size() + 1);
        const bool is_told = fact.ends_with('*');
        fact.remove_suffix(is_told ? 1 : 0);
        if (!is_wanted(fact) || fact.size() + 2 > static_cast<size_t>(std::end(wanted) - at))
            continue;
        at = put_text(at, fact);
        *at++ = ';';
        asks = asks || !is_told;
    }
    if (asks)
        session.ask("OPTS", {wanted, static_cast<size_t>(at - wanted)});
}

uint32_t feature_of(std::string_view line) {
    for (const feature_name& each : feature_names) {
        if (begins_with_word(line, each.text))
            return each.feature;
    }
    return 0;
}

} // namespace

bool find_features(ombrel_ftp_t& ftp) {
    constexpr size_t most_fact_list = 512;
    char facts[most_fact_list] = "";
    if (!ftp.session.ask("FEAT", ""))
        return false;
    ftp.has_features = ftp.session.control().kind() == ftp_reply_kind::completed;
    std::string_view text = ftp.has_features ? ftp.session.control().whole_text() : "";
    while (!text.empty()) {
        std::string_view line = slice(text, 0, text.find('\n'));
        text = slice(text, line.size() + 1);
        line = slice(line, std::min(line.find_first_not_of(' '), line.size()));
        const uint32_t feature = feature_of(line);
        ftp.features |= feature;
        if (feature == def_ombrel_ftp_feature_facts)
            copy_printable(facts, sizeof facts, slice(line, 5));
    }
    // What it says to these is no matter: names stay what they are, and facts come as they do.
    if (has_feature(ftp, def_ombrel_ftp_feature_utf8) && !ftp.session.ask("OPTS", "UTF8 ON"))
        return false;
    choose_facts(ftp.session, facts);
    return ftp.session.is_connected();
}

} // namespace ombrel::protocol
