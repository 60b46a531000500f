// The digest that a file must have: given, or looked up in a list.
#pragma once

#include <string_view>

#include <ombrel/digest.h>
#include <ombrel/digest_list.h>

namespace ombrel::protocol {

struct wanted_digest {
    const ombrel_digest_algorithm_t* algorithm = nullptr; ///< null when none is wanted
    char text[def_ombrel_digest_text_size] = "";          ///< in lower case
};

/// Reads "ALGORITHM:DIGITS"; false, with nothing wanted, for what is no message digest.
bool parse_wanted_digest(const char* text, wanted_digest& wanted);

/// Looks for a name in a list that comes in pieces.
class digest_search {
public:
    /// @param name lives as long as the search
    explicit digest_search(std::string_view name) : name_(name) {
        list_ = ombrel_open_digest_list(take_entry, this);
    }
    ~digest_search() { ombrel_close_digest_list(list_); }
    digest_search(const digest_search&) = delete;
    digest_search& operator=(const digest_search&) = delete;

    /// False when memory had run out.
    bool is_ready() const { return list_ != nullptr; }
    void push(const void* data, size_t size) { ombrel_push_digest_list(list_, data, size); }
    /// Ends the list. Nothing is wanted when no line has the name with a digest that is known.
    const wanted_digest& end() {
        ombrel_push_digest_list(list_, nullptr, 0);
        return found_;
    }

private:
    static int take_entry(const ombrel_digest_entry_t* entry, void* self);

    std::string_view name_;
    wanted_digest found_;
    ombrel_digest_list_t* list_;
};

} // namespace ombrel::protocol
