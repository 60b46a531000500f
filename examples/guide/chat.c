/* A chat: what one says all others read. It ends when the last one has left. Usage: chat PORT */
#include <ombrel_tuk.h>

#define SEATS 16
static ombrel_event_t* seats[SEATS];

static void say(const char* text, const ombrel_event_t* speaker) {
    int i;
    for (i = 0; i < SEATS; i++)
        if (seats[i] != NULL && seats[i] != speaker)
            ombrel_event_push_printf(seats[i], def_ombrel_event_buffer_output, "%s\n", text);
}

static void on_client(ombrel_event_t* client, int fd, uint32_t result, void* seat) {
    char* line;
    for (; (line = ombrel_pop_buffer_line(client->m_input_buffer)) != NULL; ombrel_free(line))
        say(line, client);
    if ((result & (def_ombrel_event_exception | def_ombrel_event_timeout)) != 0) {
        *(ombrel_event_t**)seat = NULL;
        ombrel_free_event(client);
        ombrel_close_socket(fd); /* it was ours all the time */
        say("somebody has left", NULL);
    }
}

static void on_knock(ombrel_event_t* door, int fd, uint32_t result, void* unused) {
    const int guest = result == def_ombrel_event_read ? ombrel_accept_now(fd, NULL, NULL) : -1;
    int i = 0;
    (void)unused;
    while (i < SEATS - 1 && seats[i] != NULL)
        i++;
    if (guest >= 0 && seats[i] == NULL)
        seats[i] = ombrel_new_event(door->m_base, guest, def_ombrel_event_persist, on_client, &seats[i]);
    if (guest < 0 || seats[i] == NULL || seats[i]->m_fd != guest) { /* a full house turns guests away */
        ombrel_close_socket(guest);
        return;
    }
    ombrel_event_enable_buffer(seats[i], def_ombrel_event_buffer_both);
    ombrel_add_event(seats[i], 600000); /* who says nothing for ten minutes has to go */
    say("somebody has come", NULL);
}

int main(int argc, char** argv) {
    ombrel_event_base_t* base = ombrel_init_network() == 0 ? ombrel_new_event_base() : NULL;
    const int socket = ombrel_open_listen_socket("127.0.0.1", argc > 1 ? ombrel_atoi(argv[1]) : 7007);
    ombrel_event_t* door =
        ombrel_new_event(base, socket, def_ombrel_event_read | def_ombrel_event_persist, on_knock, NULL);
    ombrel_error_printf("chat: waiting\n");
    return socket < 0 || ombrel_add_event(door, -1) != 0 ? 1 : ombrel_event_base_dispatch(base);
}
