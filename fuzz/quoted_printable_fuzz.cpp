// Quoted-printable: a program of pushes against a model, one call against the stream, and the way there and
// back.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/coder_program.h"
#include "support/require.h"

namespace {

using ombrel_test::decode_in_pieces;
using ombrel_test::take_string;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* fault = ombrel_test::coder_program<ombrel_test::quoted_printable_functions>(data, size).run();
    require(fault == nullptr, fault);

    size_t length = 0;
    char* block = ombrel_encode_quoted_printable(data, size, &length);
    const std::string text = take_string(block, length);
    block = ombrel_decode_quoted_printable(text.data(), text.size(), &length);
    require(take_string(block, length) == std::string(reinterpret_cast<const char*>(data), size), "way back");
    block = ombrel_decode_quoted_printable(data, size, &length);
    require(take_string(block, length) ==
                decode_in_pieces<ombrel_test::quoted_printable_functions>(data, size, 5),
            "decoding in pieces");
    return 0;
}
