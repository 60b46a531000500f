// Changes of keys and sections.
#pragma once

#include "document/ini/ini_edit.h"

namespace ombrel::document {

/// What a key is to be set to.
struct ini_setting {
    const char* section;
    const char* key;
    const char* value;                  ///< null for a bare key
    const growing_text* list = nullptr; ///< in place of the value: a list that is written already
};

/// Whether a document can be changed, by names that can be some; leaves the fault.
bool may_change_ini(ini_t* ini, const char* key);

/// The group, or null with the fault left.
ini_group* require_ini_group(ini_t& ini, const char* section, const char* key);

/// Ends a change; gives 0, or -1 with the reason left.
int finish_ini_change(ini_t& ini, ini_edit& edit, int reason);

/// Makes a new head at the end ready, with the blank line before it, and its section, which is to be dropped
/// if it stays empty.
/// @param is_last whether nothing follows it
int prepare_ini_head(ini_t& ini, ini_edit& edit, const char* name, bool is_last, ini_section*& section);

/// Sets the value that counts, or adds the key.
int set_ini_key(ini_t& ini, const ini_setting& setting);
int change_ini_value(ini_t& ini, ini_item& item, const ini_setting& setting);

/// Makes the head before a key that goes ready: it gets the line end of it. Gives the reason when it fails.
int prepare_ini_head_alone(ini_t& ini, ini_edit& edit, const ini_item& item);

} // namespace ombrel::document
