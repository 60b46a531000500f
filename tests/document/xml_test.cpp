#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/buffer.h>
#include <ombrel/charset.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/version.h>
#include <ombrel/xml.h>

#include "document/xml/kernels/scan.h"
#include "platform/processor.h"
#include "support/xml_trace.h"

namespace {

using xml_trace::recorder;
using xml_trace::text_of;

struct outcome {
    int result;
    ombrel_xml_fault_t fault;
    recorder trace;
};

ombrel_xml_options_t default_options() {
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    return options;
}

outcome parse(const std::string& text, const ombrel_xml_options_t& options = default_options(),
              size_t piece = std::string::npos, ombrel_xml_handler_t handler = recorder::take) {
    outcome all{};
    ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, handler, &all.trace);
    for (size_t at = 0; all.result == 0 && at < text.size(); at += std::min(piece, text.size())) {
        const std::string part = text.substr(at, piece);
        all.result = ombrel_xml_parser_push(parser, part.data(), part.size());
    }
    if (all.result == 0)
        all.result = ombrel_xml_parser_end(parser);
    all.fault = *ombrel_xml_parser_get_fault(parser);
    ombrel_close_xml_parser(parser);
    return all;
}

std::string place(const ombrel_xml_fault_t& fault) {
    return std::to_string(fault.m_line) + ":" + std::to_string(fault.m_column) + "@" +
           std::to_string(fault.m_offset) + " " + fault.m_text;
}

const std::string doctype = "<!DOCTYPE a [";

TEST(Xml, TellsWhereAndWhyADocumentIsRefused) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "1:1@0 there is no element"},
        {"<!-- -->\n", "2:1@9 there is no element"},
        {"<a>\n  <b>\n</a>", "3:1@10 the end tag does not match <b>"},
        {"<a>\xEA\xB0\x80\r\n\xEA\xB0\x80&x;</a>", "2:2@11 the entity \"x\" is not declared"},
        {"<a>\r\r\n\n\r<b", "5:3@10 the document ends within <a>"},
        {"<a b='1' c='2' b='3'/>", "1:16@15 the attribute \"b\" is there twice"},
        {"<a xmlns:p='u' xmlns:q='u' p:b='1' q:b='2'/>", "1:1@0 the attribute \"q:b\" is there twice"},
        {"<a><p:b/></a>", "1:4@3 the prefix \"p\" is not bound"},
        {"<a xmlns:p=''/>", "1:1@0 the prefix \"p\" is bound to nothing"},
        {"<a xmlns:xml='u'/>", "1:1@0 a reserved prefix or namespace is bound or used otherwise"},
        {"<a:b:c/>", "1:2@1 a colon at a wrong place in \"a:b:c\""},
        {"<a b='<'/>", "1:7@6 a value without quotation marks, or with \"<\""},
        {"<a b='1'c='2'/>", "1:9@8 white space is missing"},
        {"<a>x]]></a>", "1:5@4 \"]]>\" in text"},
        {"<a>\xEF\xBF\xBE</a>", "1:4@3 a character that XML does not allow"},
        {"<a>ab\xC3</a>", "1:6@5 bytes that are none in the encoding"},
        {"<a><!-- a--b --></a>", "1:10@9 \"--\" within a comment"},
        {"<a>&#xD800;</a>", "1:6@5 a reference to a character that XML does not allow"},
        {" <?xml version='1.0'?><a/>",
         "1:2@1 a malformed XML declaration, or one that is not at the beginning"},
        {"<?xml version='1.0' encoding='klingon'?><a/>", "1:31@30 the encoding \"klingon\" is not known"},
        {"<?xml version='1.0' encoding='UTF-16'?><a/>",
         "1:31@30 the bytes are not in the declared encoding \"UTF-16\""},
        {"<a/><b/>", "1:5@4 something follows the root element"},
        {doctype + "<!ENTITY b '&c;'><!ENTITY c '&b;'>]>\n<a>&b;</a>",
         "2:4@53 the entity \"b\" is within itself"},
        {doctype + "<!ENTITY b '</a>'>]>\n<a>&b;",
         "2:4@37 what begins in the entity \"b\" does not end in it"},
        {"<!DOCTYPE a><!DOCTYPE a><a/>", "1:13@12 a malformed document type, or one at a wrong place"},
        {doctype + "\n<!ELEMENT a (b|c,d)>]><a/>", "2:17@30 a malformed declaration"},
        {doctype + "<!ENTITY u SYSTEM 'u'NDATA n>]><a/>", "1:35@34 white space is missing"},
        {doctype + "<!ENTITY % p 'x'><!ENTITY q '%p;'>]><a/>",
         "1:43@42 a parameter entity within a declaration of the internal subset"},
        {doctype + "<!ENTITY u SYSTEM 'u'>]><a b='&u;'/>",
         "1:44@43 the external entity \"u\" in the value of an attribute"},
    };
    for (const auto& [text, wanted] : cases)
        for (const size_t piece : {text.size() + 1, size_t{1}, size_t{5}}) {
            const outcome read = parse(text, default_options(), piece);
            EXPECT_EQ(-1, read.result) << text;
            EXPECT_EQ(wanted, place(read.fault)) << text << " in pieces of " << piece;
        }
}

