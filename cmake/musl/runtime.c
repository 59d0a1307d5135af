/* What Debian's libstdc++.a and libgcc_eh.a expect of glibc and musl lacks. For
 * the test programs only: the library itself needs no C++ runtime. */
#define _GNU_SOURCE
#include <link.h>
#include <locale.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/random.h>
#include <time.h>

char __libc_single_threaded;

uint32_t arc4random(void) {
  uint32_t value;
  if (getrandom(&value, sizeof value, 0) != sizeof value) abort();
  return value;
}

/* Thread-local objects with destructors: none are used, none are destroyed. */
int __cxa_thread_atexit_impl(void (*destroy)(void *), void *object, void *library) {
  (void)destroy, (void)object, (void)library;
  return 0;
}

/* libstdc++ reads the tables of character classes out of the locale; there is
 * one, "C", whose categories are empty to musl as well. */
struct classic {
  void *categories[13];
  const unsigned short *classes;
  const int *lower, *upper;
  const char *names[13];
};

const unsigned short **__ctype_b_loc(void);
const int **__ctype_tolower_loc(void);
const int **__ctype_toupper_loc(void);

locale_t __newlocale(int mask, const char *name, locale_t base) {
  static struct classic locale;
  (void)mask, (void)name, (void)base;
  locale.classes = *__ctype_b_loc();
  locale.lower = *__ctype_tolower_loc();
  locale.upper = *__ctype_toupper_loc();
  for (int i = 0; i < 13; ++i) locale.names[i] = "C";
  return (locale_t)&locale;
}

locale_t __duplocale(locale_t locale) {
  return locale;
}

void __freelocale(locale_t locale) {
  (void)locale;
}

size_t __strftime_l(char *out, size_t size, const char *format, const struct tm *when,
                    locale_t locale) {
  return strftime_l(out, size, format, when, locale);
}

/* Where the unwinder finds the frames of an address: glibc's dl_find_object. */
struct found {
  unsigned long long flags;
  void *start, *end;
  struct link_map *map;
  void *frames;
  unsigned long long reserved[7];
};

struct search {
  uintptr_t address;
  struct found *found;
};

static int lookInto(struct dl_phdr_info *object, size_t size, void *data) {
  struct search *search = data;
  uintptr_t start = 0, end = 0, frames = 0;
  (void)size;
  for (int i = 0; i < object->dlpi_phnum; ++i) {
    const ElfW(Phdr) *part = &object->dlpi_phdr[i];
    uintptr_t first = object->dlpi_addr + part->p_vaddr;
    if (part->p_type == PT_GNU_EH_FRAME) frames = first;
    if (part->p_type == PT_LOAD && search->address - first < part->p_memsz) {
      start = first;
      end = first + part->p_memsz;
    }
  }
  if (start == 0 || frames == 0) return 0;
  search->found->start = (void *)start;
  search->found->end = (void *)end;
  search->found->frames = (void *)frames;
  return 1;
}

int _dl_find_object(void *address, struct found *found) {
  struct search search = {(uintptr_t)address, found};
  return dl_iterate_phdr(lookInto, &search) == 1 ? 0 : -1;
}
