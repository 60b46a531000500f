// Standard streams whose bytes pass as they are.
#ifndef BINARY_STREAMS_H
#define BINARY_STREAMS_H

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

// Windows would change the ends of lines, and end the input at a byte of its own.
static inline void make_streams_binary(void) {
#if defined(_WIN32)
    for (int stream = 0; stream < 3; stream++)
        _setmode(stream, _O_BINARY);
#endif
}

#endif
