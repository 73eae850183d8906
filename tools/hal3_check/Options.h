#ifndef HAL3_CHECK_OPTIONS_H
#define HAL3_CHECK_OPTIONS_H
// The command line of a run, as main.cpp parsed it.

#include <string>

namespace hal3_check {

struct Options {
    std::string module;  // --module: path to load; empty: hw_get_module
    std::string camera;  // --camera: one id; empty: all
    std::string out = "hal3_check_out";
    int frames = 30;            // --frames: frames per streaming scenario
    int stallMs = 2000;         // --stall-ms: no progress for this long is a time-out
    int rateTolerancePct = 20;  // --rate-tolerance: recording frame intervals may be off by this much
    bool dumpFrames = true;     // --no-dump
};

inline Options& options() {
    static Options o;
    return o;
}

}  // namespace hal3_check

#endif  // HAL3_CHECK_OPTIONS_H
