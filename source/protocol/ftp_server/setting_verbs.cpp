// How data are to go, and between which places.
#include <cstring>

#include <ombrel/address.h>
#include <ombrel/printf.h>

#include "protocol/ftp_server/ftp_line_reader.h"
#include "protocol/ftp_server/ftp_server_session.h"
#include "protocol/ftp_server/ftp_verb.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr int first_unprivileged_port = 1024;

/// Six numbers of a byte with commas between, of which the last two are the port.
bool parse_port(std::string_view text, endpoint& address) {
    uint8_t bytes[6];
    for (size_t i = 0; i < sizeof bytes; i++) {
        if (i > 0 && !starts_with(text, ","))
            return false;
        text = slice(text, i > 0 ? 1 : 0);
        if (!take_number<uint8_t>(text, 0, 255, bytes[i]))
            return false;
    }
    address.set_raw(AF_INET, bytes);
    ombrel_sockaddr_set_port(address.get(), bytes[4] << 8 | bytes[5]);
    return text.empty();
}

/// What stands before the next delimiter, which is taken off as well; an error leaves nothing.
std::string_view take_field(std::string_view& text, char delimiter) {
    const size_t end = text.find(delimiter);
    if (end == std::string_view::npos)
        return text = {};
    const std::string_view field = slice(text, 0, end);
    text = slice(text, end + 1);
    return field;
}

enum class parsed { well, badly, other_protocol };

/// "|1|192.0.2.7|40000|", with 2 for IPv6, and any delimiter.
parsed parse_extended_port(std::string_view text, endpoint& address) {
    char number[address_text_size];
    const char delimiter = text.empty() ? '\0' : text[0];
    text = slice(text, 1);
    const std::string_view protocol = take_field(text, delimiter);
    const std::string_view host = take_field(text, delimiter);
    const std::string_view port_text = take_field(text, delimiter);
    int port = 0;
    if (!text.empty() || host.empty() || host.size() >= sizeof number ||
        !parse_number(port_text, 0, max_port, port))
        return parsed::badly;
    if (protocol != "1" && protocol != "2")
        return parsed::other_protocol;
    *put_text(number, host) = '\0';
    const bool is_address = host.find('[') == std::string_view::npos &&
                            address.parse(protocol == "1" ? AF_INET : AF_INET6, number, port);
    return is_address && address.port() == port ? parsed::well : parsed::badly;
}

/// But for the scope, of which a client does not know what it is called here.
bool is_same_address(const endpoint& given, const endpoint& client) {
    const address_layout* const layout = find_layout(given.get());
    return given.family() == client.family() &&
           memcmp(address_bytes(given.get(), *layout), address_bytes(client.get(), *layout),
                  layout->address_size) == 0;
}

/// The client's own address alone, and no port at which a service of the system may be (RFC 2577).
void aim(ftp_server_session& session, const endpoint& address) {
    if ((session.options().m_flags & def_ombrel_ftp_server_passive_only) != 0)
        session.refuse(502, "Only passive connections are made.");
    else if (session.only_extended)
        session.refuse(503, "EPSV ALL was said.");
    else if (!is_same_address(address, session.peer()) || address.port() < first_unprivileged_port)
        session.refuse(504, "Data go to your own address, and no port below 1024.");
    else {
        endpoint client = session.peer();
        ombrel_sockaddr_set_port(client.get(), address.port());
        session.close_data();
        session.data().aim(session.own(), client);
        session.reply(200, "Data will go there.");
    }
}

bool await(ftp_server_session& session) {
    session.close_data();
    if (session.data().await(session.own(), session.peer(), session.ports()))
        return true;
    session.refuse(425, "There is no port left.");
    return false;
}

} // namespace

void run_type(ftp_server_session& session, std::string_view type) {
    const bool is_ascii = is_word(type, "A") || is_word(type, "A N");
    if (!is_ascii && !is_word(type, "I") && !is_word(type, "L 8") && !is_word(type, "L8")) {
        session.refuse(504, "There are the types A and I.");
        return;
    }
    session.is_ascii = is_ascii;
    session.reply(200, "The type is %s now.", is_ascii ? "A" : "I");
}

void run_mode(ftp_server_session& session, std::string_view mode) {
    if (is_word(mode, "S"))
        session.reply(200, "The mode is S.");
    else
        session.refuse(504, "There is the mode S.");
}

void run_structure(ftp_server_session& session, std::string_view structure) {
    if (is_word(structure, "F"))
        session.reply(200, "The structure is F.");
    else
        session.refuse(504, "There is the structure F.");
}

/// Places in what ASCII transfers send are none in files.
void run_restart(ftp_server_session& session, std::string_view place) {
    int64_t wanted;
    if (!parse_number<int64_t>(place, 0, INT64_MAX, wanted))
        session.refuse(501, "That is no place in a file.");
    else if (session.is_ascii && wanted > 0)
        session.refuse(504, "Only type I can be restarted.");
    else {
        session.restart = wanted;
        session.reply(350, "The next transfer begins at %lld.", static_cast<long long>(wanted));
    }
}

void run_allocate(ftp_server_session& session, std::string_view size) {
    int64_t wanted;
    if (parse_number<int64_t>(slice(size, 0, size.find(' ')), 0, INT64_MAX, wanted))
        session.reply(202, "Files find their room themselves.");
    else
        session.refuse(501, "That is no number of bytes.");
}

void run_passive(ftp_server_session& session, std::string_view) {
    endpoint told = session.own();
    if (session.only_extended) {
        session.refuse(503, "EPSV ALL was said.");
        return;
    }
    if (told.family() != AF_INET) {
        session.refuse(425, "PASV is for IPv4; say EPSV.");
        return;
    }
    if (!await(session))
        return;
    if (session.options().m_passive_address != nullptr)
        told.parse(AF_INET, session.options().m_passive_address, 0);
    const uint8_t* const bytes = address_bytes(told.get(), ipv4_layout);
    const int port = session.data().port();
    session.reply(227, "Entering Passive Mode (%d,%d,%d,%d,%d,%d).", bytes[0], bytes[1], bytes[2], bytes[3],
                  port >> 8, port & 255);
}

void run_extended_passive(ftp_server_session& session, std::string_view protocol) {
    const bool is_ipv6 = session.own().family() == AF_INET6;
    if (is_word(protocol, "ALL")) {
        session.only_extended = true;
        session.reply(200, "EPSV alone from now on.");
    } else if (!protocol.empty() && protocol != (is_ipv6 ? "2" : "1")) {
        session.refuse(522, is_ipv6 ? "Use protocol (2)." : "Use protocol (1).");
    } else if (await(session)) {
        session.reply(229, "Entering Extended Passive Mode (|||%d|).", session.data().port());
    }
}

void run_port(ftp_server_session& session, std::string_view address) {
    endpoint given;
    if (parse_port(address, given))
        aim(session, given);
    else
        session.refuse(501, "That is no address and port.");
}

void run_extended_port(ftp_server_session& session, std::string_view address) {
    endpoint given;
    switch (parse_extended_port(address, given)) {
    case parsed::well:
        aim(session, given);
        break;
    case parsed::other_protocol:
        session.refuse(522, "Use protocol (1,2).");
        break;
    case parsed::badly:
        session.refuse(501, "That is no address and port.");
    }
}

} // namespace ombrel::protocol
