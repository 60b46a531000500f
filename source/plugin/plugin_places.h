// Where plug-ins lie that are named without a directory.
#pragma once

namespace ombrel::plugin {

/// Opens the library of a plug-in. Tried are, each with the platform's suffix as well: the path as passed, by
/// the platform's own search where it has no directory; its base name in each directory of the list; and, of
/// a path without a directory, the usual places: the directories of OMBREL_PLUGIN_PATH, the installed
/// plug-ins beside this library, those of the build that this library lies in.
/// @param search_list directories as for ombrel_open_dl_ex(); may be null
/// @return null with a reason for ombrel_dl_error(): of a file that was found, what is wrong with it
void* open_plugin_library(const char* path, const char* search_list);

/// Whether a file of the name lies in a usual place for installed plug-ins: one in the build does not count.
bool is_in_usual_place(const char* name);

} // namespace ombrel::plugin
