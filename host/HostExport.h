#pragma once

// Decoration for the stand-in host libraries Debug and Memory. A host that
// ships its own libraries provides the same functions under the same names.
#if defined(_WIN32)
#  if defined(QUORVAN_HOST_BUILDING)
#    define QUORVAN_HOST_API __declspec(dllexport)
#  else
#    define QUORVAN_HOST_API __declspec(dllimport)
#  endif
#else
#  define QUORVAN_HOST_API __attribute__((visibility("default")))
#endif
