#include "system/stream/open_mode.h"

#include "system/file/file_internal.h"

namespace ombrel::system {

namespace {

bool start_mode(char kind, platform::file_access& access) {
    access = {};
    access.read = kind == 'r';
    access.write = access.create = kind == 'w' || kind == 'a';
    access.truncate = kind == 'w';
    access.append = kind == 'a';
    return access.read || access.write;
}

bool extend_mode(char sign, platform::file_access& access) {
    switch (sign) {
    case '+':
        access.read = access.write = true;
        return true;
    case 'x':
        access.exclusive = true;
        return true;
    // Bytes are never translated, and child processes inherit nothing, whatever is asked for.
    case 'b':
    case 't':
    case 'e':
        return true;
    default:
        return false;
    }
}

} // namespace

bool parse_open_mode(const char* text, platform::file_access& access) {
    bool is_known = start_mode(*text, access);
    while (is_known && *++text != '\0')
        is_known = extend_mode(*text, access);
    return is_known;
}

bool adapt_descriptor(int descriptor, const platform::file_access& mode) {
    platform::file_access given;
    if (!platform::get_file_access(descriptor, given))
        return false;
    if ((mode.read && !given.read) || (mode.write && !given.write))
        return refuse(fault_code::bad_descriptor);
    return !mode.append || given.append || platform::set_file_append(descriptor);
}

} // namespace ombrel::system
