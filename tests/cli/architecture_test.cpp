// Holds the drawing of docs/architecture.md against the code: which room includes which, and that nothing points
// upwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace likeness {
namespace {

namespace fs = std::filesystem;

const fs::path source = LIKENESS_SOURCE_DIRECTORY;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

struct Room {
    std::string name;
    std::set<std::string> standsOn;
};

/// The rooms of the table in docs/architecture.md, from the top floor down.
std::vector<Room> drawnRooms() {
    std::vector<Room> rooms;
    std::istringstream lines(contentOf(source / "docs/architecture.md"));
    const std::regex row(R"(\| `([\w/]+)/` \| (.*) \| (.*) \|)");
    const std::regex name(R"(`([\w/]+)/`)");
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_match(line, match, row)) {
            continue;
        }
        Room room{match[1], {}};
        const std::string below = match[3];
        for (std::sregex_iterator i(below.begin(), below.end(), name), end; i != end; ++i) {
            room.standsOn.insert((*i)[1]);
        }
        rooms.push_back(room);
    }
    return rooms;
}

/// A source file of a room, by its path below src/ or include/likeness/.
std::string roomOf(const std::string& path, const std::vector<Room>& rooms) {
    std::string found;
    for (const Room& room : rooms) {
        if (path.rfind(room.name + '/', 0) == 0 && room.name.size() > found.size()) {
            found = room.name;
        }
    }
    return found;
}

struct SourceFile {
    std::string path;  ///< below src/ or include/likeness/
    std::string content;
};

std::vector<SourceFile> sourceFiles() {
    std::vector<SourceFile> files;
    for (const fs::path& root : {source / "src", source / "include/likeness"}) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
            const std::string extension = entry.path().extension().string();
            if (extension == ".cpp" || extension == ".hpp") {
                files.push_back({fs::relative(entry.path(), root).string(), contentOf(entry.path())});
            }
        }
    }
    return files;
}

/// @return  the path below src/ or include/likeness/ of what an `#include` names; empty for what is not the project's
std::string includedPath(const std::string& name) {
    if (name.rfind("likeness/", 0) == 0) {
        return name.substr(9);
    }
    for (const std::string prefix : {"", "programs/darkroom/"}) {
        if (fs::exists(source / "src" / (prefix + name))) {
            return prefix + name;
        }
    }
    return "";
}

std::map<std::string, std::set<std::string>> includesAmong(const std::vector<Room>& rooms) {
    std::map<std::string, std::set<std::string>> includes;
    const std::regex include(R"(#include [<"]([\w/.]+)[>"])");
    for (const SourceFile& file : sourceFiles()) {
        const std::string from = roomOf(file.path, rooms);
        for (std::sregex_iterator i(file.content.begin(), file.content.end(), include), end; i != end; ++i) {
            const std::string to = roomOf(includedPath((*i)[1]), rooms);
            if (!to.empty() && to != from) {
                includes[from].insert(to);
            }
        }
    }
    return includes;
}

std::string listed(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "`" : ", `") + name + "/`";
    }
    return text;
}

TEST(Architecture, EveryFileStandsInADrawnRoom) {
    const std::vector<Room> rooms = drawnRooms();
    for (const SourceFile& file : sourceFiles()) {
        const bool atTheRoot = file.path.find('/') == std::string::npos;  // likeness.hpp and what every header needs
        EXPECT_TRUE(!roomOf(file.path, rooms).empty() || atTheRoot) << file.path;
    }
}

TEST(Architecture, TheDrawingIsThatOfTheIncludes) {
    const std::vector<Room> rooms = drawnRooms();
    ASSERT_GT(rooms.size(), 10U);
    std::map<std::string, std::set<std::string>> includes = includesAmong(rooms);
    for (const Room& room : rooms) {
        EXPECT_EQ(listed(room.standsOn), listed(includes[room.name])) << "row of " << room.name;
    }
}

TEST(Architecture, NothingPointsUpwards) {
    std::set<std::string> seen;  // this row's and those above
    for (const Room& room : drawnRooms()) {
        seen.insert(room.name);
        for (const std::string& below : room.standsOn) {
            EXPECT_EQ(seen.count(below), 0U) << room.name << " stands on " << below << ", which is above it";
        }
    }
}

TEST(Architecture, NoRoomHoldsMoreThanAFifthOfTheCode) {
    const std::vector<Room> rooms = drawnRooms();
    std::map<std::string, std::ptrdiff_t> lines;
    std::ptrdiff_t all = 0;
    for (const SourceFile& file : sourceFiles()) {
        const std::ptrdiff_t count = std::count(file.content.begin(), file.content.end(), '\n');
        lines[roomOf(file.path, rooms)] += count;
        all += count;
    }
    for (const auto& [room, count] : lines) {
        EXPECT_LE(5 * count, all) << room;
    }
}

TEST(Architecture, PublicHeadersIncludeOnlyPublicOnes) {
    const std::regex quoted(R"(#include "([\w/.]+)\")");
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(source / "include/likeness")) {
        if (entry.path().extension() == ".hpp") {
            const std::string content = contentOf(entry.path());
            std::smatch match;
            EXPECT_FALSE(std::regex_search(content, match, quoted)) << entry.path() << ": " << match.str();
        }
    }
}

}  // namespace
}  // namespace likeness
