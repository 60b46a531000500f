#include <ombrel/charset_detect.h>

#include <algorithm>
#include <cstring>

#include <ombrel/charset.h>
#include <ombrel/heap.h>

#include "core/fault.h"
#include "text/charset/detection_model.h"

using namespace ombrel;
using namespace ombrel::detection;

namespace {

/// Where models are given up that have lost: at the same places however the text is cut.
constexpr uint64_t review_distance = 4096;
constexpr cost lost = bits(1000);

constexpr size_t longest_mark = 4;

struct byte_order_mark {
    uint32_t size;
    uint8_t bytes[longest_mark];
    int charset;
};
constexpr byte_order_mark marks[] = {
    {4, {0xFF, 0xFE, 0, 0}, def_ombrel_charset_utf_32le}, // before its beginning
    {4, {0, 0, 0xFE, 0xFF}, def_ombrel_charset_utf_32be}, {3, {0xEF, 0xBB, 0xBF}, def_ombrel_charset_utf_8},
    {2, {0xFF, 0xFE}, def_ombrel_charset_utf_16le},       {2, {0xFE, 0xFF}, def_ombrel_charset_utf_16be},
};

/// A set and what the text costs in it.
struct contender {
    int charset;
    cost spent;
    uint32_t faults;
};

int failed(fault_code why) {
    leave_fault(why);
    return -1;
}

/// How sure a decision is by so much cost that the other would have had in addition.
int confidence_by(cost distance) {
    constexpr cost half_as_unsure = bits(4);
    const cost halvings = std::min<cost>(std::max<cost>(distance, 0) / half_as_unsure, 5);
    return 100 - (50 >> halvings);
}

} // namespace

struct ombrel_charset_detector_ts {
    uint64_t m_size, m_zeros;
    uint8_t m_beginning[longest_mark];
    bool m_has_high_byte;
    utf8_model m_utf8;
    western_model m_western;
    korean_model m_korean;
    shift_jis_model m_shift_jis;
    euc_jp_model m_euc_jp;
    utf16_model m_utf16[2];
    utf32_model m_utf32[2];

    /// Calls `visit(model, charset, prior)` for each, the likeliest of equals first.
    template<typename Self, typename Visit>
    static void for_each_model(Self& self, Visit visit) {
        visit(self.m_utf8, def_ombrel_charset_utf_8, bits(0));
        visit(self.m_western,
              self.m_western.is_windows ? def_ombrel_charset_windows_1252 : def_ombrel_charset_iso_8859_1,
              bits(2));
        visit(self.m_korean, self.m_korean.is_extended ? def_ombrel_charset_cp949 : def_ombrel_charset_euc_kr,
              bits(2));
        visit(self.m_shift_jis,
              self.m_shift_jis.is_windows ? def_ombrel_charset_cp932 : def_ombrel_charset_shift_jis, bits(2));
        visit(self.m_euc_jp, def_ombrel_charset_euc_jp, bits(3));
        visit(self.m_utf16[0], def_ombrel_charset_utf_16le, bits(12));
        visit(self.m_utf16[1], def_ombrel_charset_utf_16be, bits(12));
        visit(self.m_utf32[0], def_ombrel_charset_utf_32le, bits(12));
        visit(self.m_utf32[1], def_ombrel_charset_utf_32be, bits(12));
    }
};

namespace {

void begin(ombrel_charset_detector_t& detector) {
    detector = {};
    detector.m_utf16[1].is_big = true;
    detector.m_utf32[1].is_big = true;
}

const byte_order_mark* mark_of(const ombrel_charset_detector_t& detector) {
    const auto* const found =
        std::find_if(std::begin(marks), std::end(marks), [&](const byte_order_mark& mark) {
            return detector.m_size >= mark.size && memcmp(detector.m_beginning, mark.bytes, mark.size) == 0;
        });
    return found == std::end(marks) ? nullptr : found;
}

void note_bytes(ombrel_charset_detector_t& detector, const uint8_t* bytes, size_t size) {
    for (size_t i = 0; i < size && detector.m_size + i < longest_mark; i++)
        detector.m_beginning[detector.m_size + i] = bytes[i];
    const auto is_high = [](uint8_t byte) { return byte >= 0x80; };
    detector.m_has_high_byte = detector.m_has_high_byte || std::any_of(bytes, bytes + size, is_high);
    detector.m_zeros += static_cast<uint64_t>(std::count(bytes, bytes + size, uint8_t{0}));
    detector.m_size += size;
}

void take(ombrel_charset_detector_t& detector, const uint8_t* bytes, size_t size) {
    note_bytes(detector, bytes, size);
    ombrel_charset_detector_t::for_each_model(detector, [&](auto& model, int, cost) {
        for (size_t i = 0; i < size && !model.is_out; i++)
            model.take(bytes[i]);
    });
}

/// What a text costs in a set, with the beginning of a character that is held: nothing is known of it but
/// that few texts end so, and none within a unit.
cost total(const model& model, cost prior) {
    return prior + model.spent + (model.held_size > 0 ? unknown_byte * model.held_size + bits(4) : 0);
}

cost total_of_units(const model& model, cost prior) {
    return total(model, prior) + (model.held_size > 0 ? bits(12) : 0);
}

cost total(const utf16_model& model, cost prior) {
    return total_of_units(model, prior);
}

cost total(const utf32_model& model, cost prior) {
    return total_of_units(model, prior);
}

void give_up_lost_ones(ombrel_charset_detector_t& detector) {
    cost best = INT64_MAX;
    ombrel_charset_detector_t::for_each_model(detector, [&](auto& model, int, cost prior) {
        if (!model.is_out)
            best = std::min(best, total(model, prior));
    });
    ombrel_charset_detector_t::for_each_model(detector, [&](auto& model, int, cost prior) {
        model.is_out = model.is_out || total(model, prior) - lost > best;
    });
}

/// The two of the sets in which the text costs least.
struct leaders {
    contender first{0, INT64_MAX, 0}, second{0, INT64_MAX, 0};

