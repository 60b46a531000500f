// Documents of XML: written, kept as trees, searched.
#include <string>

#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>
#include <ombrel/xml_writer.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

constexpr char document[] =
    "<!DOCTYPE a [<!ENTITY e 'f'>]><a xmlns:p='u' k='v'><p:b>t&e;</p:b><!--c--><b><p:b/></b><?i d?></a>";

int write_many_names(ombrel_xml_writer_t* writer) {
    constexpr int depth = 40;
    ombrel_xml_writer_doctype(writer, "a");
    for (int i = 0; i < depth; i++) {
        const std::string name = "n" + std::to_string(i);
        ombrel_xml_writer_begin_in(writer, name.c_str(), name.c_str());
        for (int j = 0; j < 20; j++)
            ombrel_xml_writer_attribute_in(writer, "w", ("p:k" + std::to_string(j)).c_str(), "");
    }
    ombrel_xml_writer_printf(writer, "%d", 1);
    for (int i = 0; i < depth; i++)
        ombrel_xml_writer_end(writer);
    return ombrel_xml_writer_finish(writer);
}

OMBREL_FAILURES(Xml, writer) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    auto* const writer = fail.during([=] { return ombrel_open_xml_writer(buffer, nullptr); });
    EXPECT_EQ(fail.hit(), writer == nullptr);
    const bool is_done =
        writer != nullptr && done_or_refused(fail, [=] { return write_many_names(writer); }) == 0;
    EXPECT_EQ(is_done ? static_cast<int64_t>(ombrel_get_buffer_size(buffer)) : -1,
              ombrel_xml_writer_get_size(writer));
    ombrel_close_xml_writer(writer);
    ombrel_close_buffer(buffer);
}

OMBREL_FAILURES(Xml, reading) {
    ombrel_xml_fault_t fault;
    auto* const tree =
        fail.during([&] { return ombrel_parse_xml_tree(document, sizeof document - 1, nullptr, &fault); });
    EXPECT_EQ(fail.hit(), tree == nullptr);
    EXPECT_TRUE(tree != nullptr || fault.m_reason == def_ombrel_xml_fault_no_memory || fault.m_reason == 0);
    ombrel_close_xml_tree(tree);
}

OMBREL_FAILURES(Xml, changes) {
    ombrel_xml_tree_t* const tree = ombrel_parse_xml_tree(document, sizeof document - 1, nullptr, nullptr);
    ombrel_xml_node_t* const root = ombrel_xml_tree_get_root(tree);
    const int64_t before = ombrel_xml_tree_get_count(tree);
    const auto nothing = [](ombrel_xml_node_t*) {};
    null_when_hit(fail, nothing,
                  [=] { return ombrel_xml_node_insert_element_in(root, nullptr, "w", "new:name"); });
    null_when_hit(fail, nothing, [=] { return ombrel_xml_node_add_element(root, "p:other", "text"); });
    refused_when_hit(fail, [=] { return ombrel_xml_node_set_attribute(root, "k2", "w"); });
    refused_when_hit(fail, [=] { return ombrel_xml_node_set_attribute(root, "k", "other"); });
    const int64_t count = ombrel_xml_tree_get_count(tree);
    auto* const copy = fail.during([=] { return ombrel_xml_node_copy(root, root, nullptr); });
    EXPECT_EQ(fail.hit(), copy == nullptr);
    EXPECT_EQ(copy == nullptr ? count : 2 * count - 2,
              ombrel_xml_tree_get_count(tree)); // but for document and its type
    refused_when_hit(fail, [=] { return ombrel_xml_node_set_text(root, "flat"); });
    EXPECT_LE(before, count);
    null_when_hit(fail, free_block, [=] { return ombrel_xml_node_alloc_found_text(root, ".", nullptr); });
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    refused_when_hit(fail, [=] { return ombrel_xml_tree_write(tree, buffer, nullptr); });
    ombrel_close_buffer(buffer);
    ombrel_close_xml_tree(tree);
}

OMBREL_FAILURES(Xml, paths) {
    ombrel_xml_tree_t* const tree = ombrel_parse_xml_tree(document, sizeof document - 1, nullptr, nullptr);
    ombrel_xml_node_t* const top = ombrel_xml_tree_get_document(tree);
    auto* const path =
        fail.during([] { return ombrel_open_xml_path("//p:b/..//*[last()][2]/@*", nullptr, nullptr); });
    EXPECT_EQ(fail.hit(), path == nullptr);
    auto* const walk =
        fail.during([=] { return path != nullptr ? ombrel_open_xml_walk(path, top) : nullptr; });
    ombrel_xml_node_t* node = nullptr;
    if (walk != nullptr)
        done_or_refused(fail, [&] { return ombrel_xml_walk_next(walk, &node); });
    ombrel_close_xml_walk(walk);
    ombrel_close_xml_path(path);
    ombrel_close_xml_tree(tree);
}

} // namespace
// What is counted among siblings takes more room with each level.
OMBREL_FAILURES(Xml, walks_of_deep_trees) {
    constexpr int depth = 100;
    std::string text;
    for (const char* const tag : {"<a>", "</a>"})
        for (int i = 0; i < depth; i++)
            text += tag;
    ombrel_xml_tree_t* const tree = ombrel_parse_xml_tree(text.data(), text.size(), nullptr, nullptr);
    auto* const path = ombrel_open_xml_path("//a[1]/a[1]", nullptr, nullptr);
    auto* const walk = ombrel_open_xml_walk(path, ombrel_xml_tree_get_document(tree));
    const int found = fail.during([=] {
        ombrel_xml_node_t* node = nullptr;
        int count = 0, result;
        while ((result = ombrel_xml_walk_next(walk, &node)) == 1)
            count++;
        return result == 0 ? count : -1;
    });
    EXPECT_EQ(fail.hit() ? -1 : depth - 1, found);
    ombrel_close_xml_walk(walk);
    ombrel_close_xml_path(path);
    ombrel_close_xml_tree(tree);
}

} // namespace ombrel_test
