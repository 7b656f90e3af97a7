#include "support/process.hpp"

#include "support/scratch_directory.hpp"

#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace likeness::testing {
namespace {

::pid_t spawn(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
              const std::string& out, const std::string& err) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const ::pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        const int outFile = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        const int errFile = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (outFile < 0 || errFile < 0 || ::dup2(outFile, 1) < 0 || ::dup2(errFile, 2) < 0 ||
            ::chdir(workingDirectory.c_str()) != 0) {
            ::_exit(126);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    return child;
}

}  // namespace

Outcome run(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory) {
    const ScratchDirectory scratch;
    const std::string out = scratch.path() / "out";
    const std::string err = scratch.path() / "err";
    Outcome outcome;
    outcome.status = statusOf(spawn(arguments, workingDirectory, out, err));
    outcome.out = contentOf(out);
    outcome.err = contentOf(err);
    return outcome;
}

std::vector<std::string> linesOf(const std::string& text, char end) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line, end);) {
        lines.push_back(line);
    }
    return lines;
}

::pid_t start(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory) {
    return spawn(arguments, workingDirectory, "/dev/null", "/dev/null");
}

int statusOf(::pid_t process) {
    int status = 0;
    if (::waitpid(process, &status, 0) != process) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace likeness::testing
