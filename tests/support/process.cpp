#include "support/process.hpp"

#include "support/scratch_directory.hpp"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace likeness::testing {
namespace {

::pid_t spawn(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
              const std::string& out, const std::string& err, const std::function<void()>& prepare) {
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
        if (prepare) {
            prepare();
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    return child;
}

/// A user without rights, but for that to files: the test's folder and the program stay within reach.
void becomeNobody() {
    constexpr ::uid_t nobody = 65534;
    constexpr std::uint32_t files = 1U << CAP_DAC_OVERRIDE;
    ::__user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const ::__user_cap_data_struct sets[2] = {{files, files, files}, {0, 0, 0}};
    if (::prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0 || ::setresuid(nobody, nobody, nobody) != 0 ||
        ::syscall(SYS_capset, &header, sets) != 0 ||
        ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_DAC_OVERRIDE, 0, 0) != 0) {
        ::_exit(126);
    }
}

}  // namespace

Outcome run(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
            const std::function<void()>& prepare) {
    const ScratchDirectory scratch;
    const std::string out = scratch.path() / "out";
    const std::string err = scratch.path() / "err";
    Outcome outcome;
    outcome.status = statusOf(spawn(arguments, workingDirectory, out, err, prepare));
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

void forbidThreads() {
    // The leak checker needs a thread of its own.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    const ::rlimit none{1, 1};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0) {
        ::_exit(126);
    }
    if (::geteuid() == 0) {
        becomeNobody();
    }
}

::pid_t start(const std::vector<std::string>& arguments, const std::filesystem::path& workingDirectory,
              const std::function<void()>& prepare) {
    return spawn(arguments, workingDirectory, "/dev/null", "/dev/null", prepare);
}

int statusOf(::pid_t process) {
    int status = 0;
    if (::waitpid(process, &status, 0) != process) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace likeness::testing
