/* The bits of a character's class, as libstdc++ reads them in the C library's
 * table, which musl keeps for it (__ctype_b_loc). */
#ifndef ORBA_MUSL_CTYPE_H
#define ORBA_MUSL_CTYPE_H
#include_next <ctype.h>
enum {
  _ISupper = 1 << 8,
  _ISlower = 1 << 9,
  _ISalpha = 1 << 10,
  _ISdigit = 1 << 11,
  _ISxdigit = 1 << 12,
  _ISspace = 1 << 13,
  _ISprint = 1 << 14,
  _ISgraph = 1 << 15,
  _ISblank = 1 << 0,
  _IScntrl = 1 << 1,
  _ISpunct = 1 << 2,
  _ISalnum = 1 << 3,
};
#endif
