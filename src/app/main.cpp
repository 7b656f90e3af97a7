// The command `likeness FIRST SECOND`.
#include <csignal>
#include <exception>
#include <iostream>
#include <string>

#include "app/metrics.hpp"
#include "app/photograph_reader.hpp"
#include "diagnostics/diagnostics.hpp"
#include "diagnostics/shown_text.hpp"

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

int compare(const char* firstPath, const char* secondPath) {
    const std::string paths[2] = {firstPath, secondPath};
    likeness::PhotographRead photographs[2];
    for (int i = 0; i < 2; ++i) {
        photographs[i] = likeness::readPhotograph(paths[i]);
        if (photographs[i].bgr.empty()) {
            complain("cannot read '" + paths[i] + "' as an image");
            return unreadablePhotograph;
        }
    }
    for (int i = 0; i < 2; ++i) {
        for (const std::string& remark : photographs[i].remarks) {
            complain("warning: '" + paths[i] + "': " + remark);
        }
    }
    const likeness::DirectoryDiagnostics dumps{std::string()};
    likeness::metrics(photographs[0].bgr, photographs[1].bgr, dumps);
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
        complain(error.what());
        return failed;
    }
}
