#ifndef ZELKOV_ANDROID_CONSTANTS_INTERNAL_CONSTANT_TABLE_H
#define ZELKOV_ANDROID_CONSTANTS_INTERNAL_CONSTANT_TABLE_H

// Defines one getter of a constant table: `type getter()` returning `value`.
// The public header has declared it, with its export attribute.
#define ZEL_CONSTANT(type, getter, value) \
    type getter() { return value; }

#endif
