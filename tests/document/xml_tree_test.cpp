// Trees: read, looked at, changed, written.
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/version.h>
#include <ombrel/xml_tree.h>

#include "support/heap_balance.h"
#include "support/queued.h"
#include "support/refused.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

using node_t = ombrel_xml_node_t;

/// A tree for a scope.
struct document : no_copy {
    document() : tree(ombrel_open_xml_tree(nullptr)) {}
    explicit document(const std::string& text, uint32_t flags = 0,
                      uint32_t parser_flags = def_ombrel_xml_namespaces) {
        ombrel_xml_options_t parser;
        ombrel_init_xml_options(&parser);
        parser.m_flags = parser_flags;
        ombrel_xml_tree_options_t options;
        ombrel_init_xml_tree_options(&options);
        options.m_flags = flags;
        options.m_parser = &parser;
        tree = ombrel_parse_xml_tree(text.data(), text.size(), &options, &fault);
    }
    ~document() { ombrel_close_xml_tree(tree); }
    node_t* root() const { return ombrel_xml_tree_get_root(tree); }
    node_t* top() const { return ombrel_xml_tree_get_document(tree); }
    std::string text(int form = def_ombrel_xml_form_plain) const {
        ombrel_xml_writer_options_t options;
        ombrel_init_xml_writer_options(&options);
        options.m_form = form;
        ombrel_buffer_t* const buffer = ombrel_open_buffer();
        const int result = ombrel_xml_tree_write(tree, buffer, &options);
        std::string written = take_queued(buffer);
        ombrel_close_buffer(buffer);
        return result == 0 ? written : "-";
    }
    ombrel_xml_tree_t* tree = nullptr;
    ombrel_xml_fault_t fault;
};

class XmlTree : public balanced_test {};

TEST_F(XmlTree, KeepsWhatWasRead) {
    const std::string text = R"(<?xml version="1.0" encoding="UTF-8" standalone="no"?>
<!DOCTYPE a SYSTEM "a.dtd" [<!ENTITY e "ee"><!-- ' --><!ATTLIST a d CDATA "def"><?p?>]>
<!-- c -->
<a xmlns="u" xmlns:p="v" p:x="1 &lt;&#10;">t<![CDATA[<c>]]><p:b/> <?i d?></a>
)";
    const document read(text);
    ASSERT_NE(nullptr, read.tree) << ombrel_xml_fault_text(read.fault.m_reason);
    EXPECT_EQ(text, read.text());
    node_t* const root = read.root();
    EXPECT_STREQ("u", ombrel_xml_node_get_uri(root));
    EXPECT_EQ(4, ombrel_xml_node_get_line(root));
    node_t* const x = ombrel_xml_node_get_attribute_in(root, "v", "x");
    EXPECT_STREQ("p:x", ombrel_xml_node_get_name(x));
    EXPECT_STREQ("x", ombrel_xml_node_get_local_name(x));
    EXPECT_STREQ("p", ombrel_xml_node_get_prefix(x));
    EXPECT_STREQ("1 <\n", ombrel_xml_node_get_text(x, nullptr));
    EXPECT_EQ(root, ombrel_xml_node_get_parent(x));
    EXPECT_EQ(1, ombrel_xml_node_is_default(ombrel_xml_node_get_attribute(root, "d")));
    node_t* const b = ombrel_xml_node_get_child_in(root, "v", "b");
    EXPECT_EQ(ombrel_xml_node_get_child(root, "p:b"), b);
    EXPECT_EQ(nullptr, ombrel_xml_node_get_sibling(b, nullptr));
    EXPECT_EQ(60, ombrel_xml_node_get_column(b));
    EXPECT_EQ(def_ombrel_xml_node_cdata, ombrel_xml_node_get_kind(ombrel_xml_node_get_previous(b)));
    EXPECT_EQ(nullptr, ombrel_xml_node_get_previous(ombrel_xml_node_get_first_child(root)));
    EXPECT_EQ(def_ombrel_xml_node_instruction,
              ombrel_xml_node_get_kind(ombrel_xml_node_get_last_child(root)));
    EXPECT_EQ(0, ombrel_xml_tree_get_standalone(read.tree));
    EXPECT_EQ(read.tree, ombrel_xml_node_get_tree(b));
    char some[5];
    EXPECT_EQ(5, ombrel_xml_node_copy_text(root, some, sizeof some));
    EXPECT_STREQ("t<c>", some);
}