/// What grows, and where it is stopped.
TEST(Xml, RefusesWhatIsAboveTheLimits) {
    const auto repeated = [](const std::string& text, size_t count) {
        std::string all;
        for (size_t i = 0; i < count; i++)
            all += text;
        return all;
    };
    std::string laughs = doctype + "<!ENTITY l0 'lol'>", attributes = "<a", defaults = doctype;
    for (int i = 1; i < 30; i++)
        laughs +=
            "<!ENTITY l" + std::to_string(i) + " '" + repeated("&l" + std::to_string(i - 1) + ";", 10) + "'>";
    for (int i = 0; i <= 10000; i++)
        attributes += " a" + std::to_string(i) + "=''";
    for (int i = 0; i < 5000; i++)
        defaults += "<!ATTLIST a b" + std::to_string(i) + " CDATA 'v'>";
    std::string chain = doctype + "<!ENTITY e0 ''>";
    for (int i = 1; i < 60; i++)
        chain += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";'>";
    const std::string large = doctype + "<!ENTITY b '" + std::string(200000, 'x') + "'>]><a>";
    const std::pair<int, std::string> cases[] = {
        {def_ombrel_xml_fault_expansion, laughs + "]><a>&l29;</a>"},
        {def_ombrel_xml_fault_expansion, laughs + "]><a b='&l29;'/>"},
        {def_ombrel_xml_fault_expansion, large + repeated("&b;", 10000)},
        {def_ombrel_xml_fault_expansion, defaults + "]><a>" + repeated("<a/>", 1000)},
        {def_ombrel_xml_fault_deep_entities, chain + "]><a>&e59;</a>"},
        {def_ombrel_xml_fault_deep_entities, chain + "]><a b='&e59;'/>"},
        {def_ombrel_xml_fault_deep, repeated("<a>", 10001)},
        {def_ombrel_xml_fault_many_attributes, attributes + "/>"},
        {def_ombrel_xml_fault_long_name, "<" + std::string(10001, 'n') + "/>"},
        {def_ombrel_xml_fault_long_token, "<a><!--" + std::string(17 * 1024 * 1024, ' ') + "--></a>"},
        {def_ombrel_xml_fault_long_value, "<a b='" + std::string(11 * 1024 * 1024, ' ') + "'/>"},
        {def_ombrel_xml_fault_large_doctype,
         doctype + repeated("<!-- " + std::string(999999, ' ') + "-->", 17)},
    };
    for (const auto& [reason, text] : cases) {
        ombrel_xml_fault_t fault;
        EXPECT_EQ(-1, ombrel_parse_xml(text.data(), text.size(), nullptr, nullptr, nullptr, &fault));
        EXPECT_EQ(reason, fault.m_reason) << text.substr(0, 60);
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
        if (reason == def_ombrel_xml_fault_expansion) {
            const outcome read = parse(text, default_options(), 1000, nullptr);
            EXPECT_EQ(reason, read.fault.m_reason) << text.substr(0, 60);
        }
    }
}

