// Small things that every program of the device asks the library for.
#include <cstdio>

#include "core/file.h"
#include "orba_util.h"

int refresh_info = 0;

char *racat(const char *prefix, int number) {
  static char joined[32];
  snprintf(joined, sizeof joined, "%s%1d", prefix, number);
  return joined;
}

int readHttpdPid(void) {
  orba::File file(orba::openOurs("/var/run/mini_httpd.pid"));
  int pid = 0;
  if (!file || fscanf(file.get(), "%d", &pid) != 1) return 0;
  return pid;
}

int getRefreshInfo(char *dst) {
  sprintf(dst, "%d", refresh_info);
  return 1;
}

// The rules for a single management port exist, but are switched off here.
int getOnePortOnly(void) {
  return 0;
}
