/// @file
/// What a shared library shows to its users. The library is built with hidden symbols; what is public is marked.
#pragma once

#ifdef LIKENESS_STATIC
#define LIKENESS_API
#else
/// Marks a function or a class that users of the shared library call.
#define LIKENESS_API __attribute__((visibility("default")))
#endif