/// What the parts that a loader brings may not be either.
TEST(Xml, RefusesPartsFromOutside) {
    struct parts {
        std::map<std::string, std::string> texts;
        static int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* wanted, void* context) {
            const std::string called = text_of(wanted->m_system_id);
            if (called == "broken")
                return 7;
            const std::string& text = static_cast<parts*>(context)->texts[called];
            return ombrel_xml_parser_supply(parser, text.data(), text.size());
        }
    };
    using limit = size_t ombrel_xml_options_t::*;
    constexpr limit none = &ombrel_xml_options_t::m_nested_entity_limit;
    std::string many, chain = "<!ENTITY % p0 'x'>";
    for (int i = 1; i < 50; i++) {
        many += "<!ENTITY e" + std::to_string(i) + " ''>";
        chain += "<!ENTITY % p" + std::to_string(i) + " '&#37;p" + std::to_string(i - 1) + ";'>";
    }
    const std::string sixty(60, 'x'), by_entity = "<!ENTITY % x SYSTEM 'ext'><!ENTITY v '%x;'>";
    const struct {
        int reason;
        std::string subset, entity;
        limit changed = none;
        size_t to = 1000;
        std::string root = "<a/>";
    } cases[] = {
        {0, many + chain + "<!ENTITY v '%p30;%none;'>", ""},
        {0, by_entity, "<?xml encoding='latin1'?>\xE9"},
        {def_ombrel_xml_fault_many_names, many, "", &ombrel_xml_options_t::m_name_count_limit, 20},
        {def_ombrel_xml_fault_many_names, "<!ATTLIST a b CDATA '' c CDATA '' d CDATA ''>", "",
         &ombrel_xml_options_t::m_name_count_limit, 3},
        {def_ombrel_xml_fault_many_names, "", "", &ombrel_xml_options_t::m_name_count_limit, 3,
         "<a><b/><c/><d/></a>"},
        {def_ombrel_xml_fault_deep_entities, chain + "<!ENTITY v '%p49;'>", ""},
        {def_ombrel_xml_fault_long_value, "<!ENTITY % p '" + sixty + "'><!ENTITY v '%p;%p;'>", "",
         &ombrel_xml_options_t::m_value_limit, 100},
        {def_ombrel_xml_fault_long_token, "<!ENTITY % p '" + sixty + "'><!ELEMENT a (%p;|%p;)>", "",
         &ombrel_xml_options_t::m_token_limit, 100},
        {def_ombrel_xml_fault_bytes, by_entity, "y\xFF"},
        {def_ombrel_xml_fault_character, by_entity, "y\x01"},
        {def_ombrel_xml_fault_declaration, by_entity, "<?xml "},
        {def_ombrel_xml_fault_reference, "<!ENTITY v '%p'>", ""},
        {def_ombrel_xml_fault_entity_part, "<!ENTITY % q '<!ELEMENT a '>%q; ANY>", ""},
        {def_ombrel_xml_fault_entity_part, "<!ENTITY % q \"'x\"><!ENTITY v %q;'>", ""},
        {def_ombrel_xml_fault_markup, "<!NONSENSE a>", ""},
        {def_ombrel_xml_fault_long_name, "<!ELEMENT longname ANY>", "", &ombrel_xml_options_t::m_name_limit,
         7},
        {def_ombrel_xml_fault_long_name, "", "", &ombrel_xml_options_t::m_name_limit, 7, "<a>&longname;</a>"},
        {def_ombrel_xml_fault_many_attributes, "<!ATTLIST a b CDATA '' c CDATA '' d CDATA ''>", "",
         &ombrel_xml_options_t::m_attribute_limit, 2},
        {def_ombrel_xml_fault_large_external, many, "", &ombrel_xml_options_t::m_external_limit, 10},
    };
    for (const auto& each : cases)
        for (const size_t piece : {size_t{1}, size_t{1000}}) {
            parts external{{{"dtd", each.subset}, {"ext", each.entity}}};
            ombrel_xml_options_t options = default_options();
            options.*each.changed = each.to;
            options.m_loader = parts::load;
            options.m_loader_context = &external;
            const outcome read = parse("<!DOCTYPE a SYSTEM 'dtd'>" + each.root, options, piece);
            EXPECT_EQ(each.reason, read.fault.m_reason) << each.subset.substr(0, 70) << place(read.fault);
            EXPECT_EQ(each.reason == 0 ? 0 : -1, read.result);
        }
    parts external;
    ombrel_xml_options_t options = default_options();
    options.m_loader = parts::load;
    options.m_loader_context = &external;
    EXPECT_EQ(7, parse("<!DOCTYPE a SYSTEM 'broken'><a/>", options).result);
}

/// References within entities are counted wherever they stand, those of the document itself nowhere.
TEST(Xml, CountsReferencesWithinEntities) {
    const std::string head =
        doctype + "<!ENTITY b ''><!ENTITY n '&b;&b;&b;'><!ENTITY e \"<x y='&b;&b;&b;'/>\">";
    const std::pair<size_t, std::string> cases[] = {{0, "]><a c='&b;&b;'>&b;&b;</a>"},
                                                    {3, "]><a>&n;</a>"},
                                                    {3, "]><a c='&n;'/>"},
                                                    {3, "]><a>&e;</a>"},
                                                    {6, "]><a c='&n;'>&e;</a>"},
                                                    {3, "<!ATTLIST a c CDATA '&n;'>]><x/>"}};
    for (const auto& [count, text] : cases)
        for (const size_t limit : {count, count - 1}) {
            ombrel_xml_options_t options = default_options();
            options.m_nested_entity_limit = limit;
            const int wanted =
                limit == count - 1 ? def_ombrel_xml_fault_expansion : def_ombrel_xml_fault_none;
            if (limit > count)
                continue;
            EXPECT_EQ(wanted, parse(head + text, options).fault.m_reason) << text << " by " << limit;
        }
}

