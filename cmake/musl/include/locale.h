/* libstdc++'s name for a locale. */
#ifndef ORBA_MUSL_LOCALE_H
#define ORBA_MUSL_LOCALE_H
#include_next <locale.h>
typedef locale_t __locale_t;
#endif
