// A shared object to preload: one call of the system fails, or a signal comes just before it. The environment
// says which; faults.py sets it.
//   FAULT_PROGRAM  the program that is meant, by its short name; its children run undisturbed
//   FAULT_CALL     the kind of call: open, write, fsync, link, rename, close, folder, mmap, thread, fork,
//                  memory
//   FAULT_AT       which call of that kind, from 1, counted from the start of main()
//   FAULT_ERRNO    how it fails
//   FAULT_SIGNAL   the signal that comes instead; the call itself is made
//   FAULT_TOLD     a descriptor that gets a byte when it has happened
//   FAULT_NAMED    if set, the file system has no files without a name
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// NOLINTBEGIN: the names and signatures are the system's own
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

std::atomic<bool> isArmed = false;
std::atomic<long> calls = 0;
const char* kind = "";
long at = 0;
int error = 0;
int signalNumber = 0;
int told = -1;
bool isNamed = false;

long number(const char* name) {
  const char* text = getenv(name);
  return text != nullptr ? strtol(text, nullptr, 10) : 0;
}

void arm() {
  const char* program = getenv("FAULT_PROGRAM");
  if (program == nullptr || strcmp(program, program_invocation_short_name) != 0) return;
  if (getenv("FAULT_CALL") != nullptr) kind = getenv("FAULT_CALL");
  at = number("FAULT_AT");
  error = static_cast<int>(number("FAULT_ERRNO"));
  signalNumber = static_cast<int>(number("FAULT_SIGNAL"));
  told = static_cast<int>(number("FAULT_TOLD"));
  isNamed = getenv("FAULT_NAMED") != nullptr;
  isArmed = true;
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Whether this call is the one that fails, with errno set.
bool fails(const char* call) {
  if (!isArmed || strcmp(call, kind) != 0 || ++calls != at) return false;
  static auto* const write = next<ssize_t(int, const void*, size_t)>("write");
  write(told, "!", 1);
  if (signalNumber != 0) raise(signalNumber);
  errno = error;
  return signalNumber == 0;
}

bool failsToOpen(int flags) {
  if (isArmed && isNamed && (flags & O_TMPFILE) == O_TMPFILE) {
    errno = EOPNOTSUPP;
    return true;
  }
  return fails("open");
}

int (*realMain)(int, char**, char**) = nullptr;

int armedMain(int argc, char** argv, char** environment) {
  arm();
  const int status = realMain(argc, argv, environment);
  isArmed = false;
  return status;
}

}  // namespace

extern "C" {

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stackEnd) {
  realMain = main;
  return next<decltype(__libc_start_main)>("__libc_start_main")(armedMain, argc, argv, init, fini, loaderFini,
                                                                stackEnd);
}

#define OPEN(NAME, PARAMETERS, ARGUMENTS)                  \
  int NAME PARAMETERS {                                    \
    static auto* const real = next<int PARAMETERS>(#NAME); \
    va_list rest;                                          \
    va_start(rest, flags);                                 \
    const mode_t mode = va_arg(rest, mode_t);              \
    va_end(rest);                                          \
    return failsToOpen(flags) ? -1 : real ARGUMENTS;       \
  }
OPEN(open, (const char* path, int flags, ...), (path, flags, mode))
OPEN(open64, (const char* path, int flags, ...), (path, flags, mode))
OPEN(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPEN(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))

#define CALL(KIND, RESULT, NAME, PARAMETERS, ARGUMENTS, FAILED) \
  RESULT NAME PARAMETERS {                                      \
    static auto* const real = next<RESULT PARAMETERS>(#NAME);   \
    return fails(KIND) ? FAILED : real ARGUMENTS;               \
  }
CALL("open", FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr)
CALL("open", FILE*, fopen64, (const char* path, const char* mode), (path, mode), nullptr)
CALL("open", FILE*, fdopen, (int descriptor, const char* mode), (descriptor, mode), nullptr)
CALL("open", int, pipe2, (int* ends, int flags) noexcept, (ends, flags), -1)
CALL("open", int, memfd_create, (const char* name, unsigned flags) noexcept, (name, flags), -1)
CALL("write", ssize_t, write, (int descriptor, const void* from, size_t size), (descriptor, from, size), -1)
CALL("write", ssize_t, writev, (int descriptor, const iovec* from, int count), (descriptor, from, count), -1)
CALL("fsync", int, fsync, (int descriptor), (descriptor), -1)
CALL("link", int, linkat, (int f, const char* from, int t, const char* to, int flags) noexcept,
     (f, from, t, to, flags), -1)
CALL("rename", int, rename, (const char* from, const char* to) noexcept, (from, to), -1)
CALL("rename", int, renameat, (int f, const char* from, int t, const char* to) noexcept, (f, from, t, to), -1)
CALL("folder", int, mkdir, (const char* path, mode_t mode) noexcept, (path, mode), -1)
CALL("folder", char*, mkdtemp, (char* name), (name), nullptr)
CALL("mmap", void*, mmap,
     (void* where, size_t size, int protection, int flags, int file, off_t from) noexcept,
     (where, size, protection, flags, file, from), MAP_FAILED)
CALL("thread", int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* how, void* (*run)(void*), void* with),
     (thread, how, run, with), EAGAIN)

pid_t fork() noexcept {
  static auto* const real = next<pid_t()>("fork");
  if (fails("fork")) return -1;
  const pid_t process = real();
  if (process == 0) isArmed = false;
  return process;
}

int close(int descriptor) {
  static auto* const real = next<int(int)>("close");
  const bool isFailing = fails("close");
  const int reason = errno;
  const int status = real(descriptor);  // a close that fails has closed all the same
  if (isFailing) errno = reason;
  return isFailing ? -1 : status;
}

void* malloc(size_t size) { return fails("memory") ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return fails("memory") ? nullptr : __libc_calloc(count, size); }
void* realloc(void* old, size_t size) { return fails("memory") ? nullptr : __libc_realloc(old, size); }
void* aligned_alloc(size_t alignment, size_t size) {
  return fails("memory") ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** to, size_t alignment, size_t size) {
  if (fails("memory")) return ENOMEM;
  *to = __libc_memalign(alignment, size);
  return *to != nullptr ? 0 : ENOMEM;
}
}
// NOLINTEND