/// Deep documents, groups within groups and floods of attributes take memory as their bytes do, and no stack.
TEST(Xml, ReadsDeepAndWideDocumentsWhenItMay) {
    constexpr size_t depth = 300000;
    ombrel_xml_options_t options = default_options();
    options.m_depth_limit = options.m_attribute_limit = options.m_name_count_limit = 10 * depth;
    std::string deep, end, wide = "<a xmlns:p='u'", groups = doctype + "<!ELEMENT a ";
    for (size_t i = 0; i < depth; i++) {
        deep += "<a>";
        end += "</a>";
        if (i % 4 == 0)
            wide += " p:a" + std::to_string(i) + "=''";
    }
    groups += std::string(depth, '(') + "b" + std::string(depth, ')') + ">]><a/>";
    for (const std::string& text : {deep + end, wide + "/>", groups}) {
        ombrel_xml_fault_t fault;
        EXPECT_EQ(0, ombrel_parse_xml(text.data(), text.size(), &options, nullptr, nullptr, &fault))
            << place(fault);
        ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, nullptr, nullptr);
        for (const char& byte : text)
            ombrel_xml_parser_push(parser, &byte, 1);
        EXPECT_EQ(0, ombrel_xml_parser_end(parser));
        ombrel_close_xml_parser(parser);
    }
}

TEST(Xml, ReadsEveryEncodingAndCountsItsBytes) {
    const std::string declared = "<?xml version='1.0' encoding='", ascii = "'?>\n<a b='", rest = "'>x</c>";
    const std::pair<int, std::string> texts[] = {
        {def_ombrel_charset_us_ascii, "a"},
        {def_ombrel_charset_iso_8859_1, "\xC3\xA9"},
        {def_ombrel_charset_windows_1252, "\xE2\x82\xAC"},
        {def_ombrel_charset_utf_8, "\xF0\x9F\x98\x80"},
        {def_ombrel_charset_utf_16le, "\xF0\x9F\x98\x80\xEA\xB0\x80"},
        {def_ombrel_charset_utf_16be, "\xEA\xB0\x80"},
        {def_ombrel_charset_utf_32le, "\xEA\xB0\x80"},
        {def_ombrel_charset_utf_32be, "\xF0\x9F\x98\x80"},
        {def_ombrel_charset_euc_kr, "\xEA\xB0\x80"},
        {def_ombrel_charset_cp949, "\xEA\xB0\x80"},
        {def_ombrel_charset_shift_jis, "\xE3\x81\x82"},
        {def_ombrel_charset_cp932, "\xE3\x81\x82"},
        {def_ombrel_charset_euc_jp, "\xE3\x81\x82"},
    };
    for (const auto& [charset, text] : texts) {
        const std::string called = ombrel_get_charset_name(charset);
        const std::string whole = declared + called + ascii + text + rest;
        size_t size = 0;
        char* const bytes = ombrel_alloc_converted_text(def_ombrel_charset_utf_8, charset, whole.data(),
                                                        whole.size(), nullptr, &size, nullptr);
        ASSERT_NE(nullptr, bytes) << called;
        const std::string document(bytes, size);
        const size_t unit =
            charset == def_ombrel_charset_utf_16le || charset == def_ombrel_charset_utf_16be   ? 2
            : charset == def_ombrel_charset_utf_32le || charset == def_ombrel_charset_utf_32be ? 4
                                                                                               : 1;
        for (const size_t piece : {document.size(), size_t{1}, size_t{3}}) {
            const outcome read = parse(document, default_options(), piece);
            EXPECT_EQ(def_ombrel_xml_fault_mismatch, read.fault.m_reason) << called << place(read.fault);
            EXPECT_NE(std::string::npos, read.trace.events.find("|" + text + "|")) << called;
            EXPECT_EQ(static_cast<int64_t>(document.size() - 4 * unit), read.fault.m_offset) << called;
            EXPECT_EQ(2, read.fault.m_line);
        }
        ombrel_xml_options_t told = default_options();
        told.m_encoding = called.c_str();
        EXPECT_EQ(def_ombrel_xml_fault_mismatch, parse(document, told).fault.m_reason) << called;
        ombrel_free(bytes);
    }
}

