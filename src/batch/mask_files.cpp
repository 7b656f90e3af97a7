#include "batch/mask_files.hpp"

#include "batch/earlier_results.hpp"
#include "files/file_checksum.hpp"
#include "files/file_stamp.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <array>

namespace likeness {
namespace {

struct MaskColumn {
    const char* mask;  ///< of the list
    const char* file;  ///< of the results
};

constexpr std::array<MaskColumn, 2> maskColumns = {
    {{firstMaskColumn, "first_mask_file"}, {secondMaskColumn, "second_mask_file"}}};

std::string fileNow(const std::string& path, bool checksums) {
    const std::optional<FileStamp> stamp = stampOf(path);
    if (!stamp) {
        return {};
    }
    std::string text = std::to_string(stamp->bytes) + ' ' + std::to_string(stamp->modified);
    try {
        return checksums ? text + ' ' + fingerprintOf(path).sha256 : text;
    } catch (const Refusal&) {
        return text;
    }
}

}  // namespace

std::vector<std::string> maskFileColumns(const std::vector<std::string>& ofList) {
    std::vector<std::string> columns;
    for (const MaskColumn& column : maskColumns) {
        if (std::find(ofList.begin(), ofList.end(), column.mask) != ofList.end()) {
            columns.emplace_back(column.file);
        }
    }
    return columns;
}

bool isMaskFileColumn(const std::string& column) {
    return std::any_of(maskColumns.begin(), maskColumns.end(),
                       [&](const MaskColumn& one) { return column == one.file; });
}

std::vector<CarriedValue> maskFilesNow(const std::vector<std::string>& ofList, const std::vector<CarriedValue>& carried,
                                       const std::string& root, bool checksums) {
    std::vector<CarriedValue> files;
    for (const MaskColumn& column : maskColumns) {
        if (std::find(ofList.begin(), ofList.end(), column.mask) != ofList.end()) {
            const std::string mask = maskIn(carried, column.mask);
            files.push_back({column.file, CarriedValue::Kind::text,
                             mask.empty() ? std::string() : fileNow(pathUnder(root, mask), checksums)});
        }
    }
    return files;
}

bool masksHaveChanged(const std::vector<CarriedValue>& recorded, const std::vector<CarriedValue>& now) {
    return std::any_of(now.begin(), now.end(), [&](const CarriedValue& file) {
        const auto before = std::find_if(recorded.begin(), recorded.end(),
                                         [&](const CarriedValue& value) { return value.column == file.column; });
        if (before == recorded.end() || file.text.empty()) {
            return false;
        }
        // A checksum that only one of them has says nothing.
        const auto ofStamp = [](const std::string& text) { return text.substr(0, text.find(' ', text.find(' ') + 1)); };
        const bool alike = std::count(before->text.begin(), before->text.end(), ' ') ==
                           std::count(file.text.begin(), file.text.end(), ' ');
        return alike ? before->text != file.text : ofStamp(before->text) != ofStamp(file.text);
    });
}

std::vector<CarriedValue> takeMaskFiles(ResultRecord& record) {
    std::vector<CarriedValue> files;
    while (!record.carried.empty() && isMaskFileColumn(record.carried.back().column)) {
        files.push_back(std::move(record.carried.back()));
        record.carried.pop_back();
    }
    return files;
}

}  // namespace likeness
