// Reads any bytes as a path, a zero byte and a document. The document as a tree must be the same when it is
// written and read again; what the path finds must come in order and once.

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>

#include "support/require.h"

namespace {

int gather(const void* data, size_t size, void* context) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
    return 0;
}

std::string written(const ombrel_xml_tree_t* tree, int form) {
    std::string text;
    ombrel_xml_writer_options_t options;
    ombrel_init_xml_writer_options(&options);
    options.m_form = form;
    options.m_handler = gather;
    options.m_context = &text;
    require(ombrel_xml_tree_write(tree, nullptr, &options) == 0);
    return text;
}

void check_written_again(const ombrel_xml_tree_t* tree) {
    const std::string plain = written(tree, def_ombrel_xml_form_plain);
    ombrel_xml_tree_t* const again = ombrel_parse_xml_tree(plain.data(), plain.size(), nullptr, nullptr);
    require(again != nullptr);
    require(written(again, def_ombrel_xml_form_plain) == plain);
    require(ombrel_xml_tree_get_count(again) <= ombrel_xml_tree_get_count(tree));
    require(written(again, def_ombrel_xml_form_canonical) == written(tree, def_ombrel_xml_form_canonical));
    const std::string indented = written(again, def_ombrel_xml_form_indented);
    ombrel_close_xml_tree(again);
    ombrel_xml_tree_t* const pretty =
        ombrel_parse_xml_tree(indented.data(), indented.size(), nullptr, nullptr);
    require(pretty != nullptr);
    require(written(pretty, def_ombrel_xml_form_indented) == indented);
    ombrel_close_xml_tree(pretty);
}

using places = std::map<const ombrel_xml_node_t*, size_t>;

places places_of(const ombrel_xml_tree_t* tree) {
    places order;
    const ombrel_xml_node_t* const top = ombrel_xml_tree_get_document(tree);
    for (const ombrel_xml_node_t* one = top; one != nullptr; one = ombrel_xml_node_get_following(one, top)) {
        order.emplace(one, order.size());
        const ombrel_xml_node_t* attribute = ombrel_xml_node_get_first_attribute(one);
        for (; attribute != nullptr; attribute = ombrel_xml_node_get_next(attribute))
            order.emplace(attribute, order.size());
    }
    return order;
}

void check_path(const char* text, const ombrel_xml_tree_t* tree) {
    ombrel_xml_path_fault_t fault;
    ombrel_xml_path_t* const path = ombrel_open_xml_path(text, nullptr, &fault);
    require((path != nullptr) == (fault.m_reason == 0));
    require(fault.m_offset >= 0 && fault.m_offset <= static_cast<int64_t>(strlen(text)));
    if (path == nullptr)
        return;
    const places order = places_of(tree);
    ombrel_xml_walk_t* const walk = ombrel_open_xml_walk(path, ombrel_xml_tree_get_document(tree));
    ombrel_xml_node_t* node = nullptr;
    size_t next = 0;
    while (ombrel_xml_walk_next(walk, &node) == 1) {
        const auto found = order.find(node);
        require(found != order.end() && found->second >= next);
        next = found->second + 1;
    }
    ombrel_close_xml_walk(walk);
    ombrel_close_xml_path(path);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string all(reinterpret_cast<const char*>(data), size);
    const size_t end = all.find('\0');
    const std::string path = end == std::string::npos ? "//*" : all.substr(0, end);
    const std::string document = end == std::string::npos ? all : all.substr(end + 1);
    ombrel_xml_tree_t* const tree = ombrel_parse_xml_tree(document.data(), document.size(), nullptr, nullptr);
    if (tree == nullptr)
        return 0;
    // Entities may bring CR into comments, and declarations of attributes may change values.
    if (document.find("<!DOCTYPE") == std::string::npos && ombrel_xml_tree_get_skipped(tree) == 0)
        check_written_again(tree);
    check_path(path.c_str(), tree);
    ombrel_close_xml_tree(tree);
    return 0;
}
