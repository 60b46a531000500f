#include "status_login.h"

#include <string.h>

/* Changes of the file are noticed. */
static int find_secret(const char* name, ombrel_secret_t* secret, void* context) {
    const status_login_t* login = context;
    ombrel_secret_list_refresh(login->secrets);
    const int64_t place = ombrel_secret_list_find(login->secrets, name);
    if (place < 0 || strcmp(name, login->user) != 0)
        return 0;
    *secret = *ombrel_secret_list_get_secret(login->secrets, (size_t)place);
    return 1;
}

static int complain(const char* what, const char* why) {
    ombrel_error_printf("status_service: [ERROR] %s: %s\n", what, why);
    ombrel_error_puts(NULL);
    return -1;
}

static int begin_auth(status_login_t* login) {
    ombrel_http_auth_server_options_t options;
    ombrel_init_http_auth_server_options(&options);
    options.m_find = find_secret;
    options.m_context = login;
    login->auth = ombrel_open_http_auth_server(&options);
    return login->auth != NULL ? 0 : complain("log-in", ombrel_fault_text());
}

int begin_status_login(status_login_t* login, const char* user, const char* path) {
    ombrel_secret_t secret;
    uint32_t line = 0;
    login->user = user;
    login->secrets = ombrel_open_secret_list(path, NULL, &line);
    if (login->secrets == NULL && line > 0) {
        ombrel_error_printf("status_service: [ERROR] %s: line %lu is no NAME:SECRET\n", path,
                            (unsigned long)line);
        ombrel_error_puts(NULL);
        return -1;
    }
    if (login->secrets == NULL)
        return complain(path, ombrel_fault_text());
    if (find_secret(user, &secret, login) != 1)
        return complain(path, "the name is not in it");
    if (secret.m_kind != def_ombrel_secret_digest)
        return complain(path, "the name's secret does not serve Digest: make one by \"ombrel_tuk secret\"");
    return begin_auth(login);
}

void end_status_login(status_login_t* login) {
    ombrel_close_http_auth_server(login->auth);
    ombrel_close_secret_list(login->secrets);
}
