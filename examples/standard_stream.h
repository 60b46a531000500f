// The process's standard descriptors as buffered streams.
#ifndef STANDARD_STREAM_H
#define STANDARD_STREAM_H

#include <ombrel/file_stream.h>

/* Closing it leaves the descriptor open. Null when memory runs out or the descriptor is not open. */
static inline ombrel_file_stream_t* open_standard_stream(int fd, const char* mode) {
    ombrel_file_stream_options_t options;
    ombrel_init_file_stream_options(&options);
    options.m_flags = def_ombrel_file_stream_flag_keep_open;
    return ombrel_open_file_stream_descriptor(fd, mode, &options);
}

#endif
