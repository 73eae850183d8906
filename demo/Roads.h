#ifndef ZELKOV_DEMO_ROADS_H
#define ZELKOV_DEMO_ROADS_H

#include <cstdio>

// A road prints what it does and returns whether everything worked. Each
// *Road.cpp registers its road with ZELKOV_DEMO_ROAD; main runs them by order.
using RoadFunction = bool (*)();

struct RoadRegistration {
    RoadRegistration(int order, const char* name, RoadFunction run);
};

#define ZELKOV_DEMO_ROAD(order, name, function) static const RoadRegistration g_road_##function(order, name, function)

// Prints a check's outcome and passes it through.
inline bool DemoCheck(bool ok, const char* what) {
    std::printf("  [%s] %s\n", ok ? " ok " : "FAIL", what);
    return ok;
}

#endif
