// What paths find, and which ones are refused.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/xml_path.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

using node_t = ombrel_xml_node_t;

constexpr char catalogue[] =
    R"(<c xmlns:p="u"><b id="1"><t>x</t><t>y</t></b><!--n--><b id="2"><t>x<i>z</i></t><p:t p:k="v"/>)"
    R"(<b id="3"><t>y</t></b></b><d>1<![CDATA[2]]></d></c>)";

class XmlPath : public balanced_test {
protected:
    XmlPath() : tree_(ombrel_parse_xml_tree(catalogue, sizeof catalogue - 1, nullptr, nullptr)) {}
    ~XmlPath() override { ombrel_close_xml_tree(tree_); }
    node_t* top() const { return ombrel_xml_tree_get_document(tree_); }

    /// What is found, each by its text or, without one, its name; "fault OFFSET" for a path that is none.
    static std::string found(const char* text, node_t* from, const ombrel_xml_prefix_t* prefixes = nullptr) {
        ombrel_xml_path_fault_t fault;
        ombrel_xml_path_t* const path = ombrel_open_xml_path(text, prefixes, &fault);
        if (path == nullptr)
            return std::string(ombrel_xml_path_fault_text(fault.m_reason))
                .append(" ")
                .append(std::to_string(fault.m_offset));
        EXPECT_EQ(0, fault.m_reason);
        ombrel_xml_walk_t* const walk = ombrel_open_xml_walk(path, from);
        std::string all;
        node_t* node = nullptr;
        node_t* first = nullptr;
        while (ombrel_xml_walk_next(walk, &node) == 1) {
            first = first == nullptr ? node : first;
            char* const content = ombrel_xml_node_alloc_text(node, nullptr);
            const char* const name = ombrel_xml_node_get_name(node);
            all.append(all.empty() ? "" : " ").append(*name != '\0' ? name : "").append(":").append(content);
            ombrel_free(content);
        }
        EXPECT_EQ(first, ombrel_xml_path_find(path, from)) << text;
        ombrel_close_xml_walk(walk);
        ombrel_close_xml_path(path);
        return all;
    }

private:
    ombrel_xml_tree_t* tree_;
};

TEST_F(XmlPath, FindsInTheDocumentsOrderAndOnce) {
    const struct {
        const char *path, *found;
    } rows[] = {
        {"c/b/@id", "id:1 id:2"},
        {"/c/b/@id", "id:1 id:2"},
        {"//@id", "id:1 id:2 id:3"},
        {"//b//b/@id", "id:3"},
        {"//b//t", "t:x t:y t:xz t:y"},
        {"//b[2]/@id", "id:2"},
        {"//b[ last() ]/@id", "id:2 id:3"},
        {"//b[02]/@id", "id:2"},
        {"//b[last()-1]/@id", "id:1"},
        {"//t[1]", "t:x t:xz t:y"},
        {"//b[@id]/t[2]", "t:y"},
        {"//b[@id != '1'][1]/@id", "id:2 id:3"},
        {"//b[t='y']/@id", "id:1 id:3"},
        {"//t[.='xz']", "t:xz"},
        {"//t[text()=\"x\"]", "t:x t:xz"},
        {"//*[i]", "t:xz"},
        {"//b[..]/..", "c:xyxzy12 b:xzy"},
        {"//t/..", "b:xy b:xzy b:y"},
        {"//t/../..", "c:xyxzy12 b:xzy"},
        {"//b/../../b/@id", "id:1 id:2"},
        {"//i/../../@id", "id:2"},
        {"//t/..[@id='3']/t", "t:y"},
        {"//@id/../t[1]", "t:x t:xz t:y"},
        {"c/./b/.[@id='1']/t/.", "t:x t:y"},
        {"c/b[2]/t//text()", ":x :z"},
        {"c/d/text()", ":1 :2"},
        {"c/comment()", ":n"},
        {"c/node()", "b:xy :n b:xzy d:12"},
        {"c/b[1]//.", "b:xy t:x :x t:y :y"},
        {"c/b[1]/t//..", "b:xy t:x t:y"},
        {"//p:t", "p:t:"},
        {"//p:*/@*", "p:k:v"},
        {"c/@*", ""},
        {"/", ":xyxzy12"},
        {"..", ""},
        {"c/*[last()][3]", ""},
        {"c/*[3][last()]", "d:12"},
        {"c/b[@id='1']/../d", "d:12"},
        {" c / b [ @id = \"2\" ] / @ id ", "id:2"},
    };
    for (const auto& one : rows)
        EXPECT_EQ(one.found, found(one.path, top())) << one.path;
    node_t* const id = ombrel_xml_node_find(top(), "//@id[.='3']");
    EXPECT_EQ("b:y", found("..", id));
    EXPECT_EQ("id:3", found(".", id));
    char* const text = ombrel_xml_node_alloc_found_text(top(), "c/d", nullptr);
    EXPECT_STREQ("12", text);
    ombrel_free(text);
    EXPECT_EQ(nullptr, ombrel_xml_node_find(top(), "c/none"));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
}

