#include "protocol/http/client_target.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/uri.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "core/wipe.h"
#include "text/ctype_table.h"
#include "text/digits.h"
#include "text/slice.h"
#include "text/uri_scheme.h"

namespace ombrel::protocol {

namespace {

constexpr const char* sub_delimiters = "!$&'()*+,;=";

struct uri_guard {
    ombrel_uri_t* uri;
    ~uri_guard() { ombrel_free_uri(uri); }
};

http_target* refuse(fault_code why) {
    leave_fault(why);
    return nullptr;
}

bool is_any_of(char c, const char* characters) {
    return c != '\0' && strchr(characters, c) != nullptr;
}

bool is_unreserved(char c) {
    return is_class(c, def_ombrel_ctype_upper | def_ombrel_ctype_lower) || is_digit(c) ||
           is_any_of(c, "-._~");
}

// Whether the host can stand in a field: what was decoded may hold anything.
bool is_usable_host(std::string_view host, bool is_literal) {
    if (host.empty() || host.size() > 255)
        return false;
    return std::all_of(host.begin(), host.end(), [&](char c) {
        return is_unreserved(c) || (is_literal ? c == ':' || c == '%' : is_any_of(c, sub_delimiters));
    });
}

bool stands_for_itself(std::string_view text, size_t at) {
    const char c = text[at];
    if (c == '%')
        return at + 2 < text.size() && digit_value(text[at + 1]) != no_digit &&
               digit_value(text[at + 2]) != no_digit;
    return is_unreserved(c) || is_any_of(c, sub_delimiters) || is_any_of(c, ":@/?");
}

// Three bytes at most for each.
char* put_encoded(char* to, std::string_view text) {
    for (size_t i = 0; i < text.size(); i++) {
        if (stands_for_itself(text, i)) {
            *to++ = text[i];
        } else {
            *to++ = '%';
            to = put_hex(to, static_cast<uint8_t>(text[i]));
        }
    }
    return to;
}

// A zone ("%eth0") is for this machine alone.
std::string_view without_zone(std::string_view host) {
    return slice(host, 0, host.find('%'));
}

char* put_lower(char* to, std::string_view text) {
    return std::transform(text.begin(), text.end(), to, [](char c) {
        return is_class(c, def_ombrel_ctype_upper) ? static_cast<char>(c | 0x20) : c;
    });
}

char* put_host_field(char* to, const ombrel_uri_t& uri, int port) {
    const std::string_view host = uri.m_host;
    if (uri.m_is_ip_literal != 0)
        *to++ = '[';
    to = put_lower(to, uri.m_is_ip_literal != 0 ? without_zone(host) : host);
    if (uri.m_is_ip_literal != 0)
        *to++ = ']';
    if (port != http_port) {
        *to++ = ':';
        to = std::to_chars(to, to + 5, port).ptr;
    }
    return to;
}

// Whether the text begins with the segment, and ends there or goes on with "/".
bool has_segment(std::string_view text, std::string_view segment) {
    return starts_with(text, segment) && (text.size() == segment.size() || text[segment.size()] == '/');
}

// Drops the last segment and the "/" before it.
char* drop_segment(char* begin, char* end) {
    while (end > begin && *--end != '/')
        continue;
    return end;
}

// Takes "." and ".." out of a path in place and gives its end.
char* remove_dot_segments(char* begin, char* end) {
    std::string_view left(begin, static_cast<size_t>(end - begin));
    char* to = begin;
    bool ends_in_directory = false;
    while (!left.empty()) {
        const bool up = has_segment(left, "/..");
        ends_in_directory = up || has_segment(left, "/.");
        if (ends_in_directory) {
            to = up ? drop_segment(begin, to) : to;
            left = slice(left, up ? 3 : 2);
            continue;
        }
        const size_t size = std::min(left.find('/', 1), left.size());
        memmove(to, left.data(), size);
        to += size;
        left.remove_prefix(size);
    }
    if (ends_in_directory)
        *to++ = '/';
    return to;
}

char* put_path(char* to, const ombrel_uri_t& uri) {
    const std::string_view path = uri.m_encoded_path;
    if (path.empty())
        *to++ = '/';
    to = remove_dot_segments(to, put_encoded(to, path));
    if (uri.m_query != nullptr) {
        *to++ = '?';
        to = put_encoded(to, uri.m_query);
    }
    return to;
}

// Writes a text and its zero; null for one that is not there.
const char* store_text(char*& to, const char* text) {
    if (text == nullptr)
        return nullptr;
    char* const begin = to;
    to = put_text(to, text);
    *to++ = '\0';
    return begin;
}

size_t size_of(const char* text) {
    return text != nullptr ? strlen(text) + 1 : 0;
}

// Each character of the path may become three; the rest is scheme, brackets, port and zeros.
size_t room_for(const ombrel_uri_t& uri) {
    const size_t encoded = 3 * (size_of(uri.m_encoded_path) + size_of(uri.m_query));
    return sizeof(http_target) + 2 * size_of(uri.m_host) + encoded + size_of(uri.m_user) +
           size_of(uri.m_password) + sizeof "http://[]:65535/?";
}

void fill(http_target& target, const ombrel_uri_t& uri, size_t size) {
    char* to = reinterpret_cast<char*>(&target + 1);
    target.size = size;
    target.port = uri.m_port > 0 ? uri.m_port : http_port;
    target.host = to;
    to = put_lower(to, uri.m_host);
    *to++ = '\0';
    target.user = store_text(to, uri.m_user);
    target.password = store_text(to, uri.m_password);
    target.uri = to;
    to = put_text(to, "http://");
    target.host_field = to;
    to = put_host_field(to, uri, target.port);
    target.host_field_size = static_cast<size_t>(to - target.host_field);
    target.path = to;
    *put_path(to, uri) = '\0';
}

} // namespace

void free_target(http_target* target) {
    if (target == nullptr)
        return;
    wipe(target + 1, target->size - sizeof *target);
    ombrel_free(target);
}

http_target* new_target(const char* text, call_site caller) {
    const std::string_view whole = text != nullptr ? text : "";
    const size_t scheme = uri_scheme_size(whole);
    const uri_guard parsed{ombrel_parse_uri(text)};
    if (parsed.uri == nullptr)
        return refuse(fault_code::invalid);
    const ombrel_uri_t& uri = *parsed.uri;
    if (scheme != 0 && std::string_view(uri.m_scheme) != "http")
        return refuse(fault_code::not_supported);
    if (scheme == 0 || uri.m_host == nullptr || uri.m_port == 0 ||
        !is_usable_host(uri.m_host, uri.m_is_ip_literal != 0) ||
        (*uri.m_encoded_path != '\0' && *uri.m_encoded_path != '/'))
        return refuse(fault_code::invalid);
    const size_t size = room_for(uri);
    auto* target = static_cast<http_target*>(ombrel_alloc_tag(size, caller.tag, caller.line));
    if (target == nullptr)
        return refuse(fault_code::no_memory);
    fill(*target, uri, size);
    return target;
}

bool is_same_origin(const http_target& a, const http_target& b) {
    return a.port == b.port && strcmp(a.host, b.host) == 0;
}

namespace {

// The base's path up to where the reference goes on.
std::string_view base_path(const http_target& base, std::string_view reference) {
    const std::string_view path(base.path);
    const std::string_view without_query = slice(path, 0, path.find('?'));
    if (reference.empty() || reference[0] == '#')
        return path;
    if (reference[0] == '?')
        return without_query;
    return reference[0] == '/' ? std::string_view() : slice(path, 0, without_query.rfind('/') + 1);
}

// The authority with the zone that no field shows, for a host of this link.
char* put_authority(char* to, const http_target& base) {
    const std::string_view field(base.host_field, base.host_field_size), host(base.host);
    const size_t zone = host.find('%');
    if (zone == host.npos)
        return put_text(to, field);
    const size_t end = field.find(']');
    to = put_text(put_text(to, slice(field, 0, end)), "%25");
    return put_text(put_text(to, slice(host, zone + 1)), slice(field, end));
}

// "http:" and the reference, or the base's origin, a path and the reference; room for all of it is there.
void put_resolved(char* to, const http_target& base, std::string_view reference) {
    if (starts_with(reference, "//")) {
        *put_text(put_text(to, "http:"), reference) = '\0';
        return;
    }
    to = put_authority(put_text(to, "http://"), base);
    *put_text(put_text(to, base_path(base, reference)), reference) = '\0';
}

} // namespace

http_target* resolve_reference(const http_target& base, const char* reference, call_site caller) {
    const std::string_view text(reference);
    if (uri_scheme_size(text) != 0)
        return new_target(reference, caller);
    const size_t room = strlen(base.uri) + strlen(base.host) + text.size() + sizeof "http:/%25";
    const heap_ptr<char> resolved(static_cast<char*>(ombrel_alloc_tag(room, caller.tag, caller.line)));
    if (!resolved)
        return refuse(fault_code::no_memory);
    put_resolved(resolved.get(), base, text);
    return new_target(resolved.get(), caller);
}

} // namespace ombrel::protocol
