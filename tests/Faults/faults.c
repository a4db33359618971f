/* Preloaded into a program, fails, kills at or logs what the program asks of the system.
 *
 * KS_FAULT_COUNTS  file of one record per kind of call: its name (24 bytes) and a count (8 bytes),
 *                  kept up to date in memory that survives the process
 * KS_FAULT_CALL    the kind of call that is struck, KS_FAULT_NTH which of its calls, from 1
 * KS_FAULT_MODE    "once" and "always" fail it, "kill" ends the process there by SIGKILL
 * KS_FAULT_LOG     file of the changes to files below the folder KS_FAULT_FOLDER: a line with the
 *                  name, the paths and the number of bytes that follow, separated by tabs
 *
 * A failing clock leaps ten years ahead instead. Reading and writing count apart for regular files
 * and for everything else. */
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

/* Each kind of call and how it fails. */
#define CALLS(X)                                                                                   \
  X(open, EMFILE)                                                                                  \
  X(create, ENOSPC) X(openat, EMFILE) X(fopen, EMFILE) X(opendir, EMFILE) X(read, EIO)             \
      X(read_stream, ECONNRESET) X(write, ENOSPC) X(write_stream, EPIPE) X(fsync, EIO)             \
          X(rename, ENOSPC) X(unlink, EIO) X(remove, EIO) X(unlinkat, EIO) X(mkdir, ENOSPC)        \
              X(mkdtemp, ENOSPC) X(rmdir, EIO) X(stat, EACCES) X(lstat, EACCES) X(fstat, EIO)      \
                  X(chmod, EPERM) X(fchmod, EPERM) X(flock, ENOLCK) X(ftruncate, EIO) X(           \
                      utimensat, EACCES) X(access, EACCES) X(socket, EMFILE) X(socketpair, EMFILE) \
                      X(pipe, EMFILE) X(eventfd, EMFILE) X(bind, EADDRINUSE) X(listen, EADDRINUSE) \
                          X(accept, EMFILE) X(connect, ECONNREFUSED) X(setsockopt, EINVAL)         \
                              X(getsockname, ENOBUFS) X(send, ECONNRESET) X(recv, ECONNRESET)      \
                                  X(getaddrinfo, EAI_AGAIN) X(poll, EINTR) X(thread, EAGAIN)       \
                                      X(memory, ENOMEM) X(clock, 0)

#define KIND(name, error) kind_##name,
enum Kind { CALLS(KIND) kinds };
#define NAME(name, error) #name,
static const char* const names[] = {CALLS(NAME)};
#define ERROR(name, error) error,
static const int errors[] = {CALLS(ERROR)};

struct Record {
  char name[24];
  uint64_t count;
};

static struct Record* records;
static int struck = -1;
static uint64_t nth;
static enum { once, always, killing } mode;
static int logFile = -1;
static const char* logFolder;
static pthread_mutex_t logLock = PTHREAD_MUTEX_INITIALIZER;

