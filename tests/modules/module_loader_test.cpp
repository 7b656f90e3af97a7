#include "modules/module_loader.hpp"

#include "modules/imgcodecs.hpp"
#include "support/forked.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace likeness {
namespace {

using namespace testing;

std::string problemOf(const std::string& module, const char* entry) {
    try {
        moduleEntry(module, entry);
    } catch (const ModuleProblem& problem) {
        return problem.what();
    }
    return "";
}

TEST(ModuleLoader, FindsTheModulesOfTheBuildTree) {
    EXPECT_NE(moduleEntry("imgcodecs", "likeness_imread"), nullptr);
    EXPECT_NE(moduleEntry("video", "likeness_farneback"), nullptr);
    EXPECT_EQ(moduleEntry("imgcodecs", "likeness_imread"), moduleEntry("imgcodecs", "likeness_imread"));
}

TEST(ModuleLoader, SaysInOneLineWhatIsMissing) {
    const std::string problem = problemOf("nothing", "entry");
    EXPECT_EQ(problem.rfind("the module likeness_nothing.so cannot be loaded (", 0), 0U) << problem;
    EXPECT_NE(problem.find("set LIKENESS_MODULES to its folder"), std::string::npos) << problem;
    EXPECT_EQ(problem.find('\n'), std::string::npos) << problem;
    EXPECT_NE(problemOf("imgcodecs", "likeness_nothing").find("has no 'likeness_nothing'"), std::string::npos);
}

// Each in a process of its own, in which nothing has been loaded yet.

TEST(ModuleLoader, LooksOnlyWhereTheEnvironmentSays) {
    const ScratchDirectory scratch;
    EXPECT_EQ(statusOfForked([] {
                  ::setenv("LIKENESS_MODULES", "/nowhere", 1);
                  return problemOf("other", "entry").find("(/nowhere/likeness_other.so: ") != std::string::npos;
              }),
              0);
}

TEST(ModuleLoader, RefusesAModuleOfAnotherBuild) {
    const ScratchDirectory scratch;
    // Any shared object will do that does not say that it fits.
    std::filesystem::create_symlink(LIKENESS_FOREIGN_MODULE, "likeness_foreign.so");
    EXPECT_EQ(statusOfForked([] {
                  ::setenv("LIKENESS_MODULES", ".", 1);
                  return problemOf("foreign", "entry").find("is not of likeness ") != std::string::npos;
              }),
              0);
}

TEST(ModuleLoader, AFailureOfTheMachineIsTriedAgain) {
    const ScratchDirectory scratch;
    std::filesystem::copy_file(LIKENESS_VIDEO_MODULE, "likeness_again.so");
    EXPECT_EQ(statusOfForked([] {
                  ::setenv("LIKENESS_MODULES", ".", 1);
                  ::rlimit limit{};
                  ::getrlimit(RLIMIT_NOFILE, &limit);
                  const ::rlimit none{0, limit.rlim_max};
                  ::setrlimit(RLIMIT_NOFILE, &none);
                  int problem = 0;
                  try {
                      moduleEntry("again", "likeness_farneback");
                  } catch (const ModuleProblem& machine) {
                      problem = machine.errorNumber();
                  }
                  ::setrlimit(RLIMIT_NOFILE, &limit);
                  return problem == EMFILE && moduleEntry("again", "likeness_farneback") != nullptr;
              }),
              0);
}

}  // namespace
}  // namespace likeness
