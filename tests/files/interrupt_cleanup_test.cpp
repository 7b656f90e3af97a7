#include "files/interrupt_cleanup.hpp"

#include "batch/stop_signals.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace likeness {
namespace {

namespace fs = std::filesystem;

using testing::ScratchDirectory;

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU};

/// Runs `body` in a forked child that has these signals at their defaults.
/// @return  the signal that ended it, or its exit status negated
int endOfChild(const std::function<void()>& body) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        for (const int signal : endingSignals) {
            std::signal(signal, SIG_DFL);
        }
        body();
        ::_exit(1);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFSIGNALED(status) ? WTERMSIG(status)
                                                                                     : -WEXITSTATUS(status);
}

void make(const std::string& path) {
    std::ofstream(path) << "half";
}

TEST(RemovedOnInterrupt, FilesAndFoldersOfFilesGoAndTheSignalIsTold) {
    const ScratchDirectory scratch;
    for (const int signal : endingSignals) {
        EXPECT_EQ(endOfChild([&] {
                      const RemovedOnInterrupt file("file");
                      const RemovedOnInterrupt folder("folder");
                      const RemovedOnInterrupt none("never made");
                      make("file");
                      fs::create_directory("folder");
                      for (int k = 0; k < 300; ++k) {
                          make("folder/" + std::string(100, 'x') + std::to_string(k));
                      }
                      make("result");
                      std::raise(signal);
                  }),
                  signal);
        EXPECT_TRUE(fs::remove("result"));
        EXPECT_TRUE(fs::is_empty(scratch.path()));
    }
}

TEST(RemovedOnInterrupt, WhatIsDoneStays) {
    const ScratchDirectory scratch;
    EXPECT_EQ(endOfChild([] {
                  {
                      const RemovedOnInterrupt guard("file");
                      make("file");
                  }
                  std::raise(SIGTERM);
              }),
              SIGTERM);
    EXPECT_TRUE(fs::exists("file"));
}

TEST(RemovedOnInterrupt, AChildLeavesItsParentsFilesAlone) {
    const ScratchDirectory scratch;
    EXPECT_EQ(endOfChild([] {
                  const RemovedOnInterrupt guard("file");
                  make("file");
                  if (::fork() == 0) {
                      std::raise(SIGTERM);
                  }
                  ::wait(nullptr);
                  ::_exit(fs::exists("file") ? 7 : 8);
              }),
              -7);
}

TEST(RemovedOnInterrupt, MoreThanThereIsRoomForDoNoHarm) {
    const ScratchDirectory scratch;
    EXPECT_EQ(endOfChild([] {
                  std::vector<std::unique_ptr<RemovedOnInterrupt>> guards;
                  for (int k = 0; k < 200; ++k) {
                      guards.push_back(std::make_unique<RemovedOnInterrupt>("file" + std::to_string(k)));
                  }
                  guards.push_back(std::make_unique<RemovedOnInterrupt>(std::string(10000, 'x')));
                  make("file0");
                  std::raise(SIGINT);
              }),
              SIGINT);
    EXPECT_FALSE(fs::exists("file0"));
}

TEST(HeldInterruptions, PutASignalOffUntilTheFileIsKnown) {
    const ScratchDirectory scratch;
    EXPECT_EQ(endOfChild([] {
                  const RemovedOnInterrupt first("first");
                  std::optional<RemovedOnInterrupt> second;
                  {
                      const HeldInterruptions held;
                      ::kill(::getpid(), SIGTERM);
                      make("second");
                      second.emplace("second");
                  }
              }),
              SIGTERM);
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST(StopSignals, TheFirstIsAWishAndTheSecondEnds) {
    const ScratchDirectory scratch;
    EXPECT_EQ(endOfChild([] {
                  const RemovedOnInterrupt guard("file");
                  make("file");
                  const StopSignals signals;
                  std::raise(SIGTERM);
                  if (signals.received() != SIGTERM) {
                      ::_exit(3);
                  }
                  std::raise(SIGINT);
              }),
              SIGINT);
    EXPECT_TRUE(fs::is_empty(scratch.path()));
}

TEST(StopSignals, AnIgnoredOneStaysIgnored) {
    EXPECT_EQ(endOfChild([] {
                  std::signal(SIGINT, SIG_IGN);
                  const StopSignals signals;
                  std::raise(SIGINT);
                  ::_exit(signals.received() == 0 ? 5 : 6);
              }),
              -5);
}

}  // namespace
}  // namespace likeness
