// Trees that are written and read again: those of the W3C's suite, and those that random changes have made.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/directory.h>
#include <ombrel/file.h>
#include <ombrel/xml_tree.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

class XmlRoundTrip : public balanced_test {
protected:
    static std::string written(const ombrel_xml_tree_t* tree, int form) {
        std::string text;
        ombrel_xml_writer_options_t options;
        ombrel_init_xml_writer_options(&options);
        options.m_form = form;
        options.m_context = &text;
        options.m_handler = [](const void* data, size_t size, void* context) {
            static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
            return 0;
        };
        EXPECT_EQ(0, ombrel_xml_tree_write(tree, nullptr, &options)) << text;
        return text;
    }

    /// @return whether the tree is the same when it is written and read again
    static bool survives(const ombrel_xml_tree_t* tree, const ombrel_xml_tree_options_t* options,
                         bool counts) {
        const std::string plain = written(tree, def_ombrel_xml_form_plain);
        ombrel_xml_fault_t fault;
        ombrel_xml_tree_t* const again = ombrel_parse_xml_tree(plain.data(), plain.size(), options, &fault);
        EXPECT_NE(nullptr, again) << fault.m_text << " in " << plain;
        const bool is_same =
            again != nullptr && plain == written(again, def_ombrel_xml_form_plain) &&
            written(tree, def_ombrel_xml_form_canonical) == written(again, def_ombrel_xml_form_canonical) &&
            (!counts || ombrel_xml_tree_get_count(tree) == ombrel_xml_tree_get_count(again));
        ombrel_close_xml_tree(again);
        return is_same;
    }
};

TEST_F(XmlRoundTrip, OfTheSuitesDocumentsLosesNothing) {
    ombrel_walk_t* const walk = ombrel_open_walk(OMBREL_XML_SUITE "/xmlconf", nullptr);
    if (walk == nullptr)
        GTEST_SKIP() << "the W3C's suite is not there";
    ombrel_xml_options_t parser;
    ombrel_init_xml_options(&parser);
    ombrel_xml_tree_options_t options;
    ombrel_init_xml_tree_options(&options);
    options.m_parser = &parser;
    int count = 0;
    for (ombrel_walk_entry_t entry; ombrel_walk_next(walk, &entry) == 1;) {
        for (const uint32_t flags : {def_ombrel_xml_namespaces, 0u}) {
            parser.m_flags = flags;
            ombrel_xml_tree_t* const tree = entry.m_kind == def_ombrel_file_kind_regular
                                                ? ombrel_load_xml_tree(entry.m_path, &options, nullptr)
                                                : nullptr;
            if (tree != nullptr && ombrel_xml_tree_get_skipped(tree) == 0) {
                count++;
                EXPECT_TRUE(survives(tree, &options, true)) << entry.m_path;
            }
            ombrel_close_xml_tree(tree);
        }
    }
    ombrel_close_walk(walk);
    EXPECT_GT(count, 1500);
}

TEST_F(XmlRoundTrip, OfRandomTreesLosesNothing) {
    std::minstd_rand random(1);
    const char* const uris[] = {"", "u", "v", "w"};
    const char* const names[] = {"a", "b", "p:a", "q:b"};
    const char* const texts[] = {"x", " \n", "]>&<", "\xed\x95\x9c\t\"'"};
    const auto one_of = [&](auto& list) { return list[random() % std::size(list)]; };
    for (int round = 0; round < 200; round++) {
        ombrel_xml_tree_t* const tree = ombrel_open_xml_tree(nullptr);
        std::vector<ombrel_xml_node_t*> elements = {
            ombrel_xml_node_add_element(ombrel_xml_tree_get_document(tree), "r", nullptr)};
        for (int i = 0; i < 40; i++) {
            ombrel_xml_node_t* const at = elements[random() % elements.size()];
            ombrel_xml_node_t* const before = random() % 2 ? ombrel_xml_node_get_first_child(at) : nullptr;
            ombrel_xml_node_t* made = nullptr;
            switch (random() % 8) {
            case 0:
            case 1:
                made = ombrel_xml_node_insert_element_in(at, before, one_of(uris), one_of(names));
                break;
            case 2:
                ombrel_xml_node_insert(at, before, 4 + static_cast<int>(random() % 3), nullptr,
                                       one_of(texts));
                break;
            case 3:
                ombrel_xml_node_set_attribute_in(at, one_of(uris), one_of(names), one_of(texts));
                break;
            case 4:
                ombrel_xml_node_set_attribute(at, random() % 2 ? "xmlns:p" : "xmlns", one_of(uris));
                break;
            case 5:
                ombrel_xml_node_move(elements[random() % elements.size()], at, before);
                break;
            case 6:
                made = ombrel_xml_node_add_element(at, one_of(names), nullptr);
                break;
            default:
                ombrel_xml_node_set_name(at, one_of(names));
                break;
            }
            if (made != nullptr)
                elements.push_back(made);
        }
        EXPECT_TRUE(survives(tree, nullptr, false)) << written(tree, def_ombrel_xml_form_plain);
        ombrel_close_xml_tree(tree);
    }
}

} // namespace
} // namespace ombrel_test
