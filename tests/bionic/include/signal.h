// Signals. The first real-time ones are the C library's own, so the number of SIGRTMIN is known while running only.
#pragma once

#include <asm/siginfo.h>
#include <sys/types.h>

#define SIGKILL 9
#define SIGUSR1 10
#define SIGUSR2 12
#define SIGPIPE 13
#define SIGTERM 15
#define SIGXFSZ 25
#define SIGRTMIN (__libc_current_sigrtmin())

#define SIG_DFL (reinterpret_cast<void (*)(int)>(0))
#define SIG_IGN (reinterpret_cast<void (*)(int)>(1))

#define SIG_BLOCK 0
#define SIG_UNBLOCK 1
#define SIG_SETMASK 2

#define SA_RESTART 0x10000000
#define SA_SIGINFO 4

using sigset_t = unsigned long;

struct sigaction { // on 64 bits the flags come first
    unsigned sa_flags;
    union {
        void (*sa_handler)(int);
        void (*sa_sigaction)(int, siginfo_t *, void *);
    };
    sigset_t sa_mask;
    void (*sa_restorer)();
};

extern "C" {
int __libc_current_sigrtmin();
int kill(pid_t pid, int signal_number);
int pthread_kill(pthread_t thread, int signal_number);
int pthread_sigmask(int how, const sigset_t *set, sigset_t *previous);
int sigaction(int signal_number, const struct sigaction *action, struct sigaction *previous);
int sigaddset(sigset_t *set, int signal_number);
int sigemptyset(sigset_t *set);
void (*signal(int signal_number, void (*handler)(int)))(int);
int tgkill(int process, int thread, int signal_number);
}
