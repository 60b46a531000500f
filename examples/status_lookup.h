/*
 * The names that clients of the status service have looked up.
 */
#ifndef STATUS_LOOKUP_H
#define STATUS_LOOKUP_H

#include <ombrel_tuk.h>

enum {
    resolver_count = 8, /* a name whose servers are silent holds up those behind it in its resolver */
    name_limit = 253
};

typedef struct {
    ombrel_event_t event; /* activated when a name was answered */
    ombrel_resolver_cache_t* resolvers[resolver_count];
    ombrel_lock_t lock; /* guards the list and its marks, which the resolvers' threads set */
    struct lookup* first;
} status_lookups_t;

/* Gets ready; -1 when that fails, and then it is to be ended too. */
int begin_status_lookups(status_lookups_t* lookups, ombrel_event_base_t* base);

/* Ends all look-ups; the server is closed before. Whether one was still under way: its resolver may have been
 * left behind, with the memory that it stands on. */
int end_status_lookups(status_lookups_t* lookups);

/* Answers with the addresses of a name, at once or later. */
int answer_with_addresses(status_lookups_t* lookups, ombrel_http_exchange_t* exchange, const char* name);

/* Ends those whose time has passed; to be called each second. */
void end_late_lookups(status_lookups_t* lookups);

#endif
