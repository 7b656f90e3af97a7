/// @file
/// The version of the library, for the preprocessor. The numbers stand here alone: the build reads them.
#pragma once

/// Changes where what was promised for good changes.
#define LIKENESS_VERSION_MAJOR 0
/// Changes with the interface while the major number is 0, later with what is added.
#define LIKENESS_VERSION_MINOR 1
/// Changes with corrections.
#define LIKENESS_VERSION_PATCH 0

#define LIKENESS_VERSION_TEXT_(number) #number
#define LIKENESS_VERSION_JOIN_(major, minor, patch) \
    LIKENESS_VERSION_TEXT_(major) "." LIKENESS_VERSION_TEXT_(minor) "." LIKENESS_VERSION_TEXT_(patch)

/// The version as text, such as "0.1.0".
#define LIKENESS_VERSION LIKENESS_VERSION_JOIN_(LIKENESS_VERSION_MAJOR, LIKENESS_VERSION_MINOR, LIKENESS_VERSION_PATCH)

/// The version as a number that grows: 1002003 for 1.2.3.
#define LIKENESS_VERSION_NUMBER \
    (LIKENESS_VERSION_MAJOR * 1000000 + LIKENESS_VERSION_MINOR * 1000 + LIKENESS_VERSION_PATCH)
