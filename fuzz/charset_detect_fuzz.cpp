// What is found does not depend on pieces, has a name if it is a text, and is not less sure than the
// runner-up.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <ombrel/charset_detect.h>

#include "support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ombrel_charset_detection_t whole, in_pieces;
    require(ombrel_detect_charset(data, size, &whole) == 0);
    require((whole.m_kind == def_ombrel_charset_detect_text) <= (whole.m_name != nullptr));
    require(whole.m_confidence >= whole.m_second_confidence && whole.m_confidence <= 100);
    ombrel_charset_detector_t* const detector = ombrel_open_charset_detector();
    for (size_t at = 0, piece = 1; at < size; at += piece, piece = piece % 7 + 1)
        require(ombrel_charset_detector_push(detector, data + at, std::min(piece, size - at)) >= 0);
    require(ombrel_charset_detector_get_detection(detector, &in_pieces) == 0);
    require(whole.m_kind == in_pieces.m_kind && whole.m_charset == in_pieces.m_charset &&
            whole.m_confidence == in_pieces.m_confidence &&
            whole.m_second_charset == in_pieces.m_second_charset);
    ombrel_close_charset_detector(detector);
    return 0;
}
