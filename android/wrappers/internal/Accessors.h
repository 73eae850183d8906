#ifndef ZELKOV_ANDROID_WRAPPERS_INTERNAL_ACCESSORS_H
#define ZELKOV_ANDROID_WRAPPERS_INTERNAL_ACCESSORS_H

// Definitions of the plain accessor pairs: one line per record field, read as
// the record's table (class, accessor name, type, field). The getter returns
// the field, the setter stores it; neither does anything else. A trailing
// return type lets `Type` name a function-pointer alias of the class.

#define ZEL_FIELD_ACCESSORS(Class, Name, Type, field)               \
    auto Class::Get##Name() const->Type { return m_record->field; } \
    void Class::Set##Name(Type value) { m_record->field = value; }

// A function-pointer slot: GetFn/SetFn followed by the slot's name.
#define ZEL_SLOT_ACCESSORS(Class, Name, Type, field)                  \
    auto Class::GetFn##Name() const->Type { return m_record->field; } \
    void Class::SetFn##Name(Type value) { m_record->field = value; }

#endif
