#ifndef PSDKIT_CORE_PSDEXPORT_H
#define PSDKIT_CORE_PSDEXPORT_H

// Symbols are hidden by default; PSDKIT_API marks the public interface.
#if defined(PSDKIT_BUILDING)
#define PSDKIT_API __attribute__((visibility("default")))
#else
#define PSDKIT_API
#endif

#endif

// Defines a display text: a global char* to writable storage holding `text`.
#define PSDKIT_DEFINE_TEXT(name, text)    \
    static char name##_storage_[] = text; \
    char* name = name##_storage_
