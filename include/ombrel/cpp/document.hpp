/**
 * @file document.hpp
 * @brief INI documents and XML as objects: trees, a parser that a callable listens to, a writer.
 *
 * Returned texts are valid for as long as the C functions say, mostly until the document is changed or
 * closed.
 */
#ifndef OMBREL_CPP_DOCUMENT_HPP
#define OMBREL_CPP_DOCUMENT_HPP

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include <ombrel/ini.h>
#include <ombrel/xml.h>
#include <ombrel/xml_path.h>
#include <ombrel/xml_tree.h>
#include <ombrel/xml_writer.h>

#include <ombrel/cpp/buffer.hpp>
#include <ombrel/cpp/callable.hpp>
#include <ombrel/cpp/owner.hpp>
#include <ombrel/cpp/text.hpp>

namespace ombrel {

/** A reference to an INI document, which it does not own. */
class ini_ref : public pointer_ref<ombrel_ini_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Reads a file. @param path the file @return 0 or -1 */
    int load_file(c_text path) const noexcept { return ombrel_ini_load_file(get(), path.get()); }
    /** @brief Reads a text. @param text the text @return 0 or -1 */
    int load(std::string_view text) const noexcept {
        return ombrel_ini_load(get(), text.data(), text.size());
    }
    /** @brief Stores the document; no crash leaves half of it. @param path the file @param mode permissions
     * of a new one @return 0 or -1 */
    int store_file(c_text path, std::uint32_t mode = 0666) const noexcept {
        return ombrel_ini_store_file(get(), path.get(), mode);
    }
    /** @brief The whole text. @param from the caller @return the text; nothing on failure */
    ombrel::text text(caller from = caller::current()) const noexcept {
        return ombrel::text(ombrel_alloc_ini_text_tag(get(), nullptr, from.function, from.line));
    }

    /** @brief A value. @param section its section, "" for the keys before the first @param key its key
     * @return it; nothing when it is not there */
    std::optional<std::string_view> value(c_text section, c_text key) const noexcept {
        const char* found = ombrel_ini_get(get(), section.get(), key.get());
        return found != nullptr ? std::optional<std::string_view>(found) : std::nullopt;
    }
    /** @brief A whole number. @param section as value() @param key as value() @param least the least that is
     * taken
     * @param most the greatest @return it; nothing with the reason in last_fault() */
    std::optional<std::int64_t> integer(c_text section, c_text key, std::int64_t least = INT64_MIN,
                                        std::int64_t most = INT64_MAX) const noexcept {
        std::int64_t found = 0;
        return given(ombrel_ini_get_integer(get(), section.get(), key.get(), least, most, &found), found);
    }
    /** @brief A yes or no. @param section as value() @param key as value() @return it; nothing as integer()
     */
    std::optional<bool> boolean(c_text section, c_text key) const noexcept {
        int found = 0;
        const int result = ombrel_ini_get_boolean(get(), section.get(), key.get(), &found);
        return given(result, found != 0);
    }
    /** @brief A number with a point. @param section as value() @param key as value() @return it; nothing as
     * integer() */
    std::optional<double> real(c_text section, c_text key) const noexcept {
        double found = 0;
        return given(ombrel_ini_get_double(get(), section.get(), key.get(), &found), found);
    }
    /** @brief Sets a value. @param section as value() @param key as value() @param value the value; null for
     * a bare key
     * @return 0 or -1 */
    int set(c_text section, c_text key, c_text value) const noexcept {
        return ombrel_ini_set(get(), section.get(), key.get(), value.get());
    }
    /** @brief Sets a whole number. @param section as value() @param key as value() @param value the value
     * @return 0 or -1 */
    int set_integer(c_text section, c_text key, std::int64_t value) const noexcept {
        return ombrel_ini_set_integer(get(), section.get(), key.get(), value);
    }
    /** @brief Deletes a key. @param section as value() @param key as value() @return values deleted, or -1 */
    std::int64_t remove(c_text section, c_text key) const noexcept {
        return ombrel_ini_delete(get(), section.get(), key.get());
    }
    /** @brief Calls the callable for each entry, in order. @param section the one section; null for all
     * @param callable is called with a `const ombrel_ini_entry_t&` @return 0; -1 when there is no such
     * section or it was changed */
    template<class F>
    int for_each(c_text section, F&& callable) const {
        ombrel_ini_walk_t walk = {};
        if (ombrel_init_ini_walk(&walk, get(), section.get()) != 0)
            return -1;
        ombrel_ini_entry_t entry = {};
        int result = 0;
        while ((result = ombrel_ini_walk_next(&walk, &entry)) == 1)
            callable(static_cast<const ombrel_ini_entry_t&>(entry));
        return result;
    }

private:
    /// The value is read after the call that fills it: it is passed by reference.
    template<class T>
    static std::optional<T> given(int result, const T& value) noexcept {
        return result == 0 ? std::optional<T>(value) : std::nullopt;
    }
};

