// Writes what any bytes tell it to, in each form: what is not refused must be read by the parser.

#include <cstdint>
#include <string>

#include <ombrel/xml.h>
#include <ombrel/xml_writer.h>

#include "support/require.h"
#include "xml_script.h"

namespace {

int gather(const void* data, size_t size, void* context) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
    return 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    ombrel_xml_writer_options_t options;
    std::string written;
    ombrel_init_xml_writer_options(&options);
    options.m_form = data[0] % 3;
    options.m_flags = data[0] & 4 ? def_ombrel_xml_writer_no_namespaces : 0;
    options.m_charset = options.m_form == 2 ? nullptr
                        : data[0] & 8       ? "latin1"
                        : data[0] & 16      ? "utf-16"
                                            : nullptr;
    options.m_handler = gather;
    options.m_context = &written;
    ombrel_xml_writer_t* const writer = ombrel_open_xml_writer(nullptr, &options);
    require(writer != nullptr);
    const std::string script(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (ombrel_test::run_xml_script(writer, script) == 0) {
        ombrel_xml_options_t parser;
        ombrel_init_xml_options(&parser);
        parser.m_flags = options.m_flags != 0 ? 0 : def_ombrel_xml_namespaces;
        ombrel_xml_fault_t fault;
        // What a document type makes of the rest is its own.
        require(ombrel_parse_xml(written.data(), written.size(), &parser, nullptr, nullptr, &fault) == 0 ||
                script.find('!') != std::string::npos);
    }
    ombrel_close_xml_writer(writer);
    return 0;
}
