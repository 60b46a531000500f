#include "document/xml/xml_fault.h"

#include <iterator>

#include <ombrel/xml.h>

namespace ombrel::document {

namespace {

// In the order of def_ombrel_xml_fault_*.
constexpr xml_fault_kind kinds[] = {
    {fault_code::none, "no fault"},
    {fault_code::violation, "markup of no known kind"},
    {fault_code::violation, "there is no element"},
    {fault_code::violation, "the document ends too early", "the document ends within <%.*s>"},
    {fault_code::violation, "something follows the root element"},
    {fault_code::violation, "text before the root element"},
    {fault_code::violation, "a character that XML does not allow"},
    {fault_code::violation, "bytes that are none in the encoding"},
    {fault_code::not_supported, "the encoding is not known", "the encoding \"%.*s\" is not known"},
    {fault_code::violation, "the declared encoding is not that of the bytes",
     "the bytes are not in the declared encoding \"%.*s\""},
    {fault_code::violation, "a malformed XML declaration, or one that is not at the beginning"},
    {fault_code::violation, "a name is missing"},
    {fault_code::violation, "a malformed tag"},
    {fault_code::violation, "the end tag does not match its element", "the end tag does not match <%.*s>"},
    {fault_code::violation, "an attribute is there twice", "the attribute \"%.*s\" is there twice"},
    {fault_code::violation, "a value without quotation marks, or with \"<\""},
    {fault_code::violation, "white space is missing"},
    {fault_code::violation, "\"--\" within a comment"},
    {fault_code::violation, "a processing instruction without a proper target"},
    {fault_code::violation, "\"]]>\" in text"},
    {fault_code::violation, "\"&\" that begins no reference"},
    {fault_code::violation, "a reference to a character that XML does not allow"},
    {fault_code::violation, "an entity is not declared", "the entity \"%.*s\" is not declared"},
    {fault_code::violation, "an entity is within itself", "the entity \"%.*s\" is within itself"},
    {fault_code::violation, "a reference to an unparsed entity",
     "the entity \"%.*s\" is not parsed and cannot be referred to"},
    {fault_code::violation, "an external entity in the value of an attribute",
     "the external entity \"%.*s\" in the value of an attribute"},
    {fault_code::violation, "what begins in an entity does not end in it",
     "what begins in the entity \"%.*s\" does not end in it"},
    {fault_code::violation, "a malformed document type, or one at a wrong place"},
    {fault_code::violation, "a malformed declaration"},
    {fault_code::violation, "a parameter entity within a declaration of the internal subset"},
    {fault_code::violation, "a malformed conditional section, or one at a wrong place"},
    {fault_code::violation, "a character that public identifiers do not have"},
    {fault_code::violation, "a document type, which is not taken here"},
    {fault_code::violation, "a colon at a wrong place", "a colon at a wrong place in \"%.*s\""},
    {fault_code::violation, "a prefix is not bound", "the prefix \"%.*s\" is not bound"},
    {fault_code::violation, "a reserved prefix or namespace is bound or used otherwise"},
    {fault_code::violation, "a prefix is bound to nothing", "the prefix \"%.*s\" is bound to nothing"},
    {fault_code::too_large, "too many elements within one another"},
    {fault_code::too_large, "too many attributes"},
    {fault_code::too_large, "the name is too long"},
    {fault_code::too_large, "too many different names"},
    {fault_code::too_large, "the value is too long"},
    {fault_code::too_large, "the tag, comment or declaration is too long"},
    {fault_code::too_large, "the document type is too large"},
    {fault_code::too_large, "the external entity is too large"},
    {fault_code::too_large, "too many entities within one another"},
    {fault_code::too_large, "the entities grow too large"},
    {fault_code::too_large, "the document is too large"},
    {fault_code::no_memory, "memory ran out"},
    {fault_code::other, "a handler ended it"},
};
static_assert(std::size(kinds) == def_ombrel_xml_fault_broken_off + 1);

constexpr xml_fault_kind unknown = {fault_code::other, "unknown"};

} // namespace

const xml_fault_kind& xml_fault_kind_of(int reason) {
    return reason >= 0 && static_cast<size_t>(reason) < std::size(kinds) ? kinds[reason] : unknown;
}

} // namespace ombrel::document
