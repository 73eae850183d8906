// The vendor tags of section com.zelkov.sim.
#ifndef ZELKOV_CAMERA_CORE_VENDOR_TAGS_H
#define ZELKOV_CAMERA_CORE_VENDOR_TAGS_H

#include <android/wrappers/Records.h>

namespace camera_core {

// Fills the framework's (or our own) vendor tag table.
void FillVendorTagOps(vendor_tag_ops* ops);

}  // namespace camera_core

#endif
