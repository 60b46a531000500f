/*
 * Pictures of maps in the PNG format, stored without compression.
 */
#ifndef PNG_WRITER_H
#define PNG_WRITER_H

#include <stddef.h>

#include <ombrel_tuk.h>

/* A map's pixels as a PNG document on the heap, and its size; null when memory runs out. */
unsigned char* png_encode(ombrel_fbmap_t* map, size_t* size);

#endif
