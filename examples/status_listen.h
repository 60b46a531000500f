/*
 * Where the status service listens, and what it says about that.
 */
#ifndef STATUS_LISTEN_H
#define STATUS_LISTEN_H

#include <ombrel_tuk.h>

/*
 * Listens on `address`, or for null and "localhost" on the loop-back addresses of both families, and prints
 * the URL that works. On failure it prints why and what to do, and gives -1.
 */
int listen_and_tell(ombrel_http_server_t* server, const char* address, int port);

#endif
