// Bytes as a program of buffer operations, compared with a plain string.

#include <cstdio>
#include <cstdlib>

#include "support/buffer_program.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (const char* fault = ombrel_test::buffer_program(data, size).run()) {
        fprintf(stderr, "the buffer differs from the model: %s\n", fault);
        abort();
    }
    return 0;
}
