// Which file of a directory a request is for.
#include <ombrel/http_directory.h>

#include <new>

#include <ombrel/string.h>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/http/http_directory_internal.h"
#include "text/slice.h"

using namespace ombrel;
using namespace ombrel::protocol;

namespace ombrel::protocol {

namespace {

constexpr char tag[] = "ombrel_serve_http_directory";

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

/// Where the path of a target begins and ends, as it was sent.
std::string_view encoded_path(const http_exchange& exchange) {
    const http_request& request = exchange.request;
    const char* const texts = request.texts.data;
    const char* const sent = texts + request.target;
    ombrel_http_target_t target;
    if (ombrel_split_http_target({texts, strlen(texts)}, {sent, strlen(sent)}, &target) != 0)
        return {};
    return {target.m_path.m_data, target.m_path.m_size};
}

/// What of the path, as sent, stands behind the route's: from the "/" before it on. Empty when there is none.
std::string_view encoded_rest(const http_exchange& exchange) {
    const std::string_view path = encoded_path(exchange);
    size_t at = 0;
    for (size_t decoded = 0; decoded < exchange.request.path_rest && at < path.size(); decoded++)
        at += path[at] == '%' ? 3 : 1;
    if (at > 0 && at <= path.size() && path[at - 1] == '/')
        at--;
    return slice(path, at);
}

/// Whether a name on the way is hidden.
bool leads_through_hidden(const http_directory& directory, const char* path) {
    for (const char* name = path; name != nullptr; name = strchr(name, '/')) {
        name += *name == '/';
        if (is_hidden(directory, name))
            return true;
    }
    return false;
}

/// The path below the directory, decoded; null, with the fault left, for one that leads nowhere or through
/// what is hidden, and when memory has run out.
heap_ptr<char> clean_path(const http_exchange& exchange, const http_directory& directory) {
    const std::string_view encoded = encoded_rest(exchange);
    heap_ptr<char> path(static_cast<char*>(ombrel_alloc_tag(encoded.size() + 1, tag, __LINE__)));
    if (!path)
        leave_fault(fault_code::no_memory);
    else if (ombrel_clean_http_path(encoded.data(), encoded.size(), path.get(), encoded.size() + 1) < 0 ||
             leads_through_hidden(directory, path.get())) {
        leave_fault(fault_code::not_found);
        path.reset();
    }
    return path;
}

/// Sends the client to the directory's name with "/" behind it: the path is written anew, as one that begins
/// with "//" would be another host's.
int redirect(http_exchange& exchange, std::string_view path) {
    const std::string_view sent = encoded_path(exchange), rest = encoded_rest(exchange);
    const char* const query = ombrel_http_exchange_get_query(&exchange);
    memory_budget& budget = exchange.server->budget;
    counted_block place{};
    const auto add = [&](std::string_view text) {
        return place.append(budget, text.data(), text.size(), tag);
    };
    const std::string_view before = slice(sent, 0, sent.size() - rest.size());
    const bool is_made = add(starts_with(before, "//") ? std::string_view() : before) && add("/") &&
                         put_encoded(place, budget, path) && add("/") && add(query != nullptr ? "?" : "") &&
                         add(query != nullptr ? query : "") && add({"", 1});
    const bool is_added = is_made && ombrel_http_exchange_add_field(&exchange, "Location", place.data) == 0;
    place.clear(budget);
    return ombrel_http_exchange_answer_error(&exchange, is_added ? 301 : 500, nullptr);
}

/// The path of a directory's index file; null, with the fault left, when memory has run out.
heap_ptr<char> index_path(const char* path, const char* name) {
    const size_t size = strlen(path), name_size = strlen(name) + 1;
    heap_ptr<char> joined(static_cast<char*>(ombrel_alloc_tag(size + name_size, tag, __LINE__)));
    if (joined) {
        memcpy(joined.get(), path, size);
        memcpy(joined.get() + size, name, name_size);
    } else {
        leave_fault(fault_code::no_memory);
    }
    return joined;
}

/// Whether there was no index file, so that a list may stand in its place. One that cannot be opened is none
/// that is missing.
bool index_is_missing() {
    const fault_code code = last_fault().code;
    return code == fault_code::not_found || code == fault_code::is_directory;
}

int serve_directory(http_exchange& exchange, const http_directory& directory, const char* path) {
    const char* const name = directory.options.m_index_name;
    if (name != nullptr) {
        ombrel_file_info_t info;
        const heap_ptr<char> index = index_path(path, name);
        const int descriptor = index ? directory.tree.open_file(index.get(), {.read = true}, &info) : -1;
        if (descriptor >= 0)
            return answer_file(exchange, directory, descriptor, info, index.get(), nullptr);
        if (!index || !index_is_missing())
            return answer_by_fault(exchange);
    }
    if ((directory.options.m_flags & def_ombrel_http_directory_no_list) != 0)
        return ombrel_http_exchange_answer_error(&exchange, 404, nullptr);
    return answer_listing(exchange, directory, path);
}

int serve_path(http_exchange& exchange, const http_directory& directory, const char* path) {
    const size_t size = strlen(path);
    if (size == 0 || path[size - 1] == '/')
        return serve_directory(exchange, directory, path);
    ombrel_file_info_t info;
    const int descriptor = directory.tree.open_file(path, {.read = true}, &info);
    if (descriptor >= 0)
        return answer_file(exchange, directory, descriptor, info, path, nullptr);
    return last_fault().code == fault_code::is_directory ? redirect(exchange, path)
                                                         : answer_by_fault(exchange);
}

bool is_read(http_exchange& exchange) {
    const char* const method = ombrel_http_exchange_get_method(&exchange);
    if (method == nullptr || strcmp(method, "GET") == 0 || strcmp(method, "HEAD") == 0)
        return true;
    ombrel_http_exchange_add_field(&exchange, "Allow", "GET, HEAD, OPTIONS");
    if (strcmp(method, "OPTIONS") == 0)
        ombrel_http_exchange_answer(&exchange, 204, nullptr, nullptr, 0);
    else
        ombrel_http_exchange_answer_error(&exchange, 405, nullptr);
    return false;
}

/// A copy of a text that may be null; false when memory has run out.
bool keep_text(const char*& text) {
    if (text != nullptr)
        text = ombrel_strdup_tag(text, "ombrel_open_http_directory", __LINE__);
    else
        return true;
    return text != nullptr || refuse(fault_code::no_memory);
}

bool open_directory(http_directory& directory, const char* path) {
    ombrel_http_directory_options_t& options = directory.options;
    const char* const charset = std::exchange(options.m_charset, nullptr);
    const bool has_index = keep_text(options.m_index_name);
    options.m_charset = has_index ? charset : nullptr;
    return has_index && keep_text(options.m_charset) && directory.tree.open(path);
}

bool is_sound(const ombrel_http_directory_options_t& options) {
    constexpr size_t most_ranges = 64, most_entries = 100000, longest_charset = 40;
    constexpr uint32_t flags = def_ombrel_http_directory_no_list | def_ombrel_http_directory_dot_files;
    return (options.m_flags & ~flags) == 0 && options.m_range_limit <= most_ranges &&
           options.m_entry_limit <= most_entries &&
           (options.m_index_name == nullptr || system::is_plain_name(options.m_index_name)) &&
           (options.m_charset == nullptr ||
            (strlen(options.m_charset) <= longest_charset &&
             ombrel_is_http_token(options.m_charset, strlen(options.m_charset)) == 1));
}

} // namespace

} // namespace ombrel::protocol

