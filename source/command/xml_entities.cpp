#include "command/xml_entities.h"

#include <algorithm>
#include <cstring>

#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/percent.h>
#include <ombrel/printf.h>

#include "system/file/path_parts.h"
#include "text/slice.h"

namespace ombrel::command {

namespace {

constexpr size_t block_size = 32768;

/// What stands before the last name of a path, with its separator.
std::string_view folder_of(std::string_view path) {
    return slice(path, 0, path.find_last_of(system::path_separators) + 1);
}

/// A path beside another.
heap_ptr<char> join(std::string_view base, std::string_view name) {
    const std::string_view folder = folder_of(base);
    heap_ptr<char> joined(static_cast<char*>(ombrel_alloc(folder.size() + name.size() + 1)));
    if (joined)
        *put_text(put_text(joined.get(), folder), name) = '\0';
    return joined;
}

/// Whether an identifier names a file beside others: it has no scheme or host, and does not begin anew.
bool is_relative(std::string_view identifier) {
    const size_t end = identifier.find_first_of(":/\\?#");
    return !identifier.empty() && !system::is_path_separator(identifier.front()) &&
           (end == std::string_view::npos || identifier[end] != ':');
}

/// The file that an identifier means; null for what means none.
heap_ptr<char> resolve(std::string_view base, std::string_view identifier) {
    if (!is_relative(identifier))
        return {};
    identifier = slice(identifier, 0, identifier.find_first_of("?#"));
    if (identifier.find("%00") != std::string_view::npos)
        return {}; // no file has such a name, and that before it is another
    const heap_ptr<char> encoded = join("", identifier);
    const heap_ptr<char> decoded(encoded ? ombrel_decode_percent_string(encoded.get()) : nullptr);
    return decoded ? join(base, decoded.get()) : heap_ptr<char>{};
}

bool supply(ombrel_xml_parser_t* parser, int file) {
    const heap_ptr<char> block(static_cast<char*>(ombrel_alloc(block_size)));
    int64_t size = block ? 1 : -1;
    while (size > 0) {
        size = ombrel_file_read(file, block.get(), block_size);
        if (size > 0 && ombrel_xml_parser_supply(parser, block.get(), static_cast<size_t>(size)) != 0)
            return false;
    }
    return size == 0;
}

} // namespace

xml_entities::xml_entities(const char* document, const char* root) : document_(document) {
    heap_ptr<char> beside;
    if (root == nullptr && strcmp(document, "-") != 0)
        beside = join(document, ".");
    if (const char* const from = root != nullptr ? root : beside.get(); from != nullptr)
        directory_.reset(ombrel_alloc_canonical_path(from));
    if (directory_ && !tree_.open(directory_.get()))
        directory_.reset();
}

xml_entities::~xml_entities() {
    if (directory_)
        tree_.close();
}

void xml_entities::set(ombrel_xml_options_t& options) {
    if (!directory_)
        return;
    options.m_base = document_;
    options.m_loader = load;
    options.m_loader_context = this;
}

/// A regular file's descriptor, or -1. Links are followed first, and none when it is opened: whoever puts one
/// in the way meanwhile leads nowhere.
int xml_entities::open_inside(const char* path) const {
    const heap_ptr<char> whole(ombrel_alloc_canonical_path(path));
    const size_t size = strlen(directory_.get());
    if (!whole || !starts_with(whole.get(), directory_.get()))
        return -1;
    char* const inside = whole.get() + size;
    if (!system::is_path_separator(*inside) && !system::is_path_separator(directory_.get()[size - 1]))
        return -1;
    std::replace_if(inside, inside + strlen(inside), system::is_path_separator, '/');
    return tree_.open_file(inside, {.read = true}, nullptr);
}

/// The file that an external entity is; null for none. A document from standard input lies in the root.
heap_ptr<char> xml_entities::find(const ombrel_xml_external_t& external) const {
    const std::string_view base{external.m_base.m_data, external.m_base.m_size};
    const std::string_view identifier{external.m_system_id.m_data, external.m_system_id.m_size};
    if (strcmp(document_, "-") != 0 || base != "-")
        return resolve(base, identifier);
    const heap_ptr<char> root(ombrel_alloc_sprintf("%s/", directory_.get()));
    return root ? resolve(root.get(), identifier) : heap_ptr<char>{};
}

int xml_entities::load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t& external) const {
    const heap_ptr<char> path = find(external);
    const int file = path ? open_inside(path.get()) : -1;
    if (file < 0)
        return def_ombrel_xml_skip;
    const bool is_read = ombrel_xml_parser_set_base(parser, path.get()) == 0 && supply(parser, file);
    ombrel_close_file(file);
    return is_read ? 0 : -1;
}

int xml_entities::load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external, void* context) {
    return static_cast<const xml_entities*>(context)->load(parser, *external);
}

} // namespace ombrel::command
