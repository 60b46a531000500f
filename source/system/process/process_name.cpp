// The names by which processes are looked for.
#include <ombrel/process_list.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "system/tree/path_pattern.h"
#include "text/slice.h"

namespace ombrel::system {

namespace {

/// Programs that run others' texts, without the version behind their names.
constexpr std::string_view interpreters[] = {
    "sh",   "bash", "dash", "zsh",   "ksh",  "ash",     "busybox", "python", "pypy", "perl",  "ruby",
    "node", "php",  "lua",  "tclsh", "wish", "Rscript", "awk",     "gawk",   "mawk", "guile", "pwsh"};

/// A name with "/", as threads of the kernel have it, is one name all the same: in both texts another byte
/// stands for it.
class plain_text {
public:
    explicit plain_text(std::string_view text) : size_(text.size()) {
        if (is_whole())
            std::replace_copy(text.begin(), text.end(), text_, '/', '\1');
    }
    /// Names of this kind are short.
    bool is_whole() const { return size_ <= sizeof text_; }
    std::string_view get() const { return {text_, size_}; }

private:
    char text_[1024];
    size_t size_;
};

bool is_match(std::string_view pattern, std::string_view name) {
    if (name.empty())
        return false;
    if (name.find('/') == name.npos)
        return matches_pattern(pattern, name, false);
    const plain_text plain_pattern(pattern), plain_name(name);
    return plain_pattern.is_whole() && plain_name.is_whole() &&
           matches_pattern(plain_pattern.get(), plain_name.get(), false);
}

/// The name of the program as its first argument has it; a text that the program has written over it, with
/// spaces before a "/", has none. A "-" is how login shells are told.
std::string_view program_of(const ombrel_process_info_t& info) {
    if (info.m_argument_count == 0)
        return {};
    std::string_view text = info.m_arguments[0];
    const size_t slash = text.rfind('/');
    if (slash != text.npos && text.find(' ') < slash)
        return {};
    text.remove_prefix(slash + 1);
    text.remove_prefix(text.starts_with('-'));
    return text;
}

/// Where programs have such an ending, they are called without it.
std::string_view without_ending(std::string_view name) {
    constexpr std::string_view ending = ".exe";
    name.remove_suffix(name.size() > ending.size() && slice(name, name.size() - ending.size()) == ending
                           ? ending.size()
                           : 0);
    return name;
}

bool is_interpreter(std::string_view program) {
    while (!program.empty() && (program.back() == '.' || (program.back() >= '0' && program.back() <= '9')))
        program.remove_suffix(1);
    return std::find(std::begin(interpreters), std::end(interpreters), program) != std::end(interpreters);
}

/// What an interpreter runs: its first argument that is no option. A text in an option is no script.
std::string_view script_of(const ombrel_process_info_t& info) {
    if (info.m_argument_count < 2 || !is_interpreter(program_of(info)) || info.m_arguments[1][0] == '-')
        return {};
    std::string_view path = info.m_arguments[1];
    path.remove_prefix(path.rfind('/') + 1);
    return path;
}

} // namespace

} // namespace ombrel::system

using namespace ombrel::system;

int ombrel_check_process_name(const char* pattern, const ombrel_process_info_t* info) {
    if (pattern == nullptr || info == nullptr || !is_sound_pattern(pattern))
        return -1;
    const std::string_view names[] = {info->m_name, info->m_full_name, without_ending(info->m_name),
                                      program_of(*info), script_of(*info)};
    return std::any_of(std::begin(names), std::end(names),
                       [&](std::string_view name) { return is_match(pattern, name); })
               ? 0
               : -1;
}
