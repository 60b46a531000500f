// What functions of XML do with nothing: no tree, no node, no writer, no text.
#include <string>

#include <gtest/gtest.h>

#include <ombrel/buffer.h>
#include <ombrel/fault.h>
#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>

#include "support/heap_balance.h"
#include "support/queued.h"

namespace ombrel_test {
namespace {

class XmlNull : public balanced_test {
protected:
    static void refused(bool is_so, int line = __builtin_LINE()) {
        EXPECT_TRUE(is_so) << "line " << line;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "line " << line;
        ombrel_leave_fault(def_ombrel_fault_none);
    }
    static void without_fault(bool is_so, int line = __builtin_LINE()) {
        EXPECT_TRUE(is_so) << "line " << line;
        EXPECT_EQ(def_ombrel_fault_none, ombrel_last_fault()) << "line " << line;
        ombrel_leave_fault(def_ombrel_fault_none);
    }
    ~XmlNull() override { ombrel_close_xml_tree(tree_); }

    ombrel_xml_tree_t* const tree_ = [] {
        constexpr char text[] = "<!DOCTYPE a [<!ENTITY e 'f'>]><!--c--><a x='1' y='2'>t<b/><?p d?></a>";
        ombrel_leave_fault(def_ombrel_fault_none);
        return ombrel_parse_xml_tree(text, sizeof text - 1, nullptr, nullptr);
    }();
    ombrel_xml_node_t* const root_ = ombrel_xml_tree_get_root(tree_);
};

TEST_F(XmlNull, NoTreeHasNothing) {
    ombrel_xml_fault_t fault;
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_leave_fault(def_ombrel_fault_none);
    refused(ombrel_init_xml_tree_options(nullptr) == -1);
    refused(ombrel_parse_xml_tree(nullptr, 0, nullptr, &fault) == nullptr);
    EXPECT_EQ(def_ombrel_xml_fault_none, fault.m_reason);
    refused(ombrel_xml_tree_push(nullptr, "<a/>", 4) == -1);
    refused(ombrel_xml_tree_push_end(nullptr) == -1);
    refused(ombrel_xml_tree_get_count(nullptr) == -1);
    refused(ombrel_xml_tree_get_memory(nullptr) == -1);
    refused(ombrel_xml_tree_get_skipped(nullptr) == -1);
    refused(ombrel_xml_tree_set_standalone(nullptr, 1) == -1);
    for (const int standalone : {-3, 2})
        refused(ombrel_xml_tree_set_standalone(tree_, standalone) == -1);
    refused(ombrel_xml_tree_write(nullptr, buffer, nullptr) == -1);
    refused(ombrel_xml_tree_write(tree_, nullptr, nullptr) == -1);
    refused(ombrel_xml_tree_store(nullptr, "x", nullptr) == -1);
    refused(ombrel_xml_tree_store(tree_, nullptr, nullptr) == -1);
    EXPECT_EQ(nullptr, ombrel_load_xml_tree(nullptr, nullptr, nullptr));
    ombrel_leave_fault(def_ombrel_fault_none);
    EXPECT_EQ(nullptr, ombrel_xml_tree_get_fault(nullptr));
    ombrel_leave_fault(def_ombrel_fault_none);
    without_fault(ombrel_xml_tree_get_document(nullptr) == nullptr);
    without_fault(ombrel_xml_tree_get_root(nullptr) == nullptr);
    without_fault(ombrel_xml_tree_get_standalone(nullptr) == -2);
    without_fault(ombrel_close_xml_tree(nullptr) == 0);
    EXPECT_EQ(0u, ombrel_get_buffer_size(buffer));
    ombrel_close_buffer(buffer);
}

TEST_F(XmlNull, NoNodeIsLookedAt) {
    without_fault(ombrel_xml_node_get_kind(nullptr) == 0);
    without_fault(ombrel_xml_node_get_tree(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_name(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_local_name(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_prefix(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_uri(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_line(nullptr) == 0);
    without_fault(ombrel_xml_node_get_column(nullptr) == 0);
    without_fault(ombrel_xml_node_is_default(nullptr) == 0);
    without_fault(ombrel_xml_node_get_parent(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_first_child(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_last_child(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_next(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_previous(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_child(nullptr, "b") == nullptr);
    without_fault(ombrel_xml_node_get_sibling(nullptr, "b") == nullptr);
    without_fault(ombrel_xml_node_get_child_in(nullptr, "", "b") == nullptr);
    without_fault(ombrel_xml_node_get_sibling_in(nullptr, "", "b") == nullptr);
    without_fault(ombrel_xml_node_get_following(nullptr, root_) == nullptr);
    without_fault(ombrel_xml_node_get_first_attribute(nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_attribute(nullptr, "x") == nullptr);
    without_fault(ombrel_xml_node_get_attribute_in(nullptr, "", "x") == nullptr);
    without_fault(std::string("-") == ombrel_xml_node_get_attribute_text(nullptr, "x", "-"));
    without_fault(ombrel_xml_node_get_attribute(root_, nullptr) == nullptr);
    without_fault(ombrel_xml_node_get_attribute_in(root_, nullptr, "x") == nullptr);
    without_fault(ombrel_xml_node_get_attribute_in(root_, "", nullptr) == nullptr);
    int64_t whole = 7;
    double number = 7;
    int truth = 7;
    without_fault(ombrel_xml_node_get_integer(nullptr, "x", &whole) == 0);
    without_fault(ombrel_xml_node_get_double(nullptr, "x", &number) == 0);
    without_fault(ombrel_xml_node_get_boolean(nullptr, nullptr, &truth) == 0);
    EXPECT_TRUE(whole == 7 && number == 7 && truth == 7);
    refused(ombrel_xml_node_get_integer(root_, "x", nullptr) == -1);
    refused(ombrel_xml_node_get_double(root_, "x", nullptr) == -1);
    refused(ombrel_xml_node_get_boolean(root_, "x", nullptr) == -1);
    size_t size = 7;
    char some[4] = "abc";
    refused(ombrel_xml_node_get_text(nullptr, &size) == nullptr);
    refused(ombrel_xml_node_get_text(root_, &size) == nullptr);
    refused(ombrel_xml_node_alloc_text(nullptr, &size) == nullptr);
    refused(ombrel_xml_node_copy_text(nullptr, some, sizeof some) == -1);
    refused(ombrel_xml_node_copy_text(root_, nullptr, 1) == -1);
    refused(ombrel_xml_node_get_child_in(root_, nullptr, "b") == nullptr);
    refused(ombrel_xml_node_get_sibling_in(ombrel_xml_node_get_first_child(root_), nullptr, "b") == nullptr);
    EXPECT_EQ(7u, size);
    EXPECT_STREQ("abc", some);
    without_fault(ombrel_xml_node_copy_text(root_, nullptr, 0) == 1);
    refused(ombrel_xml_node_find(nullptr, "a") == nullptr);
    refused(ombrel_xml_node_find(root_, nullptr) == nullptr);
    refused(ombrel_xml_node_alloc_found_text(nullptr, "a", &size) == nullptr);
}

TEST_F(XmlNull, NoNodeIsChanged) {
    const int64_t count = ombrel_xml_tree_get_count(tree_);
    ombrel_xml_node_t* const first = ombrel_xml_node_get_first_child(root_);
    refused(ombrel_xml_node_insert(nullptr, nullptr, def_ombrel_xml_node_text, nullptr, "t") == nullptr);
    refused(ombrel_xml_node_add_element(nullptr, "b", nullptr) == nullptr);
    refused(ombrel_xml_node_add_element(root_, nullptr, nullptr) == nullptr);
    refused(ombrel_xml_node_add_text(nullptr, "t") == nullptr);
    refused(ombrel_xml_node_insert_element_in(nullptr, nullptr, "u", "b") == nullptr);
    refused(ombrel_xml_node_insert_element_in(root_, nullptr, nullptr, "b") == nullptr);
    refused(ombrel_xml_node_insert_element_in(root_, nullptr, "u", nullptr) == nullptr);
    refused(ombrel_xml_node_copy(nullptr, root_, nullptr) == nullptr);
    refused(ombrel_xml_node_copy(first, nullptr, nullptr) == nullptr);
    refused(ombrel_xml_node_move(nullptr, root_, nullptr) == -1);
    refused(ombrel_xml_node_move(first, nullptr, nullptr) == -1);
    refused(ombrel_xml_node_remove(nullptr) == -1);
    refused(ombrel_xml_node_set_name(nullptr, "b") == -1);
    refused(ombrel_xml_node_set_name(root_, nullptr) == -1);
    refused(ombrel_xml_node_set_text(nullptr, "t") == -1);
    refused(ombrel_xml_node_set_attribute(nullptr, "x", "1") == -1);
    refused(ombrel_xml_node_set_attribute(root_, nullptr, "1") == -1);
    refused(ombrel_xml_node_set_attribute_in(nullptr, "", "x", "1") == -1);
    refused(ombrel_xml_node_set_attribute_in(root_, nullptr, "x", "1") == -1);
    refused(ombrel_xml_node_set_attribute_in(root_, "", nullptr, "1") == -1);
    refused(ombrel_xml_node_set_integer_attribute(nullptr, "x", 1) == -1);
    refused(ombrel_xml_node_set_integer_attribute(root_, nullptr, 1) == -1);
    refused(ombrel_xml_node_write(root_, nullptr) == -1);
    EXPECT_EQ(count, ombrel_xml_tree_get_count(tree_));
    without_fault(ombrel_xml_node_set_attribute(root_, "none", nullptr) == 0);
    without_fault(ombrel_xml_node_set_attribute_in(root_, "", "none", nullptr) == 0);
    without_fault(ombrel_xml_node_set_attribute_in(root_, "", "x", nullptr) == 0);
    EXPECT_EQ(count - 1, ombrel_xml_tree_get_count(tree_));
}

/// What a node is asked for though its kind has none.
TEST_F(XmlNull, KindsHaveWhatTheyHave) {
    const struct {
        const char* what;
        ombrel_xml_node_t* node;
        int kind;
        const char *name, *text;
        bool has_children;
    } kinds[] = {
        {"document", ombrel_xml_tree_get_document(tree_), 1, "", nullptr, true},
        {"element", root_, 2, "a", nullptr, true},
        {"attribute", ombrel_xml_node_get_attribute(root_, "x"), 3, "x", "1", false},
        {"text", ombrel_xml_node_get_first_child(root_), 4, "", "t", false},
        {"comment", ombrel_xml_node_get_previous(root_), 6, "", "c", false},
        {"instruction", ombrel_xml_node_get_last_child(root_), 7, "p", "d", false},
        {"document type", ombrel_xml_node_get_first_child(ombrel_xml_tree_get_document(tree_)), 8, "a",
         "[<!ENTITY e 'f'>]", false},
    };
    for (const auto& one : kinds) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(one.kind, ombrel_xml_node_get_kind(one.node));
        EXPECT_STREQ(one.name, ombrel_xml_node_get_name(one.node));
        EXPECT_STREQ(one.name, ombrel_xml_node_get_local_name(one.node));
        EXPECT_STREQ("", ombrel_xml_node_get_prefix(one.node));
        EXPECT_STREQ("", ombrel_xml_node_get_uri(one.node));
        size_t size = 99;
        EXPECT_STREQ(one.text, ombrel_xml_node_get_text(one.node, &size));
        EXPECT_EQ(one.text != nullptr ? std::string(one.text).size() : 99u, size);
        EXPECT_EQ(one.has_children, ombrel_xml_node_get_first_child(one.node) != nullptr);
        EXPECT_EQ(one.has_children, ombrel_xml_node_get_last_child(one.node) != nullptr);
        EXPECT_EQ(one.has_children, ombrel_xml_node_get_child(one.node, nullptr) != nullptr);
        EXPECT_EQ(one.kind == 2, ombrel_xml_node_get_first_attribute(one.node) != nullptr);
        EXPECT_EQ(one.kind == 2, ombrel_xml_node_get_attribute(one.node, "x") != nullptr);
        EXPECT_EQ(one.kind == 2, ombrel_xml_node_get_attribute_in(one.node, "", "x") != nullptr);
        EXPECT_EQ(one.kind == 1, ombrel_xml_node_get_parent(one.node) == nullptr);
        EXPECT_EQ(one.kind == 3, ombrel_xml_node_get_following(one.node, nullptr) == nullptr &&
                                     ombrel_xml_node_get_next(one.node) != nullptr);
        int64_t value = 7;
        EXPECT_EQ(one.kind == 2 ? 1 : 0, ombrel_xml_node_get_integer(one.node, "x", &value));
        EXPECT_EQ(0, ombrel_xml_node_is_default(one.node));
        EXPECT_EQ(tree_, ombrel_xml_node_get_tree(one.node));
    }
}

TEST_F(XmlNull, NoPathLeadsAnywhere) {
    ombrel_xml_path_t* const path = ombrel_open_xml_path("b", nullptr, nullptr);
    ombrel_xml_walk_t* const walk = ombrel_open_xml_walk(path, root_);
    ombrel_xml_node_t* node = root_;
    ombrel_leave_fault(def_ombrel_fault_none);
    refused(ombrel_open_xml_path(nullptr, nullptr, nullptr) == nullptr);
    refused(ombrel_open_xml_walk(nullptr, root_) == nullptr);
    refused(ombrel_open_xml_walk(path, nullptr) == nullptr);
    refused(ombrel_xml_walk_next(nullptr, &node) == -1);
    refused(ombrel_xml_walk_next(walk, nullptr) == -1);
    refused(ombrel_xml_path_find(nullptr, root_) == nullptr);
    refused(ombrel_xml_path_find(path, nullptr) == nullptr);
    EXPECT_EQ(root_, node);
    without_fault(ombrel_xml_walk_next(walk, &node) == 1);
    without_fault(ombrel_xml_path_find(path, root_) == node);
    without_fault(ombrel_close_xml_path(nullptr) == 0);
    without_fault(ombrel_close_xml_walk(nullptr) == 0);
    for (const int reason : {-1, 1000})
        EXPECT_STREQ("unknown", ombrel_xml_path_fault_text(reason));
    ombrel_close_xml_walk(walk);
    ombrel_close_xml_path(path);
}

TEST_F(XmlNull, NoWriterWrites) {
    refused(ombrel_xml_writer_flush(nullptr) == -1);
    refused(ombrel_xml_writer_finish(nullptr) == -1);
    refused(ombrel_xml_writer_declaration(nullptr, 1) == -1);
    refused(ombrel_xml_writer_keep_space(nullptr) == -1);
    refused(ombrel_xml_writer_text(nullptr, "t") == -1);
    refused(ombrel_xml_writer_printf(nullptr, "%d", 1) == -1);
    refused(ombrel_xml_writer_cdata(nullptr, "t") == -1);
    refused(ombrel_xml_writer_comment(nullptr, "t") == -1);
    refused(ombrel_xml_writer_end(nullptr) == -1);
    refused(ombrel_xml_writer_get_size(nullptr) == -1);
    refused(ombrel_init_xml_writer_options(nullptr) == -1);
    without_fault(ombrel_xml_writer_get_depth(nullptr) == -1);
    without_fault(ombrel_xml_writer_get_reason(nullptr) == -1);
    // Where a name or text is missing that is needed the writer fails for good: each has one of its own.
    using call_t = int (*)(ombrel_xml_writer_t*);
    static constexpr call_t calls[] = {
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_begin(w, nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_begin_in(w, "u", nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_attribute(w, nullptr, "1"); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_attribute(w, "x", nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_attribute_in(w, "u", nullptr, "1"); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_attribute_in(w, "u", "x", nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_integer_attribute(w, nullptr, 1); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_namespace(w, "p", nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_sized_text(w, nullptr, 1); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_sized_cdata(w, nullptr, 1); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_printf(w, nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_instruction(w, nullptr, "d"); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_doctype(w, nullptr); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_element(w, nullptr, "t"); },
        [](ombrel_xml_writer_t* w) { return ombrel_xml_writer_integer_element(w, nullptr, 1); },
    };
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    for (const call_t& call : calls) {
        ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(buffer, nullptr);
        refused(call(nullptr) == -1);
        EXPECT_EQ(0, ombrel_xml_writer_begin(writer, "a"));
        refused(call(writer) == -1);
        EXPECT_EQ(def_ombrel_xml_writer_fault_argument, ombrel_xml_writer_get_reason(writer));
        EXPECT_EQ(-1, ombrel_xml_writer_end(writer));
        ombrel_close_xml_writer(writer);
    }
    ombrel_flush_buffer(buffer);
    // No text is an empty one, where a text is all that is wanted; no namespace is none.
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(buffer, nullptr);
    EXPECT_EQ(0, ombrel_xml_writer_begin_in(writer, nullptr, "a"));
    EXPECT_EQ(0, ombrel_xml_writer_attribute_in(writer, nullptr, "x", "1"));
    EXPECT_EQ(0, ombrel_xml_writer_text(writer, nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_sized_text(writer, nullptr, 0));
    EXPECT_EQ(0, ombrel_xml_writer_cdata(writer, nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_sized_cdata(writer, nullptr, 0));
    EXPECT_EQ(0, ombrel_xml_writer_comment(writer, nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_instruction(writer, "p", nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_element(writer, "b", nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_end(writer));
    EXPECT_EQ(0, ombrel_xml_writer_finish(writer));
    ombrel_close_xml_writer(writer);
    EXPECT_EQ("<a x=\"1\"><![CDATA[]]><![CDATA[]]><!----><?p?><b/></a>\n", take_queued(buffer));
    ombrel_close_buffer(buffer);
}

TEST_F(XmlNull, NoParserReads) {
    ombrel_xml_position_t position;
    refused(ombrel_init_xml_options(nullptr) == -1);
    refused(ombrel_xml_parser_reset(nullptr) == -1);
    refused(ombrel_xml_parser_push(nullptr, "", 0) == -1);
    refused(ombrel_xml_parser_end(nullptr) == -1);
    refused(ombrel_xml_parser_supply(nullptr, "", 0) == -1);
    refused(ombrel_xml_parser_set_base(nullptr, "") == -1);
    refused(ombrel_xml_parser_set_encoding(nullptr, "utf-8") == -1);
    refused(ombrel_xml_parser_get_position(nullptr, &position) == -1);
    refused(ombrel_xml_parser_get_depth(nullptr) == -1);
    refused(ombrel_xml_parser_get_encoding(nullptr) == nullptr);
    refused(ombrel_xml_parser_get_fault(nullptr) == nullptr);
    refused(ombrel_parse_xml(nullptr, 1, nullptr, nullptr, nullptr, nullptr) == -1);
    without_fault(ombrel_close_xml_parser(nullptr) == 0);
    ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(nullptr, nullptr, nullptr);
    refused(ombrel_xml_parser_push(parser, nullptr, 1) == -1);
    refused(ombrel_xml_parser_get_position(parser, nullptr) == -1);
    without_fault(ombrel_xml_parser_push(parser, nullptr, 0) == 0);
    without_fault(ombrel_xml_parser_push(parser, "<a/>", 4) == 0);
    without_fault(ombrel_xml_parser_end(parser) == 0);
    ombrel_close_xml_parser(parser);
    for (const int reason : {-1, 1000})
        EXPECT_STREQ("unknown", ombrel_xml_fault_text(reason));
}

} // namespace
} // namespace ombrel_test
