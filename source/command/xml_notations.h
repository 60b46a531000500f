// The notations that a document declares, as the second canonical form has them.
#pragma once

#include <cstdint>
#include <string_view>

#include <ombrel/xml.h>

#include "document/xml/growing_array.h"

namespace ombrel::command {

class xml_notations {
public:
    xml_notations() : text_({"xml", __LINE__}), lines_({"xml", __LINE__}) {}

    /// False when memory has run out, as for add().
    bool begin(std::string_view root);
    bool add(const ombrel_xml_event_t& declaration);
    /// Prints them in the order of their names, if there are any.
    bool put();

private:
    struct line {
        size_t at, size;
    };

    bool append(std::string_view text) { return text_.append(text.data(), text.size()); }
    bool append_literal(std::string_view before, const ombrel_xml_text_t& literal);

    document::growing_array<char> text_; ///< the first line, and one for each
    document::growing_array<line> lines_;
};

} // namespace ombrel::command