/* The system's own call of that name. */
#define REAL(name)               \
  static __typeof__(&name) real; \
  if (!real) *(void**)&real = dlsym(RTLD_NEXT, #name)

__attribute__((constructor)) static void begin(void) {
  const char* counts = getenv("KS_FAULT_COUNTS");
  const char* call = getenv("KS_FAULT_CALL");
  const char* how = getenv("KS_FAULT_MODE");
  const char* log = getenv("KS_FAULT_LOG");
  const char* number = getenv("KS_FAULT_NTH");
  nth = number ? strtoull(number, NULL, 10) : 0;
  mode = how && !strcmp(how, "kill") ? killing : how && !strcmp(how, "always") ? always : once;
  for (int i = 0; call && i < kinds; ++i) {
    if (!strcmp(call, names[i])) struck = i;
  }
  logFolder = getenv("KS_FAULT_FOLDER");
  if (log) logFile = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (!counts) return;
  const int file = open(counts, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const size_t size = kinds * sizeof(struct Record);
  if (file < 0 || ftruncate(file, (off_t)size) != 0) abort();
  struct Record* mapped = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped == MAP_FAILED) abort();
  for (int i = 0; i < kinds; ++i) strcpy(mapped[i].name, names[i]);
  records = mapped;
}

/* Counts the call; sets errno when it has to fail. */
static int fails(int kind) {
  if (!records || kind < 0) return 0;
  const uint64_t count = __atomic_add_fetch(&records[kind].count, 1, __ATOMIC_RELAXED);
  const int hit = kind == struck && (mode == always ? count >= nth : count == nth);
  if (hit && mode == killing) kill(getpid(), SIGKILL);
  if (hit) errno = errors[kind];
  return hit;
}

/* The kind of reading or writing `file`: of a regular file, or of a stream. None for what wakes
 * the system's own loops, which never fails. */
static int fileKind(int file, int regular, int stream) {
  REAL(fstat);
  struct stat found;
  const int before = errno;
  const int unknown = real(file, &found) != 0;
  errno = before;
  if (unknown || (found.st_mode & S_IFMT) == 0) return -1;
  return S_ISREG(found.st_mode) ? regular : stream;
}

/* The same for sockets: loops wake themselves by pairs of local ones. */
static int socketKind(int file, int kind) {
  int family = 0;
  socklen_t size = sizeof family;
  const int before = errno;
  const int unknown = getsockopt(file, SOL_SOCKET, SO_DOMAIN, &family, &size) != 0;
  errno = before;
  return unknown || family == AF_UNIX ? -1 : kind;
}

/* Logs a change of `path`, or of the file that is open as `file` when there is no path. */
static void note(const char* name, const char* path, int file, const char* target,
                 const struct iovec* parts, int count) {
  if (logFile < 0) return;
  const int before = errno;
  char link[64], opened[4096];
  if (!path) {
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(link, opened, sizeof opened - 1);
    opened[length < 0 ? 0 : length] = 0;
    path = opened;
  }
  if (logFolder && !strncmp(path, logFolder, strlen(logFolder))) {
    size_t size = 0;
    for (int i = 0; i < count; ++i) size += parts[i].iov_len;
    pthread_mutex_lock(&logLock);
    dprintf(logFile, "%s\t%s\t%s\t%zu\n", name, path, target ? target : "", size);
    REAL(writev);
    if (size && real(logFile, parts, count) != (ssize_t)size) abort();
    pthread_mutex_unlock(&logLock);
  }
  errno = before;
}

/* A call that only fails or passes. */
#define WRAP(kind, type, failure, name, parameters, arguments) \
  WRAP_IF(kind_##kind, type, failure, name, parameters, arguments)
#define WRAP_IF(kind, type, failure, name, parameters, arguments) \
  type name parameters {                                          \
    REAL(name);                                                   \
    return fails(kind) ? failure : real arguments;                \
  }
/* One that changes names, and is logged when it succeeds. */
#define WRAP_CHANGE(kind, name, parameters, arguments, path, file, target) \
  int name parameters {                                                    \
    REAL(name);                                                            \
    if (fails(kind_##kind)) return -1;                                     \
    const int result = real arguments;                                     \
    if (result == 0) note(#kind, path, file, target, NULL, 0);             \
    return result;                                                         \
  }

static int afterOpen(int file, const char* path, int flags) {
  if (file >= 0 && (flags & (O_CREAT | O_TRUNC))) {
    note(flags & O_TRUNC ? "truncate" : "create", path, file, NULL, NULL, 0);
  }
  return file;
}

#define WRAP_OPEN(name, kind, parameters, arguments)                   \
  int name parameters {                                                \
    REAL(name);                                                        \
    va_list rest;                                                      \
    va_start(rest, flags);                                             \
    const int rights = flags & O_CREAT ? va_arg(rest, int) : 0;        \
    va_end(rest);                                                      \
    if (fails(flags & O_CREAT ? kind_create : kind_##kind)) return -1; \
    return afterOpen(real arguments, NULL, flags);                     \
  }
WRAP_OPEN(open, open, (const char* path, int flags, ...), (path, flags, rights))
WRAP_OPEN(open64, open, (const char* path, int flags, ...), (path, flags, rights))
WRAP_OPEN(openat, openat, (int at, const char* path, int flags, ...), (at, path, flags, rights))
WRAP_OPEN(openat64, openat, (int at, const char* path, int flags, ...), (at, path, flags, rights))

static FILE* afterFopen(FILE* file, const char* how) {
  if (file && *how != 'r')
    note(*how == 'w' ? "truncate" : "create", NULL, fileno(file), NULL, NULL, 0);
  return file;
}
FILE* fopen(const char* path, const char* how) {
  REAL(fopen);
  return fails(kind_fopen) ? NULL : afterFopen(real(path, how), how);
}
FILE* fopen64(const char* path, const char* how) {
  REAL(fopen64);
  return fails(kind_fopen) ? NULL : afterFopen(real(path, how), how);
}
WRAP(opendir, DIR*, NULL, opendir, (const char* path), (path))
WRAP(opendir, DIR*, NULL, fdopendir, (int file), (file))

ssize_t read(int file, void* space, size_t size) {
  REAL(read);
  return fails(fileKind(file, kind_read, kind_read_stream)) ? -1 : real(file, space, size);
}
ssize_t write(int file, const void* bytes, size_t size) {
  REAL(write);
  if (fails(fileKind(file, kind_write, kind_write_stream))) return -1;
  const ssize_t count = real(file, bytes, size);
  const struct iovec part = {(void*)bytes, count < 0 ? 0 : (size_t)count};
  if (count > 0) note("write", NULL, file, NULL, &part, 1);
  return count;
}
ssize_t writev(int file, const struct iovec* parts, int count) {
  REAL(writev);
  if (fails(fileKind(file, kind_write, kind_write_stream))) return -1;
  const ssize_t written = real(file, parts, count);
  if (written > 0) note("write", NULL, file, NULL, parts, count);
  return written;
}

WRAP_CHANGE(fsync, fsync, (int file), (file), NULL, file, NULL)
WRAP_CHANGE(fsync, fdatasync, (int file), (file), NULL, file, NULL)
WRAP_CHANGE(rename, rename, (const char* from, const char* to), (from, to), from, -1, to)
WRAP_CHANGE(unlink, unlink, (const char* path), (path), path, -1, NULL)
WRAP_CHANGE(remove, remove, (const char* path), (path), path, -1, NULL)
WRAP_CHANGE(rmdir, rmdir, (const char* path), (path), path, -1, NULL)
WRAP_CHANGE(mkdir, mkdir, (const char* path, mode_t rights), (path, rights), path, -1, NULL)
WRAP_CHANGE(ftruncate, ftruncate, (int file, off_t size), (file, size), NULL, file, NULL)
WRAP(unlinkat, int, -1, unlinkat, (int at, const char* path, int flags), (at, path, flags))
WRAP(mkdtemp, char*, NULL, mkdtemp, (char* path), (path))
WRAP(stat, int, -1, stat, (const char* path, struct stat* found), (path, found))
WRAP(lstat, int, -1, lstat, (const char* path, struct stat* found), (path, found))
WRAP(fstat, int, -1, fstat, (int file, struct stat* found), (file, found))
WRAP(stat, int, -1, stat64, (const char* path, struct stat64* found), (path, found))
WRAP(lstat, int, -1, lstat64, (const char* path, struct stat64* found), (path, found))
WRAP(fstat, int, -1, fstat64, (int file, struct stat64* found), (file, found))
WRAP(chmod, int, -1, chmod, (const char* path, mode_t rights), (path, rights))
WRAP(fchmod, int, -1, fchmod, (int file, mode_t rights), (file, rights))
WRAP(flock, int, -1, flock, (int file, int operation), (file, operation))
WRAP(utimensat, int, -1, utimensat,
     (int at, const char* path, const struct timespec times[2], int flags),
     (at, path, times, flags))
WRAP(access, int, -1, access, (const char* path, int how), (path, how))

WRAP(socket, int, -1, socket, (int family, int type, int protocol), (family, type, protocol))
WRAP(socketpair, int, -1, socketpair, (int family, int type, int protocol, int pair[2]),
     (family, type, protocol, pair))
WRAP(pipe, int, -1, pipe, (int pair[2]), (pair))
WRAP(pipe, int, -1, pipe2, (int pair[2], int flags), (pair, flags))
WRAP(eventfd, int, -1, eventfd, (unsigned int value, int flags), (value, flags))
WRAP(bind, int, -1, bind, (int file, const struct sockaddr* address, socklen_t size),
     (file, address, size))
WRAP(listen, int, -1, listen, (int file, int backlog), (file, backlog))
WRAP(accept, int, -1, accept, (int file, struct sockaddr* address, socklen_t* size),
     (file, address, size))
WRAP(accept, int, -1, accept4, (int file, struct sockaddr* address, socklen_t* size, int flags),
     (file, address, size, flags))
WRAP(connect, int, -1, connect, (int file, const struct sockaddr* address, socklen_t size),
     (file, address, size))
WRAP(setsockopt, int, -1, setsockopt,
     (int file, int level, int name, const void* value, socklen_t size),
     (file, level, name, value, size))
WRAP(getsockname, int, -1, getsockname, (int file, struct sockaddr* address, socklen_t* size),
     (file, address, size))
WRAP_IF(socketKind(file, kind_send), ssize_t, -1, send,
        (int file, const void* bytes, size_t size, int flags), (file, bytes, size, flags))
WRAP(send, ssize_t, -1, sendto,
     (int file, const void* bytes, size_t size, int flags, const struct sockaddr* address,
      socklen_t length),
     (file, bytes, size, flags, address, length))
WRAP(send, ssize_t, -1, sendmsg, (int file, const struct msghdr* message, int flags),
     (file, message, flags))
WRAP_IF(socketKind(file, kind_recv), ssize_t, -1, recv,
        (int file, void* space, size_t size, int flags), (file, space, size, flags))
WRAP(recv, ssize_t, -1, recvfrom,
     (int file, void* space, size_t size, int flags, struct sockaddr* address, socklen_t* length),
     (file, space, size, flags, address, length))
WRAP(recv, ssize_t, -1, recvmsg, (int file, struct msghdr* message, int flags),
     (file, message, flags))
WRAP(poll, int, -1, poll, (struct pollfd * files, nfds_t count, int limit), (files, count, limit))
WRAP(getaddrinfo, int, EAI_AGAIN, getaddrinfo,
     (const char* host, const char* service, const struct addrinfo* hints, struct addrinfo** found),
     (host, service, hints, found))
WRAP(thread, int, EAGAIN, pthread_create,
     (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument),
     (thread, attributes, run, argument))

/* Looking a name up allocates, so these have names of their own. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);
void* malloc(size_t size) { return fails(kind_memory) ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
  return fails(kind_memory) ? NULL : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return fails(kind_memory) ? NULL : __libc_realloc(block, size);
}

int clock_gettime(clockid_t clock, struct timespec* time) {
  REAL(clock_gettime);
  const int result = real(clock, time);
  const time_t tenYears = 315576000;
  if (clock == CLOCK_REALTIME && fails(kind_clock)) time->tv_sec += tenYears;
  return result;
}
