#pragma once

#include <string>
#include <vector>

namespace likeness {

/// The format libraries print their remarks ("Premature end of JPEG file") to the C stream `stderr`, from whatever
/// thread decodes. While an object of this class lives, that stream hands what a thread prints to the thread's
/// `RemarkCollector`, and passes it on to standard error where it has none. What such a thread writes to `std::cerr`,
/// where the image library says that it does not read a file, is dropped. Several may live at the same time, in
/// any threads: the first of them changes the streams, and the last changes them back.
class RemarkSorter {
public:
    RemarkSorter();
    ~RemarkSorter();
    RemarkSorter(const RemarkSorter&) = delete;
    RemarkSorter& operator=(const RemarkSorter&) = delete;

    /// Whether there is one.
    static bool isAtWork() noexcept;
};

/// Takes what the thread that makes it prints to `stderr` while the object lives.
class RemarkCollector {
public:
    RemarkCollector();
    ~RemarkCollector();
    RemarkCollector(const RemarkCollector&) = delete;
    RemarkCollector& operator=(const RemarkCollector&) = delete;

    /// The lines that were printed.
    std::vector<std::string> allLines() const;

    /// The same, each once, in the order of their first appearance; printable ASCII only, at most
    /// 10.
    std::vector<std::string> lines() const;

private:
    std::string text_;
};

}  // namespace likeness
