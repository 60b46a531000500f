/*
 * Who may see the status service: one name, by HTTP Digest.
 */
#ifndef STATUS_LOGIN_H
#define STATUS_LOGIN_H

#include <ombrel_tuk.h>

typedef struct {
    const char* user;
    ombrel_secret_list_t* secrets;
    ombrel_http_auth_server_t* auth; /* for ombrel_guard_http_exchange() */
} status_login_t;

/* Reads the secret of `user` from the file. On failure it prints why, and gives -1. */
int begin_status_login(status_login_t* login, const char* user, const char* path);
void end_status_login(status_login_t* login);

#endif
