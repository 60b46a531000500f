// The page with what is in a directory.
#include <ombrel/calendar.h>
#include <ombrel/printf.h>

#include "core/fault.h"
#include "protocol/http/http_directory_internal.h"
#include "system/tree/entry_list.h"

namespace ombrel::protocol {

namespace {

constexpr char tag[] = "ombrel_serve_http_directory";

constexpr std::string_view page_style =
    "<meta charset=\"utf-8\"><meta name=\"viewport\" content=\"width=device-width\">"
    "<style>body{font-family:sans-serif;margin:1.5em}td{padding:0 1.5em .2em 0}"
    "td+td{text-align:right;font-variant-numeric:tabular-nums}</style>";

/// A page that grows; once memory has run out it stays as it is.
class page {
public:
    explicit page(memory_budget& budget) : budget_(budget) {}
    ~page() { text_.clear(budget_); }
    page(const page&) = delete;
    page& operator=(const page&) = delete;

    page& operator<<(std::string_view text) {
        is_whole_ = is_whole_ && text_.append(budget_, text.data(), text.size(), tag);
        return *this;
    }
    /// A text of the host's, in which nothing is markup.
    page& shown(std::string_view text) {
        for (const char& c : text)
            *this << (c == '&'    ? "&amp;"
                      : c == '<'  ? "&lt;"
                      : c == '>'  ? "&gt;"
                      : c == '"'  ? "&quot;"
                      : c == '\'' ? "&#39;"
                                  : std::string_view(&c, 1));
        return *this;
    }
    page& encoded(std::string_view path) {
        is_whole_ = is_whole_ && put_encoded(text_, budget_, path);
        return *this;
    }
    bool is_whole() const { return is_whole_; }
    std::string_view text() const { return {text_.data, text_.size}; }

private:
    memory_budget& budget_;
    counted_block text_{};
    bool is_whole_ = true;
};

/// An open directory and its entries, for a scope.
class directory_reader {
public:
    directory_reader(const http_directory& from, const char* path)
        : directory_(from.tree.open_directory(path)) {
        is_read_ = directory_ != nullptr && list_.read(directory_, system::entry_list::order::of_bytes, tag,
                                                       from.options.m_entry_limit + 1);
    }
    ~directory_reader() {
        list_.release();
        if (directory_ != nullptr)
            platform::close_directory(directory_);
    }
    directory_reader(const directory_reader&) = delete;
    directory_reader& operator=(const directory_reader&) = delete;

    explicit operator bool() const { return is_read_; }
    system::entry_list& list() { return list_; }
    bool look_at(const char* name, ombrel_file_info_t& info) const {
        return platform::get_info_at(directory_, name, platform::at_link::stay, info);
    }

private:
    platform::open_directory* directory_;
    system::entry_list list_;
    bool is_read_;
};

/// "./" keeps a name with a colon from being taken for a scheme.
void put_entry(page& to, const char* name, const ombrel_file_info_t& info) {
    const bool is_directory = info.m_kind == def_ombrel_file_kind_directory;
    const std::string_view end = is_directory ? "/" : "";
    ombrel_civil_time_t time;
    char moment[40] = "", size[24] = "";
    if (ombrel_make_utc_time(&info.m_modified, &time) == 0)
        ombrel_snprintf(moment, sizeof moment, "%04d-%02d-%02d %02d:%02d", time.m_year, time.m_month,
                        time.m_day, time.m_hour, time.m_minute);
    if (!is_directory)
        ombrel_snprintf(size, sizeof size, "%lld", static_cast<long long>(info.m_size));
    to << "<tr><td><a href=\"./";
    to.encoded(name) << end << "\">";
    to.shown(name) << end << "</a><td>" << moment << "<td>" << size << "\n";
}

void put_entries(page& to, const http_directory& directory, directory_reader& reader) {
    size_t left = directory.options.m_entry_limit;
    for (system::entry_list::entry entry; to.is_whole() && reader.list().take(entry);) {
        ombrel_file_info_t info;
        if (left-- == 0) {
            to << "<tr><td>and more\n";
            return;
        }
        const bool is_served =
            !is_hidden(directory, entry.name) && system::is_plain_name(entry.name) &&
            reader.look_at(entry.name, info) &&
            (info.m_kind == def_ombrel_file_kind_regular || info.m_kind == def_ombrel_file_kind_directory);
        if (is_served)
            put_entry(to, entry.name, info);
    }
}

} // namespace

int answer_listing(http_exchange& exchange, const http_directory& directory, const char* path) {
    directory_reader reader(directory, path);
    page text(exchange.server->budget);
    if (!reader)
        return answer_by_fault(exchange);
    text << "<!DOCTYPE html>\n<html lang=\"en\"><head>" << page_style << "<title>/";
    text.shown(path) << "</title></head>\n<body><h1>/";
    text.shown(path) << "</h1>\n<table>\n";
    if (path[0] != '\0')
        text << "<tr><td><a href=\"../\">../</a><td><td>\n";
    put_entries(text, directory, reader);
    text << "</table></body></html>\n";
    if (!text.is_whole())
        return ombrel_http_exchange_answer_error(&exchange, 503, "no memory for the list");
    ombrel_http_exchange_add_field(&exchange, "Cache-Control", "no-cache");
    return ombrel_http_exchange_answer(&exchange, 200, "text/html; charset=utf-8", text.text().data(),
                                       text.text().size());
}

} // namespace ombrel::protocol
