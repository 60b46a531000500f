#include "status_lookup.h"

#include <string.h>

#include "status_report.h"

enum {
    lookup_limit_msec = 10000,
    lookups_at_once = 64, /* names that the resolvers have in hand; more clients are asked to come again */
    lookups_of_client = 4,
    names_kept_msec = 60000,
    address_room = 64
};

typedef enum { lookup_waits, lookup_found, lookup_failed } lookup_state_t;

typedef struct lookup {
    struct lookup* next;
    ombrel_http_exchange_t* exchange; /* null once it is over */
    ombrel_resolver_cache_t* resolver;
    lookup_state_t state;
    uint64_t deadline;
    char client[address_room];
    char name[name_limit + 1];
} lookup_t;

static int respond_addresses(ombrel_http_exchange_t* exchange, const ombrel_resolver_t* answers) {
    ombrel_buffer_t* out = ombrel_open_buffer_ex(0);
    const int failed = out == NULL || report_addresses(out, answers) != 0;
    const int result = respond_with_buffer(exchange, "text/plain; charset=utf-8", out, failed);
    ombrel_close_buffer(out);
    return result;
}

/* On a resolver's own thread: marks what was answered and wakes the loop. */
static void on_resolved(ombrel_resolver_cache_t* resolver, int is_new, const char* name, int port,
                        void* context) {
    status_lookups_t* lookups = context;
    (void)port;
    if (ombrel_lock(&lookups->lock) != 0)
        return;
    for (lookup_t* lookup = lookups->first; lookup != NULL; lookup = lookup->next)
        if (lookup->state == lookup_waits && lookup->resolver == resolver && strcmp(lookup->name, name) == 0)
            lookup->state = is_new < 0 ? lookup_failed : lookup_found;
    ombrel_unlock(&lookups->lock);
    ombrel_add_event(&lookups->event, 0);
}

/* Takes the first lookup out of the list that its resolver is through with. */
static lookup_t* take_finished_lookup(status_lookups_t* lookups) {
    if (ombrel_lock(&lookups->lock) != 0)
        return NULL;
    lookup_t** link = &lookups->first;
    while (*link != NULL && (*link)->state == lookup_waits)
        link = &(*link)->next;
    lookup_t* lookup = *link;
    if (lookup != NULL)
        *link = lookup->next;
    ombrel_unlock(&lookups->lock);
    return lookup;
}

/* A client that has waited long enough. Its lookup stays until the resolver is through with it, so that the
 * names which the resolvers have in hand are never more than the lookups. */
static ombrel_http_exchange_t* take_late_client(status_lookups_t* lookups, uint64_t now) {
    ombrel_http_exchange_t* late = NULL;
    if (ombrel_lock(&lookups->lock) != 0)
        return NULL;
    for (lookup_t* lookup = lookups->first; lookup != NULL && late == NULL; lookup = lookup->next)
        if (lookup->state == lookup_waits && now >= lookup->deadline) {
            late = lookup->exchange;
            lookup->exchange = NULL;
        }
    ombrel_unlock(&lookups->lock);
    return late;
}

static void finish_lookup(lookup_t* lookup) {
    ombrel_resolver_t* answers = NULL;
    if (lookup->exchange != NULL && lookup->state == lookup_found)
        answers = ombrel_get_resolver_cache(lookup->resolver, lookup->name, -1, 0);
    if (answers != NULL)
        respond_addresses(lookup->exchange, answers);
    else if (lookup->exchange != NULL)
        ombrel_http_exchange_answer_error(lookup->exchange, 404, "the name has no address");
    ombrel_close_resolver(answers);
    ombrel_free(lookup);
}

static void finish_lookups(status_lookups_t* lookups) {
    lookup_t* lookup;
    while ((lookup = take_finished_lookup(lookups)) != NULL)
        finish_lookup(lookup);
}

void end_late_lookups(status_lookups_t* lookups) {
    ombrel_http_exchange_t* late;
    finish_lookups(lookups);
    while ((late = take_late_client(lookups, ombrel_time_stamp_msec())) != NULL)
        ombrel_http_exchange_answer_error(late, 504, "the name's servers do not answer");
}

static void on_lookup_event(ombrel_event_t* event, int socket, uint32_t ready, void* context) {
    (void)event;
    (void)socket;
    if ((ready & def_ombrel_event_timeout) != 0)
        finish_lookups(context);
}

/* Of an exchange that is over. Only the loop's thread looks at exchanges, so no lock is needed. */
static void forget_exchange(ombrel_http_exchange_t* exchange, int outcome, void* context) {
    status_lookups_t* lookups = context;
    (void)outcome;
    for (lookup_t* lookup = lookups->first; lookup != NULL; lookup = lookup->next)
        if (lookup->exchange == exchange)
            lookup->exchange = NULL;
}