/// A mark at the beginning is none of the document's characters where it goes with the encoding that was
/// told; of the two orders of bytes it tells which.
TEST(Xml, TakesTheMarkOfTheEncodingThatWasTold) {
    const struct {
        const char *told, *used; // null where the mark counts as text before the root element
        int charset;
        std::string mark;
    } cases[] = {
        {"UTF-8", "UTF-8", def_ombrel_charset_utf_8, ""},
        {"UTF-8", "UTF-8", def_ombrel_charset_utf_8, "\xEF\xBB\xBF"},
        {"UTF-16", "UTF-16BE", def_ombrel_charset_utf_16be, ""},
        {"UTF-16", "UTF-16BE", def_ombrel_charset_utf_16be, "\xFE\xFF"},
        {"UTF-16", "UTF-16LE", def_ombrel_charset_utf_16le, "\xFF\xFE"},
        {"UTF-16BE", "UTF-16BE", def_ombrel_charset_utf_16be, "\xFE\xFF"},
        {"UTF-16LE", "UTF-16LE", def_ombrel_charset_utf_16le, "\xFF\xFE"},
        {"UTF-32", "UTF-32BE", def_ombrel_charset_utf_32be, ""},
        {"UTF-32", "UTF-32BE", def_ombrel_charset_utf_32be, std::string("\0\0\xFE\xFF", 4)},
        {"UTF-32", "UTF-32LE", def_ombrel_charset_utf_32le, std::string("\xFF\xFE\0\0", 4)},
        {"UTF-32LE", "UTF-32LE", def_ombrel_charset_utf_32le, std::string("\xFF\xFE\0\0", 4)},
        {"ISO-8859-1", nullptr, def_ombrel_charset_iso_8859_1, "\xEF\xBB\xBF"},
        {"UTF-8", nullptr, def_ombrel_charset_utf_8, "\xFE\xFF"},
        {"UTF-16LE", nullptr, def_ombrel_charset_utf_16le, "\xFE\xFF"},
    };
    const std::string text = "<a>\xC3\xA9</a>";
    for (const auto& one : cases)
        for (const size_t piece : {size_t{100}, size_t{1}}) {
            SCOPED_TRACE(std::string(one.told) + " with a mark of " + std::to_string(one.mark.size()));
            size_t size = 0;
            char* const bytes = ombrel_alloc_converted_text(
                def_ombrel_charset_utf_8, one.charset, text.data(), text.size(), nullptr, &size, nullptr);
            const std::string document = one.mark + std::string(bytes, size);
            ombrel_free(bytes);
            ombrel_xml_options_t options = default_options();
            options.m_encoding = one.told;
            ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, nullptr, nullptr);
            int result = 0;
            for (size_t at = 0; at < document.size() && result == 0; at += piece)
                result = ombrel_xml_parser_push(parser, document.data() + at,
                                                std::min(piece, document.size() - at));
            result = result == 0 ? ombrel_xml_parser_end(parser) : result;
            EXPECT_EQ(one.used != nullptr ? 0 : -1, result) << place(*ombrel_xml_parser_get_fault(parser));
            if (one.used != nullptr) {
                EXPECT_STREQ(one.used, ombrel_xml_parser_get_encoding(parser));
            }
            ombrel_close_xml_parser(parser);
        }
}

struct questions {
    ombrel_xml_parser_t* parser = nullptr;
    int64_t lines = 0, deepest = 0;
    int result_at_end = 0;
    std::vector<std::string> asked;

    static int take(const ombrel_xml_event_t* event, void* context) {
        auto& self = *static_cast<questions*>(context);
        ombrel_xml_position_t position;
        ombrel_xml_parser_get_position(self.parser, &position);
        self.lines = position.m_line;
        self.deepest = std::max(self.deepest, ombrel_xml_parser_get_depth(self.parser));
        EXPECT_EQ(-1, ombrel_xml_parser_push(self.parser, "", 0));
        EXPECT_EQ(-1, ombrel_xml_parser_end(self.parser));
        EXPECT_EQ(-1, ombrel_xml_parser_reset(self.parser));
        return event->m_kind == def_ombrel_xml_event_element_end ? self.result_at_end : 0;
    }
    static int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external, void* context) {
        const std::string called = text_of(external->m_system_id);
        static_cast<questions*>(context)->asked.push_back(text_of(external->m_base) + ":" + called);
        EXPECT_EQ(0, ombrel_xml_parser_set_base(parser, (called + "!").c_str()));
        EXPECT_EQ(called == "latin" ? 0 : -1,
                  ombrel_xml_parser_set_encoding(parser, called == "latin" ? "latin1" : "?"));
        const std::map<std::string, std::string> texts = {
            {"dtd", "<?xml encoding='UTF-8'?><!ENTITY b SYSTEM 'latin'><!ENTITY c SYSTEM 'gone'>"},
            {"latin", "\xE9\n<d>"}};
        if (texts.count(called) == 0)
            return def_ombrel_xml_skip;
        return ombrel_xml_parser_supply(parser, texts.at(called).data(), texts.at(called).size());
    }
};

