// Takes the lines of any bytes as what a server of HTTP answers to a download: a reference to elsewhere, and
// the fields that say what comes; and all of it as what is known of a part.

#include <cstdint>
#include <cstring>
#include <string>

#include "core/heap_ptr.h"
#include "protocol/download/http_reply.h"
#include "protocol/download/uri_reference.h"
#include "support/require.h"

namespace {

using namespace ombrel::protocol;

std::string take_line(std::string& text) {
    const size_t end = text.find('\n');
    const std::string line = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return line.c_str(); // up to a zero byte
}

/// A reference without a scheme stays with the base's, and no path leads above its beginning.
void check_reference(const std::string& reference) {
    for (const char* const base : {"http://h/a/b?c", "https://h:1"}) {
        const ombrel::heap_ptr<char> uri(resolve_uri_reference(base, reference.c_str(), {"fuzz", 1}));
        require(uri.get() != nullptr && strchr(uri.get(), '#') == nullptr);
        const std::string path = std::string(uri.get()).substr(0, strcspn(uri.get(), "?"));
        if (reference.starts_with('/') && !reference.starts_with("//"))
            require(path.find("/../") == std::string::npos &&
                    path.starts_with(base[4] == 's' ? "https://h:1/" : "http://h/"));
    }
}

struct answer_fields {
    std::string range, tag, changed, location, retry;
};

const char* find_field(void* from, const char* name) {
    const auto& fields = *static_cast<answer_fields*>(from);
    const struct {
        const char* name;
        const std::string& value;
    } known[] = {{"Content-Range", fields.range},   {"ETag", fields.tag},
                 {"Last-Modified", fields.changed}, {"Date", fields.changed},
                 {"Location", fields.location},     {"Retry-After", fields.retry}};
    for (const auto& one : known)
        if (strcmp(name, one.name) == 0)
            return one.value.c_str();
    return nullptr;
}

/// What goes on does so at the offset that was asked for.
void check_reply(int status, int64_t offset, answer_fields& fields) {
    ombrel_download_options_t options;
    ombrel_init_download_options(&options);
    const resource_info known;
    const source_request request{options, "http://h/", offset, &known};
    const source_sink sink = {[](void*, const source_answer&) { return true; }, nullptr, nullptr};
    download_watch watch(options);
    transfer_error error;
    int wait_ms = -1;
    source_answer answer;
    const reply_verdict verdict =
        judge_reply({request, sink, watch, error, wait_ms}, {status, 7, find_field, &fields}, answer);
    require(wait_ms >= -1 && wait_ms <= 1'000'000'000);
    require(verdict.use != reply_use::body || answer.offset == (status == 206 ? offset : 0));
}

void check_info(const std::string& text) {
    part_info info, again;
    if (!parse_part_info(text, info))
        return;
    char written[part_info_room];
    require(parse_part_info({written, format_part_info(info, written)}, again));
    require(info.resource.agrees_with(again.resource) && info.resource.size == again.resource.size);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    check_info(text);
    answer_fields fields;
    for (std::string* const field :
         {&fields.location, &fields.range, &fields.tag, &fields.changed, &fields.retry})
        *field = take_line(text);
    check_reference(fields.location);
    for (const int status : {200, 206, 302, 416, 503})
        for (const int64_t offset : {0, 50})
            check_reply(status, offset, fields);
    return 0;
}
