// Symbol visibility of the qz4tessellix library.
//
// The library is built with hidden visibility; only declarations marked
// QZ4_API are exported from the shared object. A static build needs no
// decoration, so QZ4_TESSELLIX_STATIC (set by the CMake package for static
// builds) leaves the macro empty.
#ifndef QZ4_EXPORT_H
#define QZ4_EXPORT_H

#if defined(QZ4_TESSELLIX_STATIC)
#define QZ4_API
#elif defined(_WIN32)
#if defined(QZ4_TESSELLIX_BUILDING)
#define QZ4_API __declspec(dllexport)
#else
#define QZ4_API __declspec(dllimport)
#endif
#else
#define QZ4_API __attribute__((visibility("default")))
#endif

#endif
