// Changes that are made ready, which may fail, and then made, which cannot.
#pragma once

#include "document/ini/ini_place.h"
#include "document/ini/ini_writing.h"

namespace ombrel::document {

/// New items and new texts for items that are there.
class ini_edit {
public:
    explicit ini_edit(ini_t& ini) : ini_(ini) {}
    ~ini_edit();
    ini_edit(const ini_edit&) = delete;
    ini_edit& operator=(const ini_edit&) = delete;

    /// Each gives the reason when it fails; nothing has changed then.
    int replace(ini_item& item, const ini_piece& piece);
    /// Behind an item of the document's own, null for its front, or behind what was inserted there before;
    /// that gets a line end if it has none.
    int insert(ini_item* behind, const ini_piece& piece, ini_section& section, ini_group* group);

    /// Makes the changes.
    void commit();

private:
    struct step {
        step* next;
        ini_item* target; ///< what is replaced, or behind what is inserted
        ini_item* made;
        bool is_replacing;
    };

    int add(ini_item* target, ini_item* made, bool is_replacing);
    int complete(ini_item& item);
    int check_limits(size_t lines, size_t more, size_t less) const;

    ini_t& ini_;
    step *first_ = nullptr, *last_ = nullptr;
    size_t lines_ = 0, more_ = 0, less_ = 0;
};

/// What an item says, for another text of it.
ini_piece piece_of(const ini_item& item, std::string_view text);

} // namespace ombrel::document
