// Included before all else: the headers of a C++ library that was configured for glibc, told what musl has
// not.
#define __GLIBC_PREREQ(major, minor) 0
#include <bits/c++config.h>
#undef __GLIBC_PREREQ
#undef _GLIBCXX_USE_PTHREAD_COND_CLOCKWAIT
#undef _GLIBCXX_USE_PTHREAD_MUTEX_CLOCKLOCK
#undef _GLIBCXX_USE_PTHREAD_RWLOCK_CLOCKLOCK
#define __locale_t locale_t
