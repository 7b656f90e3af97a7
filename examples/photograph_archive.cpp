// Photographs analysed once, and what looks most like each: photograph_archive ARCHIVE PHOTOGRAPH...
#include <likeness/likeness.hpp>

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    likeness::IndexOptions options;
    options.existing = likeness::IndexOptions::Existing::updated;  // what it has is not analysed again
    const likeness::IndexSummary made =
        likeness::indexPhotographs(std::vector<std::string>(argv + 2, argv + argc), argv[1], options);
    std::cout << made.photographs << " photographs, " << made.added << " new\n";

    const likeness::Archive archive(argv[1]);
    likeness::ArchivePairSearch search;
    search.nearest = 1;
    for (const likeness::ArchivePair& pair : archive.pairs(search)) {
        std::cout << archive.pathOf(pair.first) << " looks most like " << archive.pathOf(pair.second) << ": "
                  << pair.score << '\n';
    }
}
