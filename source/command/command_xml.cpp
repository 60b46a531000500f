#include <cstddef>
#include <cstdint>

#include <ombrel/charset.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/xml.h>
#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>
#include <ombrel/xml_writer.h>

#include "command/command_input.h"
#include "command/command_options.h"
#include "command/command_table.h"
#include "command/xml_entities.h"
#include "command/xml_notations.h"
#include "document/xml/xml_writing.h"

namespace ombrel::command {

namespace {

constexpr int most_prefixes = 64;

struct xml_choice {
    int checks_namespaces = 0;
    int reads_entities = 1;
    int shows_notations = 0;
    int indent = 2;
    const char* root = nullptr;
    ombrel_argument_list_t prefixes{};
};

constexpr ombrel_argument_option_t entities_option = {
    .m_letter = 'e',
    .m_name = "entities",
    .m_kind = def_ombrel_argument_flag,
    .m_flags = def_ombrel_argument_negatable,
    .m_offset = offsetof(xml_choice, reads_entities),
    .m_help = "read external entities in the document's directory and below it (default)"};

constexpr ombrel_argument_option_t root_option = {.m_letter = 'r',
                                                  .m_name = "root",
                                                  .m_kind = def_ombrel_argument_text,
                                                  .m_offset = offsetof(xml_choice, root),
                                                  .m_value = "DIRECTORY",
                                                  .m_help =
                                                      "read them in this directory and below it instead"};

constexpr ombrel_argument_option_t check_options[] = {
    {.m_letter = 'n',
     .m_name = "namespaces",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(xml_choice, checks_namespaces),
     .m_help = "check that they are namespace-well-formed, too"},
    entities_option,
    root_option,
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_option_t canonical_options[] = {
    {.m_letter = '2',
     .m_name = "notations",
     .m_kind = def_ombrel_argument_flag,
     .m_offset = offsetof(xml_choice, shows_notations),
     .m_help = "the second canonical form, which has the declared notations"},
    entities_option,
    root_option,
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_option_t format_options[] = {{.m_letter = 'i',
                                                        .m_name = "indent",
                                                        .m_kind = def_ombrel_argument_integer,
                                                        .m_offset = offsetof(xml_choice, indent),
                                                        .m_value = "COUNT",
                                                        .m_help = "spaces for each level (default 2)",
                                                        .m_least = 0,
                                                        .m_most = 64},
                                                       entities_option,
                                                       root_option,
                                                       help_option,
                                                       version_option,
                                                       {}};

constexpr ombrel_argument_option_t get_options[] = {
    {.m_letter = 'n',
     .m_name = "namespace",
     .m_kind = def_ombrel_argument_listed,
     .m_offset = offsetof(xml_choice, prefixes),
     .m_value = "PREFIX=URI",
     .m_help = "what a prefix of the path stands for; without any, names are compared as they are written"},
    entities_option,
    root_option,
    help_option,
    version_option,
    {}};

constexpr ombrel_argument_table_t check_table = {.m_name = "xml check",
                                                 .m_operands = "[FILE...]",
                                                 .m_summary = "Tells where documents are not well-formed.",
                                                 .m_notes = "Complaints are \"FILE:LINE:COLUMN: WHAT\".",
                                                 .m_options = check_options};

constexpr ombrel_argument_table_t canonical_table = {
    .m_name = "xml canonical",
    .m_operands = "[FILE]",
    .m_most_operands = 1,
    .m_summary = "Prints a document in the first canonical form of the W3C's conformance suite.",
    .m_options = canonical_options};

constexpr ombrel_argument_table_t format_table = {.m_name = "xml format",
                                                  .m_operands = "[FILE]",
                                                  .m_most_operands = 1,
                                                  .m_summary =
                                                      "Prints a document indented; text stays as it is.",
                                                  .m_options = format_options};

constexpr ombrel_argument_table_t get_table = {
    .m_name = "xml get",
    .m_operands = "PATH [FILE]",
    .m_least_operands = 1,
    .m_most_operands = 2,
    .m_summary = "Prints the texts of the elements and attributes that a path finds.",
    .m_notes = "A path: a/b, //b, @name, *, text(), ., .., b[2], b[last()], b[@id='7'], b[name='x'].\n"
               "The exit code is 1 when nothing is found, 2 for what is no path.",
    .m_options = get_options};

constexpr const ombrel_argument_table_t* commands[] = {&check_table, &canonical_table, &format_table,
                                                       &get_table, nullptr};

constexpr ombrel_argument_table_t table = {.m_name = "xml",
                                           .m_summary = "Checks, prints and searches documents of XML.",
                                           .m_options = usual_options,
                                           .m_commands = commands};

using choice_t = command_arguments<xml_choice>;

/// "FILE:LINE:COLUMN: WHAT"; without a place for what is none of the document's.
void tell(const char* name, const ombrel_xml_fault_t& fault) {
    if (fault.m_reason == def_ombrel_xml_fault_none || fault.m_reason == def_ombrel_xml_fault_broken_off)
        return complain("xml", name, ombrel_fault_text());
    ombrel_puts(nullptr);
    ombrel_error_printf("%s:%lld:%lld: %s\n", text_or(fault.m_base, name),
                        static_cast<long long>(fault.m_line), static_cast<long long>(fault.m_column),
                        fault.m_text[0] != '\0' ? fault.m_text : ombrel_xml_fault_text(fault.m_reason));
}

ombrel_xml_options_t options_of(const xml_choice& choice, xml_entities& entities, bool has_namespaces) {
    ombrel_xml_options_t options;
    ombrel_init_xml_options(&options);
    options.m_flags = has_namespaces ? def_ombrel_xml_namespaces : 0;
    if (choice.reads_entities != 0)
        entities.set(options);
    return options;
}

/// Parses a document in pieces; false after a complaint.
bool parse(const char* name, const ombrel_xml_options_t& options, ombrel_xml_handler_t handler,
           void* context) {
    ombrel_xml_parser_t* const parser = ombrel_open_xml_parser(&options, handler, context);
    if (parser == nullptr) {
        complain("xml", name, ombrel_fault_text());
        return false;
    }
    int result = 0;
    const bool is_read = read_input("xml", name, [&](const char* bytes, size_t size) {
        result = ombrel_xml_parser_push(parser, bytes, size);
        return result == 0;
    });
    if (is_read && result == 0)
        result = ombrel_xml_parser_end(parser);
    if (is_read && result != 0)
        tell(name, *ombrel_xml_parser_get_fault(parser));
    ombrel_close_xml_parser(parser);
    return is_read && result == 0;
}

bool check_file(const xml_choice& choice, const char* name) {
    xml_entities entities(name, choice.root);
    return parse(name, options_of(choice, entities, choice.checks_namespaces != 0), nullptr, nullptr);
}

int write_out(const void* data, size_t size, void* /* context */) {
    return put_bytes(data, size) ? 0 : -1;
}

std::string_view view(const ombrel_xml_text_t& text) {
    return {text.m_data, text.m_size};
}

ombrel_xml_writer_options_t canonical_form() {
    ombrel_xml_writer_options_t options;
    ombrel_init_xml_writer_options(&options);
    options.m_form = def_ombrel_xml_form_canonical;
    options.m_flags = def_ombrel_xml_writer_no_namespaces;
    options.m_handler = write_out;
    return options;
}

/// The parser's events, written as they come.
class canonical_copy {
public:
    explicit canonical_copy(bool shows_notations)
        : writing_(nullptr, canonical_form(), def_ombrel_charset_utf_8, {"xml", __LINE__}),
          shows_notations_(shows_notations) {}

    bool open() { return writing_.open(); }
    bool finish() { return writing_.finish() == 0; }
    /// Whether a part of the document was not read.
    bool has_gap() const { return has_gap_; }
    static int take(const ombrel_xml_event_t* event, void* context) {
        return static_cast<canonical_copy*>(context)->take(*event);
    }

private:
    int take(const ombrel_xml_event_t& event);
    int take_in_doctype(const ombrel_xml_event_t& event);
    int take_element(const ombrel_xml_event_t& event);
    int put_notations();

    document::xml_writing writing_;
    bool shows_notations_, is_in_doctype_ = false, has_gap_ = false;
    xml_notations notations_;
};

int canonical_copy::put_notations() {
    const int result = writing_.flush();
    return result == 0 && !notations_.put() ? -1 : result;
}

int canonical_copy::take_in_doctype(const ombrel_xml_event_t& event) {
    switch (event.m_kind) {
    case def_ombrel_xml_event_notation_declaration:
        return shows_notations_ && !notations_.add(event) ? -1 : 0;
    case def_ombrel_xml_event_instruction:
        return writing_.instruction(view(event.m_name.m_full), view(event.m_text));
    case def_ombrel_xml_event_doctype_end:
        is_in_doctype_ = false;
        return put_notations();
    default:
        return 0;
    }
}

int canonical_copy::take_element(const ombrel_xml_event_t& event) {
    int result = writing_.begin(view(event.m_name.m_full));
    for (size_t i = 0; i < event.m_attribute_count && result == 0; i++) {
        const ombrel_xml_attribute_t& one = event.m_attributes[i];
        result = writing_.attribute(view(one.m_name.m_full), view(one.m_value));
    }
    return result;
}

int canonical_copy::take(const ombrel_xml_event_t& event) {
    if (is_in_doctype_)
        return take_in_doctype(event);
    switch (event.m_kind) {
    case def_ombrel_xml_event_doctype:
        is_in_doctype_ = true;
        return notations_.begin(view(event.m_name.m_full)) ? 0 : -1;
    case def_ombrel_xml_event_element:
        return take_element(event);
    case def_ombrel_xml_event_element_end:
        return writing_.end();
    case def_ombrel_xml_event_text:
        return writing_.text(view(event.m_text));
    case def_ombrel_xml_event_instruction:
        return writing_.instruction(view(event.m_name.m_full), view(event.m_text));
    case def_ombrel_xml_event_skipped:
        has_gap_ = true;
        return 0;
    default:
        return 0;
    }
}

constexpr char gap[] = "a reference to an entity that is not read";

int print_canonical(const xml_choice& choice, const char* name) {
    xml_entities entities(name, choice.root);
    canonical_copy copy(choice.shows_notations != 0);
    if (!copy.open()) {
        complain("xml", name, ombrel_fault_text());
        return exit_code(false);
    }
    bool is_good = parse(name, options_of(choice, entities, false), canonical_copy::take, &copy);
    if (is_good && copy.has_gap()) {
        complain("xml", name, gap);
        is_good = false;
    }
    return exit_code(is_good && copy.finish());
}

/// A document as a tree; null after a complaint.
ombrel_xml_tree_t* read_tree(const xml_choice& choice, const char* name, bool has_namespaces) {
    xml_entities entities(name, choice.root);
    const ombrel_xml_options_t parser = options_of(choice, entities, has_namespaces);
    ombrel_xml_tree_options_t options;
    ombrel_init_xml_tree_options(&options);
    options.m_parser = &parser;
    ombrel_xml_tree_t* const tree = ombrel_open_xml_tree(&options);
    int result = tree != nullptr ? 0 : -1;
    const bool is_read = read_input("xml", name, [&](const char* bytes, size_t size) {
        result = tree != nullptr ? ombrel_xml_tree_push(tree, bytes, size) : -1;
        return result == 0;
    });
    if (is_read && result == 0)
        result = ombrel_xml_tree_push(tree, nullptr, 0) == 0 ? ombrel_xml_tree_push_end(tree) : -1;
    if (is_read && result == 0)
        return tree;
    if (is_read)
        tell(name, tree != nullptr ? *ombrel_xml_tree_get_fault(tree) : ombrel_xml_fault_t{});
    ombrel_close_xml_tree(tree);
    return nullptr;
}

bool write_indented(const ombrel_xml_tree_t* tree, int indent, const char* name) {
    ombrel_xml_writer_options_t options;
    ombrel_init_xml_writer_options(&options);
    options.m_form = def_ombrel_xml_form_indented;
    options.m_indent = indent;
    options.m_handler = write_out;
    if (ombrel_xml_tree_write(tree, nullptr, &options) == 0)
        return true;
    complain("xml", name, ombrel_fault_text());
    return false;
}

int print_indented(const xml_choice& choice, const char* name) {
    ombrel_xml_tree_t* const tree = read_tree(choice, name, false);
    bool is_good = tree != nullptr;
    if (is_good && ombrel_xml_tree_get_skipped(tree) > 0) {
        complain("xml", name, gap);
        is_good = false;
    }
    is_good = is_good && write_indented(tree, choice.indent, name);
    ombrel_close_xml_tree(tree);
    return exit_code(is_good);
}

/// Prints what is found, a line each; 1 when something was, 0, -1 after a complaint.
int print_found(const ombrel_xml_path_t* path, const ombrel_xml_tree_t* tree, const char* name) {
    ombrel_xml_walk_t* const walk = ombrel_open_xml_walk(path, ombrel_xml_tree_get_document(tree));
    ombrel_xml_node_t* node = nullptr;
    int step = walk != nullptr ? 1 : -1, found = 0;
    while (step == 1 && (step = ombrel_xml_walk_next(walk, &node)) == 1) {
        found = 1;
        size_t size = 0;
        const heap_ptr<char> text(ombrel_xml_node_alloc_text(node, &size));
        if (!text)
            step = -1;
        else if (!put_bytes(text.get(), size) || !put_bytes("\n", 1))
            step = 0; // which shows at the end
    }
    if (step < 0)
        complain("xml", name, ombrel_fault_text());
    ombrel_close_xml_walk(walk);
    return step < 0 ? -1 : found;
}

/// The list of the options, whose texts are cut in two; false where one has no "=".
bool read_prefixes(const ombrel_argument_list_t& list, ombrel_xml_prefix_t (&prefixes)[most_prefixes + 1]) {
    for (size_t i = 0; i < list.m_count; i++) {
        char* const text = const_cast<char*>(list.m_entries[i].m_value); // an argument of the program's
        char* const end = strchr(text, '=');
        if (end == nullptr)
            return false;
        *end = '\0';
        prefixes[i] = {text, end + 1};
    }
    prefixes[list.m_count] = {nullptr, nullptr};
    return true;
}

int print_path(const choice_t& arguments) {
    ombrel_xml_prefix_t prefixes[most_prefixes + 1];
    const ombrel_argument_list_t& list = arguments->prefixes;
    if (!read_prefixes(list, prefixes))
        return ombrel_refuse_arguments(&get_table, "a namespace is PREFIX=URI");
    ombrel_xml_path_fault_t fault;
    ombrel_xml_path_t* const path =
        ombrel_open_xml_path(arguments.operand(0), list.m_count > 0 ? prefixes : nullptr, &fault);
    if (path == nullptr && fault.m_reason != def_ombrel_xml_path_fault_none)
        return ombrel_refuse_arguments(&get_table, "%s: offset %lld: %s", arguments.operand(0),
                                       static_cast<long long>(fault.m_offset),
                                       ombrel_xml_path_fault_text(fault.m_reason));
    const char* const name = arguments.operand_count() > 1 ? arguments.operand(1) : "-";
    ombrel_xml_tree_t* const tree = path != nullptr ? read_tree(*arguments, name, list.m_count > 0) : nullptr;
    const int found = tree != nullptr ? print_found(path, tree, name) : -1;
    ombrel_close_xml_tree(tree);
    ombrel_close_xml_path(path);
    return exit_code(found == 1);
}

int run_xml(int argc, char** argv) {
    ombrel_argument_entry_t entries[most_prefixes];
    const choice_t arguments(table, argc, argv, {.prefixes = {entries, most_prefixes, 0}});
    if (!arguments)
        return arguments.exit_code();
    const char* const name = arguments.operand_count() > 0 ? arguments.operand(0) : "-";
    if (arguments.table() == &check_table)
        return for_each_input(arguments, [&](const char* each) { return check_file(*arguments, each); });
    if (arguments.table() == &canonical_table)
        return print_canonical(*arguments, name);
    return arguments.table() == &format_table ? print_indented(*arguments, name) : print_path(arguments);
}

} // namespace

constexpr own_command xml_command = command_of(table, run_xml);

} // namespace ombrel::command