/* How many names the resolvers have in hand: of all clients, of one of them, in each resolver. Only the
 * loop's thread changes the list, so that it may read it without the lock. */
typedef struct {
    int all, of_client, in_resolver[resolver_count];
} load_t;

static load_t current_load(const status_lookups_t* lookups, const char* client) {
    load_t load = {0};
    for (const lookup_t* lookup = lookups->first; lookup != NULL; lookup = lookup->next) {
        load.all++;
        load.of_client += strcmp(lookup->client, client) == 0;
        for (int i = 0; i < resolver_count; i++)
            load.in_resolver[i] += lookup->resolver == lookups->resolvers[i];
    }
    return load;
}

/* The resolver with the least to do, opened when it is the first time. */
static ombrel_resolver_cache_t* choose_resolver(status_lookups_t* lookups, const load_t* load) {
    int best = 0;
    for (int i = 1; i < resolver_count; i++)
        if (load->in_resolver[i] < load->in_resolver[best])
            best = i;
    if (lookups->resolvers[best] == NULL)
        lookups->resolvers[best] = ombrel_open_resolver_cache_ex(names_kept_msec);
    return lookups->resolvers[best];
}

static lookup_t* queue_lookup(status_lookups_t* lookups, ombrel_http_exchange_t* exchange,
                              ombrel_resolver_cache_t* resolver, const char* name) {
    lookup_t* lookup = resolver != NULL ? ombrel_calloc(1, sizeof *lookup) : NULL;
    if (lookup == NULL || ombrel_lock(&lookups->lock) != 0) {
        ombrel_check_free(lookup);
        return NULL;
    }
    lookup->next = lookups->first;
    lookup->exchange = exchange;
    lookup->resolver = resolver;
    lookup->deadline = ombrel_time_stamp_msec() + lookup_limit_msec;
    ombrel_snprintf(lookup->client, sizeof lookup->client, "%s", ombrel_http_exchange_get_peer(exchange));
    memcpy(lookup->name, name, strlen(name) + 1);
    lookups->first = lookup;
    ombrel_unlock(&lookups->lock);
    return lookup;
}

/* The place in the list comes first, so that no answer can be missed. */
static int begin_lookup(status_lookups_t* lookups, ombrel_http_exchange_t* exchange, const load_t* load,
                        const char* name) {
    ombrel_resolver_cache_t* resolver = choose_resolver(lookups, load);
    if (queue_lookup(lookups, exchange, resolver, name) == NULL)
        return ombrel_http_exchange_answer_error(exchange, 503, "no memory for a look-up");
    ombrel_http_exchange_defer(exchange, forget_exchange, lookups);
    if (ombrel_request_resolver_cache_with_handler(resolver, name, -1, on_resolved, lookups) != 0)
        on_resolved(resolver, -1, name, -1, lookups);
    return 0;
}

/* An address is its own answer, which nobody has to be asked for. */
static int answer_with_address(ombrel_http_exchange_t* exchange, const char* text) {
    ombrel_resolver_t* answers = ombrel_open_resolver(text, -1);
    const int result = respond_addresses(exchange, answers);
    ombrel_close_resolver(answers);
    return result;
}

int answer_with_addresses(status_lookups_t* lookups, ombrel_http_exchange_t* exchange, const char* name) {
    struct sockaddr_storage address;
    if (ombrel_inet_ptos(AF_UNSPEC, name, 0, &address, sizeof address) == 0)
        return answer_with_address(exchange, name);
    const load_t load = current_load(lookups, ombrel_http_exchange_get_peer(exchange));
    if (load.all >= lookups_at_once)
        return ombrel_http_exchange_answer_error(exchange, 503, "too many look-ups at once, try again later");
    if (load.of_client >= lookups_of_client)
        return ombrel_http_exchange_answer_error(exchange, 503,
                                                 "too many look-ups of yours at once, try again later");
    return begin_lookup(lookups, exchange, &load, name);
}

int begin_status_lookups(status_lookups_t* lookups, ombrel_event_base_t* base) {
    return ombrel_init_lock(&lookups->lock) == 0
               ? ombrel_assign_event(base, &lookups->event, -1, 0, on_lookup_event, lookups)
               : -1;
}

int end_status_lookups(status_lookups_t* lookups) {
    int was_waiting = 0;
    for (int i = 0; i < resolver_count; i++)
        ombrel_close_resolver_cache(lookups->resolvers[i]);
    for (lookup_t* lookup = lookups->first; lookup != NULL; lookup = lookup->next) {
        was_waiting |= lookup->state == lookup_waits;
        lookup->state = lookup_failed;
    }
    finish_lookups(lookups);
    if ((lookups->event.m_flags & def_ombrel_event_assigned) != 0)
        ombrel_unassign_event(&lookups->event);
    ombrel_uninit_lock(&lookups->lock);
    return was_waiting;
}
