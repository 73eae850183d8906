#ifndef ZELKOV_ANDROID_ZEL_EXPORT_H
#define ZELKOV_ANDROID_ZEL_EXPORT_H

// The library is built with hidden visibility; this marks what it exports.
#define ZEL_EXPORT __attribute__((visibility("default")))

#endif