TEST_F(XmlTree, ReadsWithoutWhatIsNotWanted) {
    const std::string text = "<a> <!--c-->x<!--d-->y<?p?><b> </b> <![CDATA[z]]>w</a>";
    const struct {
        uint32_t flags;
        const char* text;
    } rows[] = {
        {def_ombrel_xml_tree_drop_comments, "<a> xy<?p?><b> </b> <![CDATA[z]]>w</a>\n"},
        {def_ombrel_xml_tree_drop_instructions, "<a> <!--c-->x<!--d-->y<b> </b> <![CDATA[z]]>w</a>\n"},
        {def_ombrel_xml_tree_drop_space, "<a><!--c-->x<!--d-->y<?p?><b> </b><![CDATA[z]]>w</a>\n"},
        {def_ombrel_xml_tree_merge_cdata, "<a> <!--c-->x<!--d-->y<?p?><b> </b> zw</a>\n"},
    };
    for (const auto& one : rows)
        EXPECT_EQ(one.text, document(text, one.flags).text());
    const document merged("<a>x<!---->y<![CDATA[z]]></a>", 0xF);
    EXPECT_EQ(3, ombrel_xml_tree_get_count(merged.tree));
    EXPECT_EQ("<a:b:c x:y=\"\"/>\n", document("<a:b:c x:y=''/>", 0, 0).text());
}

TEST_F(XmlTree, IndentsWithoutTouchingText) {
    const std::string text =
        "<a><b>t<c/> </b> <d> </d>\n<e> <f/><!--x--> </e><g xml:space='preserve'> <h/></g></a>";
    const std::string indented = R"(<a>
  <b>t<c/> </b>
  <d> </d>
  <e>
    <f/>
    <!--x-->
  </e>
  <g xml:space="preserve"> <h/></g>
</a>
)";
    EXPECT_EQ(indented, document(text).text(def_ombrel_xml_form_indented));
    EXPECT_EQ(indented, document(indented).text(def_ombrel_xml_form_indented));
}

TEST_F(XmlTree, TellsWhyAndWhereADocumentIsRefused) {
    const document broken("<a>\n <b></c></a>");
    EXPECT_EQ(nullptr, broken.tree);
    EXPECT_EQ(def_ombrel_fault_violation, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_xml_fault_mismatch, broken.fault.m_reason);
    EXPECT_EQ(2, broken.fault.m_line);
    const document pushed;
    for (const char c : std::string("<a>x</a>"))
        ASSERT_EQ(0, ombrel_xml_tree_push(pushed.tree, &c, 1));
    EXPECT_EQ(nullptr, ombrel_xml_node_add_element(pushed.root(), "b", nullptr)) << "not while it is read";
    EXPECT_EQ(0, ombrel_xml_tree_push_end(pushed.tree));
    EXPECT_EQ("<a>x</a>\n", pushed.text());
    EXPECT_EQ(-1, ombrel_xml_tree_push(pushed.tree, "<b/>", 4));
    const document refused;
    EXPECT_EQ(-1, ombrel_xml_tree_push(refused.tree, "<a></b>", 7));
    EXPECT_EQ(def_ombrel_xml_fault_mismatch, ombrel_xml_tree_get_fault(refused.tree)->m_reason);
    EXPECT_EQ(-1, ombrel_xml_tree_push_end(refused.tree));
    ombrel_xml_tree_options_t options;
    ombrel_init_xml_tree_options(&options);
    options.m_memory_limit = 20000;
    const std::string large = "<a>" + std::string(30000, 'x') + "</a>";
    ombrel_xml_fault_t fault;
    EXPECT_EQ(nullptr, ombrel_parse_xml_tree(large.data(), large.size(), &options, &fault));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(def_ombrel_xml_fault_large_document, fault.m_reason);
    EXPECT_EQ(nullptr, ombrel_load_xml_tree("/no/such/file", nullptr, &fault));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
}

