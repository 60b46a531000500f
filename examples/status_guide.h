/*
 * The guide's chapters and pictures, which are put into the program when it is built.
 */
#ifndef STATUS_GUIDE_H
#define STATUS_GUIDE_H

#include <stddef.h>

#include <ombrel_tuk.h>

typedef struct {
    const char* name; /* of the file in docs/guide; null behind the last one */
    const unsigned char* text;
    const size_t* size;
} guide_file_t;

extern const guide_file_t guide_files[];

/* The page that shows the chapters. */
extern const unsigned char guide_page[];
extern const size_t guide_page_size;

/* Answers a path behind "/guide/" with the file of that name. */
int answer_guide_file(ombrel_http_exchange_t* exchange, void* context);

#endif