/** Owns an INI document. */
class ini : public owner<&ombrel_close_ini, ini_ref> {
public:
    using owner::owner;
    /** @brief An empty document. @param options the settings; null for the defaults @param from the caller
     * @return it; nothing on failure */
    static ini open(const ombrel_ini_options_t* options = nullptr, caller from = caller::current()) noexcept {
        return ini(ombrel_open_ini_tag(options, from.function, from.line));
    }
};

/** A node of an XML tree: it lives as long as the tree, or until it is removed. */
class xml_node : public pointer_ref<ombrel_xml_node_t> {
public:
    using pointer_ref::pointer_ref;

    /** @brief Its kind. @return `def_ombrel_xml_node_*` */
    int kind() const noexcept { return ombrel_xml_node_get_kind(get()); }
    /** @brief Its name. @return it, empty without one */
    std::string_view name() const noexcept { return detail::view_of(ombrel_xml_node_get_name(get())); }
    /** @brief The text of a text, a comment, an attribute. @return it, empty without one */
    std::string_view value() const noexcept {
        std::size_t size = 0;
        const char* found = ombrel_xml_node_get_text(get(), &size);
        return found != nullptr ? std::string_view(found, size) : std::string_view();
    }
    /** @brief All text within. @param from the caller @return it; nothing on failure */
    ombrel::text text(caller from = caller::current()) const noexcept {
        return ombrel::text(ombrel_xml_node_alloc_text_tag(get(), nullptr, from.function, from.line));
    }
    /** @brief The value of an attribute. @param name its name @return it; nothing without it */
    std::optional<std::string_view> attribute(c_text name) const noexcept {
        const char* found = ombrel_xml_node_get_attribute_text(get(), name.get(), nullptr);
        return found != nullptr ? std::optional<std::string_view>(found) : std::nullopt;
    }
    /** @brief The whole number of an attribute. @param name its name @return it; nothing without one */
    std::optional<std::int64_t> integer(c_text name) const noexcept {
        std::int64_t found = 0;
        if (ombrel_xml_node_get_integer(get(), name.get(), &found) != 1)
            return std::nullopt;
        return found;
    }
    /** @brief What contains it. @return it, or none */
    xml_node parent() const noexcept { return xml_node(ombrel_xml_node_get_parent(get())); }
    /** @brief Its first child. @return it, or none */
    xml_node first_child() const noexcept { return xml_node(ombrel_xml_node_get_first_child(get())); }
    /** @brief What follows it. @return it, or none */
    xml_node next() const noexcept { return xml_node(ombrel_xml_node_get_next(get())); }
    /** @brief Its first element of a name. @param name the name; null for any @return it, or none */
    xml_node child(c_text name) const noexcept {
        return xml_node(ombrel_xml_node_get_child(get(), name.get()));
    }
    /** @brief The next element of a name. @param name the name; null for any @return it, or none */
    xml_node sibling(c_text name) const noexcept {
        return xml_node(ombrel_xml_node_get_sibling(get(), name.get()));
    }
    /** @brief The first node on a path of xml_path.h. @param path the path @return the node, or none */
    xml_node find(c_text path) const noexcept { return xml_node(ombrel_xml_node_find(get(), path.get())); }
    /** @brief Adds an element. @param name its name @param value its text; may be null @return it; none on
     * failure */
    xml_node add_element(c_text name, c_text value = nullptr) const noexcept {
        return xml_node(ombrel_xml_node_add_element(get(), name.get(), value.get()));
    }
    /** @brief Sets an attribute. @param name its name @param value the value; as the C function has it
     * @return 0 or -1 */
    int set_attribute(c_text name, c_text value) const noexcept {
        return ombrel_xml_node_set_attribute(get(), name.get(), value.get());
    }
    /** @brief Removes it from its tree with all within. @return 0 or -1 */
    int remove() const noexcept { return ombrel_xml_node_remove(get()); }
};

