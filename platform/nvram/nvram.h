/* The router's settings store, as programs in C see it.
 *
 * On the device this interface is the vendor's; the libnvram in this folder
 * offers the same one on any Linux machine. A space is one whole set of
 * settings, kept in one file. Space 1 is the main configuration, space 2 the
 * 5 GHz module's; spaces 1 to 9 may be used.
 *
 * Where: space N is the text file "spaceN.conf" in the folder that the
 * environment variable ORBA_NVRAM_DIR names when the store is first used,
 * /var/lib/orba otherwise; a relative name counts from where the process is
 * then. The first commit makes the folder and the file. A link that we or root
 * made is followed, and what it leads to is replaced. store_format.h says what
 * stands in the file. It may be edited by hand while programs run, but a commit
 * writes it anew: settings sorted, comments gone.
 *
 * Whose: a new file is its owner's alone until someone changes its mode. It
 * keeps its mode; its owner too when root commits, while anyone else who
 * commits becomes the owner. A group shares a space when the file may be
 * written by the group (0660) and so may the folder (0775): the file stays with
 * the group. A folder is used that belongs to the process's user or to root, or
 * that its owner opened to a group of the process's user, who is not root; and
 * not when everyone may write to it. What else would let a stranger choose the
 * settings, the files that are read or those that are written fails with EPERM
 * and is reported: links of others, and what is no regular file.
 *
 * Keys and values: any bytes but NUL. A key is not empty, holds no '=' and no
 * newline, and does not begin with '#' or '['.
 *
 * Several processes: each reads what the others have committed. A commit puts
 * the changes of its own process over what the file holds at that moment, so
 * no other process's settings are lost; of two changes to one key the later
 * commit stays. A process that dies at any moment leaves the old contents or
 * the new ones.
 *
 * A damaged file: each bad line is reported once on standard error, with file
 * and line, and the good settings are used. The next commit first keeps a copy
 * as "spaceN.conf.damaged" (in place of an older one).
 *
 * A file that cannot be read is reported once, and is never written over. While
 * that lasts, a process goes on with the settings that it knew. An empty file
 * cannot be read either (ENODATA): a commit never leaves one, so an editor is
 * at work. To empty a space, write a comment into its file, or remove the file
 * and its lock: a lock that is left stays its first writer's.
 *
 * Threads and signal handlers: any thread may call at any time. Signals are
 * held back while a call works, so a handler never meets a store at work on its
 * own thread and may call it as well. A commit that waits for another process's
 * lets them through: one without a handler may end the process, and after a
 * handler without SA_RESTART the call fails with EINTR. What remains is the C
 * library's rule: the store uses the heap, as stdio does, so a handler that may
 * have interrupted malloc must keep away from both. A fork leaves the child a
 * store of its own with a copy of the buffered changes. */
#ifndef NVRAM_H
#define NVRAM_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* The value of `key` in `space` as last committed by any process, or NULL with
 * errno: ENOENT when there is no such setting, EINVAL for a null key or an
 * unknown space, otherwise why the file, of which nothing is known yet, could
 * not be read. The text belongs to the store and must not be written to; it
 * stays readable as long as the process lives, also after the key was given
 * another value. (Each distinct text that was ever asked for is kept, once.) */
char *nvram_get(int space, const char *key);

/* The same as this process would commit it: a change that it has buffered, and
 * nvram_get's answer for every other key. */
char *nvram_bufget(int space, const char *key);

/* Sets `key` to `value` and makes it durable at once. This key only: what else
 * is buffered stays buffered, and a buffered change of `key` is dropped.
 * 0, or -1 with errno and nothing changed: EINVAL for an unknown space, a bad
 * key or a null value, otherwise why the file could not be read or written. A
 * change that the disk neither makes durable nor takes back counts as made (0),
 * and is reported on standard error. */
int nvram_set(int space, const char *key, const char *value);

/* Sets `key` in the buffered copy of this process only; nvram_commit makes it
 * durable, and the process's end forgets it. 0, or -1 with errno EINVAL for an
 * unknown space, a bad key or a null value. */
int nvram_bufset(int space, const char *key, const char *value);

/* Makes all that this process has buffered for `space` durable, as nvram_set
 * does; without anything buffered it leaves the file alone. 0, or -1 with errno
 * and nothing changed: EINVAL for an unknown space, otherwise why the file
 * could not be read or written. The changes are then still buffered, and
 * another commit may try again. */
int nvram_commit(int space);

/* Copies the `index`-th (from 0) piece of `value` between separators into
 * `out`, cut to `size` bytes with the terminator. An empty value has no
 * pieces; a separator at the end leaves an empty last one. 0, or -1 when there
 * is no such piece (or `value` or `out` is null, or `size` below 1); `out` is
 * terminated either way when size is above 0. `out` may be `value` itself. */
int getNthValueSafe(int index, const char *value, char separator, char *out, int size);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
