#include <ombrel/packet.h>

#include <new>

#include "container/packet/crc_span.h"
#include "container/packet/packet_head.h"
#include "container/packet/stream_window.h"
#include "core/fault.h"

namespace {

using namespace ombrel;

constexpr size_t head_size = def_ombrel_packet_head_size;

/// The registers of a stream at every 256th byte, so that a checksum of any part costs the same however long
/// the part is.
class crc_marks {
public:
    /// Begins anew at a place.
    void begin(int64_t origin) {
        origin_ = origin;
        count_ = 0;
    }
    bool has_begun() const { return origin_ >= 0; }
    /// Whether what comes from a place on can be asked for, and the marks have not become too many.
    bool reaches(int64_t place, size_t limit) const {
        const int64_t frontier = origin_ + static_cast<int64_t>(count_) * step;
        return has_begun() && frontier + step > place &&
               place - origin_ < static_cast<int64_t>(2 * limit + 65536);
    }
    /// The register at a place, from 0 at the origin. False when memory has run out.
    bool find(const stream_window& window, int64_t place, uint32_t& crc, call_site caller) {
        const auto wanted = static_cast<size_t>((place - origin_) / step);
        while (count_ < wanted) {
            if (!make_room(caller))
                return false;
            const int64_t from = origin_ + static_cast<int64_t>(count_) * step;
            marks_.get()[count_] = feed_crc(mark(count_), window.at(from), step);
            count_++;
        }
        const int64_t from = origin_ + static_cast<int64_t>(wanted) * step;
        crc = feed_crc(mark(wanted), window.at(from), static_cast<size_t>(place - from));
        return true;
    }

private:
    static constexpr int64_t step = 256;

    uint32_t mark(size_t index) const { return index == 0 ? 0 : marks_.get()[index - 1]; }
    bool make_room(call_site caller) {
        if (count_ < room_)
            return true;
        const size_t room = std::max<size_t>(64, 2 * room_);
        heap_ptr<uint32_t> larger(
            static_cast<uint32_t*>(ombrel_alloc_tag(room * sizeof(uint32_t), caller.tag, caller.line)));
        if (!larger)
            return false;
        if (count_ > 0)
            memcpy(larger.get(), marks_.get(), count_ * sizeof(uint32_t));
        marks_ = std::move(larger);
        room_ = room;
        return true;
    }

    int64_t origin_ = -1;
    heap_ptr<uint32_t> marks_;
    size_t count_ = 0, room_ = 0;
};

} // namespace

struct ombrel_packet_reader_ts {
    ombrel_packet_options_t options{};
    call_site caller{};
    stream_window window;
    crc_marks marks;
    int64_t checked = 0; ///< up to where payloads were summed up byte by byte
    size_t given = 0;    ///< bytes of the record that was given last and is still held
    int64_t skipped = 0; ///< since it
    bool is_lost = false, has_ended = false;
    ombrel_packet_statistics_t statistics{};
};

namespace {

using reader_t = ombrel_packet_reader_t;

enum class outcome { yes, no, more, failed };

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

void skip(reader_t& reader, size_t count) {
    reader.statistics.m_gaps += reader.skipped == 0 && count > 0 ? 1 : 0;
    reader.is_lost = true;
    reader.skipped += static_cast<int64_t>(count);
    reader.statistics.m_skipped += static_cast<int64_t>(count);
    reader.window.drop(count);
}

/// Sees that so many bytes are held.
outcome require(reader_t& reader, ombrel_buffer_t* buffer, size_t wanted) {
    constexpr size_t block = 4096; // while the way is lost
    const size_t held = reader.window.held();
    if (held >= wanted)
        return outcome::yes;
    const size_t missing = wanted - held;
    if (!reader.has_ended) {
        const int64_t before = reader.window.end();
        if (!reader.window.take(buffer, reader.is_lost ? std::max(missing, block) : missing, reader.caller))
            return outcome::failed;
        reader.statistics.m_taken += reader.window.end() - before;
    }
    return reader.window.held() >= wanted ? outcome::yes : outcome::more;
}

/// Passes over what begins no head: to the first byte of one.
void search(reader_t& reader) {
    const stream_window& window = reader.window;
    const void* const found = memchr(window.at(window.start()), packet_head::first, window.held());
    const size_t before =
        found != nullptr
            ? static_cast<size_t>(static_cast<const unsigned char*>(found) - window.at(window.start()))
            : window.held();
    if (before > 0)
        skip(reader, before);
    if (window.held() > 1 && window.at(window.start())[1] != packet_head::second)
        skip(reader, 1);
}

/// Whether a head stands at the front; what is none is passed over.
outcome find_head(reader_t& reader, ombrel_buffer_t* buffer, packet_head& head) {
    for (;;) {
        const outcome has = require(reader, buffer, head_size);
        if (has == outcome::failed)
            return has;
        const unsigned char* const front = reader.window.at(reader.window.start());
        const size_t held = reader.window.held();
        const bool may_begin =
            held > 0 && front[0] == packet_head::first && (held == 1 || front[1] == packet_head::second);
        if (held > 0 && !may_begin) {
            search(reader);
            continue;
        }
        if (has == outcome::more && !reader.has_ended)
            return has;
        if (held == 0)
            return outcome::no;
        if (has == outcome::yes && head.get(front, reader.options.m_channel))
            return outcome::yes;
        reader.statistics.m_bad_heads++;
        skip(reader, 1);
    }
}

/// Whether the payload behind the front's head is right. What was summed up before is not once more.
outcome check_payload(reader_t& reader, const packet_head& head) {
    const stream_window& window = reader.window;
    const int64_t start = window.start() + static_cast<int64_t>(head_size), end = start + head.size;
    uint32_t checksum = 0;
    if (head.size == 0) {
        checksum = 0;
    } else if (start >= reader.checked) {
        checksum = ombrel_crc32_ieee_802_3(0, 0, window.at(start), head.size);
        reader.checked = end;
    } else {
        uint32_t before, behind;
        if (!reader.marks.reaches(start, reader.options.m_size_limit))
            reader.marks.begin(start);
        if (!reader.marks.find(window, start, before, reader.caller) ||
            !reader.marks.find(window, end, behind, reader.caller))
            return outcome::failed;
        checksum = crc_between(before, behind, head.size);
    }
    return checksum == head.checksum ? outcome::yes : outcome::no;
}

void tell(reader_t& reader, const packet_head& head, ombrel_packet_t& packet) {
    const stream_window& window = reader.window;
    packet = {static_cast<uint16_t>(head.type), head.size,
              window.at(window.start() + static_cast<int64_t>(head_size)), window.start(), reader.skipped};
}

int give(reader_t& reader, const packet_head& head, ombrel_packet_t& packet) {
    tell(reader, head, packet);
    reader.given = head_size + head.size;
    reader.skipped = 0;
    reader.is_lost = false;
    reader.statistics.m_records++;
    reader.statistics.m_record_bytes += static_cast<int64_t>(reader.given);
    return 1;
}

/// Nothing more comes of the stream: the next one begins.
int finish(reader_t& reader) {
    reader.has_ended = false;
    reader.is_lost = false;
    reader.skipped = 0;
    return 0;
}

int refuse_size(reader_t& reader, const packet_head& head, ombrel_packet_t& packet) {
    tell(reader, head, packet);
    packet.m_data = "";
    reader.statistics.m_too_large++;
    skip(reader, head_size);
    return refuse(fault_code::too_large);
}

bool are_options(const ombrel_packet_options_t& options) {
    return options.m_size_limit > 0 && options.m_size_limit <= 0xFFFFFFFF &&
           options.m_size_limit <= PTRDIFF_MAX / 4;
}

} // namespace