TEST_F(XmlTree, ReadsValues) {
    const document read("<a i=' -12\n' big='9223372036854775808' d='2.5e-1' n='NaN' great='-1e400' "
                        "less='+INF' t='true' f='0' x='1x' e=''>"
                        "<b>4<![CDATA[2]]></b></a>");
    node_t* const root = read.root();
    int64_t whole = 7;
    double number = 7;
    int truth = 7;
    EXPECT_EQ(0, ombrel_xml_node_get_integer(root, "none", &whole));
    EXPECT_EQ(0, ombrel_xml_node_get_integer(nullptr, nullptr, &whole));
    EXPECT_EQ(-1, ombrel_xml_node_get_integer(root, "x", &whole));
    EXPECT_EQ(def_ombrel_fault_violation, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_xml_node_get_integer(root, "e", &whole));
    EXPECT_EQ(-1, ombrel_xml_node_get_integer(root, "big", &whole));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(7, whole);
    EXPECT_EQ(1, ombrel_xml_node_get_integer(root, "i", &whole));
    EXPECT_EQ(-12, whole);
    EXPECT_EQ(1, ombrel_xml_node_get_integer(ombrel_xml_node_get_child(root, "b"), nullptr, &whole));
    EXPECT_EQ(42, whole);
    EXPECT_EQ(1, ombrel_xml_node_get_double(root, "d", &number));
    EXPECT_EQ(0.25, number);
    EXPECT_EQ(1, ombrel_xml_node_get_double(root, "n", &number));
    EXPECT_TRUE(std::isnan(number));
    EXPECT_EQ(1, ombrel_xml_node_get_double(root, "great", &number));
    EXPECT_EQ(-HUGE_VAL, number);
    EXPECT_EQ(1, ombrel_xml_node_get_double(root, "less", &number));
    EXPECT_EQ(HUGE_VAL, number);
    EXPECT_EQ(-1, ombrel_xml_node_get_double(root, "x", &number));
    EXPECT_EQ(1, ombrel_xml_node_get_boolean(root, "t", &truth));
    EXPECT_EQ(1, truth);
    EXPECT_EQ(1, ombrel_xml_node_get_boolean(root, "f", &truth));
    EXPECT_EQ(0, truth);
    EXPECT_EQ(-1, ombrel_xml_node_get_boolean(root, "i", &truth));
}

