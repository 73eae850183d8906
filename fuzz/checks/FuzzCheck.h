#ifndef ZELKOV_FUZZ_CHECKS_FUZZ_CHECK_H
#define ZELKOV_FUZZ_CHECKS_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

// A broken expectation is reported like a sanitizer finding: a message and an
// abort, which both libFuzzer and a replaying test see as a crash.
#define ZEL_FUZZ_CHECK(condition)                                                              \
    do {                                                                                       \
        if (!(condition)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (0)

#endif
