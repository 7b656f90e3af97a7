#include "console/list_options.hpp"

#include "console/option_checks.hpp"

namespace likeness::darkroom {

Shard ListOptions::shardAsked() const {
    return shard.empty() ? Shard{} : parseShard(shard);
}

PairList ListOptions::read() const {
    std::optional<ListFormat> known;
    if (!format.empty()) {
        known = format == "csv" ? ListFormat::csv : format == "tsv" ? ListFormat::tsv : ListFormat::jsonLines;
    }
    return readPairs(path, known, shardAsked());
}

void addListOptions(OptionParser& app, ListOptions& options) {
    app.addOption("--list-format", options.format,
                  optionText("Form of the list: csv, tsv or jsonl; without it the extension tells, else the first line",
                             "--list-format tsv"))
        ->typeName("FORMAT")
        ->check(OptionCheck(
            [](std::string& text) {
                return text == "csv" || text == "tsv" || text == "jsonl" ? std::string()
                                                                         : "'" + text + "' is not csv, tsv or jsonl";
            },
            ""));
    app.addOption("--shard", options.shard,
                  optionText("Only the I-th of N parts of the list, I from 1 to N; the part of a pair depends on its "
                             "id alone",
                             "--shard 3/16"))
        ->typeName("I/N");
}

}  // namespace likeness::darkroom
