#include "protocol/download/download_info.h"

#include <algorithm>
#include <cstring>

#include <ombrel/digest.h>
#include <ombrel/printf.h>

#include "text/digits.h"
#include "text/number.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

constexpr string_view first_line = "ombrel download 1";

bool is_same_or_unknown(string_view a, string_view b) {
    return a.empty() || b.empty() || a == b;
}

string_view take_line(string_view& text) {
    const size_t end = text.find('\n');
    const string_view line = slice(text, 0, end);
    text = end != text.npos ? slice(text, end + 1) : string_view();
    return line;
}

bool take_value(string_view& text, string_view name, string_view& value) {
    const string_view line = take_line(text);
    value = slice(line, name.size());
    return starts_with(line, name);
}

} // namespace

bool resource_info::agrees_with(const resource_info& other) const {
    return (size < 0 || other.size < 0 || size == other.size) &&
           is_same_or_unknown(entity_tag.get(), other.entity_tag.get()) &&
           is_same_or_unknown(changed.get(), other.changed.get());
}

void set_change(resource_info& resource, const ombrel_instant_t& changed) {
    char text[40];
    ombrel_snprintf(text, sizeof text, "%lld.%09d", static_cast<long long>(changed.m_seconds),
                    changed.m_nanoseconds);
    resource.changed.set(text);
}

void set_source(part_info& info, const char* uri) {
    ombrel_digest_t digest;
    ombrel_init_digest(&digest, ombrel_find_digest_algorithm("sha256"));
    ombrel_digest_push(&digest, uri, strlen(uri));
    memcpy(info.source, ombrel_digest_result(&digest, nullptr), sizeof info.source);
}

size_t format_part_info(const part_info& info, char (&text)[part_info_room]) {
    const resource_info& resource = info.resource;
    return static_cast<size_t>(ombrel_snprintf(
        text, sizeof text, "%s\nsource %s\nsize %lld%s\ntag %s\nchanged %s\n", first_line.data(), info.source,
        static_cast<long long>(resource.size), resource.is_told_apart ? "!" : "", resource.entity_tag.c_str(),
        resource.changed.c_str()));
}

bool parse_part_info(string_view text, part_info& info) {
    string_view source, size, tag, changed;
    info = {};
    const bool has_lines = take_line(text) == first_line && take_value(text, "source ", source) &&
                           take_value(text, "size ", size) && take_value(text, "tag ", tag) &&
                           take_value(text, "changed ", changed) && text.empty();
    const bool is_digest =
        source.size() == sizeof info.source - 1 &&
        std::all_of(source.begin(), source.end(), [](char c) { return digit_value(c) != no_digit; });
    if (!has_lines || !is_digest)
        return false;
    *put_text(info.source, source) = '\0';
    info.resource.is_told_apart = size.ends_with('!');
    size.remove_suffix(info.resource.is_told_apart ? 1 : 0);
    info.resource.entity_tag.set(tag);
    info.resource.changed.set(changed);
    return parse_number(size, int64_t{-1}, INT64_MAX, info.resource.size);
}

} // namespace ombrel::protocol
