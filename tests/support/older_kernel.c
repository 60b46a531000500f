/* Starts a program on a kernel that lacks what came late, or in a sandbox that refuses it: calls that the
   library has another way for end with "not implemented", and no file tells where its holes are.

   usage: older_kernel PROGRAM [ARGUMENT ...]
   Ends with 77 where the kernel filters no calls. */
#define _GNU_SOURCE
#include <errno.h>
#include <stddef.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/filter.h>
#include <linux/seccomp.h>

enum { cannot_filter = 77 };

#define LOAD(field) BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, field))
#define ANSWER(what) BPF_STMT(BPF_RET | BPF_K, what)
#define SKIP_UNLESS(value, count) BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, count)
#define REFUSE(call) SKIP_UNLESS(call, 1), ANSWER(SECCOMP_RET_ERRNO | ENOSYS)
#define REFUSE_FROM(call, field, least)                                                                      \
    SKIP_UNLESS(call, 4), LOAD(field), BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, least, 0, 1),                     \
        ANSWER(SECCOMP_RET_ERRNO | EINVAL), ANSWER(SECCOMP_RET_ALLOW)

#if defined(SYS__llseek)
#define SEEK_CALL SYS__llseek
#define SEEK_ORIGIN args[4]
#else
#define SEEK_CALL SYS_lseek
#define SEEK_ORIGIN args[2]
#endif

/* Headers that are older than a call have no name for it, and nothing calls it; a number that is none refuses
 * nothing. */
#if !defined(SYS_close_range)
#define SYS_close_range (-1)
#endif
#if !defined(SYS_pidfd_open)
#define SYS_pidfd_open (-1)
#endif
#if !defined(SYS_pidfd_send_signal)
#define SYS_pidfd_send_signal (-1)
#endif
/* Where files are long anyway, one call is both. */
#if !defined(SYS_sendfile64)
#define SYS_sendfile64 SYS_sendfile
#endif

int main(int argc, char** argv) {
    struct sock_filter steps[] = {
        LOAD(nr),
        REFUSE(SYS_close_range),
        REFUSE(SYS_copy_file_range),
        REFUSE(SYS_pidfd_open),
        REFUSE(SYS_pidfd_send_signal),
        REFUSE(SYS_process_vm_readv),
        REFUSE(SYS_renameat2),
        REFUSE(SYS_sendfile),
        REFUSE(SYS_sendfile64),
        REFUSE_FROM(SEEK_CALL, SEEK_ORIGIN, SEEK_DATA),
        ANSWER(SECCOMP_RET_ALLOW),
    };
    const struct sock_fprog filter = {sizeof steps / sizeof steps[0], steps};
    if (argc < 2 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        perror(argv[0]);
        return cannot_filter;
    }
    execv(argv[1], argv + 1);
    perror(argv[1]);
    return 1;
}
