#include "storage/mappedfile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>

#if defined(Q_OS_LINUX)
#include <csignal>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace {

std::function<void()>& afterMapHook() {
    static std::function<void()> hook;
    return hook;
}

#if defined(Q_OS_LINUX)

// The mapping the thread reads, innermost first; read by the fault handler on the same thread.
// Initial-exec: the handler must not be the first to touch the variable (a lazy TLS lookup may
// allocate).
thread_local const MappedFile::Reading::Range* t_reading __attribute__((tls_model("initial-exec"))) = nullptr;

struct sigaction s_previous = {};
std::uintptr_t s_pageSize = 4096;

void passOn(int signalNumber, siginfo_t* info, void* context) {
    if (s_previous.sa_flags & SA_SIGINFO) {
        s_previous.sa_sigaction(signalNumber, info, context);
        return;
    }
    if (s_previous.sa_handler != SIG_DFL && s_previous.sa_handler != SIG_IGN) {
        s_previous.sa_handler(signalNumber);
        return;
    }
    // The default action: the faulting access comes again once the handler returns, and the
    // signal then ends the program as it would have without us. One sent by another process
    // (si_code <= 0) doesn't come again, so it is sent once more.
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    sigaction(signalNumber, &standard, nullptr);
    if (info->si_code <= 0)
        raise(signalNumber);
}

void onBusError(int signalNumber, siginfo_t* info, void* context) {
    const char* at = static_cast<const char*>(info->si_addr);
    for (const MappedFile::Reading::Range* r = t_reading; r && info->si_code > 0; r = r->outer) {
        if (at < r->begin || at >= r->end)
            continue;
        // Zeros in place of the page that can't be read, so that the access goes through when it
        // comes again, and any later one to the page. A plain system call: sanitizers intercept
        // mmap, and their interceptors aren't made to run in a signal handler.
        const std::uintptr_t page = reinterpret_cast<std::uintptr_t>(at) & ~(s_pageSize - 1);
        const long done =
            syscall(SYS_mmap, page, s_pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
        if (done == -1)
            break;
        r->failed->store(true, std::memory_order_release);
        return;
    }
    passOn(signalNumber, info, context);
}

void installHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        s_pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        struct sigaction action = {};
        action.sa_sigaction = &onBusError;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        sigaction(SIGBUS, &action, &s_previous);
    });
}

#endif

} // namespace

void MappedFile::setAfterMapForTesting(std::function<void()> hook) {
    afterMapHook() = std::move(hook);
}

MappedFile::~MappedFile() {
    unmap();
}

bool MappedFile::map(int fd, qint64 size) {
    unmap();
#if defined(Q_OS_LINUX)
    if (fd < 0 || size <= 0 || static_cast<quint64>(size) > SIZE_MAX)
        return false;
    installHandler();
    void* at = ::mmap(nullptr, static_cast<size_t>(size), PROT_READ, MAP_PRIVATE, fd, 0);
    if (at == MAP_FAILED)
        return false;
    begin = static_cast<const char*>(at);
    length = size;
    fault.store(false, std::memory_order_relaxed);
    if (afterMapHook())
        afterMapHook()();
    return true;
#else
    Q_UNUSED(fd);
    Q_UNUSED(size);
    return false;
#endif
}

void MappedFile::release(qint64 from, qint64 to) const {
#if defined(Q_OS_LINUX)
    const qint64 page = static_cast<qint64>(s_pageSize);
    const qint64 first = (std::max<qint64>(from, 0) + page - 1) / page * page;
    const qint64 last = std::min(to, length) / page * page;
    if (begin && first < last)
        ::madvise(const_cast<char*>(begin) + first, static_cast<size_t>(last - first), MADV_DONTNEED);
#else
    Q_UNUSED(from);
    Q_UNUSED(to);
#endif
}

int MappedFile::failureError(int fd) const {
#if defined(Q_OS_LINUX)
    struct stat status = {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && status.st_size < length)
        return 0;
#else
    Q_UNUSED(fd);
#endif
    return EIO;
}

void MappedFile::unmap() {
#if defined(Q_OS_LINUX)
    if (begin)
        ::munmap(const_cast<char*>(begin), static_cast<size_t>(length));
#endif
    begin = nullptr;
    length = 0;
}

MappedFile::Reading::Reading(const MappedFile& file) {
    range.begin = file.begin;
    range.end = file.begin + file.length;
    range.failed = &file.fault;
#if defined(Q_OS_LINUX)
    range.outer = t_reading;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    t_reading = &range;
    std::atomic_signal_fence(std::memory_order_seq_cst);
#else
    range.outer = nullptr;
#endif
}

MappedFile::Reading::~Reading() {
#if defined(Q_OS_LINUX)
    std::atomic_signal_fence(std::memory_order_seq_cst);
    t_reading = range.outer;
    std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
}