TEST_F(XmlTree, IsMadeAndChanged) {
    const document made;
    node_t* const root = ombrel_xml_node_add_element(made.top(), "a", nullptr);
    EXPECT_EQ(0, ombrel_xml_node_set_attribute(root, "xmlns:p", "v"));
    node_t* const b = ombrel_xml_node_add_element(root, "p:b", "x < y");
    EXPECT_STREQ("v", ombrel_xml_node_get_uri(b));
    node_t* const c = ombrel_xml_node_insert_element_in(root, b, "u", "c");
    EXPECT_STREQ("u", ombrel_xml_node_get_uri(ombrel_xml_node_add_element(c, "d", nullptr)));
    EXPECT_EQ(0, ombrel_xml_node_set_attribute_in(c, "v", "q:x", "1"));
    EXPECT_EQ(0, ombrel_xml_node_set_attribute(c, "p:x", "2")) << "the same, by another prefix";
    EXPECT_EQ(0, ombrel_xml_node_set_integer_attribute(c, "n", -5));
    ombrel_xml_node_insert(made.top(), root, def_ombrel_xml_node_comment, nullptr, "c");
    ombrel_xml_node_insert(made.top(), root, def_ombrel_xml_node_doctype, "a", "[<!ENTITY e 'f'>]");
    EXPECT_EQ(0, ombrel_xml_tree_set_standalone(made.tree, 1));
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n<!--c-->\n"
        "<!DOCTYPE a [<!ENTITY e 'f'>]>\n"
        "<a xmlns:p=\"v\"><c xmlns=\"u\" xmlns:q=\"v\" q:x=\"2\" n=\"-5\"><d/></c><p:b>x &lt; y</p:b></a>\n",
        made.text());
    EXPECT_EQ(0, ombrel_xml_node_move(b, c, ombrel_xml_node_get_first_child(c)));
    EXPECT_EQ(0, ombrel_xml_node_set_attribute(root, "xmlns:p", nullptr));
    EXPECT_NE(nullptr, ombrel_xml_node_copy(c, b, nullptr)) << "a copy within what is copied";
    EXPECT_EQ(0, ombrel_xml_node_set_name(c, "e"));
    EXPECT_EQ(0, ombrel_xml_node_set_text(ombrel_xml_node_get_first_child(b), "z"));
    EXPECT_EQ(0, ombrel_xml_tree_set_standalone(made.tree, -2));
    EXPECT_EQ("<a><e xmlns=\"u\" xmlns:q=\"v\" q:x=\"2\" n=\"-5\"><p:b xmlns:p=\"v\">z"
              "<c q:x=\"2\" n=\"-5\"><p:b>x &lt; y</p:b><d/></c></p:b><d/></e></a>\n",
              made.text().substr(made.text().find("<a>")));
    EXPECT_EQ(0, ombrel_xml_node_set_text(c, "flat"));
    EXPECT_EQ(0, ombrel_xml_node_remove(ombrel_xml_node_get_attribute(c, "n")));
    EXPECT_EQ(7, ombrel_xml_tree_get_count(made.tree));
    const document other("<o><i/></o>");
    EXPECT_NE(nullptr, ombrel_xml_node_copy(c, other.root(), ombrel_xml_node_get_child(other.root(), "i")));
    EXPECT_EQ("<o><e xmlns=\"u\" xmlns:q=\"v\" q:x=\"2\">flat</e><i/></o>\n", other.text());
    EXPECT_EQ(0, ombrel_xml_node_remove(root));
    EXPECT_EQ("-", made.text()) << "without an element";
}

TEST_F(XmlTree, WritesDefaultsThatAreNoneAnyMore) {
    const std::string type = "<!DOCTYPE a [<!ATTLIST a d CDATA 'e'>]>\n";
    const struct {
        int (*change)(node_t* root);
        std::string text;
    } rows[] = {
        {[](node_t*) { return 0; }, type + "<a/>\n"},
        {[](node_t* root) { return ombrel_xml_node_set_name(root, "b"); }, type + "<b d=\"e\"/>\n"},
        {[](node_t* root) { return ombrel_xml_node_set_name(ombrel_xml_node_get_attribute(root, "d"), "f"); },
         type + "<a f=\"e\"/>\n"},
        {[](node_t* root) { return ombrel_xml_node_set_text(ombrel_xml_node_get_previous(root), nullptr); },
         "<!DOCTYPE a>\n<a d=\"e\"/>\n"},
    };
    for (const auto& one : rows) {
        const document read(type + "<a/>");
        EXPECT_EQ(0, one.change(read.root()));
        EXPECT_EQ(one.text, read.text());
    }
}

