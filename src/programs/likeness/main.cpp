// The command `likeness FIRST SECOND`.
#include <likeness/comparison/metrics.hpp>
#include <likeness/diagnostics/diagnostics.hpp>
#include "codecs/memory_check.hpp"
#include "comparison/counted_rows.hpp"
#include "comparison/report.hpp"
#include "diagnostics/shown_text.hpp"
#include "photofile/photograph_reader.hpp"

#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <tuple>

namespace {

enum ExitStatus : int {
    compared = 0,
    unreadablePhotograph = 2,
    failed = 3,
    wrongArgumentCount = -1,  // a shell shows 255
};

void complain(const std::string& text) {
    std::cerr << "likeness: " + likeness::shownText(text) + '\n';
}

/// What the reading as 8 bits takes from a file; empty where it takes nothing.
std::string reductionOf(const likeness::PhotographRead& photograph) {
    if (photograph.linear) {
        return "its linear values are taken for gamma-encoded bytes as they are, and those of OpenEXR and PFM files "
               "from "
               "0 to 1 for 0 and 1 alone; darkroom compare encodes them";
    }
    if (photograph.floats) {
        return "its floats are reduced to whole numbers from 0 to 255, values from 0 to 1 perhaps to 0 and 1 alone; "
               "darkroom compare takes them as they are";
    }
    return photograph.bits > 8 ? "its " + std::to_string(photograph.bits) + " bits per channel are reduced to 8"
                               : std::string();
}

int compare(const char* firstPath, const char* secondPath) {
    const std::string paths[2] = {firstPath, secondPath};
    likeness::PhotographRead photographs[2];
    // Of the first nothing but the colours is wanted where the second one's files replace its own.
    likeness::CountedPhotographRows rows;
    std::tie(photographs[0], photographs[1]) =
        likeness::readPhotographPair(paths[0], paths[1], likeness::PhotographValues::bytes, likeness::usualMostPixels,
                                     nullptr, nullptr, &rows, nullptr);
    for (int i = 0; i < 2; ++i) {
        if (!photographs[i].isRead()) {
            complain("cannot read '" + paths[i] + "'" + photographs[i].problem);
            return unreadablePhotograph;
        }
    }
    for (int i = 0; i < 2; ++i) {
        const std::string reduction = reductionOf(photographs[i]);
        if (!reduction.empty()) {
            complain("warning: '" + paths[i] + "': " + reduction);
        }
        for (const std::string& remark : photographs[i].remarks) {
            complain("warning: '" + paths[i] + "': " + remark);
        }
    }
    const likeness::DirectoryDiagnostics dumps{std::string()};
    const likeness::SeenPhotograph first = rows.seen(photographs[0].bgr, photographs[0].rowsOf);
    const std::optional<likeness::LikenessCoefficients> coefficients =
        first.colors == nullptr ? std::nullopt : likeness::compareWithReplaced(first, photographs[1].bgr, dumps);
    if (coefficients) {
        likeness::report(*coefficients);
    } else {
        if (photographs[0].bgr.empty()) {
            photographs[0] = likeness::readPhotograph(paths[0]);
        }
        if (photographs[0].bgr.empty()) {
            complain("cannot read '" + paths[0] + "'" + photographs[0].problem);
            return unreadablePhotograph;
        }
        likeness::metrics(photographs[0].bgr, photographs[1].bgr, dumps);
    }
    for (const std::string& name : dumps.failures()) {
        complain("warning: cannot write '" + name + "'");
    }
    if (!std::cout) {
        complain("cannot write to standard output");
        return failed;
    }
    return compared;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error of the write that meets the limit
    if (argc != 3) {
        return wrongArgumentCount;
    }
    try {
        return compare(argv[1], argv[2]);
    } catch (const std::exception& error) {
        complain(likeness::isMemoryShortage(error) ? likeness::memoryShortageText : error.what());
        return failed;
    }
}