// What is declared counts unless a protocol told the encoding.
TEST(Xml, ExternalEntitiesDeclareTheirOwnEncodings) {
    struct entity {
        const char *told, *text;
        int reason;

        static int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t*, void* context) {
            const auto& self = *static_cast<const entity*>(context);
            EXPECT_TRUE(self.told == nullptr || ombrel_xml_parser_set_encoding(parser, self.told) == 0);
            return ombrel_xml_parser_supply(parser, self.text, strlen(self.text));
        }
        static int take(const ombrel_xml_event_t*, void*) { return 0; }
    };
    const entity cases[] = {
        {nullptr, "<?xml encoding='latin1'?>\xE9", def_ombrel_xml_fault_none},
        {nullptr, "<?xml encoding='nonsense'?>e", def_ombrel_xml_fault_encoding},
        {nullptr, "\xEF\xBB\xBF<?xml encoding='latin1'?>e", def_ombrel_xml_fault_other_encoding},
        {"latin1", "<?xml encoding='nonsense'?>\xE9", def_ombrel_xml_fault_none},
        {"latin1", "<?xml encoding='UTF-16'?>\xE9", def_ombrel_xml_fault_none},
    };
    for (entity one : cases) {
        ombrel_xml_options_t options = default_options();
        options.m_loader = entity::load;
        options.m_loader_context = &one;
        ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, entity::take, nullptr);
        constexpr std::string_view text = "<!DOCTYPE a [<!ENTITY e SYSTEM 'e'>]><a>&e;</a>";
        const int result = ombrel_xml_parser_push(parser, text.data(), text.size());
        EXPECT_EQ(one.reason == def_ombrel_xml_fault_none ? 0 : -1, result) << one.text;
        EXPECT_EQ(one.reason, ombrel_xml_parser_get_fault(parser)->m_reason) << one.text;
        EXPECT_EQ(0, ombrel_close_xml_parser(parser));
    }
}

TEST(Xml, AsksAndIsAskedWhileItReads) {
    questions all;
    ombrel_xml_options_t options = default_options();
    options.m_base = "here";
    options.m_loader = questions::load;
    options.m_loader_context = &all;
    const std::string text = "<!DOCTYPE a SYSTEM 'dtd'>\n<a>&c;\n<b/>&b;</a>";
    all.parser = ombrel_open_xml_parser(&options, questions::take, &all);
    EXPECT_EQ(nullptr, ombrel_xml_parser_get_encoding(all.parser));
    EXPECT_EQ(-1, ombrel_xml_parser_push(all.parser, text.data(), text.size()));
    EXPECT_STREQ("UTF-8", ombrel_xml_parser_get_encoding(all.parser));
    EXPECT_EQ((std::vector<std::string>{"here:dtd", "dtd!:gone", "dtd!:latin"}), all.asked);
    const ombrel_xml_fault_t* const fault = ombrel_xml_parser_get_fault(all.parser);
    EXPECT_EQ("2:4@5 what begins in the entity \"b\" does not end in it", place(*fault));
    EXPECT_STREQ("latin", fault->m_system_id);
    EXPECT_STREQ("latin!", fault->m_base);
    EXPECT_EQ(2, all.deepest);
    EXPECT_EQ(-1, ombrel_xml_parser_supply(all.parser, "x", 1));
    EXPECT_EQ(-1, ombrel_xml_parser_set_base(all.parser, "x"));
    EXPECT_EQ(-1, ombrel_xml_parser_set_encoding(all.parser, "UTF-8"));

    all.result_at_end = 42;
    EXPECT_EQ(0, ombrel_xml_parser_reset(all.parser));
    EXPECT_EQ(42, ombrel_xml_parser_push(all.parser, "<a>\n<b/></a>", 12));
    EXPECT_EQ(2, all.lines);
    EXPECT_EQ(def_ombrel_xml_fault_broken_off, fault->m_reason);
    EXPECT_EQ(-1, ombrel_xml_parser_push(all.parser, "x", 1));
    EXPECT_EQ(0, ombrel_close_xml_parser(all.parser));
}

