// Any bytes as each kind of value: parts lie within the text and follow one another, what is written fits and
// reads back as it was.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ombrel/http_field.h>

#include "support/require.h"

namespace {

/// A block of its own, so that a sanitizer sees what reads beyond it.
struct exact_text {
    std::vector<char> bytes;
    const char* data() const { return bytes.data(); }
    size_t size() const { return bytes.size(); }
    bool has(const ombrel_http_text_t& part) const {
        return part.m_size == 0 || (part.m_data >= data() && part.m_data + part.m_size <= data() + size());
    }
};

template<typename Next>
void step_through(const exact_text& text, Next next) {
    size_t at = 0, before = 0;
    for (bool is_first = true; next(&at) == 1; is_first = false) {
        require(is_first || at > before);
        require(at <= text.size());
        before = at;
    }
}

void check_lists(const exact_text& text) {
    step_through(text, [&](size_t* at) {
        ombrel_http_text_t element{};
        const int step = ombrel_next_http_element(text.data(), text.size(), at, &element);
        require(step != 1 || (element.m_size > 0 && text.has(element)));
        return step;
    });
    for (const char separator : {';', ','})
        step_through(text, [&](size_t* at) {
            ombrel_http_parameter_t part{};
            const int step = ombrel_next_http_parameter(text.data(), text.size(), separator, at, &part);
            require(step != 1 || (text.has(part.m_name) && text.has(part.m_value)));
            return step;
        });
    step_through(text, [&](size_t* at) {
        ombrel_http_entity_tag_t tag{};
        const int step = ombrel_next_http_entity_tag(text.data(), text.size(), at, &tag);
        require(step != 1 || text.has(tag.m_value));
        return step;
    });
    step_through(text, [&](size_t* at) {
        ombrel_http_cookie_t cookie{};
        const int step = ombrel_next_http_cookie(text.data(), text.size(), at, &cookie);
        require(step != 1 || (text.has(cookie.m_name) && text.has(cookie.m_value)));
        return step;
    });
}

void check_ranges(const exact_text& text) {
    constexpr int limit = 8;
    constexpr int64_t total = 1000;
    ombrel_http_range_t ranges[limit];
    const int count = ombrel_parse_http_ranges(text.data(), text.size(), total, ranges, limit);
    int64_t all = 0;
    for (int i = 0; i < count; i++) {
        require(ranges[i].m_first >= 0 && ranges[i].m_size > 0 &&
                ranges[i].m_first + ranges[i].m_size <= total);
        all += ranges[i].m_size;
    }
    require(all <= total);
    int64_t whole;
    if (ombrel_parse_http_content_range(text.data(), text.size(), ranges, &whole) == 0) {
        char buf[72];
        require(ombrel_format_http_content_range(ranges[0].m_size > 0 ? ranges : nullptr, whole, buf,
                                                 sizeof buf) > 0);
    }
}

void check_cookie(const exact_text& text) {
    ombrel_http_set_cookie_t cookie, again;
    if (ombrel_parse_http_set_cookie(text.data(), text.size(), &cookie) != 0)
        return;
    std::vector<char> buf(text.size() + 200);
    const int64_t size = ombrel_format_http_set_cookie(&cookie, buf.data(), buf.size());
    if (size < 0)
        return;
    require(ombrel_is_http_value(buf.data(), static_cast<size_t>(size)) == 1);
    require(ombrel_parse_http_set_cookie(buf.data(), static_cast<size_t>(size), &again) == 0);
    require(again.m_value.m_size == cookie.m_value.m_size && again.m_path.m_size == cookie.m_path.m_size &&
            again.m_max_age == cookie.m_max_age && again.m_expires == cookie.m_expires);
}

bool has_parent(const std::string& path) {
    const std::string within = "/" + path + "/";
    return within.find("/../") != within.npos || within.find("/./") != within.npos;
}

void check_paths(const exact_text& text) {
    std::vector<char> buf(text.size() + 1);
    const int64_t size = ombrel_clean_http_path(text.data(), text.size(), buf.data(), buf.size());
    if (size >= 0) {
        const std::string path(buf.data());
        require(path.size() == static_cast<size_t>(size) && !has_parent(path));
        require(path.empty() || path.front() != '/');
        require(path.find("//") == path.npos && path.find('\\') == path.npos);
    }
    const int64_t decoded = ombrel_decode_http_text(text.data(), text.size(), 1, buf.data(), buf.size());
    require(decoded < 0 || strlen(buf.data()) == static_cast<size_t>(decoded));
    for (const char* method : {"GET", "OPTIONS", "CONNECT"}) {
        ombrel_http_target_t target;
        if (ombrel_split_http_target({method, strlen(method)}, {text.data(), text.size()}, &target) == 0)
            require(text.has(target.m_authority.m_host) && text.has(target.m_query));
    }
    ombrel_http_authority_t authority;
    require(ombrel_parse_http_authority(text.data(), text.size(), &authority) != 0 ||
            authority.m_host.m_size > 0);
}

void check_words(const exact_text& text) {
    ombrel_http_media_t media;
    if (ombrel_parse_http_media(text.data(), text.size(), &media) == 0)
        require(text.has(media.m_essence) && text.has(media.m_parameters));
    const char* const offers[] = {"text/html", "gzip", "en-GB", "identity"};
    for (int kind = 0; kind < 3; kind++)
        for (const char* offer : offers) {
            const int quality = ombrel_get_http_quality(kind, text.data(), text.size(), offer);
            require(quality >= -1 && quality <= 1000);
        }
    std::vector<char> quoted(2 * text.size() + 3), again(text.size() + 1);
    const int64_t size = ombrel_quote_http_text(text.data(), text.size(), quoted.data(), quoted.size());
    require((size >= 0) == (ombrel_is_http_value(text.data(), text.size()) == 1));
    if (size >= 0)
        require(ombrel_unquote_http_text(quoted.data() + 1, static_cast<size_t>(size) - 2, again.data(),
                                         again.size()) == static_cast<int64_t>(text.size()) &&
                std::equal(text.bytes.begin(), text.bytes.end(), again.begin()));
    ombrel_instant_t instant;
    ombrel_read_http_date(text.data(), text.size(), &instant);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    exact_text text{{data, data + size}};
    text.bytes.reserve(1); // the address of an empty text is no null
    check_lists(text);
    check_ranges(text);
    check_cookie(text);
    check_paths(text);
    check_words(text);
    return 0;
}