/** Owns a whole XML document. */
class xml_tree : public owner<&ombrel_close_xml_tree> {
public:
    using owner::owner;
    /** @brief An empty document. @param options the settings; null for the defaults @param from the caller
     * @return it; nothing on failure */
    static xml_tree open(const ombrel_xml_tree_options_t* options = nullptr,
                         caller from = caller::current()) noexcept {
        return xml_tree(ombrel_open_xml_tree_tag(options, from.function, from.line));
    }
    /** @brief Reads a text. @param data the data @param fault receives where and why it was refused; may be
     * null
     * @param options the settings; null for the defaults @param from who reads @return the document; nothing
     * on failure */
    static xml_tree parse(std::string_view data, ombrel_xml_fault_t* fault = nullptr,
                          const ombrel_xml_tree_options_t* options = nullptr,
                          caller from = caller::current()) noexcept {
        return xml_tree(
            ombrel_parse_xml_tree_tag(data.data(), data.size(), options, fault, from.function, from.line));
    }
    /** @brief Reads a file. @param path the path @param fault as parse() @param options as parse() @param
     * from who reads
     * @return the document; nothing on failure */
    static xml_tree load(c_text path, ombrel_xml_fault_t* fault = nullptr,
                         const ombrel_xml_tree_options_t* options = nullptr,
                         caller from = caller::current()) noexcept {
        return xml_tree(ombrel_load_xml_tree_tag(path.get(), options, fault, from.function, from.line));
    }
    /** @brief The root element. @return it, or none */
    xml_node root() const noexcept { return xml_node(ombrel_xml_tree_get_root(get())); }
    /** @brief The top of the tree, which contains the root. @return it */
    xml_node document() const noexcept { return xml_node(ombrel_xml_tree_get_document(get())); }
    /** @brief Queues the document's text. @param to the buffer @param options the settings; null for the
     * defaults
     * @return 0 or -1 */
    int write(buffer_ref to, const ombrel_xml_writer_options_t* options = nullptr) const noexcept {
        return ombrel_xml_tree_write(get(), to.get(), options);
    }
    /** @brief Stores the document. @param path the file @param options the settings; null for the defaults
     * @return 0 or -1 */
    int store(c_text path, const ombrel_xml_writer_options_t* options = nullptr) const noexcept {
        return ombrel_xml_tree_store(get(), path.get(), options);
    }
};

/** Owns an XML parser and the callable that takes its events. */
class xml_parser {
public:
    /** Holds nothing. */
    xml_parser() noexcept = default;
    /**
     * @brief A parser.
     * @param callable called with a `const ombrel_xml_event_t&`; what it returns ends the parsing unless it
     * is 0 or nothing. It must not throw, nor end the parser
     * @param options  the settings; null for the defaults
     * @param from     who opens
     * @return it; nothing on failure
     */
    template<class F>
    static xml_parser open(F&& callable, const ombrel_xml_options_t* options = nullptr,
                           caller from = caller::current()) {
        auto* box = detail::make_box<detail::callable_box>(std::forward<F>(callable), from);
        if (box == nullptr)
            return {};
        xml_parser made;
        made.callable_.reset(box);
        made.parser_.reset(ombrel_open_xml_parser_tag(options, &call<std::remove_pointer_t<decltype(box)>>,
                                                      box, from.function, from.line));
        return made.parser_ ? std::move(made) : xml_parser();
    }
    /** @brief Parses a piece. @param data the data @return 0; else as ombrel_xml_parser_push() */
    int push(std::string_view data) const noexcept {
        return ombrel_xml_parser_push(parser_.get(), data.data(), data.size());
    }
    /** @brief The document is complete. @return as push() */
    int end() const noexcept { return ombrel_xml_parser_end(parser_.get()); }
    /** @brief The C parser, for the C functions. @return it, or null */
    ombrel_xml_parser_t* get() const noexcept { return parser_.get(); }
    /** Whether there is one. */
    explicit operator bool() const noexcept { return static_cast<bool>(parser_); }

private:
    template<class Box>
    static int call(const ombrel_xml_event_t* event, void* context) noexcept {
        return detail::answer_of(static_cast<Box*>(context)->callable, *event);
    }

    detail::callable_owner callable_; // outlives the parser
    owner<&ombrel_close_xml_parser> parser_;
};

/** Owns an XML writer. A fault stays: finish() tells of it at the latest. */
class xml_writer : public owner<&ombrel_close_xml_writer> {
public:
    using owner::owner;
    /** @brief A writer into a buffer. @param to the buffer, which outlives it @param options the settings;
     * null for the defaults @param from the caller @return it; nothing on failure */
    static xml_writer open(buffer_ref to, const ombrel_xml_writer_options_t* options = nullptr,
                           caller from = caller::current()) noexcept {
        return xml_writer(ombrel_open_xml_writer_tag(to.get(), options, from.function, from.line));
    }
    /** @brief Begins an element. @param name the name @return 0 or -1 */
    int begin(c_text name) const noexcept { return ombrel_xml_writer_begin(get(), name.get()); }
    /** @brief An attribute of the element that was begun. @param name the name @param value its value @return
     * 0 or -1 */
    int attribute(c_text name, c_text value) const noexcept {
        return ombrel_xml_writer_attribute(get(), name.get(), value.get());
    }
    /** @brief Text. @param value the value @return 0 or -1 */
    int write_text(std::string_view value) const noexcept {
        return ombrel_xml_writer_sized_text(get(), value.data(), value.size());
    }
    /** @brief A whole element with text. @param name the name @param value its text @return 0 or -1 */
    int element(c_text name, c_text value) const noexcept {
        return ombrel_xml_writer_element(get(), name.get(), value.get());
    }
    /** @brief Ends the open element. @return 0 or -1 */
    int end() const noexcept { return ombrel_xml_writer_end(get()); }
    /** @brief Ends the document. @return 0 or -1 */
    int finish() const noexcept { return ombrel_xml_writer_finish(get()); }
};

} // namespace ombrel

#endif
