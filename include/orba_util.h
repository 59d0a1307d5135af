/* liborba_util: the common toolbox of a small Linux wireless router.
 *
 * Conventions
 *  - Every function runs to its end on the caller's thread. Buffers belong to
 *    the caller; their least size is given in bytes with the terminator.
 *  - A web getter is `int f(char *out, int argc, char **argv)`: the web
 *    server's page templates call it with an output buffer and their argument
 *    list. It writes one text and returns 1 unless its comment says otherwise.
 *  - "Settings" are keys of the store that libnvram reaches, in space 1 unless
 *    another space is named.
 *  - Shell commands run with their output thrown away and their exit status
 *    unread, through doSystem, unless the comment says "directly".
 */
#ifndef ORBA_UTIL_H
#define ORBA_UTIL_H

#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ==== core: commands, console, rule lists, timers ==================================== */

/* ==== net: interfaces, addresses, routes ============================================== */

/* ==== firewall ======================================================================== */

/* ==== wireless: channels, survey, radio =============================================== */

/* ==== wireless: Wi-Fi Protected Setup ================================================= */

/* ==== wireless: schedule ============================================================== */

/* ==== session ========================================================================= */

/* ==== status ========================================================================== */

/* ==== switch ========================================================================== */

/* ==== qos ============================================================================= */

/* ==== mgmt: start-up, services, time zone, backup, LEDs =============================== */

/* ==== crypto ========================================================================== */

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
