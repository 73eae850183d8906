#ifndef ZELKOV_DEMO_ROADS_H
#define ZELKOV_DEMO_ROADS_H

#include <cstdio>

// Each road prints what it does and returns whether everything worked.
bool RunStreamRoad();

// Prints a check's outcome and passes it through.
inline bool DemoCheck(bool ok, const char* what) {
    std::printf("  [%s] %s\n", ok ? " ok " : "FAIL", what);
    return ok;
}

#endif
