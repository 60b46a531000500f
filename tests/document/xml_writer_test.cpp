// What a writer of XML writes, and what it refuses to write.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/xml.h>
#include <ombrel/xml_writer.h>

#include "support/heap_balance.h"
#include "support/queued.h"
#include "xml_script.h"

namespace ombrel_test {
namespace {

using options_t = ombrel_xml_writer_options_t;

options_t options_of(int form, uint32_t flags = 0) {
    options_t options;
    ombrel_init_xml_writer_options(&options);
    options.m_form = form;
    options.m_flags = flags;
    return options;
}

std::string fault(int reason) {
    return std::string("fault ").append(std::to_string(reason));
}

/// What a script writes; after a refusal "fault NUMBER".
std::string written(const std::string& script, const options_t& options) {
    const heap_balance balance;
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(buffer, &options);
    const int result = run_xml_script(writer, script);
    const int reason = ombrel_xml_writer_get_reason(writer);
    EXPECT_EQ(result == 0, reason == 0) << script;
    ombrel_close_xml_writer(writer);
    std::string text = take_queued(buffer);
    ombrel_close_buffer(buffer);
    if (reason == 0 && !(options.m_flags & def_ombrel_xml_writer_fragment)) {
        ombrel_xml_options_t parser;
        ombrel_init_xml_options(&parser);
        parser.m_flags =
            options.m_flags & def_ombrel_xml_writer_no_namespaces ? 0 : def_ombrel_xml_namespaces;
        EXPECT_EQ(0, ombrel_parse_xml(text.data(), text.size(), &parser, nullptr, nullptr, nullptr)) << text;
    }
    return reason == 0 ? text : fault(reason);
}

TEST(XmlWriter, WritesEachForm) {
    constexpr uint32_t part = def_ombrel_xml_writer_fragment, bare = def_ombrel_xml_writer_no_namespaces;
    struct row {
        int form;
        uint32_t flags;
        const char *script, *text;
    };
    const row rows[] = {
        {0, 0, "<a|>", "<a/>\n"},
        {0, 0, "D1|!a|#c|<a|@x=1 < \"2\" &\t\n\r>|'<&>\r\"|>|?p q",
         R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<!DOCTYPE a>
<!--c-->
<a x="1 &lt; &quot;2&quot; &amp;&#9;&#10;&#13;>">&lt;&amp;&gt;&#13;"</a>
<?p q?>
)"},
        {0, 0, "<a|[|[x]]>y\r]]|>", "<a><![CDATA[]]><![CDATA[x]]]]><![CDATA[>y]]>&#13;<![CDATA[]]]]></a>\n"},
        {0, part, "'a|<b|>|<c|>", "a<b/><c/>"},
        {0, bare, "<a:b:c|@x:y=|>", "<a:b:c x:y=\"\"/>\n"},
        {1, 0, "<a|#c|<b|'t|<c|<d|>|>|>|<e|<f|>|>|?p |>", R"(<a>
  <!--c-->
  <b>t<c><d/></c></b>
  <e>
    <f/>
  </e>
  <?p?>
</a>
)"},
        {1, 0, "D|<a|@xml:space=preserve|<b|<c|>|>|>",
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a xml:space=\"preserve\"><b><c/></b></a>\n"},
        {1, 0, "<a|K|<b|>|'t|>", "<a><b/>t</a>\n"},
        {2, 0, "D0|!a|#c|?p|<a|@b=\t|@a=>|@\xc3\xa9=|@z=|#c|[x]]>\n|<b|>|>|?q r",
         "<?p ?><a a=\"&gt;\" b=\"&#9;\" z=\"\" \xc3\xa9=\"\">x]]&gt;&#10;<b></b></a><?q r?>"},
        // Namespaces are declared where they are needed, by the wished prefix or another.
        {0, 0, "<{u}p:a|@{u}p:x=1|@{v}y=2|<{u}b|>|<{}c|>|<p:d|>|>",
         "<p:a xmlns:p=\"u\" p:x=\"1\" xmlns:ns1=\"v\" ns1:y=\"2\"><b xmlns=\"u\"/><c/><p:d/></p:a>\n"},
        {0, 0, "<{u}a|Nq=v|Nq=v|<{v}q:b|@{w}q:x=|>|<{}c|<{u}d|>|>|>",
         "<a xmlns=\"u\" xmlns:q=\"v\"><q:b xmlns:ns1=\"w\" ns1:x=\"\"/><c xmlns=\"\"><d "
         "xmlns=\"u\"/></c></a>\n"},
        {0, 0, "<a|@xmlns=u|@xmlns:p=v|<{v}p:b|@xml:lang=ko|@{http://www.w3.org/XML/1998/namespace}id=i|>|>",
         "<a xmlns=\"u\" xmlns:p=\"v\"><p:b xml:lang=\"ko\" xml:id=\"i\"/></a>\n"},
    };
    for (const row& one : rows)
        EXPECT_EQ(one.text, written(one.script, options_of(one.form, one.flags))) << one.script;
}

TEST(XmlWriter, RefusesWhatWouldNotBeRead) {
    struct row {
        int reason;
        std::vector<std::string> scripts;
    };
    const row rows[] = {
        {def_ombrel_xml_writer_fault_name,
         {"<1", "<", "<a b", "<a:b:c", "<:a", "<a|@=x", "<a|@x y=", "?xMl d", "?a:b d", "<a\xff", "<{u}1",
          "<a|N1=u", "<a|Na:b=u"}},
        {def_ombrel_xml_writer_fault_character,
         {"<a|'\x01", "<a|'\xff", "<a|'\xed\xa0\x80", "<a|'\xef\xbf\xbe", "<a|@x=\x0b", "#\x7f\x1f",
          "<a|[\xc3", "?a \x02", std::string("<a|'a\0b", 8)}},
        {def_ombrel_xml_writer_fault_comment, {"#a--b", "#a-", "#-"}},
        {def_ombrel_xml_writer_fault_instruction, {"?a b?>", "?a  b"}},
        {def_ombrel_xml_writer_fault_doctype,
         {"!", "!a [", "!a><a/><!--", "!a><!-- --", "!a SYSTEM x", "!a [<!ENTITY e '&f;'><!ELEMENT a>]",
          "!1"}},
        {def_ombrel_xml_writer_fault_attribute,
         {"<a|@x=|@x=", "<{u}a|@xmlns=v", "<a|@xmlns:p=u|@xmlns:q=u|@p:x=|@q:x=|>",
          "<a|@a=|@b=|@c=|@d=|@e=|@f=|@g=|@h=|@i=|@j=|@k=|@l=|@m=|@n=|@o=|@p=|@q=|@r=|@a=|>"}},
        {def_ombrel_xml_writer_fault_prefix,
         {"<p:a|>", "<a|@p:x=|>", "<a|@xmlns:p=", "<a|@xmlns:xml=u", "<a|@xmlns:xmlns=u",
          "<a|@xmlns=http://www.w3.org/2000/xmlns/", "<a|@{}p:x=", "<xmlns:a|>",
          "<{u}p:a|<{u}p:b|@xmlns:p=v|>", "<a|Nxml=u", "<a|Np="}},
        {def_ombrel_xml_writer_fault_order,
         {"'a", "[a", "@x=", "<a|'t|@x=", "<a|D", "#c|D", "D|D", "<a|!a", "!a|!a", "<a|>|!a", "K", "Np=u",
          "<a|'t|Np=u"}},
        {def_ombrel_xml_writer_fault_root, {"", "#c", "<a|>|<b"}},
        {def_ombrel_xml_writer_fault_open, {"<a", "<a|<b|>"}},
        {def_ombrel_xml_writer_fault_end, {">", "<a|>|>"}},
    };
    for (const row& one : rows)
        for (const std::string& script : one.scripts)
            EXPECT_EQ(fault(one.reason), written(script, options_of(0))) << script;
    for (const char* const script : {"<a|<b|>|'t", "<a|<b|>|K"})
        EXPECT_EQ("fault 14", written(script, options_of(def_ombrel_xml_form_indented))) << script;
    for (int reason = 1; reason <= def_ombrel_xml_writer_fault_no_memory; reason++)
        EXPECT_STRNE("unknown", ombrel_xml_writer_fault_text(reason));
    EXPECT_STREQ("unknown", ombrel_xml_writer_fault_text(def_ombrel_xml_writer_fault_no_memory + 1));
}

TEST(XmlWriter, WritesOtherEncodings) {
    options_t options = options_of(0);
    options.m_charset = "latin1";
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
              "<\xe9 x=\"&#x20AC;\">\xe9&#x20AC;<![CDATA[a]]>&#x20AC;<![CDATA[]]></\xe9>\n",
              written("<\xc3\xa9|@x=\xe2\x82\xac|'\xc3\xa9\xe2\x82\xac|[a\xe2\x82\xac|>", options));
    for (const char* const script :
         {"<\xe2\x82\xac", "<a|#\xe2\x82\xac", "<a|@\xe2\x82\xac=", "?a \xe2\x82\xac"})
        EXPECT_EQ("fault 4", written(script, options)) << script;
    options.m_charset = "utf-16";
    EXPECT_EQ(std::string("\xff\xfe<\0?\0x\0", 8), written("<a|>", options).substr(0, 8));
    options.m_charset = "nonsense";
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    EXPECT_EQ(nullptr, ombrel_open_xml_writer(buffer, &options));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    ombrel_close_buffer(buffer);
}

TEST(XmlWriter, HandsOnToFunctionsAndKeepsTheFirstFailure) {
    options_t options = options_of(0);
    struct taken {
        std::string bytes;
        int result = 0;
    } sink;
    options.m_context = &sink;
    options.m_handler = [](const void* data, size_t size, void* context) {
        taken& to = *static_cast<taken*>(context);
        to.bytes.append(static_cast<const char*>(data), size);
        return to.result;
    };
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(nullptr, &options);
    ASSERT_NE(nullptr, writer);
    EXPECT_EQ(0, ombrel_xml_writer_begin(writer, "a"));
    EXPECT_EQ(0, ombrel_xml_writer_integer_attribute(writer, "n", INT64_MIN));
    EXPECT_EQ(0, ombrel_xml_writer_element(writer, "b", nullptr));
    EXPECT_EQ(0, ombrel_xml_writer_integer_element(writer, "c", 42));
    EXPECT_EQ(0, ombrel_xml_writer_printf(writer, "%d%s", 7, "<"));
    EXPECT_EQ(0, ombrel_xml_writer_cdata(writer, "d"));
    EXPECT_EQ(0, ombrel_xml_writer_text(writer, nullptr));
    EXPECT_EQ(1, ombrel_xml_writer_get_depth(writer));
    EXPECT_EQ(0, ombrel_xml_writer_flush(writer));
    EXPECT_EQ("<a n=\"-9223372036854775808\"><b/><c>42</c>7&lt;<![CDATA[d]]>", sink.bytes);
    EXPECT_EQ(static_cast<int64_t>(sink.bytes.size()), ombrel_xml_writer_get_size(writer));
    sink.result = 5;
    EXPECT_EQ(0, ombrel_xml_writer_end(writer));
    EXPECT_EQ(5, ombrel_xml_writer_finish(writer));
    EXPECT_EQ(-1, ombrel_xml_writer_begin(writer, "b"));
    EXPECT_EQ(def_ombrel_xml_writer_fault_output, ombrel_xml_writer_get_reason(writer));
    EXPECT_EQ(-1, ombrel_xml_writer_get_size(writer));
    ombrel_close_xml_writer(writer);
}

/// Each of the calls would be in order at the start, in an open tag, behind a text or at the end.
TEST(XmlWriter, NothingGoesOnAfterAFailure) {
    using writer_t = ombrel_xml_writer_t;
    int (*const calls[])(writer_t*) = {
        [](writer_t* w) { return ombrel_xml_writer_declaration(w, -1); },
        [](writer_t* w) { return ombrel_xml_writer_doctype(w, "a"); },
        [](writer_t* w) { return ombrel_xml_writer_begin(w, "a"); },
        [](writer_t* w) { return ombrel_xml_writer_begin_in(w, "u", "a"); },
        ombrel_xml_writer_keep_space,
        [](writer_t* w) { return ombrel_xml_writer_attribute(w, "n", "v"); },
        [](writer_t* w) { return ombrel_xml_writer_attribute_in(w, "u", "n", "v"); },
        [](writer_t* w) { return ombrel_xml_writer_namespace(w, "p", "u"); },
        [](writer_t* w) { return ombrel_xml_writer_text(w, "t"); },
        [](writer_t* w) { return ombrel_xml_writer_text(w, ""); },
        [](writer_t* w) { return ombrel_xml_writer_printf(w, "%d", 1); },
        [](writer_t* w) { return ombrel_xml_writer_cdata(w, "t"); },
        [](writer_t* w) { return ombrel_xml_writer_comment(w, "c"); },
        [](writer_t* w) { return ombrel_xml_writer_instruction(w, "i", "d"); },
        [](writer_t* w) { return ombrel_xml_writer_element(w, "e", "t"); },
        ombrel_xml_writer_end,
        ombrel_xml_writer_flush,
        ombrel_xml_writer_finish,
    };
    int (*const document[])(writer_t*) = {
        [](writer_t* w) { return ombrel_xml_writer_begin(w, "a"); },
        [](writer_t* w) { return ombrel_xml_writer_text(w, "t"); },
        ombrel_xml_writer_end,
    };
    for (const size_t steps : {0u, 1u, 2u, 3u}) {
        ombrel_buffer_t* const buffer = ombrel_open_buffer();
        writer_t* const writer = ombrel_open_xml_writer(buffer, nullptr);
        for (size_t i = 0; i < steps; i++)
            EXPECT_EQ(0, document[i](writer));
        EXPECT_EQ(-1, ombrel_xml_writer_comment(writer, "\x01"));
        const int fault = ombrel_last_fault();
        const size_t size = ombrel_get_buffer_size(buffer);
        for (const auto call : calls) {
            const std::string where = std::to_string(steps) + " " + std::to_string(&call - calls);
            EXPECT_EQ(-1, call(writer)) << where;
            EXPECT_EQ(fault, ombrel_last_fault()) << where;
            EXPECT_EQ(def_ombrel_xml_writer_fault_character, ombrel_xml_writer_get_reason(writer)) << where;
        }
        EXPECT_EQ(size, ombrel_get_buffer_size(buffer));
        ombrel_close_xml_writer(writer);
        ombrel_close_buffer(buffer);
    }
}

TEST(XmlWriter, RefusesNonsense) {
    ombrel_buffer_t* const buffer = ombrel_open_buffer();
    options_t options;
    const auto refuses = [&](auto change, ombrel_buffer_t* to) {
        ombrel_init_xml_writer_options(&options);
        change(options);
        EXPECT_EQ(nullptr, ombrel_open_xml_writer(to, &options));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    };
    refuses([](options_t&) {}, nullptr);
    refuses([](options_t& o) { o.m_handler = [](const void*, size_t, void*) { return 0; }; }, buffer);
    refuses([](options_t& o) { o.m_form = 3; }, buffer);
    refuses([](options_t& o) { o.m_flags = 4; }, buffer);
    refuses([](options_t& o) { o.m_form = -1; }, buffer);
    refuses([](options_t& o) { o.m_indent = 65; }, buffer);
    refuses([](options_t& o) { o.m_indent = -1; }, buffer);
    refuses([](options_t& o) { o.m_depth_limit = 0; }, buffer);
    refuses([](options_t& o) { o.m_form = 2, o.m_charset = "latin1"; }, buffer);
    ombrel_init_xml_writer_options(&options);
    options.m_depth_limit = 2;
    EXPECT_EQ("fault 15", written("<a|<b|<c", options));
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(buffer, nullptr);
    EXPECT_EQ(-1, ombrel_xml_writer_begin(writer, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_xml_writer_begin(writer, "a"));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << "the first failure stays";
    ombrel_close_xml_writer(writer);
    ombrel_xml_writer_t* const other = ombrel_open_xml_writer(buffer, nullptr);
    EXPECT_EQ(-1, ombrel_xml_writer_declaration(other, 2));
    EXPECT_EQ(def_ombrel_xml_writer_fault_argument, ombrel_xml_writer_get_reason(other));
    ombrel_close_xml_writer(other);
    const options_t plain = options_of(0, def_ombrel_xml_writer_no_namespaces);
    EXPECT_EQ("<a:b:c/>\n", written("<{u}a:b:c|>", plain));
    EXPECT_EQ(fault(def_ombrel_xml_writer_fault_order), written("<a|Np=u", plain));
    EXPECT_EQ(-1, ombrel_xml_writer_begin(nullptr, "a"));
    EXPECT_EQ(-1, ombrel_init_xml_writer_options(nullptr));
    EXPECT_EQ(-1, ombrel_xml_writer_get_reason(nullptr));
    EXPECT_EQ(-1, ombrel_xml_writer_get_depth(nullptr));
    EXPECT_EQ(0, ombrel_close_xml_writer(nullptr));
    ombrel_close_buffer(buffer);
}

} // namespace
} // namespace ombrel_test
