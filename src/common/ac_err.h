// ac_err - the one form of a failure line on standard output.
//
// A line leaves in a single printf, so that two threads never mix theirs. The message carries its own line end where it
// has one: some lines of the system have none.
#pragma once

#include <cstdio>

#define AC_ERR(fmt, ...) printf("Error->%s(%d)--" fmt, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// A failed allocation: its reason on standard error, then the line.
#define AC_ERR_MALLOC() (perror("malloc"), AC_ERR("malloc failed\n"))
