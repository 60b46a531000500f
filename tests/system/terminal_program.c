/* What is typed at it, by name; what it does for some keys, tests look at from the other side of its
 * terminal. */
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <ombrel/fault.h>
#include <ombrel/printf.h>
#include <ombrel/terminal.h>

static ombrel_terminal_t* terminal;

static void on_signal(int number) {
    ombrel_restore_terminals();
    _exit(number);
}

/* The ways in which programs end, without leaving the terminal. */
static void end_by(int key) {
    static char* volatile nowhere = (char*)8;
    switch (key) {
    case 'e':
        exit(3);
    case 'a':
        abort();
    case 't':
        raise(SIGTERM);
        break;
    case 's':
        raise(SIGSEGV);
        break;
    case 'f':
        *(volatile char*)nowhere = 1;
        break;
    case 'o':
        signal(SIGTERM, on_signal);
        raise(SIGTERM);
        break;
#if !defined(_WIN32)
    case 'z':
        kill(0, SIGTSTP);
        break;
    case 'c': /* a child does not give its parent's terminal back */
        if (fork() == 0)
            exit(0);
        break;
#endif
    }
}

static int show_keys(uint32_t flags) {
    char name[64];
    ombrel_key_t key = {0, 0};
    terminal = ombrel_open_terminal(0, 1);
    if (terminal == NULL || ombrel_terminal_enter(terminal, flags) != 0)
        return 1;
    ombrel_terminal_set_title(terminal, "keys");
    ombrel_terminal_puts(terminal, "ready\n");
    while (key.m_code != 'q' && ombrel_terminal_read_key(terminal, &key, -1) == 1) {
        int columns, rows;
        ombrel_terminal_get_size(terminal, &columns, &rows);
        ombrel_format_key(name, sizeof name, &key);
        ombrel_terminal_printf(terminal, key.m_code == def_ombrel_key_resized ? "<%s %dx%d>\n" : "<%s>\n",
                               name, columns, rows);
        ombrel_terminal_flush(terminal);
        end_by(key.m_code);
    }
    return ombrel_close_terminal(terminal) == 0 ? 0 : 1;
}

static int read_secret(int timeout_ms) {
    char line[8], answer[64];
    const int result = ombrel_read_secret(-1, "phrase: ", line, sizeof line, timeout_ms);
    const int size = ombrel_snprintf(answer, sizeof answer, "[%d %s %s]", result, line,
                                     result < 0 ? ombrel_fault_name(ombrel_last_fault()) : "-");
    return write(1, answer, (unsigned)size) == size ? 0 : 1;
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "keys") == 0)
        return show_keys((uint32_t)atoi(argv[2]));
    if (argc == 3 && strcmp(argv[1], "secret") == 0)
        return read_secret(atoi(argv[2]));
    return 2;
}
