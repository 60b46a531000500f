#include <ombrel/http_field.h>

#include <algorithm>

#include "protocol/http/http_character.h"
#include "protocol/http/http_text_writer.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

constexpr int full_quality = 1000;

/// An element of an accept list.
struct acceptance {
    std::string_view range;
    bool has_parameters = false; ///< beside the quality
    int quality = full_quality;
};

bool is_same(std::string_view a, std::string_view b) {
    const auto same = [](char x, char y) {
        return to_lower(static_cast<unsigned char>(x)) == to_lower(static_cast<unsigned char>(y));
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
}

/// 0 to 1000 for "0" to "1" with three decimals at most; -1 for anything else.
int read_quality(std::string_view text) {
    if (text.empty() || text.size() > 5 || text[0] < '0' || text[0] > '1')
        return -1;
    int quality = (text[0] - '0') * full_quality, weight = full_quality;
    if (text.size() > 1 && text[1] != '.')
        return -1;
    for (const char c : slice(text, 2)) {
        if (!is_http(c, http_decimal))
            return -1;
        weight /= 10;
        quality += (c - '0') * weight;
    }
    return quality > full_quality ? -1 : quality;
}

/// Whether a range is a token, of media two with a "/" between them; stars are tokens.
bool is_range(int kind, std::string_view range) {
    if (kind != def_ombrel_http_accept_media)
        return is_http_word(range, http_token);
    const size_t slash = range.find('/');
    return slash != range.npos && is_http_word(slice(range, 0, slash), http_token) &&
           is_http_word(slice(range, slash + 1), http_token);
}

bool read_acceptance(int kind, std::string_view element, acceptance& read) {
    const size_t end = std::min(element.find(';'), element.size());
    read.range = trim_http(slice(element, 0, end));
    if (!is_range(kind, read.range))
        return false;
    const std::string_view parameters = slice(element, end);
    ombrel_http_parameter_t parameter;
    size_t at = 0;
    int step;
    while ((step = ombrel_next_http_parameter(parameters.data(), parameters.size(), ';', &at, &parameter)) ==
           1) {
        if (!is_same(view_of(parameter.m_name), "q")) {
            read.has_parameters = true;
            continue;
        }
        read.quality = read_quality(view_of(parameter.m_value));
        return read.quality >= 0; // what follows are no parameters of the range
    }
    return step == 0;
}

std::string_view type_of(std::string_view media) {
    return slice(media, 0, media.find('/'));
}

// How particularly an element names an offer: 0 not at all.

int media_fit(const acceptance& element, std::string_view offer) {
    offer = trim_http(slice(offer, 0, offer.find(';')));
    if (element.range == "*/*")
        return 1;
    if (element.has_parameters)
        return 0;
    const std::string_view range = element.range;
    if (range.size() > 2 && slice(range, range.size() - 2) == "/*")
        return is_same(slice(range, 0, range.size() - 2), type_of(offer)) ? 2 : 0;
    return is_same(range, offer) ? 3 : 0;
}

int coding_fit(const acceptance& element, std::string_view offer) {
    return is_same(element.range, offer) ? 2 : element.range == "*" ? 1 : 0;
}

int language_fit(const acceptance& element, std::string_view offer) {
    const std::string_view range = element.range;
    if (range == "*")
        return 1;
    const bool is_prefix = is_same(range, slice(offer, 0, range.size())) &&
                           (offer.size() == range.size() || offer[range.size()] == '-');
    return is_prefix ? 2 + static_cast<int>(range.size()) : 0;
}

using fit_function = int (*)(const acceptance&, std::string_view);
constexpr fit_function fits[] = {media_fit, coding_fit, language_fit};

bool is_kind(int kind) {
    return kind >= def_ombrel_http_accept_media && kind <= def_ombrel_http_accept_language;
}

/// What holds for an offer that no element names.
int unnamed_quality(int kind, std::string_view list, std::string_view offer) {
    if (kind == def_ombrel_http_accept_coding)
        return is_same(offer, "identity") ? full_quality : 0;
    return trim_http(list).empty() ? full_quality : 0;
}

} // namespace

int ombrel_parse_http_media(const char* text, size_t size, ombrel_http_media_t* media) {
    if (media == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    const std::string_view all = trim_http({text, size});
    const size_t slash = all.find('/'), end = std::min(all.find(';'), all.size());
    const std::string_view essence = trim_http(slice(all, 0, end)), type = slice(essence, 0, slash);
    const std::string_view subtype = slash < essence.size() ? slice(essence, slash + 1) : std::string_view();
    if (!is_http_word(type, http_token) || !is_http_word(subtype, http_token))
        return refuse_http(fault_code::violation);
    const std::string_view parameters = slice(all, end);
    ombrel_http_parameter_t parameter;
    size_t at = 0;
    int step;
    do
        step = ombrel_next_http_parameter(parameters.data(), parameters.size(), ';', &at, &parameter);
    while (step == 1);
    *media = {http_text(type), http_text(subtype), http_text(essence), http_text(parameters)};
    return step;
}

int ombrel_get_http_quality(int kind, const char* text, size_t size, const char* offer) {
    if (!is_kind(kind) || offer == nullptr || (text == nullptr && size != 0))
        return refuse_http(fault_code::invalid);
    if (text == nullptr)
        return full_quality;
    int quality = unnamed_quality(kind, {text, size}, offer), best_fit = 0;
    ombrel_http_text_t found;
    size_t at = 0;
    int step;
    while ((step = ombrel_next_http_element(text, size, &at, &found)) == 1) {
        acceptance element;
        if (!read_acceptance(kind, view_of(found), element))
            return refuse_http(fault_code::violation);
        const int fit = fits[kind](element, offer);
        if (fit > best_fit) {
            best_fit = fit;
            quality = element.quality;
        }
    }
    return step == 0 ? quality : -1;
}

int ombrel_choose_http_offer(int kind, const char* text, size_t size, const char* const* offers, int count) {
    if (offers == nullptr && count > 0)
        return refuse_http(fault_code::invalid);
    int chosen = -1, best = 0;
    for (int index = 0; index < count; index++) {
        const int quality = ombrel_get_http_quality(kind, text, size, offers[index]);
        if (quality < 0)
            return -1;
        if (quality > best) {
            best = quality;
            chosen = index;
        }
    }
    return chosen >= 0 ? chosen : refuse_http(fault_code::not_found);
}
