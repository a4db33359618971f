#include "tests/Storage/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>

namespace ks::test {

namespace {

SystemCalls::Hook hook;
std::map<int, std::string> openFiles;

bool fails(const SystemCall& call) {
  const int error = hook ? hook(call) : 0;
  if (error != 0) errno = error;
  return error != 0;
}

}  // namespace

SystemCalls::SystemCalls(Hook wanted) { hook = std::move(wanted); }
SystemCalls::~SystemCalls() { hook = nullptr; }

}  // namespace ks::test

using ks::test::fails;
using ks::test::openFiles;

// Names that the linker gives to the wrapped calls and to the real ones.
extern "C" {
int __real_open(const char*, int, ...);
ssize_t __real_write(int, const void*, size_t);
int __real_fsync(int);
int __real_rename(const char*, const char*);
int __real_unlink(const char*);
ssize_t __real_read(int, void*, size_t);
int __real_fstat(int, struct stat*);
int __real_flock(int, int);

int __wrap_open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(rest, int) : 0;
  va_end(rest);
  if (fails({(flags & O_CREAT) != 0 ? "create" : "open", path, "", ""})) return -1;
  const int file = __real_open(path, flags, mode);
  openFiles[file] = path;
  return file;
}
ssize_t __wrap_write(int file, const void* bytes, size_t count) {
  const std::string text(static_cast<const char*>(bytes), count);
  return fails({"write", openFiles[file], "", text}) ? -1 : __real_write(file, bytes, count);
}
int __wrap_fsync(int file) {
  return fails({"fsync", openFiles[file], "", ""}) ? -1 : __real_fsync(file);
}
int __wrap_rename(const char* from, const char* to) {
  return fails({"rename", from, to, ""}) ? -1 : __real_rename(from, to);
}
int __wrap_unlink(const char* path) {
  return fails({"unlink", path, "", ""}) ? -1 : __real_unlink(path);
}
ssize_t __wrap_read(int file, void* bytes, size_t count) {
  return fails({"read", openFiles[file], "", ""}) ? -1 : __real_read(file, bytes, count);
}
int __wrap_fstat(int file, struct stat* found) {
  return fails({"fstat", openFiles[file], "", ""}) ? -1 : __real_fstat(file, found);
}
int __wrap_flock(int file, int operation) {
  return fails({"flock", openFiles[file], "", ""}) ? -1 : __real_flock(file, operation);
}
}
