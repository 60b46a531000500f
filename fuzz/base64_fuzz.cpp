// Base64: a program of pushes against a model, one call against the stream, and each kernel against the plain
// one.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "encoding/kernels/base64.h"
#include "encoding/kernels/kernels.h"
#include "platform/processor.h"
#include "support/coder_program.h"
#include "support/require.h"

namespace {

using namespace ombrel::encoding;
using ombrel_test::decode_in_pieces;
using ombrel_test::take_string;

void check_one_call(const uint8_t* data, size_t size) {
    size_t length = 0;
    char* block = ombrel_encode_base64(data, size, &length);
    const std::string text = take_string(block, length);
    require(text.size() == (size + 2) / 3 * 4, "length of the text");
    block = ombrel_decode_base64(text.data(), text.size(), &length);
    require(take_string(block, length) == std::string(reinterpret_cast<const char*>(data), size), "way back");
    block = ombrel_decode_base64(data, size, &length);
    require(take_string(block, length) == decode_in_pieces<ombrel_test::base64_functions>(data, size, 7),
            "decoding in pieces");
}

// Exactly as much memory as the kernels may touch, so that a sanitizer sees more.
void check_kernels(const uint8_t* data, size_t size) {
    const uint32_t features = ombrel::platform::processor_features();
    const std::vector<uint8_t> input(data, data + size);
    std::vector<char> text(size / 3 * 4), plain_text(size / 3 * 4);
    std::vector<uint8_t> bytes(size / 4 * 3), plain_bytes(size / 4 * 3);
    encode_base64_plain(plain_text.data(), input.data(), size / 3, base64_url_safe);
    const size_t groups = decode_base64_plain(plain_bytes.data(), input.data(), size / 4);
    for (const auto& kernel : all_kernels.encode) {
        if ((kernel.needs & ~features) != 0)
            continue;
        kernel.run(text.data(), input.data(), size / 3, base64_url_safe);
        require(text == plain_text, kernel.name);
    }
    for (const auto& kernel : all_kernels.decode) {
        if ((kernel.needs & ~features) != 0)
            continue;
        require(kernel.run(bytes.data(), input.data(), size / 4) == groups, kernel.name);
        require(std::equal(bytes.data(), bytes.data() + 3 * groups, plain_bytes.data()), kernel.name);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* fault = ombrel_test::coder_program<ombrel_test::base64_functions>(data, size).run();
    require(fault == nullptr, fault);
    check_one_call(data, size);
    check_kernels(data, size);
    return 0;
}