TEST_F(XmlTree, IsWalkedOverAndWrittenInParts) {
    const document read("<a xmlns:p='u' k='1'><p:b/>t<b/><c><p:b x=''/></c></a>");
    node_t* const root = read.root();
    std::string names;
    for (const node_t* one = root; one != nullptr; one = ombrel_xml_node_get_following(one, root))
        names.append(ombrel_xml_node_get_name(one)).append(" ");
    EXPECT_EQ("a p:b  b c p:b ", names);
    node_t* const b = ombrel_xml_node_get_child_in(root, "u", nullptr);
    EXPECT_EQ(ombrel_xml_node_get_sibling(b, "b"), ombrel_xml_node_get_sibling_in(b, "", "b"));
    EXPECT_EQ(nullptr, ombrel_xml_node_get_sibling_in(b, "u", "b"));
    EXPECT_STREQ(
        "k", ombrel_xml_node_get_name(ombrel_xml_node_get_next(ombrel_xml_node_get_first_attribute(root))));
    EXPECT_STREQ("1", ombrel_xml_node_get_attribute_text(root, "k", nullptr));
    EXPECT_STREQ("?", ombrel_xml_node_get_attribute_text(root, "l", "?"));
    node_t* const c = ombrel_xml_node_get_child(root, "c");
    EXPECT_NE(nullptr, ombrel_xml_node_add_text(c, "&"));
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(buffer, nullptr);
    EXPECT_EQ(0, ombrel_xml_writer_begin(writer, "w"));
    EXPECT_EQ(0, ombrel_xml_node_write(c, writer));
    EXPECT_EQ(-1, ombrel_xml_node_write(nullptr, writer));
    EXPECT_EQ(0, ombrel_xml_writer_end(writer));
    EXPECT_EQ(0, ombrel_xml_writer_finish(writer));
    ombrel_close_xml_writer(writer);
    EXPECT_EQ("<w><c><p:b xmlns:p=\"u\" x=\"\"/>&amp;</c></w>\n", take_queued(buffer));
    ombrel_close_buffer(buffer);
    const document gap("<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;</a>");
    EXPECT_EQ(1, ombrel_xml_tree_get_skipped(gap.tree));
}

TEST_F(XmlTree, RefusesChangesThatCouldNotBeWritten) {
    const document made("<a xmlns:p='u' p:x='1' y='2'>t<b/></a>");
    node_t *const root = made.root(), *const text = ombrel_xml_node_get_first_child(root),
                  *const b = ombrel_xml_node_get_last_child(root), *const top = made.top();
    const std::string before = made.text();
    const int64_t count = ombrel_xml_tree_get_count(made.tree);
    const auto insert = [&](node_t* to, int kind, const char* name, const char* content) {
        return ombrel_xml_node_insert(to, nullptr, kind, name, content) != nullptr;
    };
    const bool done[] = {
        insert(root, 2, "1", nullptr),
        insert(root, 2, "q:a", nullptr),
        insert(root, 2, "xmlns:a", nullptr),
        insert(root, 2, nullptr, nullptr),
        insert(root, 2, "a", "\x01"),
        insert(root, 4, "n", "t"),
        insert(root, 4, nullptr, "\xff"),
        insert(root, 6, nullptr, "--"),
        insert(root, 7, "xml", ""),
        insert(root, 7, "t", "?>"),
        insert(root, 8, "a", ""),
        insert(root, 1, nullptr, nullptr),
        insert(root, 3, "a", "b"),
        insert(root, 0, nullptr, nullptr),
        insert(root, 9, nullptr, nullptr),
        insert(top, 2, "c", nullptr),
        insert(top, 4, nullptr, " "),
        insert(top, 8, "a", ""),
        insert(text, 4, nullptr, "x"),
        ombrel_xml_node_insert(root, root, 4, nullptr, "x") != nullptr,
        ombrel_xml_node_insert_element_in(root, nullptr, "", "p:c") != nullptr,
        ombrel_xml_node_move(root, b, nullptr) == 0,
        ombrel_xml_node_move(root, root, nullptr) == 0,
        ombrel_xml_node_move(b, top, nullptr) == 0,
        ombrel_xml_node_move(top, b, nullptr) == 0,
        ombrel_xml_node_remove(top) == 0,
        ombrel_xml_node_set_text(top, "x") == 0,
        ombrel_xml_node_set_name(text, "x") == 0,
        ombrel_xml_node_set_name(b, "q:b") == 0,
        ombrel_xml_node_set_name(ombrel_xml_node_get_attribute(root, "y"), "p:x") == 0,
        ombrel_xml_node_set_attribute(root, "xmlns", "u") == 0,
        ombrel_xml_node_set_attribute(root, "xmlns:p", "") == 0,
        ombrel_xml_node_set_attribute(root, "xmlns:xml", "u") == 0,
        ombrel_xml_node_set_attribute(root, "q:z", "") == 0,
        ombrel_xml_node_set_attribute(root, "a b", "") == 0,
        ombrel_xml_node_set_attribute(text, "a", "") == 0,
        ombrel_xml_node_set_attribute(root, "z", "\x02") == 0,
        ombrel_xml_node_set_attribute_in(root, "", "xmlns", "u") == 0,
    };
    for (size_t i = 0; i < std::size(done); i++)
        EXPECT_FALSE(done[i]) << i;
    EXPECT_EQ(before, made.text());
    EXPECT_EQ(count, ombrel_xml_tree_get_count(made.tree));
    EXPECT_EQ(0, ombrel_xml_node_set_attribute_in(root, "u", "xmlns", "w"));
    EXPECT_STREQ("", ombrel_xml_node_get_uri(ombrel_xml_node_add_element(root, "c", nullptr)));
}

