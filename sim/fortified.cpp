// The calls that a fortified build makes in place of some of the ordinary ones,
// with the size of the buffer: looked at as the C library does, then answered as ever.
#include <sys/types.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

extern "C" {
int sim_open(const char *path, int flags, ...);
ssize_t sim_read(int fd, void *buffer, size_t size);
char *sim_fgets(char *line, int size, FILE *stream);
size_t sim_fread(void *data, size_t size, size_t count, FILE *stream);
int sim_vfprintf(FILE *stream, const char *format, va_list arguments);

int sim_open_2(const char *path, int flags) {
  return sim_open(path, flags);
}

ssize_t sim_read_chk(int fd, void *buffer, size_t size, size_t room) {
  if (size > room) abort();
  return sim_read(fd, buffer, size);
}

char *sim_fgets_chk(char *line, size_t room, int size, FILE *stream) {
  if (static_cast<size_t>(size) > room) abort();
  return sim_fgets(line, size, stream);
}

size_t sim_fread_chk(void *data, size_t room, size_t size, size_t count, FILE *stream) {
  if (size * count > room) abort();
  return sim_fread(data, size, count, stream);
}

int sim_vfprintf_chk(FILE *stream, int, const char *format, va_list arguments) {
  return sim_vfprintf(stream, format, arguments);
}

int sim_fprintf_chk(FILE *stream, int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = sim_vfprintf(stream, format, arguments);
  va_end(arguments);
  return count;
}

int sim_printf_chk(int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = sim_vfprintf(stdout, format, arguments);
  va_end(arguments);
  return count;
}
}
