/* The router's settings store, as programs in C see it.
 *
 * On the device this interface is the vendor's; the libnvram in this folder
 * offers the same one on any Linux machine. A space is one whole set of
 * settings, kept in one file. Space 1 is the main configuration, space 2 the
 * 5 GHz module's. */
#ifndef NVRAM_H
#define NVRAM_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The value of `key` in `space`, or NULL when there is none. The text belongs
 * to the store and must not be written to; it stays readable as long as the
 * process lives, also after the key was given another value. */
char *nvram_get(int space, const char *key);

/* The same from the buffered copy of this process. */
char *nvram_bufget(int space, const char *key);

/* Sets `key` to `value` and makes it durable at once. 0, or -1 with errno. */
int nvram_set(int space, const char *key, const char *value);

/* Sets `key` in the buffered copy only; nvram_commit makes it durable.
 * 0, or -1 with errno. */
int nvram_bufset(int space, const char *key, const char *value);

/* Writes what this process has buffered for `space`. 0, or -1 with errno. */
int nvram_commit(int space);

/* Copies the `index`-th (from 0) piece of `value` between separators into
 * `out`, at most `size` bytes with the terminator. 0, or -1 when `value` has
 * no such piece; `out` is terminated either way when size is above 0. */
int getNthValueSafe(int index, const char *value, char separator, char *out, int size);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
