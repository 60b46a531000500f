// The files that documents of XML refer to.
#pragma once

#include <ombrel/xml.h>

#include "core/heap_ptr.h"
#include "system/tree/confined_tree.h"

namespace ombrel::command {

/// Reads the external entities of a document for its parser: files in the document's directory and below it,
/// and nothing else. What leads out of there, by its name or by a link, is skipped, as is what has another
/// scheme, cannot be found or belongs to a document from standard input.
class xml_entities {
public:
    /// @param document its path, which stays; "-" for standard input, of which nothing is read without a root
    /// @param root the directory that is read from instead of the document's; null for that
    xml_entities(const char* document, const char* root);
    ~xml_entities();
    xml_entities(const xml_entities&) = delete;
    xml_entities& operator=(const xml_entities&) = delete;

    /// Has a parser read by this, whose faults have the entity's path as their base.
    void set(ombrel_xml_options_t& options);

private:
    static int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t* external, void* context);
    int load(ombrel_xml_parser_t* parser, const ombrel_xml_external_t& external) const;
    heap_ptr<char> find(const ombrel_xml_external_t& external) const;
    int open_inside(const char* path) const;

    const char* document_;
    heap_ptr<char> directory_;        ///< without links; null when nothing is read
    system::confined_tree tree_ = {}; ///< the same, held open, unless it is null
};

} // namespace ombrel::command