int ombrel_init_packet_options(ombrel_packet_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid);
    *options = {0, def_ombrel_packet_default_limit};
    return 0;
}

ombrel_packet_reader_t* ombrel_open_packet_reader_tag(const ombrel_packet_options_t* options,
                                                      const char* function, unsigned long line) {
    ombrel_packet_options_t settings;
    ombrel_init_packet_options(&settings);
    if (options != nullptr)
        settings = *options;
    const bool is_good = are_options(settings);
    void* const block = is_good ? ombrel_alloc_tag(sizeof(reader_t), function, line) : nullptr;
    if (block == nullptr) {
        leave_fault(is_good ? fault_code::no_memory : fault_code::invalid);
        return nullptr;
    }
    auto* const reader = new (block) reader_t();
    reader->options = settings;
    reader->caller = {function, line};
    return reader;
}

int ombrel_close_packet_reader(ombrel_packet_reader_t* reader) {
    if (reader == nullptr)
        return 0;
    reader->~reader_t();
    ombrel_free(reader);
    return 0;
}

int ombrel_packet_reader_reset(ombrel_packet_reader_t* reader) {
    if (reader == nullptr)
        return refuse(fault_code::invalid);
    reader->window.clear();
    reader->marks.begin(-1);
    reader->checked = 0;
    reader->given = 0;
    reader->statistics = {};
    return finish(*reader);
}

int ombrel_packet_reader_next(ombrel_packet_reader_t* reader, ombrel_buffer_t* buffer,
                              ombrel_packet_t* packet) {
    if (reader == nullptr || packet == nullptr)
        return refuse(fault_code::invalid);
    reader->window.drop(std::exchange(reader->given, 0));
    for (;;) {
        packet_head head{};
        outcome found = find_head(*reader, buffer, head);
        if (found == outcome::no)
            return finish(*reader);
        if (found == outcome::yes && head.size > reader->options.m_size_limit)
            return refuse_size(*reader, head, *packet);
        if (found == outcome::yes)
            found = require(*reader, buffer, head_size + head.size);
        if (found == outcome::yes)
            found = check_payload(*reader, head);
        if (found == outcome::yes)
            return give(*reader, head, *packet);
        if (found == outcome::failed)
            return refuse(fault_code::no_memory);
        if (found == outcome::more && !reader->has_ended)
            return 0;
        reader->statistics.m_bad_payloads++;
        skip(*reader, 1);
    }
}

int ombrel_packet_reader_end(ombrel_packet_reader_t* reader) {
    if (reader == nullptr)
        return refuse(fault_code::invalid);
    reader->has_ended = true;
    return 0;
}

int64_t ombrel_packet_reader_get_held(const ombrel_packet_reader_t* reader) {
    return reader != nullptr ? static_cast<int64_t>(reader->window.held() - reader->given)
                             : refuse(fault_code::invalid);
}

int ombrel_packet_reader_get_statistics(const ombrel_packet_reader_t* reader,
                                        ombrel_packet_statistics_t* statistics) {
    if (reader == nullptr || statistics == nullptr)
        return refuse(fault_code::invalid);
    *statistics = reader->statistics;
    return 0;
}