TEST_F(XmlPath, KnowsNamespacesByItsList) {
    const ombrel_xml_prefix_t prefixes[] = {{"q", "u"}, {nullptr, nullptr}};
    EXPECT_EQ("p:t:", found("//q:t", top(), prefixes));
    EXPECT_EQ("p:k:v", found("//q:*/@q:k", top(), prefixes));
    EXPECT_EQ("t:x t:y t:xz t:y", found("//t", top(), prefixes));
    EXPECT_EQ("an unknown prefix 2", found("//p:t", top(), prefixes));
    const ombrel_xml_prefix_t defaults[] = {{"", "u"}, {nullptr, nullptr}};
    EXPECT_EQ("p:t:", found("//t", top(), defaults));
    EXPECT_EQ("", found("//t/@k", top(), defaults));
}

TEST_F(XmlPath, RefusesWhatIsNoPathAndTellsWhere) {
    const struct {
        const char* path;
        int reason, offset;
    } rows[] = {
        {"", 1, 0},
        {"a/", 1, 2},
        {"a//", 1, 3},
        {"a//b/", 1, 5},
        {"///a", 1, 2},
        {"a b", 9, 2},
        {"a]", 9, 1},
        {"a[", 4, 2},
        {"a[]", 4, 2},
        {"a[0]", 4, 2},
        {"a[1", 5, 3},
        {"a[b='x]", 6, 4},
        {"a[b=x]", 6, 4},
        {"a[@]", 2, 3},
        {"@1", 2, 1},
        {"@a/b", 8, 3},
        {"@a//..", 8, 4},
        {"f()", 3, 0},
        {"a/position()", 3, 2},
        {"a/text(1)", 3, 2},
        {"a[last(1)]", 3, 7},
        {"a[last (]", 3, 8},
        {"a:b:c", 2, 0},
        {"a[last()-]", 4, 9},
        {"a[99999999999999999999]", 4, 2},
        {"1", 1, 0},
        {"a[b[c]]", 5, 3},
        {"a\xff", 2, 1},
    };
    for (const auto& one : rows) {
        ombrel_xml_path_fault_t fault;
        EXPECT_EQ(nullptr, ombrel_open_xml_path(one.path, nullptr, &fault)) << one.path;
        EXPECT_EQ(def_ombrel_fault_violation, ombrel_last_fault()) << one.path;
        EXPECT_EQ(one.reason, fault.m_reason) << one.path;
        EXPECT_EQ(one.offset, fault.m_offset) << one.path;
    }
    std::string steps = "a", conditions = "a";
    for (int i = 0; i < def_ombrel_xml_path_step_limit; i++) {
        steps += "/a";
        conditions += "[1][a]";
    }
    for (const std::string& text : {steps, conditions, std::string(70000, 'a')}) {
        EXPECT_EQ(nullptr, ombrel_open_xml_path(text.c_str(), nullptr, nullptr));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_open_xml_path(nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_xml_walk_next(nullptr, nullptr));
    EXPECT_EQ(nullptr, ombrel_open_xml_walk(nullptr, top()));
}

TEST_F(XmlPath, LooksAtEachNodeOnceWhateverThePath) {
    std::string text;
    for (int i = 0; i < 3000; i++)
        text += "<a><a/>";
    for (int i = 0; i < 3000; i++)
        text += "</a>";
    ombrel_xml_tree_t* const deep = ombrel_parse_xml_tree(text.data(), text.size(), nullptr, nullptr);
    std::string path;
    for (int i = 0; i < 29; i++)
        path += "//a";
    path += "//../..//a[last()]";
    EXPECT_NE(nullptr, ombrel_xml_node_find(ombrel_xml_tree_get_document(deep), path.c_str()));
    EXPECT_EQ(nullptr, ombrel_xml_node_find(ombrel_xml_tree_get_document(deep), path.append("/b").c_str()));
    ombrel_close_xml_tree(deep);
}

} // namespace
} // namespace ombrel_test
