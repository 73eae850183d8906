// zelkov_demo: walks the library's typical roads on the simulated platform and
// exits 0 only when every road worked.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "Roads.h"

namespace {

struct Road {
    int order;
    const char* name;
    RoadFunction run;
};

std::vector<Road>& Roads() {
    static std::vector<Road> roads;
    return roads;
}

}  // namespace

RoadRegistration::RoadRegistration(int order, const char* name, RoadFunction run) {
    Roads().push_back({order, name, run});
}

int main() {
    std::vector<Road> roads = Roads();
    std::sort(roads.begin(), roads.end(), [](const Road& a, const Road& b) { return a.order < b.order; });
    int failed = 0;
    for (const Road& road : roads) {
        std::printf("== %s\n", road.name);
        if (!road.run()) {
            ++failed;
            std::printf("  road FAILED\n");
        }
    }
    std::printf("\n%zu of %zu roads worked\n", roads.size() - failed, roads.size());
    return failed == 0 ? 0 : 1;
}
