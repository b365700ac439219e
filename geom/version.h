#pragma once

/// Version of the library, usable in the preprocessor: `#if QVGEOM_VERSION >= 100` asks for 0.1.0 or later.
/// The build reads the three numbers from here; nothing else states them.
#define QVGEOM_VERSION_MAJOR 0
#define QVGEOM_VERSION_MINOR 1
#define QVGEOM_VERSION_PATCH 0

#define QVGEOM_VERSION (QVGEOM_VERSION_MAJOR * 10000 + QVGEOM_VERSION_MINOR * 100 + QVGEOM_VERSION_PATCH)

#define QVGEOM_VERSION_TEXT_(a, b, c) #a "." #b "." #c
#define QVGEOM_VERSION_TEXT(a, b, c) QVGEOM_VERSION_TEXT_(a, b, c)
/// The version as text: "0.1.0".
#define QVGEOM_VERSION_STRING \
  QVGEOM_VERSION_TEXT(QVGEOM_VERSION_MAJOR, QVGEOM_VERSION_MINOR, QVGEOM_VERSION_PATCH)
