# Warnings of the project's own targets; nothing of this reaches a user's targets.
# Where sources are joined a local name may be that of another source's helper: -Wshadow is for builds of single sources.
add_library(likeness_warnings INTERFACE)
target_compile_options(
    likeness_warnings
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wconversion
              $<$<NOT:$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wshadow>
              $<$<BOOL:${LIKENESS_WARNINGS_AS_ERRORS}>:-Werror>)
