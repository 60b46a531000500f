// A document behind four bytes that choose: flags, small limits, and cuts. What stands behind the marks 01 02
// in it are external entities, of which each system identifier names one. However the document is cut, the
// events are the same, and so is the fault; what is not refused has as many ends as elements.

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <ombrel/xml.h>

#include "support/byte_source.h"
#include "support/require.h"
#include "support/xml_trace.h"

namespace {

struct choice {
    ombrel_xml_options_t options;
    std::vector<std::string> parts; ///< the document, then what is supplied
};

int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external, void* context) {
    const auto& chosen = *static_cast<const choice*>(context);
    const size_t which =
        chosen.parts.size() > 1 ? 1 + external->m_system_id.m_size % (chosen.parts.size() - 1) : 0;
    if (which == 0)
        return def_ombrel_xml_skip;
    const std::string& text = chosen.parts[which];
    return ombrel_xml_parser_supply(parser, text.data(), text.size()) == 0 ? 0 : 2;
}

choice choose(byte_source& source) {
    choice chosen;
    ombrel_init_xml_options(&chosen.options);
    const uint8_t flags = source.byte();
    chosen.options.m_flags = flags & def_ombrel_xml_namespaces;
    chosen.options.m_loader = (flags & 2) != 0 ? load : nullptr;
    static const char* const encodings[] = {nullptr,  nullptr,  nullptr,     "UTF-16",
                                            "latin1", "EUC-KR", "Shift_JIS", "utf-32"};
    chosen.options.m_encoding = encodings[(flags >> 2) & 7];
    chosen.options.m_expansion_limit = 20000;
    chosen.options.m_nested_entity_limit = 1000;
    if ((flags & 32) != 0) {
        chosen.options.m_depth_limit = 4;
        chosen.options.m_attribute_limit = 3;
        chosen.options.m_name_limit = 12;
        chosen.options.m_value_limit = 20;
        chosen.options.m_token_limit = 60;
        chosen.options.m_name_count_limit = 20;
        chosen.options.m_document_limit = 400;
    }
    return chosen;
}

std::string read_in(const choice& chosen, size_t piece, size_t seed) {
    xml_trace::recorder trace;
    ombrel_xml_options_t options = chosen.options;
    options.m_loader_context = const_cast<choice*>(&chosen);
    ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, xml_trace::recorder::take, &trace);
    require(parser != nullptr);
    const std::string& text = chosen.parts[0];
    int result = 0;
    for (size_t at = 0, size = 0; result == 0 && at < text.size(); at += size) {
        seed = seed * 1103515245 + 12345;
        size = std::min(seed == 0 ? piece : 1 + (seed >> 16) % piece, text.size() - at);
        const std::string bytes = text.substr(at, size); // so that reading beyond it shows
        result = ombrel_xml_parser_push(parser, bytes.data(), bytes.size());
    }
    if (result == 0)
        result = ombrel_xml_parser_end(parser);
    require(result != 0 || trace.starts == trace.ends);
    const ombrel_xml_fault_t fault = *ombrel_xml_parser_get_fault(parser);
    require((result == 0) == (fault.m_reason == def_ombrel_xml_fault_none));
    ombrel_close_xml_parser(parser);
    return trace.events + "\n" + std::to_string(fault.m_line) + ":" + std::to_string(fault.m_column) + "@" +
           std::to_string(fault.m_offset) + " " + fault.m_text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source source(data, size);
    choice chosen = choose(source);
    const size_t piece = 1 + source.byte(), seed = source.byte();
    (void)source.byte();
    std::string all = source.rest();
    for (size_t at; (at = all.find("\x01\x02")) != std::string::npos; all.erase(0, at + 2))
        chosen.parts.push_back(all.substr(0, at));
    chosen.parts.push_back(all);
    const std::string whole = read_in(chosen, chosen.parts[0].size() + 1, 0);
    require(whole == read_in(chosen, 1, 0));
    require(whole == read_in(chosen, piece, 0));
    require(whole == read_in(chosen, piece, seed + 1));
    return 0;
}
