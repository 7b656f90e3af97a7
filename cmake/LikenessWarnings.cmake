# Warnings of the project's own targets; nothing of this reaches a user's targets.
add_library(likeness_warnings INTERFACE)
target_compile_options(
    likeness_warnings
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wconversion
              -Wshadow
              $<$<BOOL:${LIKENESS_WARNINGS_AS_ERRORS}>:-Werror>)
