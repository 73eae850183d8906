// zelkov_demo: walks the library's typical roads on the simulated platform and
// exits 0 only when every road worked.
#include <cstdio>

#include "Roads.h"

int main() {
    struct Road {
        const char* name;
        bool (*run)();
    };
    const Road roads[] = {
        {"records and the stream road", RunStreamRoad},
    };
    int failed = 0;
    for (const Road& road : roads) {
        std::printf("== %s\n", road.name);
        if (!road.run()) ++failed;
    }
    std::printf("\n%d of %zu roads worked\n", static_cast<int>(sizeof(roads) / sizeof(roads[0])) - failed,
                sizeof(roads) / sizeof(roads[0]));
    return failed == 0 ? 0 : 1;
}