TEST(Xml, RefusesCallsThatMakeNoSense) {
    ombrel_xml_options_t options;
    for (size_t ombrel_xml_options_t::*const limit :
         {&ombrel_xml_options_t::m_depth_limit, &ombrel_xml_options_t::m_attribute_limit,
          &ombrel_xml_options_t::m_name_limit, &ombrel_xml_options_t::m_name_count_limit,
          &ombrel_xml_options_t::m_value_limit, &ombrel_xml_options_t::m_token_limit,
          &ombrel_xml_options_t::m_doctype_limit, &ombrel_xml_options_t::m_external_limit,
          &ombrel_xml_options_t::m_entity_depth_limit}) {
        options = default_options();
        options.*limit = 0;
        EXPECT_EQ(nullptr, ombrel_open_xml_parser(&options, nullptr, nullptr));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    options = default_options();
    options.m_flags = 0x80000000;
    EXPECT_EQ(nullptr, ombrel_open_xml_parser(&options, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    options = default_options();
    EXPECT_EQ(-1, options.m_document_limit);
    EXPECT_EQ(10000u, options.m_depth_limit);
    EXPECT_EQ(10000u, options.m_attribute_limit);
    EXPECT_EQ(10000u, options.m_name_limit);
    EXPECT_EQ(1000000u, options.m_name_count_limit);
    EXPECT_EQ(10485760u, options.m_value_limit);
    EXPECT_EQ(16777216u, options.m_token_limit);
    EXPECT_EQ(16777216u, options.m_doctype_limit);
    EXPECT_EQ(16777216u, options.m_external_limit);
    EXPECT_EQ(40u, options.m_entity_depth_limit);
    EXPECT_EQ(1000000u, options.m_nested_entity_limit);
    EXPECT_EQ(8388608u, options.m_expansion_limit);
    EXPECT_EQ(100u, options.m_amplification_limit);
    options.m_encoding = "klingon";
    EXPECT_EQ(nullptr, ombrel_open_xml_parser(&options, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    options = default_options();
    options.m_flags = def_ombrel_xml_refuse_doctype;
    EXPECT_EQ(def_ombrel_xml_fault_no_doctype, parse("<!DOCTYPE a><a/>", options).fault.m_reason);
    options.m_document_limit = 4;
    EXPECT_EQ(0, parse("<a/>", options).result);
    EXPECT_EQ("1:5@4 the document is too large", place(parse("<a/> ", options, 3).fault));
    options.m_document_limit = 0;
    EXPECT_EQ("1:1@0 the document is too large", place(parse("<a/>", options).fault));
    ombrel_xml_position_t position;
    EXPECT_EQ(-1, ombrel_init_xml_options(nullptr));
    EXPECT_EQ(0, ombrel_close_xml_parser(nullptr));
    EXPECT_EQ(-1, ombrel_xml_parser_reset(nullptr));
    EXPECT_EQ(-1, ombrel_xml_parser_push(nullptr, "", 0));
    EXPECT_EQ(-1, ombrel_xml_parser_end(nullptr));
    EXPECT_EQ(-1, ombrel_xml_parser_get_position(nullptr, &position));
    EXPECT_EQ(-1, ombrel_xml_parser_get_depth(nullptr));
    EXPECT_EQ(nullptr, ombrel_xml_parser_get_fault(nullptr));
    EXPECT_STREQ("unknown", ombrel_xml_fault_text(1000));
    EXPECT_STREQ("an attribute is there twice", ombrel_xml_fault_text(def_ombrel_xml_fault_two_attributes));
    const std::tuple<const char*, int, int> names[] = {
        {"a:b", 1, 1}, {"a:b:c", 1, 0},           {":a", 1, 0},  {"a:1", 1, 0},      {"1a", 0, 0},
        {"", 0, 0},    {"\xEA\xB0\x80-.7", 1, 1}, {"a b", 0, 0}, {"\xC3\x97", 0, 0}, {"\xC3", 0, 0}};
    for (const auto& [text, is_name, is_qualified] : names) {
        EXPECT_EQ(is_name, ombrel_is_xml_name(text, strlen(text), 0)) << text;
        EXPECT_EQ(is_qualified, ombrel_is_xml_name(text, strlen(text), 1)) << text;
    }
}

TEST(Xml, ReadsTheVersionDocument) {
    ombrel_buffer_t* buffer = ombrel_open_buffer_ex(0);
    ASSERT_EQ(0, ombrel_push_version_xml(buffer, "program"));
    std::string text(ombrel_get_buffer_size(buffer), '\0');
    EXPECT_EQ(text.size(), ombrel_pop_buffer_ex(buffer, text.data(), text.size(), 1));
    const outcome read = parse(text);
    EXPECT_EQ(0, read.result) << place(read.fault) << text;
    EXPECT_NE(std::string::npos, read.trace.events.find("program"));
    ombrel_close_buffer(buffer);
}

#if !defined(_WIN32)
std::string with_uri(const ombrel_xml_name_t& name) {
    return (name.m_uri.m_size > 0 ? text_of(name.m_uri) + "\f" : "") + text_of(name.m_local);
}

int tell_peer(const ombrel_xml_event_t* event, void* context) {
    auto& all = *static_cast<std::string*>(context);
    std::map<std::string, std::string> attributes;
    switch (event->m_kind) {
    case def_ombrel_xml_event_element:
        all += "\x01" + with_uri(event->m_name);
        for (size_t i = 0; i < event->m_attribute_count; i++)
            if ((event->m_attributes[i].m_flags & def_ombrel_xml_attribute_namespace) == 0)
                attributes[with_uri(event->m_attributes[i].m_name)] = text_of(event->m_attributes[i].m_value);
        for (const auto& [called, value] : attributes)
            all += "\x02" + called + "\x03" + value;
        all += "\x04";
        break;
    case def_ombrel_xml_event_element_end:
        all += "\x05" + with_uri(event->m_name) + "\x04";
        break;
    case def_ombrel_xml_event_text:
        all += text_of(event->m_text);
        break;
    case def_ombrel_xml_event_comment:
        all += "\x06" + text_of(event->m_text) + "\x04";
        break;
    case def_ombrel_xml_event_instruction:
        all += "\x07" + text_of(event->m_name.m_full) + " " + text_of(event->m_text) + "\x04";
        break;
    default:
        break;
    }
    return 0;
}

void put_sized(std::string& to, const std::string& text) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        to += static_cast<char>(text.size() >> shift);
    to += text;
}

// Python's expat compares: tests/document/expat_peer.py says where it differs on purpose.
TEST(Xml, ReadsDamagedDocumentsAsExpatDoes) {
    if (system("python3 -c 'import pyexpat'") != 0)
        GTEST_SKIP() << "there is no python3";
    const std::string originals[] = {
        "<?xml version='1.0'?>\n<a b='1' c=\"&#65;&lt;\" xmlns:p='u'><p:d p:e='x'/>t&amp;<!-- c -->x\r\n<?i "
        "j k?></a>\n",
        "<!DOCTYPE a [<!ENTITY e 'x<b>y</b>'><!ENTITY f '&e;&#38;#60;'><!ATTLIST a b NMTOKENS ' 1  2 '>"
        "<!ELEMENT a (b|(c,d)*)+>]><a c='&#9;\n'>&e;&f;<![CDATA[<]]]]></a>",
        "<a xmlns='u' xmlns:x='v'><b xmlns='' x:c='1'/><x:b xmlns:x='w' x:c='2' c='3'/></a>",
    };
    const std::string signs = "<>&;'\"=/!?[]-#% \n\tabx:1e()|,*";
    std::mt19937 random(20261122);
    std::string told;
    for (int round = 0; round < 6000; round++) {
        std::string text = originals[random() % 3];
        for (unsigned damage = random() % 4; damage > 0; damage--) {
            const size_t at = random() % text.size(), from = random() % text.size();
            switch (random() % 4) {
            case 0:
                text[at] = signs[random() % signs.size()];
                break;
            case 1:
                text.insert(at, 1, signs[random() % signs.size()]);
                break;
            case 2:
                text.erase(at, 1 + random() % 3);
                break;
            default:
                text.insert(at, text.substr(from, random() % 12));
            }
        }
        std::string events;
        ombrel_xml_fault_t fault;
        const int result = ombrel_parse_xml(text.data(), text.size(), nullptr, tell_peer, &events, &fault);
        put_sized(told, text);
        put_sized(told, result == 0 ? events : "");
        put_sized(told, result == 0 ? "" : place(fault));
    }
    std::FILE* const python = popen("python3 " OMBREL_TEST_DOCUMENT "/expat_peer.py", "w");
    ASSERT_NE(nullptr, python);
    EXPECT_EQ(told.size(), std::fwrite(told.data(), 1, told.size(), python));
    EXPECT_EQ(0, pclose(python));
}
#endif

TEST(XmlScan, FindsByVectorsWhatItFindsPlainly) {
    using namespace ombrel::document;
    const uint32_t features = ombrel::platform::processor_features();
    const std::string signs = "<&]\r\n\t\x01\xEF\"' x\x7F\xEE";
    std::mt19937 random(7);
    for (int round = 0; round < 4000; round++) {
        std::string text(random() % 200, 'a');
        for (size_t i = random() % 6; i > 0 && !text.empty(); i--)
            text[random() % text.size()] = signs[random() % signs.size()];
        const std::vector<char> own(text.begin(), text.end()); // so that reading beyond it shows
        const char* const from = own.data();
        const auto runs = [&](const auto& each) { return (each.needs & ~features) == 0; };
        for (const auto& each : all_scans.text_run) {
            if (!runs(each))
                continue;
            EXPECT_EQ(text_run_plain(from, own.size()), each.run(from, own.size())) << each.name;
        }
        for (const auto& each : all_scans.value_run) {
            if (!runs(each))
                continue;
            EXPECT_EQ(value_run_plain(from, own.size(), '"'), each.run(from, own.size(), '"')) << each.name;
        }
        for (const auto& each : all_scans.line_count) {
            if (!runs(each))
                continue;
            EXPECT_EQ(line_count_plain(from, own.size()), each.run(from, own.size())) << each.name;
        }
    }
}

} // namespace
