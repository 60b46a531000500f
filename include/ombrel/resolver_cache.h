/**
 * @file resolver_cache.h
 * @brief Answers of the resolver kept for a while, with look-ups on a thread of their own.
 *
 * A cache keeps the answers to each name and port until they have not been used for its expiry time. New
 * names are resolved one at a time on the cache's service thread "resolver_cache", so that other threads wait
 * for a name server only if they ask to. Names are compared as they are written; finding one takes the same
 * time however many there are, whoever chose them. Any thread may call these functions; closing a cache must
 * be the last of them, and not on its own service thread.
 *
 * Answers that are handed out are copies and belong to the caller.
 */
#ifndef OMBREL_RESOLVER_CACHE_H
#define OMBREL_RESOLVER_CACHE_H

#include <ombrel/resolver.h>

OMBREL_BEGIN_C

/** A cache. */
typedef struct ombrel_resolver_cache_ts ombrel_resolver_cache_t;

/**
 * @brief Told of each resolution of a name, on the service thread, with no lock held: it may call the cache.
 *
 * The handler stays with its name until a request with another one replaces it or the name is dropped.
 * @param cache   the cache
 * @param is_new  1 for a first answer, 0 when there was an answer before (replaced, or kept because the new
 *                resolution gave none), -1 when there is no answer
 * @param name    the name, valid during the call
 * @param port    the port
 * @param context as given with the handler; it must live as long as the handler can be called
 */
typedef void (*ombrel_resolver_cache_handler_t)(ombrel_resolver_cache_t* cache, int is_new, const char* name,
                                                int port, void* context);

/**
 * @brief Opens a cache and starts its service thread.
 * @param expiry_ms names not used for this many milliseconds are dropped; 0 or negative keeps them until the
 * close
 * @return the cache, for ombrel_close_resolver_cache(); null when memory or threads run out
 */
OMBREL_API ombrel_resolver_cache_t* ombrel_open_resolver_cache_ex(int expiry_ms);

/** @brief ombrel_open_resolver_cache_ex() with an expiry of one hour. */
OMBREL_API ombrel_resolver_cache_t* ombrel_open_resolver_cache(void);

/**
 * @brief Stops the service thread and frees the cache with all answers.
 *
 * Requests that are still pending are dropped; their handlers are not called. A resolution under way is
 * waited for, but a look-up that asks a name server half a second at most: then it is left behind, which a
 * warning on the error output says. What its thread stands on (the cache's own record, the name, the service)
 * stays on the heap until the look-up ends, and is freed then; no handler is called any more.
 * @param cache the cache, or null
 * @return 0
 */
OMBREL_API int ombrel_close_resolver_cache(ombrel_resolver_cache_t* cache);

/**
 * @brief Has a name resolved, whether or not it has an answer already. Does not wait.
 *
 * A request for a name that is pending still is the same request; it takes the newer handler.
 * @param cache   the cache
 * @param name    a host as for ombrel_open_resolver(), except null; copied
 * @param port    a port as for ombrel_open_resolver()
 * @param handler told of the result; null leaves the one that the name has
 * @param context handed to the handler
 * @return 0; -1 for a null cache or name, and when memory runs out
 */
OMBREL_API int ombrel_request_resolver_cache_with_handler(ombrel_resolver_cache_t* cache, const char* name,
                                                          int port, ombrel_resolver_cache_handler_t handler,
                                                          void* context);

/** @brief ombrel_request_resolver_cache_with_handler() without a handler. */
OMBREL_API int ombrel_request_resolver_cache(ombrel_resolver_cache_t* cache, const char* name, int port);

/**
 * @brief The answers for a name, which counts as use of it. A name without answers is requested.
 *
 * Without a cache or a name, and when the request cannot be queued, the name is resolved directly, and the
 * call waits for that.
 * @param cache      the cache, or null
 * @param name       a host as for ombrel_open_resolver()
 * @param port       a port as for ombrel_open_resolver()
 * @param timeout_ms milliseconds to wait for a name without answers; negative waits without limit, 0 not at
 * all. The wait ends as soon as the name is resolved, with or without an answer
 * @param handler    told of the result when the name is requested, as with
 *                   ombrel_request_resolver_cache_with_handler(); may be null
 * @param context    handed to the handler
 * @return a copy of the answers, for ombrel_close_resolver(); null when there is none (yet)
 */
OMBREL_API ombrel_resolver_t* ombrel_get_resolver_cache_with_handler(ombrel_resolver_cache_t* cache,
                                                                     const char* name, int port,
                                                                     int timeout_ms,
                                                                     ombrel_resolver_cache_handler_t handler,
                                                                     void* context);

/** @brief ombrel_get_resolver_cache_with_handler() without a handler. */
OMBREL_API ombrel_resolver_t* ombrel_get_resolver_cache(ombrel_resolver_cache_t* cache, const char* name,
                                                        int port, int timeout_ms);

OMBREL_END_C

#endif
