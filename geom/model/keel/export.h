#pragma once

/// Marks what the shared library shows to its callers; everything else stays hidden, so that two libraries
/// loaded into one application cannot meet through a symbol by accident.
#if defined(_WIN32)
#if defined(qvGeom_STATIC)
#define QVGEOM_API
#elif defined(qvGeom_EXPORTS)
#define QVGEOM_API __declspec(dllexport)
#else
#define QVGEOM_API __declspec(dllimport)
#endif
#else
#define QVGEOM_API __attribute__((visibility("default")))
#endif
