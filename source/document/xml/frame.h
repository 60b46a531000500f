// What is being read: the document, and upon it the entities that references have led into.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::document {

struct entity;

/// How a step of reading ended.
enum class step : uint8_t {
    go_on,
    starving, ///< the rest of the token has not come yet
    over,     ///< the document was refused, or a handler ended it
};

/// A place in the bytes that lie outside, which is moved forward over the text that was made of them.
struct text_place {
    const char* at; ///< in the text
    int64_t line, column, offset;
    int charset;   ///< in which bytes are counted
    bool after_cr; ///< a LF would belong to the line end that has been counted

    void begin(const char* from, int encoding, int64_t skipped) {
        *this = {from, 1, 1, skipped, encoding, false};
    }
    void move(const char* to);
};

enum class frame_use : uint8_t {
    document,
    content,    ///< a general entity
    subset,     ///< what stands between declarations: a parameter entity, or the external subset
    declaration ///< a parameter entity within a declaration
};

struct text_frame {
    const char* token; ///< where the token under way begins
    const char* at;
    const char* end;
    entity* source; ///< null for the document and the external subset
    char* owned;    ///< the text, when it goes with the frame
    std::string_view base;
    const char* system_id;
    size_t depth; ///< open elements when it began
    frame_use use;
    bool is_own_text; ///< of the document or an external entity: with places, with line ends to normalise
    bool is_outside;  ///< of the internal subset: parameter entities may stand anywhere
    bool has_flaw;    ///< what follows its end is none of its encoding
    text_place place; ///< of own texts
};

} // namespace ombrel::document
