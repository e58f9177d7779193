// libpq's growable string buffer (PQExpBuffer), usable from C++.
//
// The header is one of libpq's internal ones: it expects the server's c.h to have
// defined pg_attribute_printf and size_t, and it has no C++ linkage block.
#ifndef CALYX_DB_PQ_EXPBUFFER_H
#define CALYX_DB_PQ_EXPBUFFER_H

#include <stddef.h>

#ifndef pg_attribute_printf
#define pg_attribute_printf(fmt, args) __attribute__((format(printf, fmt, args)))
#endif

extern "C" {
#include "pqexpbuffer.h"
}

#endif  // CALYX_DB_PQ_EXPBUFFER_H
