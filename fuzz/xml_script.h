// What a writer of XML is told to write, as a text: commands with "|" between them.
#pragma once

#include <string>

#include <ombrel/xml_writer.h>

namespace ombrel_test {

/// Cuts the text before a separator off; all of it when there is none.
inline std::string cut(std::string& text, const char* separator) {
    const size_t at = text.find(separator);
    std::string before = text.substr(0, at);
    text.erase(0, at == std::string::npos ? at : at + std::string(separator).size());
    return before;
}

/// "{uri}name" cut in two.
inline bool cut_uri(std::string& text, std::string& uri) {
    if (text.empty() || text[0] != '{')
        return false;
    uri = cut(text, "}").substr(1);
    return true;
}

/// The first letter of a command tells what it is; the rest are its arguments.
inline int run_xml_command(ombrel_xml_writer_t* writer, std::string command) {
    const char kind = command.empty() ? ' ' : command[0];
    command.erase(0, 1);
    std::string uri;
    switch (kind) {
    case '<':
        return cut_uri(command, uri) ? ombrel_xml_writer_begin_in(writer, uri.c_str(), command.c_str())
                                     : ombrel_xml_writer_begin(writer, command.c_str());
    case '@': {
        const bool is_in = cut_uri(command, uri);
        const std::string name = cut(command, "=");
        return is_in ? ombrel_xml_writer_attribute_in(writer, uri.c_str(), name.c_str(), command.c_str())
                     : ombrel_xml_writer_attribute(writer, name.c_str(), command.c_str());
    }
    case 'N': {
        const std::string prefix = cut(command, "=");
        return ombrel_xml_writer_namespace(writer, prefix.c_str(), command.c_str());
    }
    case '\'':
        return ombrel_xml_writer_sized_text(writer, command.data(), command.size());
    case '[':
        return ombrel_xml_writer_sized_cdata(writer, command.data(), command.size());
    case '#':
        return ombrel_xml_writer_comment(writer, command.c_str());
    case '?': {
        const std::string target = cut(command, " ");
        return ombrel_xml_writer_instruction(writer, target.c_str(), command.c_str());
    }
    case '!':
        return ombrel_xml_writer_doctype(writer, command.c_str());
    case 'D':
        return ombrel_xml_writer_declaration(writer, command == "1" ? 1 : command == "0" ? 0 : -1);
    case 'K':
        return ombrel_xml_writer_keep_space(writer);
    case '>':
        return ombrel_xml_writer_end(writer);
    default:
        return 0;
    }
}

/// All of them, and the end of the document.
inline int run_xml_script(ombrel_xml_writer_t* writer, std::string script) {
    while (!script.empty())
        run_xml_command(writer, cut(script, "|"));
    return ombrel_xml_writer_finish(writer);
}

} // namespace ombrel_test