    void enter(const contender& next) {
        if (next.spent < first.spent) {
            second = first;
            first = next;
        } else if (next.spent < second.spent)
            second = next;
    }
};

leaders leaders_of(const ombrel_charset_detector_t& detector) {
    leaders found;
    ombrel_charset_detector_t::for_each_model(detector, [&](const auto& model, int charset, cost prior) {
        if (!model.is_out)
            found.enter({charset, total(model, prior), model.faults});
    });
    return found;
}

ombrel_charset_detection_t text_in(int charset, int confidence) {
    ombrel_charset_detection_t found{};
    found.m_kind = def_ombrel_charset_detect_text;
    found.m_charset = charset;
    found.m_confidence = confidence;
    found.m_name = ombrel_get_charset_name(charset);
    return found;
}

ombrel_charset_detection_t marked(const ombrel_charset_detector_t& detector, const byte_order_mark& mark) {
    ombrel_charset_detection_t found = text_in(mark.charset, 100);
    found.m_mark_size = mark.size;
    if (detector.m_size == mark.size)
        found.m_kind = def_ombrel_charset_detect_empty;
    return found;
}

ombrel_charset_detection_t binary(int confidence) {
    ombrel_charset_detection_t found{};
    found.m_kind = def_ombrel_charset_detect_binary;
    found.m_confidence = confidence;
    return found;
}

ombrel_charset_detection_t decide(const ombrel_charset_detector_t& detector) {
    if (detector.m_size == 0)
        return {};
    if (const byte_order_mark* const mark = mark_of(detector); mark != nullptr)
        return marked(detector, *mark);
    // That it is a text is likelier from the outset.
    const cost unknown = unknown_byte * static_cast<cost>(detector.m_size) + bits(16);
    const bool is_ascii = !detector.m_has_high_byte && detector.m_zeros == 0;
    if (is_ascii && detector.m_utf8.spent <= unknown)
        return text_in(def_ombrel_charset_us_ascii, 100);
    const leaders found = leaders_of(detector);
    // Zeros among letters of ASCII: units of UTF-16 that are Kanji by chance.
    const bool has_stray_zeros =
        detector.m_zeros > 0 && !detector.m_has_high_byte && detector.m_zeros < detector.m_size / 4;
    if (has_stray_zeros)
        return binary(99);
    if (is_ascii || found.first.spent > unknown)
        return binary(confidence_by(std::min(found.first.spent, unknown * 2) - unknown));
    constexpr int most_with_faults = 70;
    const int most = found.first.faults > 0 ? most_with_faults : 99;
    const cost distance = std::min(found.second.spent, unknown + bits(4)) - found.first.spent;
    ombrel_charset_detection_t detection =
        text_in(found.first.charset, std::min(confidence_by(distance), most));
    if (found.second.spent <= unknown) {
        detection.m_second_charset = found.second.charset;
        detection.m_second_name = ombrel_get_charset_name(found.second.charset);
        detection.m_second_confidence = 100 - confidence_by(distance);
    }
    return detection;
}

} // namespace

int ombrel_detect_charset(const void* text, size_t size, ombrel_charset_detection_t* found) {
    ombrel_charset_detector_t detector;
    begin(detector);
    return ombrel_charset_detector_push(&detector, text, size) < 0
               ? -1
               : ombrel_charset_detector_get_detection(&detector, found);
}

ombrel_charset_detector_t* ombrel_open_charset_detector_tag(const char* function, unsigned long line) {
    auto* const detector = static_cast<ombrel_charset_detector_t*>(
        ombrel_alloc_tag(sizeof(ombrel_charset_detector_t), function, line));
    if (detector == nullptr)
        return leave_fault(fault_code::no_memory), nullptr;
    begin(*detector);
    return detector;
}

int ombrel_close_charset_detector(ombrel_charset_detector_t* detector) {
    if (detector != nullptr)
        ombrel_free(detector);
    return 0;
}

int ombrel_charset_detector_push(ombrel_charset_detector_t* detector, const void* text, size_t size) {
    if (detector == nullptr || (text == nullptr && size > 0))
        return failed(fault_code::invalid);
    const auto* bytes = static_cast<const uint8_t*>(text);
    while (size > 0) {
        const uint64_t to_review = review_distance - detector->m_size % review_distance;
        const size_t part = static_cast<size_t>(std::min<uint64_t>(size, to_review));
        take(*detector, bytes, part);
        if (part == to_review)
            give_up_lost_ones(*detector);
        bytes += part;
        size -= part;
    }
    return detector->m_size >= longest_mark &&
                   (mark_of(*detector) != nullptr || leaders_of(*detector).first.charset == 0)
               ? 1
               : 0;
}

int ombrel_charset_detector_get_detection(const ombrel_charset_detector_t* detector,
                                          ombrel_charset_detection_t* found) {
    if (detector == nullptr || found == nullptr)
        return failed(fault_code::invalid);
    *found = decide(*detector);
    return 0;
}

int ombrel_charset_detector_reset(ombrel_charset_detector_t* detector) {
    if (detector == nullptr)
        return failed(fault_code::invalid);
    begin(*detector);
    return 0;
}
