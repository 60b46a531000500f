// Where what is added stands, and how it looks.
#pragma once

#include "document/ini/ini_document.h"

namespace ombrel::document {

/// The item of the document's own behind which a section's new key stands; null for the front.
ini_item* find_ini_key_place(const ini_t& ini, const ini_section& section);

/// The last item of the document's own; null without.
ini_item* find_ini_end(const ini_t& ini);

/// What a new key has before its value, in the manner of those near its place.
bool put_ini_key_start(const ini_t& ini, const ini_item* place, std::string_view key, growing_text& to);

/// The line end of what is added behind an item.
std::string_view ini_line_end_behind(const ini_t& ini, const ini_item* place);

/// What an item that stands at a place needs at its end before anything can stand behind it.
bool put_missing_line_end(const ini_t& ini, const ini_item& place, const ini_item& item, growing_text& to);

/// Whether a blank line stands before a new head at the end.
bool wants_blank_line(const ini_t& ini, const ini_item& end);

/// The next or previous item of the document's own; null without.
ini_item* next_own(const ini_item& item);
ini_item* previous_own(const ini_item& item);

/// The last of the included lines that an item brings along, null for the front; or the item itself.
ini_item* skip_included(const ini_t& ini, ini_item* place);

/// Whether the item has no line end though more of its line follows, as a head with a key behind it.
inline bool is_part_of_line(const ini_item& item) {
    return item.kind == ini_kind::section && ini_line_end_of(item.view()).empty() &&
           next_own(item) != nullptr;
}

} // namespace ombrel::document
