// SPDX-License-Identifier: MIT
//
// The watched calls trap (seccomp's SECCOMP_RET_TRAP) into a signal handler, which fails them or
// makes them in the caller's stead, through the one syscall instruction that does not trap.

#include "tests/support/system_calls.h"

// ThreadSanitizer makes calls in places where no handler may run.
#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__)

#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/ucontext.h>
#include <unistd.h>

#include <vector>

extern "C" {
long velutils_test_call(long number, long a, long b, long c, long d, long e, long f);
extern const char velutils_test_called[];
}
__asm__(
    ".text\n"
    ".type velutils_test_call, @function\n"
    "velutils_test_call:\n"
    "    mov %rdi, %rax\n"
    "    mov %rsi, %rdi\n"
    "    mov %rdx, %rsi\n"
    "    mov %rcx, %rdx\n"
    "    mov %r8, %r10\n"
    "    mov %r9, %r8\n"
    "    mov 8(%rsp), %r9\n"
    "    syscall\n"
    "velutils_test_called:\n"
    "    ret\n");

namespace {

struct Watched {
    long number;
    const char* name;
};
const Watched WATCHED[] = {
    {SYS_open, "open"},           {SYS_openat, "open"},         {SYS_read, "read"},
    {SYS_pread64, "pread"},       {SYS_write, "write"},         {SYS_close, "close"},
    {SYS_stat, "stat"},           {SYS_fstat, "stat"},          {SYS_newfstatat, "stat"},
    {SYS_statx, "stat"},          {SYS_mkdir, "mkdir"},         {SYS_mknod, "mknod"},
    {SYS_mknodat, "mknod"},       {SYS_unlink, "unlink"},       {SYS_unlinkat, "unlink"},
    {SYS_symlink, "symlink"},     {SYS_symlinkat, "symlink"},   {SYS_getdents64, "getdents"},
    {SYS_ftruncate, "ftruncate"}, {SYS_fallocate, "fallocate"}, {SYS_mmap, "mmap"},
    {SYS_socket, "socket"},       {SYS_bind, "bind"},           {SYS_getsockname, "name"},
    {SYS_setsockopt, "option"},   {SYS_sendto, "send"},         {SYS_recvfrom, "receive"},
    {SYS_recvmsg, "receive"},     {SYS_ioctl, "ioctl"},         {SYS_fcntl, "fcntl"},
    {SYS_semget, "semget"},       {SYS_semop, "semop"},         {SYS_semtimedop, "semop"},
    {SYS_semctl, "semctl"},       {SYS_epoll_ctl, "epoll"},     {SYS_flock, "lock"},
    {SYS_fsync, "sync"},          {SYS_renameat, "rename"},
};
const size_t WATCHED_COUNT = sizeof WATCHED / sizeof *WATCHED;

volatile bool counting;
volatile long callsLeft;
volatile int failWith;
volatile size_t madeCount;
volatile size_t madeCalls[64];

bool isOfTheHeap(long number, const greg_t* registers) {
    return (number == SYS_mmap && static_cast<int>(registers[REG_R8]) == -1) ||
           (number == SYS_write && registers[REG_RDI] <= STDERR_FILENO);
}

void onTrap(int, siginfo_t*, void* context) {
    greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const long number = registers[REG_RAX];
    bool fails = false;
    if (counting && !isOfTheHeap(number, registers)) {
        size_t kind = 0;
        while (kind + 1 < WATCHED_COUNT && WATCHED[kind].number != number) ++kind;
        if (madeCount < sizeof madeCalls / sizeof *madeCalls) {
            madeCalls[madeCount] = kind;
            madeCount = madeCount + 1;
        }
        callsLeft = callsLeft - 1;
        fails = callsLeft == 0;
    }
    if (fails && failWith == 0)
        velutils_test_call(SYS_kill, velutils_test_call(SYS_getpid, 0, 0, 0, 0, 0, 0), SIGKILL, 0,
                           0, 0, 0);
    if (!fails || number == SYS_close)
        registers[REG_RAX] =
            velutils_test_call(number, registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                               registers[REG_R10], registers[REG_R8], registers[REG_R9]);
    if (fails) registers[REG_RAX] = -failWith;
}

}  // namespace

namespace system_calls {

bool watch() {
    struct sigaction action = {};
    action.sa_sigaction = onTrap;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSYS, &action, nullptr);

    const uint64_t called = reinterpret_cast<uintptr_t>(velutils_test_called);
    std::vector<struct sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(called), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer) + 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(called >> 32), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const Watched& call : WATCHED) {
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    struct sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        return false;
    failAt(0, 0);
    return true;
}

void failAt(long n, int error) {
    madeCount = 0;
    callsLeft = n;
    failWith = error;
    counting = true;
}

std::string made() {
    std::string names;
    for (size_t i = 0; i < madeCount; ++i) names += std::string(WATCHED[madeCalls[i]].name) + " ";
    return names;
}

void ignore() {
    counting = false;
}

}  // namespace system_calls

#else

namespace system_calls {

bool watch() {
    return false;
}
void failAt(long, int) {}
std::string made() {
    return "";
}
void ignore() {}

}  // namespace system_calls

#endif
