// Reading a text in pieces into a document.
#pragma once

#include "document/ini/ini_document.h"

namespace ombrel::document {

/// What is read: a file, or a text from elsewhere, whose path is "".
struct ini_source {
    const char* path;
    size_t depth = 0;
    const ini_source* includer = nullptr;
};

class ini_reader {
public:
    ini_reader(ini_t& ini, const ini_source& source)
        : ini_(ini), source_(source), joiner_(ini.dialect), section_(&ini.global) {}

    /// False when the text is refused; the document has the reason then.
    bool push(std::string_view bytes);
    bool end();

private:
    bool refuse(int reason, size_t at);
    void drop_front(size_t size);
    bool take_line();
    bool take_mark();
    bool settle();
    bool take_item(size_t at, size_t size, int64_t line, bool is_joined);
    bool take_head(ini_piece& piece, size_t at);
    bool take_key(ini_piece& piece, size_t at);
    bool add(const ini_piece& piece, ini_section* section, ini_group* group, size_t at);
    bool include(std::string_view path, size_t at);
    bool includes_files(const ini_section& section, std::string_view key) const;
    bool is_being_read(const char* path) const;

    ini_t& ini_;
    ini_source source_;
    ini_joiner joiner_;
    ini_section* section_;
    growing_text held_; ///< a line, what goes on with it, blank lines and comments behind, part of a line
    size_t sure_ = 0, whole_ = 0;   ///< bytes held that are the first line's; that are whole lines
    int64_t line_ = 0, offset_ = 0; ///< lines and bytes before what is held
    bool has_begun_ = false;
    growing_text value_;
};

/// Reads the file of a source into the document. False, with the fault left, when that fails; why the text
/// was refused, if that is why, the document has.
bool read_ini_file(ini_t& ini, const ini_source& source);

} // namespace ombrel::document
