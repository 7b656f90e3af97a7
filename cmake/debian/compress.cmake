# Run by CPack on the staged files: manuals are compressed, and each package gets its changelog.
file(GLOB_RECURSE manuals "${CPACK_TEMPORARY_DIRECTORY}/*/man/man1/*.1")
foreach(manual IN LISTS manuals)
    execute_process(COMMAND gzip -9n "${manual}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(PROJECT_VERSION "${CPACK_PACKAGE_VERSION}")
file(GLOB_RECURSE notices "${CPACK_TEMPORARY_DIRECTORY}/*/copyright")
foreach(notice IN LISTS notices)
    get_filename_component(folder "${notice}" DIRECTORY)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.in" "${folder}/changelog" @ONLY)
    execute_process(COMMAND gzip -9n "${folder}/changelog" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
