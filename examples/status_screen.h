/*
 * A desktop of overlapping windows that shows the service at work, redrawn while somebody looks at it.
 */
#ifndef STATUS_SCREEN_H
#define STATUS_SCREEN_H

#include <ombrel_tuk.h>

#include "status_report.h"

enum { screen_tag_size = 64 };

typedef struct {
    const heap_history_t* history;
    ombrel_event_t timer;
    uint64_t looked_at;     /* when the picture was asked for last */
    ombrel_instant_t begin; /* tells the frames of this screen from those of an earlier one */
    uint32_t frames;
    struct screen_windows* windows; /* while somebody looks */
    unsigned char* picture;         /* the present frame as PNG, once it was asked for */
    size_t picture_size;
} status_screen_t;

/* Gets ready to be looked at; -1 when that fails. The history must outlive the screen. */
int begin_status_screen(status_screen_t* screen, ombrel_event_base_t* base, const heap_history_t* history);
void end_status_screen(status_screen_t* screen);

/* Has frames drawn for a while; an entity tag that stands for the present one, of screen_tag_size bytes at
 * most; -1 when memory runs out. */
int look_at_status_screen(status_screen_t* screen, char* tag);

/* The frame that was looked at as PNG, which stays the screen's; null when memory runs out. */
const unsigned char* take_status_picture(status_screen_t* screen, size_t* size);

/* The page that shows the screen. */
extern const unsigned char screen_page[];
extern const size_t screen_page_size;

#endif
