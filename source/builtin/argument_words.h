// The words of a command's argument list.
#pragma once

#include "core/heap_ptr.h"

namespace ombrel::builtin {

/// Words separated by spaces; single or double quotes hold what they enclose together and are left out.
class argument_words {
public:
    enum class outcome { good, no_memory, open_quote };

    /// @param program the first word, which is not split and must outlive the list
    outcome split(const char* program, const char* text);

    /// The program and the words behind it, ended by a null pointer; as long as this record is.
    const char* const* get() const { return words_.get(); }

private:
    bool copy_words(const char* text);

    heap_ptr<const char*> words_;
    heap_ptr<char> text_;
};

} // namespace ombrel::builtin
