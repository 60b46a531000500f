/* Two threads take two locks, each in its own order. */
#include <ombrel_tuk.h>

static ombrel_lock_t account, journal;

static int write_journal(ombrel_service_t* service, void* context) {
    (void)context;
    ombrel_lock(&journal);
    ombrel_ack_service(service); /* ombrel_open_service_ex() returns in the other thread, */
    ombrel_lock(&account);       /* which has this one, and wants the first */
    ombrel_unlock(&account);
    ombrel_unlock(&journal);
    return 0;
}

static ombrel_service_t* book(void) {
    ombrel_service_t* service;
    ombrel_lock(&account);
    service = ombrel_open_service_ex("journal writer", write_journal, NULL, 0);
    if (service != NULL && ombrel_lock_timeout(&journal, 1000) != 0)
        ombrel_error_printf("book: no journal within a second, I give up\n");
    ombrel_unlock(&account);
    return service;
}

int main(void) {
    ombrel_service_t* service;
    ombrel_init_lock(&journal);
    ombrel_init_lock(&account);
    account.m_flags |= def_ombrel_lock_flag_thread_aware;
    account.m_dead_lock_duration = 300; /* milliseconds, where 30 minutes are the rule */
    service = book();
    ombrel_close_service(service);
    ombrel_error_printf("main: all have gone home\n");
    return service == NULL;
}
