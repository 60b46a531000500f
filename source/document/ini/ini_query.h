// Looking up keys.
#pragma once

#include "document/ini/ini_document.h"

namespace ombrel::document {

/// The key's group; null with the fault left: not_found, or why the names can be none.
ini_group* look_up_ini(const ini_t* ini, const char* section, const char* key);

/// The value that counts, likewise.
const ini_item* look_up_ini_value(const ini_t* ini, const char* section, const char* key);

/// The group's value at an index; null with not_found.
ini_item* find_ini_value_at(const ini_group* group, int64_t index);

} // namespace ombrel::document
