// The work of a converter: what a pump does, with marks of byte orders and with what is done about bytes and
// characters that cannot be converted.
#pragma once

#include <span>

#include <ombrel/charset.h>

#include "text/charset/charset_marks.h"
#include "text/charset/charset_pump.h"

namespace ombrel {

class charset_conversion {
public:
    charset_conversion(int from, int to) : from_(from), to_(to), pump_(nullptr, nullptr) { reset(); }

    /// Takes the settings, or leaves a fault for what makes no sense.
    bool take_options(const ombrel_charset_options_t& options);
    void reset();

    /// As the public functions of the same name; the output is there.
    int push(const uint8_t* data, size_t size, size_t& at, uint8_t* output, size_t room, size_t& made);
    int finish(uint8_t* output, size_t room, size_t& made);

    const ombrel_charset_fault_t& fault() const { return fault_; }
    const ombrel_charset_counts_t& counts() const { return counts_; }

private:
    struct space {
        uint8_t* out;
        size_t room;
        size_t& made;
    };

    bool take_replacement(const char* text);
    int run(const uint8_t* data, size_t size, size_t& at, space& to);
    int run_end(space& to);
    bool flush(space& to);
    void find_mark(const uint8_t* data, size_t size, size_t& at);
    bool may_become_mark(const uint8_t* bytes, size_t size);
    bool writes_mark_now();
    bool pass(charset_pump::outcome why, int64_t offset);
    bool pass_wrong(int reason, int64_t offset, const charset_pump::front_part& front);
    bool fail(int reason, int64_t offset, const charset_pump::front_part& front);
    int fail_again() const;
    void send(std::span<const uint8_t> bytes);
    void send_text(const char* text, size_t size);
    void send_code(uint32_t code);
    void send_escaped(int policy, const charset_pump::front_part& front);

    int from_, to_;
    uint32_t flags_ = 0;
    int malformed_ = def_ombrel_charset_fail, unencodable_ = def_ombrel_charset_fail;
    uint8_t replacement_[def_ombrel_charset_replacement_limit * def_ombrel_charset_character_limit] = {};
    size_t replacement_size_ = 0;

    charset_pump pump_;
    bool reads_mark_ = false;  ///< the input may still begin with a mark
    bool writes_mark_ = false; ///< a mark comes before the first character
    bool is_finished_ = false;
    uint8_t sent_[64] = {};            ///< room for what is made here: characters and escapes
    std::span<const uint8_t> waiting_; ///< what is to be written before all else
    ombrel_charset_fault_t fault_{};
    ombrel_charset_counts_t counts_{};
};

} // namespace ombrel