int ombrel_init_http_directory_options(ombrel_http_directory_options_t* options) {
    if (options == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *options = {0, "index.html", "utf-8", 0, 16, 10000};
    return 0;
}

ombrel_http_directory_t* ombrel_open_http_directory_tag(const char* path,
                                                        const ombrel_http_directory_options_t* options,
                                                        const char* function, unsigned long line) {
    ombrel_http_directory_options_t settled;
    ombrel_init_http_directory_options(&settled);
    if (options != nullptr)
        settled = *options;
    if (path == nullptr || !is_sound(settled))
        return leave_fault(fault_code::invalid), nullptr;
    auto* const opened =
        static_cast<http_directory*>(ombrel_alloc_tag(sizeof(http_directory), function, line));
    if (opened == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    *opened = {{}, settled};
    if (open_directory(*opened, path))
        return opened;
    const fault_keeper kept;
    ombrel_close_http_directory(opened);
    return nullptr;
}

int ombrel_close_http_directory(ombrel_http_directory_t* directory) {
    if (directory == nullptr)
        return 0;
    directory->tree.close();
    for (const char* text : {directory->options.m_index_name, directory->options.m_charset})
        if (text != nullptr)
            ombrel_free(const_cast<char*>(text));
    return ombrel_free(directory), 0;
}

int ombrel_serve_http_directory(ombrel_http_exchange_t* exchange, void* directory) {
    if (exchange == nullptr || directory == nullptr || !is_open(*exchange))
        return leave_fault(fault_code::invalid), -1;
    if (!is_read(*exchange))
        return 0;
    const auto& served = *static_cast<const http_directory*>(directory);
    const heap_ptr<char> path = clean_path(*exchange, served);
    return path ? serve_path(*exchange, served, path.get()) : answer_by_fault(*exchange);
}

int ombrel_serve_http_file(ombrel_http_exchange_t* exchange, ombrel_http_directory_t* directory,
                           const char* path, const char* type) {
    if (exchange == nullptr || directory == nullptr || path == nullptr || !is_open(*exchange))
        return leave_fault(fault_code::invalid), -1;
    if (!is_read(*exchange))
        return 0;
    ombrel_file_info_t info;
    const int descriptor = directory->tree.open_file(path, {.read = true}, &info);
    return descriptor >= 0 ? answer_file(*exchange, *directory, descriptor, info, path, type)
                           : answer_by_fault(*exchange);
}