TEST_F(XmlTree, RenamesInstructionsAndTypesAsTheyMayBeWritten) {
    const document made("<!DOCTYPE a SYSTEM 'd'><?x y?><a/>");
    node_t *const type = ombrel_xml_node_get_first_child(made.top()), *const instruction =
                                                                          ombrel_xml_node_get_next(type);
    const std::string before = made.text();
    expect_refused({[=] { return ombrel_xml_node_set_name(instruction, "xml"); },
                    [=] { return ombrel_xml_node_set_name(instruction, "p:x"); },
                    [=] { return ombrel_xml_node_set_name(type, "1"); },
                    [=] { return ombrel_xml_node_set_text(type, "SYSTEM d"); },
                    [=] { return ombrel_xml_node_set_text(type, "[<!ELEMENT a>]"); },
                    [=] { return ombrel_xml_node_set_text(instruction, "?>"); }},
                   def_ombrel_fault_violation);
    EXPECT_EQ(before, made.text());
    EXPECT_EQ(0, ombrel_xml_node_set_name(instruction, "z"));
    EXPECT_EQ(0, ombrel_xml_node_set_name(type, "p:b"));
    EXPECT_EQ(0, ombrel_xml_node_set_text(type, "PUBLIC 'i' 'e'"));
    EXPECT_EQ("<!DOCTYPE p:b PUBLIC 'i' 'e'>\n<?z y?>\n<a/>\n", made.text());
    EXPECT_EQ(0, ombrel_xml_node_remove(type));
    expect_refused({[&] { return ombrel_xml_node_insert(made.top(), instruction, 8, "a", "[<!x>]"); }},
                   def_ombrel_fault_violation);
    EXPECT_NE(nullptr, ombrel_xml_node_insert(made.top(), instruction, 8, "a", "[<!ELEMENT a ANY>]"));
    EXPECT_EQ("<!DOCTYPE a [<!ELEMENT a ANY>]>\n<?z y?>\n<a/>\n", made.text());
}

TEST_F(XmlTree, TakesAnyColonWithoutNamespaces) {
    const document made("<a:b:c/>", 0, 0);
    node_t* const root = made.root();
    EXPECT_EQ(0, ombrel_xml_node_set_name(root, "p:q:r"));
    EXPECT_EQ(0, ombrel_xml_node_set_attribute(root, "x:y:z", "1"));
    expect_refused({[=] { return ombrel_xml_node_set_name(root, "1"); },
                    [=] { return ombrel_xml_node_set_attribute(root, "", "1"); }},
                   def_ombrel_fault_violation);
    EXPECT_STREQ("1", ombrel_xml_node_get_attribute_text(root, "x:y:z", nullptr));
}

