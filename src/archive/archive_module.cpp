// The module `archive`: everything that `Archive` does.
#include "archive/archive_operations.hpp"
#include "modules/module_entry.hpp"

LIKENESS_MODULE_ENTRY const likeness::ArchiveFunctions* likeness_archive_functions() {
    static constexpr likeness::ArchiveFunctions functions = {likeness::openArchive, likeness::indexedArchive,
                                                             likeness::writeAnalyses};
    return &functions;
}
