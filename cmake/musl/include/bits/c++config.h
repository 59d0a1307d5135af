/* libstdc++ as if it had been configured for musl rather than for glibc. */
#ifndef ORBA_MUSL_CXXCONFIG_H
#define ORBA_MUSL_CXXCONFIG_H
#define __GLIBC_PREREQ(major, minor) 0
#include_next <bits/c++config.h>
#undef _GLIBCXX_USE_PTHREAD_COND_CLOCKWAIT
#undef _GLIBCXX_USE_PTHREAD_MUTEX_CLOCKLOCK
#undef _GLIBCXX_USE_PTHREAD_RWLOCK_CLOCKLOCK
#endif
