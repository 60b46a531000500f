#include <ombrel/http_field.h>

#include "protocol/http/http_character.h"

namespace {

using namespace ombrel;
using namespace ombrel::protocol;

struct status_text {
    int status;
    const char* text;
};

constexpr status_text status_texts[] = {
    {100, "Continue"},
    {101, "Switching Protocols"},
    {102, "Processing"},
    {103, "Early Hints"},
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {207, "Multi-Status"},
    {208, "Already Reported"},
    {226, "IM Used"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {305, "Use Proxy"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {417, "Expectation Failed"},
    {421, "Misdirected Request"},
    {422, "Unprocessable Content"},
    {423, "Locked"},
    {424, "Failed Dependency"},
    {425, "Too Early"},
    {426, "Upgrade Required"},
    {428, "Precondition Required"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {451, "Unavailable For Legal Reasons"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
    {506, "Variant Also Negotiates"},
    {507, "Insufficient Storage"},
    {508, "Loop Detected"},
    {511, "Network Authentication Required"},
};

} // namespace

const char* ombrel_http_status_text(int status) {
    for (const status_text& known : status_texts)
        if (known.status == status)
            return known.text;
    return "Unknown";
}

int ombrel_is_http_token(const char* text, size_t size) {
    return text != nullptr && is_http_word({text, size}, http_token) ? 1 : 0;
}

int ombrel_is_http_value(const char* text, size_t size) {
    return size == 0 || (text != nullptr && skip_http_value(text, text + size) == text + size) ? 1 : 0;
}

int ombrel_is_http_name(const char* text, size_t size, const char* name) {
    if (name == nullptr || (text == nullptr && size != 0) || strlen(name) != size)
        return 0;
    for (size_t i = 0; i < size; i++)
        if (to_lower(static_cast<unsigned char>(text[i])) != to_lower(static_cast<unsigned char>(name[i])))
            return 0;
    return 1;
}