TEST_F(XmlTree, HoldsDeepAndWideDocumentsInMemoryBoundToThem) {
    constexpr size_t depth = 200000;
    std::string text;
    for (size_t i = 0; i < depth; i++)
        text += "<a>";
    for (size_t i = 0; i < depth; i++)
        text += "</a>";
    ombrel_xml_options_t parser;
    ombrel_init_xml_options(&parser);
    parser.m_depth_limit = depth;
    ombrel_xml_tree_options_t options;
    ombrel_init_xml_tree_options(&options);
    options.m_parser = &parser;
    ombrel_xml_tree_t* const deep = ombrel_parse_xml_tree(text.data(), text.size(), &options, nullptr);
    ASSERT_NE(nullptr, deep);
    EXPECT_LT(ombrel_xml_tree_get_memory(deep), static_cast<int64_t>(depth * 70));
    node_t* inner = ombrel_xml_tree_get_root(deep);
    while (node_t* const next = ombrel_xml_node_get_first_child(inner))
        inner = next;
    const size_t before = ombrel_get_alloc_size();
    for (int i = 0; i < 1000; i++) {
        ombrel_xml_node_set_text(inner, std::string(1000, 'x').c_str());
        ombrel_xml_node_add_element(inner, "b", nullptr);
    }
    ombrel_xml_node_set_text(inner, "");
    EXPECT_LT(ombrel_get_alloc_size(), before + 200000) << "texts and nodes are used again";
    ombrel_xml_node_t* const copy = ombrel_xml_node_copy(ombrel_xml_tree_get_root(deep), inner, nullptr);
    EXPECT_NE(nullptr, copy);
    EXPECT_EQ(0, ombrel_xml_node_remove(copy));
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    EXPECT_EQ(0, ombrel_xml_tree_write(deep, buffer, nullptr));
    EXPECT_EQ(7 * depth - 2, take_queued(buffer).size());
    ombrel_close_buffer(buffer);
    ombrel_close_xml_tree(deep);
}

TEST_F(XmlTree, ReadsChangesAndStoresTheVersionDocument) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ASSERT_EQ(0, ombrel_push_version_xml(buffer, "a \"b\" & c"));
    const std::string text = take_queued(buffer);
    ombrel_close_buffer(buffer);
    const document version(text);
    ASSERT_NE(nullptr, version.tree);
    node_t* const name = ombrel_xml_node_get_child(version.root(), "name");
    EXPECT_STREQ("a \"b\" & c", ombrel_xml_node_get_text(ombrel_xml_node_get_first_child(name), nullptr));
    int64_t major = 0;
    node_t* const numbers = ombrel_xml_node_get_child(version.root(), "version");
    EXPECT_EQ(1, ombrel_xml_node_get_integer(ombrel_xml_node_get_child(numbers, "major"), nullptr, &major));
    EXPECT_EQ(5, major);
    std::string written = version.text();
    EXPECT_EQ(text.substr(text.find("<!--")), written.substr(written.find("<!--")))
        << "but for the declaration's quotes";
    EXPECT_EQ(0, ombrel_xml_node_set_text(name, "new"));
    const scratch_directory folder;
    const std::string path = folder / "version.xml";
    EXPECT_EQ(0, ombrel_xml_tree_store(version.tree, path.c_str(), nullptr));
    ombrel_xml_tree_t* const again = ombrel_load_xml_tree(path.c_str(), nullptr, nullptr);
    char* const changed = ombrel_xml_node_alloc_text(
        ombrel_xml_node_get_child(ombrel_xml_tree_get_root(again), "name"), nullptr);
    EXPECT_STREQ("new", changed);
    ombrel_free(changed);
    ombrel_close_xml_tree(again);
}

} // namespace
} // namespace ombrel_test
