// The digest functions under common names, for tests of what the digests share.
#pragma once

#include <ombrel/md5.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>

namespace ombrel_test {

#define OMBREL_TEST_DIGEST(low)                                                                              \
    struct low {                                                                                             \
        using context = ombrel_##low##_t;                                                                    \
        static constexpr size_t size = def_ombrel_##low##_size;                                              \
        static constexpr const char* name = #low;                                                            \
        static constexpr auto init = ombrel_init_##low;                                                      \
        static constexpr auto push = ombrel_##low##_push;                                                    \
        static constexpr auto push_file = ombrel_##low##_push_file;                                          \
        static constexpr auto digest = ombrel_##low##_digest;                                                \
        static constexpr auto open = ombrel_open_##low;                                                      \
        static constexpr auto close = ombrel_close_##low;                                                    \
    }

OMBREL_TEST_DIGEST(md5);
OMBREL_TEST_DIGEST(sha1);
OMBREL_TEST_DIGEST(sha256);

#undef OMBREL_TEST_DIGEST

} // namespace ombrel_test
