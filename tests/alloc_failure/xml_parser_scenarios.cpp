// Documents of all kinds, read while memory runs out.
#include <algorithm>
#include <string>

#include <ombrel/fault.h>
#include <ombrel/xml.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

int supply(ombrel_xml_parser_t* parser, const ombrel_xml_external_t*, void*) {
    const std::string text =
        "<?xml encoding='latin1'?><!ENTITY % p ' '><!ENTITY q '\xE9%p;'><!ELEMENT b ANY %p;>";
    EXPECT_TRUE(ombrel_xml_parser_set_base(parser, "there") == 0 ||
                ombrel_last_fault() == def_ombrel_fault_no_memory);
    return ombrel_xml_parser_supply(parser, text.data(), text.size());
}

int look(const ombrel_xml_event_t*, void*) {
    return 0;
}

/// Whole, then byte by byte.
void read(injection& fail, const std::string& text, size_t piece) {
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    options.m_base = "here";
    options.m_loader = supply;
    int result = -1;
    const auto read_all = [&] {
        ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, look, nullptr);
        for (size_t at = 0; parser != nullptr && at < text.size(); at += piece)
            if (ombrel_xml_parser_push(parser, text.data() + at, std::min(piece, text.size() - at)) != 0)
                break;
        result = ombrel_xml_parser_end(parser);
        const int reason = parser != nullptr ? ombrel_xml_parser_get_fault(parser)->m_reason
                                             : def_ombrel_xml_fault_no_memory;
        ombrel_close_xml_parser(parser);
        return reason;
    };
    const int reason = fail.during(read_all);
    EXPECT_EQ(fail.hit() ? def_ombrel_xml_fault_no_memory : def_ombrel_xml_fault_none, reason);
    EXPECT_EQ(fail.hit() ? -1 : 0, result);
}

OMBREL_FAILURES(XmlParser, documents) {
    const std::string text =
        "<?xml version='1.0'?><!DOCTYPE a PUBLIC 'p  q' 's' [<!ENTITY e '<b c=\"&#38;f;\"/>'><!ENTITY f 'g'>"
        "<!ATTLIST a h NMTOKENS ' i  j ' k (l|m) 'l'><!ELEMENT a (n|(o,p)*)>]>"
        "<a xmlns='u' xmlns:v='w' v:x='1' v:y='&lt;'>&e;<!-- \r\n --><?z \r?>" +
        std::string(300, 't') + "<v:b/></a>";
    for (const size_t piece : {text.size(), size_t{1}})
        read(fail, text, piece);
    read(fail, "<?xml version='1.0' encoding='latin1'?><a>\xE9</a>", 7);
}

} // namespace
} // namespace ombrel_test
