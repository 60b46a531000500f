// A path that was read: steps with what they ask of nodes.
#pragma once

#include <cstdint>
#include <string_view>

#include <ombrel/xml_path.h>

#include "core/call_site.h"
#include "document/xml/xml_node.h"

namespace ombrel::document {

enum class axis : uint8_t { child, self, attribute, parent };

/// What a node must be.
struct node_test {
    enum kind : uint8_t { name, any_name, text, comment, anything };
    kind what;
    bool by_namespace;      ///< else the name is compared as it is written
    std::string_view full;  ///< as written; "p:" of "p:*"
    std::string_view local; ///< with by_namespace
    std::string_view uri;   ///< with by_namespace
};

struct condition {
    enum kind : uint8_t { position, from_end, has, equal, different };
    kind what;
    axis where;      ///< self, child, attribute or parent, of has, equal and different
    uint8_t counter; ///< of positions: which one
    node_test test;
    int64_t number; ///< 1 for the first; of from_end 0 for the last
    std::string_view text;
};

struct step {
    axis way;
    bool is_deep; ///< after "//"
    bool counts;  ///< has a condition of position
    uint8_t first_condition, condition_count;
    node_test test;
};

inline constexpr size_t most_steps = def_ombrel_xml_path_step_limit;

} // namespace ombrel::document

struct ombrel_xml_path_ts {
    ombrel::call_site giver;
    bool is_absolute;
    uint8_t step_count, condition_count, counter_count;
    ombrel::document::step steps[ombrel::document::most_steps];
    ombrel::document::condition conditions[ombrel::document::most_steps];
    char* texts; ///< behind this record: what the views of the steps are of
};

namespace ombrel::document {

using path = ombrel_xml_path_t;

bool fits(const node_test& test, const node& one, bool is_attribute);

} // namespace ombrel::document
