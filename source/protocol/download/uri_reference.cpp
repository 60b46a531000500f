#include "protocol/download/uri_reference.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "system/file/file_internal.h"
#include "text/slice.h"
#include "text/uri_scheme.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

/// The parts of a URI of HTTP by which references go.
struct base_parts {
    string_view scheme;    ///< with its colon
    string_view authority; ///< with the slashes before it
    string_view path;
};

base_parts parts_of(string_view base) {
    base_parts parts;
    parts.scheme = slice(base, 0, uri_scheme_size(base) + 1);
    const string_view rest = slice(base, parts.scheme.size());
    const size_t path = std::min(rest.find_first_of("/?#", starts_with(rest, "//") ? 2 : 0), rest.size());
    parts.authority = slice(rest, 0, path);
    const string_view tail = slice(rest, path);
    parts.path = slice(tail, 0, std::min(tail.find_first_of("?#"), tail.size()));
    return parts;
}

/// What of the base comes before the reference.
string_view kept_part(string_view base, string_view reference) {
    const base_parts parts = parts_of(base);
    const size_t scheme = parts.scheme.size(), authority = scheme + parts.authority.size();
    if (starts_with(reference, "//"))
        return slice(base, 0, scheme);
    if (reference.starts_with('/'))
        return slice(base, 0, authority);
    if (reference.starts_with('?'))
        return slice(base, 0, authority + parts.path.size());
    const size_t folder = parts.path.rfind('/');
    return slice(base, 0, authority + (folder != string_view::npos ? folder + 1 : 0));
}

/// Takes the last component off what is written, down to the slash before it.
char* step_back(char* start, char* at) {
    while (at > start && *--at != '/')
        continue;
    return at;
}

/// Removes "." and ".." from a path that begins with a slash, in place. @return where it ends
char* remove_dots(char* start, char* end) {
    char* to = start;
    for (const char* from = start; from < end;) {
        const char* const next = std::find(from + 1, static_cast<const char*>(end), '/');
        const string_view component(from + 1, static_cast<size_t>(next - from - 1));
        const bool is_last = next == end;
        if (component == "..")
            to = step_back(start, to);
        else if (component != ".")
            to = std::copy(from, next, to);
        if (is_last && (component == ".." || component == "."))
            *to++ = '/';
        from = next;
    }
    return to;
}

/// Of the whole URI, whose path ends at its query.
void remove_dots_of(char* uri) {
    const base_parts parts = parts_of(uri);
    char* const path = uri + parts.scheme.size() + parts.authority.size();
    if (!parts.path.starts_with('/'))
        return;
    char* const rest = path + parts.path.size();
    char* const end = remove_dots(path, rest);
    memmove(end, rest, strlen(rest) + 1);
}

} // namespace

char* resolve_uri_reference(const char* base, const char* reference, call_site caller) {
    const string_view text = slice(reference, 0, string_view(reference).find('#'));
    const bool is_whole = uri_scheme_size(text) > 0;
    const string_view kept = is_whole || text.empty() ? string_view() : kept_part(base, text);
    const bool needs_slash =
        !kept.empty() && !text.starts_with('/') && !text.starts_with('?') && !kept.ends_with('/');
    char* const uri = system::joined_text(kept, needs_slash ? "/" : "", text.empty() ? base : text, caller);
    if (uri != nullptr)
        remove_dots_of(uri);
    return uri;
}

} // namespace ombrel::protocol
