/* A service that works off a queue, sleeps while there is nothing to do, and stops when it is asked to. */
#include <ombrel_tuk.h>

static ombrel_lock_t lock = def_ombrel_lock_initializer; /* guards the queue */
static ombrel_lock_condition_t more = def_ombrel_lock_condition_initializer;

/* What waits is done before the break counts, so that nothing is lost. */
static int work_off(ombrel_service_t* service, void* queue) {
    ombrel_ack_service(service);
    ombrel_lock(&lock);
    while (ombrel_get_buffer_size(queue) > 0 || ombrel_break_service(service) == 0) {
        char* line = ombrel_pop_buffer_line(queue);
        if (line == NULL) { /* lets the lock go while it waits */
            ombrel_lock_condition_wait_timeout(&more, &lock, 1000);
            continue;
        }
        ombrel_unlock(&lock);
        ombrel_printf("worker: %s is done\n", line);
        ombrel_free(line);
        ombrel_lock(&lock);
    }
    ombrel_unlock(&lock);
    return 0;
}

static int wake(void* unused) { /* called by ombrel_close_service(), again and again while it gives -1 */
    (void)unused;
    ombrel_lock_condition_wakeup_broadcast(&more);
    return -1;
}

int main(void) {
    ombrel_buffer_t* queue = ombrel_open_buffer();
    ombrel_service_t* service = ombrel_open_service_ex("worker", work_off, queue, 0);
    int i;
    ombrel_service_register_close_notify_handler(service, wake, NULL);
    for (i = 1; service != NULL && i <= 3; i++) {
        ombrel_lock(&lock);
        ombrel_push_printf(queue, "job %d\n", i);
        ombrel_unlock(&lock);
        ombrel_lock_condition_wakeup(&more);
    }
    ombrel_close_service(service); /* asks it to stop, and waits until it has */
    ombrel_printf("main: the worker has gone home\n");
    ombrel_close_buffer(queue);
    return ombrel_push_heap_report(NULL);
}
