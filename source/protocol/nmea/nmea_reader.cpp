// Sentences out of bytes that come in pieces.
#include <algorithm>
#include <cstring>

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "protocol/nmea/nmea_sentence.h"

struct ombrel_nmea_reader_ts {
    ombrel_nmea_options_t options;
    ombrel_nmea_handler_t handler;
    void* context;
    ombrel_nmea_counts_t counts;
    size_t size;      ///< bytes of the sentence so far; 0 between sentences
    bool is_too_long; ///< the sentence was longer than there is room for, and was told
    char line[1];     ///< in fact as many as the limit
};

using namespace ombrel;
using namespace ombrel::protocol;

namespace {

using reader_t = ombrel_nmea_reader_t;

bool is_line_end(char c) {
    return c == '\n' || c == '\r';
}

/// Tells the sentence that is there, and forgets it.
int tell(reader_t& reader, int fault) {
    ombrel_nmea_sentence_t sentence;
    const size_t size = std::exchange(reader.size, 0);
    if (size == 0 || std::exchange(reader.is_too_long, false))
        return 0;
    read_nmea_sentence({reader.line, size}, reader.options, sentence);
    if (fault != def_ombrel_nmea_fault_none) {
        sentence.m_fault = fault;
        sentence.m_fault_at = size;
    }
    const bool is_good = sentence.m_fault == def_ombrel_nmea_fault_none;
    (is_good ? reader.counts.m_good : reader.counts.m_bad)++;
    reader.counts.m_faults[sentence.m_fault] += is_good ? 0 : 1;
    const bool is_told = is_good || (reader.options.m_flags & def_ombrel_nmea_bad_too) != 0;
    return is_told ? reader.handler(&sentence, reader.context) : 0;
}

/// Room for one character more than a sentence may have, so that the longer ones are seen to be.
size_t line_room(const ombrel_nmea_options_t& options) {
    constexpr size_t line_end = 2;
    return options.m_length_limit - line_end + 1;
}

/// A sentence that grows too long is told at once; the rest of its line is passed over.
int append(reader_t& reader, const char* bytes, size_t size) {
    const size_t room = line_room(reader.options);
    const size_t taken = reader.is_too_long ? 0 : std::min(size, room - reader.size);
    memcpy(reader.line + reader.size, bytes, taken);
    reader.size += taken;
    if (reader.is_too_long || reader.size < room)
        return 0;
    const int result = tell(reader, def_ombrel_nmea_fault_none);
    reader.is_too_long = true;
    reader.size = 1;
    return result;
}

/// One byte that means something: a line end or the beginning of a sentence.
int turn(reader_t& reader, char mark) {
    const int result =
        tell(reader, is_line_end(mark) ? def_ombrel_nmea_fault_none : def_ombrel_nmea_fault_unfinished);
    if (is_nmea_start(mark)) {
        reader.line[0] = mark;
        reader.size = 1;
    }
    return result;
}

bool is_mark(char c) {
    return is_line_end(c) || is_nmea_start(c);
}

int take(reader_t& reader, const char* at, const char* end) {
    int result = 0;
    while (at != end && result == 0) {
        const char* const mark = std::find_if(at, end, is_mark);
        const auto size = static_cast<size_t>(mark - at);
        if (reader.size == 0)
            reader.counts.m_passed_over += size;
        else
            result = append(reader, at, size);
        at = mark;
        if (at != end && result == 0)
            result = turn(reader, *at++);
    }
    return result;
}

} // namespace

ombrel_nmea_reader_t* ombrel_open_nmea_reader_tag(const ombrel_nmea_options_t* options,
                                                  ombrel_nmea_handler_t handler, void* context,
                                                  const char* function, unsigned long line) {
    ombrel_nmea_options_t chosen;
    ombrel_init_nmea_options(&chosen);
    chosen = options != nullptr ? *options : chosen;
    if (handler == nullptr || !check_nmea_options(chosen))
        return leave_fault(fault_code::invalid), nullptr;
    auto* const reader =
        static_cast<reader_t*>(ombrel_calloc_tag(1, sizeof(reader_t) + line_room(chosen), function, line));
    if (reader == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    reader->options = chosen;
    reader->handler = handler;
    reader->context = context;
    return reader;
}

int ombrel_nmea_reader_push(ombrel_nmea_reader_t* reader, const void* data, size_t size) {
    if (reader == nullptr)
        return leave_fault(fault_code::invalid), -1;
    if (data == nullptr)
        return tell(*reader, def_ombrel_nmea_fault_none);
    const auto* const bytes = static_cast<const char*>(data);
    return take(*reader, bytes, bytes + size);
}

int ombrel_nmea_reader_get_counts(const ombrel_nmea_reader_t* reader, ombrel_nmea_counts_t* counts) {
    if (reader == nullptr || counts == nullptr)
        return leave_fault(fault_code::invalid), -1;
    *counts = reader->counts;
    return 0;
}

int ombrel_close_nmea_reader(ombrel_nmea_reader_t* reader) {
    return ombrel_check_free_tag(reader, "ombrel_close_nmea_reader", __LINE__);
}
